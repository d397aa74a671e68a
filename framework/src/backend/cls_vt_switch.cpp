#include "backend/cls_vt_switch.h"

#include <fcntl.h>
#include <linux/vt.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstdio>

namespace ozgi {

namespace {

// The signals the kernel sends before a switch away and after a switch back.
constexpr int RELEASE_SIGNAL = SIGUSR1;
constexpr int ACQUIRE_SIGNAL = SIGUSR2;
// The pipe the handlers write to; only system calls touch it in a handler.
int g_pipe[2] = {-1, -1};
struct sigaction g_old_release, g_old_acquire;

void on_switch_signal(int sig) {
    int saved = errno;
    char c = sig == RELEASE_SIGNAL ? 'r' : 'a';
    ssize_t ignored = ::write(g_pipe[1], &c, 1);
    (void)ignored;
    errno = saved;
}

} // namespace

cls_vt_switch::~cls_vt_switch() { give_back(); }

bool cls_vt_switch::take() {
    if (m_taken) return true;
    int tty0 = ::open("/dev/tty0", O_RDWR | O_NOCTTY | O_CLOEXEC);
    if (tty0 < 0) return false;
    vt_stat state{};
    bool known = ::ioctl(tty0, VT_GETSTATE, &state) == 0;
    ::close(tty0);
    if (!known) return false;
    char path[32];
    std::snprintf(path, sizeof path, "/dev/tty%u", static_cast<unsigned>(state.v_active));
    m_tty = ::open(path, O_RDWR | O_NOCTTY | O_CLOEXEC);
    if (m_tty < 0) return false;
    vt_mode old{};
    if (::ioctl(m_tty, VT_GETMODE, &old) != 0 || ::pipe2(g_pipe, O_CLOEXEC | O_NONBLOCK) != 0) {
        ::close(m_tty);
        m_tty = -1;
        return false;
    }
    m_old_mode = old.mode;
    struct sigaction act {};
    act.sa_handler = on_switch_signal;
    sigemptyset(&act.sa_mask);
    act.sa_flags = SA_RESTART;
    ::sigaction(RELEASE_SIGNAL, &act, &g_old_release);
    ::sigaction(ACQUIRE_SIGNAL, &act, &g_old_acquire);
    vt_mode mode{};
    mode.mode = VT_PROCESS;
    mode.relsig = RELEASE_SIGNAL;
    mode.acqsig = ACQUIRE_SIGNAL;
    if (::ioctl(m_tty, VT_SETMODE, &mode) != 0) {
        m_taken = true;
        give_back();
        return false;
    }
    m_taken = true;
    return true;
}

int cls_vt_switch::fd() const { return m_taken ? g_pipe[0] : -1; }

cls_vt_switch::request_t cls_vt_switch::next_request() {
    if (!m_taken) return NONE;
    char c = 0;
    if (::read(g_pipe[0], &c, 1) != 1) return NONE;
    return c == 'r' ? RELEASE : ACQUIRE;
}

void cls_vt_switch::allow_release() {
    if (m_taken) ::ioctl(m_tty, VT_RELDISP, 1);
}

void cls_vt_switch::confirm_acquire() {
    if (m_taken) ::ioctl(m_tty, VT_RELDISP, VT_ACKACQ);
}

void cls_vt_switch::give_back() {
    if (!m_taken) return;
    m_taken = false;
    // A process that ends without this is noticed by the kernel at the next
    // switch, which then goes ahead as if nobody had asked to be told.
    vt_mode mode{};
    mode.mode = static_cast<char>(m_old_mode == VT_PROCESS ? VT_AUTO : m_old_mode);
    ::ioctl(m_tty, VT_SETMODE, &mode);
    ::sigaction(RELEASE_SIGNAL, &g_old_release, nullptr);
    ::sigaction(ACQUIRE_SIGNAL, &g_old_acquire, nullptr);
    ::close(m_tty);
    m_tty = -1;
    for (int& fd : g_pipe) {
        if (fd >= 0) ::close(fd);
        fd = -1;
    }
}

} // namespace ozgi
