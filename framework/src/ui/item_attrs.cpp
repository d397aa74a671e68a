#include "ui/item_attrs.h"

#include "ozgi/cls_color.h"

namespace ozgi {

bool parse_bool_attr(const cls_string& value, bool* out) {
    if (value == "true") *out = true;
    else if (value == "false") *out = false;
    else return false;
    return true;
}

bool parse_int_attr(const cls_string& value, int* out) {
    cls_string v = value;
    v.trim_to_str(" \t", true, true);
    int i = 0;
    if (i < v.length() && (v[i] == '-' || v[i] == '+')) ++i;
    if (i == v.length()) return false;
    for (; i < v.length(); ++i)
        if (v[i] < '0' || v[i] > '9') return false;
    if (v.length() > 10) return false;
    *out = v.to_int();
    return true;
}

bool parse_color_attr(const cls_string& value, uint32_t* argb) {
    cls_color c;
    if (!cls_color::parse(value, &c)) return false;
    *argb = c.argb();
    return true;
}

bool parse_alignment_attr(const cls_string& value, int* h_align, int* v_align) {
    cls_string h, v;
    if (!value.get_sub_str(0, ',', &h) || !value.get_sub_str(1, ',', &v)) return false;
    cls_string extra;
    if (value.get_sub_str(2, ',', &extra)) return false;
    h.trim_to_str(" ", true, true);
    v.trim_to_str(" ", true, true);
    if (h == "left") *h_align = 0;
    else if (h == "middle" || h == "center") *h_align = 1;
    else if (h == "right") *h_align = 2;
    else return false;
    if (v == "top") *v_align = 0;
    else if (v == "middle" || v == "center") *v_align = 1;
    else if (v == "bottom") *v_align = 2;
    else return false;
    return true;
}

} // namespace ozgi
