#include "pages/cls_vesk_help_page.h"

#include "devices/cls_vesk_device.h"
#include "ozgi/cls_label.h"
#include "ozgi/cls_mem_mgr.h"
#include "ozgi/cls_ui_res_loader.h"

using ozgi::cls_event_handler;
using ozgi::cls_ui_res_loader;

static ozgi::cls_ui_res_loader::reg_token_t dummy_cls_vesk_help_page =
    cls_ui_res_loader::ins()->register_gui_class(&cls_vesk_help_page::create_cls_vesk_help_page, "cls_vesk_help_page");

cls_vesk_help_page::cls_vesk_help_page() : m_help_label(nullptr) {
    add_class_name("cls_vesk_help_page");
    add_member_item("HELP_LABEL", &m_help_label, -1, false);
}

cls_vesk_help_page::~cls_vesk_help_page() {}

cls_event_handler* cls_vesk_help_page::create_cls_vesk_help_page() { return OZGI_NEW(cls_vesk_help_page)(); }

void cls_vesk_help_page::init() {
    // The framework page's init is deliberately not called: the back button takes
    // the focus below, so its default focus choice is not wanted.
    cls_vesk_device* device = cls_vesk_device::ins();
    m_title_label->set_text("Help");
    m_help_label->set_text(*device->help_msg());
    m_back_button->get_focus();
}
