// Interrupting a child's process group when a shell in it forks at the same
// moment: the child of a fork runs the shell's SIGINT handler until its exec,
// so an interrupt landing in between is lost to the program it then runs. The
// tests make that moment happen on purpose, with a handler that execs.
#include <gtest/gtest.h>

#include <fstream>
#include <string>

#include "ozgi/cls_process.h"
#include "ozgi/cls_time.h"
#include "temp_tree.h"

using namespace ozgi;

namespace {

std::string str(const cls_sp<cls_string>& s) { return std::string(s->c_str(), s->length()); }

// Reads output until it contains `text`, giving up after a generous number of polls.
bool read_until(cls_process& p, std::string* got, const std::string& text) {
    for (int i = 0; i < 4000 && got->find(text) == std::string::npos; ++i) {
        cls_time::sleep_ms(5);
        *got += str(p.read_to_str());
    }
    return got->find(text) != std::string::npos;
}

// Waits, with a bound far above any ordinary end, until the child has ended.
bool ends(cls_process& p, std::string* got) {
    for (int i = 0; i < 4000; ++i) {
        *got += str(p.read_to_str());
        if (p.is_ended()) {
            *got += str(p.read_to_str());
            return true;
        }
        cls_time::sleep_ms(5);
    }
    return false;
}

cls_array<cls_string> program(const std::string& path) {
    cls_array<cls_string> a;
    a.append(path.c_str());
    return a;
}

} // namespace

TEST(interrupt, a_program_that_missed_the_interrupt_in_a_shell_handler_is_interrupted_again) {
    temp_tree t;
    // The inner shell takes the interrupt in its handler and only then runs a
    // program, which starts with SIGINT at its default as after any exec: just
    // what a forked child of the outer shell does when the interrupt meets it
    // before its exec. The outer shell waits for it.
    std::string script = t.script("missed.sh",
                                  "sh -c 'trap \"exec sleep 60\" INT; echo started; while :; do sleep 0.05; done'\n"
                                  "echo after\n");
    cls_process p(program(script), "");
    std::string got;
    ASSERT_TRUE(read_until(p, &got, "started\n"));
    p.send_int_signal();
    ASSERT_TRUE(ends(p, &got)) << "the program that missed the interrupt still runs";
    // The outer shell noted the interrupt and ends by it once its child has.
    EXPECT_EQ(p.wait_for_exit(), 130);
    EXPECT_EQ(got, "started\n");
}

TEST(interrupt, programs_started_by_a_trap_after_the_interrupt_run_to_their_end) {
    temp_tree t;
    std::string script = t.script("trapping.sh",
                                  "trap 'echo got INT; sleep 1 && echo slept; exit 7' INT\n"
                                  "echo started\n"
                                  "while :; do sleep 0.05; done\n");
    cls_process p(program(script), "");
    std::string got;
    ASSERT_TRUE(read_until(p, &got, "started\n"));
    p.send_int_signal();
    ASSERT_TRUE(ends(p, &got));
    EXPECT_EQ(p.wait_for_exit(), 7);
    // An interrupted sleep would have failed and kept "slept" from being printed.
    EXPECT_EQ(got, "started\ngot INT\nslept\n");
}

TEST(interrupt, a_program_catching_sigint_gets_it_once) {
    temp_tree t;
    // The shell counts interrupts in its trap and ends when a file appears.
    std::string go = t.path("go");
    std::string script = t.script("counting.sh",
                                  "n=0\ntrap 'n=$((n+1)); echo \"got INT $n\"' INT\n"
                                  "echo started\n"
                                  "while [ ! -e '" + go + "' ]; do sleep 0.05; done\n"
                                  "echo \"ended after $n\"\n");
    cls_process p(program(script), "");
    std::string got;
    ASSERT_TRUE(read_until(p, &got, "started\n"));
    p.send_int_signal();
    ASSERT_TRUE(read_until(p, &got, "got INT 1\n"));
    // Long enough for the whole watch after the interrupt to pass.
    cls_time::sleep_ms(5500);
    std::ofstream(go.c_str()) << "";
    ASSERT_TRUE(ends(p, &got));
    EXPECT_EQ(p.wait_for_exit(), 0);
    EXPECT_EQ(got, "started\ngot INT 1\nended after 1\n");
}
