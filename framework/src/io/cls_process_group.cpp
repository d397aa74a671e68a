#include "ozgi/cls_process_group.h"

#include <cerrno>
#include <csignal>
#include <sys/types.h>

#include "ozgi/cls_process.h"
#include "ozgi/cls_time.h"

namespace ozgi {
namespace {

// How often the groups are looked at while waiting for them to go.
constexpr int POLL_MS = 10;

int signal_number(cls_process_group::signal_t signal) {
    switch (signal) {
    case cls_process_group::SIGNAL_INTERRUPT: return SIGINT;
    case cls_process_group::SIGNAL_TERMINATE: return SIGTERM;
    default: return SIGKILL;
    }
}

bool any_alive(const int* groups, int count) {
    for (int i = 0; i < count; ++i) {
        if (cls_process_group::alive(groups[i])) return true;
    }
    return false;
}

// Waits up to `ms` for every group to be gone; true when they are.
bool wait_gone(const int* groups, int count, int ms) {
    long long deadline = cls_time::now_ms() + ms;
    for (;;) {
        // Sleeping pumps the children, which reaps a group leader that ended;
        // until then its zombie keeps the group alive.
        cls_time::sleep_ms(POLL_MS);
        if (!any_alive(groups, count)) return true;
        if (cls_time::now_ms() >= deadline) return false;
    }
}

} // namespace

/// The groups of the live children; each child leads its own, so its pid is the id.
int cls_process_group::running_groups(int* groups, int max) { return cls_process::live_pids(groups, max); }

/// kill() on the negated id reaches the whole group; ids of 1 or less are never
/// signalled, since -1 and 0 would reach far more than one group.
void cls_process_group::send(int group, signal_t signal) {
    if (group <= 1) return;
    ::kill(-group, signal_number(signal));
}

/// Signal 0 asks whether the group has members without disturbing them; a
/// member we may not signal still exists.
bool cls_process_group::alive(int group) {
    if (group <= 1) return false;
    return ::kill(-group, 0) == 0 || errno == EPERM;
}

/// SIGINT, SIGTERM, SIGKILL, each given `grace_ms` to work.
cls_process_group::signal_t cls_process_group::end_groups(const int* groups, int count, int grace_ms) {
    const signal_t steps[] = {SIGNAL_INTERRUPT, SIGNAL_TERMINATE, SIGNAL_KILL};
    signal_t last = SIGNAL_INTERRUPT;
    for (signal_t step : steps) {
        if (!any_alive(groups, count)) break;
        for (int i = 0; i < count; ++i) send(groups[i], step);
        last = step;
        if (wait_gone(groups, count, grace_ms)) break;
    }
    return last;
}

} // namespace ozgi
