#pragma once
// What every display backend shares: its options, the turn between the logical
// screen and the panel, the queue of injected input, and the placing of the
// picture on a panel larger than it with touches mapped back (the border rule).
// A backend adds only showing pixels, reading its devices and waiting.
#include <poll.h>

#include <deque>
#include <vector>

#include "backend/cls_screen_rotation.h"
#include "ozgi/if_display_backend.h"

namespace ozgi {

class cls_display_backend : public if_display_backend {
public:
    /// A backend configured by `options` (its rotation among them).
    explicit cls_display_backend(const display_options_t& options);
    /// Injected input first, then what read_device_input() gives.
    bool poll_input(input_t* out) override;
    /// Maps physical picture pixels to logical ones and queues the event.
    void inject_input(const input_t& in) override;
    void to_physical(int x, int y, int* px, int* py) const override;
    bool read_physical(cls_array<uint32_t>* argb, int* w, int* h) override;

protected:
    /// The next input from the backend's own devices, logical; false when there
    /// is none. Without devices there is none.
    virtual bool read_device_input(input_t* out);
    /// Whether injected input waits to be taken (a wait then returns at once).
    bool has_queued_input() const { return !m_queue.empty(); }
    const display_options_t& options() const { return m_options; }
    /// Sets up the turned picture for a `width` x `height` logical screen.
    void setup_screen(int width, int height) { m_screen.setup(width, height, m_options.rotate); }
    cls_screen_rotation& screen() { return m_screen; }
    const cls_screen_rotation& screen() const { return m_screen; }
    /// Centres the turned picture on a `panel_w` x `panel_h` panel (no smaller
    /// than the picture); panel_to_logical() then maps its touches.
    void place_on_panel(int panel_w, int panel_h);
    /// The picture's left and top edge on the panel.
    int panel_left() const { return m_left; }
    int panel_top() const { return m_top; }
    /// Turns input in panel pixels into logical input. A touch that begins on the
    /// border round the picture means nothing (false: drop it); one that began on
    /// the picture and strays off it stays at its edge. Keys pass unchanged.
    bool panel_to_logical(input_t* in);
    /// Polls `extra` together with the `nfds` descriptors `fds` for at most
    /// `timeout_ms` (-1: no limit); a signal ends it early.
    void poll_with(std::vector<pollfd>* extra, int timeout_ms, const int* fds, int nfds);

private:
    display_options_t m_options;
    cls_screen_rotation m_screen;
    std::deque<input_t> m_queue;
    int m_left = 0;
    int m_top = 0;
    // A touch that began on the picture and has not been lifted.
    bool m_touching = false;
};

} // namespace ozgi
