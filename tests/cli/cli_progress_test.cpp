// The progress lines of run --all on a terminal: redrawn in place with the
// test's name, the time so far and a spinner.
#include <gtest/gtest.h>
#include <pty.h>

#include <regex>

#include "cli_test_util.h"

using namespace cli_test;

TEST(cli_progress, terminal_lines_are_redrawn_with_a_spinner) {
    temp_dir menu;
    menu.write_script("slow", "if [ \"$1\" = \"--help\" ]; then exit 1; fi\nsleep 0.5\necho done\n");
    int master = -1, slave = -1;
    ASSERT_EQ(::openpty(&master, &slave, nullptr, nullptr, nullptr), 0);
    run_opts_t o;
    o.args = {"run", "--all", "--dir=" + menu.path()};
    std::vector<std::string> env_s = app_test::make_env(o);
    std::vector<char*> envp;
    for (std::string& e : env_s) envp.push_back(&e[0]);
    envp.push_back(nullptr);
    std::vector<std::string> argv_s{VESK_CLI_PROGRAM, "run", "--all", "--dir=" + menu.path()};
    std::vector<char*> argv;
    for (std::string& a : argv_s) argv.push_back(&a[0]);
    argv.push_back(nullptr);
    pid_t pid = ::fork();
    if (pid == 0) {
        ::close(master);
        ::dup2(slave, 1);
        ::execve(argv[0], argv.data(), envp.data());
        ::_exit(127);
    }
    ::close(slave);
    std::string out;
    char buf[4096];
    for (;;) {
        ssize_t n = ::read(master, buf, sizeof(buf));
        if (n <= 0) break;  // EIO once the program has closed its side
        out.append(buf, static_cast<size_t>(n));
    }
    ::close(master);
    EXPECT_EQ(app_test::wait_status(pid), 0);
    EXPECT_TRUE(std::regex_search(out, std::regex(R"(\r\x1b\[K\[1/1\] slow  0\.\d\d s  [|/\-\\])"))) << out;
    EXPECT_TRUE(std::regex_search(out, std::regex(R"(\r\x1b\[K\[1/1\] PASS    slow \(0\.\d\d s\)\r?\n)"))) << out;
}
