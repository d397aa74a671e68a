#pragma once
// The whole output of the last run, as a terminal-like panel with the newest
// lines at the bottom. It shows a snapshot taken when the page opens.
#include "pages/cls_vesk_page_base.h"

namespace ozgi {
class cls_label;
}

class cls_vesk_output_page : public cls_vesk_page_base {
public:
    /// Declares the output label as a member item.
    cls_vesk_output_page();
    ~cls_vesk_output_page() override;

    /// A new output page, for the layout loader.
    static ozgi::cls_event_handler* create_cls_vesk_output_page();

    /// Shows the text that the execution page left under "output" in the
    /// application data and gives the back button the focus.
    void init() override;

private:
    ozgi::cls_label* m_output_label;
};
