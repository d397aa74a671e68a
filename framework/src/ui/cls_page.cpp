#include "ozgi/cls_page.h"

#include <cstdlib>
#include <vector>

#include "ozgi/cls_button.h"
#include "ozgi/cls_canvas.h"
#include "ozgi/cls_color.h"
#include "ozgi/cls_label.h"
#include "ozgi/cls_root_container.h"
#include "ozgi/cls_ui_res_loader.h"
#include "ui/event_handler_walk.h"

namespace ozgi {

cls_page::cls_page()
    : m_focus(nullptr), m_scroll_y(0), m_pressed(nullptr), m_drag_label(nullptr), m_press_x(0), m_press_y(0),
      m_last_y(0), m_touching(false), m_dragging(false), m_bg_argb(0) {
    add_class_name("cls_page");
    mark_as_page();
}

cls_page::~cls_page() {
    // The items go after this body; none of them may reach a half-destroyed page.
    unmark_as_page();
}

void cls_page::init() {
    if (!m_focus) {
        cls_event_handler* first = next_focusable_item(false);
        if (first) set_focus_item(first);
    }
}

namespace {

bool contains(const cls_event_handler* item, int px, int py) {
    int x, y, w, h;
    item->screen_rect(&x, &y, &w, &h);
    return px >= x && py >= y && px < x + w && py < y + h;
}

} // namespace

bool cls_page::on_key_event(const cls_ui_event& event) {
    if (event.event_code() != cls_ui_event::EVENT_KEY) return false;
    switch (event.int_data(0)) {
    case cls_ui_event::KEY_SELECT:
    case cls_ui_event::KEY_SELECT_ALT: {
        cls_button* b = dynamic_cast<cls_button*>(m_focus);
        if (!b || !b->is_visible() || !b->is_enabled()) return false;
        b->click();
        return true;
    }
    case cls_ui_event::KEY_PREV:
    case cls_ui_event::KEY_PREV_ALT: {
        cls_event_handler* item = prev_focusable_item(false);
        if (item) item->get_focus();
        return true;
    }
    case cls_ui_event::KEY_NEXT:
    case cls_ui_event::KEY_NEXT_ALT: {
        cls_event_handler* item = next_focusable_item(false);
        if (item) item->get_focus();
        return true;
    }
    default: return false;
    }
}

bool cls_page::on_touch_event(const cls_ui_event& event) {
    int px = static_cast<int>(event.int_data(0)), py = static_cast<int>(event.int_data(1));
    if (event.event_code() == cls_ui_event::EVENT_WHEEL) {
        // One wheel step moves three text lines' worth; a label under the pointer
        // with more text than room scrolls its text instead of the page.
        int dy = static_cast<int>(event.int_data(2)) * 48;
        cls_label* text = nullptr;
        auto find_text = [&](cls_event_handler* item) {
            if (!contains(item, px, py)) return false;
            cls_label* l = dynamic_cast<cls_label*>(item);
            if (l && l->text_overflows()) text = l;
            return text != nullptr;
        };
        if (is_visible()) visit_at_point_top_first(this, px, py, m_scroll_y, find_text);
        if (text) {
            text->drag_text(dy);
            return true;
        }
        set_scroll_y(m_scroll_y - dy);
        return true;
    }
    if (event.event_code() != cls_ui_event::EVENT_TOUCH) return false;
    switch (event.int_data(2)) {
    case cls_ui_event::TOUCH_PRESS: {
        m_touching = true;
        m_dragging = false;
        m_press_x = px;
        m_press_y = py;
        m_last_y = py;
        m_pressed = nullptr;
        m_drag_label = nullptr;
        // The last item drawn at the point is the one on top.
        auto take = [&](cls_event_handler* item) {
            if (!contains(item, px, py)) return false;
            cls_label* l = dynamic_cast<cls_label*>(item);
            if (l && !m_drag_label && l->text_overflows()) m_drag_label = l;
            cls_button* b = dynamic_cast<cls_button*>(item);
            if (b && !m_pressed) {
                m_pressed = b;
                if (b->is_enabled()) b->set_pressed(true);
            }
            return m_pressed && m_drag_label;
        };
        if (is_visible()) visit_at_point_top_first(this, px, py, m_scroll_y, take);
        return true;
    }
    case cls_ui_event::TOUCH_MOVE: {
        if (!m_touching) return true;
        if (!m_dragging && (std::abs(py - m_press_y) > DRAG_THRESHOLD || std::abs(px - m_press_x) > DRAG_THRESHOLD)) {
            m_dragging = true;
            cls_button* b = dynamic_cast<cls_button*>(m_pressed);
            if (b) b->set_pressed(false);
        }
        if (m_dragging) {
            int dy = py - m_last_y;
            m_last_y = py;
            if (m_drag_label) m_drag_label->drag_text(dy);
            else set_scroll_y(m_scroll_y - dy);
        }
        return true;
    }
    case cls_ui_event::TOUCH_RELEASE: {
        if (!m_touching) return true;
        m_touching = false;
        cls_button* b = dynamic_cast<cls_button*>(m_pressed);
        m_pressed = nullptr;
        m_drag_label = nullptr;
        if (b && !m_dragging) {
            bool inside = contains(b, px, py);
            bool was_pressed = b->is_pressed();
            b->set_pressed(false);
            if (inside && was_pressed) {
                // A finished tap also moves the focus to the button, so that the keys
                // carry on from the item the finger chose. It is not moved on the
                // press: that press may still become a drag.
                if (b->is_focusable()) set_focus_item(b);
                b->click();
            }
        }
        m_dragging = false;
        return true;
    }
    default: return false;
    }
}

attr_result_t cls_page::apply_attr(const cls_string& name, const cls_string& value) {
    if (name == "bg_color") {
        cls_color c;
        if (!cls_color::parse(value, &c)) return ATTR_BAD_VALUE;
        m_bg_argb = c.argb();
        return ATTR_OK;
    }
    return cls_event_handler::apply_attr(name, value);
}

bool cls_page::is_opaque() const { return (m_bg_argb >> 24) == 255; }

void cls_page::on_draw(cls_canvas* canvas, int x, int y) {
    canvas->fill_rect(cls_rect{x, y, width(), height()}, cls_color::from_argb(m_bg_argb));
}

void cls_page::set_focus_item(cls_event_handler* item) {
    if (m_focus == item) {
        if (item) scroll_into_view(item);
        return;
    }
    // The show_on_focus items of both come or go; nothing else draws by focus.
    if (m_focus) {
        m_focus->mark_subtree_bounds_stale();
        m_focus->invalidate_focus_followers();
    }
    m_focus = item;
    if (item) {
        item->mark_subtree_bounds_stale();
        scroll_into_view(item);
        item->invalidate_focus_followers();
    }
}

int cls_page::max_scroll_y() const {
    // From the cached bounds: a long page scrolls on every move of a drag.
    int bottom_most = bottom();
    if (is_visible() && subtree_bounds().lowest_bottom > bottom_most) bottom_most = subtree_bounds().lowest_bottom;
    int screen_h = cls_ui_res_loader::ins()->screen_height();
    int view_bottom = top() + (height() < screen_h ? height() : screen_h);
    int over = bottom_most - view_bottom;
    return over > 0 ? over : 0;
}

void cls_page::set_scroll_y(int y) {
    int max = max_scroll_y();
    if (y > max) y = max;
    if (y < 0) y = 0;
    if (y == m_scroll_y) return;
    m_scroll_y = y;
    // A page covering the screen repaints all of it by its own rectangle; walking
    // every item of a long page for rectangles inside it would cost each frame.
    cls_ui_res_loader* loader = cls_ui_res_loader::ins();
    bool covers_screen = left() <= 0 && top() <= 0 && right() >= loader->screen_width() &&
                         bottom() >= loader->screen_height();
    invalidate(!covers_screen);
    cls_root_container* root = cls_root_container::ins();
    if (root && root->top_page() == this) root->invalidate(false);
}

void cls_page::scroll_into_view(cls_event_handler* item) {
    if (!item || item == this) return;
    int screen_h = cls_ui_res_loader::ins()->screen_height();
    int view_top = top() + m_scroll_y;
    int view_h = height() < screen_h ? height() : screen_h;
    if (item->top() < view_top) set_scroll_y(item->top() - top());
    else if (item->bottom() > view_top + view_h) set_scroll_y(item->bottom() - top() - view_h);
}

void cls_page::forget_item(cls_event_handler* item) {
    if (m_focus == item) m_focus = nullptr;
    if (m_pressed == item) m_pressed = nullptr;
    if (static_cast<cls_event_handler*>(m_drag_label) == item) m_drag_label = nullptr;
}

} // namespace ozgi
