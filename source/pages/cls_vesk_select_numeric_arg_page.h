#pragma once
// Changes one numeric argument of the selected test with buttons that add a
// fixed signed amount; every change is clamped to the bounds and stored at once.
#include "pages/cls_vesk_page_base.h"

namespace ozgi {
class cls_fixed_point;
class cls_label;
} // namespace ozgi

class cls_vesk_select_numeric_arg_page : public cls_vesk_page_base {
public:
    /// Declares the prompt and value labels as member items; no width is set yet.
    cls_vesk_select_numeric_arg_page();
    ~cls_vesk_select_numeric_arg_page() override;

    /// A new numeric argument page, for the layout loader.
    static ozgi::cls_event_handler* create_cls_vesk_select_numeric_arg_page();

    /// Shows the current argument and builds its step pair (when it has a step) and
    /// one pair of power-of-ten buttons for every power within the range.
    void init() override;

    /// Adds the clicked button's amount to the value, clamps it to the bounds and
    /// stores it as the argument's value.
    void on_num_btn_click(ozgi::cls_event_handler* button);

private:
    /// Creates one step button for `amount`; `focus` gives it the focus.
    void add_num_button(const ozgi::cls_fixed_point& amount, bool focus);

    ozgi::cls_label* m_prompt_label;
    ozgi::cls_label* m_value_label;
    /// Decimals shown for the value, taken from the step; -1 while none was set.
    int m_fractional_width;
};
