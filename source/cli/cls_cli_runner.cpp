#include "cli/cls_cli_runner.h"

#include "devices/cls_vesk_device.h"
#include "ozgi/cls_process_group.h"
#include "ozgi/cls_stop_signal.h"
#include "ozgi/cls_time.h"

using ozgi::cls_array;
using ozgi::cls_process_group;
using ozgi::cls_string;
using ozgi::cls_time;

namespace {
// The pause between two looks at the test. Sleeping drains its output meanwhile,
// so a short pause costs nothing but wake-ups.
const int POLL_MS = 20;
const int TICK_MS = 100;
// More groups than this cannot be running: the runner starts one test at a time.
const int MAX_GROUPS = 16;

// The device whose test runs now, for the stop-signal cleanup (which takes no context).
if_vesk_device* s_running = nullptr;

void end_running_test() {
    if (s_running) s_running->end_test(cls_cli_runner::GRACE_MS);
}
// More output than this in one piece is read again without a pause (a pause
// per piece of this size still lets a writer of 3 MB/s through unhindered).
const int FAST_PIECE = 64 * 1024;
} // namespace

cls_cli_runner::result_t cls_cli_runner::run(if_vesk_device* device, const cls_string& dir_path,
                                             const cls_array<cls_string>& cmd, long long timeout_ms,
                                             if_observer* observer) {
    result_t result;
    long long start = cls_time::now_ms();
    long long next_tick = start + TICK_MS;
    // The adb device finds the test's exit status only in the piece it reads when
    // it first sees adb ended; a piece read earlier that already held the status
    // line would cost the status. Its output is therefore read once adb is gone
    // (it waits in memory meanwhile), and is not streamed.
    bool read_at_end = device->kind() == if_vesk_device::KIND_ADB;
    // At most the output limit waits in memory. Output that is passed on as it
    // comes is all kept: a test that writes faster than it is passed on waits at
    // its pipe. Output read only at the end keeps its newest part, and says
    // how much went before it.
    int limit = cls_vesk_device::output_limit();
    device->set_output_bound(limit, read_at_end);
    long long dropped = 0;
    device->exec_test(dir_path, cmd);
    // If vesk-cli itself is stopped meanwhile, the test goes first, where it runs.
    s_running = device;
    ozgi::cls_stop_signal::set_cleanup(end_running_test);
    for (;;) {
        int groups[MAX_GROUPS];
        bool more_waiting = false;
        if (!read_at_end || cls_process_group::running_groups(groups, MAX_GROUPS) == 0) {
            // Read, then ask: the device keeps the last piece for the read after the
            // end is seen, as on the execution page. The piece is let go of before
            // the question, so that its memory takes the next output.
            {
                ozgi::cls_sp<cls_string> piece = device->read_output();
                if (observer && device->dropped_output() > dropped) {
                    dropped = device->dropped_output();
                    cls_string note;
                    observer->on_output(note.print("[... %lld bytes of earlier output dropped ...]\n", dropped));
                }
                if (observer && piece->is_not_empty()) observer->on_output(*piece);
                // A large piece means the test writes fast and may be held up at
                // the limit: it is read again at once instead of after a pause.
                more_waiting = piece->length() >= FAST_PIECE || (piece->is_not_empty() && piece->length() >= limit / 2);
            }
            if (device->is_ended(&result.exit_code)) break;
        }

        long long now = cls_time::now_ms();
        if (observer && now >= next_tick) {
            observer->on_tick(now - start);
            next_tick = now + TICK_MS;
        }
        if (timeout_ms > 0 && !result.timed_out && now - start >= timeout_ms) {
            result.timed_out = true;
            // Where the test runs: locally its process group, over adb the group
            // the remote shell reported, through "adb shell kill".
            device->end_test(GRACE_MS);
            continue;
        }
        if (!more_waiting) cls_time::sleep_ms(POLL_MS);
    }
    ozgi::cls_stop_signal::set_cleanup(nullptr);
    s_running = nullptr;
    return result;
}
