#include "ozgi/cls_button.h"

#include "ozgi/cls_canvas.h"
#include "ui/item_attrs.h"

namespace ozgi {

cls_button::cls_button() : m_pressed(false), m_hide_effect(false), m_bg_argb(0) {
    add_class_name("cls_button");
    set_focusable(true);
}

cls_button::~cls_button() {}

void cls_button::set_pressed(bool pressed) {
    if (pressed && !is_enabled()) pressed = false;
    if (m_pressed == pressed) return;
    m_pressed = pressed;
    // Its show_on_press items come or go.
    mark_subtree_bounds_stale();
    invalidate(true);
}

void cls_button::click() {
    if (!is_visible() || !is_enabled()) return;
    fire_event("click");
}

attr_result_t cls_button::apply_attr(const cls_string& name, const cls_string& value) {
    if (name == "hide_effect") {
        if (!parse_bool_attr(value, &m_hide_effect)) return ATTR_BAD_VALUE;
        return ATTR_OK;
    }
    if (name == "bg_color") {
        uint32_t c;
        if (!parse_color_attr(value, &c)) return ATTR_BAD_VALUE;
        m_bg_argb = c;
        invalidate(false);
        return ATTR_OK;
    }
    return cls_event_handler::apply_attr(name, value);
}

bool cls_button::is_opaque() const { return (m_bg_argb >> 24) == 255; }

void cls_button::on_draw(cls_canvas* canvas, int x, int y) {
    cls_rect box{x, y, width(), height()};
    canvas->fill_rect(box, cls_color::from_argb(m_bg_argb));
    // Without a pressed look of its own in the layout, a held button darkens.
    if (m_pressed && !m_hide_effect) canvas->fill_rect(box, cls_color{0, 0, 0, 48});
}

} // namespace ozgi
