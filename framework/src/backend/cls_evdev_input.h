#pragma once
// Input from Linux evdev devices: touch screens (single touch, multitouch
// protocols A and B), absolute pointers (tablets: BTN_LEFT with ABS_X/ABS_Y)
// and keys. Touches come out in panel pixels, keys by the framework's key
// names. Devices are read without blocking and grabbed, so that their keys do
// not also reach the console; one that goes away is dropped and the others
// carry on; when scanning, devices that appear later are picked up.
#include <poll.h>

#include <vector>

#include "backend/cls_evdev_decoder.h"
#include "ozgi/cls_string.h"
#include "ozgi/if_display_backend.h"

namespace ozgi {

class cls_evdev_input {
public:
    /// The raw coordinates a touch screen reports at its edges.
    typedef cls_evdev_decoder::range_t range_t;

    cls_evdev_input() = default;
    ~cls_evdev_input();
    cls_evdev_input(const cls_evdev_input&) = delete;
    cls_evdev_input& operator=(const cls_evdev_input&) = delete;

    /// Reads "XMIN:XMAX:YMIN:YMAX" (a minimum above its maximum turns the axis
    /// round); false for anything else.
    static bool parse_range(const cls_string& text, range_t* out);

    /// Opens the comma-separated device paths of `paths` (any kind of device,
    /// touchpads too), or, when `scan`, every /dev/input/event* that is a touch
    /// screen, an absolute pointer or has keys (touchpads and pen tablets,
    /// INPUT_PROP_POINTER without INPUT_PROP_DIRECT, are left out; those that
    /// cannot be opened are passed over), watching /dev/input for more.
    /// Touches are scaled to a `panel_w` x `panel_h` panel from the device's
    /// own range, or from `fallback` when the device cannot tell it (a FIFO or
    /// a file of records); with neither the raw values are panel pixels.
    /// False, with the reason, when a named device cannot be opened.
    bool open(const cls_string& paths, bool scan, const range_t& fallback, int panel_w, int panel_h,
              cls_string* error);
    /// Closes every device.
    void close_all();
    /// How many devices are open.
    int device_count() const { return static_cast<int>(m_devices.size()); }
    /// Adds a poll entry for each device (and the watch of /dev/input) to `out`.
    void add_poll_fds(std::vector<pollfd>* out) const;
    /// The next input without blocking: PRESS, MOVE and RELEASE in panel pixels,
    /// KEY_DOWN and KEY_UP by name. False when no device has anything more.
    bool read(input_t* out);

    /// What a scan makes of a device from its capabilities.
    enum kind_t { KIND_NONE, KIND_TOUCH, KIND_POINTER_PAD, KIND_KEYS };
    /// Classifies an open device; a touchpad or pen tablet is KIND_POINTER_PAD.
    static kind_t classify(int fd);

private:
    /// One open device and its decoder.
    struct device_t;

    /// Opens one device; false (with errno set) when it cannot be opened.
    bool add(const char* path, bool only_if_useful);
    /// Reads what one device has into m_pending; false when it went away.
    bool drain(device_t* dev);
    /// Reads the device's state (what can be read: nothing of a FIFO).
    static cls_evdev_decoder::snapshot_t read_state(const device_t& dev);
    /// Opens the devices that appeared in /dev/input since the last look.
    void take_new_devices();
    /// Whether `path` is open already.
    bool is_open(const char* path) const;

    std::vector<device_t*> m_devices;
    range_t m_fallback;
    int m_panel_w = 0;
    int m_panel_h = 0;
    // The inotify watch of /dev/input while scanning, or -1.
    int m_watch = -1;
    // Input translated but not yet taken, in order.
    std::vector<input_t> m_pending;
    size_t m_pending_at = 0;
};

} // namespace ozgi
