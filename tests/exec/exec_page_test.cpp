// The execution page driven headless on real temporary menus: argument buttons,
// runs, results, output, direct tests and stopping.
#include <gtest/gtest.h>

#include "exec_test_util.h"

using namespace exec_test;

namespace {

const char* const TWO_ARG_HELP =
    "Usage: two [--count <n>] [--mode <m>]\n"
    "Does two things.\n"
    "\n"
    "Arguments:\n"
    "--count <1-20>: Default=4, How many times\n"
    "--mode {a|b|c}: Default=a, Which mode\n";

class ExecPage : public ::testing::Test, public vesk_fixture {};

// Checks that the run ended normally; the program's error output explains a failure.
#define ASSERT_RAN(r) ASSERT_EQ((r).status, 0) << (r).err

TEST_F(ExecPage, TwoArgumentHelpShowsTwoButtonsFirstFocusedAndHelpButton) {
    m.help_test("two", TWO_ARG_HELP);
    run_result_t r = run("tap_text two\n" + dump("open.json"));
    ASSERT_RAN(r);
    json_t d = load("open.json");
    const json_t& page = top_page(d);
    EXPECT_EQ(page.cls(), "cls_vesk_exec_page");
    EXPECT_EQ(label_text(page, "TITLE_LABEL"), "two");
    std::vector<const json_t*> args = arg_buttons(page);
    ASSERT_EQ(args.size(), 2u);
    EXPECT_EQ(label_text(*args[0], "ARG_NAME_LABEL"), "count");
    EXPECT_EQ(label_text(*args[0], "ARG_VALUE_LABEL"), "4");
    EXPECT_EQ(label_text(*args[1], "ARG_NAME_LABEL"), "mode");
    EXPECT_EQ(label_text(*args[1], "ARG_VALUE_LABEL"), "a");
    EXPECT_TRUE(args[0]->focused());
    EXPECT_FALSE(args[1]->focused());
    EXPECT_FALSE(named(page, "EXECUTE_BUTTON").focused());
    EXPECT_TRUE(named(page, "HELP_BUTTON").visible());
    EXPECT_TRUE(named(page, "EXECUTE_BUTTON").visible());
    EXPECT_FALSE(named(page, "STOP_BUTTON").visible());
    EXPECT_FALSE(named(page, "PASS_ICON").visible());
    EXPECT_FALSE(named(page, "FAIL_ICON").visible());
    EXPECT_EQ(label_text(named(page, "EXEC_RESULT"), "LABEL"), "");
}

TEST_F(ExecPage, HelpExitingOneShowsNoArgumentsNoHelpAndExecuteFocused) {
    m.script("broken",
             "if [ \"$1\" = \"--help\" ]; then\n"
             "  echo 'Usage: broken'; echo 'Arguments:'; echo '--n <1-5>: A number'; exit 1\n"
             "fi\n"
             "echo \"words:$#\"\n");
    run_result_t r = run("tap_text broken\n" + dump("open.json") +
                         "tap_text Execute test\nwait_text Exit code:0 2500\n" + dump("ran.json"));
    ASSERT_RAN(r);
    const json_t& page = top_page(load("open.json"));
    EXPECT_EQ(page.cls(), "cls_vesk_exec_page");
    EXPECT_TRUE(arg_buttons(page).empty());
    EXPECT_FALSE(named(page, "HELP_BUTTON").visible());
    EXPECT_TRUE(named(page, "EXECUTE_BUTTON").focused());
    // Without a usable help text the test runs without arguments.
    EXPECT_EQ(label_text(named(top_page(load("ran.json")), "OUTPUT_BUTTON"), "LABEL"), "words:0\n");
}

TEST_F(ExecPage, ExitCodeZeroShowsPassIconAndExitCode) {
    m.script("good", "echo fine\nexit 0\n");
    run_result_t r = run("tap_text good\ntap_text Execute test\nwait_text Exit code:0 2500\n" + dump("end.json") +
                         screenshot("end.png"));
    ASSERT_RAN(r);
    const json_t& page = top_page(load("end.json"));
    const json_t& result = named(page, "EXEC_RESULT");
    EXPECT_EQ(label_text(result, "LABEL"), "Exit code:0");
    EXPECT_TRUE(named(page, "PASS_ICON").visible());
    EXPECT_FALSE(named(page, "FAIL_ICON").visible());
    EXPECT_TRUE(named(page, "EXECUTE_BUTTON").visible());
    EXPECT_TRUE(named(page, "EXECUTE_BUTTON").focused());
    EXPECT_FALSE(named(page, "STOP_BUTTON").visible());
    picture_t pic = load_png(m.work("end.png"));
    EXPECT_GT(count_pixels(pic, named(page, "PASS_ICON"), is_green), 400);
    EXPECT_EQ(count_pixels(pic, result, is_red), 0);
}

TEST_F(ExecPage, ExitCodeThreeShowsFailIconAndExitCode) {
    m.script("bad", "echo broken\nexit 3\n");
    run_result_t r = run("tap_text bad\ntap_text Execute test\nwait_text Exit code:3 2500\n" + dump("end.json") +
                         screenshot("end.png"));
    ASSERT_RAN(r);
    const json_t& page = top_page(load("end.json"));
    const json_t& result = named(page, "EXEC_RESULT");
    EXPECT_EQ(label_text(result, "LABEL"), "Exit code:3");
    EXPECT_FALSE(named(page, "PASS_ICON").visible());
    EXPECT_TRUE(named(page, "FAIL_ICON").visible());
    picture_t pic = load_png(m.work("end.png"));
    EXPECT_GT(count_pixels(pic, named(page, "FAIL_ICON"), is_red), 400);
    EXPECT_EQ(count_pixels(pic, result, is_green), 0);
}

TEST_F(ExecPage, OutputGrowsInOrderAcrossTicksAndTheLastPieceShowsBeforeTheResult) {
    // Each piece waits for the dump of the one before, so every stage is seen
    // however slowly the machine runs: no sleep has to outlast a tick.
    auto after = [&](const std::string& name) {
        return "while [ ! -e '" + m.work(name) + "' ]; do sleep 0.01; done\n";
    };
    m.script("slow", "[ \"$1\" = \"--help\" ] && exit 1\necho 'piece 1'\n" + after("one.json") + "echo 'piece 2'\n" +
                         after("two.json") + "echo 'piece 3'\nexit 0\n");
    run_result_t r = run("tap_text slow\ntap_text Execute test\n" + dump("start.json") +
                         "wait_text piece 1 20000\n" + dump("one.json") + "wait_text piece 2 20000\n" +
                         dump("two.json") + "wait_text Exit code:0 20000\n" + dump("end.json"));
    ASSERT_RAN(r);
    const json_t& start = top_page(load("start.json"));
    EXPECT_EQ(label_text(named(start, "EXEC_RESULT"), "LABEL"), "Executing...");
    EXPECT_TRUE(named(start, "STOP_BUTTON").visible());
    EXPECT_TRUE(named(start, "STOP_BUTTON").focused());
    EXPECT_FALSE(named(start, "EXECUTE_BUTTON").visible());
    EXPECT_FALSE(named(start, "BACK_BUTTON").enabled());
    EXPECT_FALSE(named(start, "OUTPUT_BUTTON").enabled());

    const json_t& one = top_page(load("one.json"));
    EXPECT_EQ(label_text(named(one, "OUTPUT_BUTTON"), "LABEL"), "piece 1\n");
    EXPECT_EQ(label_text(named(one, "EXEC_RESULT"), "LABEL"), "Executing...");
    const json_t& two = top_page(load("two.json"));
    EXPECT_EQ(label_text(named(two, "OUTPUT_BUTTON"), "LABEL"), "piece 1\npiece 2\n");
    EXPECT_EQ(label_text(named(two, "EXEC_RESULT"), "LABEL"), "Executing...");

    const json_t& end = top_page(load("end.json"));
    EXPECT_EQ(label_text(named(end, "OUTPUT_BUTTON"), "LABEL"), "piece 1\npiece 2\npiece 3\n");
    EXPECT_EQ(label_text(named(end, "EXEC_RESULT"), "LABEL"), "Exit code:0");
    EXPECT_TRUE(named(end, "BACK_BUTTON").enabled());
    EXPECT_TRUE(named(end, "OUTPUT_BUTTON").enabled());
}

TEST_F(ExecPage, ClickingTheEmptyOutputAreaDoesNothing) {
    m.script("quiet", "echo said\nexit 0\n");
    // Find where the output area is, then tap it before and after a run.
    ASSERT_RAN(run("tap_text quiet\n" + dump("where.json")));
    std::string tap = tap_at(named(top_page(load("where.json")), "OUTPUT_BUTTON"));
    run_result_t r = run("tap_text quiet\n" + tap + dump("empty.json") +
                         "tap_text Execute test\nwait_text Exit code:0 2500\n" + tap + dump("full.json"));
    ASSERT_RAN(r);
    json_t empty = load("empty.json");
    EXPECT_EQ(pages(empty).size(), 2u);
    EXPECT_EQ(top_page(empty).cls(), "cls_vesk_exec_page");
    // The same tap with output present does open the output page.
    json_t full = load("full.json");
    EXPECT_EQ(pages(full).size(), 3u);
    EXPECT_EQ(top_page(full).cls(), "cls_vesk_output_page");
}

TEST_F(ExecPage, ChangedNumericAndListValuesReachTheNextRun) {
    m.help_test("two", TWO_ARG_HELP, "echo ran\nexit 0\n");
    run_result_t r = run("tap_text two\n"
                         "tap_text Execute test\nwait_text Exit code:0 2500\n" +
                         std::string("tap_text count\ntap_text +1\ntap_text Back\n") + dump("numeric.json") +
                         "tap_text mode\ntap_text c\ntap_text Back\n" + dump("list.json") +
                         "tap_text Execute test\nwait_text Exit code:0 2500\n" + dump("ran.json"));
    ASSERT_RAN(r);
    const json_t& numeric = top_page(load("numeric.json"));
    EXPECT_EQ(numeric.cls(), "cls_vesk_exec_page");
    EXPECT_EQ(arg_value(numeric, "count"), "5");
    EXPECT_EQ(arg_value(numeric, "mode"), "a");
    const json_t& list = top_page(load("list.json"));
    EXPECT_EQ(arg_value(list, "count"), "5");
    EXPECT_EQ(arg_value(list, "mode"), "c");
    // Every argument goes as "--name" and its value, in the order of the help text.
    EXPECT_EQ(args_of("two"), "[--count]\n[5]\n[--mode]\n[c]\n");
}

TEST_F(ExecPage, FirstRunPassesTheDefaults) {
    m.help_test("two", TWO_ARG_HELP, "echo ran\nexit 0\n");
    ASSERT_RAN(run("tap_text two\ntap_text Execute test\nwait_text Exit code:0 2500\n"));
    EXPECT_EQ(args_of("two"), "[--count]\n[4]\n[--mode]\n[a]\n");
}

TEST_F(ExecPage, DirectTestStartsAtOnceAndClosesItsPageWhenItEnds) {
    m.script("direct_exec.blink", "echo blinking > '" + m.work("blink.ran") + "'\necho blinking\nsleep 1\necho done\n");
    m.script("other", "exit 0\n");
    run_result_t r = run("tap_text blink\n" + dump("running.json") + "wait 2500\n" + dump("after.json"));
    ASSERT_RAN(r);
    json_t running = load("running.json");
    ASSERT_EQ(pages(running).size(), 2u);
    const json_t& page = top_page(running);
    EXPECT_EQ(page.cls(), "cls_vesk_exec_page");
    EXPECT_EQ(label_text(page, "TITLE_LABEL"), "blink");
    EXPECT_EQ(label_text(named(page, "EXEC_RESULT"), "LABEL"), "Executing...");
    EXPECT_TRUE(named(page, "STOP_BUTTON").visible());
    EXPECT_TRUE(named(page, "STOP_BUTTON").focused());
    EXPECT_FALSE(named(page, "EXECUTE_BUTTON").visible());
    EXPECT_FALSE(named(page, "HELP_BUTTON").visible());
    EXPECT_EQ(read_file(m.work("blink.ran")), "blinking\n");
    json_t after = load("after.json");
    ASSERT_EQ(pages(after).size(), 1u);
    EXPECT_EQ(top_page(after).cls(), "cls_vesk_page");
}

TEST_F(ExecPage, StoppingChangesNothingUntilTheProcessHasEnded) {
    m.script("long",
             "[ \"$1\" = \"--help\" ] && exit 1\n"
             "echo started\n"
             "trap 'echo got INT; kill $pid 2>/dev/null; sleep 2; echo bye; exit 7' INT\n"
             "sleep 30 &\npid=$!\nwait $pid\necho 'not interrupted'\nexit 0\n");
    run_result_t r = run("tap_text long\ntap_text Execute test\nwait_text started 1000\n"
                         "tap_text Stop execution\n" + dump("stopped.json") +
                         "wait_text got INT 600\n" + dump("ending.json") +
                         "wait_text Exit code:7 4000\n" + dump("end.json"));
    ASSERT_RAN(r);
    for (const char* name : {"stopped.json", "ending.json"}) {
        const json_t& page = top_page(load(name));
        EXPECT_EQ(label_text(named(page, "EXEC_RESULT"), "LABEL"), "Executing...") << name;
        EXPECT_TRUE(named(page, "STOP_BUTTON").visible()) << name;
        EXPECT_FALSE(named(page, "EXECUTE_BUTTON").visible()) << name;
        EXPECT_FALSE(named(page, "FAIL_ICON").visible()) << name;
    }
    const json_t& end = top_page(load("end.json"));
    EXPECT_EQ(label_text(named(end, "EXEC_RESULT"), "LABEL"), "Exit code:7");
    EXPECT_TRUE(named(end, "FAIL_ICON").visible());
    EXPECT_FALSE(named(end, "STOP_BUTTON").visible());
    EXPECT_TRUE(named(end, "EXECUTE_BUTTON").focused());
    EXPECT_EQ(label_text(named(end, "OUTPUT_BUTTON"), "LABEL"), "started\ngot INT\nbye\n");
}

} // namespace
