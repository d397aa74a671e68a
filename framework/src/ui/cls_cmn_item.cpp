#include "ozgi/cls_cmn_item.h"

#include "ozgi/cls_canvas.h"
#include "ui/item_attrs.h"

namespace ozgi {

cls_cmn_item::cls_cmn_item() : m_bg_argb(0) { add_class_name("cls_cmn_item"); }

cls_cmn_item::~cls_cmn_item() {}

attr_result_t cls_cmn_item::apply_attr(const cls_string& name, const cls_string& value) {
    if (name == "bg_color") {
        uint32_t c;
        if (!parse_color_attr(value, &c)) return ATTR_BAD_VALUE;
        m_bg_argb = c;
        invalidate(false);
        return ATTR_OK;
    }
    return cls_event_handler::apply_attr(name, value);
}

bool cls_cmn_item::is_opaque() const { return (m_bg_argb >> 24) == 255; }

void cls_cmn_item::on_draw(cls_canvas* canvas, int x, int y) {
    canvas->fill_rect(cls_rect{x, y, width(), height()}, cls_color::from_argb(m_bg_argb));
}

} // namespace ozgi
