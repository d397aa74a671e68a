#include "devices/cls_vesk_help_parser.h"

#include "ozgi/cls_regex.h"

using ozgi::cls_array;
using ozgi::cls_string;
typedef cls_vesk_device::arg_info_t arg_info_t;

bool cls_vesk_help_parser::usable(int exit_code, const cls_string& text) {
    return exit_code == 0 && text.begin_with("Usage:");
}

bool cls_vesk_help_parser::parse(const cls_string& help_msg, bool stop_at_first, cls_array<arg_info_t>* args,
                                 cls_array<cls_string>* lines, cls_array<refused_t>* refused) {
    cls_array<cls_string> all(cls_array<cls_string>::INITIAL_SLOTS);
    help_msg.split_to_lines(&all);

    int first = 0;
    while (first < all.count() && all[first] != "Arguments:") ++first;
    if (first == all.count()) return true;

    // One pattern object serves every line of this help text.
    ozgi::cls_regex pattern(cls_vesk_device::ARG_LINE_PATTERN);
    cls_array<ozgi::name_val_t> captures(cls_array<ozgi::name_val_t>::INITIAL_SLOTS);
    bool ok = true;
    for (int i = first + 1; i < all.count(); ++i) {
        const cls_string& line = all[i];
        captures.clear();
        if (!pattern.match(line, &captures, nullptr)) {
            refused_t r;
            r.line = line;
            // The caret goes after the longest start the pattern matched.
            r.column = pattern.max_matched_len();
            if (r.column > line.length()) r.column = line.length();
            refused->append(r);
            ok = false;
            if (stop_at_first) return false;
            continue;
        }
        arg_info_t arg = arg_of_captures(captures);
        if (arg.default_value.is_empty() && !arg.values.is_empty()) arg.default_value = arg.values[0];
        args->append(arg);
        if (lines) lines->append(line);
    }
    return ok;
}

arg_info_t cls_vesk_help_parser::arg_of_captures(const cls_array<ozgi::name_val_t>& captures) {
    arg_info_t arg;
    for (int c = 0; c < captures.count(); ++c) {
        const ozgi::name_val_t& capture = captures[c];
        if (capture.name == "arg_name") {
            arg.arg_name = capture.value;
        } else if (capture.name == "lower_bound") {
            arg.values.append(capture.value);
            arg.arg_type = 0;
        } else if (capture.name == "higher_bound") {
            arg.values.append(capture.value);
        } else if (capture.name == "list_item") {
            arg.values.append(capture.value);
            arg.arg_type = 1;
        } else if (capture.name == "default_value") {
            arg.default_value = capture.value;
        } else if (capture.name == "step") {
            arg.step = capture.value;
        } else if (capture.name == "arg_desc") {
            arg.arg_desc = capture.value;
        }
    }
    return arg;
}

cls_string cls_vesk_help_parser::with_caret(const cls_string& line, int column) {
    cls_string out = line;
    out += "\n";
    for (int c = 0; c < column && c < line.length(); ++c) out += line[c] == '\t' ? '\t' : ' ';
    out += "^";
    return out;
}
