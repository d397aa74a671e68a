#pragma once
// SIGTERM and SIGINT end a program on the framework cleanly. While they are
// caught (the GUI catches them while it runs) the handler only notes the signal
// and makes a pipe readable, which wakes the event loop; the loop then ends as by
// quit. A wait outside the loop (a page that waits for a process in its init)
// cannot return to it and ends the program itself through end_if_received.
// Either way running tests are stopped, the display is given back, and the
// program ends by the signal that arrived, as a caller of the program expects.

namespace ozgi {

class cls_stop_signal {
public:
    /// Catches SIGTERM and SIGINT from now on, until release_signals.
    static void catch_signals();
    /// Gives both signals their earlier handling back; a signal that arrived stays noted.
    static void release_signals();
    /// The signal that arrived since the first catch_signals (SIGTERM or SIGINT), or 0.
    static int received();
    /// A descriptor that is readable once a signal has arrived (-1 before the
    /// first catch_signals), for waits to watch besides their own.
    static int wake_fd();
    /// What end_if_received runs before the process ends, e.g. stopping running
    /// tests and giving the display back; null: nothing. The cleanup may wait
    /// (sleep_ms, wait_for_exit): while it runs, end_if_received returns at once.
    static void set_cleanup(void (*cleanup)());
    /// When a signal has arrived: runs the cleanup, flushes standard output and
    /// ends the process by that signal; otherwise returns at once.
    static void end_if_received();
};

} // namespace ozgi
