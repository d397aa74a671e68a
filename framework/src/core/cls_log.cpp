#include "ozgi/cls_log.h"

#include <cstdarg>
#include <cstdio>
#include <unistd.h>

#ifdef OZGI_FATAL_THROWS
#include <string>
#include "ozgi/cls_fatal_error.h"
#endif

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
#ifdef OZGI_FATAL_THROWS
    // Fuzzing build only: the harness catches this and takes the report as the
    // program's answer; printing every one would drown the fuzzer's own output.
    {
        char head[512];
        std::snprintf(head, sizeof head, "%s:%d: ", file, line);
        va_list ap;
        va_start(ap, format);
        va_list again;
        va_copy(again, ap);
        int n = std::vsnprintf(nullptr, 0, format, ap);
        va_end(ap);
        std::string message(head);
        if (n > 0) {
            std::string body(static_cast<size_t>(n) + 1, '\0');
            std::vsnprintf(&body[0], body.size(), format, again);
            body.resize(static_cast<size_t>(n));
            message += body;
        }
        va_end(again);
        throw cls_fatal_error(message);
    }
#else
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
#endif
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
