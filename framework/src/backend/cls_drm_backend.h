#pragma once
// The screen through the kernel's mode setting (DRM/KMS), with input from evdev
// devices: for boards with neither a GPU library nor the framebuffer device.
// Two dumb buffers take turns, each shown by a page flip at the vertical blank
// so that nothing tears; only what changed is copied, each buffer catching up
// with what changed while the other one was shown. The picture is centred on a
// larger panel and turned as asked. While another virtual terminal is shown the
// display is let go of; coming back repaints it in full.
#include <vector>

#include "backend/cls_console_mode.h"
#include "backend/cls_display_backend.h"
#include "backend/cls_evdev_input.h"
#include "backend/cls_fb_format.h"
#include "backend/cls_vt_switch.h"
#include "backend/if_drm_device.h"

namespace ozgi {

class cls_drm_backend : public cls_display_backend {
public:
    /// Makes the backend for `options`, driving the kernel's devices.
    static cls_sp<if_display_backend> create(const display_options_t& options, cls_string* error);
    /// A backend making its calls through `device` (which it deletes); with
    /// `own_terminal` it also takes the console and terminal switching. Its
    /// open() reads --ozgi-drm=, --ozgi-drm-connector=, --ozgi-drm-format=,
    /// --ozgi-input= and --ozgi-input-range=.
    cls_drm_backend(const display_options_t& options, if_drm_device* device, bool own_terminal);
    ~cls_drm_backend() override;
    cls_drm_backend(const cls_drm_backend&) = delete;
    cls_drm_backend& operator=(const cls_drm_backend&) = delete;

    bool open(int width, int height, const cls_string& title, cls_string* error) override;
    void present(const uint32_t* argb, int stride, const cls_rect& dirty) override;
    /// Blocks on the input devices, the card, terminal switches and the given
    /// descriptors together; completed flips and switches are handled on the way.
    void wait(int timeout_ms, const int* fds, int nfds) override;

    /// Handles, without blocking, completed page flips and terminal switches.
    void handle_events();
    /// The mode the panel is driven in (after open()).
    const if_drm_device::mode_t& mode() const { return m_mode; }
    /// The output driven ("HDMI-A-1").
    const cls_string& output_name() const { return m_output; }
    /// The pixel format of the buffers (if_drm_device::XRGB8888 or RGB565).
    uint32_t format() const { return m_fourcc; }
    /// The buffer shown now, or shown once the flip asked for completes (0 or 1).
    int front() const { return m_front; }
    /// Whether a page flip was asked for and has not completed.
    bool flip_pending() const { return m_flip_pending; }

    /// The mode to drive a connector in: its preferred one, else its first. Null when it has none.
    static const if_drm_device::mode_t* choose_mode(const if_drm_device::connector_t& connector);

protected:
    bool read_device_input(input_t* out) override;

private:
    /// Opens the card `path` and picks its output; false with the reason (and
    /// *usable false when the card has no connected output at all).
    bool open_card(const cls_string& path, const cls_string& wanted, bool* usable, cls_string* error);
    /// Makes the two buffers in the format asked for, or the first that works.
    bool make_buffers(cls_string* error);
    /// Copies what the back buffer lacks into it and shows it.
    void draw_and_flip();
    /// Adds `r` (picture pixels) to what buffer `i` lacks.
    void add_damage(int i, const cls_rect& r);
    /// Lets go of the display while another terminal shows.
    void release();
    /// Takes the display back and repaints it in full.
    void acquire();
    /// Frees the buffers and closes the card.
    void close_card();

    if_drm_device* m_device;
    bool m_own_terminal;
    cls_string m_card;
    cls_string m_output;
    uint32_t m_connector = 0;
    uint32_t m_crtc = 0;
    if_drm_device::mode_t m_mode;
    uint32_t m_fourcc = 0;
    cls_fb_format m_format;
    if_drm_device::buffer_t m_buffers[2];
    // What each buffer lacks of the picture, in picture pixels.
    std::vector<cls_rect> m_damage[2];
    int m_front = 0;
    bool m_flip_pending = false;
    // A change came while a flip was pending: it is shown once the flip completes.
    bool m_frame_wanted = false;
    // Whether we hold the display (false while another terminal shows).
    bool m_active = false;
    cls_evdev_input m_input;
    cls_console_mode m_console;
    cls_vt_switch m_vt;
    std::vector<pollfd> m_polled;
};

} // namespace ozgi
