// vesk-cli run, run --all and list on real temporary menus, locally and
// through the adb stand-in; the JUnit file parsed and counted, the JSON Lines
// parsed.
#include <gtest/gtest.h>

#include <pugixml.hpp>
#include <regex>

#include "cli_test_util.h"

using namespace cli_test;
using app_test::json_reader;
using app_test::json_value;

namespace {

// A test that records its arguments in "<rel>.args" and exits with `status`.
void arg_test(const temp_dir& menu, const std::string& rel, const std::string& help, int status) {
    menu.write(rel + ".help", help);
    menu.write_script(rel, "if [ \"$1\" = \"--help\" ]; then cat '" + menu.at(rel) + ".help'; exit 0; fi\n" +
                               "for a in \"$@\"; do printf '%s\\n' \"$a\"; done > '" + menu.at(rel) + ".args'\n" +
                               "echo \"output of " + rel + "\"\nexit " + std::to_string(status) + "\n");
}

// The menu of the run --all tests: a pass, a fail, a test that hangs ignoring
// SIGINT and SIGTERM (with a child of its own), and a direct test.
void all_menu(const temp_dir& menu) {
    arg_test(menu, "a/pass", usage_with({"--n <1-9>: Default=4, a number"}), 0);
    arg_test(menu, "a/fail", usage_with({}), 3);
    menu.write_script("b/hang", "if [ \"$1\" = \"--help\" ]; then exit 1; fi\n"
                                "trap '' INT TERM\n(trap '' INT TERM; sleep 100) &\n"
                                "echo \"$$ $!\" > '" + menu.at("hang.pids") + "'\necho started\nsleep 100\n");
    menu.write_script("b/direct_exec.reset", "echo reset done\n");
}

// Checks the JUnit document of the all_menu run (with or without the direct test).
void check_junit(const std::string& path, bool with_direct) {
    pugi::xml_document doc;
    ASSERT_TRUE(doc.load_file(path.c_str())) << app_test::read_file(path);
    pugi::xml_node suites = doc.child("testsuites");
    EXPECT_EQ(suites.attribute("tests").as_int(), with_direct ? 4 : 3);
    EXPECT_EQ(suites.attribute("failures").as_int(), 1);
    EXPECT_EQ(suites.attribute("errors").as_int(), 1);
    pugi::xml_node a = suites.find_child_by_attribute("testsuite", "name", "a");
    pugi::xml_node b = suites.find_child_by_attribute("testsuite", "name", "b");
    EXPECT_EQ(a.attribute("tests").as_int(), 2);
    EXPECT_EQ(a.attribute("failures").as_int(), 1);
    EXPECT_EQ(b.attribute("tests").as_int(), with_direct ? 2 : 1);
    EXPECT_EQ(b.attribute("errors").as_int(), 1);
    pugi::xml_node fail = a.find_child_by_attribute("testcase", "name", "fail");
    EXPECT_STREQ(fail.child("failure").attribute("message").value(), "exit code 3");
    EXPECT_STREQ(fail.child_value("system-out"), "output of a/fail\n");
    pugi::xml_node pass = a.find_child_by_attribute("testcase", "name", "pass");
    EXPECT_TRUE(pass.child("failure").empty());
    EXPECT_STREQ(pass.child_value("system-out"), "output of a/pass\n");
    pugi::xml_node hang = b.find_child_by_attribute("testcase", "name", "hang");
    EXPECT_STREQ(hang.child("error").attribute("type").value(), "timeout");
    // Over adb the target's shell may report the kill after the test's own output.
    EXPECT_EQ(std::string(hang.child_value("system-out")).rfind("started\n", 0), 0u) << hang.child_value("system-out");
    if (with_direct) {
        pugi::xml_node direct = b.find_child_by_attribute("testcase", "name", "direct_exec.reset");
        EXPECT_STREQ(direct.child_value("system-out"), "reset done\n");
    }
}

void check_hang_gone(const temp_dir& menu) {
    std::istringstream pids(app_test::read_file(menu.at("hang.pids")));
    int shell = 0, child = 0;
    pids >> shell >> child;
    ASSERT_GT(shell, 0);
    EXPECT_FALSE(process_alive(shell));
    EXPECT_FALSE(process_alive(child));
}

} // namespace

TEST(cli_run, one_test_with_overrides_streams_output_and_exits_with_its_code) {
    temp_dir menu;
    arg_test(menu, "sub/t", usage_with({"--freq <100-2000>: Default=500, Step=10, Hz", "--mode {fast|slow}: mode"}), 5);
    run_result r = cli_local(menu.path(), {"run", "sub/t", "--mode=slow"});
    EXPECT_EQ(r.status, 5) << r.err;
    EXPECT_EQ(r.out, "output of sub/t\n");
    EXPECT_EQ(app_test::read_file(menu.at("sub/t.args")), "--freq\n500\n--mode\nslow\n");
}

TEST(cli_run, bad_values_are_refused_before_the_test_runs) {
    temp_dir menu;
    arg_test(menu, "t", usage_with({"--freq <100-2000>: Hz", "--mode {fast|slow}: mode"}), 0);
    run_result range = cli_local(menu.path(), {"run", "t", "--freq=5000"});
    EXPECT_EQ(range.status, 2);
    EXPECT_EQ(range.err, "vesk-cli: --freq=5000: 5000 is outside the range 100-2000\n");
    run_result item = cli_local(menu.path(), {"run", "t", "--mode=medium"});
    EXPECT_EQ(item.status, 2);
    EXPECT_EQ(item.err, "vesk-cli: --mode=medium: \"medium\" is not one of {fast|slow}\n");
    run_result nan = cli_local(menu.path(), {"run", "t", "--freq=abc"});
    EXPECT_EQ(nan.err, "vesk-cli: --freq=abc: \"abc\" is not a number\n");
    run_result unknown = cli_local(menu.path(), {"run", "t", "--volume=3"});
    EXPECT_EQ(unknown.status, 2);
    EXPECT_EQ(unknown.err, "vesk-cli: t has no argument --volume (it takes: --freq, --mode)\n");
    run_result missing = cli_local(menu.path(), {"run", "nothere"});
    EXPECT_EQ(missing.status, 2);
    EXPECT_EQ(missing.err, "vesk-cli: no test nothere in the menu (see vesk-cli list)\n");
    EXPECT_FALSE(app_test::file_exists(menu.at("t.args")));
}

TEST(cli_run, all_with_pass_fail_timeout_and_direct) {
    temp_dir menu;
    all_menu(menu);
    std::string junit = menu.at("out.xml"), json = menu.at("out.jsonl");
    run_result r = cli_local(menu.path(), {"run", "--all", "--timeout=1", "--with-direct", "--junit=" + junit,
                                           "--json=" + json});
    EXPECT_EQ(r.status, 1) << r.out << r.err;
    std::vector<std::string> lines = lines_of(r.out);
    ASSERT_GE(lines.size(), 4u);
    // Not a terminal: one plain line per test, in menu order.
    EXPECT_TRUE(std::regex_match(lines[0], std::regex(R"(\[1/4\] FAIL    a/fail \(\d+\.\d\d s\))"))) << lines[0];
    EXPECT_TRUE(std::regex_match(lines[1], std::regex(R"(\[2/4\] PASS    a/pass \(\d+\.\d\d s\))"))) << lines[1];
    EXPECT_TRUE(std::regex_match(lines[2], std::regex(R"(\[3/4\] PASS    b/direct_exec.reset \(\d+\.\d\d s\))")))
        << lines[2];
    EXPECT_TRUE(std::regex_match(lines[3], std::regex(R"(\[4/4\] TIMEOUT b/hang \(\d+\.\d\d s\))"))) << lines[3];
    EXPECT_NE(r.out.find("RESULT   DURATION    TEST\n"), std::string::npos);
    EXPECT_TRUE(std::regex_search(r.out, std::regex(R"(\nFAIL +\d+\.\d\d s  a/fail  \(exit code 3\)\n)"))) << r.out;
    EXPECT_NE(r.out.find("4 tests: 2 passed, 1 failed, 1 timed out, 0 errors\n"), std::string::npos);
    EXPECT_EQ(app_test::read_file(menu.at("a/pass.args")), "--n\n4\n");
    check_hang_gone(menu);
    check_junit(junit, true);

    std::vector<json_value> records = json_lines(app_test::read_file(json));
    ASSERT_EQ(records.size(), 4u);
    EXPECT_EQ(records[1]["test"].text, "a/pass");
    EXPECT_EQ(records[1]["device"].text, "local");
    EXPECT_EQ(records[1]["serial_id"].text, "LOCAL_DEVICE");
    ASSERT_EQ(records[1]["args"].items.size(), 2u);
    EXPECT_EQ(records[1]["args"].items[1].text, "4");
    EXPECT_TRUE(records[1]["passed"].boolean);
    EXPECT_EQ(records[1]["output_bytes"].number, 17);
    EXPECT_EQ(records[1]["output_head"].text, "output of a/pass\n");
    EXPECT_EQ(records[0]["exit_code"].number, 3);
    EXPECT_FALSE(records[0]["passed"].boolean);
    EXPECT_EQ(records[2]["output_head"].text, "reset done\n");
    EXPECT_EQ(records[3]["result"].text, "TIMEOUT");
    EXPECT_GE(records[3]["duration_ms"].number, 1000);
    EXPECT_TRUE(std::regex_match(records[3]["start_time"].text,
                                 std::regex(R"(\d{4}-\d\d-\d\dT\d\d:\d\d:\d\d\.\d{3}[+-]\d\d:\d\d)")));
}

TEST(cli_run, all_below_a_prefix_without_direct_tests) {
    temp_dir menu;
    arg_test(menu, "a/pass", usage_with({}), 0);
    arg_test(menu, "ab/other", usage_with({}), 0);
    menu.write_script("a/direct_exec.reset", "echo reset done\n");
    run_result r = cli_local(menu.path(), {"run", "--all", "a"});
    EXPECT_EQ(r.status, 0) << r.out;
    // A prefix is a whole path component: "a" does not hold "ab/other".
    EXPECT_NE(r.out.find("1 test: 1 passed, 0 failed, 0 timed out, 0 errors\n"), std::string::npos) << r.out;
    EXPECT_EQ(r.out.find("reset"), std::string::npos);
    run_result none = cli_local(menu.path(), {"run", "--all", "zz"});
    EXPECT_EQ(none.status, 2);
    EXPECT_EQ(none.err, "vesk-cli: no tests below zz\n");
}

TEST(cli_run, all_through_adb) {
    temp_dir menu;
    all_menu(menu);
    std::string junit = menu.at("out.xml");
    run_result r = cli_adb(menu.path(), {"run", "--all", "--timeout=1", "--junit=" + junit});
    EXPECT_EQ(r.status, 1) << r.out << r.err;
    EXPECT_NE(r.out.find("3 tests: 1 passed, 1 failed, 1 timed out, 0 errors\n"), std::string::npos) << r.out;
    check_hang_gone(menu);
    check_junit(junit, false);
}

TEST(cli_list, tree_json_and_translation) {
    temp_dir menu;
    menu.make_test("net/wifi/scan");
    menu.make_test("net/ping");
    menu.make_test("direct_exec.reset");
    menu.make_test("info");
    menu.make_dir("empty");
    menu.write("dict.xml", "<ui_text_dict><dict_entry en_US=\"net\" zh_CN=\"网络\"/></ui_text_dict>\n");
    run_result r = cli_local(menu.path(), {"list"});
    EXPECT_EQ(r.status, 0);
    EXPECT_EQ(r.out,
              "Diagnostic\n"
              "├── net  [menu]\n"
              "│   ├── wifi  [menu]\n"
              "│   │   └── scan  [test]\n"
              "│   └── ping  [test]\n"
              "├── reset  [direct]\n"
              "└── info  [test]\n");
    run_result zh = cli_local(menu.path(), {"list", "--lang=zh_CN"});
    EXPECT_EQ(lines_of(zh.out)[1], "├── 网络  [menu]");
    EXPECT_EQ(lines_of(zh.out)[0], "诊断模式");

    run_result j = cli_local(menu.path(), {"list", "--json"});
    json_value v;
    ASSERT_TRUE(json_reader::parse(j.out, &v)) << j.out;
    EXPECT_EQ(v["kind"].text, "menu");
    ASSERT_EQ(v["children"].items.size(), 3u);
    EXPECT_EQ(v["children"].items[0]["name"].text, "net");
    EXPECT_EQ(v["children"].items[0]["children"].items[0]["children"].items[0]["path"].text, "net/wifi/scan");
    // Sorted by the name on the device, prefix included, as the menu page sorts.
    EXPECT_EQ(v["children"].items[1]["kind"].text, "direct");
    EXPECT_EQ(v["children"].items[1]["title"].text, "reset");
    EXPECT_EQ(v["children"].items[1]["name"].text, "direct_exec.reset");
}

TEST(cli_usage, help_and_bad_command_lines) {
    run_opts_t o;
    o.args = {"--help"};
    run_result help = run_cli(o);
    EXPECT_EQ(help.status, 0);
    EXPECT_EQ(help.out.rfind("vesk-cli: check a vesk menu", 0), 0u);
    o.args = {"frobnicate"};
    run_result bad = run_cli(o);
    EXPECT_EQ(bad.status, 2);
    EXPECT_EQ(bad.err.rfind("vesk-cli: unknown command: frobnicate\nvesk-cli: check a vesk menu", 0), 0u) << bad.err;
    o.args = {"list", "--frob"};
    run_result opt = run_cli(o);
    EXPECT_EQ(opt.status, 2);
    EXPECT_EQ(opt.err.rfind("vesk-cli: unknown option: --frob\n", 0), 0u);
    o.args = {"check", "--help-timeout=0"};
    EXPECT_EQ(run_cli(o).status, 2);
}

TEST(cli_run, one_test_out_of_time_ends_with_124_and_its_record) {
    temp_dir menu;
    menu.write_script("hang", "if [ \"$1\" = \"--help\" ]; then exit 1; fi\necho started\nsleep 100\n");
    std::string json = menu.at("one.jsonl");
    run_result r = cli_local(menu.path(), {"run", "hang", "--timeout=1", "--json=" + json});
    EXPECT_EQ(r.status, 124);
    EXPECT_EQ(r.out, "started\n");
    EXPECT_TRUE(std::regex_match(r.err, std::regex(R"(vesk-cli: hang: timed out after \d+\.\d\d s\n)"))) << r.err;
    std::vector<json_value> records = json_lines(app_test::read_file(json));
    ASSERT_EQ(records.size(), 1u);
    EXPECT_EQ(records[0]["result"].text, "TIMEOUT");
    EXPECT_FALSE(records[0]["passed"].boolean);
}

TEST(cli_run, a_direct_test_by_its_shown_name) {
    temp_dir menu;
    menu.write_script("d/direct_exec.reset", "echo reset with $#\nexit 4\n");
    run_result shown = cli_local(menu.path(), {"run", "d/reset"});
    EXPECT_EQ(shown.status, 4);
    EXPECT_EQ(shown.out, "reset with 0\n");
    run_result full = cli_local(menu.path(), {"run", "./d/direct_exec.reset"});
    EXPECT_EQ(full.status, 4);
    run_result values = cli_local(menu.path(), {"run", "d/reset", "--x=1"});
    EXPECT_EQ(values.status, 2);
    EXPECT_EQ(values.err, "vesk-cli: d/direct_exec.reset has no argument --x (it takes: none)\n");
}
