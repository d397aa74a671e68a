#include "ui/gui_clock.h"

#include <ctime>

namespace ozgi {

long long gui_now_ms() {
    timespec ts;
    clock_gettime(CLOCK_MONOTONIC, &ts);
    return static_cast<long long>(ts.tv_sec) * 1000 + ts.tv_nsec / 1000000;
}

} // namespace ozgi
