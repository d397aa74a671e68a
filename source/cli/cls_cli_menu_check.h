#pragma once
// The findings about the menu itself rather than one test: its dictionary, names
// the panel cannot show, and (on the local device) symbolic link loops and
// directories that cannot be read.
#include "cli/cls_cli_menu.h"
#include "cli/cls_cli_problem.h"
#include "devices/cls_vesk_dir_chain.h"
#include "ozgi/cls_array.h"
#include "ozgi/cls_string.h"

class cls_cli_menu_check {
public:
    /// A finding with the path (below the menu root) it is about.
    struct finding_t {
        ozgi::cls_string path;
        cls_cli_problem problem;
    };

    /// Appends the findings about `menu` to `out`.
    static void check(const cls_cli_menu& menu, ozgi::cls_array<finding_t>* out);

private:
    static void check_dict(const cls_cli_menu& menu, ozgi::cls_array<finding_t>* out);
    static void check_names(const cls_cli_menu& menu, const cls_vesk_device::menu_tree_node_t* node, const ozgi::cls_string& dir_path,
                            ozgi::cls_array<finding_t>* out);
    static void walk_local(const ozgi::cls_string& dir, const ozgi::cls_string& rel,
                           cls_vesk_dir_chain* chain, ozgi::cls_array<finding_t>* out);
};
