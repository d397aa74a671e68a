#include "ozgi/cls_stop_signal.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstdio>

namespace ozgi {
namespace {

volatile sig_atomic_t g_received = 0;
int g_pipe[2] = {-1, -1};
bool g_caught = false;
struct sigaction g_old_term, g_old_int;
void (*g_cleanup)() = nullptr;
// Set while the cleanup runs: a cleanup may wait (sleep, wait for a child), and
// the waits it calls must not end the program before it is done.
bool g_cleaning = false;

// Only what is safe in a handler: note the first signal and wake the waits.
void on_signal(int sig) {
    int saved = errno;
    if (g_received == 0) g_received = sig;
    if (g_pipe[1] >= 0) {
        ssize_t ignored = ::write(g_pipe[1], "s", 1);
        (void)ignored;  // a full pipe is awake already
    }
    errno = saved;
}

} // namespace

void cls_stop_signal::catch_signals() {
    if (g_caught) return;
    if (g_pipe[0] < 0 && ::pipe2(g_pipe, O_CLOEXEC | O_NONBLOCK) != 0) g_pipe[0] = g_pipe[1] = -1;
    struct sigaction sa;
    sa.sa_handler = &on_signal;
    sigemptyset(&sa.sa_mask);
    // No SA_RESTART: a blocking read of the automation script from standard
    // input must give up when the signal comes, not go on waiting.
    sa.sa_flags = 0;
    ::sigaction(SIGTERM, &sa, &g_old_term);
    ::sigaction(SIGINT, &sa, &g_old_int);
    g_caught = true;
}

void cls_stop_signal::release_signals() {
    if (!g_caught) return;
    ::sigaction(SIGTERM, &g_old_term, nullptr);
    ::sigaction(SIGINT, &g_old_int, nullptr);
    g_caught = false;
}

int cls_stop_signal::received() { return g_received; }

int cls_stop_signal::wake_fd() { return g_pipe[0]; }

void cls_stop_signal::set_cleanup(void (*cleanup)()) { g_cleanup = cleanup; }

void cls_stop_signal::end_if_received() {
    int sig = g_received;
    if (sig == 0 || g_cleaning) return;
    // A cleanup that waits must not come back here.
    void (*cleanup)() = g_cleanup;
    g_cleanup = nullptr;
    g_cleaning = true;
    if (cleanup) cleanup();
    std::fflush(stdout);
    std::fflush(stderr);
    // Ending by the signal itself tells a shell or a service manager what happened.
    struct sigaction dfl;
    dfl.sa_handler = SIG_DFL;
    sigemptyset(&dfl.sa_mask);
    dfl.sa_flags = 0;
    ::sigaction(sig, &dfl, nullptr);
    sigset_t set;
    sigemptyset(&set);
    sigaddset(&set, sig);
    ::sigprocmask(SIG_UNBLOCK, &set, nullptr);
    ::raise(sig);
    // Not reached: the default action of both signals ends the process.
    ::_exit(128 + sig);
}

} // namespace ozgi
