#pragma once
// "vesk-cli check": every non-direct test's help run with a time limit and
// judged as the panel would meet it, plus the findings about the menu itself.
#include "cli/cls_cli_menu.h"
#include "cli/cls_cli_options.h"

class cls_cli_check_cmd {
public:
    /// Prints the findings and a summary; returns 0 without errors (and, with
    /// --werror, without warnings), else 1.
    static int run(const cls_cli_options& options, const cls_cli_menu& menu);
};
