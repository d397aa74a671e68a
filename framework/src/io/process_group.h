#pragma once
// What Linux shows in /proc about the process group of a child: its members,
// how each handles SIGINT, and which program each runs. The interrupt of a test
// needs it to find a member that lost the group's signal, the program's end to
// find members still running.
#include <string>
#include <vector>

namespace ozgi {

/// One live member of a process group.
struct group_member_t {
    int pid;
    /// SIGINT neither caught, ignored, blocked nor pending: one that reached it would have ended it.
    bool sigint_default;
    /// The program file it runs ("" when it cannot be read).
    std::string exe;
};

/// The members of the process group `pgid` that have not ended (zombies left out).
std::vector<group_member_t> list_process_group(int pgid);

/// Whether the pid `pid` had been handed out when last_created_pid returned
/// `last_pid_before` (pids count up and wrap around).
bool created_by(int pid, int last_pid_before);

/// The pid most recently given to a new process, or -1 when it cannot be read.
int last_created_pid();

} // namespace ozgi
