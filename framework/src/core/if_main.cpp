#include "ozgi/if_main.h"

#include <cstdio>

#include "ozgi/cls_app_data.h"
#include "ozgi/cls_input_args.h"
#include "ozgi/cls_singleton_mgr.h"
#include "ozgi/cls_stop_signal.h"

namespace ozgi {

int if_main::main_func(int (*main)()) {
    // Read the command line and the initial language before the program runs.
    cls_input_args::ins();
    cls_app_data::ins();
    int result = main();
    std::fflush(stdout);
    cls_singleton_mgr::release_all();
    // A program stopped by a signal ends by it, once everything is released.
    cls_stop_signal::end_if_received();
    return result;
}

} // namespace ozgi
