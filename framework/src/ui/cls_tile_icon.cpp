#include "ozgi/cls_tile_icon.h"

#include "ozgi/cls_canvas.h"
#include "ozgi/cls_picture.h"
#include "ui/item_attrs.h"

namespace ozgi {

cls_tile_icon::cls_tile_icon() : m_left_width(0), m_right_width(0), m_top_height(0), m_bottom_height(0) {
    add_class_name("cls_tile_icon");
}

cls_tile_icon::~cls_tile_icon() {}

attr_result_t cls_tile_icon::apply_attr(const cls_string& name, const cls_string& value) {
    int* field = nullptr;
    if (name == "left_width") field = &m_left_width;
    else if (name == "right_width") field = &m_right_width;
    else if (name == "top_height") field = &m_top_height;
    else if (name == "bottom_height") field = &m_bottom_height;
    else return cls_icon::apply_attr(name, value);
    if (!parse_int_attr(value, field) || *field < 0) return ATTR_BAD_VALUE;
    invalidate(false);
    return ATTR_OK;
}

void cls_tile_icon::on_draw(cls_canvas* canvas, int x, int y) {
    if (!m_picture) return;
    canvas->draw_tiled_picture(*m_picture, cls_rect{x, y, width(), height()}, m_left_width, m_right_width,
                               m_top_height, m_bottom_height, m_use_alpha);
}

} // namespace ozgi
