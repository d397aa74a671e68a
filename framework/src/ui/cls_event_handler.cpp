// cls_event_handler: the item tree, class names, groups and events; the rest is
// in event_handler_members.cpp, event_handler_focus.cpp and event_handler_geometry.cpp.
#include "ozgi/cls_event_handler.h"

#include <algorithm>

#include "ozgi/cls_log.h"
#include "ozgi/cls_ozgi_gui.h"
#include "ozgi/cls_page.h"

namespace ozgi {

cls_event_handler::cls_event_handler()
    : m_parent(nullptr), m_index_in_parent(-1), m_x(0), m_y(0), m_w(0), m_h(0), m_moved_x(0), m_moved_y(0), m_visible(true),
      m_enabled(true), m_focusable(false), m_show_on_focus(false), m_is_page(false), m_show_on_press(false),
      m_bounds_stale(true), m_bounds{0, 0, 0, 0, 0, false, true} {
    for (layout_expr_t& e : m_layout_exprs) e = layout_expr_t{nullptr, nullptr, 0, false, false};
    add_class_name("cls_event_handler");
}

cls_event_handler::~cls_event_handler() {
    cls_ozgi_gui::ins()->forget_item(this);
    // The page outlives its items' destruction only when a single item goes away;
    // during the page's own destruction it is no longer a page here.
    if (m_parent) {
        m_parent->mark_bounds_stale();
        cls_page* p = page();
        if (p) p->forget_item(this);
    }
    while (!m_children.empty()) {
        cls_event_handler* c = m_children.back();
        m_children.pop_back();
        c->m_parent = nullptr;
        c->m_index_in_parent = -1;
        ozgi_delete(c);
    }
}

void cls_event_handler::add_class_name(const char* name) { m_class_names.append(cls_string(name)); }

const cls_string& cls_event_handler::class_name() const { return m_class_names.last(); }

bool cls_event_handler::is_class(const char* name) const {
    for (int i = 0; i < m_class_names.count(); ++i)
        if (m_class_names[i] == name) return true;
    return false;
}

cls_event_handler* cls_event_handler::child(int index) const {
    if (index < 0 || index >= child_count())
        OZGI_FATAL("Can't get the %dth child, there are only %d children.", index, child_count());
    return m_children[index];
}

void cls_event_handler::add_child(cls_event_handler* child) {
    if (!child) OZGI_FATAL("Can't add a NULL child.");
    if (child->m_parent) child->m_parent->remove_child(child);
    child->m_parent = this;
    child->m_index_in_parent = static_cast<int>(m_children.size());
    m_children.push_back(child);
    mark_bounds_stale();
}

void cls_event_handler::remove_child(cls_event_handler* child) {
    if (child->m_parent != this) return;
    size_t at = static_cast<size_t>(child->m_index_in_parent);
    m_children.erase(m_children.begin() + static_cast<std::ptrdiff_t>(at));
    for (size_t i = at; i < m_children.size(); ++i) m_children[i]->m_index_in_parent = static_cast<int>(i);
    child->m_parent = nullptr;
    child->m_index_in_parent = -1;
    mark_bounds_stale();
}

cls_event_handler* cls_event_handler::prev_sibling() const {
    if (!m_parent || m_index_in_parent <= 0) return nullptr;
    return m_parent->m_children[static_cast<size_t>(m_index_in_parent - 1)];
}

cls_page* cls_event_handler::page() const {
    for (const cls_event_handler* p = this; p; p = p->m_parent)
        if (p->m_is_page) return static_cast<cls_page*>(const_cast<cls_event_handler*>(p));
    return nullptr;
}

void cls_event_handler::add_group(const cls_string& name) {
    if (in_group(name)) return;
    m_groups.append(name);
    // Asked for every item on every repaint: kept as a flag, not looked up.
    if (name == "show_on_press") {
        m_show_on_press = true;
        mark_bounds_stale();
    }
}

bool cls_event_handler::in_group(const cls_string& name) const {
    for (int i = 0; i < m_groups.count(); ++i)
        if (m_groups[i] == name) return true;
    return false;
}

void cls_event_handler::listen_event_func(const cls_string& event_name, event_func_t handler,
                                          cls_event_handler* receiver, bool once) {
    if (!handler || !receiver) OZGI_FATAL("Can't listen to %s without a handler and a receiver.", event_name.c_str());
    m_listeners.push_back(listener_t{event_name, handler, receiver, once});
}

void cls_event_handler::remove_listeners(const cls_string& event_name) {
    m_listeners.erase(std::remove_if(m_listeners.begin(), m_listeners.end(),
                                     [&](const listener_t& l) { return l.event_name == event_name; }),
                      m_listeners.end());
}

void cls_event_handler::fire_event(const cls_string& event_name) {
    // Handlers may add or drop listeners; they run from a copy.
    std::vector<listener_t> calls;
    for (auto it = m_listeners.begin(); it != m_listeners.end();) {
        if (it->event_name == event_name) {
            calls.push_back(*it);
            if (it->once) {
                it = m_listeners.erase(it);
                continue;
            }
        }
        ++it;
    }
    for (const listener_t& l : calls) (l.receiver->*l.handler)(this);
}

void cls_event_handler::post_event(const cls_ui_event& event) {
    cls_ui_event e = event;
    if (!e.target()) e.set_target(this);
    cls_ozgi_gui::ins()->post(e);
}

void cls_event_handler::post_event(event_code_t code, const cls_string& text) {
    cls_ozgi_gui::ins()->post(cls_ui_event(code, this, text));
}

attr_result_t cls_event_handler::apply_attr(const cls_string&, const cls_string&) { return ATTR_UNKNOWN; }

void cls_event_handler::on_draw(cls_canvas*, int, int) {}
void cls_event_handler::init() {}
bool cls_event_handler::on_key_event(const cls_ui_event&) { return false; }
bool cls_event_handler::on_touch_event(const cls_ui_event&) { return false; }
void cls_event_handler::on_get_top_pos() {}
void cls_event_handler::on_lose_top_pos() {}

} // namespace ozgi
