#pragma once
// The command line of vesk: the usage text and the parsing of the options into
// the device singleton and the pages' settings.

/// Writes the usage text, line by line, to standard output.
void print_usage();

/// Reads the options: with "-h" or "--help" prints the usage text and the
/// framework's own option help and returns -1; otherwise sets up the device
/// (selecting it when a serial id is known) and the page settings and returns 0.
int parse_options();
