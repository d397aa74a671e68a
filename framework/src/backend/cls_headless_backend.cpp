#include "backend/cls_headless_backend.h"

#include <poll.h>
#include <cerrno>
#include <vector>

namespace ozgi {

cls_headless_backend::cls_headless_backend(int rotate) : m_rotate(rotate) {}

bool cls_headless_backend::open(int width, int height, const cls_string&, cls_string* error) {
    if (width <= 0 || height <= 0) {
        if (error) error->print("Can't open a %d x %d screen.", width, height);
        return false;
    }
    m_screen.setup(width, height, m_rotate);
    return true;
}

void cls_headless_backend::present(const uint32_t* argb, int stride, const cls_rect& dirty) {
    if (m_screen.is_set_up()) m_screen.update(argb, stride, dirty);
}

bool cls_headless_backend::poll_input(input_t* out) {
    if (m_queue.empty()) return false;
    *out = m_queue.front();
    m_queue.pop_front();
    return true;
}

void cls_headless_backend::inject_input(const input_t& in) {
    input_t mapped = in;
    if (in.type == input_t::PRESS || in.type == input_t::MOVE || in.type == input_t::RELEASE ||
        in.type == input_t::WHEEL)
        m_screen.to_logical(in.x, in.y, &mapped.x, &mapped.y);
    m_queue.push_back(mapped);
}

void cls_headless_backend::wait(int timeout_ms, const int* fds, int nfds) {
    if (!m_queue.empty()) return;
    std::vector<pollfd> polled(static_cast<size_t>(nfds > 0 ? nfds : 0));
    for (int i = 0; i < nfds; ++i) polled[i] = pollfd{fds[i], POLLIN, 0};
    // A signal ends the wait early; the caller's loop simply comes round again.
    ::poll(polled.data(), polled.size(), timeout_ms < 0 ? -1 : timeout_ms);
}

bool cls_headless_backend::read_physical(cls_array<uint32_t>* argb, int* w, int* h) {
    if (!m_screen.is_set_up()) return false;
    m_screen.copy_physical(argb);
    *w = m_screen.physical_width();
    *h = m_screen.physical_height();
    return true;
}

} // namespace ozgi
