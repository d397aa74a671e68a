#pragma once
// A menu page: one directory level of the selected device's menu tree, its
// sub-menus first and then its tests. The page draws whatever menu node is
// current in the device singleton when it is created.
#include "pages/cls_vesk_page_base.h"

class cls_vesk_page : public cls_vesk_page_base {
public:
    cls_vesk_page();
    ~cls_vesk_page() override;

    /// A new page, as the layout loader asks for "cls_vesk_page".
    static ozgi::cls_event_handler* create_cls_vesk_page();

    /// Titles the page with the current menu and adds one button per sub-menu and
    /// one per test, spaced and sized by the static settings, and sets the focus.
    void init() override;
    /// Steps the device's current menu up one level and closes this page.
    void on_back() override;

    /// Handler of a sub-menu button: enters that sub-menu and opens a page for it.
    void on_menu_button_click(ozgi::cls_event_handler* button);
    /// Handler of a test button: selects the test and opens the execution page.
    void on_exec_button_click(ozgi::cls_event_handler* button);
    /// Handler of the title bar's option button: the option page replaces this page.
    void on_option_button_click(ozgi::cls_event_handler* sender);

    /// Sets the extra gap above every menu button, unchecked.
    static void set_menu_interval(int interval);
    /// Sets the height forced on every menu button, unchecked.
    static void set_menu_item_height(int height);

    /// Extra vertical gap in pixels added above every menu button.
    static int m_menu_interval;
    /// Height in pixels of every menu button.
    static int m_menu_item_height;

private:
    /// Creates one button from `layout` below the items so far, moved down by the
    /// interval and given the menu item height.
    ozgi::cls_event_handler* add_button(const char* layout);
};
