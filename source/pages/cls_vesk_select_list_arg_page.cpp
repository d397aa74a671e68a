#include "pages/cls_vesk_select_list_arg_page.h"

#include "devices/cls_vesk_device.h"
#include "ozgi/cls_array.h"
#include "ozgi/cls_label.h"
#include "ozgi/cls_mem_mgr.h"
#include "ozgi/cls_ui_res_loader.h"

using ozgi::cls_array;
using ozgi::cls_event_handler;
using ozgi::cls_label;
using ozgi::cls_ui_res_loader;

static ozgi::cls_ui_res_loader::reg_token_t dummy_cls_vesk_select_list_arg_page =
    cls_ui_res_loader::ins()->register_gui_class(&cls_vesk_select_list_arg_page::create_cls_vesk_select_list_arg_page,
                                                 "cls_vesk_select_list_arg_page");

cls_vesk_select_list_arg_page::cls_vesk_select_list_arg_page() : m_selected_button(nullptr) {
    add_class_name("cls_vesk_select_list_arg_page");
}

cls_vesk_select_list_arg_page::~cls_vesk_select_list_arg_page() {}

cls_event_handler* cls_vesk_select_list_arg_page::create_cls_vesk_select_list_arg_page() {
    return OZGI_NEW(cls_vesk_select_list_arg_page)();
}

void cls_vesk_select_list_arg_page::init() {
    ozgi::cls_page::init();
    cls_vesk_device::arg_info_t info;
    cls_vesk_device::ins()->get_cur_arg_info(&info);
    m_title_label->set_text(info.arg_name);

    cls_ui_res_loader* loader = cls_ui_res_loader::ins();
    for (int i = 0; i < info.values.count(); ++i) {
        cls_array<cls_event_handler*> created;
        loader->load_resource(loader->load_xml("list_arg_page/select_list_button.xml"), this, &created);
        cls_event_handler* button = created.first();
        dynamic_cast<cls_label*>(button->member_item("BUTTON_LABEL", false))->set_text(info.values[i]);
        button->listen_event("click", &cls_vesk_select_list_arg_page::on_list_item_click, this, false);
        // Every alternative equal to the value is checked; the last of them keeps
        // the focus and the selection.
        if (info.values[i] == info.default_value) {
            button->member_item("CHECK_ICON", false)->show();
            m_selected_button = button;
            button->get_focus();
        }
    }
}

void cls_vesk_select_list_arg_page::on_list_item_click(cls_event_handler* button) {
    // A test whose default is none of its alternatives has no checked button yet.
    if (m_selected_button) m_selected_button->member_item("CHECK_ICON", false)->hide();
    m_selected_button = button;
    button->member_item("CHECK_ICON", false)->show();
    cls_vesk_device::ins()->set_cur_arg_value(dynamic_cast<cls_label*>(button->member_item("BUTTON_LABEL", false))->text());
}
