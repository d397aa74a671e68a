#include "pages/cls_vesk_select_device_page.h"

#include "devices/cls_vesk_device.h"
#include "ozgi/cls_array.h"
#include "ozgi/cls_label.h"
#include "ozgi/cls_mem_mgr.h"
#include "ozgi/cls_root_container.h"
#include "ozgi/cls_ui_res_loader.h"

using ozgi::cls_array;
using ozgi::cls_event_handler;
using ozgi::cls_label;
using ozgi::cls_sp;
using ozgi::cls_string;

static ozgi::cls_ui_res_loader::reg_token_t dummy_cls_vesk_select_device_page =
    ozgi::cls_ui_res_loader::ins()->register_gui_class(&cls_vesk_select_device_page::create_cls_vesk_select_device_page,
                                                       "cls_vesk_select_device_page");

namespace {
const char* const FIRST_MENU_PAGE = "menu_page/first_page.xml";
} // namespace

cls_vesk_select_device_page::cls_vesk_select_device_page() { add_class_name("cls_vesk_select_device_page"); }

cls_vesk_select_device_page::~cls_vesk_select_device_page() {}

cls_event_handler* cls_vesk_select_device_page::create_cls_vesk_select_device_page() {
    return OZGI_NEW(cls_vesk_select_device_page)();
}

void cls_vesk_select_device_page::init() {
    // The framework page's init is left out on purpose: it would focus the back
    // button before the device buttons exist.
    cls_vesk_device* device = cls_vesk_device::ins();
    if (device->serial_id_selected()) {
        ozgi::cls_root_container::open_page(FIRST_MENU_PAGE, true);
        return;
    }
    cls_sp<cls_array<cls_string>> ids = device->devices();
    if (ids->count() == 1) {
        device->set_serial_id((*ids)[0]);
        ozgi::cls_root_container::open_page(FIRST_MENU_PAGE, true);
        return;
    }
    m_back_button->hide();
    m_title_label->set_text("Please select a device.");
    ozgi::cls_ui_res_loader* loader = ozgi::cls_ui_res_loader::ins();
    for (int i = 0; i < ids->count(); ++i) {
        cls_array<cls_event_handler*> created;
        loader->load_resource(loader->load_xml("cmn_items/menu_button.xml"), this, &created);
        cls_event_handler* button = created.first();
        button->set_item_data((*ids)[i]);
        cls_label* label = dynamic_cast<cls_label*>(button->member_item("BUTTON_LABEL", false));
        if (label) label->set_text((*ids)[i]);
        button->listen_event("click", &cls_vesk_select_device_page::on_menu_button_click, this, false);
        if (i == 0) button->get_focus();
    }
}

void cls_vesk_select_device_page::on_menu_button_click(cls_event_handler* button) {
    cls_vesk_device::ins()->set_serial_id(button->item_data());
    ozgi::cls_root_container::open_page(FIRST_MENU_PAGE, true);
}
