#include "backend/cls_headless_backend.h"

namespace ozgi {

cls_sp<if_display_backend> cls_headless_backend::create(const display_options_t& options, cls_string*) {
    return cls_sp<if_display_backend>(OZGI_NEW(cls_headless_backend)(options));
}

cls_headless_backend::cls_headless_backend(const display_options_t& options) : cls_display_backend(options) {}

bool cls_headless_backend::open(int width, int height, const cls_string&, cls_string* error) {
    if (width <= 0 || height <= 0) {
        if (error) error->print("Can't open a %d x %d screen.", width, height);
        return false;
    }
    setup_screen(width, height);
    return true;
}

void cls_headless_backend::present(const uint32_t* argb, int stride, const cls_rect& dirty) {
    if (screen().is_set_up()) screen().update(argb, stride, dirty);
}

void cls_headless_backend::wait(int timeout_ms, const int* fds, int nfds) {
    if (has_queued_input()) return;
    m_polled.clear();
    poll_with(&m_polled, timeout_ms, fds, nfds);
}

} // namespace ozgi
