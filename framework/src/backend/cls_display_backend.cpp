#include "backend/cls_display_backend.h"

namespace ozgi {

cls_display_backend::cls_display_backend(const display_options_t& options) : m_options(options) {}

bool cls_display_backend::poll_input(input_t* out) {
    if (!m_queue.empty()) {
        *out = m_queue.front();
        m_queue.pop_front();
        return true;
    }
    return read_device_input(out);
}

bool cls_display_backend::read_device_input(input_t*) { return false; }

void cls_display_backend::inject_input(const input_t& in) {
    input_t mapped = in;
    if (in.type == input_t::PRESS || in.type == input_t::MOVE || in.type == input_t::RELEASE ||
        in.type == input_t::WHEEL)
        m_screen.to_logical(in.x, in.y, &mapped.x, &mapped.y);
    m_queue.push_back(mapped);
}

void cls_display_backend::to_physical(int x, int y, int* px, int* py) const { m_screen.to_physical(x, y, px, py); }

bool cls_display_backend::read_physical(cls_array<uint32_t>* argb, int* w, int* h) {
    if (!m_screen.is_set_up()) return false;
    m_screen.copy_physical(argb);
    *w = m_screen.physical_width();
    *h = m_screen.physical_height();
    return true;
}

void cls_display_backend::place_on_panel(int panel_w, int panel_h) {
    m_left = (panel_w - m_screen.physical_width()) / 2;
    m_top = (panel_h - m_screen.physical_height()) / 2;
    m_touching = false;
}

bool cls_display_backend::panel_to_logical(input_t* in) {
    if (in->type != input_t::PRESS && in->type != input_t::MOVE && in->type != input_t::RELEASE) return true;
    int pw = m_screen.physical_width(), ph = m_screen.physical_height();
    int x = in->x - m_left, y = in->y - m_top;
    bool inside = x >= 0 && y >= 0 && x < pw && y < ph;
    if (in->type == input_t::PRESS) {
        if (!inside) return false;
        m_touching = true;
    } else {
        if (!m_touching) return false;
        if (in->type == input_t::RELEASE) m_touching = false;
        x = x < 0 ? 0 : x >= pw ? pw - 1 : x;
        y = y < 0 ? 0 : y >= ph ? ph - 1 : y;
    }
    m_screen.to_logical(x, y, &in->x, &in->y);
    return true;
}

void cls_display_backend::poll_with(std::vector<pollfd>* extra, int timeout_ms, const int* fds, int nfds) {
    for (int i = 0; i < nfds; ++i) extra->push_back(pollfd{fds[i], POLLIN, 0});
    ::poll(extra->data(), extra->size(), timeout_ms < 0 ? -1 : timeout_ms);
}

} // namespace ozgi
