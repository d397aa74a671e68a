#include "cli/cls_cli_arg_check.h"

#include "devices/cls_vesk_numeric_arg.h"
#include "ozgi/cls_fixed_point.h"

using ozgi::cls_array;
using ozgi::cls_fixed_point;
using ozgi::cls_string;
typedef cls_vesk_device::arg_info_t arg_info_t;

namespace {

const int MAX_DECIMALS = 18;

// Where `text` stands in `line`, searching from `from`; 0 when it is not there.
int place(const cls_string& line, const cls_string& text, int from = 0) {
    int at = text.is_empty() ? cls_string::NOT_FOUND : line.find(text.c_str(), from);
    return at == cls_string::NOT_FOUND ? 0 : at;
}

// Whether the whole text is a plain decimal number (blanks around, one sign,
// digits with at most one point): anything else the fixed-point type reads only
// up to where it stops making sense, or as 0.
bool plain_number(const cls_string& text) {
    int i = 0;
    int n = text.length();
    while (i < n && (text[i] == ' ' || text[i] == '\t')) ++i;
    while (n > i && (text[n - 1] == ' ' || text[n - 1] == '\t')) --n;
    if (i < n && (text[i] == '-' || text[i] == '+')) ++i;
    bool digits = false;
    bool point = false;
    for (; i < n; ++i) {
        if (text[i] >= '0' && text[i] <= '9') digits = true;
        else if (text[i] == '.' && !point) point = true;
        else return false;
    }
    return digits;
}

} // namespace

void cls_cli_arg_check::check(const cls_array<arg_info_t>& args, const cls_array<cls_string>& lines,
                              cls_array<cls_cli_problem>* problems) {
    for (int i = 0; i < args.count(); ++i) {
        const arg_info_t& arg = args[i];
        for (int j = 0; j < i; ++j) {
            if (args[j].arg_name != arg.arg_name) continue;
            cls_string text;
            text.print("duplicate argument name \"%s\": the panel only ever edits the first", arg.arg_name.c_str());
            problems->append(cls_cli_problem(true, text, lines[i], place(lines[i], arg.arg_name)));
            break;
        }
        if (arg.arg_type == 0) check_numeric(arg, lines[i], problems);
        else check_list(arg, lines[i], problems);
    }
}

void cls_cli_arg_check::check_list(const arg_info_t& arg, const cls_string& line, cls_array<cls_cli_problem>* problems) {
    int items_at = place(line, "{");
    for (int i = 0; i < arg.values.count(); ++i) {
        cls_string item = arg.values[i];
        item.trim_to_str(" \t", true, true);
        if (item.is_not_empty()) continue;
        problems->append(cls_cli_problem(true, "empty list item: its button shows no text", line,
                                         place(line, arg.values[i], items_at)));
    }
    for (int i = 0; i < arg.values.count(); ++i) {
        if (arg.values[i] == arg.default_value) return;
    }
    cls_string text;
    text.print("default \"%s\" is not among the list items", arg.default_value.c_str());
    problems->append(cls_cli_problem(true, text, line, place(line, "Default=")));
}

void cls_cli_arg_check::check_numeric(const arg_info_t& arg, const cls_string& line,
                                      cls_array<cls_cli_problem>* problems) {
    const cls_string& lower_text = arg.values[0];
    const cls_string& higher_text = arg.values[1];
    int lower_at = place(line, lower_text, place(line, "<"));
    int higher_at = place(line, higher_text, lower_at + lower_text.length());
    int default_at = place(line, "Default=");
    int step_at = line.find("tep=") > 0 ? line.find("tep=") - 1 : 0;
    cls_string text;

    // Numbers first: a text the fixed-point type cannot hold ends the page.
    struct number_t {
        const char* what;
        const cls_string* text;
        int at;
        cls_fixed_point value;
    } numbers[] = {{"lower bound", &lower_text, lower_at, {}},
                   {"higher bound", &higher_text, higher_at, {}},
                   {"default", &arg.default_value, default_at, {}},
                   {"step", &arg.step, step_at, {}}};
    bool held = true;
    for (number_t& n : numbers) {
        // A default that is not written is the lower bound, judged as such.
        if (n.text->is_empty() || (n.text == &arg.default_value && default_at == 0)) {
            n.value = numbers[0].value;
            continue;
        }
        if (!cls_fixed_point::parse_checked(*n.text, &n.value)) {
            text.print("%s \"%s\" does not fit the 64-bit fixed-point type: the numeric page ends the program",
                       n.what, n.text->c_str());
            problems->append(cls_cli_problem(true, text, line, n.at));
            held = false;
        } else if (!plain_number(*n.text)) {
            text.print("%s \"%s\" is not a number: the numeric page reads it as %s", n.what, n.text->c_str(),
                       n.value.to_string().c_str());
            problems->append(cls_cli_problem(true, text, line, n.at));
        }
    }
    if (!held) return;
    const cls_fixed_point& lower = numbers[0].value;
    const cls_fixed_point& higher = numbers[1].value;
    const cls_fixed_point& value = numbers[2].value;

    if (lower > higher) {
        text.print("lower bound %s is above higher bound %s: the numeric page always sets %s", lower_text.c_str(),
                   higher_text.c_str(), higher_text.c_str());
        problems->append(cls_cli_problem(true, text, line, lower_at));
        return;
    }
    if (arg.step.is_not_empty()) {
        int decimals = arg.step.has('.') ? arg.step.length() - arg.step.find('.') - 1 : 0;
        if (decimals > MAX_DECIMALS) {
            text.print("step \"%s\" has %d characters after the point; the fixed-point type keeps at most %d, so "
                       "the numeric page ends the program when it opens",
                       arg.step.c_str(), decimals, MAX_DECIMALS);
            problems->append(cls_cli_problem(true, text, line, step_at));
            return;
        }
        cls_fixed_point step = numbers[3].value;
        if (!step.set_fractional_width_checked(decimals > 0 || arg.step.has('.') ? decimals : -1)) {
            text.print("step \"%s\" does not fit the fixed-point type with %d decimals", arg.step.c_str(), decimals);
            problems->append(cls_cli_problem(true, text, line, step_at));
            return;
        }
        if (!(cls_fixed_point("0") < step)) {
            text.print("step \"%s\" is not above 0: its buttons do not move the value", arg.step.c_str());
            problems->append(cls_cli_problem(true, text, line, step_at));
        }
    }
    cls_fixed_point range;
    if (!higher.add_checked(-lower, &range)) {
        text.print("the range %s-%s does not fit the fixed-point type: the numeric page ends the program when it opens",
                   lower_text.c_str(), higher_text.c_str());
        problems->append(cls_cli_problem(true, text, line, lower_at));
        return;
    }
    if (value < lower || value > higher) {
        text.print("default %s is outside the range %s-%s", arg.default_value.c_str(), lower_text.c_str(),
                   higher_text.c_str());
        problems->append(cls_cli_problem(true, text, line, default_at));
    }

    // Every button tapped from the values the page can hold: the default, the
    // bounds, and once more from where that tap left the value (the decimals a
    // value carries can grow with a tap).
    cls_array<cls_fixed_point> amounts;
    int width = -1;
    cls_vesk_numeric_arg::amounts(arg, range, &amounts, &width);
    const cls_fixed_point starts[] = {value, lower, higher};
    for (const cls_fixed_point& start : starts) {
        for (int a = 0; a < amounts.count(); ++a) {
            cls_fixed_point after;
            cls_fixed_point from = start;
            const cls_fixed_point* amount = &amounts[a];
            bool ok = cls_vesk_numeric_arg::tap(start, amounts[a], lower, higher, width, true, &after);
            for (int b = 0; ok && b < amounts.count(); ++b) {
                cls_fixed_point again;
                ok = cls_vesk_numeric_arg::tap(after, amounts[b], lower, higher, width, true, &again);
                if (!ok) {
                    from = after;
                    amount = &amounts[b];
                }
            }
            if (ok) continue;
            text.print("tapping %s%s on the numeric page at %s overflows the fixed-point type and ends the program",
                       *amount < 0 ? "" : "+", amount->to_string().c_str(), from.to_string().c_str());
            problems->append(cls_cli_problem(true, text, line, default_at ? default_at : lower_at));
            return;
        }
    }
}

bool cls_cli_arg_check::value_ok(const arg_info_t& arg, const cls_string& value, cls_string* why) {
    if (arg.arg_type == 1) {
        for (int i = 0; i < arg.values.count(); ++i) {
            if (arg.values[i] == value) return true;
        }
        cls_string items = *arg.values.glue("|");
        why->print("\"%s\" is not one of {%s}", value.c_str(), items.c_str());
        return false;
    }
    cls_fixed_point number;
    cls_fixed_point lower;
    cls_fixed_point higher;
    if (!plain_number(value) || !cls_fixed_point::parse_checked(value, &number)) {
        why->print("\"%s\" is not a number", value.c_str());
        return false;
    }
    if (!cls_fixed_point::parse_checked(arg.values[0], &lower) || !cls_fixed_point::parse_checked(arg.values[1], &higher) ||
        number < lower || number > higher) {
        why->print("%s is outside the range %s-%s", value.c_str(), arg.values[0].c_str(), arg.values[1].c_str());
        return false;
    }
    return true;
}
