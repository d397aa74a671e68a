#pragma once
// The first page: makes sure one device is chosen before any menu shows. It
// passes straight on when the choice is already made or there is only one
// candidate, and otherwise offers one button per serial id.
#include "pages/cls_vesk_page_base.h"

class cls_vesk_select_device_page : public cls_vesk_page_base {
public:
    cls_vesk_select_device_page();
    ~cls_vesk_select_device_page() override;

    /// A new page, as the layout loader asks for "cls_vesk_select_device_page".
    static ozgi::cls_event_handler* create_cls_vesk_select_device_page();

    /// Opens the root menu in place of this page when a device is already chosen or
    /// only one is offered; otherwise adds one button per candidate.
    void init() override;

    /// Handler of a device button's "click": selects that device and opens the root menu.
    void on_menu_button_click(ozgi::cls_event_handler* button);
};
