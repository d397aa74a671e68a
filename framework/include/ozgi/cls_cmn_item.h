#pragma once
// A plain rectangle: a container for other items, filled with its bg_color.
#include "ozgi/cls_event_handler.h"

namespace ozgi {

class cls_cmn_item : public cls_event_handler {
public:
    cls_cmn_item();
    ~cls_cmn_item() override;

    attr_result_t apply_attr(const cls_string& name, const cls_string& value) override;
    void on_draw(cls_canvas* canvas, int x, int y) override;
    /// Opaque when its background colour is.
    bool is_opaque() const override;

private:
    unsigned m_bg_argb;
};

} // namespace ozgi
