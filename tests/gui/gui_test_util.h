#pragma once
// Helpers shared by the GUI tests: test-only layouts registered as resources,
// exact-message matching for death tests, and running the whole GUI headless in
// a death-test child with an automation script.
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <unistd.h>
#include <fstream>
#include <sstream>
#include <string>
#include <vector>

#include "ozgi/cls_array.h"
#include "ozgi/cls_input_args.h"
#include "ozgi/cls_ozgi_gui.h"
#include "ozgi/cls_rom_file_mgr.h"
#include "ozgi/cls_string.h"

namespace gui_test {

/// Registers `text` (a string literal: it must outlive the program) as the layout `name`.
inline void add_layout(const char* name, const char* text) {
    std::string full = std::string("vesk/resource/xml/") + name;
    ozgi::cls_rom_file_mgr::ins()->register_file(full.c_str(), text, static_cast<long long>(std::strlen(text)));
}

/// `text` with every regular-expression character escaped, for EXPECT_EXIT.
inline std::string literal(const std::string& text) {
    std::string out;
    for (char c : text) {
        if (std::strchr("\\^$.|?*+()[]{}", c)) out += '\\';
        out += c;
    }
    return out;
}

inline std::string read_file(const std::string& path) {
    std::ifstream in(path.c_str(), std::ios::binary);
    std::stringstream s;
    s << in.rdbuf();
    return s.str();
}

inline void write_file(const std::string& path, const std::string& text) {
    std::ofstream out(path.c_str(), std::ios::binary);
    out << text;
}

/// A fresh file name in the test's temporary directory.
inline std::string temp_path(const std::string& name) {
    const char* dir = std::getenv("TMPDIR");
    std::string base = dir ? dir : "/tmp";
    return base + "/vesk_gui_" + std::to_string(::getpid()) + "_" + name;
}

/// What the test pages write while the GUI runs (in the child process).
std::string& event_log();

/// Runs the GUI headless with the root layout `root` and the script text; then
/// writes the event log and "exit:<status>" to `log_path` and ends the process
/// with status 0. Meant to run inside EXPECT_EXIT.
inline void run_gui(const std::string& root, const std::string& script, const std::string& log_path,
                    const std::vector<std::string>& extra = {}) {
    std::string script_path = log_path + ".script";
    write_file(script_path, script);
    ozgi::cls_array<ozgi::cls_string> args;
    args.append(ozgi::cls_string("--ozgi-video=headless"));
    args.append(ozgi::cls_string(("--ozgi-root=" + root).c_str()));
    args.append(ozgi::cls_string(("--ozgi-script=" + script_path).c_str()));
    for (const std::string& a : extra) args.append(ozgi::cls_string(a.c_str()));
    ozgi::cls_input_args::ins()->set_args(args);
    int status = ozgi::cls_ozgi_gui::ins()->start_gui();
    write_file(log_path, event_log() + "exit:" + std::to_string(status) + "\n");
    std::fflush(stdout);
    std::_Exit(0);
}

} // namespace gui_test
