#pragma once
// One event of the GUI: a code, a target item, a few integer slots, a text and,
// for key events, the name of the key that made it.
#include "ozgi/cls_string.h"

namespace ozgi {

class cls_event_handler;

/// The kind of an event (the EVENT_ constants of cls_ui_event).
typedef int event_code_t;

class cls_ui_event {
public:
    /// Event codes. Code 1 with an empty text ends the program; with a text it
    /// fires the event of that name on the target (as if the item fired it).
    enum {
        EVENT_APP = 1,
        /// int_data(0): the key code; int_data(1): 1 (the key went down).
        EVENT_KEY = 2,
        /// int_data(0), int_data(1): screen x, y; int_data(2): TOUCH_ phase.
        EVENT_TOUCH = 3,
        /// int_data(0), int_data(1): screen x, y; int_data(2): wheel steps, positive upwards.
        EVENT_WHEEL = 4,
        /// Codes from here on are free for the program's own posted events.
        EVENT_USER = 100
    };
    /// Touch phases (int_data(2) of EVENT_TOUCH).
    enum { TOUCH_PRESS = 0, TOUCH_MOVE = 1, TOUCH_RELEASE = 2 };
    /// Key codes the pages act on. Other keys have codes of their own (see key_code).
    enum {
        KEY_SELECT = 4,
        KEY_BACK = 7,
        KEY_PREV = 10,
        KEY_NEXT = 12,
        KEY_PREV_ALT = 41,
        KEY_NEXT_ALT = 42,
        KEY_SELECT_ALT = 43
    };
    /// The number of integer slots.
    static const int INT_DATA_COUNT = 4;

    /// An event of `code` addressed to `target` (null: the top page), all slots 0.
    cls_ui_event(event_code_t code, cls_event_handler* target);
    /// An event of `code` addressed to `target` carrying `text`.
    cls_ui_event(event_code_t code, cls_event_handler* target, const cls_string& text);

    /// The event's code.
    event_code_t event_code() const { return m_code; }
    /// The item the event is addressed to (null: the top page).
    cls_event_handler* target() const { return m_target; }
    /// Re-addresses the event.
    void set_target(cls_event_handler* target) { m_target = target; }
    /// The integer in slot `index` (0 to INT_DATA_COUNT - 1); another index is fatal.
    long long int_data(int index) const;
    /// Stores `value` in slot `index`; another index is fatal.
    void set_int_data(int index, long long value);
    /// The event's text (the event name of an EVENT_APP event).
    const cls_string& text() const { return m_text; }
    /// Replaces the event's text.
    void set_text(const cls_string& text) { m_text = text; }
    /// The name of the key of a key event; empty for key events built by code.
    const cls_string& key_name() const { return m_key_name; }
    /// Sets the key name (and nothing else: the code stays in int_data(0)).
    void set_key_name(const cls_string& name) { m_key_name = name; }
    /// Whether this is a key event whose key name equals `name`, ignoring case.
    /// An empty `name` never matches.
    bool match_key(const cls_string& name) const;

    /// The key code of a key name (SDL's key names, case-insensitive): Return and
    /// Space give 4, Escape, Backspace and "AC Back" 7, Up 10, Down 12, Left 41,
    /// Right 42, "Keypad Enter" 43; every other name a code of its own, never one
    /// of these. An empty name gives 0.
    static int key_code(const cls_string& name);

private:
    event_code_t m_code;
    cls_event_handler* m_target;
    long long m_int_data[INT_DATA_COUNT];
    cls_string m_text;
    cls_string m_key_name;
};

} // namespace ozgi
