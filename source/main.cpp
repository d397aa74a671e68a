#include <cstdio>

#include "ozgi/if_main.h"

namespace {
int vesk_main() {
    // FIXME: option parsing and the GUI come with the start-up work.
    std::puts("vesk: not yet able to show menus");
    return 0;
}
} // namespace

int main() { return ozgi::if_main::main_func(vesk_main); }
