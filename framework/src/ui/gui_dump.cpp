#include "ui/gui_dump.h"

#include <cstdio>

#include "ozgi/cls_app_data.h"
#include "ozgi/cls_icon.h"
#include "ozgi/cls_label.h"
#include "ozgi/cls_page.h"
#include "ozgi/cls_root_container.h"

namespace ozgi {

namespace {

void put_string(cls_string* out, const cls_string& s) {
    *out += '"';
    for (int i = 0; i < s.length(); ++i) {
        unsigned char c = static_cast<unsigned char>(s[i]);
        if (c == '"') *out += "\\\"";
        else if (c == '\\') *out += "\\\\";
        else if (c == '\n') *out += "\\n";
        else if (c == '\r') *out += "\\r";
        else if (c == '\t') *out += "\\t";
        else if (c < 0x20) {
            char buf[8];
            std::snprintf(buf, sizeof buf, "\\u%04x", c);
            *out += buf;
        } else {
            *out += static_cast<char>(c);
        }
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
