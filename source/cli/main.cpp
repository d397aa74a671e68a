// vesk-cli: the companion program that checks a menu, lists it and runs its
// tests without a screen, on the same framework and devices as vesk.
#include "cli/cls_cli_check_cmd.h"
#include "cli/cls_cli_fleet.h"
#include "cli/cls_cli_list_cmd.h"
#include "cli/cls_cli_menu.h"
#include "cli/cls_cli_options.h"
#include "cli/cls_cli_run_cmd.h"

#include <cstdio>

#include "ozgi/cls_input_args.h"
#include "ozgi/if_main.h"

namespace {

int vesk_cli_main() {
    cls_cli_options options;
    ozgi::cls_string error;
    if (!options.parse(ozgi::cls_input_args::ins()->args(), &error)) {
        std::fprintf(stderr, "vesk-cli: %s\n", error.c_str());
        cls_cli_options::print_usage(stderr);
        return cls_cli_options::USAGE_ERROR;
    }
    if (options.help) {
        cls_cli_options::print_usage(stdout);
        return 0;
    }
    // Several devices: one worker per device, each building its own menu.
    if (options.command == "run" && options.several_devices()) return cls_cli_fleet::run(options);
    cls_cli_menu menu(options);
    if (options.command == "list") return cls_cli_list_cmd::run(options, menu);
    if (options.command == "check") return cls_cli_check_cmd::run(options, menu);
    return cls_cli_run_cmd::run(options, menu);
}

} // namespace

int main(int, char**, char**) { return ozgi::if_main::main_func(vesk_cli_main); }
