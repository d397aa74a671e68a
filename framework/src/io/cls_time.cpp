#include "ozgi/cls_time.h"

#include <time.h>

#include "ozgi/cls_process.h"
#include "ozgi/cls_stop_signal.h"

namespace ozgi {

namespace {
// Longest single wait of a sleep.
constexpr long long MAX_SLICE_MS = 100;
} // namespace

/// The current monotonic time, or zero.
cls_time::cls_time(bool now) : m_ms(now ? now_ms() : 0) {}

/// Milliseconds from this time to now.
long long cls_time::elapsed_ms() const { return now_ms() - m_ms; }

/// The monotonic clock in milliseconds; it never jumps with the wall clock.
long long cls_time::now_ms() {
    struct timespec ts;
    ::clock_gettime(CLOCK_MONOTONIC, &ts);
    return static_cast<long long>(ts.tv_sec) * 1000 + ts.tv_nsec / 1000000;
}

/// localtime_r with the zone's offset from tm_gmtoff, printed as +HH:MM.
cls_string cls_time::wall_clock_iso8601() {
    struct timespec ts;
    ::clock_gettime(CLOCK_REALTIME, &ts);
    struct tm local;
    ::localtime_r(&ts.tv_sec, &local);
    long offset_min = local.tm_gmtoff / 60;
    char sign = offset_min < 0 ? '-' : '+';
    if (offset_min < 0) offset_min = -offset_min;
    cls_string text;
    text.print("%04d-%02d-%02dT%02d:%02d:%02d.%03ld%c%02ld:%02ld", local.tm_year + 1900, local.tm_mon + 1, local.tm_mday,
               local.tm_hour, local.tm_min, local.tm_sec, ts.tv_nsec / 1000000, sign, offset_min / 60, offset_min % 60);
    return text;
}

/// Sleeps in poll() on the children's pipes, so their output keeps flowing into
/// memory and ended children are reaped while the program waits.
void cls_time::sleep_ms(int ms) {
    long long deadline = now_ms() + (ms > 0 ? ms : 0);
    for (;;) {
        // A stop signal ends the program even from a sleep; slices keep one that
        // lands just before a poll from waiting out a long sleep.
        cls_stop_signal::end_if_received();
        long long left = deadline - now_ms();
        cls_process::pump(left > 0 ? static_cast<int>(left < MAX_SLICE_MS ? left : MAX_SLICE_MS) : 0);
        if (left <= 0 || now_ms() >= deadline) return;
    }
}

} // namespace ozgi
