#include "ui/gui_dump.h"

#include <cstdio>

#include "ozgi/cls_app_data.h"
#include "ozgi/cls_icon.h"
#include "ozgi/cls_label.h"
#include "ozgi/cls_page.h"
#include "ozgi/cls_root_container.h"

namespace ozgi {

namespace {

// Length of the well-formed UTF-8 sequence of two or more bytes at s[i], or 0 when
// the bytes there are not one (overlong forms, surrogates and code points above
// U+10FFFF are not).
int utf8_sequence_length(const cls_string& s, int i) {
    unsigned char c = static_cast<unsigned char>(s[i]);
    int n;
    unsigned char lo = 0x80, hi = 0xBF;  // allowed range of the second byte
    if (c >= 0xC2 && c <= 0xDF) n = 2;
    else if (c >= 0xE0 && c <= 0xEF) {
        n = 3;
        if (c == 0xE0) lo = 0xA0;
        else if (c == 0xED) hi = 0x9F;
    } else if (c >= 0xF0 && c <= 0xF4) {
        n = 4;
        if (c == 0xF0) lo = 0x90;
        else if (c == 0xF4) hi = 0x8F;
    } else {
        return 0;
    }
    if (i + n > s.length()) return 0;
    unsigned char second = static_cast<unsigned char>(s[i + 1]);
    if (second < lo || second > hi) return 0;
    for (int k = 2; k < n; ++k)
        if ((static_cast<unsigned char>(s[i + k]) & 0xC0) != 0x80) return 0;
    return n;
}

// Writes `s` as a JSON string. A byte that is not part of well-formed UTF-8 is
// written as the escape \u00XX of its value, so the dump stays valid JSON and
// the bytes can still be told apart.
void put_string(cls_string* out, const cls_string& s) {
    *out += '"';
    int i = 0;
    int n = s.length();
    while (i < n) {
        // Plain printable ASCII goes over in runs.
        int run = i;
        while (run < n) {
            unsigned char c = static_cast<unsigned char>(s[run]);
            if (c < 0x20 || c >= 0x80 || c == '"' || c == '\\') break;
            ++run;
        }
        if (run > i) {
            out->append(s.c_str() + i, run - i);
            i = run;
            continue;
        }
        unsigned char c = static_cast<unsigned char>(s[i]);
        if (c == '"') *out += "\\\"";
        else if (c == '\\') *out += "\\\\";
        else if (c == '\n') *out += "\\n";
        else if (c == '\r') *out += "\\r";
        else if (c == '\t') *out += "\\t";
        else {
            int len = c >= 0x80 ? utf8_sequence_length(s, i) : 0;
            if (len > 0) {
                out->append(s.c_str() + i, len);
                i += len;
                continue;
            }
            char buf[8];
            std::snprintf(buf, sizeof buf, "\\u%04x", c);
            *out += buf;
        }
        ++i;
    }
    *out += '"';
}

void put_item(cls_string* out, cls_event_handler* item, int depth) {
    cls_string indent(' ', depth * 2);
    int x, y, w, h;
    item->screen_rect(&x, &y, &w, &h);
    cls_string nums;
    *out += indent;
    *out += "{\"class\": ";
    put_string(out, item->class_name());
    *out += ", \"name\": ";
    put_string(out, item->item_name());
    nums.print(", \"x\": %d, \"y\": %d, \"w\": %d, \"h\": %d", x, y, w, h);
    *out += nums;
    *out += ", \"visible\": ";
    *out += item->is_visible() ? "true" : "false";
    *out += ", \"enabled\": ";
    *out += item->is_enabled() ? "true" : "false";
    *out += ", \"focused\": ";
    *out += item->has_focus() ? "true" : "false";
    const cls_label* label = dynamic_cast<const cls_label*>(item);
    if (label) {
        *out += ", \"text\": ";
        put_string(out, label->text());
        *out += ", \"shown_text\": ";
        put_string(out, label->shown_text());
    }
    const cls_icon* icon = dynamic_cast<const cls_icon*>(item);
    if (icon) {
        *out += ", \"picture\": ";
        put_string(out, icon->picture_name());
    }
    *out += ", \"item_data\": ";
    put_string(out, item->item_data());
    *out += ", \"groups\": [";
    for (int i = 0; i < item->groups().count(); ++i) {
        if (i) *out += ", ";
        put_string(out, item->groups()[i]);
    }
    *out += "], \"children\": [";
    if (item->child_count() > 0) {
        *out += "\n";
        for (int i = 0; i < item->child_count(); ++i) {
            put_item(out, item->child(i), depth + 1);
            if (i + 1 < item->child_count()) *out += ",";
            *out += "\n";
        }
        *out += indent;
    }
    *out += "]}";
}

} // namespace

cls_string gui_dump_json(cls_root_container* root) {
    cls_string out = "{\"language\": ";
    put_string(&out, *cls_app_data::ins()->get_data("language"));
    out += ", \"pages\": [";
    int n = root ? root->page_count() : 0;
    if (n > 0) out += "\n";
    for (int i = 0; i < n; ++i) {
        put_item(&out, root->page_at(i), 1);
        if (i + 1 < n) out += ",";
        out += "\n";
    }
    out += "]}\n";
    return out;
}

} // namespace ozgi
