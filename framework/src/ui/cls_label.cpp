#include "ozgi/cls_label.h"

#include "ozgi/cls_canvas.h"
#include "ozgi/cls_text_layout.h"
#include "ozgi/cls_ui_text_dict.h"
#include "ui/item_attrs.h"

namespace ozgi {

cls_label::cls_label()
    : m_shown_is_key(true), m_layout(nullptr), m_text_size(16), m_text_argb(0xff000000u), m_disabled_argb(0xff8e8e93u), m_bg_argb(0),
      m_h_align(0), m_v_align(1), m_multi_line(false), m_wrap(false), m_text_scroll(0) {
    add_class_name("cls_label");
}

cls_label::~cls_label() { ozgi_delete(m_layout); }

cls_text_layout* cls_label::layout() {
    // Made on first use, so that items that never show text need no font.
    if (!m_layout) {
        m_layout = OZGI_NEW(cls_text_layout)();
        m_layout->set_pixel_size(m_text_size);
        m_layout->set_multi_line(m_multi_line);
        m_layout->set_wrap(m_wrap);
        m_layout->set_width(width());
        m_layout->borrow_text(&shown_text());
    }
    return m_layout;
}

void cls_label::set_text(const cls_string& key) {
    m_key = key;
    // Looked up without copying the key: a label may hold megabytes of output.
    const cls_string* translation = cls_ui_text_dict::ins()->find(key);
    m_shown_is_key = translation == nullptr || *translation == key;
    m_shown = m_shown_is_key ? cls_string() : *translation;
    m_text_scroll = 0;
    if (m_layout) m_layout->borrow_text(&shown_text());
    invalidate(false);
    // A label sized by its text follows the new text.
    if (uses_content_size()) {
        relayout(false);
        invalidate(false);
    }
}

void cls_label::append_text(const cls_string& more) {
    if (more.is_empty()) return;
    m_key += more;
    if (!m_shown_is_key) m_shown += more;
    if (m_layout) m_layout->text_appended();
    invalidate(false);
    if (uses_content_size()) {
        relayout(false);
        invalidate(false);
    }
}

void cls_label::replace_text_head(int length, const cls_string& head) {
    int old_shown = shown_text().length();
    int cut = length < old_shown ? length : old_shown;
    m_key.replace(0, length, head.c_str(), head.length());
    if (!m_shown_is_key) m_shown.replace(0, length, head.c_str(), head.length());
    if (m_layout) m_layout->head_replaced(cut < 0 ? 0 : cut, head.length());
    invalidate(false);
    if (uses_content_size()) {
        relayout(false);
        invalidate(false);
    }
}

bool cls_label::set_text_scroll_y(int y) {
    cls_text_layout* l = layout();
    l->set_width(width());
    int max = l->max_scroll_y(height());
    if (y > max) y = max;
    if (y < 0) y = 0;
    if (y == m_text_scroll) return false;
    m_text_scroll = y;
    invalidate(false);
    return true;
}

bool cls_label::drag_text(int dy) {
    // A bottom-aligned text counts its scroll upwards from its end.
    if (m_v_align == cls_text_layout::ALIGN_BOTTOM) return set_text_scroll_y(m_text_scroll + dy);
    return set_text_scroll_y(m_text_scroll - dy);
}

bool cls_label::text_overflows() {
    if (!m_multi_line) return false;
    cls_text_layout* l = layout();
    l->set_width(width());
    return l->max_scroll_y(height()) > 0;
}

attr_result_t cls_label::apply_attr(const cls_string& name, const cls_string& value) {
    bool flag = false;
    if (name == "text") {
        set_text(value);
    } else if (name == "text_size") {
        int size = 0;
        if (!parse_int_attr(value, &size) || size <= 0 || size > 500) return ATTR_BAD_VALUE;
        m_text_size = size;
        if (m_layout) m_layout->set_pixel_size(size);
    } else if (name == "text_color") {
        uint32_t c;
        if (!parse_color_attr(value, &c)) return ATTR_BAD_VALUE;
        m_text_argb = c;
    } else if (name == "disabled_text_color") {
        uint32_t c;
        if (!parse_color_attr(value, &c)) return ATTR_BAD_VALUE;
        m_disabled_argb = c;
    } else if (name == "bg_color") {
        uint32_t c;
        if (!parse_color_attr(value, &c)) return ATTR_BAD_VALUE;
        m_bg_argb = c;
    } else if (name == "alignment") {
        if (!parse_alignment_attr(value, &m_h_align, &m_v_align)) return ATTR_BAD_VALUE;
    } else if (name == "multi_line") {
        if (!parse_bool_attr(value, &flag)) return ATTR_BAD_VALUE;
        m_multi_line = flag;
        if (m_layout) m_layout->set_multi_line(flag);
    } else if (name == "wrap") {
        if (!parse_bool_attr(value, &flag)) return ATTR_BAD_VALUE;
        m_wrap = flag;
        if (m_layout) m_layout->set_wrap(flag);
    } else {
        return cls_event_handler::apply_attr(name, value);
    }
    invalidate(false);
    return ATTR_OK;
}

bool cls_label::content_size(int* w, int* h) {
    cls_text_layout* l = layout();
    l->set_width(width());
    *w = l->content_width();
    *h = l->content_height();
    return true;
}

void cls_label::on_draw(cls_canvas* canvas, int x, int y) {
    cls_rect box{x, y, width(), height()};
    canvas->fill_rect(box, cls_color::from_argb(m_bg_argb));
    if (shown_text().is_empty()) return;
    cls_text_layout* l = layout();
    l->set_width(width());
    uint32_t color = is_enabled() ? m_text_argb : m_disabled_argb;
    l->draw(canvas, box, m_h_align, m_v_align, cls_color::from_argb(color), m_text_scroll);
}

} // namespace ozgi
