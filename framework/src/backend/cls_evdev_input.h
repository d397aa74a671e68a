#pragma once
// Input from Linux evdev devices: a touch screen (the multitouch protocol's
// slot 0 or the single-touch one) and keys. Touches come out in panel pixels,
// keys by the framework's key names. Devices are read without blocking; one
// that goes away is dropped and the others carry on.
#include <poll.h>

#include <vector>

#include "ozgi/cls_string.h"
#include "ozgi/if_display_backend.h"

struct input_event;

namespace ozgi {

class cls_evdev_input {
public:
    /// The raw coordinates a touch screen reports at its edges.
    struct range_t {
        int xmin = 0;
        int xmax = 0;
        int ymin = 0;
        int ymax = 0;
        bool is_set() const { return xmin != xmax && ymin != ymax; }
    };

    cls_evdev_input() = default;
    ~cls_evdev_input();
    cls_evdev_input(const cls_evdev_input&) = delete;
    cls_evdev_input& operator=(const cls_evdev_input&) = delete;

    /// Reads "XMIN:XMAX:YMIN:YMAX" (a minimum above its maximum turns the axis
    /// round); false for anything else.
    static bool parse_range(const cls_string& text, range_t* out);

    /// Opens the comma-separated device paths of `paths`, or, when `scan`, every
    /// /dev/input/event* that is a touch screen or has keys (those that cannot be
    /// opened are passed over). Touches are scaled to a `panel_w` x `panel_h`
    /// panel from the device's own range, or from `fallback` when the device
    /// cannot tell it (a FIFO or a file of records); with neither the raw values
    /// are panel pixels. False, with the reason, when a named device cannot be opened.
    bool open(const cls_string& paths, bool scan, const range_t& fallback, int panel_w, int panel_h,
              cls_string* error);
    /// Opens the devices the options name (--ozgi-input=, else every useful
    /// one; --ozgi-input-range=) for a `panel_w` x `panel_h` panel; false, with
    /// the reason, for a bad range or a named device that cannot be opened.
    bool open(const display_options_t& options, int panel_w, int panel_h, cls_string* error);
    /// Closes every device.
    void close_all();
    /// How many devices are open.
    int device_count() const { return static_cast<int>(m_devices.size()); }
    /// Adds a poll entry for each device to `out`.
    void add_poll_fds(std::vector<pollfd>* out) const;
    /// The next input without blocking: PRESS, MOVE and RELEASE in panel pixels,
    /// KEY_PRESS and KEY_RELEASE by name. False when no device has anything more.
    bool read(input_t* out);

private:
    /// One open device and its touch state.
    struct device_t;

    /// Opens one device; false (with errno set) when it cannot be opened.
    bool add(const char* path, bool only_if_useful, const range_t& fallback);
    /// Handles one event; true when it produced input.
    bool translate(device_t* dev, const input_event& e, input_t* out);
    /// Turns a raw position into panel pixels.
    void to_panel(const device_t& dev, int* px, int* py) const;
    /// Reads what one device has into m_pending; false when it went away.
    bool drain(device_t* dev);

    std::vector<device_t*> m_devices;
    int m_panel_w = 0;
    int m_panel_h = 0;
    // Input translated but not yet taken, in order.
    std::vector<input_t> m_pending;
    size_t m_pending_at = 0;
};

} // namespace ozgi
