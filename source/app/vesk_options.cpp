#include "app/vesk_options.h"

#include <cstdio>

#include "devices/cls_vesk_device.h"
#include "ozgi/cls_input_args.h"
#include "ozgi/cls_ozgi_gui.h"
#include "ozgi/cls_sp.h"
#include "ozgi/cls_string.h"
#include "ozgi/if_system.h"
#include "pages/cls_vesk_page.h"
#include "pages/cls_vesk_page_base.h"

using ozgi::cls_input_args;
using ozgi::cls_sp;
using ozgi::cls_string;

void print_usage() {
    // The text is kept exactly as operators have always seen it, odd punctuation included.
    std::puts("vesk: Display diagnostic menus based on directory.");
    std::puts("           vesk scans the input directory on the specified device for executables, and display them on "
              "the GUI screen with the directory structure as the menu structure.");
    std::puts("Usage: vesk <options>");
    std::puts("--device=<local|adb>:");
    std::puts("  The device to scan for the menus");
    std::puts("  local: vesk will scan the local folder.");
    std::puts("         If --dir is not specified, \"./\" will be used.");
    std::puts("  adb: vesk will use the adb device.");
    std::puts("       If --dir is not specified, \"/dfs/vesk/\" will be used");
    std::puts("--serial-id=<serial-id>:");
    std::puts("  The serial-id of the adb device.");
    std::puts("--dir=<menu-dir>:");
    std::puts("  The root directory to scan for the menus.");
    std::puts("--back-key=<key>:");
    std::puts("  The additional key to exit the current menu.");
    std::puts("  Please note that this key will exit the whole vesk.");
    std::puts("--menu-interval=<menu-interval>");
    std::puts("  The interval between menu items in the menu, default is 5");
    std::puts("--menu-item-height=<menu-item-height>");
    std::puts("  The height of the menu items, default is 64");
}

int parse_options() {
    cls_input_args* args = cls_input_args::ins();
    // The singleton exists from here on, even when only help is wanted.
    cls_vesk_device* device = cls_vesk_device::ins();

    if (args->has_arg("-h", true) || args->has_arg("--help", true)) {
        print_usage();
        ozgi::cls_ozgi_gui::output_help();
        return -1;
    }

    cls_string device_kind;
    args->has_arg("--device=", false, &device_kind);

    cls_string serial_id;
    if (!args->has_arg("--serial-id=", false, &serial_id)) {
        // The environment speaks for whatever kind of device was asked for.
        serial_id = if_vesk_device::serial_id_from_env();
    }

    cls_string dir;
    args->has_arg("--dir=", false, &dir);

    device->set_info(device_kind, dir);
    // Selecting the device builds the whole menu tree before the GUI starts.
    if (serial_id.is_not_empty()) device->set_serial_id(serial_id);

    cls_string value;
    if (args->has_arg("--back-key=", false, &value)) cls_vesk_page_base::set_back_key(value);
    if (args->has_arg("--menu-interval=", false, &value)) cls_vesk_page::set_menu_interval(value.to_int());
    if (args->has_arg("--menu-item-height=", false, &value)) cls_vesk_page::set_menu_item_height(value.to_int());
    return 0;
}
