#pragma once
// The menu as vesk builds it, through the same device singleton and devices,
// and the tests in it in the order the panel shows them (sub-menus first, each
// group sorted by name).
#include "cli/cls_cli_options.h"
#include "devices/cls_vesk_device.h"
#include "ozgi/cls_array.h"
#include "ozgi/cls_string.h"

class cls_cli_menu {
public:
    /// One test of the menu.
    struct test_t {
        /// Its path below the menu root, as on the device ("net/wifi/scan").
        ozgi::cls_string path;
        /// Its directory below the root, every level followed by "/" ("net/wifi/").
        ozgi::cls_string dir_path;
        /// Its file name, as on the device (a direct test's prefix included).
        ozgi::cls_string name;
        /// Whether it is a direct test.
        bool direct;
        test_t() : direct(false) {}
    };

    /// Creates the device the options name and builds the menu tree (for the local
    /// device the serial id "LOCAL_DEVICE" is implied when none is given).
    explicit cls_cli_menu(const cls_cli_options& options);

    /// The device kind, "local" or "adb".
    const ozgi::cls_string& device_kind() const { return m_kind; }
    /// The serial id in use ("LOCAL_DEVICE" for the local device).
    const ozgi::cls_string& serial_id() const { return m_serial_id; }
    /// The menu root directory on the device, default applied.
    const ozgi::cls_string& root_dir() const { return m_root_dir; }
    /// The device.
    if_vesk_device* device() const;
    /// The root of the menu tree.
    const cls_vesk_device::menu_tree_node_t* root() const;

    /// The sub-menus, then the tests, of `node`, each group sorted as the panel
    /// sorts (the device left out sub-menus that only a link loop leads to).
    void children(const cls_vesk_device::menu_tree_node_t* node,
                  ozgi::cls_array<const cls_vesk_device::menu_tree_node_t*>* out) const;
    /// Appends the tests whose path is `prefix` or lies below it (empty: all), in
    /// menu order.
    void tests(const ozgi::cls_string& prefix, ozgi::cls_array<test_t>* out) const;
    /// Finds the test at `path` (also without a direct test's prefix, and with a
    /// leading "./"); false when there is none.
    bool find_test(const ozgi::cls_string& path, test_t* out) const;

private:
    void collect(const cls_vesk_device::menu_tree_node_t* node, const ozgi::cls_string& dir_path,
                 ozgi::cls_array<test_t>* out) const;

    ozgi::cls_string m_kind;
    ozgi::cls_string m_serial_id;
    ozgi::cls_string m_root_dir;
};
