// The end of the program from outside: SIGTERM and SIGINT end it cleanly with
// any backend, on an idle page, during a running test and while a page waits for
// a test's help text, and leave no test process behind; and a machine without
// any display makes it say so instead of running invisibly.
#include <gtest/gtest.h>

#include <fcntl.h>
#include <signal.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdlib>
#include <fstream>
#include <set>
#include <string>
#include <vector>

#include "../core/fatal_matcher.h"
#include "app_test_util.h"
#include "wait_util.h"

using namespace app_test;

namespace {

// The environment of the test, without `drop` and with `add` ("KEY=VALUE").
std::vector<std::string> environment(const std::set<std::string>& drop, const std::vector<std::string>& add) {
    std::vector<std::string> env;
    for (char** e = environ; *e; ++e) {
        std::string kv(*e);
        if (drop.count(kv.substr(0, kv.find('='))) == 0) env.push_back(kv);
    }
    for (const std::string& kv : add) env.push_back(kv);
    return env;
}

// Starts the program with `args`, its standard output and error in files.
pid_t start(const std::vector<std::string>& args, const std::vector<std::string>& env, const std::string& out,
            const std::string& err) {
    std::vector<std::string> argv_s{VESK_PROGRAM};
    argv_s.insert(argv_s.end(), args.begin(), args.end());
    std::vector<std::string> env_s(env);
    std::vector<char*> argv = exec_vector(argv_s), envp = exec_vector(env_s);
    pid_t pid = ::fork();
    if (pid == 0) {
        int o = ::open(out.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0644);
        int e = ::open(err.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0644);
        int n = ::open("/dev/null", O_RDONLY);
        ::dup2(n, 0);
        ::dup2(o, 1);
        ::dup2(e, 2);
        ::execve(argv[0], argv.data(), envp.data());
        ::_exit(127);
    }
    return pid;
}

class AppStop : public ::testing::Test {
protected:
    void SetUp() override {
        // The test writes the ids of its shell and of a background child in its
        // process group, says that it runs and then runs for a long time.
        m_menu.write("long_test",
                     "#!/bin/sh\n[ \"$1\" = \"--help\" ] && exit 1\n"
                     "sleep 300 &\necho $! > '" + m_work.at("bg.pid") + "'\n"
                     "echo $$ > '" + m_work.at("test.pid") + "'\necho started\nsleep 300\necho not stopped\n",
                     0755);
        // Its help text never ends.
        m_menu.write("endless_help",
                     "#!/bin/sh\necho $$ > '" + m_work.at("help.pid") + "'\nsleep 300\n", 0755);
    }

    // Starts the program headless (or through SDL's offscreen driver) on the menu
    // with the script `lines`.
    pid_t start_menu(const std::string& lines, bool sdl = false) {
        std::ofstream(m_work.at("script.txt")) << lines;
        std::vector<std::string> args{"--dir=" + m_menu.path(), "--ozgi-script=" + m_work.at("script.txt")};
        if (!sdl) args.push_back("--ozgi-video=headless");
        std::vector<std::string> add;
        if (sdl) add.push_back("SDL_VIDEODRIVER=offscreen");
        return start(args, environment({"SDL_VIDEODRIVER"}, add), m_work.at("out.txt"), m_work.at("err.txt"));
    }

    // Sends `sig` once the program has shown its first page, and checks that it ends by it.
    void expect_ends_by(pid_t pid, int sig) {
        int status = finish_after(pid, sig);
        ASSERT_NE(status, -1) << "still running after the signal";
        ASSERT_TRUE(WIFSIGNALED(status)) << "exit status " << WEXITSTATUS(status) << "\n" << read_file(m_work.at("err.txt"));
        EXPECT_EQ(WTERMSIG(status), sig);
        EXPECT_EQ(read_file(m_work.at("err.txt")), "");
    }
    int finish_after(pid_t pid, int sig) {
        ::kill(pid, sig);
        return test_wait::reap_child(pid, 30000);
    }

    temp_dir m_menu;
    temp_dir m_work;
};

TEST_F(AppStop, TermAndIntEndAnIdlePageWithEitherBackend) {
    for (bool sdl : {false, true}) {
        for (int sig : {SIGTERM, SIGINT}) {
            SCOPED_TRACE(std::string(sdl ? "sdl offscreen" : "headless") + (sig == SIGTERM ? " SIGTERM" : " SIGINT"));
            std::remove(m_work.at("ready").c_str());
            pid_t pid = start_menu("dump " + m_work.at("ready") + "\nwait 600000\n", sdl);
            ASSERT_FALSE(test_wait::wait_line(m_work.at("ready"), 30000).empty());
            expect_ends_by(pid, sig);
        }
    }
}

TEST_F(AppStop, TermAndIntDuringARunningTestStopItsWholeProcessGroup) {
    for (int sig : {SIGTERM, SIGINT}) {
        SCOPED_TRACE(sig == SIGTERM ? "SIGTERM" : "SIGINT");
        for (const char* f : {"test.pid", "bg.pid"}) std::remove(m_work.at(f).c_str());
        pid_t pid = start_menu("tap_text long_test\ntap_text Execute test\nwait_text started 20000\nwait 600000\n");
        std::string test_pid = test_wait::wait_line(m_work.at("test.pid"), 30000);
        std::string bg_pid = test_wait::wait_line(m_work.at("bg.pid"), 30000);
        ASSERT_FALSE(test_pid.empty());
        ASSERT_FALSE(bg_pid.empty());
        expect_ends_by(pid, sig);
        EXPECT_TRUE(test_wait::wait_gone(std::stoi(test_pid), 5000)) << "the test's shell still runs";
        EXPECT_TRUE(test_wait::wait_gone(std::stoi(bg_pid), 5000)) << "the test's background child still runs";
    }
}

TEST_F(AppStop, TermWhileAPageWaitsForAHelpTextStopsTheTest) {
    for (int sig : {SIGTERM, SIGINT}) {
        SCOPED_TRACE(sig == SIGTERM ? "SIGTERM" : "SIGINT");
        std::remove(m_work.at("help.pid").c_str());
        // The page's init waits for the help text, which never ends.
        pid_t pid = start_menu("tap_text endless_help\nwait 600000\n");
        std::string help_pid = test_wait::wait_line(m_work.at("help.pid"), 30000);
        ASSERT_FALSE(help_pid.empty());
        expect_ends_by(pid, sig);
        EXPECT_TRUE(test_wait::wait_gone(std::stoi(help_pid), 5000)) << "the test asked for its help still runs";
    }
}

TEST_F(AppStop, NoDisplayByDefaultSaysHowToRunAndFails) {
    if (::access("/dev/dri", F_OK) == 0) GTEST_SKIP() << "a DRM device is there: the default is the panel";
    // The real default: nothing says which driver or display to use. A runtime
    // directory of its own keeps the Wayland client library quiet.
    std::string runtime = m_work.at("runtime");
    ::mkdir(runtime.c_str(), 0700);
    std::ofstream(m_work.at("script.txt")) << "quit\n";
    pid_t pid = start({"--dir=" + m_menu.path(), "--ozgi-script=" + m_work.at("script.txt")},
                      environment({"SDL_VIDEODRIVER", "DISPLAY", "WAYLAND_DISPLAY", "XDG_RUNTIME_DIR"},
                                  {"XDG_RUNTIME_DIR=" + runtime}),
                      m_work.at("out.txt"), m_work.at("err.txt"));
    int status = test_wait::reap_child(pid, 30000);
    ASSERT_TRUE(WIFEXITED(status));
    EXPECT_EQ(WEXITSTATUS(status), 1);
    std::string err = read_file(m_work.at("err.txt"));
    auto message = [](const std::string& driver) {
        return "Can't open the display: Can't open a display (SDL: no display found, only its " + driver +
               " driver). Use --ozgi-video=headless to run without a screen, or run under xvfb-run.";
    };
    EXPECT_TRUE(core_test::is_fatal_line(err, "cls_ozgi_gui.cpp", message("offscreen")) ||
                core_test::is_fatal_line(err, "cls_ozgi_gui.cpp", message("dummy")))
        << err;
}

TEST_F(AppStop, TheOffscreenDriverRunsWhenAskedFor) {
    pid_t pid = start_menu("dump " + m_work.at("ready") + "\n", true);
    int status = test_wait::reap_child(pid, 30000);
    ASSERT_TRUE(WIFEXITED(status));
    EXPECT_EQ(WEXITSTATUS(status), 0) << read_file(m_work.at("err.txt"));
    EXPECT_TRUE(parse_dump(read_file(m_work.at("ready"))).valid);
}

} // namespace
