#pragma once
// Time and sleeping. Sleeping also drains the output pipes of running
// cls_process children, so a child that writes fast never blocks on a full pipe
// while the program waits.

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
    /// Sleeps `ms` milliseconds while draining child-process output.
    static void sleep_ms(int ms);

private:
    long long m_ms;
};

} // namespace ozgi
