#include "cli/cls_cli_help.h"

#include "cli/cls_cli_runner.h"
#include "ozgi/cls_regex.h"

using ozgi::cls_array;
using ozgi::cls_string;
typedef cls_vesk_device::arg_info_t arg_info_t;

namespace {

// More help text than any real test prints; a test that ignores --help and
// writes without end must not fill the memory before its time is up.
const int MAX_HELP_BYTES = 16 * 1024 * 1024;

// Collects the help text, up to MAX_HELP_BYTES.
class help_sink : public cls_cli_runner::if_observer {
public:
    /// Collects into `text`, no more than the output limit either (the panel holds no more of it).
    explicit help_sink(cls_string* text)
        : m_text(text), m_most(MAX_HELP_BYTES < cls_vesk_device::output_limit() ? MAX_HELP_BYTES
                                                                               : cls_vesk_device::output_limit()) {}
    void on_output(const cls_string& piece) override {
        int room = m_most - m_text->length();
        if (room > 0) m_text->append(piece.c_str(), piece.length() < room ? piece.length() : room);
    }
    void on_tick(long long) override {}

private:
    cls_string* m_text;
    int m_most;
};

} // namespace

bool cls_cli_help::fetch(if_vesk_device* device, const cls_cli_menu::test_t& test, int timeout_s) {
    m_text.clear();
    help_sink sink(&m_text);
    cls_array<cls_string> cmd;
    cmd.append(test.path).append("--help");
    cls_cli_runner::result_t result =
        cls_cli_runner::run(device, test.dir_path, cmd, static_cast<long long>(timeout_s) * 1000, &sink);
    m_exit_code = result.exit_code;
    return !result.timed_out;
}

bool cls_cli_help::usable() const { return m_exit_code == 0 && m_text.begin_with("Usage:"); }

bool cls_cli_help::parse(cls_array<arg_info_t>* args, cls_array<cls_string>* lines,
                         cls_array<cls_cli_problem>* problems) const {
    cls_array<cls_string> all(cls_array<cls_string>::INITIAL_SLOTS);
    m_text.split_to_lines(&all);
    int first = 0;
    while (first < all.count() && all[first] != "Arguments:") ++first;

    bool ok = true;
    ozgi::cls_regex pattern(cls_vesk_device::ARG_LINE_PATTERN);
    cls_array<ozgi::name_val_t> captures(cls_array<ozgi::name_val_t>::INITIAL_SLOTS);
    for (int i = first + 1; i < all.count(); ++i) {
        const cls_string& line = all[i];
        captures.clear();
        if (!pattern.match(line, &captures, nullptr)) {
            // The panel's fatal message, and its caret: after the longest start matched.
            int matched = pattern.max_matched_len();
            if (matched > line.length()) matched = line.length();
            problems->append(cls_cli_problem(true, "Failed to match regular expression:", line, matched));
            ok = false;
            continue;
        }
        arg_info_t arg = cls_vesk_device::arg_of_captures(captures);
        if (arg.default_value.is_empty() && !arg.values.is_empty()) arg.default_value = arg.values[0];
        args->append(arg);
        lines->append(line);
    }
    return ok;
}
