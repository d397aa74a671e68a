#include "cli/cls_cli_tap.h"

#include "devices/cls_vesk_text_escape.h"

using ozgi::cls_array;
using ozgi::cls_sp;
using ozgi::cls_string;
typedef cls_vesk_text_escape esc;

namespace {

// A YAML scalar in double quotes: JSON's string literal is one.
cls_string quoted(const cls_string& text) { return esc::json(text); }

} // namespace

cls_string cls_cli_tap::diagnostics(const cls_vesk_run_record& r) {
    cls_string out("  ---\n");
    cls_string line;
    out += line.print("  result: %s\n", r.result_text());
    out += line.print("  exit_code: %d\n", r.exit_code());
    out += line.print("  duration_ms: %lld\n", r.duration_ms());
    out += "  device: " + quoted(r.device()) + "\n";
    out += "  serial_id: " + quoted(r.serial_id()) + "\n";
    out += "  test: " + quoted(r.test()) + "\n";

    // The last TAIL_LINES lines, each shown printable (no control characters,
    // no invalid UTF-8), as a literal block.
    cls_array<cls_string> lines(cls_array<cls_string>::INITIAL_SLOTS);
    r.kept_output().split_to_lines(&lines);
    while (!lines.is_empty() && lines[lines.count() - 1].is_empty()) lines.remove_at(lines.count() - 1);
    if (lines.is_empty()) {
        out += "  output_tail: \"\"\n";
    } else {
        out += "  output_tail: |\n";
        int first = lines.count() > TAIL_LINES ? lines.count() - TAIL_LINES : 0;
        for (int i = first; i < lines.count(); ++i) {
            cls_string shown = lines[i];
            shown.trim_to_str("\r", false, true);
            out += "    " + esc::printable(shown) + "\n";
        }
    }
    out += "  ...\n";
    return out;
}

cls_string cls_cli_tap::document(const cls_array<cls_sp<cls_vesk_run_record>>& records, bool by_device) {
    cls_string out("TAP version 13\n");
    cls_string line;
    out += line.print("1..%d\n", records.count());
    for (int i = 0; i < records.count(); ++i) {
        const cls_vesk_run_record& r = *records[i];
        cls_string name = by_device ? r.serial_id() + " " + r.test() : r.test();
        // A "#" would start a directive, so it is shown escaped.
        cls_string printable = esc::printable(name);
        cls_string shown;
        for (int c = 0; c < printable.length(); ++c) {
            if (printable[c] == '#') shown += '\\';
            shown += printable[c];
        }
        out += line.print("%s %d - %s\n", r.result() == cls_vesk_run_record::RESULT_PASS ? "ok" : "not ok", i + 1,
                          shown.c_str());
        out += diagnostics(r);
    }
    return out;
}
