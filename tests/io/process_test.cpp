#include <gtest/gtest.h>

#include <dirent.h>
#include <fstream>
#include <limits.h>
#include <stdlib.h>
#include <string>
#include <sys/wait.h>
#include <unistd.h>

#include "emulator.h"
#include "ozgi/cls_file.h"
#include "ozgi/cls_process.h"
#include "ozgi/cls_time.h"
#include "temp_tree.h"

using namespace ozgi;

namespace {

cls_array<cls_string> args(std::initializer_list<const char*> words) {
    cls_array<cls_string> a;
    for (const char* w : words) a.append(w);
    return a;
}

cls_array<cls_string> shell(const std::string& command) { return args({"/bin/sh", "-c", command.c_str()}); }

std::string str(const cls_sp<cls_string>& s) { return s.is_null() ? std::string("<null>") : std::string(s->c_str(), s->length()); }

// Reads output until it contains `text`, giving up after a generous number of polls.
bool read_until(cls_process& p, std::string* got, const std::string& text) {
    for (int i = 0; i < 2000 && got->find(text) == std::string::npos; ++i) {
        cls_time::sleep_ms(5);
        *got += str(p.read_to_str());
    }
    return got->find(text) != std::string::npos;
}

bool exists(const std::string& path) { return ::access(path.c_str(), F_OK) == 0; }

// The state letter of a process from /proc, or 0 when there is no such process.
char proc_state(int pid) {
    std::ifstream in("/proc/" + std::to_string(pid) + "/stat");
    std::string line;
    if (!std::getline(in, line)) return 0;
    size_t paren = line.rfind(')');
    return paren == std::string::npos || paren + 2 >= line.size() ? 0 : line[paren + 2];
}

int count_open_fds() {
    int n = 0;
    DIR* d = ::opendir("/proc/self/fd");
    while (struct dirent* e = ::readdir(d))
        if (e->d_name[0] != '.') ++n;
    ::closedir(d);
    return n;
}

} // namespace

TEST(process, exit_code_zero) {
    cls_process p(shell("exit 0"), "");
    EXPECT_GT(p.pid(), 0);
    EXPECT_EQ(p.wait_for_exit(), 0);
    EXPECT_TRUE(p.is_ended());
}

TEST(process, exit_code_three) {
    cls_process p(shell("exit 3"), "");
    EXPECT_EQ(p.wait_for_exit(), 3);
    EXPECT_EQ(p.wait_for_exit(), 3);
}

TEST(process, signalled_child_reports_128_plus_signal) {
    cls_process p(shell("kill -TERM $$"), "");
    EXPECT_EQ(p.wait_for_exit(), 128 + 15);
}

TEST(process, output_arrives_in_pieces_and_reading_does_not_block) {
    temp_tree t;
    std::string go = t.path("go");
    cls_process p(shell("echo one; while [ ! -e '" + go + "' ]; do sleep 0.01; done; echo two"), "");
    std::string got;
    ASSERT_TRUE(read_until(p, &got, "one\n"));
    EXPECT_EQ(got, "one\n");
    // The child now waits for us: nothing more can arrive and it cannot have ended.
    EXPECT_EQ(str(p.read_to_str()), "");
    EXPECT_FALSE(p.is_ended());
    t.file("go", "");
    std::string rest;
    ASSERT_TRUE(read_until(p, &rest, "two\n"));
    EXPECT_EQ(rest, "two\n");
    EXPECT_EQ(p.wait_for_exit(), 0);
    EXPECT_EQ(str(p.read_to_str()), "");
}

TEST(process, nothing_written_is_lost_when_the_end_is_seen) {
    for (int i = 0; i < 30; ++i) {
        cls_process p(shell("printf 'abc'; printf 'def'"), "");
        std::string got;
        while (!p.is_ended()) {
            got += str(p.read_to_str());
            cls_time::sleep_ms(1);
        }
        got += str(p.read_to_str());
        EXPECT_EQ(got, "abcdef");
        EXPECT_EQ(p.wait_for_exit(), 0);
    }
}

// Waits until the child has ended without draining or reaping it.
static void wait_until_exited_unreaped(int pid) {
    for (int i = 0; i < 2000; ++i) {
        siginfo_t info;
        info.si_pid = 0;
        if (::waitid(P_PID, pid, &info, WEXITED | WNOHANG | WNOWAIT) == 0 && info.si_pid == pid) return;
        ::usleep(5000);
    }
    FAIL() << "the child did not end";
}

TEST(process, ending_seen_with_fresh_output_is_reported_on_the_next_call) {
    cls_process p(shell("printf 'last words'"), "");
    wait_until_exited_unreaped(p.pid());
    // This call collects the output and sees the end: the output must be read first.
    EXPECT_FALSE(p.is_ended());
    EXPECT_EQ(str(p.read_to_str()), "last words");
    EXPECT_TRUE(p.is_ended());
    EXPECT_TRUE(p.is_ended());
    EXPECT_EQ(p.wait_for_exit(), 0);
}

TEST(process, reading_then_asking_on_every_tick_loses_nothing) {
    for (int i = 0; i < 30; ++i) {
        cls_process p(shell("printf 'abc'; sleep 0.01; printf 'def'"), "");
        std::string got;
        for (;;) {
            got += str(p.read_to_str());
            if (p.is_ended()) break;
            cls_time::sleep_ms(2);
        }
        EXPECT_EQ(got, "abcdef");
    }
}

TEST(process, asking_without_reading_still_ends) {
    cls_process p(shell("echo unread"), "");
    int polls = 0;
    while (!p.is_ended() && polls < 100000) {
        cls_time::sleep_ms(1);
        ++polls;
    }
    EXPECT_TRUE(p.is_ended());
    EXPECT_EQ(str(p.read_to_str()), "unread\n");
}

TEST(process, output_is_kept_for_reading_after_wait_for_exit) {
    cls_process p(shell("echo kept; exit 4"), "");
    EXPECT_EQ(p.wait_for_exit(), 4);
    EXPECT_EQ(str(p.read_to_str()), "kept\n");
}

TEST(process, working_directory_is_used_and_empty_means_our_own) {
    temp_tree t;
    char real[PATH_MAX];
    ASSERT_NE(::realpath(t.root().c_str(), real), nullptr);
    char own[PATH_MAX];
    ASSERT_NE(::getcwd(own, sizeof own), nullptr);
    cls_process in_tree(args({"pwd", "-P"}), t.root().c_str());
    EXPECT_EQ(in_tree.wait_for_exit(), 0);
    EXPECT_EQ(str(in_tree.read_to_str()), std::string(real) + "\n");
    cls_process here(args({"pwd", "-P"}), "");
    EXPECT_EQ(here.wait_for_exit(), 0);
    char own_real[PATH_MAX];
    ASSERT_NE(::realpath(own, own_real), nullptr);
    EXPECT_EQ(str(here.read_to_str()), std::string(own_real) + "\n");
}

TEST(process, arguments_are_passed_as_separate_words) {
    cls_process p(args({"printf", "[%s]", "a b", "$HOME", ""}), "");
    EXPECT_EQ(p.wait_for_exit(), 0);
    EXPECT_EQ(str(p.read_to_str()), "[a b][$HOME][]");
}

TEST(process, sigint_reaches_the_child_of_a_shell_script) {
    temp_tree t;
    // The inner shell reports its pid and becomes the sleep; the script traps nothing.
    std::string script = t.script("interrupt_me.sh", "sh -c 'echo $$; exec sleep 60'\necho after\n");
    cls_process p(args({script.c_str()}), "");
    std::string got;
    ASSERT_TRUE(read_until(p, &got, "\n"));
    int child = std::stoi(got);
    ASSERT_GT(child, 0);
    // Wait until the exec into sleep has happened, so the signal meets the sleep itself.
    std::string comm;
    for (int i = 0; i < 2000 && comm != "sleep"; ++i) {
        std::ifstream in("/proc/" + std::to_string(child) + "/comm");
        std::getline(in, comm);
        if (comm != "sleep") cls_time::sleep_ms(5);
    }
    ASSERT_EQ(comm, "sleep");
    p.send_int_signal();
    // The sleep must die of the signal itself, long before its own end.
    char state = proc_state(child);
    for (int i = 0; i < 2000 && state != 0 && state != 'Z'; ++i) {
        cls_time::sleep_ms(5);
        state = proc_state(child);
    }
    ASSERT_TRUE(state == 0 || state == 'Z') << "the script's child still runs, state " << state;
    EXPECT_EQ(p.wait_for_exit(), 130);
    EXPECT_EQ(str(p.read_to_str()), "");
}

TEST(process, signal_after_the_end_does_nothing) {
    cls_process p(shell("exit 2"), "");
    EXPECT_EQ(p.wait_for_exit(), 2);
    p.send_int_signal();
    EXPECT_EQ(p.wait_for_exit(), 2);
}

TEST(process, fast_writer_finishes_while_the_caller_only_sleeps) {
    const long total = 50L * 1024 * 1024;
    cls_process p(args({"head", "-c", std::to_string(total).c_str(), "/dev/zero"}), "");
    bool finished = false;
    for (int i = 0; i < 600 && !finished; ++i) {
        cls_time::sleep_ms(100);
        // Looks at the child without reaping it; a child already reaped by the
        // sleep's own bookkeeping is no longer ours to look at, so also ended.
        siginfo_t info;
        info.si_pid = 0;
        int rc = ::waitid(P_PID, p.pid(), &info, WEXITED | WNOHANG | WNOWAIT);
        finished = (rc == 0 && info.si_pid == p.pid()) || (rc != 0 && errno == ECHILD);
    }
    ASSERT_TRUE(finished) << "the writer blocked on a full pipe";
    EXPECT_EQ(p.wait_for_exit(), 0);
    auto out = p.read_to_str();
    EXPECT_EQ(out->length(), total);
    EXPECT_EQ(str(p.read_to_str()), "");
}

TEST(process, missing_program_gives_127_and_no_output) {
    if (test_emulator::active()) GTEST_SKIP() << test_emulator::skip_reason_spawn_missing();
    for (auto argv : {args({"/nonexistent/program"}), args({"no_such_program_for_vesk_tests"})}) {
        cls_process p(argv, "");
        EXPECT_TRUE(p.is_ended());
        EXPECT_EQ(str(p.read_to_str()), "");
        EXPECT_EQ(p.wait_for_exit(), 127);
        p.send_int_signal();
    }
}

TEST(process, missing_working_directory_gives_127) {
    temp_tree t;
    cls_process p(args({"true"}), t.path("absent").c_str());
    EXPECT_EQ(p.wait_for_exit(), 127);
    EXPECT_EQ(str(p.read_to_str()), "");
}

TEST(process, non_executable_file_gives_127) {
    temp_tree t;
    std::string f = t.file("not_a_program", "echo hi\n", 0644);
    EXPECT_EQ(cls_process::execute_cmd(args({f.c_str()}), nullptr, nullptr), 127);
}

TEST(process, empty_argument_vector_gives_127) {
    cls_array<cls_string> none;
    cls_process p(none, "");
    EXPECT_EQ(p.wait_for_exit(), 127);
}

TEST(process, destroyed_running_child_keeps_running_and_is_reaped_later) {
    temp_tree t;
    std::string go = t.path("go");
    std::string done = t.path("done");
    int pid;
    {
        cls_process p(shell("while [ ! -e '" + go + "' ]; do sleep 0.01; done; touch '" + done + "'"), "");
        pid = p.pid();
        ASSERT_GT(pid, 0);
    }
    // Not signalled: it still runs and finishes its work once told to.
    char state = proc_state(pid);
    EXPECT_TRUE(state != 0 && state != 'Z') << state;
    t.file("go", "");
    for (int i = 0; i < 2000 && proc_state(pid) != 0; ++i) cls_time::sleep_ms(5);
    EXPECT_EQ(proc_state(pid), 0) << "the ended child was not reaped";
    EXPECT_TRUE(exists(done));
}

TEST(process, destroyed_child_is_reaped_by_pump) {
    int pid;
    {
        cls_process p(shell("sleep 0.05"), "");
        pid = p.pid();
    }
    for (int i = 0; i < 2000 && proc_state(pid) != 0 && proc_state(pid) != 'Z'; ++i) ::usleep(5000);
    // It has ended (a zombie at most); one pump reaps it.
    cls_process::pump(0);
    EXPECT_EQ(proc_state(pid), 0);
}

TEST(process, no_descriptor_leaks_across_many_runs) {
    int before = count_open_fds();
    for (int i = 0; i < 200; ++i) {
        if (i % 3 == 0) {
            EXPECT_EQ(str(cls_process::execute_cmd("echo " + cls_string().print("%d", i))), std::to_string(i) + "\n");
        } else if (i % 3 == 1) {
            cls_process p(shell("exit 1"), "");
            EXPECT_EQ(p.wait_for_exit(), 1);
        } else {
            cls_string out, err;
            EXPECT_EQ(cls_process::execute_cmd(shell("echo o; echo e >&2"), &out, &err), 0);
            EXPECT_STREQ(err.c_str(), "e\n");
        }
    }
    // Destroyed while running: its pipe must be closed as well.
    for (int i = 0; i < 5; ++i) cls_process p(shell("sleep 0.2"), "");
    EXPECT_EQ(count_open_fds(), before);
    cls_time::sleep_ms(300);
}

TEST(process, a_child_does_not_inherit_another_childs_pipe) {
    temp_tree t;
    std::string go = t.path("go");
    cls_process first(shell("while [ ! -e '" + go + "' ]; do sleep 0.01; done"), "");
    int fds[8];
    int n = cls_process::pipe_fds(fds, 8);
    ASSERT_GE(n, 1);
    std::string pipe_names;
    for (int i = 0; i < n; ++i) {
        char target[256];
        ssize_t len = ::readlink(("/proc/self/fd/" + std::to_string(fds[i])).c_str(), target, sizeof target - 1);
        ASSERT_GT(len, 0);
        target[len] = 0;
        EXPECT_EQ(std::string(target).rfind("pipe:", 0), 0u) << target;
        pipe_names += std::string(target) + "\n";
    }
    auto listing = cls_process::execute_cmd("for f in /proc/$$/fd/*; do readlink $f; done");
    ASSERT_TRUE(listing.is_not_null());
    EXPECT_GT(listing->length(), 0);
    for (int i = 0; i < n; ++i) {
        char target[256];
        ssize_t len = ::readlink(("/proc/self/fd/" + std::to_string(fds[i])).c_str(), target, sizeof target - 1);
        target[len > 0 ? len : 0] = 0;
        EXPECT_EQ(str(listing).find(target), std::string::npos) << "inherited " << target;
    }
    t.file("go", "");
    EXPECT_EQ(first.wait_for_exit(), 0);
}

TEST(process, pipe_fds_lists_only_live_pipes) {
    int fds[64];
    int before = cls_process::pipe_fds(fds, 64);
    int mine;
    {
        cls_process p(shell("sleep 0.2"), "");
        int n = cls_process::pipe_fds(fds, 64);
        ASSERT_EQ(n, before + 1);
        mine = fds[n - 1];
        EXPECT_EQ(p.wait_for_exit(), 0);
        // The pipe reached its end when the child exited.
        EXPECT_EQ(cls_process::pipe_fds(fds, 64), before);
    }
    EXPECT_EQ(cls_process::pipe_fds(fds, 64), before);
    EXPECT_EQ(cls_process::pipe_fds(fds, 0), 0);
    EXPECT_GE(mine, 0);
}

TEST(process, execute_cmd_command_line_runs_through_the_shell) {
    EXPECT_EQ(str(cls_process::execute_cmd("echo hi; echo there | tr a-z A-Z")), "hi\nTHERE\n");
    EXPECT_EQ(str(cls_process::execute_cmd("exit 9")), "");
}

TEST(process, execute_cmd_argument_vector_returns_standard_output) {
    EXPECT_EQ(str(cls_process::execute_cmd(args({"printf", "%s-%s", "a b", "c;d"}))), "a b-c;d");
    EXPECT_EQ(str(cls_process::execute_cmd(args({"no_such_program_for_vesk_tests"}))), "");
}

TEST(process, execute_cmd_with_outputs_returns_the_status) {
    cls_string out("old"), err("old");
    EXPECT_EQ(cls_process::execute_cmd(shell("echo out; echo err >&2; exit 5"), &out, &err), 5);
    EXPECT_STREQ(out.c_str(), "out\n");
    EXPECT_STREQ(err.c_str(), "err\n");
    EXPECT_EQ(cls_process::execute_cmd(shell("exit 6"), nullptr, nullptr), 6);
    cls_string only_out;
    EXPECT_EQ(cls_process::execute_cmd(shell("echo x"), &only_out, nullptr), 0);
    EXPECT_STREQ(only_out.c_str(), "x\n");
    cls_string missing_out("old");
    EXPECT_EQ(cls_process::execute_cmd(args({"/nonexistent/program"}), &missing_out, nullptr), 127);
    EXPECT_STREQ(missing_out.c_str(), "");
}

TEST(process, large_output_is_complete_after_wait) {
    auto out = cls_process::execute_cmd("head -c 5000000 /dev/zero | tr '\\0' 'x'");
    ASSERT_TRUE(out.is_not_null());
    EXPECT_EQ(out->length(), 5000000);
    EXPECT_EQ((*out)[4999999], 'x');
}

TEST(time, clock_is_monotonic_and_sleep_waits) {
    cls_time zero(false);
    EXPECT_EQ(zero.ms(), 0);
    cls_time start;
    long long a = cls_time::now_ms();
    cls_time::sleep_ms(30);
    long long b = cls_time::now_ms();
    EXPECT_GE(b - a, 30);
    EXPECT_GE(start.elapsed_ms(), 30);
    cls_time::sleep_ms(0);
    cls_time::sleep_ms(-5);
    EXPECT_GE(cls_time::now_ms(), b);
}

TEST(time, sleep_lasts_its_full_time_while_output_arrives) {
    cls_process p(shell("i=0; while [ $i -lt 20 ]; do echo $i; sleep 0.005; i=$((i+1)); done"), "");
    long long a = cls_time::now_ms();
    cls_time::sleep_ms(50);
    EXPECT_GE(cls_time::now_ms() - a, 50);
    p.wait_for_exit();
}
