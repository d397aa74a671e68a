#include "ozgi/cls_color.h"

namespace ozgi {

namespace {

// Reads one decimal number 0-255 with optional blanks around it, up to `stop`
// (a comma, or the end of the text when stop is 0).
bool read_component(const char* text, int* pos, char stop, uint8_t* out) {
    int i = *pos;
    while (text[i] == ' ' || text[i] == '\t') ++i;
    int value = 0;
    int digits = 0;
    while (text[i] >= '0' && text[i] <= '9') {
        value = value * 10 + (text[i] - '0');
        if (value > 255) return false;
        ++i;
        ++digits;
    }
    if (digits == 0) return false;
    while (text[i] == ' ' || text[i] == '\t') ++i;
    if (text[i] != stop) return false;
    if (stop != '\0') ++i;
    *pos = i;
    *out = static_cast<uint8_t>(value);
    return true;
}

} // namespace

bool cls_color::parse(const cls_string& text, cls_color* out) {
    if (text == "white") {
        *out = cls_color{255, 255, 255, 255};
        return true;
    }
    if (text == "black") {
        *out = cls_color{0, 0, 0, 255};
        return true;
    }
    const char* s = text.c_str();
    // Embedded zero bytes would end the scan early and let a malformed value pass.
    for (int i = 0; i < text.length(); ++i)
        if (s[i] == '\0') return false;
    cls_color c;
    int pos = 0;
    if (!read_component(s, &pos, ',', &c.r) || !read_component(s, &pos, ',', &c.g) ||
        !read_component(s, &pos, ',', &c.b) || !read_component(s, &pos, '\0', &c.a))
        return false;
    *out = c;
    return true;
}

} // namespace ozgi
