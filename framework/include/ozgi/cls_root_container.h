#pragma once
// The root of the GUI: holds the page stack (its children, bottom to top) and the
// screen settings of "root_container.xml" (screen_resolution, window_title, first_page).
#include "ozgi/cls_event_handler.h"

namespace ozgi {

class cls_page;

class cls_root_container : public cls_event_handler {
public:
    cls_root_container();
    ~cls_root_container() override;

    /// The running GUI's root container (null before the GUI starts).
    static cls_root_container* ins();
    /// Makes `root` the running root container.
    static void set_ins(cls_root_container* root);

    /// Creates the page of the layout `name`, binds its member items and events, puts
    /// it on top (with replace true in place of the current top page, which is closed)
    /// and calls its init(). Returns the page.
    static cls_page* open_page(const cls_string& name, bool replace);
    /// Closes the top page; the page beneath gets on_get_top_pos(). Closing the last
    /// page ends the program. The page object is destroyed at the end of the loop turn.
    static void close_top_page();

    /// The number of open pages.
    int page_count() const;
    /// The index-th open page, 0 being the bottom.
    cls_page* page_at(int index) const;
    /// The page on top, or null.
    cls_page* top_page() const;
    /// Destroys the pages closed since the last call.
    void destroy_closed_pages();

    int screen_width() const { return m_screen_w; }
    int screen_height() const { return m_screen_h; }
    const cls_string& window_title() const { return m_window_title; }
    const cls_string& first_page() const { return m_first_page; }

    attr_result_t apply_attr(const cls_string& name, const cls_string& value) override;
    void on_draw(cls_canvas* canvas, int x, int y) override;

private:
    int m_screen_w, m_screen_h;
    cls_string m_window_title;
    cls_string m_first_page;
    cls_array<cls_event_handler*> m_closed;
};

} // namespace ozgi
