#pragma once
// Ending the process groups of running children. Every cls_process child leads
// its own group, so ending the group ends the child and everything it started.
// For programs that must stop a child they do not hold the object of (a device
// keeps its test's process to itself) and that run one child at a time.

namespace ozgi {

class cls_process_group {
public:
    /// The signals a group is ended with, mildest first.
    enum signal_t { SIGNAL_INTERRUPT, SIGNAL_TERMINATE, SIGNAL_KILL };

    /// Writes the process group ids of the children that are running now (at most
    /// `max`) to `groups` and returns how many were written.
    static int running_groups(int* groups, int max);
    /// Sends `signal` to every member of `group`; nothing when it has none.
    static void send(int group, signal_t signal);
    /// Whether any process of `group` is still there (an ended child that is not
    /// reaped yet counts).
    static bool alive(int group);
    /// Ends the groups: SIGINT first, SIGTERM to those still alive after
    /// `grace_ms`, SIGKILL after another `grace_ms`. Waits (draining the children's
    /// output and reaping them, like cls_time::sleep_ms) until no member of any
    /// group is left, at most `grace_ms` after the SIGKILL. Returns the signal
    /// that was sent last.
    static signal_t end_groups(const int* groups, int count, int grace_ms);
};

} // namespace ozgi
