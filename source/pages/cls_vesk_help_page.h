#pragma once
// The help text that the selected test printed when asked for its usage.
#include "pages/cls_vesk_page_base.h"

namespace ozgi {
class cls_label;
}

class cls_vesk_help_page : public cls_vesk_page_base {
public:
    /// Declares the help label as a member item.
    cls_vesk_help_page();
    ~cls_vesk_help_page() override;

    /// A new help page, for the layout loader.
    static ozgi::cls_event_handler* create_cls_vesk_help_page();

    /// Shows the selected test's help text and gives the back button the focus.
    /// Unlike the other pages it leaves out the framework page's own set-up.
    void init() override;

private:
    ozgi::cls_label* m_help_label;
};
