// The open-set-run-result walk on the adb device, through the adb stand-in of
// tests/support, which plays the target on this machine.
#include <gtest/gtest.h>

#include <cstdlib>

#include "exec_test_util.h"

using namespace exec_test;

namespace {

class AdbWalk : public ::testing::Test, public vesk_fixture {
protected:
    run_result_t run_adb(const std::string& script) {
        const char* path = std::getenv("PATH");
        std::vector<std::pair<std::string, std::string>> env = {
            {"PATH", support_dir() + ":" + (path ? path : "/usr/bin:/bin")},
            {"ADB_STUB_DEVICES", "SERIAL1"},
            {"ADB_STUB_LOG", m.work("adb.log")},
        };
        return run_vesk(m.work("script.txt"), script, {"--device=adb", "--serial-id=SERIAL1", "--dir=" + m.root()}, env);
    }
};

#define ASSERT_RAN(r) ASSERT_EQ((r).status, 0) << (r).err

TEST_F(AdbWalk, OpenSetRunAndSeeTheResultWithoutTheMarker) {
    m.help_test("two",
                "Usage: two\nArguments:\n--count <1-20>: Default=4, How many\n--mode {a|b|c}: Default=a, Which\n",
                "echo \"count and mode\"\nexit 0\n");
    ASSERT_RAN(run_adb("tap_text two\n" + dump("open.json") + "tap_text count\ntap_text +10\ntap_text Back\n"
                       "tap_text mode\ntap_text b\ntap_text Back\n" + dump("set.json") +
                       "tap_text Execute test\n" + dump("running.json") + "wait_text Exit code:0 3000\n" + dump("end.json") +
                       screenshot("end.png")));
    json_t open = top_page(load("open.json"));
    EXPECT_EQ(open.cls(), "cls_vesk_exec_page");
    EXPECT_EQ(arg_buttons(open).size(), 2u);
    EXPECT_TRUE(named(open, "HELP_BUTTON").visible());
    json_t set = top_page(load("set.json"));
    EXPECT_EQ(arg_value(set, "count"), "14");
    EXPECT_EQ(arg_value(set, "mode"), "b");
    json_t end = top_page(load("end.json"));
    EXPECT_EQ(label_text(named(end, "EXEC_RESULT"), "LABEL"), "Exit code:0");
    EXPECT_TRUE(named(end, "PASS_ICON").visible());
    EXPECT_FALSE(named(end, "FAIL_ICON").visible());
    EXPECT_EQ(label_text(named(end, "OUTPUT_BUTTON"), "LABEL"), "count and mode\n");
    EXPECT_GT(count_pixels(load_png(m.work("end.png")), named(end, "PASS_ICON"), is_green), 400);
    EXPECT_EQ(args_of("two"), "[--count]\n[14]\n[--mode]\n[b]\n");
    // The marker that carries the exit code through adb is never shown, not even while running.
    for (const char* name : {"running.json", "end.json"})
        EXPECT_EQ(read_file(m.work(name)).find("exit_code="), std::string::npos) << name;
    // The run really went through the stand-in.
    EXPECT_NE(read_file(m.work("adb.log")).find("shell"), std::string::npos);
}

TEST_F(AdbWalk, ANonZeroExitCodeComesThroughAsAFail) {
    m.script("bad", "[ \"$1\" = \"--help\" ] && exit 1\necho 'no luck'\nexit 3\n");
    ASSERT_RAN(run_adb("tap_text bad\ntap_text Execute test\nwait_text Exit code:3 3000\n" + dump("end.json")));
    json_t end = top_page(load("end.json"));
    EXPECT_EQ(label_text(named(end, "EXEC_RESULT"), "LABEL"), "Exit code:3");
    EXPECT_TRUE(named(end, "FAIL_ICON").visible());
    EXPECT_EQ(label_text(named(end, "OUTPUT_BUTTON"), "LABEL"), "no luck\n");
}

} // namespace
