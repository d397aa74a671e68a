#include "devices/cls_vesk_text_escape.h"

using ozgi::cls_string;

namespace {

// The length of the valid UTF-8 character at `i`, or 0 when the bytes there are
// not one; `cp` gets its code point.
int char_len(const cls_string& s, int i, unsigned* cp) {
    const unsigned char* b = reinterpret_cast<const unsigned char*>(s.c_str()) + i;
    int left = s.length() - i;
    unsigned c = b[0];
    if (c < 0x80) {
        *cp = c;
        return 1;
    }
    int n;
    unsigned min;
    if ((c & 0xE0) == 0xC0) {
        n = 2;
        c &= 0x1F;
        min = 0x80;
    } else if ((c & 0xF0) == 0xE0) {
        n = 3;
        c &= 0x0F;
        min = 0x800;
    } else if ((c & 0xF8) == 0xF0) {
        n = 4;
        c &= 0x07;
        min = 0x10000;
    } else {
        return 0;
    }
    if (left < n) return 0;
    for (int k = 1; k < n; ++k) {
        if ((b[k] & 0xC0) != 0x80) return 0;
        c = (c << 6) | (b[k] & 0x3F);
    }
    if (c < min || c > 0x10FFFF || (c >= 0xD800 && c <= 0xDFFF)) return 0;
    *cp = c;
    return n;
}

const char* const REPLACEMENT = "\xEF\xBF\xBD";

} // namespace

bool cls_vesk_text_escape::is_utf8(const cls_string& text) {
    unsigned cp;
    for (int i = 0; i < text.length();) {
        int n = char_len(text, i, &cp);
        if (n == 0) return false;
        i += n;
    }
    return true;
}

cls_string cls_vesk_text_escape::json(const cls_string& text) {
    cls_string out;
    out.reserve(text.length() + 2);
    out += '"';
    unsigned cp;
    for (int i = 0; i < text.length();) {
        int n = char_len(text, i, &cp);
        if (n == 0) {
            out += REPLACEMENT;
            ++i;
            continue;
        }
        if (cp == '"') out += "\\\"";
        else if (cp == '\\') out += "\\\\";
        else if (cp == '\n') out += "\\n";
        else if (cp == '\r') out += "\\r";
        else if (cp == '\t') out += "\\t";
        else if (cp < 0x20 || cp == 0x7F) {
            cls_string esc;
            esc.print("\\u%04x", cp);
            out += esc;
        } else {
            out.append(text.c_str() + i, n);
        }
        i += n;
    }
    out += '"';
    return out;
}

cls_string cls_vesk_text_escape::xml(const cls_string& text) {
    cls_string out;
    out.reserve(text.length());
    unsigned cp;
    for (int i = 0; i < text.length();) {
        int n = char_len(text, i, &cp);
        // XML 1.0 has no way to write most control characters, not even escaped.
        bool allowed = n != 0 && (cp >= 0x20 || cp == '\t' || cp == '\n' || cp == '\r') && cp != 0xFFFE && cp != 0xFFFF;
        if (!allowed) {
            out += REPLACEMENT;
            i += n == 0 ? 1 : n;
            continue;
        }
        if (cp == '&') out += "&amp;";
        else if (cp == '<') out += "&lt;";
        else if (cp == '>') out += "&gt;";
        else if (cp == '"') out += "&quot;";
        else if (cp == '\r') out += "&#13;";
        else out.append(text.c_str() + i, n);
        i += n;
    }
    return out;
}

cls_string cls_vesk_text_escape::printable(const cls_string& text) {
    cls_string out;
    unsigned cp;
    for (int i = 0; i < text.length();) {
        int n = char_len(text, i, &cp);
        if (n == 0 || cp < 0x20 || cp == 0x7F) {
            cls_string esc;
            esc.print("\\x%02X", static_cast<unsigned char>(text[i]));
            out += esc;
            ++i;
            continue;
        }
        out.append(text.c_str() + i, n);
        i += n;
    }
    return out;
}

int cls_vesk_text_escape::utf8_cut(const cls_string& text, int from, int max) {
    int cut = from + max < text.length() ? from + max : text.length();
    // The last character that starts before the cut: when it needs more bytes
    // than the cut leaves it, the cut moves to its start.
    int lead = cut - 1;
    while (lead > from && cut - lead < 4 && (static_cast<unsigned char>(text[lead]) & 0xC0) == 0x80) --lead;
    if (lead >= from) {
        unsigned char c = static_cast<unsigned char>(text[lead]);
        int need = c >= 0xF0 ? 4 : c >= 0xE0 ? 3 : c >= 0xC0 ? 2 : 1;
        if (c >= 0xC0 && lead + need > cut) cut = lead;
    }
    return cut - from;
}

int cls_vesk_text_escape::utf8_start(const cls_string& text, int from) {
    int i = from;
    while (i < text.length() && i - from < 3 && (static_cast<unsigned char>(text[i]) & 0xC0) == 0x80) ++i;
    if (i < text.length() && (static_cast<unsigned char>(text[i]) & 0xC0) == 0x80) return from;
    return i;
}
