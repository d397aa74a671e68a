// vesk-cli check on real temporary menus: every finding with its exact lines.
#include <gtest/gtest.h>
#include <sys/stat.h>

#include "cli_test_util.h"

using namespace cli_test;

namespace {

// A menu holding one test `name` whose help is `help`.
void help_test(const temp_dir& menu, const std::string& name, const std::string& help) {
    menu.write_help_script(name, help);
}

// The findings of `out` about `path`: each line starting with "PATH: " and the
// lines after it up to the next finding.
std::string findings_of(const std::string& out, const std::string& path) {
    std::string result;
    bool in = false;
    for (const std::string& line : lines_of(out)) {
        bool head = line.find(": error: ") != std::string::npos || line.find(": warning: ") != std::string::npos;
        bool summary = line.find(" checked, ") != std::string::npos;
        if (head || summary) in = head && line.rfind(path + ": ", 0) == 0;
        if (in) result += line + "\n";
    }
    return result;
}

} // namespace

TEST(cli_check, refused_argument_line_with_the_panels_message_and_caret) {
    temp_dir menu;
    help_test(menu, "t", usage_with({"--good <1-5>: fine", "--x <1-5> : blank before colon", "\t--y\t<1-2>;"}));
    run_result r = cli_local(menu.path(), {"check"});
    EXPECT_EQ(r.status, 1) << r.out << r.err;
    EXPECT_EQ(findings_of(r.out, "t"),
              "t: error: Failed to match regular expression:\n"
              "--x <1-5> : blank before colon\n"
              "         ^\n"
              "t: error: Failed to match regular expression:\n"
              "\t--y\t<1-2>;\n"
              "\t   \t     ^\n");
    EXPECT_NE(r.out.find("1 test checked, 2 errors, 0 warnings\n"), std::string::npos) << r.out;
}

TEST(cli_check, caret_is_where_the_panel_puts_it) {
    temp_dir menu;
    help_test(menu, "t", usage_with({"--level <1-10> Default=3, missing colon"}));
    run_result cli = cli_local(menu.path(), {"check"});
    app_test::run_opts_t o;
    o.args = {"--dir=" + menu.path(), "--serial-id=LOCAL_DEVICE"};
    app_test::script_t script;
    script.cmd("tap_text t");
    app_test::run_result panel = app_test::run_vesk(o, script);
    // The panel's fatal message: its first line names the source, the rest is the line and the caret.
    size_t at = panel.err.find("Failed to match regular expression:\n");
    ASSERT_NE(at, std::string::npos) << panel.err;
    std::string panel_lines = panel.err.substr(at + std::string("Failed to match regular expression:\n").size());
    EXPECT_EQ(findings_of(cli.out, "t"), "t: error: Failed to match regular expression:\n" + panel_lines);
}

TEST(cli_check, help_that_hangs_is_an_error_and_its_group_is_killed) {
    temp_dir menu;
    std::string pid_file = menu.at("pids");
    // The help starts a child of its own that ignores SIGINT too: the whole group must go.
    menu.write_script("hang", "if [ \"$1\" = \"--help\" ]; then (trap '' INT; sleep 100) & echo \"$$ $!\" > '" +
                                  pid_file + "'; trap '' INT; sleep 100; fi\n");
    run_result r = cli_local(menu.path(), {"check", "--help-timeout=1"});
    EXPECT_EQ(r.status, 1);
    EXPECT_EQ(findings_of(r.out, "hang"),
              "hang: error: --help did not end within 1 s (the panel would wait for it forever); its process group "
              "was killed\n");
    std::istringstream pids(app_test::read_file(pid_file));
    int shell = 0, child = 0;
    pids >> shell >> child;
    ASSERT_GT(shell, 0);
    ASSERT_GT(child, 0);
    EXPECT_FALSE(process_alive(shell));
    EXPECT_FALSE(process_alive(child));
}

TEST(cli_check, unusable_help_is_a_warning) {
    temp_dir menu;
    menu.write_help_script("nonzero", usage_with({"--a <1-2>: x"}), 3);
    help_test(menu, "nousage", "  Usage: indented\nArguments:\n--a <1-2>: x\n");
    run_result r = cli_local(menu.path(), {"check"});
    EXPECT_EQ(r.status, 0) << r.out;
    EXPECT_EQ(findings_of(r.out, "nonzero"), "nonzero: warning: --help exits with 3: the panel shows no arguments\n");
    EXPECT_EQ(findings_of(r.out, "nousage"),
              "nousage: warning: --help does not start with \"Usage:\": the panel shows no arguments\n"
              "  Usage: indented\n"
              "^\n");
    EXPECT_NE(r.out.find("2 tests checked, 0 errors, 2 warnings\n"), std::string::npos);
    run_result strict = cli_local(menu.path(), {"check", "--werror"});
    EXPECT_EQ(strict.status, 1);
}

TEST(cli_check, numbers_the_fixed_point_type_or_the_numeric_page_cannot_take) {
    temp_dir menu;
    help_test(menu, "big", usage_with({"--huge <0-99999999999999999999>: too big"}));
    help_test(menu, "step", usage_with({"--fine <0-1>: Step=0.0000000000000000001, tiny step"}));
    help_test(menu, "top", usage_with({"--edge <0-9223372036854775807>: at the top"}));
    help_test(menu, "thin", usage_with({"--thin <0-100>: Default=0.000000000000000001, thin default"}));
    help_test(menu, "rev", usage_with({"--rev <10-1>: reversed"}));
    help_test(menu, "dots", usage_with({"--dot <1.2.3-5>: two points"}));
    help_test(menu, "zero", usage_with({"--z <0-5>: Step=0, no step"}));
    run_result r = cli_local(menu.path(), {"check"});
    EXPECT_EQ(r.status, 1);
    EXPECT_EQ(findings_of(r.out, "big"),
              "big: error: higher bound \"99999999999999999999\" does not fit the 64-bit fixed-point type: the "
              "numeric page ends the program\n"
              "--huge <0-99999999999999999999>: too big\n"
              "          ^\n");
    EXPECT_EQ(findings_of(r.out, "step"),
              "step: error: step \"0.0000000000000000001\" has 19 characters after the point; the fixed-point type "
              "keeps at most 18, so the numeric page ends the program when it opens\n"
              "--fine <0-1>: Step=0.0000000000000000001, tiny step\n"
              "              ^\n");
    EXPECT_EQ(findings_of(r.out, "top"),
              "top: error: tapping +10 on the numeric page at 9223372036854775806 overflows the fixed-point type "
              "and ends the program\n"
              "--edge <0-9223372036854775807>: at the top\n"
              "        ^\n");
    EXPECT_EQ(findings_of(r.out, "thin"),
              "thin: error: tapping -10 on the numeric page at 1.000000000000000001 overflows the fixed-point type "
              "and ends the program\n"
              "--thin <0-100>: Default=0.000000000000000001, thin default\n"
              "                ^\n");
    EXPECT_EQ(findings_of(r.out, "rev"),
              "rev: error: lower bound 10 is above higher bound 1: the numeric page always sets 1\n"
              "--rev <10-1>: reversed\n"
              "       ^\n");
    EXPECT_EQ(findings_of(r.out, "dots"),
              "dots: error: lower bound \"1.2.3\" is not a number: the numeric page reads it as 1.2\n"
              "--dot <1.2.3-5>: two points\n"
              "       ^\n");
    EXPECT_EQ(findings_of(r.out, "zero"),
              "zero: error: step \"0\" is not above 0: its buttons do not move the value\n"
              "--z <0-5>: Step=0, no step\n"
              "           ^\n");
}

TEST(cli_check, defaults_duplicates_and_blank_items) {
    temp_dir menu;
    help_test(menu, "t",
              usage_with({"--level <1-10>: Default=20, out of range", "--mode {fast|slow}: Default=medium, not an item",
                          "--mode {a| |b}: duplicate with a blank item", "--ok <1-10>: Default=5, Step=0.5, fine"}));
    run_result r = cli_local(menu.path(), {"check"});
    EXPECT_EQ(r.status, 1);
    EXPECT_EQ(findings_of(r.out, "t"),
              "t: error: default 20 is outside the range 1-10\n"
              "--level <1-10>: Default=20, out of range\n"
              "                ^\n"
              "t: error: default \"medium\" is not among the list items\n"
              "--mode {fast|slow}: Default=medium, not an item\n"
              "                    ^\n"
              "t: error: duplicate argument name \"mode\": the panel only ever edits the first\n"
              "--mode {a| |b}: duplicate with a blank item\n"
              "  ^\n"
              "t: error: empty list item: its button shows no text\n"
              "--mode {a| |b}: duplicate with a blank item\n"
              "          ^\n");
}

TEST(cli_check, menu_dictionary_that_does_not_parse) {
    temp_dir menu;
    menu.make_test("t");
    menu.write("dict.xml", "<ui_text_dict>\n  <dict_entry en_US=\"a\" zh_CN=\"b\">\n</ui_text_dict>\n");
    run_result r = cli_local(menu.path(), {"check"});
    EXPECT_EQ(r.status, 1);
    EXPECT_EQ(findings_of(r.out, "dict.xml:3"),
              "dict.xml:3: error: the menu dictionary does not parse (Start-end tags mismatch): the panel ignores it\n"
              "</ui_text_dict>\n"
              "  ^\n");
}

TEST(cli_check, names_that_are_not_utf8) {
    temp_dir menu;
    help_test(menu, "sub/bad\xff", usage_with({}));
    run_result r = cli_local(menu.path(), {"check"});
    EXPECT_EQ(r.status, 1);
    EXPECT_EQ(findings_of(r.out, "sub/bad\\xFF"),
              "sub/bad\\xFF: error: the name is not valid UTF-8: the panel cannot show it\n");
}

TEST(cli_check, symbolic_link_loops_are_errors_and_left_out) {
    temp_dir menu;
    menu.make_test("sub/t");
    ASSERT_EQ(::symlink("..", menu.at("sub/up").c_str()), 0);
    ASSERT_EQ(::symlink("self", menu.at("self").c_str()), 0);
    run_result r = cli_local(menu.path(), {"check"});
    EXPECT_EQ(r.status, 1);
    EXPECT_EQ(findings_of(r.out, "sub/up"), "sub/up: error: symbolic link loop: it leads back to a directory above it\n");
    EXPECT_EQ(findings_of(r.out, "self"), "self: error: symbolic link loop: the link never reaches a file\n");
    // The test below the loop is checked once, not once per turn of the loop.
    EXPECT_NE(r.out.find("1 test checked, 2 errors, 1 warning\n"), std::string::npos) << r.out;
}

TEST(cli_check, unreadable_directories_are_warnings) {
    if (::geteuid() == 0) GTEST_SKIP() << "the superuser reads every directory";
    temp_dir menu;
    menu.make_test("t");
    menu.make_dir("locked");
    ::chmod(menu.at("locked").c_str(), 0);
    run_result r = cli_local(menu.path(), {"check"});
    ::chmod(menu.at("locked").c_str(), 0755);
    EXPECT_EQ(findings_of(r.out, "locked"),
              "locked: warning: the directory cannot be read: its tests are missing from the menu\n");
}

TEST(cli_check, example_menu) {
    run_result r = cli_local(std::string(VESK_SOURCE_DIR) + "/examples/menu", {"check"});
    EXPECT_EQ(r.status, 0);
    EXPECT_EQ(r.out,
              "network/wifi/signal_level: warning: --help does not start with \"Usage:\": the panel shows no "
              "arguments\n"
              "signal_level prints the signal strength of the wireless link.\n"
              "^\n"
              "8 tests checked, 0 errors, 1 warning\n");
}

TEST(cli_check, same_findings_through_adb) {
    temp_dir menu;
    help_test(menu, "args/t", usage_with({"--x <1-5> : blank before colon", "--level <1-10>: Default=20, out"}));
    menu.write_help_script("nonzero", usage_with({"--a <1-2>: x"}), 3);
    menu.write("dict.xml", "<ui_text_dict>\n<dict_entry en_US=\"a\">\n");
    run_result local = cli_local(menu.path(), {"check"});
    run_result adb = cli_adb(menu.path(), {"check"});
    EXPECT_EQ(adb.status, 1) << adb.out << adb.err;
    EXPECT_EQ(adb.out, local.out);
    EXPECT_NE(adb.out.find("2 tests checked, 3 errors, 1 warning\n"), std::string::npos) << adb.out;
    EXPECT_NE(adb.out.find("dict.xml:"), std::string::npos) << adb.out;
}
