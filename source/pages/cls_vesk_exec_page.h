#pragma once
// The page of one test: its arguments as buttons, the execute and stop buttons,
// the result of the last run and the output as it grows. A direct test starts
// as soon as the page opens and the page closes itself when the test ends.
#include "pages/cls_vesk_page_base.h"
#include "pages/cls_vesk_output_tail.h"

namespace ozgi {
class cls_label;
class cls_timer;
} // namespace ozgi

class cls_vesk_exec_page : public cls_vesk_page_base {
public:
    /// Declares the help button and the status timer as member items and wires
    /// their "click" and "timer" events.
    cls_vesk_exec_page();
    ~cls_vesk_exec_page() override;

    /// A new execution page, for the layout loader.
    static ozgi::cls_event_handler* create_cls_vesk_exec_page();

    /// Reads the selected test's help, builds one button per argument and the
    /// lower panel, and starts a direct test at once.
    void init() override;
    /// Refreshes the value label of the argument that an argument page just edited.
    void on_get_top_pos() override;

    /// Starts the test with the current argument values.
    void on_execute_click(ozgi::cls_event_handler* sender);
    /// Asks the device to interrupt the running test; the page changes on the next tick.
    void on_stop_click(ozgi::cls_event_handler* sender);
    /// Appends new output, and once the test has ended shows its result.
    void on_status_timer(ozgi::cls_event_handler* sender);
    /// Opens the help page.
    void on_help_click(ozgi::cls_event_handler* sender);
    /// Makes the clicked argument current and opens its numeric or list page.
    void on_arg_click(ozgi::cls_event_handler* sender);
    /// Opens the output page with the whole output, unless there is none.
    void on_output_click(ozgi::cls_event_handler* sender);

private:
    /// Puts the page in the running state and starts the test and the status timer.
    void start_execution();

    ozgi::cls_event_handler* m_help_button;
    ozgi::cls_timer* m_status_timer;
    ozgi::cls_event_handler* m_execute_button;
    ozgi::cls_event_handler* m_stop_button;
    ozgi::cls_event_handler* m_pass_icon;
    ozgi::cls_event_handler* m_fail_icon;
    ozgi::cls_label* m_result_label;
    ozgi::cls_event_handler* m_output_button;
    ozgi::cls_label* m_output_label;
    /// Bounds what the output label keeps of a run.
    cls_vesk_output_tail m_output_tail;
};
