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

void cls_tile_icon::invalidate_drawn() {
    if (child_count() > 0 || !m_picture || !m_use_alpha || !m_picture->has_alpha() || m_picture->width() <= 0 ||
        m_picture->height() <= 0) {
        cls_icon::invalidate_drawn();
        return;
    }
    int x, y, w, h;
    screen_rect(&x, &y, &w, &h);
    cls_rect cells[9], parts[9];
    cls_canvas::nine_slice(*m_picture, cls_rect{x, y, w, h}, m_left_width, m_right_width, m_top_height,
                           m_bottom_height, cells, parts);
    // Row by row: a row whose middle cell draws is marked whole, otherwise its two
    // ends are, so a frame costs four rectangles.
    for (int row = 0; row < 3; ++row) {
        bool draws[3];
        for (int col = 0; col < 3; ++col) {
            int i = row * 3 + col;
            draws[col] = !cells[i].is_empty() && !parts[i].is_empty() && !m_picture->is_transparent(parts[i]);
        }
        if (draws[1]) {
            cls_rect whole;
            for (int col = 0; col < 3; ++col)
                if (draws[col]) whole = whole.unite(cells[row * 3 + col]);
            invalidate_screen_rect(whole);
        } else {
            if (draws[0]) invalidate_screen_rect(cells[row * 3]);
            if (draws[2]) invalidate_screen_rect(cells[row * 3 + 2]);
        }
    }
}

} // namespace ozgi
