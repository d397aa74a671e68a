#pragma once
// The screen as a Linux framebuffer device (/dev/fb0), with input from evdev
// devices: for boards with no display server and no GPU libraries. The picture
// is centred on a larger panel and turned as asked; only what changed is
// written. The text console is kept off the panel while we draw on it.
#include <vector>

#include "backend/cls_console_mode.h"
#include "backend/cls_display_backend.h"
#include "backend/cls_evdev_input.h"
#include "backend/cls_fb_format.h"

namespace ozgi {

class cls_fbdev_backend : public cls_display_backend {
public:
    /// Makes the backend for `options`.
    static cls_sp<if_display_backend> create(const display_options_t& options, cls_string* error);
    /// A backend whose open() reads its options: --ozgi-fbdev=, --ozgi-fb-geometry=,
    /// --ozgi-input=, --ozgi-input-range=.
    explicit cls_fbdev_backend(const display_options_t& options);
    ~cls_fbdev_backend() override;
    cls_fbdev_backend(const cls_fbdev_backend&) = delete;
    cls_fbdev_backend& operator=(const cls_fbdev_backend&) = delete;

    bool open(int width, int height, const cls_string& title, cls_string* error) override;
    void present(const uint32_t* argb, int stride, const cls_rect& dirty) override;
    /// Blocks on the input devices and the given descriptors together.
    void wait(int timeout_ms, const int* fds, int nfds) override;

    /// Reads "WxH:BPP[:STRIDE]" (STRIDE in bytes, at least a row of pixels);
    /// false for anything else.
    static bool parse_geometry(const cls_string& text, int* w, int* h, int* bpp, int* stride);

protected:
    bool read_device_input(input_t* out) override;

private:
    /// Opens and maps the framebuffer `path`; false with the reason.
    bool open_framebuffer(const cls_string& path, cls_string* error);
    /// Frees the mapping and the descriptor.
    void close_framebuffer();

    int m_fd = -1;
    unsigned char* m_map = nullptr;
    size_t m_map_len = 0;
    cls_fb_format m_format;
    // The visible panel and the picture's place on it.
    int m_panel_w = 0;
    int m_panel_h = 0;
    int m_stride = 0;
    // The first byte of the visible panel (after any panning offset).
    size_t m_visible = 0;
    cls_evdev_input m_input;
    cls_console_mode m_console;
    std::vector<pollfd> m_polled;
};

} // namespace ozgi
