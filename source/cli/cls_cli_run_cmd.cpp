#include "cli/cls_cli_run_cmd.h"

#include <cstdio>

#include "cli/cls_cli_arg_check.h"
#include "cli/cls_cli_devices.h"
#include "cli/cls_cli_help.h"
#include "cli/cls_cli_junit.h"
#include "cli/cls_cli_runner.h"
#include "cli/cls_cli_tap.h"
#include "devices/cls_vesk_text_escape.h"
#include "ozgi/cls_file.h"
#include "ozgi/cls_mem_mgr.h"
#include "ozgi/cls_stop_signal.h"
#include "ozgi/cls_terminal.h"

using ozgi::cls_array;
using ozgi::cls_sp;
using ozgi::cls_string;
typedef cls_vesk_device::arg_info_t arg_info_t;

namespace {

// Output kept of each test for JUnit's system-out: its beginning and its end.
const int JUNIT_KEPT_BYTES = 256 * 1024;

cls_string seconds(long long ms) { return cls_cli_run_cmd::seconds(ms); }

// Streams a single test's output to standard output and keeps it in the record.
class stream_sink : public cls_cli_runner::if_observer {
public:
    explicit stream_sink(cls_vesk_run_record* record) : m_record(record) {}
    void on_output(const cls_string& piece) override {
        std::fwrite(piece.c_str(), 1, static_cast<size_t>(piece.length()), stdout);
        std::fflush(stdout);
        m_record->add_output(piece);
    }
    void on_tick(long long) override {}

private:
    cls_vesk_run_record* m_record;
};

// Keeps a test's output in its record and, on a terminal, redraws its progress line.
class progress_sink : public cls_cli_runner::if_observer {
public:
    progress_sink(cls_vesk_run_record* record, const cls_string& head, bool terminal)
        : m_record(record), m_head(head), m_terminal(terminal), m_turn(0) {}
    void on_output(const cls_string& piece) override { m_record->add_output(piece); }
    void on_tick(long long elapsed_ms) override {
        if (!m_terminal) return;
        static const char SPINNER[] = "|/-\\";
        cls_string line;
        line.print("\r\033[K%s  %s  %c", m_head.c_str(), seconds(elapsed_ms).c_str(), SPINNER[m_turn++ % 4]);
        ozgi::cls_terminal::write_stdout(line.c_str());
    }

private:
    cls_vesk_run_record* m_record;
    cls_string m_head;
    bool m_terminal;
    int m_turn;
};

} // namespace

void cls_cli_run_cmd::error_line(const cls_string& text) { std::fprintf(stderr, "vesk-cli: %s\n", text.c_str()); }

cls_string cls_cli_run_cmd::seconds(long long ms) {
    cls_string s;
    return s.print("%lld.%02lld s", ms / 1000, ms % 1000 / 10);
}

int cls_cli_run_cmd::run(const cls_cli_options& options, const cls_cli_menu& menu) {
    // A Ctrl-C or SIGTERM ends the running test where it runs (also on the
    // target) before vesk-cli ends; the test leads its own process group, so the
    // terminal's signal would not reach it.
    ozgi::cls_stop_signal::catch_signals();
    return options.all ? run_all(options, menu) : run_one(options, menu);
}

bool cls_cli_run_cmd::test_words(const cls_cli_options& options, const cls_cli_menu& menu,
                                 const cls_cli_menu::test_t& test, bool use_overrides, cls_array<cls_string>* words,
                                 cls_string* why) {
    cls_array<arg_info_t> args;
    if (!test.direct) {
        cls_cli_help help;
        if (!help.fetch(menu.device(), test, options.help_timeout_s)) {
            why->print("%s: --help did not end within %d s", test.path.c_str(), options.help_timeout_s);
            return false;
        }
        // Like the panel, a help text it cannot use means a test without arguments.
        if (help.usable()) {
            cls_array<cls_string> lines;
            cls_array<cls_cli_problem> problems;
            if (!help.parse(&args, &lines, &problems)) {
                *why = test.path + ": the panel would refuse its help (see vesk-cli check):\n";
                for (int i = 0; i < problems.count(); ++i) *why += problems[i].format(test.path);
                why->trim_to_str("\n", false, true);
                return false;
            }
        }
    }
    if (use_overrides) {
        for (int o = 0; o < options.override_names.count(); ++o) {
            const cls_string& name = options.override_names[o];
            arg_info_t* arg = nullptr;
            for (int i = 0; i < args.count() && !arg; ++i) {
                if (args[i].arg_name == name) arg = &args[i];
            }
            if (!arg) {
                cls_string known;
                for (int i = 0; i < args.count(); ++i) known += (i ? ", --" : "--") + args[i].arg_name;
                why->print("%s has no argument --%s (it takes: %s)", test.path.c_str(), name.c_str(),
                           known.is_empty() ? "none" : known.c_str());
                return false;
            }
            cls_string reason;
            if (!cls_cli_arg_check::value_ok(*arg, options.override_values[o], &reason)) {
                why->print("--%s=%s: %s", name.c_str(), options.override_values[o].c_str(), reason.c_str());
                return false;
            }
            arg->default_value = options.override_values[o];
        }
    }
    // Every argument is passed, also one that keeps its default, as the panel does.
    cls_vesk_device::arg_words(args, words);
    return true;
}

bool cls_cli_run_cmd::write_json(const cls_cli_options& options, const cls_vesk_run_record& record) {
    if (options.json_file.is_empty()) return true;
    cls_string why;
    if (ozgi::cls_file::append_whole(options.json_file, record.to_json(), &why)) return true;
    error_line(cls_string("can't write ") + options.json_file + ": " + why);
    return false;
}

bool cls_cli_run_cmd::write_reports(const cls_cli_options& options,
                                    const cls_array<cls_sp<cls_vesk_run_record>>& records, bool by_device) {
    bool written = true;
    if (options.junit_file.is_not_empty() &&
        !ozgi::cls_file::write_str(options.junit_file, cls_cli_junit::document(records, by_device))) {
        error_line(cls_string("can't write ") + options.junit_file);
        written = false;
    }
    if (options.tap_file.is_not_empty() &&
        !ozgi::cls_file::write_str(options.tap_file, cls_cli_tap::document(records, by_device))) {
        error_line(cls_string("can't write ") + options.tap_file);
        written = false;
    }
    return written;
}

int cls_cli_run_cmd::run_one(const cls_cli_options& options, const cls_cli_menu& menu) {
    cls_cli_menu::test_t test;
    if (!menu.find_test(options.path, &test)) {
        error_line(cls_string("no test ") + options.path + " in the menu (see vesk-cli list)");
        return cls_cli_options::USAGE_ERROR;
    }
    cls_array<cls_string> words;
    cls_string why;
    if (!test_words(options, menu, test, true, &words, &why)) {
        error_line(why);
        return cls_cli_options::USAGE_ERROR;
    }
    cls_sp<cls_vesk_run_record> record(OZGI_NEW(cls_vesk_run_record)(JUNIT_KEPT_BYTES));
    record->begin(menu.device_kind(), menu.serial_id(), test.path, words);
    stream_sink sink(record.get());
    cls_array<cls_string> cmd;
    cmd.append(test.path);
    for (int i = 0; i < words.count(); ++i) cmd.append(words[i]);
    cls_cli_runner::result_t result = cls_cli_runner::run(menu.device(), test.dir_path, cmd,
                                                          static_cast<long long>(options.timeout_s) * 1000, &sink);
    record->finish(result.exit_code, cls_vesk_run_record::result_of_run(result.exit_code, result.timed_out));

    cls_array<cls_sp<cls_vesk_run_record>> records;
    records.append(record);
    // Both files are written even when the first fails.
    bool json_written = write_json(options, *record);
    bool junit_written = write_reports(options, records, false);
    bool written = json_written && junit_written;
    if (result.timed_out) {
        error_line(test.path + ": timed out after " + seconds(record->duration_ms()));
        return TIMEOUT_STATUS;
    }
    if (!written && result.exit_code == 0) return 1;
    return result.exit_code;
}

int cls_cli_run_cmd::run_all(const cls_cli_options& options, const cls_cli_menu& menu) {
    cls_array<cls_cli_menu::test_t> found;
    menu.tests(options.path, &found);
    cls_array<cls_cli_menu::test_t> tests;
    for (int i = 0; i < found.count(); ++i) {
        if (!found[i].direct || options.with_direct) tests.append(found[i]);
    }
    if (tests.is_empty()) {
        error_line(options.path.is_empty() ? cls_string("the menu holds no tests")
                                           : cls_string("no tests below ") + options.path);
        return cls_cli_options::USAGE_ERROR;
    }
    bool terminal = ozgi::cls_terminal::stdout_is_terminal();
    cls_array<cls_sp<cls_vesk_run_record>> records;
    bool written = true;
    // A target that is no longer there fails every test; its remaining tests are
    // not tried but recorded as errors.
    bool gone = false;
    bool over_adb = menu.device()->kind() == if_vesk_device::KIND_ADB;
    for (int i = 0; i < tests.count(); ++i) {
        const cls_cli_menu::test_t& test = tests[i];
        cls_string head;
        head.print("[%d/%d] %s", i + 1, tests.count(), cls_vesk_text_escape::printable(test.path).c_str());
        if (terminal) ozgi::cls_terminal::write_stdout(head.c_str());

        cls_sp<cls_vesk_run_record> record(OZGI_NEW(cls_vesk_run_record)(JUNIT_KEPT_BYTES));
        cls_array<cls_string> words;
        cls_string why;
        if (gone) {
            record->begin(menu.device_kind(), menu.serial_id(), test.path, words);
            record->add_output(cls_string("the device ") + menu.serial_id() + " is gone: the test was not run\n");
            record->finish(-1, cls_vesk_run_record::RESULT_ERROR);
        } else if (!test_words(options, menu, test, false, &words, &why)) {
            record->begin(menu.device_kind(), menu.serial_id(), test.path, words);
            record->add_output(why + "\n");
            record->finish(-1, cls_vesk_run_record::RESULT_ERROR);
        } else {
            record->begin(menu.device_kind(), menu.serial_id(), test.path, words);
            progress_sink sink(record.get(), head, terminal);
            cls_array<cls_string> cmd;
            cmd.append(test.path);
            for (int w = 0; w < words.count(); ++w) cmd.append(words[w]);
            cls_cli_runner::result_t result = cls_cli_runner::run(
                menu.device(), test.dir_path, cmd, static_cast<long long>(options.timeout_s) * 1000, &sink);
            record->finish(result.exit_code, cls_vesk_run_record::result_of_run(result.exit_code, result.timed_out));
        }
        if (!gone && over_adb && record->result() != cls_vesk_run_record::RESULT_PASS &&
            menu.serial_id().is_not_empty() && !cls_cli_devices::is_ready(menu.serial_id())) {
            gone = true;
            record->add_output(cls_string("\n[the device ") + menu.serial_id() + " disappeared]\n");
            record->finish(record->exit_code(), cls_vesk_run_record::RESULT_ERROR);
        }
        records.append(record);
        written = write_json(options, *record) && written;

        cls_string done;
        done.print("%s[%d/%d] %-7s %s (%s)\n", terminal ? "\r\033[K" : "", i + 1, tests.count(),
                   record->result_text(), cls_vesk_text_escape::printable(test.path).c_str(),
                   seconds(record->duration_ms()).c_str());
        ozgi::cls_terminal::write_stdout(done.c_str());
    }

    int passed = 0;
    for (int i = 0; i < records.count(); ++i) passed += records[i]->result() == cls_vesk_run_record::RESULT_PASS;
    if (options.worker) return passed == records.count() && written ? 0 : 1;
    int failed = 0, timed_out = 0, errors = 0;
    passed = 0;
    cls_string table("\nRESULT   DURATION    TEST\n");
    for (int i = 0; i < records.count(); ++i) {
        const cls_vesk_run_record& r = *records[i];
        cls_string row;
        cls_string note;
        if (r.result() == cls_vesk_run_record::RESULT_FAIL) note.print("  (exit code %d)", r.exit_code());
        table += row.print("%-7s  %10s  %s%s\n", r.result_text(), seconds(r.duration_ms()).c_str(),
                           cls_vesk_text_escape::printable(r.test()).c_str(), note.c_str());
        passed += r.result() == cls_vesk_run_record::RESULT_PASS;
        failed += r.result() == cls_vesk_run_record::RESULT_FAIL;
        timed_out += r.result() == cls_vesk_run_record::RESULT_TIMEOUT;
        errors += r.result() == cls_vesk_run_record::RESULT_ERROR;
    }
    cls_string summary;
    table += summary.print("%d test%s: %d passed, %d failed, %d timed out, %d error%s\n", records.count(),
                           records.count() == 1 ? "" : "s", passed, failed, timed_out, errors, errors == 1 ? "" : "s");
    ozgi::cls_terminal::write_stdout(table.c_str());

    written = write_reports(options, records, false) && written;
    return passed == records.count() && written ? 0 : 1;
}
