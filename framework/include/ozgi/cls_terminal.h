#pragma once
// What the program's standard streams are connected to.

namespace ozgi {

class cls_terminal {
public:
    /// Whether standard output is a terminal (not a file or a pipe), so that a
    /// line may be redrawn in place.
    static bool stdout_is_terminal();
    /// Writes `text` to standard output and flushes it at once, for progress
    /// lines that are redrawn in place with "\r" and end without a newline.
    static void write_stdout(const char* text);
};

} // namespace ozgi
