#pragma once
// A test's help text: fetched with a time limit (the panel waits without one)
// and parsed into argument records as the device singleton parses it, but with
// every refused line reported instead of ending the program.
#include "cli/cls_cli_menu.h"
#include "cli/cls_cli_problem.h"
#include "devices/cls_vesk_device.h"
#include "ozgi/cls_array.h"
#include "ozgi/cls_string.h"

class cls_cli_help {
public:
    /// Runs the test with "--help", at most `timeout_s` seconds (then its process
    /// group is ended). Returns false when it ran out of time.
    bool fetch(if_vesk_device* device, const cls_cli_menu::test_t& test, int timeout_s);

    /// The text the help run printed.
    const ozgi::cls_string& text() const { return m_text; }
    /// Its exit code.
    int exit_code() const { return m_exit_code; }
    /// Whether the panel would read arguments from it: exit code 0 and "Usage:" first.
    bool usable() const;

    /// Parses the argument lines as the panel does. Refused lines go to
    /// `problems` as errors with the panel's message and caret; false when there
    /// was one (the panel would end there). The records, and the line each came
    /// from, go to `args` and `lines`.
    bool parse(ozgi::cls_array<cls_vesk_device::arg_info_t>* args, ozgi::cls_array<ozgi::cls_string>* lines,
               ozgi::cls_array<cls_cli_problem>* problems) const;

private:
    ozgi::cls_string m_text;
    int m_exit_code = 0;
};
