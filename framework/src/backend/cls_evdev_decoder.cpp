#include "backend/cls_evdev_decoder.h"

#include <linux/input.h>

#include <cmath>

#include "backend/evdev_key_names.h"

// The kernel's names of two key codes are the framework's names of two input types.
#undef KEY_UP
#undef KEY_DOWN

namespace ozgi {

namespace {

// The buttons that mean a press, as bits of m_buttons: BTN_TOOL_PEN to
// BTN_TOOL_QUADTAP by their offset from BTN_TOOL_PEN (BTN_TOUCH among them),
// and BTN_LEFT above.
constexpr int FIRST_TOOL = BTN_TOOL_PEN;
constexpr int LAST_TOOL = BTN_TOOL_QUADTAP;
constexpr unsigned TOUCH_BIT = 1u << (BTN_TOUCH - FIRST_TOOL);
constexpr unsigned LEFT_BIT = 1u << 16;
// BTN_STYLUS and BTN_STYLUS2 are a pen's side buttons, no press of the tip.
constexpr unsigned NOT_PRESSES = (1u << (BTN_STYLUS - FIRST_TOOL)) | (1u << (BTN_STYLUS2 - FIRST_TOOL));

unsigned button_bit(int code) {
    if (code == BTN_LEFT) return LEFT_BIT;
    if (code >= FIRST_TOOL && code <= LAST_TOOL) return 1u << (code - FIRST_TOOL);
    return 0;
}

} // namespace

void cls_evdev_decoder::setup(const range_t& range, const range_t& mt_range, int panel_w, int panel_h) {
    m_range = range;
    m_mt_range = mt_range;
    m_panel_w = panel_w;
    m_panel_h = panel_h;
    m_keys.assign(KEY_CNT, false);
}

void cls_evdev_decoder::to_panel(int rx, int ry, bool mt, int* px, int* py) const {
    const range_t& r = mt ? m_mt_range : m_range;
    double x = rx, y = ry;
    if (r.is_set()) {
        x = (x - r.xmin) * (m_panel_w - 1) / (static_cast<double>(r.xmax) - r.xmin);
        y = (y - r.ymin) * (m_panel_h - 1) / (static_cast<double>(r.ymax) - r.ymin);
    }
    // Clamped as doubles first: a wild raw value must not overflow the conversion.
    x = x < 0 ? 0 : x > m_panel_w - 1 ? m_panel_w - 1 : x;
    y = y < 0 ? 0 : y > m_panel_h - 1 ? m_panel_h - 1 : y;
    *px = static_cast<int>(std::lround(x));
    *py = static_cast<int>(std::lround(y));
}

cls_evdev_decoder::slot_t* cls_evdev_decoder::current_slot() {
    if (m_slot < 0 || m_slot >= MAX_SLOTS) return nullptr;
    if (static_cast<int>(m_slots.size()) <= m_slot) {
        m_slots.resize(static_cast<size_t>(m_slot) + 1);
        m_since.resize(static_cast<size_t>(m_slot) + 1, 0);
    }
    return &m_slots[static_cast<size_t>(m_slot)];
}

void cls_evdev_decoder::current(bool* down, int* rx, int* ry, long long* who) const {
    *down = false;
    *who = -1;
    if (m_multitouch && m_tracking) {
        long long oldest = 0;
        for (size_t i = 0; i < m_slots.size(); ++i) {
            if (m_slots[i].id < 0 || (*down && m_since[i] >= oldest)) continue;
            *down = true;
            oldest = m_since[i];
            *rx = m_slots[i].x;
            *ry = m_slots[i].y;
            *who = m_slots[i].id;
        }
        return;
    }
    if (m_multitouch) {
        *down = m_a_down;
        *rx = m_a_last_x;
        *ry = m_a_last_y;
        *who = 0;
        return;
    }
    unsigned presses = m_buttons & ~NOT_PRESSES;
    *down = m_has_touch_button ? (presses & TOUCH_BIT) != 0 : presses != 0;
    *rx = m_abs_x;
    *ry = m_abs_y;
    *who = 0;
}

void cls_evdev_decoder::report(std::vector<input_t>* out, bool resyncing) {
    bool down = false;
    int rx = 0, ry = 0;
    long long who = -1;
    current(&down, &rx, &ry, &who);
    int px = m_px, py = m_py;
    if (down) to_panel(rx, ry, m_multitouch, &px, &py);
    input_t in;
    // After lost records a different finger is a new touch: the old one was
    // lifted meanwhile.
    if (m_was_down && (!down || (resyncing && who != m_was_who))) {
        in.type = input_t::RELEASE;
        in.x = m_px;
        in.y = m_py;
        out->push_back(in);
        m_was_down = false;
    }
    if (down && (!m_was_down || px != m_px || py != m_py)) {
        in.type = m_was_down ? input_t::MOVE : input_t::PRESS;
        in.x = px;
        in.y = py;
        out->push_back(in);
    }
    m_was_down = down;
    m_was_who = who;
    if (down) {
        m_px = px;
        m_py = py;
    }
}

bool cls_evdev_decoder::feed(const input_event& e, std::vector<input_t>* out) {
    if (m_dropping) {
        if (e.type != EV_SYN || e.code != SYN_REPORT) return true;
        m_dropping = false;
        return false;
    }
    switch (e.type) {
    case EV_ABS:
        switch (e.code) {
        case ABS_MT_SLOT:
            m_multitouch = m_tracking = true;
            m_slot = e.value;
            return true;
        case ABS_MT_TRACKING_ID: {
            m_multitouch = m_tracking = true;
            slot_t* s = current_slot();
            if (!s) return true;
            if (e.value >= 0 && s->id != e.value) m_since[static_cast<size_t>(m_slot)] = ++m_clock;
            s->id = e.value < 0 ? -1 : e.value;
            return true;
        }
        case ABS_MT_POSITION_X:
        case ABS_MT_POSITION_Y:
            m_multitouch = true;
            if (m_tracking) {
                if (slot_t* s = current_slot()) (e.code == ABS_MT_POSITION_X ? s->x : s->y) = e.value;
            } else if (m_a_contacts == 0) {
                // The older protocol: the first contact of a report is the touch.
                (e.code == ABS_MT_POSITION_X ? m_a_x : m_a_y) = e.value;
                m_a_pending = true;
            }
            return true;
        case ABS_X:
            m_abs_x = e.value;
            return true;
        case ABS_Y:
            m_abs_y = e.value;
            return true;
        default:
            return true;
        }
    case EV_KEY: {
        if (unsigned bit = button_bit(e.code)) {
            if (e.code == BTN_TOUCH) m_has_touch_button = true;
            m_buttons = e.value ? m_buttons | bit : m_buttons & ~bit;
            return true;
        }
        if (!evdev_is_key(e.code) || e.code >= KEY_CNT) return true;
        m_keys[e.code] = e.value != 0;
        input_t in;
        in.type = e.value == 0 ? input_t::KEY_UP : input_t::KEY_DOWN;
        in.key_name = evdev_key_name(e.code);
        in.repeat = e.value == 2;
        out->push_back(in);
        return true;
    }
    case EV_SYN:
        if (e.code == SYN_DROPPED) {
            m_dropping = true;
            return true;
        }
        if (e.code == SYN_MT_REPORT) {
            if (m_a_pending) ++m_a_contacts;
            m_a_pending = false;
            return true;
        }
        if (e.code != SYN_REPORT) return true;
        if (m_multitouch && !m_tracking) {
            if (m_a_pending) ++m_a_contacts;
            m_a_down = m_a_contacts > 0;
            if (m_a_down) {
                m_a_last_x = m_a_x;
                m_a_last_y = m_a_y;
            }
            m_a_contacts = 0;
            m_a_pending = false;
        }
        report(out, false);
        return true;
    default:
        return true;
    }
}

void cls_evdev_decoder::take_touch(const snapshot_t& state) {
    m_abs_x = state.abs_x;
    m_abs_y = state.abs_y;
    m_buttons = 0;
    for (int code = FIRST_TOOL; code <= LAST_TOOL; ++code)
        if (code < static_cast<int>(state.keys.size()) && state.keys[static_cast<size_t>(code)])
            m_buttons |= button_bit(code);
    if (BTN_LEFT < static_cast<int>(state.keys.size()) && state.keys[BTN_LEFT]) m_buttons |= LEFT_BIT;
    if (!state.slots.empty()) m_multitouch = m_tracking = true;
    if (m_tracking) {
        m_slot = state.slot;
        size_t n = state.slots.size() < static_cast<size_t>(MAX_SLOTS) ? state.slots.size() : MAX_SLOTS;
        if (m_slots.size() < n) {
            m_slots.resize(n);
            m_since.resize(n, 0);
        }
        for (size_t i = 0; i < m_slots.size(); ++i) {
            slot_t s = i < n ? state.slots[i] : slot_t();
            if (s.id < 0) s.id = -1;
            if (s.id >= 0 && s.id != m_slots[i].id) m_since[i] = ++m_clock;
            m_slots[i] = s;
        }
    } else if (m_multitouch) {
        // The older protocol has no state to read but the touch button and
        // the emulated axes.
        m_a_down = (m_buttons & TOUCH_BIT) != 0;
        m_a_last_x = state.abs_x;
        m_a_last_y = state.abs_y;
        m_a_contacts = 0;
        m_a_pending = false;
    }
}

void cls_evdev_decoder::resync(const snapshot_t& state, std::vector<input_t>* out) {
    for (int code = 0; code < KEY_CNT; ++code) {
        bool now = code < static_cast<int>(state.keys.size()) && state.keys[static_cast<size_t>(code)];
        if (!evdev_is_key(code) || now == m_keys[static_cast<size_t>(code)]) continue;
        m_keys[static_cast<size_t>(code)] = now;
        input_t in;
        in.type = now ? input_t::KEY_DOWN : input_t::KEY_UP;
        in.key_name = evdev_key_name(code);
        out->push_back(in);
    }
    take_touch(state);
    report(out, true);
}

void cls_evdev_decoder::start(const snapshot_t& state) {
    for (int code = 0; code < KEY_CNT; ++code)
        m_keys[static_cast<size_t>(code)] = code < static_cast<int>(state.keys.size()) && state.keys[static_cast<size_t>(code)];
    take_touch(state);
}

} // namespace ozgi
