#include "pages/cls_vesk_output_page.h"

#include "ozgi/cls_app_data.h"
#include "ozgi/cls_label.h"
#include "ozgi/cls_mem_mgr.h"
#include "ozgi/cls_ui_res_loader.h"

using ozgi::cls_event_handler;
using ozgi::cls_ui_res_loader;

static ozgi::cls_ui_res_loader::reg_token_t dummy_cls_vesk_output_page =
    cls_ui_res_loader::ins()->register_gui_class(&cls_vesk_output_page::create_cls_vesk_output_page, "cls_vesk_output_page");

cls_vesk_output_page::cls_vesk_output_page() : m_output_label(nullptr) {
    add_class_name("cls_vesk_output_page");
    add_member_item("OUTPUT_LABEL", &m_output_label, -1, false);
}

cls_vesk_output_page::~cls_vesk_output_page() {}

cls_event_handler* cls_vesk_output_page::create_cls_vesk_output_page() { return OZGI_NEW(cls_vesk_output_page)(); }

void cls_vesk_output_page::init() {
    ozgi::cls_page::init();
    m_title_label->set_text("Execute output");
    // A missing entry reads as an empty text.
    m_output_label->set_text(*ozgi::cls_app_data::ins()->get_data("output"));
    m_back_button->get_focus();
}
