#pragma once
// Picks the value of one list argument of the selected test: one button per
// alternative, the chosen one checked; a tap stores the new value at once.
#include "pages/cls_vesk_page_base.h"

class cls_vesk_select_list_arg_page : public cls_vesk_page_base {
public:
    /// A page with no selected button yet.
    cls_vesk_select_list_arg_page();
    ~cls_vesk_select_list_arg_page() override;

    /// A new list argument page, for the layout loader.
    static ozgi::cls_event_handler* create_cls_vesk_select_list_arg_page();

    /// Builds one button per alternative; the one equal to the current value is
    /// checked and focused.
    void init() override;

    /// Moves the check mark to the clicked button and stores its text as the value.
    void on_list_item_click(ozgi::cls_event_handler* button);

private:
    /// The button that shows its check mark; null until one does.
    ozgi::cls_event_handler* m_selected_button;
};
