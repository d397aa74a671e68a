#pragma once
// JUnit XML for the runs of "vesk-cli run": one testsuite per sub-menu (the
// tests of the menu root form the suite "(root)"), each test's output in
// system-out, a failure with the exit code for FAIL, an error for TIMEOUT and
// ERROR. Runs on several devices: one testsuite per device and sub-menu, named
// "SERIAL/SUB-MENU".
#include "devices/cls_vesk_run_record.h"
#include "ozgi/cls_array.h"
#include "ozgi/cls_sp.h"
#include "ozgi/cls_string.h"

class cls_cli_junit {
public:
    /// The document for `records` (in run order; suites in the order they first
    /// appear); `by_device`: the suites are per device too.
    static ozgi::cls_string document(const ozgi::cls_array<ozgi::cls_sp<cls_vesk_run_record>>& records,
                                     bool by_device = false);
    /// The suite a test belongs to: its directory below the root, or "(root)".
    static ozgi::cls_string suite_of(const ozgi::cls_string& test_path);

private:
    static ozgi::cls_string test_case(const cls_vesk_run_record& record, const ozgi::cls_string& suite);
    /// The suite of `record`: suite_of its test, after "SERIAL/" when `by_device`.
    static ozgi::cls_string suite_key(const cls_vesk_run_record& record, bool by_device);
};
