#include "pages/cls_vesk_select_numeric_arg_page.h"

#include "devices/cls_vesk_device.h"
#include "devices/cls_vesk_numeric_arg.h"
#include "ozgi/cls_array.h"
#include "ozgi/cls_fixed_point.h"
#include "ozgi/cls_label.h"
#include "ozgi/cls_mem_mgr.h"
#include "ozgi/cls_ui_res_loader.h"

using ozgi::cls_array;
using ozgi::cls_event_handler;
using ozgi::cls_fixed_point;
using ozgi::cls_label;
using ozgi::cls_string;
using ozgi::cls_ui_res_loader;

static ozgi::cls_ui_res_loader::reg_token_t dummy_cls_vesk_select_numeric_arg_page =
    cls_ui_res_loader::ins()->register_gui_class(&cls_vesk_select_numeric_arg_page::create_cls_vesk_select_numeric_arg_page,
                                                 "cls_vesk_select_numeric_arg_page");

cls_vesk_select_numeric_arg_page::cls_vesk_select_numeric_arg_page()
    : m_prompt_label(nullptr), m_value_label(nullptr), m_fractional_width(-1) {
    add_class_name("cls_vesk_select_numeric_arg_page");
    add_member_item("ARG_PROMPT_LABEL", &m_prompt_label, -1, false);
    add_member_item("ARG_VALUE_LABEL", &m_value_label, -1, false);
}

cls_vesk_select_numeric_arg_page::~cls_vesk_select_numeric_arg_page() {}

cls_event_handler* cls_vesk_select_numeric_arg_page::create_cls_vesk_select_numeric_arg_page() {
    return OZGI_NEW(cls_vesk_select_numeric_arg_page)();
}

void cls_vesk_select_numeric_arg_page::init() {
    ozgi::cls_page::init();
    cls_vesk_device::arg_info_t info;
    cls_vesk_device::ins()->get_cur_arg_info(&info);
    m_title_label->set_text(info.arg_name);

    // The bounds are shown as the test wrote them, not reformatted.
    cls_string prompt;
    prompt.print("The value of %s (%s-%s): %s", info.arg_name.c_str(), info.values[0].c_str(), info.values[1].c_str(),
                 info.arg_desc.c_str());
    m_prompt_label->set_text(prompt);
    // FIXME: a label does not follow its text with its content-sized geometry by
    // itself yet, and the layout sized this one for an empty text.
    m_prompt_label->relayout(false);
    m_value_label->set_text(info.default_value);

    cls_fixed_point range = cls_fixed_point(info.values[1]) - cls_fixed_point(info.values[0]);
    cls_array<cls_fixed_point> amounts;
    cls_vesk_numeric_arg::amounts(info, range, &amounts, &m_fractional_width);
    for (int i = 0; i < amounts.count(); ++i) add_num_button(amounts[i], i == 0);
}

void cls_vesk_select_numeric_arg_page::add_num_button(const cls_fixed_point& amount, bool focus) {
    cls_ui_res_loader* loader = cls_ui_res_loader::ins();
    cls_array<cls_event_handler*> created;
    loader->load_resource(loader->load_xml("numeric_arg_page/numeric_button.xml"), this, &created);
    cls_event_handler* button = created.first();
    if (focus) button->get_focus();
    button->set_item_data(amount.to_string());
    button->listen_event("click", &cls_vesk_select_numeric_arg_page::on_num_btn_click, this, false);
    // A negative amount's text carries its own "-".
    cls_string text = amount < 0 ? amount.to_string() : cls_string("+") + amount.to_string();
    dynamic_cast<cls_label*>(button->member_item("BUTTON_LABEL", false))->set_text(text);
}

void cls_vesk_select_numeric_arg_page::on_num_btn_click(cls_event_handler* button) {
    cls_vesk_device* device = cls_vesk_device::ins();
    cls_vesk_device::arg_info_t info;
    device->get_cur_arg_info(&info);
    cls_fixed_point value;
    cls_vesk_numeric_arg::tap(cls_fixed_point(info.default_value), cls_fixed_point(button->item_data()),
                              cls_fixed_point(info.values[0]), cls_fixed_point(info.values[1]), m_fractional_width,
                              false, &value);
    cls_string text = value.to_string();
    device->set_cur_arg_value(text);
    m_value_label->set_text(text);
}
