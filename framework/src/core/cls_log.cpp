#include "ozgi/cls_log.h"

#include <cstdarg>
#include <cstdio>
#include <unistd.h>

namespace ozgi {

namespace {

void (*volatile g_exit_hook)() = nullptr;

} // namespace

void cls_log::set_exit_hook(void (*hook)()) { g_exit_hook = hook; }

void cls_log::run_exit_hook() {
    void (*hook)() = g_exit_hook;
    if (hook) hook();
}

void cls_log::log_fatal(const char* file, int line, const char* format, ...) {
    // Whatever the program printed so far must come out before the process ends.
    std::fflush(stdout);
    std::fprintf(stderr, "FATAL %s:%d: ", file, line);
    va_list ap;
    va_start(ap, format);
    std::vfprintf(stderr, format, ap);
    va_end(ap);
    std::fputc('\n', stderr);
    std::fflush(stderr);
    run_exit_hook();
    // _exit, not exit: a fatal error may come from inside a destructor or a
    // static initialiser, where running the exit handlers again is not safe.
    _exit(1);
}

void cls_log::log_warning(const char* format, ...) {
    std::fputs("WARNING: ", stderr);
    va_list ap;
    va_start(ap, format);
    std::vfprintf(stderr, format, ap);
    va_end(ap);
    std::fputc('\n', stderr);
    std::fflush(stderr);
}

} // namespace ozgi
