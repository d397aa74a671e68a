#include "app/vesk_options.h"
#include "ozgi/cls_ozgi_gui.h"
#include "ozgi/if_main.h"

// Fatal reports that throw are for the fuzzing harnesses only; the program must
// end on every one of them.
#ifdef OZGI_FATAL_THROWS
#error "vesk is never built with OZGI_FATAL_THROWS"
#endif

namespace {

// The program's main function, run by the framework once it is set up.
int vesk_main() {
    int result = parse_options();
    if (result != 0) return result;
    return ozgi::cls_ozgi_gui::ins()->start_gui();
}

} // namespace

int main(int, char**, char**) { return ozgi::if_main::main_func(vesk_main); }
