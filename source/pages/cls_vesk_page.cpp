#include "pages/cls_vesk_page.h"

#include "devices/cls_vesk_device.h"
#include "ozgi/cls_array.h"
#include "ozgi/cls_label.h"
#include "ozgi/cls_mem_mgr.h"
#include "ozgi/cls_root_container.h"
#include "ozgi/cls_size.h"
#include "ozgi/cls_ui_res_loader.h"

using ozgi::cls_array;
using ozgi::cls_event_handler;
using ozgi::cls_label;
using ozgi::cls_sp;
using ozgi::cls_string;

static ozgi::cls_ui_res_loader::reg_token_t dummy_cls_vesk_page =
    ozgi::cls_ui_res_loader::ins()->register_gui_class(&cls_vesk_page::create_cls_vesk_page, "cls_vesk_page");

int cls_vesk_page::m_menu_interval = 5;
int cls_vesk_page::m_menu_item_height = 64;

namespace {

// The tests are set off from the sub-menus above them by this much more.
const int FIRST_TEST_EXTRA_GAP = 20;

void set_button_label(cls_event_handler* button, const cls_string& text) {
    cls_label* label = dynamic_cast<cls_label*>(button->member_item("BUTTON_LABEL", false));
    if (label) label->set_text(text);
}

} // namespace

cls_vesk_page::cls_vesk_page() {
    add_class_name("cls_vesk_page");
    add_member_event("TITLE_BAR/TITLE_ITEMS/OPTION_BUTTON", "click", &cls_vesk_page::on_option_button_click, false);
}

cls_vesk_page::~cls_vesk_page() {}

cls_event_handler* cls_vesk_page::create_cls_vesk_page() { return OZGI_NEW(cls_vesk_page)(); }

cls_event_handler* cls_vesk_page::add_button(const char* layout) {
    ozgi::cls_ui_res_loader* loader = ozgi::cls_ui_res_loader::ins();
    cls_array<cls_event_handler*> created;
    loader->load_resource(loader->load_xml(layout), this, &created);
    cls_event_handler* button = created.first();
    button->move_by(ozgi::cls_size(0, m_menu_interval), true);
    if (button->height() != m_menu_item_height) button->set_height(m_menu_item_height, true);
    return button;
}

void cls_vesk_page::init() {
    ozgi::cls_page::init();
    cls_vesk_device* device = cls_vesk_device::ins();
    if (m_title_label) m_title_label->set_text(*device->menu_title());

    bool focused = false;
    cls_sp<cls_array<cls_string>> dirs = device->dirs();
    for (int i = 0; i < dirs->count(); ++i) {
        const cls_string& name = (*dirs)[i];
        cls_event_handler* button = add_button("cmn_items/menu_button.xml");
        set_button_label(button, name);
        button->listen_event("click", &cls_vesk_page::on_menu_button_click, this, false);
        button->set_item_data(name);
        if (i == 0) {
            button->get_focus();
            focused = true;
        }
    }

    cls_sp<cls_array<cls_string>> execs = device->execs();
    for (int i = 0; i < execs->count(); ++i) {
        const cls_string& name = (*execs)[i];
        cls_event_handler* button = add_button("menu_page/executable_button.xml");
        if (i == 0) {
            button->move_by(0, FIRST_TEST_EXTRA_GAP, true);
            if (!focused) {
                button->get_focus();
                focused = true;
            }
        }
        button->set_item_data(name);
        button->listen_event("click", &cls_vesk_page::on_exec_button_click, this, false);
        // A direct test is shown without its prefix; the item data keeps the full
        // name, which is what the device knows it by.
        cls_string shown;
        if (!name.begin_with(cls_vesk_device::DIRECT_EXEC_PREFIX, &shown)) shown = name;
        set_button_label(button, shown);
    }

    // With nothing to offer, the focus rests on the back button, even where it is hidden.
    if (!focused && m_back_button) m_back_button->get_focus();
}

void cls_vesk_page::on_back() {
    cls_vesk_device::ins()->back_to_parent_menu();
    ozgi::cls_root_container::close_top_page();
}

void cls_vesk_page::on_menu_button_click(cls_event_handler* button) {
    cls_vesk_device::ins()->enter_sub_menu(button->item_data());
    ozgi::cls_root_container::open_page("menu_page/page.xml", false);
}

void cls_vesk_page::on_exec_button_click(cls_event_handler* button) {
    cls_vesk_device::ins()->set_cur_exec(button->item_data());
    ozgi::cls_root_container::open_page("exec_page/page.xml", false);
}

void cls_vesk_page::on_option_button_click(cls_event_handler*) {
    ozgi::cls_root_container::open_page("option_page/page.xml", true);
}

void cls_vesk_page::set_menu_interval(int interval) { m_menu_interval = interval; }

void cls_vesk_page::set_menu_item_height(int height) { m_menu_item_height = height; }
