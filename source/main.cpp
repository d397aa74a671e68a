#include "app/vesk_options.h"
#include "ozgi/cls_ozgi_gui.h"
#include "ozgi/if_main.h"

namespace {

// The program's main function, run by the framework once it is set up.
int vesk_main() {
    int result = parse_options();
    if (result != 0) return result;
    return ozgi::cls_ozgi_gui::ins()->start_gui();
}

} // namespace

int main(int, char**, char**) { return ozgi::if_main::main_func(vesk_main); }
