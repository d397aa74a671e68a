#include "backend/cls_console_watcher.h"

#include <fcntl.h>
#include <linux/kd.h>
#include <sys/ioctl.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>

namespace ozgi {

namespace {

// The program's end of the pipe, or -1. Plain, for the signal path.
volatile int g_pipe = -1;

const char SHOW_CURSOR[] = "\033[?25h";
// Written by the program when it restored the console itself.
const char DONE = 'd';

// The watcher's whole life; system calls only (the parent may have threads).
[[noreturn]] void watch(int read_end, int tty_fd, int mode, int kb_mode) {
    // Out of the program's session and deaf to the signals sent to its
    // process group, so that a Ctrl+C or a service's SIGTERM leaves it to see
    // how the program ended.
    ::setsid();
    ::signal(SIGINT, SIG_IGN);
    ::signal(SIGTERM, SIG_IGN);
    ::signal(SIGHUP, SIG_IGN);
    ::signal(SIGQUIT, SIG_IGN);
    // Nothing of the program's stays open here: a grabbed input device, the
    // display or a pipe read by someone waiting for its end.
    int devnull = ::open("/dev/null", O_RDWR);
    for (int fd = 0; fd < 3; ++fd)
        if (devnull >= 0 && fd != read_end && fd != tty_fd) ::dup2(devnull, fd);
    rlimit lim{};
    int max_fd = ::getrlimit(RLIMIT_NOFILE, &lim) == 0 && lim.rlim_cur < 65536 ? static_cast<int>(lim.rlim_cur) : 65536;
    for (int fd = 3; fd < max_fd; ++fd)
        if (fd != read_end && fd != tty_fd) ::close(fd);
    char c = 0;
    ssize_t n;
    do {
        n = ::read(read_end, &c, 1);
    } while (n < 0);
    // The pipe ended without word from the program: it was killed.
    if (n == 0 || c != DONE) {
        ::ioctl(tty_fd, KDSETMODE, static_cast<unsigned long>(mode));
        if (kb_mode >= 0) ::ioctl(tty_fd, KDSKBMODE, static_cast<unsigned long>(kb_mode));
        ssize_t ignored = ::write(tty_fd, SHOW_CURSOR, sizeof SHOW_CURSOR - 1);
        (void)ignored;
    }
    ::_exit(0);
}

} // namespace

bool cls_console_watcher::start(int tty_fd, int mode, int kb_mode) {
    if (g_pipe >= 0) return true;
    int ends[2];
    if (::pipe2(ends, O_CLOEXEC) != 0) return false;
    // Forked twice, so that the watcher is no child of ours: nobody here has
    // to reap it, and a wait for any child never meets it.
    pid_t pid = ::fork();
    if (pid < 0) {
        ::close(ends[0]);
        ::close(ends[1]);
        return false;
    }
    if (pid == 0) {
        ::close(ends[1]);
        pid_t watcher = ::fork();
        if (watcher == 0) watch(ends[0], tty_fd, mode, kb_mode);
        ::_exit(watcher < 0 ? 1 : 0);
    }
    ::close(ends[0]);
    int status = 0;
    while (::waitpid(pid, &status, 0) < 0 && errno == EINTR) {
    }
    if (!WIFEXITED(status) || WEXITSTATUS(status) != 0) {
        ::close(ends[1]);
        return false;
    }
    g_pipe = ends[1];
    return true;
}

void cls_console_watcher::stop() {
    int fd = g_pipe;
    if (fd < 0) return;
    g_pipe = -1;
    ssize_t ignored = ::write(fd, &DONE, 1);
    (void)ignored;
    ::close(fd);
}

} // namespace ozgi
