#include "cli/cls_cli_fleet.h"

#include "cli/cls_cli_devices.h"
#include "cli/cls_cli_record_reader.h"
#include "cli/cls_cli_run_cmd.h"
#include "cli/cls_cli_runner.h"
#include "devices/cls_vesk_text_escape.h"
#include "ozgi/cls_file.h"
#include "ozgi/cls_mem_mgr.h"
#include "ozgi/cls_stop_signal.h"
#include "ozgi/cls_terminal.h"
#include "ozgi/cls_time.h"
#include "ozgi/if_system.h"

using ozgi::cls_array;
using ozgi::cls_sp;
using ozgi::cls_string;
typedef cls_sp<cls_vesk_run_record> record_sp;

namespace {

// The pause between two looks at the workers; sleeping drains their output.
const int POLL_MS = 50;
// How long workers get to end after SIGTERM when vesk-cli itself is stopped:
// each ends its running test first, which may take the three signals' graces.
const int STOP_GRACE_MS = 4 * cls_cli_runner::GRACE_MS;

// This program, for the workers: the kernel's name for the running executable,
// so that a worker is exactly this build whatever the search path says.
const char* const SELF_PROGRAM = "/proc/self/exe";

cls_string pad(const cls_string& text, int width) {
    cls_string out = text;
    for (int i = text.length(); i < width; ++i) out += ' ';
    return out;
}

// Each worker leads its own process group, so a Ctrl-C on the terminal reaches
// only this program: it passes the stop on to the workers, which end their
// running tests on the targets first.
void stop_workers() { ozgi::cls_process::stop_all(STOP_GRACE_MS); }

cls_string temp_dir() {
    cls_sp<cls_string> dir = ozgi::if_system::env("TMPDIR");
    return dir.is_null() || dir->is_empty() ? cls_string("/tmp/") : *dir + "/";
}

} // namespace

cls_array<cls_string> cls_cli_fleet::worker_argv(const cls_cli_options& options, const cls_string& serial_id,
                                                 const cls_string& json_path) {
    cls_array<cls_string> argv;
    cls_string word;
    argv.append(SELF_PROGRAM).append("run").append("--all");
    if (options.path.is_not_empty()) argv.append(options.path);
    argv.append("--device=adb").append(cls_string("--serial-id=") + serial_id);
    if (options.dir.is_not_empty()) argv.append(cls_string("--dir=") + options.dir);
    if (options.timeout_s > 0) argv.append(word.print("--timeout=%d", options.timeout_s));
    argv.append(word.print("--help-timeout=%d", options.help_timeout_s));
    if (options.with_direct) argv.append("--with-direct");
    argv.append(cls_string("--json=") + json_path).append("--worker");
    return argv;
}

void cls_cli_fleet::show_progress(worker_t* worker, const cls_string& piece, int serial_width) {
    worker->partial_line += piece;
    int from = 0;
    cls_string shown;
    for (;;) {
        int end = worker->partial_line.find('\n', from);
        if (end == cls_string::NOT_FOUND) break;
        shown += pad(worker->serial_id, serial_width) + "  " + worker->partial_line.sub_str(from, end + 1 - from);
        from = end + 1;
    }
    worker->partial_line.to_sub_str(from);
    if (shown.is_not_empty()) ozgi::cls_terminal::write_stdout(shown.c_str());
}

void cls_cli_fleet::collect(worker_t* worker, cls_array<record_sp>* records) {
    cls_sp<cls_string> text = ozgi::cls_file::read_to_str(worker->json_path);
    ozgi::cls_file::remove(worker->json_path, false);
    int before = records->count();
    if (text.is_not_null()) {
        cls_array<cls_string> lines(cls_array<cls_string>::INITIAL_SLOTS);
        text->split_to_lines(&lines);
        for (int i = 0; i < lines.count(); ++i) {
            record_sp record(OZGI_NEW(cls_vesk_run_record)());
            if (cls_cli_record_reader::read(lines[i], record.get())) records->append(record);
        }
    }
    if (records->count() > before) return;
    // The worker ran nothing: the device was not there, or its menu is empty.
    record_sp record(OZGI_NEW(cls_vesk_run_record)());
    record->begin("adb", worker->serial_id, "(menu)", cls_array<cls_string>());
    cls_string why;
    record->add_output(why.print("no test ran on %s (the worker ended with status %d; see its messages above)\n",
                                 worker->serial_id.c_str(), worker->status));
    record->finish(worker->status, cls_vesk_run_record::RESULT_ERROR);
    records->append(record);
}

cls_string cls_cli_fleet::matrix(const cls_array<record_sp>& records, const cls_array<cls_string>& serials) {
    cls_array<cls_string> tests;
    int test_width = 4;
    for (int i = 0; i < records.count(); ++i) {
        cls_string shown = cls_vesk_text_escape::printable(records[i]->test());
        bool known = false;
        for (int t = 0; t < tests.count() && !known; ++t) known = tests[t] == records[i]->test();
        if (known) continue;
        tests.append(records[i]->test());
        if (shown.length() > test_width) test_width = shown.length();
    }
    cls_array<int> widths;
    cls_string out("\n");
    out += pad("TEST", test_width);
    for (int s = 0; s < serials.count(); ++s) {
        widths.append(serials[s].length() > 7 ? serials[s].length() : 7);
        out += "  " + pad(cls_vesk_text_escape::printable(serials[s]), widths[s]);
    }
    out += "\n";
    int counts[5] = {0, 0, 0, 0, 0};
    for (int t = 0; t < tests.count(); ++t) {
        out += pad(cls_vesk_text_escape::printable(tests[t]), test_width);
        for (int s = 0; s < serials.count(); ++s) {
            const char* cell = "-";
            for (int i = 0; i < records.count(); ++i) {
                if (records[i]->test() != tests[t] || records[i]->serial_id() != serials[s]) continue;
                cell = records[i]->result_text();
            }
            out += "  " + pad(cell, widths[s]);
        }
        out += "\n";
    }
    for (int i = 0; i < records.count(); ++i) ++counts[records[i]->result()];
    cls_string summary;
    out += summary.print("%d run%s on %d device%s: %d passed, %d failed, %d timed out, %d error%s\n", records.count(),
                         records.count() == 1 ? "" : "s", serials.count(), serials.count() == 1 ? "" : "s",
                         counts[cls_vesk_run_record::RESULT_PASS], counts[cls_vesk_run_record::RESULT_FAIL],
                         counts[cls_vesk_run_record::RESULT_TIMEOUT], counts[cls_vesk_run_record::RESULT_ERROR],
                         counts[cls_vesk_run_record::RESULT_ERROR] == 1 ? "" : "s");
    return out;
}

int cls_cli_fleet::run(const cls_cli_options& options) {
    cls_array<cls_string> serials;
    if (options.all_devices) cls_cli_devices::ready(&serials);
    else serials = options.serial_ids;
    if (serials.is_empty()) {
        cls_cli_run_cmd::error_line("no adb device is ready (\"adb devices\" lists none as \"device\")");
        return cls_cli_options::USAGE_ERROR;
    }
    int serial_width = 0;
    for (int s = 0; s < serials.count(); ++s)
        if (serials[s].length() > serial_width) serial_width = serials[s].length();

    cls_array<worker_t> workers;
    for (int s = 0; s < serials.count(); ++s) {
        worker_t worker;
        worker.serial_id = serials[s];
        worker.json_path = ozgi::cls_file::create_temp_file(temp_dir());
        workers.append(worker);
    }
    for (int w = 0; w < workers.count(); ++w) {
        workers[w].process = OZGI_NEW(ozgi::cls_process)(
            worker_argv(options, workers[w].serial_id, workers[w].json_path), cls_string(""));
    }

    // Single-threaded: the workers' pipes are drained while this sleeps.
    ozgi::cls_stop_signal::set_cleanup(stop_workers);
    ozgi::cls_stop_signal::catch_signals();
    int running = workers.count();
    while (running > 0) {
        ozgi::cls_time::sleep_ms(POLL_MS);
        ozgi::cls_stop_signal::end_if_received();
        for (int w = 0; w < workers.count(); ++w) {
            worker_t& worker = workers[w];
            if (worker.ended) continue;
            cls_sp<cls_string> piece = worker.process->read_to_str();
            if (piece.is_not_null() && piece->is_not_empty()) show_progress(&worker, *piece, serial_width);
            if (!worker.process->is_ended()) continue;
            worker.status = worker.process->wait_for_exit();
            piece = worker.process->read_to_str();
            if (piece.is_not_null() && piece->is_not_empty()) show_progress(&worker, *piece, serial_width);
            if (worker.partial_line.is_not_empty()) show_progress(&worker, cls_string("\n"), serial_width);
            ozgi::ozgi_delete(worker.process);
            worker.process = nullptr;
            worker.ended = true;
            --running;
        }
    }

    ozgi::cls_stop_signal::release_signals();
    ozgi::cls_stop_signal::end_if_received();

    cls_array<record_sp> records;
    for (int w = 0; w < workers.count(); ++w) collect(&workers[w], &records);
    cls_string table = matrix(records, serials);
    ozgi::cls_terminal::write_stdout(table.c_str());

    bool written = true;
    for (int i = 0; i < records.count(); ++i) written = cls_cli_run_cmd::write_json(options, *records[i]) && written;
    written = cls_cli_run_cmd::write_reports(options, records, true) && written;
    // A test that did not run on a device (its menu differed) did not pass there.
    bool all_passed = true;
    for (int i = 0; i < records.count(); ++i) {
        all_passed = all_passed && records[i]->result() == cls_vesk_run_record::RESULT_PASS;
        for (int s = 0; s < serials.count() && all_passed; ++s) {
            bool ran = false;
            for (int j = 0; j < records.count() && !ran; ++j)
                ran = records[j]->test() == records[i]->test() && records[j]->serial_id() == serials[s];
            all_passed = ran;
        }
    }
    return all_passed && written ? 0 : 1;
}
