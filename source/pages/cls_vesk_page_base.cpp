#include "pages/cls_vesk_page_base.h"

#include "ozgi/cls_label.h"
#include "ozgi/cls_root_container.h"

using ozgi::cls_event_handler;
using ozgi::cls_string;
using ozgi::cls_ui_event;

cls_string cls_vesk_page_base::m_back_key;

cls_vesk_page_base::cls_vesk_page_base() {
    add_class_name("cls_vesk_page_base");
    add_member_item("TITLE_BAR/TITLE_ITEMS/TITLE_LABEL", &m_title_label, -1, false);
    add_member_item("TITLE_BAR/TITLE_ITEMS/BACK_BUTTON", &m_back_button, -1, false);
    add_member_event("TITLE_BAR/TITLE_ITEMS/BACK_BUTTON", "click", &cls_vesk_page_base::on_back_button_click, false);
}

cls_vesk_page_base::~cls_vesk_page_base() {}

bool cls_vesk_page_base::on_key_event(const cls_ui_event& event) {
    // Only key events are ours; the framework's default handling is not asked
    // about anything else.
    if (event.event_code() != cls_ui_event::EVENT_KEY) return false;
    switch (event.int_data(0)) {
    case cls_ui_event::KEY_BACK:
        // The built-in back key follows the back button, so that a page without one
        // cannot be left with it. The key is still reported as not consumed.
        if (m_back_button && m_back_button->is_visible()) on_back();
        return false;
    case cls_ui_event::KEY_PREV:
    case cls_ui_event::KEY_PREV_ALT: {
        cls_event_handler* item = prev_focusable_item(false);
        if (item) item->get_focus();
        return true;
    }
    case cls_ui_event::KEY_NEXT:
    case cls_ui_event::KEY_NEXT_ALT: {
        cls_event_handler* item = next_focusable_item(false);
        if (item) item->get_focus();
        return true;
    }
    case cls_ui_event::KEY_SELECT_ALT: {
        // The alternative select key is handed back to the framework, one event
        // later, as the ordinary select key.
        cls_ui_event select(cls_ui_event::EVENT_KEY, this);
        select.set_int_data(0, cls_ui_event::KEY_SELECT);
        post_event(select);
        return true;
    }
    default: break;
    }
    // The extra back key does not look at the back button: on the root pages it
    // closes the last page and ends the program, as the usage text warns.
    if (event.match_key(m_back_key)) {
        on_back();
        return true;
    }
    return ozgi::cls_page::on_key_event(event);
}

void cls_vesk_page_base::on_back() { ozgi::cls_root_container::close_top_page(); }

void cls_vesk_page_base::on_back_button_click(cls_event_handler*) { on_back(); }

void cls_vesk_page_base::set_back_key(const cls_string& key) { m_back_key = key; }
