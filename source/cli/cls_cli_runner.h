#pragma once
// Runs one command of a test on the device and waits for it, with an optional
// time limit after which the test's whole process group is ended where it runs
// (on the target too): SIGINT, then SIGTERM after 2 s, then SIGKILL after 2 s more.
#include "devices/if_vesk_device.h"
#include "ozgi/cls_array.h"
#include "ozgi/cls_string.h"

class cls_cli_runner {
public:
    /// Grace between the signals that end a test that ran out of time.
    static const int GRACE_MS = 2000;

    /// Told what happens during a run.
    class if_observer {
    public:
        virtual ~if_observer() {}
        /// A piece of the test's output (never empty).
        virtual void on_output(const ozgi::cls_string& piece) = 0;
        /// About ten times a second while the test runs, with the time since its start.
        virtual void on_tick(long long elapsed_ms) = 0;
    };

    /// How a run ended.
    struct result_t {
        int exit_code;
        bool timed_out;
        result_t() : exit_code(0), timed_out(false) {}
    };

    /// Starts `cmd` (the test's path below the root, then its words) in `dir_path`
    /// on `device` and waits for its end. `timeout_ms` 0: no limit. `observer` may be null.
    /// When SIGINT or SIGTERM is caught meanwhile (cls_stop_signal), the test is
    /// ended as after a timeout and then the program ends by that signal.
    static result_t run(if_vesk_device* device, const ozgi::cls_string& dir_path,
                        const ozgi::cls_array<ozgi::cls_string>& cmd, long long timeout_ms, if_observer* observer);
};
