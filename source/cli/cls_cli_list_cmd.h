#pragma once
// "vesk-cli list": the menu tree as the panel shows it, drawn as a tree or as JSON.
#include "cli/cls_cli_menu.h"
#include "cli/cls_cli_options.h"

class cls_cli_list_cmd {
public:
    /// Prints the tree; returns the exit status (0).
    static int run(const cls_cli_options& options, const cls_cli_menu& menu);

private:
    static void draw(const cls_cli_menu& menu, const cls_vesk_device::menu_tree_node_t* node, const ozgi::cls_string& indent,
                     const ozgi::cls_string& language, ozgi::cls_string* out);
    static void json(const cls_cli_menu& menu, const cls_vesk_device::menu_tree_node_t* node, const ozgi::cls_string& path,
                     const ozgi::cls_string& language, ozgi::cls_string* out);
};
