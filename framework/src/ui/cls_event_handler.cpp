#include "ozgi/cls_event_handler.h"

#include <algorithm>

#include "ozgi/cls_button.h"
#include "ozgi/cls_log.h"
#include "ozgi/cls_ozgi_gui.h"
#include "ozgi/cls_page.h"
#include "ozgi/cls_root_container.h"
#include "ozgi/cls_ui_res_loader.h"
#include "res/layout_expr.h"
#include "ui/text_pool.h"

namespace ozgi {

cls_event_handler::cls_event_handler()
    : m_parent(nullptr), m_index_in_parent(-1), m_x(0), m_y(0), m_w(0), m_h(0), m_moved_x(0), m_moved_y(0), m_visible(true),
      m_enabled(true), m_focusable(false), m_show_on_focus(false), m_is_page(false), m_show_on_press(false) {
    for (layout_expr_t& e : m_layout_exprs) e = layout_expr_t{nullptr, nullptr, 0, false, false};
    add_class_name("cls_event_handler");
}

cls_event_handler::~cls_event_handler() {
    cls_ozgi_gui::ins()->forget_item(this);
    // The page outlives its items' destruction only when a single item goes away;
    // during the page's own destruction it is no longer a page here.
    if (m_parent) {
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
}

void cls_event_handler::remove_child(cls_event_handler* child) {
    if (child->m_parent != this) return;
    size_t at = static_cast<size_t>(child->m_index_in_parent);
    m_children.erase(m_children.begin() + static_cast<std::ptrdiff_t>(at));
    for (size_t i = at; i < m_children.size(); ++i) m_children[i]->m_index_in_parent = static_cast<int>(i);
    child->m_parent = nullptr;
    child->m_index_in_parent = -1;
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
    if (name == "show_on_press") m_show_on_press = true;
}

bool cls_event_handler::in_group(const cls_string& name) const {
    for (int i = 0; i < m_groups.count(); ++i)
        if (m_groups[i] == name) return true;
    return false;
}

namespace {

// Full match of a small pattern language: "." is any character, "*" repeats the
// element before it any number of times (a "*" with no element before it is an
// element itself). The pattern's elements are states, and the text is read once
// while the set of states that the text so far can reach is kept: time is the
// pattern's length times the text's, where trying one way after another would
// take exponential time on patterns like ".*.*.*x".
bool pattern_match(const char* p, const char* s) {
    struct elem_t {
        char c;
        bool star;
    };
    std::vector<elem_t> elems;
    for (const char* q = p; *q;) {
        bool star = q[1] == '*';
        elems.push_back(elem_t{*q, star});
        q += star ? 2 : 1;
    }
    size_t n = elems.size();
    // reach[j]: the first j elements can match the text read so far. A starred
    // element may match nothing, so reaching it also reaches the one after it.
    std::vector<char> reach(n + 1, 0), next(n + 1, 0);
    auto close = [&](std::vector<char>* r) {
        for (size_t j = 0; j < n; ++j)
            if ((*r)[j] && elems[j].star) (*r)[j + 1] = 1;
    };
    reach[0] = 1;
    close(&reach);
    for (; *s; ++s) {
        std::fill(next.begin(), next.end(), 0);
        bool any = false;
        for (size_t j = 0; j < n; ++j) {
            if (!reach[j] || (elems[j].c != '.' && elems[j].c != *s)) continue;
            // A starred element stays to take more characters.
            next[elems[j].star ? j : j + 1] = 1;
            any = true;
        }
        if (!any) return false;
        close(&next);
        reach.swap(next);
    }
    return reach[n] != 0;
}

bool component_matches(const cls_event_handler* item, const cls_string& component) {
    bool pattern = component.has('*') || component.has('.');
    if (pattern ? pattern_match(component.c_str(), item->item_name().c_str()) && item->item_name().is_not_empty()
                : item->item_name() == component)
        return true;
    const cls_array<cls_string>& groups = item->groups();
    for (int i = 0; i < groups.count(); ++i)
        if (pattern ? pattern_match(component.c_str(), groups[i].c_str()) : groups[i] == component) return true;
    return false;
}

void collect_descendants(const cls_event_handler* item, std::vector<cls_event_handler*>* out) {
    for (int i = 0; i < item->child_count(); ++i) {
        out->push_back(item->child(i));
        collect_descendants(item->child(i), out);
    }
}

} // namespace

cls_sp<cls_array<cls_event_handler*>> cls_event_handler::get_member_items(const cls_string& path,
                                                                          bool must_exist) const {
    std::vector<cls_event_handler*> current(1, const_cast<cls_event_handler*>(this));
    int from = 0;
    while (from <= path.length()) {
        int slash = path.find('/', from);
        if (slash < 0) slash = path.length();
        cls_string component = path.sub_str(from, slash - from);
        from = slash + 1;
        if (component.is_empty()) continue;
        std::vector<cls_event_handler*> next;
        for (cls_event_handler* base : current) {
            std::vector<cls_event_handler*> all;
            collect_descendants(base, &all);
            for (cls_event_handler* d : all)
                if (component_matches(d, component) && std::find(next.begin(), next.end(), d) == next.end())
                    next.push_back(d);
        }
        current.swap(next);
        if (current.empty()) break;
    }
    cls_array<cls_event_handler*>* out = OZGI_NEW(cls_array<cls_event_handler*>)();
    for (cls_event_handler* d : current)
        if (d != this) out->append(d);
    if (must_exist && out->is_empty())
        OZGI_FATAL("Can't find the member item %s of %s.", path.c_str(), class_name().c_str());
    return cls_sp<cls_array<cls_event_handler*>>(out);
}

cls_event_handler* cls_event_handler::member_item(const cls_string& path, bool must_exist) const {
    cls_sp<cls_array<cls_event_handler*>> found = get_member_items(path, must_exist);
    return found->is_empty() ? nullptr : found->get(0);
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

void cls_event_handler::show() { set_visible(true); }
void cls_event_handler::hide() { set_visible(false); }

void cls_event_handler::set_visible(bool visible) {
    if (m_visible == visible) return;
    m_visible = visible;
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

cls_event_handler* step_focus(const cls_event_handler* from, bool forward, bool wrap) {
    cls_page* p = from->page();
    if (!p) return nullptr;
    const cls_event_handler* ref = (from == p) ? p->focus_item() : from;
    std::vector<cls_event_handler*> all;
    collect_descendants(p, &all);
    std::vector<cls_event_handler*> chain;
    for (cls_event_handler* d : all)
        if (d->is_focusable() || d == ref) chain.push_back(d);
    int n = static_cast<int>(chain.size());
    if (n == 0) return nullptr;
    int at = -1;
    for (int i = 0; i < n; ++i)
        if (chain[i] == ref) at = i;
    for (int step = 1; step <= n; ++step) {
        int i;
        if (at < 0) i = forward ? step - 1 : n - step;
        else i = forward ? at + step : at - step;
        if (i < 0 || i >= n) {
            if (!wrap) return nullptr;
            i = (i % n + n) % n;
        }
        cls_event_handler* c = chain[i];
        if (c != ref && c->is_focusable() && c->is_visible() && c->is_enabled()) return c;
    }
    return nullptr;
}

} // namespace

cls_event_handler* cls_event_handler::prev_focusable_item(bool wrap) const { return step_focus(this, false, wrap); }

cls_event_handler* cls_event_handler::next_focusable_item(bool wrap) const { return step_focus(this, true, wrap); }

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
        }
    }
    invalidate(true);
}

void cls_event_handler::move_by(const cls_size& distance, bool with_children) {
    move_by(distance.width(), distance.height(), with_children);
}

void cls_event_handler::set_height(int height, bool relayout_children) {
    invalidate(true);
    m_h = height;
    set_fixed_layout(1, height);
    if (relayout_children)
        for (cls_event_handler* c : m_children) c->relayout(true);
    invalidate(true);
}

void cls_event_handler::set_width(int width, bool relayout_children) {
    invalidate(true);
    m_w = width;
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

void cls_event_handler::invalidate(bool with_children) {
    cls_root_container* root = cls_root_container::ins();
    if (!root) return;
    // Only the top page is on the screen; changes below it need no repaint.
    cls_page* p = page();
    if (p && p != root->top_page()) return;
    int x, y, w, h;
    screen_rect(&x, &y, &w, &h);
    cls_ozgi_gui::ins()->invalidate_rect(x, y, w, h);
    if (with_children)
        for (cls_event_handler* c : m_children) c->invalidate(true);
}

attr_result_t cls_event_handler::apply_attr(const cls_string&, const cls_string&) { return ATTR_UNKNOWN; }

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
    if (with_children)
        for (cls_event_handler* c : m_children) c->relayout(true);
}

bool cls_event_handler::uses_content_size() const {
    for (const layout_expr_t& e : m_layout_exprs)
        if (e.uses_content) return true;
    return false;
}

void cls_event_handler::add_member_item_entry(const member_item_entry_t& entry) { m_member_items.push_back(entry); }

void cls_event_handler::add_member_event_entry(const member_event_entry_t& entry) { m_member_events.push_back(entry); }

void cls_event_handler::bind_members() {
    for (const member_item_entry_t& e : m_member_items) {
        cls_event_handler* item = nullptr;
        if (e.index < 0) {
            item = member_item(e.path, false);
        } else {
            cls_sp<cls_array<cls_event_handler*>> all = get_member_items(e.path, false);
            if (e.index < all->count()) item = all->get(e.index);
        }
        if (!item && e.must_exist)
            OZGI_FATAL("Can't find the member item %s of %s.", e.path.c_str(), class_name().c_str());
        e.assign(e.field, item, e.path);
    }
    for (const member_event_entry_t& e : m_member_events) {
        cls_event_handler* item = member_item(e.path, false);
        if (!item) {
            cls_log::log_warning("No item %s for the %s event of %s", e.path.c_str(), e.event_name.c_str(),
                                 class_name().c_str());
            continue;
        }
        item->listen_event_func(e.event_name, e.handler, this, e.once);
    }
}

void cls_event_handler::wrong_member_class(const cls_string& path, const cls_event_handler* item) {
    OZGI_FATAL("The member item %s is a %s, not of the class its field needs.", path.c_str(),
               item->class_name().c_str());
}

void cls_event_handler::on_draw(cls_canvas*, int, int) {}
void cls_event_handler::init() {}
bool cls_event_handler::on_key_event(const cls_ui_event&) { return false; }
bool cls_event_handler::on_touch_event(const cls_ui_event&) { return false; }
void cls_event_handler::on_get_top_pos() {}
void cls_event_handler::on_lose_top_pos() {}

} // namespace ozgi
