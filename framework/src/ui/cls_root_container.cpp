#include "ozgi/cls_root_container.h"

#include "ozgi/cls_canvas.h"
#include "ozgi/cls_log.h"
#include "ozgi/cls_ozgi_gui.h"
#include "ozgi/cls_page.h"
#include "ozgi/cls_ui_res_loader.h"

namespace ozgi {

namespace {
cls_root_container* g_root = nullptr;
} // namespace

cls_root_container::cls_root_container() : m_screen_w(640), m_screen_h(800) {
    add_class_name("cls_root_container");
}

cls_root_container::~cls_root_container() {
    destroy_closed_pages();
    if (g_root == this) g_root = nullptr;
}

cls_root_container* cls_root_container::ins() { return g_root; }

void cls_root_container::set_ins(cls_root_container* root) { g_root = root; }

int cls_root_container::page_count() const {
    int n = 0;
    for (int i = 0; i < child_count(); ++i)
        if (dynamic_cast<cls_page*>(child(i))) ++n;
    return n;
}

cls_page* cls_root_container::page_at(int index) const {
    int n = 0;
    for (int i = 0; i < child_count(); ++i) {
        cls_page* p = dynamic_cast<cls_page*>(child(i));
        if (p && n++ == index) return p;
    }
    OZGI_FATAL("Can't get the %dth page, there are only %d pages.", index, page_count());
}

cls_page* cls_root_container::top_page() const {
    for (int i = child_count() - 1; i >= 0; --i) {
        cls_event_handler* c = child(i);
        if (c->is_page()) return static_cast<cls_page*>(c);
    }
    return nullptr;
}

cls_page* cls_root_container::open_page(const cls_string& name, bool replace) {
    cls_root_container* root = g_root;
    if (!root) OZGI_FATAL("Can't open the page %s before the GUI runs.", name.c_str());
    cls_page* old_top = root->top_page();
    cls_array<cls_event_handler*> created;
    cls_ui_res_loader::ins()->load_resource(cls_ui_res_loader::ins()->load_xml(name), root, &created);
    cls_page* page = created.is_empty() ? nullptr : dynamic_cast<cls_page*>(created[0]);
    if (!page) OZGI_FATAL("The layout %s does not describe a page.", name.c_str());
    if (old_top) {
        if (replace) {
            root->remove_child(old_top);
            root->m_closed.append(old_top);
        } else {
            old_top->on_lose_top_pos();
        }
    }
    root->invalidate(false);
    // The page is on top while its init runs, so that init may replace it.
    page->init();
    return page;
}

void cls_root_container::close_top_page() {
    cls_root_container* root = g_root;
    if (!root) OZGI_FATAL("Can't close a page before the GUI runs.");
    cls_page* top = root->top_page();
    if (!top) return;
    // The page is only taken off the stack now: its own handler may still be
    // running, so it is destroyed at the end of the loop turn.
    root->remove_child(top);
    root->m_closed.append(top);
    root->invalidate(false);
    cls_page* now = root->top_page();
    if (!now) {
        cls_ozgi_gui::ins()->quit();
        return;
    }
    now->on_get_top_pos();
}

void cls_root_container::destroy_closed_pages() {
    while (!m_closed.is_empty()) {
        cls_event_handler* p = m_closed.last();
        m_closed.remove_at(m_closed.count() - 1);
        ozgi_delete(p);
    }
}

attr_result_t cls_root_container::apply_attr(const cls_string& name, const cls_string& value) {
    if (name == "screen_resolution") {
        cls_string w, h;
        if (!value.get_sub_str(0, ',', &w) || !value.get_sub_str(1, ',', &h)) return ATTR_BAD_VALUE;
        int sw = w.to_int(), sh = h.to_int();
        if (sw <= 0 || sh <= 0 || sw > 10000 || sh > 10000) return ATTR_BAD_VALUE;
        m_screen_w = sw;
        m_screen_h = sh;
        cls_ui_res_loader::ins()->set_screen_size(sw, sh);
        return ATTR_OK;
    }
    if (name == "window_title") {
        m_window_title = value;
        return ATTR_OK;
    }
    if (name == "first_page") {
        m_first_page = value;
        return ATTR_OK;
    }
    return cls_event_handler::apply_attr(name, value);
}

void cls_root_container::on_draw(cls_canvas* canvas, int x, int y) {
    canvas->fill_rect(cls_rect{x, y, width(), height()}, cls_color{0, 0, 0, 255});
}

} // namespace ozgi
