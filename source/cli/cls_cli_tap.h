#pragma once
// TAP version 13 for the runs of "vesk-cli run": the plan, one "ok" or
// "not ok" line per test and device, and YAML diagnostics with the result, the
// exit code and the tail of the output.
#include "devices/cls_vesk_run_record.h"
#include "ozgi/cls_array.h"
#include "ozgi/cls_sp.h"
#include "ozgi/cls_string.h"

class cls_cli_tap {
public:
    /// Lines of the output's end that the diagnostics show.
    static const int TAIL_LINES = 20;

    /// The document for `records`, in their order; `by_device`: each line names
    /// the serial id before the test.
    static ozgi::cls_string document(const ozgi::cls_array<ozgi::cls_sp<cls_vesk_run_record>>& records,
                                     bool by_device);

private:
    /// The YAML block of one record, indented by two blanks.
    static ozgi::cls_string diagnostics(const cls_vesk_run_record& record);
};
