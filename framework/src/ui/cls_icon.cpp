#include "ozgi/cls_icon.h"

#include "ozgi/cls_canvas.h"
#include "ozgi/cls_dict.h"
#include "ozgi/cls_log.h"
#include "ozgi/cls_mem_mgr.h"
#include "ozgi/cls_picture.h"
#include "ozgi/cls_rom_file_mgr.h"
#include "ui/item_attrs.h"

namespace ozgi {

cls_icon::cls_icon() : m_use_alpha(false), m_h_align(1), m_v_align(1) { add_class_name("cls_icon"); }

cls_icon::~cls_icon() {}

cls_sp<cls_picture> cls_icon::load_picture(const cls_string& name, cls_string* error) {
    // Pictures are shared by every icon that shows them and live for the whole run.
    static cls_dict<cls_string, cls_sp<cls_picture>>* cache = new cls_dict<cls_string, cls_sp<cls_picture>>();
    cls_sp<cls_picture>* hit = cache->get(name);
    if (hit) return *hit;
    cls_string path = cls_string("vesk/resource/icon/") + name;
    const void* data = nullptr;
    long long size = 0;
    if (!cls_rom_file_mgr::ins()->find(path, &data, &size) && !cls_rom_file_mgr::ins()->find(name, &data, &size)) {
        if (error) error->print("no resource %s", path.c_str());
        return cls_sp<cls_picture>();
    }
    cls_string why;
    // A cached picture is held until the process ends, so it is no leak.
    cls_mem_mgr::permanent_scope_t permanent;
    cls_sp<cls_picture> pic = cls_picture::decode_bmp(data, size, &why);
    if (pic.is_null()) {
        if (error) error->print("%s: %s", path.c_str(), why.c_str());
        return pic;
    }
    cache->set(name, pic);
    return pic;
}

void cls_icon::set_picture(const cls_string& name) {
    cls_string error;
    cls_sp<cls_picture> pic = load_picture(name, &error);
    if (pic.is_null()) OZGI_FATAL("Can't load the picture %s (%s).", name.c_str(), error.c_str());
    m_picture_name = name;
    m_picture = pic;
    invalidate(false);
    if (uses_content_size()) {
        relayout(false);
        invalidate(false);
    }
}

cls_picture* cls_icon::picture() const { return m_picture.get(); }

attr_result_t cls_icon::apply_attr(const cls_string& name, const cls_string& value) {
    if (name == "picture") {
        cls_string error;
        cls_sp<cls_picture> pic = load_picture(value, &error);
        if (pic.is_null()) {
            cls_log::log_warning("Can't load the picture %s (%s)", value.c_str(), error.c_str());
            return ATTR_BAD_VALUE;
        }
        m_picture_name = value;
        m_picture = pic;
    } else if (name == "use_alpha") {
        if (!parse_bool_attr(value, &m_use_alpha)) return ATTR_BAD_VALUE;
    } else if (name == "alignment") {
        if (!parse_alignment_attr(value, &m_h_align, &m_v_align)) return ATTR_BAD_VALUE;
    } else {
        return cls_event_handler::apply_attr(name, value);
    }
    invalidate(false);
    return ATTR_OK;
}

bool cls_icon::content_size(int* w, int* h) {
    *w = m_picture ? m_picture->width() : 0;
    *h = m_picture ? m_picture->height() : 0;
    return true;
}

void cls_icon::on_draw(cls_canvas* canvas, int x, int y) {
    if (!m_picture) return;
    int px = x + (width() - m_picture->width()) * m_h_align / 2;
    int py = y + (height() - m_picture->height()) * m_v_align / 2;
    canvas->draw_picture(*m_picture, px, py, m_use_alpha);
}

} // namespace ozgi
