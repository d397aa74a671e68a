#pragma once
// The base of every vesk page: the title bar's title label and back button, one
// overridable back operation, and the key handling that every page shares.
#include "ozgi/cls_page.h"
#include "ozgi/cls_string.h"
#include "ozgi/cls_ui_event.h"

namespace ozgi {
class cls_label;
}

class cls_vesk_page_base : public ozgi::cls_page {
public:
    /// Declares the title bar's label and back button as member items and wires the
    /// back button's click to on_back.
    cls_vesk_page_base();
    ~cls_vesk_page_base() override;

    /// Handles the keys every page shares: 7 follows the back button (and is still
    /// reported as not consumed), 10/41 and 12/42 move the focus, 43 is re-posted as
    /// the select key 4, and the key named by set_back_key goes back. Anything else
    /// goes to the framework page. Non-key events are refused at once.
    bool on_key_event(const ozgi::cls_ui_event& event) override;

    /// The one back operation of the page; by default it closes the top page.
    virtual void on_back();

    /// Handler of the back button's "click": calls on_back.
    void on_back_button_click(ozgi::cls_event_handler* sender);

    /// Names an extra key that acts as back on every page, even where the back
    /// button is hidden (then it closes the last page and so ends the program).
    /// An empty name means no extra key.
    static void set_back_key(const ozgi::cls_string& key);

    /// The extra back key's name; empty when none was given.
    static ozgi::cls_string m_back_key;

protected:
    /// The title bar's "TITLE_LABEL"; null until the layout is loaded.
    ozgi::cls_label* m_title_label;
    /// The title bar's "BACK_BUTTON"; null until the layout is loaded.
    ozgi::cls_event_handler* m_back_button;
};
