// cls_event_handler: visibility, enablement and the focus chain.
#include "ozgi/cls_event_handler.h"

#include "ozgi/cls_button.h"
#include "ozgi/cls_page.h"
#include "ui/event_handler_walk.h"

namespace ozgi {

void cls_event_handler::show() { set_visible(true); }
void cls_event_handler::hide() { set_visible(false); }

void cls_event_handler::set_visible(bool visible) {
    if (m_visible == visible) return;
    m_visible = visible;
    mark_bounds_stale();
    invalidate(true);
    if (!visible) {
        cls_page* p = page();
        if (p && p->focus_item() == this) invalidate(true);
    }
}

namespace {

// Whether the item's own state lets it show: its flag, or for the items that
// follow their button, the button's pressed or focused state.
bool shown_self(const cls_event_handler* item) {
    if (item->follows_press()) {
        for (const cls_event_handler* p = item->parent(); p; p = p->parent()) {
            const cls_button* b = dynamic_cast<const cls_button*>(p);
            if (b) return b->is_pressed();
        }
        return item->visible_flag();
    }
    if (item->show_on_focus()) {
        for (const cls_event_handler* p = item->parent(); p; p = p->parent())
            if (p->is_focusable()) return p->has_focus();
        return item->visible_flag();
    }
    return item->visible_flag();
}

} // namespace

void cls_event_handler::set_focusable(bool focusable) {
    if (m_focusable == focusable) return;
    m_focusable = focusable;
    // The show_on_focus items below may now follow another item's focus.
    mark_subtree_bounds_stale();
}

void cls_event_handler::set_show_on_focus(bool on) {
    if (m_show_on_focus == on) return;
    m_show_on_focus = on;
    mark_bounds_stale();
}

bool cls_event_handler::shown_by_itself() const { return shown_self(this); }

bool cls_event_handler::is_visible() const {
    for (const cls_event_handler* p = this; p; p = p->m_parent)
        if (!shown_self(p)) return false;
    return true;
}

void cls_event_handler::enable() {
    if (m_enabled) return;
    m_enabled = true;
    invalidate(true);
}

void cls_event_handler::disable() {
    if (!m_enabled) return;
    m_enabled = false;
    cls_button* b = dynamic_cast<cls_button*>(this);
    if (b) b->set_pressed(false);
    invalidate(true);
}

bool cls_event_handler::is_enabled() const {
    for (const cls_event_handler* p = this; p; p = p->m_parent)
        if (!p->m_enabled) return false;
    return true;
}

void cls_event_handler::enable_group(const cls_string& name) {
    std::vector<cls_event_handler*> all;
    collect_descendants(this, &all);
    for (cls_event_handler* d : all)
        if (d->in_group(name)) d->enable();
}

void cls_event_handler::disable_group(const cls_string& name) {
    std::vector<cls_event_handler*> all;
    collect_descendants(this, &all);
    for (cls_event_handler* d : all)
        if (d->in_group(name)) d->disable();
}

void cls_event_handler::get_focus() {
    cls_page* p = page();
    if (p) p->set_focus_item(this);
}

bool cls_event_handler::has_focus() const {
    cls_page* p = page();
    return p && p->focus_item() == this;
}

namespace {

// Whether the focus may go to `item`, an item other than the reference.
bool takes_focus(const cls_event_handler* item) {
    return item->is_focusable() && item->is_visible() && item->is_enabled();
}

// One walk over the page's items in creation order (forward) or in the reverse
// of it, without collecting them: the first item past the reference that takes
// the focus, and the first one before it for a wrap.
struct focus_walk_t {
    const cls_event_handler* ref;
    bool passed_ref;
    cls_event_handler* before;  // the first that takes the focus before the reference
    cls_event_handler* after;   // the first past it
};

// Returns true once the answer is found.
bool walk_focus(const cls_event_handler* item, bool forward, focus_walk_t* w) {
    int n = item->child_count();
    for (int k = 0; k < n; ++k) {
        cls_event_handler* c = item->child(forward ? k : n - 1 - k);
        // Forward each item comes before its descendants, backward after them.
        if (!forward && walk_focus(c, forward, w)) return true;
        if (c == w->ref) {
            w->passed_ref = true;
        } else if (c->is_focusable()) {
            if (w->passed_ref && takes_focus(c)) {
                w->after = c;
                return true;
            }
            if (!w->passed_ref && !w->before && takes_focus(c)) w->before = c;
        }
        if (forward && walk_focus(c, forward, w)) return true;
    }
    return false;
}

cls_event_handler* step_focus(const cls_event_handler* from, bool forward, bool wrap) {
    cls_page* p = from->page();
    if (!p) return nullptr;
    const cls_event_handler* ref = (from == p) ? p->focus_item() : from;
    focus_walk_t w{ref, false, nullptr, nullptr};
    walk_focus(p, forward, &w);
    if (w.after) return w.after;
    // Without the reference among the items, they all count as past it.
    if (!w.passed_ref || wrap) return w.before;
    return nullptr;
}

} // namespace

cls_event_handler* cls_event_handler::prev_focusable_item(bool wrap) const { return step_focus(this, false, wrap); }

cls_event_handler* cls_event_handler::next_focusable_item(bool wrap) const { return step_focus(this, true, wrap); }

} // namespace ozgi
