// vesk-cli run --all on several devices of the adb stand-in at once: progress
// per device, the matrix, JUnit suites per device, JSON Lines with the serial,
// TAP, the exit status, and a device that disappears in the middle of the run.
#include <gtest/gtest.h>

#include <pugixml.hpp>
#include <regex>

#include "cli_test_util.h"
#include "emulator.h"

using namespace cli_test;
using app_test::json_reader;
using app_test::json_value;

namespace {

// vesk-cli with `args` on the menu `dir`, with the stand-in's devices `devices`.
run_result cli_devices(const std::string& dir, const std::string& devices, std::vector<std::string> args,
                       const std::string& gone_file = "") {
    run_opts_t o;
    o.args = std::move(args);
    o.args.push_back("--device=adb");
    o.args.push_back("--dir=" + dir);
    o.stub_adb = true;
    o.env["ADB_STUB_DEVICES"] = devices;
    if (!gone_file.empty()) o.env["ADB_STUB_GONE"] = gone_file;
    return run_cli(o);
}

// A pass, a fail and a test whose help is not usable.
void small_menu(const temp_dir& menu) {
    menu.write_script("a/pass", "if [ \"$1\" = \"--help\" ]; then printf 'Usage: p\\nArguments:\\n--n <1-9>: Default=4, n\\n'; "
                                "exit 0; fi\necho \"pass $*\"\n");
    menu.write_script("a/fail", "if [ \"$1\" = \"--help\" ]; then exit 1; fi\necho 'it # broke'\nexit 3\n");
    menu.write_script("top", "if [ \"$1\" = \"--help\" ]; then exit 1; fi\necho top\n");
}

} // namespace

TEST(cli_fleet, every_test_on_every_listed_device_with_all_reports) {
    if (test_emulator::active()) GTEST_SKIP() << test_emulator::skip_reason_self_exec();
    temp_dir menu;
    small_menu(menu);
    std::string junit = menu.at("out.xml"), json = menu.at("out.json"), tap = menu.at("out.tap");
    run_result r = cli_devices(menu.path(), "EMU1 EMU2 EMU3",
                               {"run", "--all", "--serial-id=EMU1,EMU3", "--junit=" + junit, "--json=" + json,
                                "--tap=" + tap});
    EXPECT_EQ(r.status, 1) << r.out << r.err;
    // Progress lines of both devices, each after its serial id.
    EXPECT_TRUE(std::regex_search(r.out, std::regex(R"((^|\n)EMU1  \[1/3\] FAIL    a/fail \(\d+\.\d\d s\)\n)"))) << r.out;
    EXPECT_TRUE(std::regex_search(r.out, std::regex(R"(EMU3  \[3/3\] PASS    top \(\d+\.\d\d s\)\n)"))) << r.out;
    EXPECT_EQ(r.out.find("EMU2"), std::string::npos) << r.out;
    // The matrix: one row per test, one column per device.
    EXPECT_NE(r.out.find("\nTEST    EMU1     EMU3   \n"
                         "a/fail  FAIL     FAIL   \n"
                         "a/pass  PASS     PASS   \n"
                         "top     PASS     PASS   \n"
                         "6 runs on 2 devices: 4 passed, 2 failed, 0 timed out, 0 errors\n"),
              std::string::npos)
        << r.out;

    pugi::xml_document doc;
    ASSERT_TRUE(doc.load_file(junit.c_str()));
    pugi::xml_node suites = doc.child("testsuites");
    EXPECT_EQ(suites.attribute("tests").as_int(), 6);
    EXPECT_EQ(suites.attribute("failures").as_int(), 2);
    for (const char* serial : {"EMU1", "EMU3"}) {
        pugi::xml_node a = suites.find_child_by_attribute("testsuite", "name", (std::string(serial) + "/a").c_str());
        pugi::xml_node root = suites.find_child_by_attribute("testsuite", "name", (std::string(serial) + "/(root)").c_str());
        EXPECT_EQ(a.attribute("tests").as_int(), 2) << serial;
        EXPECT_EQ(a.attribute("failures").as_int(), 1) << serial;
        EXPECT_EQ(root.attribute("tests").as_int(), 1) << serial;
        pugi::xml_node pass = a.find_child_by_attribute("testcase", "name", "pass");
        EXPECT_STREQ(pass.child_value("system-out"), "pass --n 4\n");
    }

    std::vector<json_value> records = json_lines(app_test::read_file(json));
    ASSERT_EQ(records.size(), 6u);
    int emu1 = 0, emu3 = 0;
    for (const json_value& v : records) {
        emu1 += v["serial_id"].text == "EMU1";
        emu3 += v["serial_id"].text == "EMU3";
        EXPECT_EQ(v["device"].text, "adb");
    }
    EXPECT_EQ(emu1, 3);
    EXPECT_EQ(emu3, 3);

    std::vector<std::string> t = lines_of(app_test::read_file(tap));
    ASSERT_GE(t.size(), 3u);
    EXPECT_EQ(t[0], "TAP version 13");
    EXPECT_EQ(t[1], "1..6");
    EXPECT_EQ(t[2], "not ok 1 - EMU1 a/fail");
    std::string all_tap = app_test::read_file(tap);
    EXPECT_NE(all_tap.find("ok 2 - EMU1 a/pass\n  ---\n  result: PASS\n  exit_code: 0\n"), std::string::npos) << all_tap;
    EXPECT_NE(all_tap.find("not ok 4 - EMU3 a/fail\n"), std::string::npos) << all_tap;
    EXPECT_NE(all_tap.find("  exit_code: 3\n"), std::string::npos);
    EXPECT_NE(all_tap.find("  output_tail: |\n    it # broke\n  ...\n"), std::string::npos) << all_tap;
}

TEST(cli_fleet, all_means_the_ready_devices_and_exit_0_needs_every_pass) {
    if (test_emulator::active()) GTEST_SKIP() << test_emulator::skip_reason_self_exec();
    temp_dir menu;
    menu.write_script("ok", "echo fine\n");
    run_result r = cli_devices(menu.path(), "EMU1 OFF:offline EMU2", {"run", "--all", "--serial-id=all"});
    EXPECT_EQ(r.status, 0) << r.out << r.err;
    EXPECT_NE(r.out.find("TEST  EMU1     EMU2   \nok    PASS     PASS   \n"), std::string::npos) << r.out;
    EXPECT_EQ(r.out.find("OFF"), std::string::npos) << r.out;

    run_result none = cli_devices(menu.path(), "OFF:offline", {"run", "--all", "--serial-id=all"});
    EXPECT_EQ(none.status, 2);
    EXPECT_NE(none.err.find("no adb device is ready"), std::string::npos) << none.err;
}

TEST(cli_fleet, a_device_that_disappears_gets_errors_and_the_others_go_on) {
    if (test_emulator::active()) GTEST_SKIP() << test_emulator::skip_reason_self_exec();
    temp_dir menu;
    std::string gone = menu.at("gone");
    menu.write_script("t1", "echo one\n");
    // Run on EMU2, it unplugs EMU2 (its own run still ends normally).
    menu.write_script("t2", "if [ \"$1\" != --help ] && [ \"$ADB_STUB_SERIAL\" = EMU2 ]; then echo EMU2 > '" + gone + "'; fi\necho two\n");
    menu.write_script("t3", "echo three\n");
    menu.write_script("t4", "echo four\n");
    std::string junit = menu.at("out.xml");
    run_result r = cli_devices(menu.path(), "EMU1 EMU2", {"run", "--all", "--serial-id=EMU1,EMU2", "--junit=" + junit},
                               gone);
    EXPECT_EQ(r.status, 1) << r.out << r.err;
    EXPECT_NE(r.out.find("\nt1    PASS     PASS   \nt2    PASS     PASS   \n"), std::string::npos) << r.out;
    EXPECT_NE(r.out.find("\nt3    PASS     ERROR  \nt4    PASS     ERROR  \n"), std::string::npos) << r.out;
    pugi::xml_document doc;
    ASSERT_TRUE(doc.load_file(junit.c_str()));
    pugi::xml_node emu2 = doc.child("testsuites").find_child_by_attribute("testsuite", "name", "EMU2/(root)");
    pugi::xml_node t4 = emu2.find_child_by_attribute("testcase", "name", "t4");
    EXPECT_STREQ(t4.child("error").attribute("type").value(), "error");
    EXPECT_NE(std::string(t4.child_value("system-out")).find("the device EMU2 is gone"), std::string::npos);
}

TEST(cli_fleet, several_devices_only_for_run_all_over_adb) {
    temp_dir menu;
    menu.write_script("ok", "echo fine\n");
    run_result check = cli_devices(menu.path(), "EMU1 EMU2", {"check", "--serial-id=EMU1,EMU2"});
    EXPECT_EQ(check.status, 2);
    EXPECT_NE(check.err.find("vesk-cli: check takes one device"), std::string::npos) << check.err;
    run_result list = cli_devices(menu.path(), "EMU1 EMU2", {"list", "--serial-id=all"});
    EXPECT_EQ(list.status, 2);
    run_result one = cli_devices(menu.path(), "EMU1 EMU2", {"run", "ok", "--serial-id=EMU1,EMU2"});
    EXPECT_EQ(one.status, 2);
    EXPECT_NE(one.err.find("vesk-cli: run PATH takes one device"), std::string::npos) << one.err;
    run_result local = cli_local(menu.path(), {"run", "--all", "--serial-id=A,B"});
    EXPECT_EQ(local.status, 2);
    EXPECT_NE(local.err.find("several devices need --device=adb"), std::string::npos) << local.err;
}

TEST(cli_tap, one_device_gives_the_plan_and_a_line_per_test_without_serial) {
    temp_dir menu;
    menu.write_script("a/ok", "if [ \"$1\" = \"--help\" ]; then exit 1; fi\nprintf 'one\\n\\033[1mtwo\\n'\n");
    menu.write_script("a/bad", "if [ \"$1\" = \"--help\" ]; then exit 1; fi\nexit 4\n");
    std::string tap = menu.at("out.tap");
    run_result r = cli_local(menu.path(), {"run", "--all", "--tap=" + tap});
    EXPECT_EQ(r.status, 1) << r.out << r.err;
    std::string text = app_test::read_file(tap);
    EXPECT_EQ(text.rfind("TAP version 13\n1..2\nnot ok 1 - a/bad\n  ---\n  result: FAIL\n  exit_code: 4\n", 0), 0u)
        << text;
    EXPECT_TRUE(std::regex_search(text, std::regex("  duration_ms: \\d+\n  device: \"local\"\n"
                                                   "  serial_id: \"LOCAL_DEVICE\"\n  test: \"a/bad\"\n"
                                                   "  output_tail: \"\"\n  \\.\\.\\.\nok 2 - a/ok\n")))
        << text;
    // Control characters in the output are shown, not passed on.
    EXPECT_NE(text.find("  output_tail: |\n    one\n    \\x1B[1mtwo\n  ...\n"), std::string::npos) << text;
}

TEST(cli_fleet, a_stopped_vesk_cli_ends_the_tests_on_every_target_first) {
    if (test_emulator::active()) GTEST_SKIP() << test_emulator::skip_reason_self_exec();
    temp_dir menu;
    std::string pids = menu.at("pids");
    // Records its pid per device, and hangs with a child of its own.
    menu.write_script("hang", "if [ \"$1\" = \"--help\" ]; then exit 1; fi\nsleep 100 &\n"
                              "echo \"$$ $!\" > '" + pids + ".'\"$ADB_STUB_SERIAL\"\nwait\n");
    run_opts_t o;
    o.args = {"run", "--all", "--device=adb", "--serial-id=EMU1,EMU2", "--dir=" + menu.path()};
    o.stub_adb = true;
    o.env["ADB_STUB_DEVICES"] = "EMU1 EMU2";
    int null_fd = ::open("/dev/null", O_RDWR);
    pid_t pid = start_cli(o, null_fd, null_fd, null_fd);
    ::close(null_fd);
    std::vector<int> started;
    for (const char* serial : {"EMU1", "EMU2"}) {
        std::istringstream line(test_wait::wait_line(pids + "." + serial, 20000));
        int test_pid = 0, child_pid = 0;
        line >> test_pid >> child_pid;
        ASSERT_GT(test_pid, 0) << serial;
        started.push_back(test_pid);
        started.push_back(child_pid);
    }
    ::kill(pid, SIGINT);
    int status = test_wait::reap_child(pid, 30000);
    ASSERT_TRUE(WIFSIGNALED(status)) << status;
    EXPECT_EQ(WTERMSIG(status), SIGINT);
    for (int p : started) EXPECT_TRUE(test_wait::wait_gone(p, 10000)) << p;
}
