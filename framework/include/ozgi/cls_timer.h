#pragma once
// An invisible item that fires "timer" every `interval` milliseconds, `repeat`
// times (-1: until stopped), once started. Timers fire on the GUI thread from the
// event loop; a layout never starts one by itself.
#include "ozgi/cls_event_handler.h"

namespace ozgi {

class cls_timer : public cls_event_handler {
public:
    cls_timer();
    ~cls_timer() override;

    /// Starts the timer: the first "timer" comes one interval from now. A running
    /// timer is restarted (period and count from now) when `restart` is true and
    /// left as it is when false.
    void start(bool restart);
    /// Stops the timer; with `forget_count` true the count of fired events is reset.
    void stop(bool forget_count);
    bool is_running() const { return m_running; }
    int interval() const { return m_interval; }
    void set_interval(int ms) { m_interval = ms; }
    int repeat() const { return m_repeat; }
    void set_repeat(int count) { m_repeat = count; }
    /// How many times the timer has fired since it was started.
    int fired_count() const { return m_fired; }
    /// When the next "timer" is due (monotonic milliseconds); only while running.
    long long due_ms() const { return m_due_ms; }
    /// Fires "timer" when due at `now_ms` and schedules the next one (the loop calls it).
    void fire_if_due(long long now_ms);

    attr_result_t apply_attr(const cls_string& name, const cls_string& value) override;

private:
    int m_interval;
    int m_repeat;
    int m_fired;
    long long m_due_ms;
    bool m_running;
};

} // namespace ozgi
