#pragma once
// The command line of vesk-cli: a subcommand, the common options (read exactly
// as vesk reads them), the subcommand's own options, and for "run PATH" the
// test's argument values.
#include <cstdio>

#include "ozgi/cls_array.h"
#include "ozgi/cls_string.h"

class cls_cli_options {
public:
    /// Exit status for a command line that cannot be used.
    static const int USAGE_ERROR = 2;

    /// No command, the defaults of every option (help limit 10 s, no run limit).
    cls_cli_options();

    /// Parses `args` (the words after the program name). Returns false, with the
    /// reason in `error`, for an unknown subcommand or option or a bad value.
    bool parse(const ozgi::cls_array<ozgi::cls_string>& args, ozgi::cls_string* error);
    /// Whether the run goes to several devices (a list or "all").
    bool several_devices() const { return all_devices || serial_ids.count() > 1; }
    /// Writes the usage text to `out`.
    static void print_usage(std::FILE* out);

    /// "list", "check", "run"; empty with --help alone.
    ozgi::cls_string command;
    bool help;
    /// Common options.
    ozgi::cls_string device;
    ozgi::cls_string dir;
    ozgi::cls_string serial_id;
    /// --serial-id=A,B,C: the devices, in order; empty for one device.
    ozgi::cls_array<ozgi::cls_string> serial_ids;
    /// --serial-id=all: every device "adb devices" lists as "device".
    bool all_devices;
    /// list
    bool json;
    ozgi::cls_string lang;
    /// check
    int help_timeout_s;
    bool werror;
    /// run
    bool all;
    bool with_direct;
    int timeout_s;  // 0: none
    ozgi::cls_string junit_file;
    ozgi::cls_string json_file;
    ozgi::cls_string tap_file;
    /// run --all on one device of several, started by vesk-cli itself: progress
    /// lines only (no table), and the device checked after each test that fails.
    bool worker;
    /// run PATH: the test; run --all: the optional prefix.
    ozgi::cls_string path;
    /// run PATH: "--NAME=VALUE" words, as NAME and VALUE.
    ozgi::cls_array<ozgi::cls_string> override_names;
    ozgi::cls_array<ozgi::cls_string> override_values;
};
