#include "cli/cls_cli_help.h"

#include "cli/cls_cli_runner.h"
#include "devices/cls_vesk_help_parser.h"

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

bool cls_cli_help::usable() const { return cls_vesk_help_parser::usable(m_exit_code, m_text); }

bool cls_cli_help::parse(cls_array<arg_info_t>* args, cls_array<cls_string>* lines,
                         cls_array<cls_cli_problem>* problems) const {
    cls_array<cls_vesk_help_parser::refused_t> refused;
    bool ok = cls_vesk_help_parser::parse(m_text, false, args, lines, &refused);
    // The panel's fatal message, for every line it would stop at.
    for (int i = 0; i < refused.count(); ++i)
        problems->append(cls_cli_problem(true, "Failed to match regular expression:", refused[i].line, refused[i].column));
    return ok;
}
