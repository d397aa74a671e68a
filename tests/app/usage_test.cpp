// The usage text and help: exact text, the framework's help after it, the exit
// status, and what does not count as help.
#include <gtest/gtest.h>

#include <string>

#include "app/vesk_options.h"
#include "app_test_util.h"
#include "ozgi/cls_ozgi_gui.h"

using namespace app_test;

namespace {

const char* const USAGE =
    "vesk: Display diagnostic menus based on directory.\n"
    "           vesk scans the input directory on the specified device for executables, and display them on the GUI "
    "screen with the directory structure as the menu structure.\n"
    "Usage: vesk <options>\n"
    "--device=<local|adb>:\n"
    "  The device to scan for the menus\n"
    "  local: vesk will scan the local folder.\n"
    "         If --dir is not specified, \"./\" will be used.\n"
    "  adb: vesk will use the adb device.\n"
    "       If --dir is not specified, \"/dfs/vesk/\" will be used\n"
    "--serial-id=<serial-id>:\n"
    "  The serial-id of the adb device.\n"
    "--dir=<menu-dir>:\n"
    "  The root directory to scan for the menus.\n"
    "--back-key=<key>:\n"
    "  The additional key to exit the current menu.\n"
    "  Please note that this key will exit the whole vesk.\n"
    "--menu-interval=<menu-interval>\n"
    "  The interval between menu items in the menu, default is 5\n"
    "--menu-item-height=<menu-item-height>\n"
    "  The height of the menu items, default is 64\n";

// What the framework prints for its own options, captured in this process.
std::string framework_help() {
    testing::internal::CaptureStdout();
    ozgi::cls_ozgi_gui::output_help();
    return testing::internal::GetCapturedStdout();
}

} // namespace

TEST(AppUsage, PrintUsageWritesTheTwentyLines) {
    testing::internal::CaptureStdout();
    print_usage();
    std::string out = testing::internal::GetCapturedStdout();
    EXPECT_EQ(out, USAGE);
    int lines = 0;
    for (char c : out) lines += c == '\n';
    EXPECT_EQ(lines, 20);
}

TEST(AppUsage, ShortHelpPrintsUsageThenFrameworkHelpAndReturnsMinusOne) {
    run_opts_t o;
    o.args = {"-h"};
    run_result r = run_plain(o);
    EXPECT_EQ(r.status, 255);
    EXPECT_EQ(r.out, std::string(USAGE) + framework_help());
    EXPECT_EQ(r.err, "");
}

TEST(AppUsage, LongHelpPrintsUsageThenFrameworkHelpAndReturnsMinusOne) {
    run_opts_t o;
    o.args = {"--help"};
    run_result r = run_plain(o);
    EXPECT_EQ(r.status, 255);
    EXPECT_EQ(r.out, std::string(USAGE) + framework_help());
    EXPECT_EQ(r.err, "");
}

TEST(AppUsage, FrameworkHelpIsNotEmpty) {
    // The help test above would pass vacuously if the framework printed nothing.
    EXPECT_NE(framework_help().find("--ozgi-video="), std::string::npos);
}

TEST(AppUsage, HelpComesBeforeTheDeviceIsCreated) {
    // An unknown device would be fatal, but help returns first.
    run_opts_t o;
    o.args = {"--device=nonsense", "--help"};
    run_result r = run_plain(o);
    EXPECT_EQ(r.status, 255);
    EXPECT_EQ(r.out.rfind(USAGE, 0), 0u);
    EXPECT_EQ(r.err, "");
}

TEST(AppUsage, HelpWithLettersAfterItIsNotHelp) {
    temp_dir menu;
    menu.make_test("t1");
    run_opts_t o;
    o.args = {"-hx", "--dir=" + menu.path()};
    script_t s;
    s.dump();
    run_result r = run_vesk(o, s);
    EXPECT_EQ(r.status, 0) << r.err;
    EXPECT_EQ(r.out.find("Usage: vesk"), std::string::npos);
    ASSERT_TRUE(r.dumps[0].valid);
    EXPECT_EQ(r.dumps[0].top().cls, "cls_vesk_page");
}

TEST(AppUsage, LongHelpWithLettersAfterItIsNotHelp) {
    temp_dir menu;
    menu.make_test("t1");
    run_opts_t o;
    o.args = {"--helpme", "--dir=" + menu.path()};
    script_t s;
    s.dump();
    run_result r = run_vesk(o, s);
    EXPECT_EQ(r.status, 0) << r.err;
    EXPECT_EQ(r.out.find("Usage: vesk"), std::string::npos);
    ASSERT_TRUE(r.dumps[0].valid);
    EXPECT_EQ(r.dumps[0].top().cls, "cls_vesk_page");
}
