#pragma once
// "vesk-cli run --all" on several adb devices at once: one worker per device
// (vesk-cli itself, run --all on that one device, in a child process), all in
// parallel, each device's tests one after the other. Their progress lines are
// shown as they come, prefixed with the serial id; their records come back
// through JSON Lines files and make one JUnit, TAP and JSON Lines report and a
// final table of test x device.
#include "cli/cls_cli_options.h"
#include "devices/cls_vesk_run_record.h"
#include "ozgi/cls_array.h"
#include "ozgi/cls_process.h"
#include "ozgi/cls_sp.h"
#include "ozgi/cls_string.h"

class cls_cli_fleet {
public:
    /// Runs the options' run --all on every device they name; returns the exit
    /// status: 0 only when every test passed on every device.
    static int run(const cls_cli_options& options);

    /// The table of test x device for `records` (tests in the order they first
    /// appear, devices in `serials`' order; "-" where a test did not run on a
    /// device), and a summary line.
    static ozgi::cls_string matrix(const ozgi::cls_array<ozgi::cls_sp<cls_vesk_run_record>>& records,
                                   const ozgi::cls_array<ozgi::cls_string>& serials);

private:
    /// One device's worker.
    struct worker_t {
        ozgi::cls_string serial_id;
        ozgi::cls_string json_path;
        ozgi::cls_process* process = nullptr;
        ozgi::cls_string partial_line;
        bool ended = false;
        int status = 0;
    };

    /// The worker's command line for `serial_id`, its records going to `json_path`.
    static ozgi::cls_array<ozgi::cls_string> worker_argv(const cls_cli_options& options,
                                                         const ozgi::cls_string& serial_id,
                                                         const ozgi::cls_string& json_path);
    /// Shows the complete lines of `piece` (after what is left of the last one),
    /// each after the worker's serial id.
    static void show_progress(worker_t* worker, const ozgi::cls_string& piece, int serial_width);
    /// Reads the records the worker wrote and removes its file; when it wrote
    /// none, one ERROR record saying how the worker ended.
    static void collect(worker_t* worker, ozgi::cls_array<ozgi::cls_sp<cls_vesk_run_record>>* records);
};
