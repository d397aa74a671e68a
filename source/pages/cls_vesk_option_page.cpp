#include "pages/cls_vesk_option_page.h"

#include "devices/cls_vesk_device.h"
#include "ozgi/cls_app_data.h"
#include "ozgi/cls_label.h"
#include "ozgi/cls_log.h"
#include "ozgi/cls_mem_mgr.h"
#include "ozgi/cls_root_container.h"
#include "ozgi/cls_ui_event.h"
#include "ozgi/cls_ui_res_loader.h"

using ozgi::cls_event_handler;
using ozgi::cls_sp;
using ozgi::cls_string;

static ozgi::cls_ui_res_loader::reg_token_t dummy_cls_vesk_option_page =
    ozgi::cls_ui_res_loader::ins()->register_gui_class(&cls_vesk_option_page::create_cls_vesk_option_page,
                                                       "cls_vesk_option_page");

namespace {
// The languages vesk speaks; the language button switches between the two.
const char* const LANGUAGES[] = {"en_US", "zh_CN"};
} // namespace

cls_vesk_option_page::cls_vesk_option_page() {
    add_class_name("cls_vesk_option_page");
    add_member_item("LANGUAGE_BUTTON", &m_language_button, -1, false);
    add_member_event("LANGUAGE_BUTTON", "click", &cls_vesk_option_page::on_language_btn_click, false);
    add_member_event("REFRESH_BUTTON", "click", &cls_vesk_option_page::on_refresh_btn_click, false);
    add_member_event("EXIT_BUTTON", "click", &cls_vesk_option_page::on_exit_btn_click, false);
}

cls_vesk_option_page::~cls_vesk_option_page() {}

cls_event_handler* cls_vesk_option_page::create_cls_vesk_option_page() { return OZGI_NEW(cls_vesk_option_page)(); }

void cls_vesk_option_page::init() {
    ozgi::cls_page::init();
    if (m_language_button) m_language_button->get_focus();
    if (m_title_label) m_title_label->set_text("Option");
}

void cls_vesk_option_page::on_back() { ozgi::cls_root_container::open_page("menu_page/first_page.xml", true); }

void cls_vesk_option_page::on_language_btn_click(cls_event_handler*) {
    cls_sp<cls_string> current = ozgi::cls_app_data::ins()->get_data("language");
    const char* next = nullptr;
    if (*current == LANGUAGES[0]) {
        next = LANGUAGES[1];
    } else if (*current == LANGUAGES[1]) {
        next = LANGUAGES[0];
    } else {
        OZGI_FATAL("The current language %s is not supported in vesk.", current->c_str());
    }
    // Nothing on the screen changes now: the root menu page that on_back opens
    // is the first to be drawn in the new language.
    ozgi::cls_app_data::ins()->set_data("language", next);
}

void cls_vesk_option_page::on_refresh_btn_click(cls_event_handler*) { cls_vesk_device::ins()->refresh_menu(); }

void cls_vesk_option_page::on_exit_btn_click(cls_event_handler*) {
    post_event(ozgi::cls_ui_event::EVENT_APP, cls_string());
}
