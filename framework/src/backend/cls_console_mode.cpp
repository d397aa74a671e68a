#include "backend/cls_console_mode.h"

#include <fcntl.h>
#include <linux/kd.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include <csignal>
#include <cstdlib>

#include "backend/cls_console_watcher.h"
#include "ozgi/cls_log.h"

namespace ozgi {

namespace {

// The terminal is kept in plain globals: a signal handler and the fatal path
// must be able to put it back with nothing but system calls.
volatile int g_tty_fd = -1;
volatile int g_old_mode = KD_TEXT;
// The keyboard mode to put back, or -1 when it was not changed.
volatile int g_old_kb_mode = -1;

const char HIDE_CURSOR[] = "\033[?25l";
const char SHOW_CURSOR[] = "\033[?25h";

// Signals that end the process by default; while the console is ours each of
// them, unless the program already handles it, puts the console back first.
const int FATAL_SIGNALS[] = {SIGTERM, SIGINT, SIGHUP, SIGQUIT, SIGABRT, SIGSEGV, SIGBUS, SIGFPE, SIGILL};
const int SIGNAL_COUNT = sizeof(FATAL_SIGNALS) / sizeof(FATAL_SIGNALS[0]);
bool g_handled[SIGNAL_COUNT];
bool g_atexit_set = false;

// Async-signal-safe: ioctl, write and close only.
void restore_console() {
    int fd = g_tty_fd;
    if (fd < 0) return;
    g_tty_fd = -1;
    ::ioctl(fd, KDSETMODE, static_cast<unsigned long>(g_old_mode));
    if (g_old_kb_mode >= 0) ::ioctl(fd, KDSKBMODE, static_cast<unsigned long>(g_old_kb_mode));
    g_old_kb_mode = -1;
    ssize_t ignored = ::write(fd, SHOW_CURSOR, sizeof SHOW_CURSOR - 1);
    (void)ignored;
    ::close(fd);
    cls_console_watcher::stop();
}

void on_signal(int sig) {
    restore_console();
    // The handler was installed with SA_RESETHAND: the default action (ending
    // the process) follows once this handler returns.
    ::raise(sig);
}

void install_handlers() {
    for (int i = 0; i < SIGNAL_COUNT; ++i) {
        struct sigaction old {};
        g_handled[i] = false;
        if (::sigaction(FATAL_SIGNALS[i], nullptr, &old) != 0) continue;
        // A handler of the program's own (or an ignored signal) is left alone; a
        // program that handles a signal ends through its normal exit.
        if ((old.sa_flags & SA_SIGINFO) || old.sa_handler != SIG_DFL) continue;
        struct sigaction act {};
        act.sa_handler = on_signal;
        sigemptyset(&act.sa_mask);
        act.sa_flags = SA_RESETHAND;
        g_handled[i] = ::sigaction(FATAL_SIGNALS[i], &act, nullptr) == 0;
    }
}

void remove_handlers() {
    for (int i = 0; i < SIGNAL_COUNT; ++i) {
        if (!g_handled[i]) continue;
        g_handled[i] = false;
        struct sigaction now {};
        // Only our own handler goes; one the program set meanwhile stays.
        if (::sigaction(FATAL_SIGNALS[i], nullptr, &now) != 0) continue;
        if ((now.sa_flags & SA_SIGINFO) || now.sa_handler != on_signal) continue;
        struct sigaction dfl {};
        dfl.sa_handler = SIG_DFL;
        sigemptyset(&dfl.sa_mask);
        ::sigaction(FATAL_SIGNALS[i], &dfl, nullptr);
    }
}

// A descriptor of a virtual terminal with its mode, or -1.
int open_terminal(const char* path, int* mode) {
    int fd = ::open(path, O_RDWR | O_NOCTTY | O_CLOEXEC);
    if (fd < 0) return -1;
    int m = KD_TEXT;
    if (::ioctl(fd, KDGETMODE, &m) != 0) {
        ::close(fd);
        return -1;
    }
    *mode = m;
    return fd;
}

} // namespace

cls_console_mode::~cls_console_mode() { give_back(); }

bool cls_console_mode::take() {
    if (m_owner || g_tty_fd >= 0) return m_owner;
    int mode = KD_TEXT;
    int fd = open_terminal("/dev/tty0", &mode);
    if (fd < 0) fd = open_terminal("/dev/tty", &mode);
    if (fd < 0) return false;
    g_old_mode = mode;
    g_tty_fd = fd;
    m_owner = true;
    install_handlers();
    cls_log::set_exit_hook(restore_console);
    if (!g_atexit_set) {
        // Also when the program ends through exit() without closing the screen.
        g_atexit_set = std::atexit(restore_console) == 0;
    }
    ::ioctl(fd, KDSETMODE, static_cast<unsigned long>(KD_GRAPHICS));
    // The keys are read from the input devices; the terminal must not act on
    // them too (switch with Alt+Fn, reboot with Ctrl+Alt+Del, echo them).
    int kb_mode = -1;
    if (::ioctl(fd, KDGKBMODE, &kb_mode) == 0 && ::ioctl(fd, KDSKBMODE, static_cast<unsigned long>(K_OFF)) == 0)
        g_old_kb_mode = kb_mode;
    // SIGKILL runs no handler of ours: a watcher process puts the console back then.
    cls_console_watcher::start(fd, mode, g_old_kb_mode);
    // In graphics mode the console draws nothing; the escape keeps the cursor
    // away as well on a terminal that refused the mode.
    ssize_t ignored = ::write(fd, HIDE_CURSOR, sizeof HIDE_CURSOR - 1);
    (void)ignored;
    return true;
}

void cls_console_mode::give_back() {
    if (!m_owner) return;
    m_owner = false;
    restore_console();
    cls_log::set_exit_hook(nullptr);
    remove_handlers();
}

bool cls_console_mode::is_taken() const { return m_owner; }

} // namespace ozgi
