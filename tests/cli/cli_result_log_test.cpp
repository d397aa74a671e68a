// The panel's result log: a headless vesk walk with VESK_RESULT_LOG set, the
// lines read back and parsed.
#include <gtest/gtest.h>

#include "cli_test_util.h"

using namespace cli_test;
using app_test::json_reader;
using app_test::json_value;

namespace {

app_test::run_opts_t panel_on(const temp_dir& menu, const std::string& log) {
    app_test::run_opts_t o;
    o.args = {"--dir=" + menu.path(), "--serial-id=LOCAL_DEVICE"};
    o.env["VESK_RESULT_LOG"] = log;
    return o;
}

} // namespace

TEST(result_log, one_line_per_finished_run) {
    temp_dir menu;
    menu.write("sub/t.help", usage_with({"--n <1-9>: Default=4, a number"}));
    menu.write_script("sub/t", "if [ \"$1\" = \"--help\" ]; then cat '" + menu.at("sub/t.help") +
                                   "'; exit 0; fi\necho \"n is $2\"\nexit 0\n");
    menu.write_script("sub/fail", "echo broken\nexit 3\n");
    std::string log = menu.at("results.jsonl");
    // A line some other program wrote first stays: the log is only appended to.
    menu.write("results.jsonl", "{\"other\":1}\n");
    app_test::script_t script;
    script.cmd("tap_text sub").cmd("tap_text t").cmd("tap_text Execute test").cmd("wait_text Exit code:0 5000");
    script.cmd("tap_text Execute test").cmd("wait_text Exit code:0 5000").cmd("tap_text Back");
    script.cmd("tap_text fail").cmd("tap_text Execute test").cmd("wait_text Exit code:3 5000");
    app_test::run_result r = app_test::run_vesk(panel_on(menu, log), script);
    EXPECT_EQ(r.status, 0) << r.err;
    EXPECT_EQ(r.err, "");

    std::vector<std::string> lines = lines_of(app_test::read_file(log));
    ASSERT_EQ(lines.size(), 4u);
    EXPECT_EQ(lines[0], "{\"other\":1}");
    json_value first, second, fail;
    ASSERT_TRUE(json_reader::parse(lines[1], &first)) << lines[1];
    ASSERT_TRUE(json_reader::parse(lines[2], &second));
    ASSERT_TRUE(json_reader::parse(lines[3], &fail));
    EXPECT_EQ(first["test"].text, "sub/t");
    EXPECT_EQ(first["device"].text, "local");
    EXPECT_EQ(first["serial_id"].text, "LOCAL_DEVICE");
    ASSERT_EQ(first["args"].items.size(), 2u);
    EXPECT_EQ(first["args"].items[0].text, "--n");
    EXPECT_EQ(first["args"].items[1].text, "4");
    EXPECT_EQ(first["exit_code"].number, 0);
    EXPECT_TRUE(first["passed"].boolean);
    EXPECT_EQ(first["output_bytes"].number, 7);
    EXPECT_EQ(first["output_head"].text, "n is 4\n");
    EXPECT_EQ(first["output_tail"].text, "n is 4\n");
    EXPECT_GE(first["duration_ms"].number, 0);
    EXPECT_EQ(first["start_time"].text.size(), 29u) << first["start_time"].text;
    EXPECT_EQ(second["test"].text, "sub/t");
    EXPECT_EQ(fail["test"].text, "sub/fail");
    EXPECT_EQ(fail["exit_code"].number, 3);
    EXPECT_FALSE(fail["passed"].boolean);
    EXPECT_EQ(fail["result"].text, "FAIL");
    EXPECT_EQ(fail["output_head"].text, "broken\n");
}

TEST(result_log, a_log_that_cannot_be_written_is_reported_once) {
    temp_dir menu;
    menu.write_script("t", "echo hi\n");
    std::string log = menu.at("missing/dir/results.jsonl");
    app_test::script_t script;
    script.cmd("tap_text t").cmd("tap_text Execute test").cmd("wait_text Exit code:0 5000");
    script.cmd("tap_text Execute test").cmd("wait_text Exit code:0 5000");
    app_test::run_result r = app_test::run_vesk(panel_on(menu, log), script);
    // The screens go on as if nothing happened.
    EXPECT_EQ(r.status, 0);
    EXPECT_EQ(r.err, "WARNING: Can't write the result log " + log + ": No such file or directory\n");
}

TEST(result_log, long_output_keeps_its_first_and_last_4_kib) {
    temp_dir menu;
    // 10000 lines of "line N": far more than 8 KiB.
    menu.write_script("t", "i=0; while [ $i -lt 10000 ]; do echo \"line $i\"; i=$((i+1)); done\n");
    std::string log = menu.at("results.jsonl");
    app_test::script_t script;
    script.cmd("tap_text t").cmd("tap_text Execute test").cmd("wait_text Exit code:0 20000");
    app_test::run_result r = app_test::run_vesk(panel_on(menu, log), script);
    EXPECT_EQ(r.status, 0) << r.err;
    json_value v;
    ASSERT_TRUE(json_reader::parse(app_test::read_file(log), &v));
    std::string all;
    for (int i = 0; i < 10000; ++i) all += "line " + std::to_string(i) + "\n";
    EXPECT_EQ(v["output_bytes"].number, static_cast<double>(all.size()));
    EXPECT_EQ(v["output_head"].text, all.substr(0, 4096));
    EXPECT_EQ(v["output_tail"].text, all.substr(all.size() - 4096));
}
