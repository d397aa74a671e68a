#include "pages/cls_vesk_exec_page.h"

#include "app/cls_vesk_result_log.h"
#include "devices/cls_vesk_device.h"
#include "ozgi/cls_app_data.h"
#include "ozgi/cls_array.h"
#include "ozgi/cls_label.h"
#include "ozgi/cls_log.h"
#include "ozgi/cls_mem_mgr.h"
#include "ozgi/cls_root_container.h"
#include "ozgi/cls_timer.h"
#include "ozgi/cls_ui_res_loader.h"

using ozgi::cls_array;
using ozgi::cls_event_handler;
using ozgi::cls_label;
using ozgi::cls_root_container;
using ozgi::cls_string;
using ozgi::cls_ui_res_loader;

namespace {

/// The label at `path` below `item`, or null when there is none.
cls_label* label_of(const cls_event_handler* item, const char* path) {
    return dynamic_cast<cls_label*>(item->member_item(path, false));
}

/// Builds the layout `name` under `parent` and returns the first item it created.
/// A layout that creates nothing is fatal through the array.
cls_event_handler* build_part(const char* name, cls_event_handler* parent) {
    cls_ui_res_loader* loader = cls_ui_res_loader::ins();
    cls_array<cls_event_handler*> created;
    loader->load_resource(loader->load_xml(name), parent, &created);
    return created.first();
}

/// The first item matching `path` below `page`; none is fatal through the array.
cls_event_handler* first_member(const cls_event_handler* page, const char* path) {
    return page->get_member_items(path, false)->first();
}

} // namespace

static ozgi::cls_ui_res_loader::reg_token_t dummy_cls_vesk_exec_page =
    cls_ui_res_loader::ins()->register_gui_class(&cls_vesk_exec_page::create_cls_vesk_exec_page, "cls_vesk_exec_page");

cls_vesk_exec_page::cls_vesk_exec_page()
    : m_help_button(nullptr),
      m_status_timer(nullptr),
      m_execute_button(nullptr),
      m_stop_button(nullptr),
      m_pass_icon(nullptr),
      m_fail_icon(nullptr),
      m_result_label(nullptr),
      m_output_button(nullptr),
      m_output_label(nullptr),
      m_output_tail(cls_vesk_device::output_limit()) {
    add_class_name("cls_vesk_exec_page");
    add_member_item("TITLE_BAR/TITLE_ITEMS/HELP_BUTTON", &m_help_button, -1, false);
    add_member_item("STATUS_TIMER", &m_status_timer, -1, false);
    add_member_event("STATUS_TIMER", "timer", &cls_vesk_exec_page::on_status_timer, false);
    add_member_event("TITLE_BAR/TITLE_ITEMS/HELP_BUTTON", "click", &cls_vesk_exec_page::on_help_click, false);
}

cls_vesk_exec_page::~cls_vesk_exec_page() {}

cls_event_handler* cls_vesk_exec_page::create_cls_vesk_exec_page() { return OZGI_NEW(cls_vesk_exec_page)(); }

void cls_vesk_exec_page::init() {
    ozgi::cls_page::init();
    cls_vesk_device* device = cls_vesk_device::ins();
    m_title_label->set_text(*device->exec_name());

    bool arg_focused = false;
    if (device->load_exec_help()) {
        m_help_button->show();
        cls_array<cls_vesk_device::arg_info_t> args;
        device->get_args(&args);
        for (int i = 0; i < args.count(); ++i) {
            cls_event_handler* button = build_part("exec_page/argu_button.xml", this);
            label_of(button, "ARG_NAME_LABEL")->set_text(args[i].arg_name);
            label_of(button, "ARG_VALUE_LABEL")->set_text(args[i].default_value);
            button->listen_event("click", &cls_vesk_exec_page::on_arg_click, this, false);
            if (i == 0) {
                button->get_focus();
                arg_focused = true;
            }
        }
    }

    m_execute_button = build_part("exec_page/panel.xml", this);
    m_execute_button->listen_event("click", &cls_vesk_exec_page::on_execute_click, this, false);
    if (!arg_focused) m_execute_button->get_focus();

    m_stop_button = member_item("STOP_BUTTON", false);
    m_stop_button->listen_event("click", &cls_vesk_exec_page::on_stop_click, this, false);
    m_output_button = member_item("OUTPUT_BUTTON", false);
    m_output_button->listen_event("click", &cls_vesk_exec_page::on_output_click, this, false);

    m_pass_icon = first_member(this, "EXEC_RESULT/PASS_ICON");
    m_fail_icon = first_member(this, "EXEC_RESULT/FAIL_ICON");
    m_result_label = dynamic_cast<cls_label*>(first_member(this, "EXEC_RESULT/LABEL"));
    m_output_label = dynamic_cast<cls_label*>(first_member(this, "OUTPUT_BUTTON/LABEL"));

    if (device->is_direct_exec()) start_execution();
}

void cls_vesk_exec_page::start_execution() {
    // Everything but the stop button is locked before the test starts, so that no
    // click can slip in between.
    m_execute_button->disable();
    m_back_button->disable();
    m_help_button->disable();
    disable_group("ARGU_BUTTONS");
    m_pass_icon->hide();
    m_fail_icon->hide();
    m_execute_button->hide();
    m_output_button->disable();
    m_stop_button->show();
    m_stop_button->get_focus();
    m_result_label->set_text("Executing...");
    cls_vesk_device::ins()->execute();
    cls_vesk_result_log::ins()->run_started();
    m_status_timer->start(false);
    // The previous run's output stays visible until the new run has really started.
    m_output_label->set_text("");
    m_output_tail.reset();
}

void cls_vesk_exec_page::on_execute_click(cls_event_handler*) { start_execution(); }

void cls_vesk_exec_page::on_stop_click(cls_event_handler*) { cls_vesk_device::ins()->stop(); }

void cls_vesk_exec_page::on_status_timer(cls_event_handler*) {
    cls_vesk_device* device = cls_vesk_device::ins();
    int exit_code = 0;
    // Output is read before the end is asked for, so that the last piece still
    // shows before the result. The piece is let go of before that question,
    // which reads more output: its memory then takes the new output.
    {
        ozgi::cls_sp<cls_string> piece = device->read_output();
        cls_vesk_result_log::ins()->run_output(*piece, device->dropped_output());
        m_output_tail.append(m_output_label, piece.get(), device->dropped_output());
    }
    if (!device->is_ended(&exit_code)) return;
    cls_vesk_result_log::ins()->run_ended(exit_code);
    if (device->is_direct_exec()) {
        // The timer goes with the page.
        cls_root_container::close_top_page();
        return;
    }
    m_status_timer->stop(false);

    m_execute_button->enable();
    m_back_button->enable();
    m_help_button->enable();
    m_output_button->enable();
    m_execute_button->show();
    m_stop_button->hide();
    m_execute_button->get_focus();
    enable_group("ARGU_BUTTONS");

    // Exit code 0 is the only pass.
    if (exit_code != 0) {
        m_pass_icon->hide();
        m_fail_icon->show();
    } else {
        m_pass_icon->show();
        m_fail_icon->hide();
    }
    cls_string result;
    result.print("Exit code:%d", exit_code);
    m_result_label->set_text(result);
    invalidate(true);
}

void cls_vesk_exec_page::on_help_click(cls_event_handler*) { cls_root_container::open_page("help_page/page.xml", false); }

void cls_vesk_exec_page::on_arg_click(cls_event_handler* sender) {
    cls_string name = label_of(sender, "ARG_NAME_LABEL")->text();
    int arg_type = cls_vesk_device::ins()->select_arg(name);
    switch (arg_type) {
    case 0:
        cls_root_container::open_page("numeric_arg_page/page.xml", false);
        break;
    case 1:
        cls_root_container::open_page("list_arg_page/page.xml", false);
        break;
    default: {
        // The message names the variable's address, not its value; kept so that
        // reports stay comparable with the ones already collected.
        cls_string where;
        where.to_str(static_cast<const void*>(&arg_type));
        ozgi::cls_log::log_fatal(__FILE__, __LINE__, "Invalid %s(%s) in switch clause.", "arg_type", where.c_str());
    }
    }
}

void cls_vesk_exec_page::on_get_top_pos() {
    ozgi::cls_page::on_get_top_pos();
    cls_vesk_device::arg_info_t info;
    cls_vesk_device::ins()->get_cur_arg_info(&info);
    ozgi::cls_sp<cls_array<cls_event_handler*>> buttons = get_member_items("ARGU_BUTTONS.*", false);
    // Only the argument that was edited is refreshed; the others cannot have changed.
    for (int i = 0; i < buttons->count(); ++i) {
        cls_event_handler* button = (*buttons)[i];
        if (label_of(button, "ARG_NAME_LABEL")->text() == info.arg_name) {
            label_of(button, "ARG_VALUE_LABEL")->set_text(info.default_value);
            break;
        }
    }
}

void cls_vesk_exec_page::on_output_click(cls_event_handler*) {
    if (m_output_label->text().is_empty()) return;
    ozgi::cls_app_data::ins()->set_data("output", m_output_label->text());
    cls_root_container::open_page("output_page/page.xml", false);
}
