#pragma once
// What one evdev device's records mean: keys, and a touch (a touch screen's
// single-touch axes, the multitouch protocols A and B, or an absolute pointer
// such as a tablet pressing BTN_LEFT) that comes out as PRESS, MOVE and
// RELEASE in panel pixels. It knows nothing of descriptors: the records are
// fed to it, and after the kernel dropped some (SYN_DROPPED) the device's
// state is handed to it to put things right.
#include <vector>

#include "ozgi/if_display_backend.h"

struct input_event;

namespace ozgi {

class cls_evdev_decoder {
public:
    /// The raw coordinates a device reports at its edges.
    struct range_t {
        int xmin = 0;
        int xmax = 0;
        int ymin = 0;
        int ymax = 0;
        bool is_set() const { return xmin != xmax && ymin != ymax; }
    };
    /// One multitouch slot: its tracking id (-1 when no finger) and position.
    struct slot_t {
        int id = -1;
        int x = 0;
        int y = 0;
    };
    /// A device's state as the kernel tells it (EVIOCGKEY, EVIOCGABS,
    /// EVIOCGMTSLOTS); what could not be read is left as it is (nothing down).
    struct snapshot_t {
        /// Indexed by key code: true when down.
        std::vector<bool> keys;
        int abs_x = 0;
        int abs_y = 0;
        int slot = 0;
        /// Empty for a device without slots.
        std::vector<slot_t> slots;
    };

    /// The most slots followed; contacts in higher slots are ignored.
    static const int MAX_SLOTS = 64;

    /// A decoder scaling `range` (single touch, pointer) and `mt_range`
    /// (multitouch) to a `panel_w` x `panel_h` panel; an unset range means
    /// the raw values are panel pixels.
    void setup(const range_t& range, const range_t& mt_range, int panel_w, int panel_h);
    /// Takes one record; appends the input it completes to `out`. Returns
    /// false after SYN_DROPPED, once the records up to the next SYN_REPORT are
    /// skipped: the caller then reads the device's state and calls resync().
    bool feed(const input_event& e, std::vector<input_t>* out);
    /// Adopts the device's state after lost records: the keys and the touch
    /// that differ from what was reported are released or pressed in `out`.
    void resync(const snapshot_t& state, std::vector<input_t>* out);
    /// Adopts the state of a device just opened, reporting nothing: a finger
    /// already down becomes a press at the next report.
    void start(const snapshot_t& state);
    /// Whether a touch is reported as down; its last position.
    bool is_down() const { return m_was_down; }
    int x() const { return m_px; }
    int y() const { return m_py; }

private:
    /// The touch as the records so far leave it: down, raw position and an id
    /// telling one finger from the next.
    void current(bool* down, int* rx, int* ry, long long* who) const;
    /// Reports what changed since the last report.
    void report(std::vector<input_t>* out, bool resyncing);
    /// Turns a raw position into panel pixels.
    void to_panel(int rx, int ry, bool mt, int* px, int* py) const;
    /// The slot a record of protocol B goes to, or null when out of range.
    slot_t* current_slot();
    /// Adopts the touch part of a snapshot.
    void take_touch(const snapshot_t& state);

    range_t m_range;
    range_t m_mt_range;
    int m_panel_w = 0;
    int m_panel_h = 0;

    // Once a device speaks multitouch its single-touch emulation is ignored,
    // or every touch would count twice.
    bool m_multitouch = false;
    // Protocol B: slots with tracking ids; otherwise protocol A.
    bool m_tracking = false;
    int m_slot = 0;
    std::vector<slot_t> m_slots;
    // When each slot's finger went down (a counter): the oldest one drives the
    // pointer, as the kernel's pointer emulation does.
    std::vector<long long> m_since;
    long long m_clock = 0;
    // Protocol A: the first contact of the report being read, and how many.
    int m_a_x = 0;
    int m_a_y = 0;
    int m_a_contacts = 0;
    bool m_a_pending = false;
    int m_a_last_x = 0;
    int m_a_last_y = 0;
    bool m_a_down = false;
    // Single touch and absolute pointers: the axes and the buttons held
    // (BTN_TOUCH, BTN_LEFT, BTN_TOOL_*), and whether BTN_TOUCH is spoken at
    // all (then it alone says whether the surface is touched).
    int m_abs_x = 0;
    int m_abs_y = 0;
    unsigned m_buttons = 0;
    bool m_has_touch_button = false;
    // Between SYN_DROPPED and the SYN_REPORT that ends the damage.
    bool m_dropping = false;
    // Keys as last reported.
    std::vector<bool> m_keys;
    // The touch as last reported.
    bool m_was_down = false;
    long long m_was_who = -1;
    int m_px = 0;
    int m_py = 0;
};

} // namespace ozgi
