#pragma once
// A screen that exists only in memory: for tests, automation and machines without
// a display. Input comes only through inject_input.
#include <deque>
#include "backend/cls_screen_rotation.h"
#include "ozgi/if_display_backend.h"

namespace ozgi {

class cls_headless_backend : public if_display_backend {
public:
    /// A backend that turns its picture by `rotate` degrees (0, 90, 180 or 270).
    explicit cls_headless_backend(int rotate);
    bool open(int width, int height, const cls_string& title, cls_string* error) override;
    void present(const uint32_t* argb, int stride, const cls_rect& dirty) override;
    bool poll_input(input_t* out) override;
    void inject_input(const input_t& in) override;
    /// Returns at once when input is queued; otherwise waits on the descriptors.
    /// With no descriptors and no timeout nothing can wake it but a signal.
    void wait(int timeout_ms, const int* fds, int nfds) override;
    bool read_physical(cls_array<uint32_t>* argb, int* w, int* h) override;

private:
    int m_rotate;
    cls_screen_rotation m_screen;
    std::deque<input_t> m_queue;
};

} // namespace ozgi
