#pragma once
// The option page: switch the language between English and Simplified Chinese,
// rescan the menu directory, or leave the program. Leaving the page opens a fresh
// root menu, so that a new language or menu shows everywhere.
#include "pages/cls_vesk_page_base.h"

class cls_vesk_option_page : public cls_vesk_page_base {
public:
    cls_vesk_option_page();
    ~cls_vesk_option_page() override;

    /// A new page, as the layout loader asks for "cls_vesk_option_page".
    static ozgi::cls_event_handler* create_cls_vesk_option_page();

    /// Focuses the language button and titles the page "Option".
    void init() override;
    /// Opens a fresh root menu page in place of this page.
    void on_back() override;

    /// Switches the application data's "language" to the other supported language;
    /// any other current value is fatal.
    void on_language_btn_click(ozgi::cls_event_handler* sender);
    /// Rebuilds the device's menu tree from its directory and returns to its root.
    void on_refresh_btn_click(ozgi::cls_event_handler* sender);
    /// Ends the program through the framework's event loop.
    void on_exit_btn_click(ozgi::cls_event_handler* sender);

private:
    /// The "LANGUAGE_BUTTON" of the layout; null until the layout is loaded.
    ozgi::cls_event_handler* m_language_button;
};
