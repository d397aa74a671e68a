#pragma once
// "vesk-cli run": one test with its help's defaults and the given values, its
// output streamed; or every test below a prefix, unattended, with progress, a
// final table and optional JUnit XML and JSON Lines files.
#include "cli/cls_cli_menu.h"
#include "cli/cls_cli_options.h"
#include "devices/cls_vesk_run_record.h"
#include "ozgi/cls_array.h"
#include "ozgi/cls_sp.h"
#include "ozgi/cls_string.h"

class cls_cli_run_cmd {
public:
    /// Exit status of a single run that ran out of time (as timeout(1) uses).
    static const int TIMEOUT_STATUS = 124;

    /// Runs PATH or --all as the options say; returns the exit status. (Runs on
    /// several devices go to cls_cli_fleet before a menu is built.)
    static int run(const cls_cli_options& options, const cls_cli_menu& menu);

private:
    static int run_one(const cls_cli_options& options, const cls_cli_menu& menu);
    static int run_all(const cls_cli_options& options, const cls_cli_menu& menu);
    /// The test's argument words from its help (defaults, then `options`' values
    /// when `use_overrides`). False with the reason in `why` when the help cannot
    /// be used as the panel would use it or a value is refused.
    static bool test_words(const cls_cli_options& options, const cls_cli_menu& menu, const cls_cli_menu::test_t& test,
                           bool use_overrides, ozgi::cls_array<ozgi::cls_string>* words, ozgi::cls_string* why);
public:
    /// Writes the JUnit and TAP files that were asked for (`by_device`: runs on
    /// several devices); false when one cannot be written (the other is still written).
    static bool write_reports(const cls_cli_options& options,
                              const ozgi::cls_array<ozgi::cls_sp<cls_vesk_run_record>>& records, bool by_device);
    /// Appends the record to the JSON Lines file, if one was asked for. The file
    /// is never emptied: the panel's result log may share it.
    static bool write_json(const cls_cli_options& options, const cls_vesk_run_record& record);
    /// "12.34 s".
    static ozgi::cls_string seconds(long long ms);
    /// Writes "vesk-cli: TEXT" to standard error.
    static void error_line(const ozgi::cls_string& text);
};
