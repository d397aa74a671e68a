#pragma once
// A picture stretched over its item by nine-slicing: the corners keep their
// size, the borders (left_width, right_width, top_height, bottom_height) and the
// middle are tiled.
#include "ozgi/cls_icon.h"

namespace ozgi {

class cls_tile_icon : public cls_icon {
public:
    cls_tile_icon();
    ~cls_tile_icon() override;

    attr_result_t apply_attr(const cls_string& name, const cls_string& value) override;
    void on_draw(cls_canvas* canvas, int x, int y) override;
    /// Marks only the cells that draw something: a frame whose middle is wholly
    /// transparent comes and goes with its four edges, not its whole rectangle.
    void invalidate_drawn() override;

private:
    int m_left_width, m_right_width, m_top_height, m_bottom_height;
};

} // namespace ozgi
