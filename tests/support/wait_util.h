#pragma once
// Waiting for what a child process or a test script leaves behind: a process that
// ends, a file that gets a line. Every wait is bounded, far above any clean run,
// so that a test that would hang fails instead.
#include <signal.h>
#include <sys/types.h>
#include <sys/wait.h>
#include <unistd.h>

#include <fstream>
#include <sstream>
#include <string>

namespace test_wait {

/// How often the bounded waits look again.
constexpr int POLL_MS = 10;

/// Whether process `pid` is gone: there is no such process, or it has ended and
/// only waits for its parent (a zombie).
inline bool process_gone(int pid) {
    if (pid <= 0) return true;
    std::ifstream in("/proc/" + std::to_string(pid) + "/stat");
    std::string line;
    if (!std::getline(in, line)) return true;
    // The state follows the command name, which is in parentheses and may hold any byte.
    size_t paren = line.rfind(')');
    return paren != std::string::npos && paren + 2 < line.size() && (line[paren + 2] == 'Z' || line[paren + 2] == 'X');
}

/// Waits at most `max_ms` milliseconds until process `pid` is gone; true when it is.
inline bool wait_gone(int pid, int max_ms) {
    for (int waited = 0; waited < max_ms && !process_gone(pid); waited += POLL_MS) ::usleep(POLL_MS * 1000);
    return process_gone(pid);
}

/// Waits at most `max_ms` milliseconds until the file at `path` ends with a
/// newline; returns its text without that newline, or "" when none came.
inline std::string wait_line(const std::string& path, int max_ms) {
    for (int waited = 0; waited < max_ms; waited += POLL_MS) {
        std::ifstream in(path, std::ios::binary);
        std::ostringstream text;
        text << in.rdbuf();
        std::string s = text.str();
        if (!s.empty() && s.back() == '\n') return s.substr(0, s.size() - 1);
        ::usleep(POLL_MS * 1000);
    }
    return "";
}

/// Reaps the child `pid` and returns its raw wait status. With `max_ms` >= 0 a
/// child still running after that many milliseconds is killed, reaped and
/// reported as -1; with a negative `max_ms` the wait has no bound.
inline int reap_child(pid_t pid, int max_ms) {
    int status = 0;
    if (max_ms < 0) {
        while (::waitpid(pid, &status, 0) < 0) {
        }
        return status;
    }
    for (int waited = 0; waited < max_ms; waited += POLL_MS) {
        if (::waitpid(pid, &status, WNOHANG) == pid) return status;
        ::usleep(POLL_MS * 1000);
    }
    ::kill(pid, SIGKILL);
    ::waitpid(pid, &status, 0);
    return -1;
}

/// A wait status as a shell reports it: the exit code, or 128 plus the signal.
inline int exit_code(int status) { return WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status); }

} // namespace test_wait
