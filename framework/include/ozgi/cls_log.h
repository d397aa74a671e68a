#pragma once
// Fatal reporting. Misuse and impossible states are never returned as codes:
// they end the program with one line on standard error.

namespace ozgi {

class cls_log {
public:
    /// Writes "FATAL file:line: message" to standard error, the message formatted
    /// printf-style, and ends the process with exit status 1. Never returns.
    [[noreturn]] static void log_fatal(const char* file, int line, const char* format, ...)
        __attribute__((format(printf, 3, 4)));
    /// Writes "WARNING: message" to standard error and goes on.
    static void log_warning(const char* format, ...) __attribute__((format(printf, 1, 2)));
    /// Sets the function that log_fatal calls just before the process ends, so
    /// that what the program changed outside itself (the console's mode) is put
    /// back. It must be safe to call from a signal handler. Null: none.
    static void set_exit_hook(void (*hook)());
    /// Calls the exit hook, if any (for other abrupt exits than log_fatal).
    static void run_exit_hook();
};

} // namespace ozgi

#define OZGI_FATAL(...) ::ozgi::cls_log::log_fatal(__FILE__, __LINE__, __VA_ARGS__)
