#include "ozgi/cls_ui_event.h"

#include "ozgi/cls_log.h"

namespace ozgi {

cls_ui_event::cls_ui_event(event_code_t code, cls_event_handler* target) : m_code(code), m_target(target) {
    for (int i = 0; i < INT_DATA_COUNT; ++i) m_int_data[i] = 0;
}

cls_ui_event::cls_ui_event(event_code_t code, cls_event_handler* target, const cls_string& text)
    : cls_ui_event(code, target) {
    m_text = text;
}

long long cls_ui_event::int_data(int index) const {
    if (index < 0 || index >= INT_DATA_COUNT) OZGI_FATAL("Invalid event data index %d.", index);
    return m_int_data[index];
}

void cls_ui_event::set_int_data(int index, long long value) {
    if (index < 0 || index >= INT_DATA_COUNT) OZGI_FATAL("Invalid event data index %d.", index);
    m_int_data[index] = value;
}

namespace {

char lower(char c) { return (c >= 'A' && c <= 'Z') ? static_cast<char>(c - 'A' + 'a') : c; }

bool same_name(const cls_string& a, const char* b) {
    int i = 0;
    for (; i < a.length() && b[i]; ++i)
        if (lower(a[i]) != lower(b[i])) return false;
    return i == a.length() && b[i] == 0;
}

struct key_entry_t {
    const char* name;
    int code;
};

// Keys with fixed codes. The first group are the codes the pages act on; the
// rest give common keys stable codes of their own. See README.md, "Keys".
const key_entry_t KEY_TABLE[] = {
    {"Return", 4}, {"Space", 4}, {"Escape", 7}, {"Backspace", 7}, {"AC Back", 7}, {"Up", 10}, {"Down", 12},
    {"Left", 41}, {"Right", 42}, {"Keypad Enter", 43}, {"Tab", 60}, {"Home", 61}, {"End", 62}, {"PageUp", 63},
    {"PageDown", 64}, {"Delete", 65}, {"Insert", 66}, {"Menu", 67}, {"AC Home", 68}, {"Power", 69},
    {"VolumeUp", 70}, {"VolumeDown", 71}, {"F1", 81}, {"F2", 82}, {"F3", 83}, {"F4", 84}, {"F5", 85},
    {"F6", 86}, {"F7", 87}, {"F8", 88}, {"F9", 89}, {"F10", 90}, {"F11", 91}, {"F12", 92},
};

} // namespace

bool cls_ui_event::match_key(const cls_string& name) const {
    if (name.is_empty() || m_code != EVENT_KEY || m_key_name.is_empty()) return false;
    return same_name(m_key_name, name.c_str());
}

int cls_ui_event::key_code(const cls_string& name) {
    if (name.is_empty()) return 0;
    for (const key_entry_t& k : KEY_TABLE)
        if (same_name(name, k.name)) return k.code;
    // A single letter or digit: its lower-case character code.
    if (name.length() == 1) {
        char c = lower(name[0]);
        if ((c >= 'a' && c <= 'z') || (c >= '0' && c <= '9')) return c + 1000;
    }
    // Any other name: a stable code from its lower-case text, above all of the above.
    unsigned h = 2166136261u;
    for (int i = 0; i < name.length(); ++i) h = (h ^ static_cast<unsigned char>(lower(name[i]))) * 16777619u;
    return 2000 + static_cast<int>(h % 1000000u);
}

} // namespace ozgi
