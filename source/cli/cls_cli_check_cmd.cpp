#include "cli/cls_cli_check_cmd.h"

#include <cstdio>

#include "cli/cls_cli_arg_check.h"
#include "cli/cls_cli_help.h"
#include "cli/cls_cli_menu_check.h"

using ozgi::cls_array;
using ozgi::cls_string;

namespace {

// Prints one finding and counts it.
void report(const cls_string& path, const cls_cli_problem& problem, int* errors, int* warnings) {
    cls_string text = problem.format(path);
    std::fwrite(text.c_str(), 1, static_cast<size_t>(text.length()), stdout);
    std::fflush(stdout);
    ++*(problem.error ? errors : warnings);
}

// The problems of one test's help text.
void check_test(const cls_cli_options& options, const cls_cli_menu& menu, const cls_cli_menu::test_t& test,
                cls_array<cls_cli_problem>* problems) {
    cls_cli_help help;
    if (!help.fetch(menu.device(), test, options.help_timeout_s)) {
        cls_string text;
        text.print("--help did not end within %d s (the panel would wait for it forever); its process group was "
                   "killed",
                   options.help_timeout_s);
        problems->append(cls_cli_problem(true, text));
        return;
    }
    if (help.exit_code() != 0) {
        cls_string text;
        text.print("--help exits with %d: the panel shows no arguments", help.exit_code());
        problems->append(cls_cli_problem(false, text));
        return;
    }
    if (!help.usable()) {
        cls_string first = help.text().sub_str(0, help.text().find('\n'));
        first.trim_to_str("\r", false, true);
        problems->append(cls_cli_problem(false, "--help does not start with \"Usage:\": the panel shows no arguments",
                                         first, 0));
        return;
    }
    cls_array<cls_vesk_device::arg_info_t> args;
    cls_array<cls_string> lines;
    help.parse(&args, &lines, problems);
    cls_cli_arg_check::check(args, lines, problems);
}

} // namespace

int cls_cli_check_cmd::run(const cls_cli_options& options, const cls_cli_menu& menu) {
    int errors = 0;
    int warnings = 0;

    cls_array<cls_cli_menu_check::finding_t> findings;
    cls_cli_menu_check::check(menu, &findings);
    for (int i = 0; i < findings.count(); ++i) report(findings[i].path, findings[i].problem, &errors, &warnings);

    cls_array<cls_cli_menu::test_t> tests;
    menu.tests("", &tests);
    int checked = 0;
    for (int i = 0; i < tests.count(); ++i) {
        // A direct test's help is never asked for: it would start the test.
        if (tests[i].direct) continue;
        ++checked;
        cls_array<cls_cli_problem> problems;
        check_test(options, menu, tests[i], &problems);
        for (int p = 0; p < problems.count(); ++p) report(tests[i].path, problems[p], &errors, &warnings);
    }

    std::printf("%d test%s checked, %d error%s, %d warning%s\n", checked, checked == 1 ? "" : "s", errors,
                errors == 1 ? "" : "s", warnings, warnings == 1 ? "" : "s");
    return errors > 0 || (options.werror && warnings > 0) ? 1 : 0;
}
