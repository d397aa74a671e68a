#pragma once
// A screen that exists only in memory: for tests, automation and machines without
// a display. Input comes only through inject_input.
#include "backend/cls_display_backend.h"

namespace ozgi {

class cls_headless_backend : public cls_display_backend {
public:
    /// Makes the backend for `options` (it has no settings of its own).
    static cls_sp<if_display_backend> create(const display_options_t& options, cls_string* error);
    explicit cls_headless_backend(const display_options_t& options);
    bool open(int width, int height, const cls_string& title, cls_string* error) override;
    void present(const uint32_t* argb, int stride, const cls_rect& dirty) override;
    /// Returns at once when input is queued; otherwise waits on the descriptors.
    /// With no descriptors and no timeout nothing can wake it but a signal.
    void wait(int timeout_ms, const int* fds, int nfds) override;

private:
    std::vector<pollfd> m_polled;
};

} // namespace ozgi
