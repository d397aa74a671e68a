#pragma once
// Time and sleeping. Sleeping also drains the output pipes of running
// cls_process children, so a child that writes fast never blocks on a full pipe
// while the program waits.

#include "ozgi/cls_string.h"

namespace ozgi {

class cls_time {
public:
    /// now true: the current time; false: zero.
    explicit cls_time(bool now = true);
    /// Milliseconds on a monotonic clock.
    long long ms() const { return m_ms; }
    /// Milliseconds since this time.
    long long elapsed_ms() const;
    /// The monotonic clock now, in milliseconds.
    static long long now_ms();
    /// The wall-clock time now as ISO 8601 local time with milliseconds and the
    /// zone's offset, e.g. "2026-11-23T01:02:03.456+01:00", for records that
    /// outlive the program (the monotonic clock means nothing elsewhere).
    static cls_string wall_clock_iso8601();
    /// Sleeps `ms` milliseconds while draining child-process output.
    static void sleep_ms(int ms);

private:
    long long m_ms;
};

} // namespace ozgi
