#pragma once
// A child process with its standard output captured through a pipe. Standard
// error is inherited. The child leads its own process group, so an interrupt
// reaches a script and everything it started.
#include "ozgi/cls_array.h"
#include "ozgi/cls_sp.h"
#include "ozgi/cls_string.h"

namespace ozgi {

class cls_process {
public:
    /// Starts argv[0] (searched on PATH when it has no "/") with the arguments, in
    /// `work_dir` (empty: the program's own). A program that cannot be started
    /// ends at once with status 127 and no output.
    cls_process(const cls_array<cls_string>& argv, const cls_string& work_dir);
    /// Leaves a running child running (no signal); it is still reaped later, so
    /// no zombie outlives the next poll of the program's loop.
    ~cls_process();
    cls_process(const cls_process&) = delete;
    cls_process& operator=(const cls_process&) = delete;

    /// Bounds what is held of the standard output between two read_to_str calls to
    /// about `limit` bytes (0, the default: up to 1 GiB). With `keep_tail` the
    /// child is never held up: beyond the limit the oldest output is dropped and
    /// counted (dropped_bytes), and read_to_str hands out at most `limit` bytes,
    /// beginning with a line when the newest `limit` bytes hold a line start
    /// after a drop. Without it, reading stops at the limit until read_to_str,
    /// so a child that writes faster than the caller reads waits at its pipe.
    /// It takes effect only before any output was read (right after the start,
    /// before anything pumps); later calls change nothing.
    void set_output_limit(int limit, bool keep_tail);
    /// Bytes of standard output dropped (see set_output_limit), in all, before
    /// the output read_to_str has handed out so far.
    long long dropped_bytes() const;
    /// The output that arrived since the previous call; never blocks. The string
    /// is reused for later output once the caller has let go of it, so a caller
    /// that drops it before it waits again saves the memory a new one would take.
    cls_sp<cls_string> read_to_str();
    /// Whether the child has ended; never blocks. Once true, everything the child
    /// wrote is held for read_to_str. A call that itself collected output and saw
    /// the end answers false that once, so reading before each call loses nothing.
    bool is_ended();
    /// Waits for the end and returns the exit status (128 + signal for a child
    /// ended by a signal). Output that arrives meanwhile is kept for read_to_str.
    int wait_for_exit();
    /// Sends SIGINT to the child's process group. For a few seconds after, the
    /// group is watched for a member that missed the signal while it was being
    /// forked by a shell (see watch_interrupt in the source); only such a member is
    /// interrupted once more.
    void send_int_signal();
    int pid() const { return m_pid; }

    /// Runs a command line through /bin/sh -c and returns its standard output.
    static cls_sp<cls_string> execute_cmd(const cls_string& command_line);
    /// Runs argv to completion and returns its standard output.
    static cls_sp<cls_string> execute_cmd(const cls_array<cls_string>& argv);
    /// Runs argv to completion, fills the outputs that are not null, returns the exit status.
    static int execute_cmd(const cls_array<cls_string>& argv, cls_string* out, cls_string* err);

    /// Waits up to `timeout_ms` for output on the pipes of all live children (0: only
    /// what is there now; -1: until some pipe has data, at once when there is no
    /// pipe), drains them, notes children that ended and reaps ended children whose
    /// objects were destroyed. The event loop and cls_time::sleep_ms call it. Like
    /// every process operation it belongs to one thread, the GUI thread.
    static void pump(int timeout_ms);
    /// Ends every child that still runs, for a program that is being ended: SIGTERM
    /// to each one's process group, up to `grace_ms` for the groups to end, then
    /// SIGKILL to what is left; the children are reaped. Like pump it belongs to
    /// the GUI thread.
    static void stop_all(int grace_ms);
    /// Read ends of all live children's pipes, for a loop that polls them itself.
    /// Returns the number written to `fds` (at most `max`).
    static int pipe_fds(int* fds, int max);
    /// Process ids of all live children (started and not yet ended and reaped), for
    /// a program that must signal a child whose object it does not hold. Returns
    /// the number written to `pids` (at most `max`).
    static int live_pids(int* pids, int max);

private:
    /// Starts the child, capturing its standard error as well when `capture_err`.
    cls_process(const cls_array<cls_string>& argv, const cls_string& work_dir, bool capture_err);

    struct impl_t;
    impl_t* m_impl;
    int m_pid;
};

} // namespace ozgi
