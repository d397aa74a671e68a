#pragma once
// An item that shows one picture (below "vesk/resource/icon/"), aligned in its
// rectangle, with or without the picture's alpha channel.
#include "ozgi/cls_event_handler.h"
#include "ozgi/cls_sp.h"

namespace ozgi {

class cls_picture;

class cls_icon : public cls_event_handler {
public:
    cls_icon();
    ~cls_icon() override;

    /// Shows the registered picture `name`; an unknown or undecodable picture is fatal.
    void set_picture(const cls_string& name);
    /// The picture's file name as set.
    const cls_string& picture_name() const { return m_picture_name; }
    /// The decoded picture, null when none is set.
    cls_picture* picture() const;

    /// The decoded picture `name` from the registered resources, decoded once and
    /// then kept; null (with `error` filled) when it is missing or malformed.
    static cls_sp<cls_picture> load_picture(const cls_string& name, cls_string* error);

    attr_result_t apply_attr(const cls_string& name, const cls_string& value) override;
    bool content_size(int* width, int* height) override;
    void on_draw(cls_canvas* canvas, int x, int y) override;

protected:
    cls_string m_picture_name;
    cls_sp<cls_picture> m_picture;
    bool m_use_alpha;
    int m_h_align;
    int m_v_align;
};

} // namespace ozgi
