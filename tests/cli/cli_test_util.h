#pragma once
// Helpers of the vesk-cli tests: runs of the real vesk-cli in a child with its
// output collected, on real temporary menus (the start-up tests' helpers).
#include <gtest/gtest.h>

#include <csignal>
#include <string>
#include <vector>

#include "../app/app_test_util.h"
#include "wait_util.h"

namespace cli_test {

using app_test::run_opts_t;
using app_test::run_result;
using app_test::temp_dir;

/// Starts vesk-cli with `o` (its arguments, environment and directory) in a
/// child whose standard input, output and error are `in`, `out` and `err`.
inline pid_t start_cli(const run_opts_t& o, int in, int out, int err) {
    std::vector<std::string> argv_s{VESK_CLI_PROGRAM};
    for (const std::string& a : o.args) argv_s.push_back(a);
    std::vector<std::string> env_s = app_test::make_env(o);
    std::vector<char*> argv = app_test::exec_vector(argv_s), envp = app_test::exec_vector(env_s);
    pid_t pid = ::fork();
    if (pid == 0) {
        ::dup2(in, 0);
        ::dup2(out, 1);
        ::dup2(err, 2);
        if (!o.cwd.empty() && ::chdir(o.cwd.c_str()) != 0) ::_exit(126);
        ::execve(argv[0], argv.data(), envp.data());
        ::_exit(127);
    }
    return pid;
}

/// Runs vesk-cli with `o` to its end.
inline run_result run_cli(const run_opts_t& o) {
    temp_dir work;
    std::string out_path = work.at("stdout.txt"), err_path = work.at("stderr.txt");
    int out_fd = ::open(out_path.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0644);
    int err_fd = ::open(err_path.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0644);
    int null_fd = ::open("/dev/null", O_RDONLY);
    pid_t pid = start_cli(o, null_fd, out_fd, err_fd);
    ::close(out_fd);
    ::close(err_fd);
    ::close(null_fd);
    run_result r;
    r.status = app_test::wait_status(pid);
    r.out = app_test::read_file(out_path);
    r.err = app_test::read_file(err_path);
    return r;
}

/// vesk-cli with `args` on the local menu `dir`.
inline run_result cli_local(const std::string& dir, std::vector<std::string> args) {
    run_opts_t o;
    o.args = std::move(args);
    o.args.push_back("--dir=" + dir);
    return run_cli(o);
}

/// vesk-cli with `args` on the menu `dir` of the adb stand-in's one device EMU1.
inline run_result cli_adb(const std::string& dir, std::vector<std::string> args) {
    run_opts_t o;
    o.args = std::move(args);
    o.args.push_back("--device=adb");
    o.args.push_back("--serial-id=EMU1");
    o.args.push_back("--dir=" + dir);
    o.stub_adb = true;
    o.env["ADB_STUB_DEVICES"] = "EMU1";
    return run_cli(o);
}

/// Whether a process with id `pid` still exists (a zombie does not count).
inline bool process_alive(int pid) { return !test_wait::process_gone(pid); }

/// The lines of `text`.
inline std::vector<std::string> lines_of(const std::string& text) {
    std::vector<std::string> out;
    std::string line;
    std::istringstream in(text);
    while (std::getline(in, line)) out.push_back(line);
    return out;
}

/// The JSON Lines of `text`, each of which must parse.
inline std::vector<app_test::json_value> json_lines(const std::string& text) {
    std::vector<app_test::json_value> out;
    for (const std::string& line : lines_of(text)) {
        app_test::json_value v;
        EXPECT_TRUE(app_test::json_reader::parse(line, &v)) << line;
        out.push_back(v);
    }
    return out;
}


/// A help text with "Usage:" and the given argument lines.
inline std::string usage_with(const std::vector<std::string>& arg_lines) {
    std::string text = "Usage: t [options]\nArguments:\n";
    for (const std::string& l : arg_lines) text += l + "\n";
    return text;
}

} // namespace cli_test
