// cls_event_handler: position and size, layout expressions and invalidation.
#include "ozgi/cls_event_handler.h"

#include <climits>

#include "ozgi/cls_log.h"
#include "ozgi/cls_ozgi_gui.h"
#include "ozgi/cls_page.h"
#include "ozgi/cls_root_container.h"
#include "ozgi/cls_ui_res_loader.h"
#include "res/layout_expr.h"
#include "ui/event_handler_walk.h"
#include "ui/text_pool.h"

namespace ozgi {

void cls_event_handler::move_by(int dx, int dy, bool with_children) {
    if (dx == 0 && dy == 0) return;
    invalidate(true);
    m_x += dx;
    m_y += dy;
    m_moved_x += dx;
    m_moved_y += dy;
    if (with_children) {
        std::vector<cls_event_handler*> all;
        collect_descendants(this, &all);
        for (cls_event_handler* d : all) {
            d->m_x += dx;
            d->m_y += dy;
            d->m_bounds_stale = true;
        }
    }
    mark_bounds_stale();
    invalidate(true);
}

void cls_event_handler::move_by(const cls_size& distance, bool with_children) {
    move_by(distance.width(), distance.height(), with_children);
}

void cls_event_handler::set_height(int height, bool relayout_children) {
    invalidate(true);
    m_h = height;
    mark_bounds_stale();
    set_fixed_layout(1, height);
    if (relayout_children)
        for (cls_event_handler* c : m_children) c->relayout(true);
    invalidate(true);
}

void cls_event_handler::set_width(int width, bool relayout_children) {
    invalidate(true);
    m_w = width;
    mark_bounds_stale();
    set_fixed_layout(0, width);
    if (relayout_children)
        for (cls_event_handler* c : m_children) c->relayout(true);
    invalidate(true);
}

void cls_event_handler::set_geometry(int x, int y, int w, int h) {
    m_x = x;
    m_y = y;
    m_w = w;
    m_h = h;
    mark_bounds_stale();
}

void cls_event_handler::screen_rect(int* x, int* y, int* w, int* h) const {
    cls_page* p = page();
    *x = m_x;
    // A page scrolls its content, not itself: its background stays on screen.
    *y = m_y - (p && p != this ? p->scroll_y() : 0);
    *w = m_w;
    *h = m_h;
}

bool cls_event_handler::content_size(int* width, int* height) {
    *width = 0;
    *height = 0;
    return false;
}

namespace {

int to_int(long long v) { return v < INT_MIN ? INT_MIN : v > INT_MAX ? INT_MAX : static_cast<int>(v); }

} // namespace

void cls_event_handler::mark_bounds_stale() {
    // A stale item's ancestors are stale already: working out an item's bounds
    // works out all its children's, so none stays stale below a fresh one.
    for (cls_event_handler* p = this; p && !p->m_bounds_stale; p = p->m_parent) p->m_bounds_stale = true;
}

void cls_event_handler::mark_subtree_bounds_stale() {
    mark_bounds_stale();
    for (cls_event_handler* c : m_children) {
        c->m_bounds_stale = true;
        c->mark_subtree_bounds_stale();
    }
}

const cls_event_handler::subtree_bounds_t& cls_event_handler::subtree_bounds() const {
    if (!m_bounds_stale) return m_bounds;
    subtree_bounds_t b;
    // A layout may put any int in each of position and size; their sum is cut to int.
    int right = to_int(static_cast<long long>(m_x) + m_w), bottom = to_int(static_cast<long long>(m_y) + m_h);
    b.x0 = m_w < 0 ? right : m_x;
    b.x1 = m_w < 0 ? m_x : right;
    b.y0 = m_h < 0 ? bottom : m_y;
    b.y1 = m_h < 0 ? m_y : bottom;
    b.lowest_bottom = bottom;
    b.holds_page = false;
    b.children_ordered = true;
    const subtree_bounds_t* prev = nullptr;
    for (const cls_event_handler* c : m_children) {
        // Hidden children's bounds are worked out too, so that none is left stale
        // and the order of the children's boxes can be told.
        const subtree_bounds_t& cb = c->subtree_bounds();
        bool page_in_it = c->m_is_page || cb.holds_page;
        if (page_in_it || (prev && (cb.y0 < prev->y0 || cb.y1 < prev->y1))) b.children_ordered = false;
        prev = &cb;
        if (!c->shown_by_itself()) continue;
        if (cb.x0 < b.x0) b.x0 = cb.x0;
        if (cb.y0 < b.y0) b.y0 = cb.y0;
        if (cb.x1 > b.x1) b.x1 = cb.x1;
        if (cb.y1 > b.y1) b.y1 = cb.y1;
        if (cb.lowest_bottom > b.lowest_bottom) b.lowest_bottom = cb.lowest_bottom;
        if (page_in_it) b.holds_page = true;
    }
    m_bounds = b;
    m_bounds_stale = false;
    return m_bounds;
}

bool cls_event_handler::is_opaque() const { return false; }

void cls_event_handler::invalidate(bool with_children) {
    int x, y, w, h;
    screen_rect(&x, &y, &w, &h);
    invalidate_screen_rect(cls_rect{x, y, w, h});
    if (with_children)
        for (cls_event_handler* c : m_children) c->invalidate(true);
}

void cls_event_handler::invalidate_screen_rect(const cls_rect& rect) {
    cls_root_container* root = cls_root_container::ins();
    if (!root) return;
    // Only the top page is on the screen; changes below it need no repaint.
    cls_page* p = page();
    if (p && p != root->top_page()) return;
    cls_ozgi_gui::ins()->invalidate_rect(rect.x, rect.y, rect.w, rect.h);
}

void cls_event_handler::invalidate_drawn() { invalidate(true); }

void cls_event_handler::invalidate_focus_followers() {
    for (cls_event_handler* c : m_children) {
        if (c->show_on_focus()) c->invalidate_drawn();
        // A focusable item's own followers go with its focus, not with this one's.
        else if (!c->is_focusable()) c->invalidate_focus_followers();
    }
}


namespace {

const char* const GEOMETRY_ATTRS[4] = {"width", "height", "left", "top"};

int geometry_index(const cls_string& attr) {
    for (int i = 0; i < 4; ++i)
        if (attr == GEOMETRY_ATTRS[i]) return i;
    return -1;
}

} // namespace

void cls_event_handler::set_layout_expr(const cls_string& attr, const cls_string& expr, const cls_string& file) {
    int i = geometry_index(attr);
    if (i < 0) return;
    layout_expr_t& e = m_layout_exprs[i];
    e.expr = intern_text(expr);
    e.is_fixed = false;
    e.uses_content = expr.find("content_") >= 0;
    if (file.is_not_empty() || !e.file) e.file = intern_text(file);
}

void cls_event_handler::set_fixed_layout(int index, int value) {
    layout_expr_t& e = m_layout_exprs[index];
    e.expr = nullptr;
    e.is_fixed = true;
    e.fixed = value;
    e.uses_content = false;
}

void cls_event_handler::relayout(bool with_children) {
    cls_ui_res_loader* loader = cls_ui_res_loader::ins();
    for (int i = 0; i < 4; ++i) {
        const layout_expr_t& e = m_layout_exprs[i];
        int v = 0;
        if (e.is_fixed) {
            v = e.fixed;
        } else if (e.expr) {
            cls_string error;
            if (!eval_layout_expr(*e.expr, this, loader->screen_width(), loader->screen_height(), &v, &error))
                OZGI_FATAL("Bad expression in %s, attribute %s: \"%s\" (%s).", e.file ? e.file->c_str() : "",
                           GEOMETRY_ATTRS[i], e.expr->c_str(), error.c_str());
        } else {
            continue;
        }
        if (i == 0) m_w = v;
        else if (i == 1) m_h = v;
        else if (i == 2) m_x = v + m_moved_x;
        else m_y = v + m_moved_y;
    }
    mark_bounds_stale();
    if (with_children)
        for (cls_event_handler* c : m_children) c->relayout(true);
}

bool cls_event_handler::uses_content_size() const {
    for (const layout_expr_t& e : m_layout_exprs)
        if (e.uses_content) return true;
    return false;
}

} // namespace ozgi
