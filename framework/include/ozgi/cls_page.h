#pragma once
// A full-screen page: the root of one layout on the root container's page stack.
// It owns the focus of its items and scrolls vertically when its items reach
// below the screen.
#include "ozgi/cls_event_handler.h"

namespace ozgi {

class cls_label;

class cls_page : public cls_event_handler {
public:
    cls_page();
    ~cls_page() override;

    /// The default page set-up, called after the layout has been loaded: gives the
    /// focus to the first focusable item when nothing has it yet.
    void init() override;
    /// The default key handling: key 4 (and 43) clicks the focused button; 10/41 and
    /// 12/42 move the focus back and forth. Returns true when the key was used.
    bool on_key_event(const cls_ui_event& event) override;
    /// Touch and wheel handling: presses buttons, clicks on release inside, scrolls
    /// the page or a multi-line label on a vertical drag or a wheel turn.
    bool on_touch_event(const cls_ui_event& event) override;
    attr_result_t apply_attr(const cls_string& name, const cls_string& value) override;
    void on_draw(cls_canvas* canvas, int x, int y) override;
    /// Opaque when its background colour is.
    bool is_opaque() const override;

    /// The item that has the focus, or null.
    cls_event_handler* focus_item() const { return m_focus; }
    /// Gives `item` (a descendant, or null) the focus and scrolls it into view.
    void set_focus_item(cls_event_handler* item);
    /// How far the page is scrolled up, in pixels (0: not scrolled).
    int scroll_y() const { return m_scroll_y; }
    /// Scrolls to `y`, clamped to the page's content.
    void set_scroll_y(int y);
    /// The largest useful scroll_y: how far the lowest visible item reaches below the page.
    int max_scroll_y() const;
    /// Scrolls the least distance that brings `item` wholly on the screen.
    void scroll_into_view(cls_event_handler* item);
    /// Forgets `item` wherever the page refers to it (it is being destroyed).
    void forget_item(cls_event_handler* item);

    /// A press moving less than this many pixels is a tap, not a drag.
    static const int DRAG_THRESHOLD = 10;

private:
    cls_event_handler* m_focus;
    int m_scroll_y;
    // The state of one touch from press to release.
    cls_event_handler* m_pressed;
    cls_label* m_drag_label;
    int m_press_x, m_press_y, m_last_y;
    bool m_touching;
    bool m_dragging;
    unsigned m_bg_argb;
};

} // namespace ozgi
