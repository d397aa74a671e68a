// The output limit (VESK_OUTPUT_LIMIT): what the execution page keeps of a test's
// output and of its help text, and what the output page gets.
#include <gtest/gtest.h>

#include <regex>

#include "exec_test_util.h"

using namespace exec_test;

namespace {

class OutputLimit : public ::testing::Test, public vesk_fixture {
public:
    /// Runs `script` with VESK_OUTPUT_LIMIT set to `limit`.
    run_result_t run_limited(const std::string& script, const std::string& limit) {
        return run(script, {}, {{"VESK_OUTPUT_LIMIT", limit}});
    }
};

#define ASSERT_RAN(r) ASSERT_EQ((r).status, 0) << (r).err

// The lines "line 0000" to "line <count - 1>", 10 bytes each.
std::string numbered_lines(int count) {
    std::string out;
    char buf[16];
    for (int i = 0; i < count; ++i) {
        std::snprintf(buf, sizeof buf, "line %04d\n", i);
        out += buf;
    }
    return out;
}

// Splits a kept output into its first line and the rest.
std::pair<std::string, std::string> first_line_and_rest(const std::string& text) {
    size_t nl = text.find('\n');
    if (nl == std::string::npos) return {text, ""};
    return {text.substr(0, nl), text.substr(nl + 1)};
}

// Checks that `shown` is the tail of `full` kept under `limit`: a first line that
// tells exactly how much was dropped, then whole lines up to the end.
void expect_tail_of(const std::string& shown, const std::string& full, size_t limit) {
    auto parts = first_line_and_rest(shown);
    std::smatch m;
    ASSERT_TRUE(std::regex_match(parts.first, m, std::regex(R"(\[\.\.\. (\d+) bytes of earlier output dropped \.\.\.\])")))
        << parts.first;
    size_t dropped = std::stoul(m[1].str());
    const std::string& kept = parts.second;
    EXPECT_LE(kept.size(), limit);
    EXPECT_EQ(dropped + kept.size(), full.size());
    EXPECT_EQ(full.substr(dropped), kept);
    // Only whole lines were dropped.
    ASSERT_GT(dropped, 0u);
    EXPECT_EQ(full[dropped - 1], '\n');
}

TEST_F(OutputLimit, LongOutputKeepsTheNewestLinesAndTheFirstLineTellsWhatWasDropped) {
    std::string full = numbered_lines(2000);
    m.script("many", "[ \"$1\" = \"--help\" ] && exit 1\ni=0\nwhile [ $i -lt 2000 ]; do printf 'line %04d\\n' $i; "
                     "i=$((i+1)); done\nexit 0\n");
    run_result_t r = run_limited("tap_text many\ntap_text Execute test\nwait_text Exit code:0 20000\n" +
                                     dump("end.json"),
                                 "4096");
    ASSERT_RAN(r);
    std::string shown = label_text(named(top_page(load("end.json")), "OUTPUT_BUTTON"), "LABEL");
    expect_tail_of(shown, full, 4096);
    EXPECT_EQ(shown.substr(shown.size() - 10), "line 1999\n");
}

TEST_F(OutputLimit, OutputArrivingOverManyTicksKeepsDroppingTheOldestLines) {
    // Ten pieces of 100 lines, one every 300 ms: most drops cut inside the kept text.
    std::string full = numbered_lines(1000);
    m.script("pieces", "[ \"$1\" = \"--help\" ] && exit 1\ni=0\nwhile [ $i -lt 1000 ]; do printf 'line %04d\\n' $i; "
                       "i=$((i+1)); [ $((i % 100)) -eq 0 ] && sleep 0.3; done\nexit 0\n");
    run_result_t r = run_limited("tap_text pieces\ntap_text Execute test\nwait_text line 0450 5000\n" + dump("mid.json") +
                                     "wait_text Exit code:0 20000\n" + dump("end.json"),
                                 "2048");
    ASSERT_RAN(r);
    std::string mid = label_text(named(top_page(load("mid.json")), "OUTPUT_BUTTON"), "LABEL");
    size_t mid_end = full.find(mid.substr(mid.find('\n') + 1));
    ASSERT_NE(mid_end, std::string::npos);
    expect_tail_of(mid, full.substr(0, mid_end + mid.size() - mid.find('\n') - 1), 2048);
    std::string shown = label_text(named(top_page(load("end.json")), "OUTPUT_BUTTON"), "LABEL");
    expect_tail_of(shown, full, 2048);
}

TEST_F(OutputLimit, TheOutputPageGetsTheKeptText) {
    std::string full = numbered_lines(1000);
    m.script("many", "[ \"$1\" = \"--help\" ] && exit 1\ni=0\nwhile [ $i -lt 1000 ]; do printf 'line %04d\\n' $i; "
                     "i=$((i+1)); done\nexit 0\n");
    ASSERT_RAN(run("tap_text many\n" + dump("where.json")));
    std::string tap = tap_at(named(top_page(load("where.json")), "OUTPUT_BUTTON"));
    run_result_t r = run_limited("tap_text many\ntap_text Execute test\nwait_text Exit code:0 20000\n" +
                                     dump("exec.json") + tap + dump("output.json"),
                                 "4096");
    ASSERT_RAN(r);
    std::string on_exec = label_text(named(top_page(load("exec.json")), "OUTPUT_BUTTON"), "LABEL");
    json_t out = load("output.json");
    ASSERT_EQ(top_page(out).cls(), "cls_vesk_output_page");
    std::string on_output = label_text(top_page(out), "OUTPUT_LABEL");
    EXPECT_EQ(on_output, on_exec);
    expect_tail_of(on_output, full, 4096);
}

TEST_F(OutputLimit, OutputUpToTheLimitIsKeptWhole) {
    // 409 lines of 10 bytes and 6 more: exactly 4096 bytes.
    std::string full = numbered_lines(409) + "last.\n";
    ASSERT_EQ(full.size(), 4096u);
    write_file(m.work("exact.txt"), full);
    m.script("exact", "[ \"$1\" = \"--help\" ] && exit 1\ncat '" + m.work("exact.txt") + "'\nexit 0\n");
    run_result_t r = run_limited("tap_text exact\ntap_text Execute test\nwait_text Exit code:0 5000\n" + dump("end.json"),
                                 "4096");
    ASSERT_RAN(r);
    EXPECT_EQ(label_text(named(top_page(load("end.json")), "OUTPUT_BUTTON"), "LABEL"), full);
}

TEST_F(OutputLimit, AnEndlessLineIsCutToTheLimit) {
    m.script("endless", "[ \"$1\" = \"--help\" ] && exit 1\ni=0\nwhile [ $i -lt 300 ]; do printf 'abcdefghijklmnopqrstuvwxyz'; "
                        "i=$((i+1)); done\nexit 0\n");
    run_result_t r = run_limited("tap_text endless\ntap_text Execute test\nwait_text Exit code:0 20000\n" + dump("end.json"),
                                 "1000");
    ASSERT_RAN(r);
    std::string shown = label_text(named(top_page(load("end.json")), "OUTPUT_BUTTON"), "LABEL");
    auto parts = first_line_and_rest(shown);
    std::smatch m;
    ASSERT_TRUE(std::regex_match(parts.first, m, std::regex(R"(\[\.\.\. (\d+) bytes of earlier output dropped \.\.\.\])")));
    EXPECT_LE(parts.second.size(), 1000u);
    EXPECT_EQ(std::stoul(m[1].str()) + parts.second.size(), 300u * 26u);
}

TEST_F(OutputLimit, AHelpTextOverTheLimitIsNoHelpText) {
    std::string help = "Usage: big\n" + std::string(5000, '#') + "\nArguments:\n--count <1-20>: Default=4, How many\n";
    m.help_test("big", help);
    run_result_t small = run_limited("tap_text big\n" + dump("small.json"), "4096");
    ASSERT_RAN(small);
    const json_t& page = top_page(load("small.json"));
    EXPECT_TRUE(arg_buttons(page).empty());
    EXPECT_FALSE(named(page, "HELP_BUTTON").visible());
    EXPECT_TRUE(named(page, "EXECUTE_BUTTON").focused());

    // The same help under the default limit is a help text.
    run_result_t normal = run("tap_text big\n" + dump("normal.json"));
    ASSERT_RAN(normal);
    const json_t& normal_page = top_page(load("normal.json"));
    EXPECT_EQ(arg_buttons(normal_page).size(), 1u);
    EXPECT_TRUE(named(normal_page, "HELP_BUTTON").visible());
}

TEST_F(OutputLimit, ATestThatIgnoresHelpAndNeverStopsIsBoundedAndThePageAnswers) {
    // "--help" is ignored: the help run would print for ever.
    m.script("yes", "exec yes 'endless output line'\n");
    run_result_t r = run_limited("tap_text yes\n" + dump("open.json") + "tap_text Execute test\nwait 1500\n" +
                                     dump("running.json") + "tap_text Stop execution\nwait_text Exit code:130 5000\n" +
                                     dump("end.json"),
                                 "65536");
    ASSERT_RAN(r);
    const json_t& open = top_page(load("open.json"));
    EXPECT_EQ(open.cls(), "cls_vesk_exec_page");
    EXPECT_TRUE(arg_buttons(open).empty());
    EXPECT_FALSE(named(open, "HELP_BUTTON").visible());

    std::string running = label_text(named(top_page(load("running.json")), "OUTPUT_BUTTON"), "LABEL");
    auto parts = first_line_and_rest(running);
    EXPECT_TRUE(std::regex_match(parts.first, std::regex(R"(\[\.\.\. \d+ bytes of earlier output dropped \.\.\.\])")));
    EXPECT_LE(parts.second.size(), 65536u);
    EXPECT_EQ(parts.second.substr(0, 21), "endless output line\ne");

    const json_t& end = top_page(load("end.json"));
    EXPECT_EQ(label_text(named(end, "EXEC_RESULT"), "LABEL"), "Exit code:130");
    EXPECT_LE(label_text(named(end, "OUTPUT_BUTTON"), "LABEL").size(), 65536u + 100u);
}

// VmHWM (the peak resident size) of vesk in kB, as a test it runs read it from
// /proc/<its parent>/status into `file`.
long long peak_kb(const std::string& file) {
    std::string text = read_file(file);
    std::smatch m;
    if (!std::regex_search(text, m, std::regex(R"(VmHWM:\s*(\d+) kB)"))) return -1;
    return std::stoll(m[1].str());
}

// The test notes vesk's peak before it writes (the first run) and after vesk has
// shown all of it (a second run, which only notes the peak).
void peak_test(const menu_dir& m, const std::string& name, const std::string& writer) {
    std::string ran = m.work(name + ".ran");
    m.script(name, "[ \"$1\" = \"--help\" ] && exit 1\n"
                   "if [ -e '" + ran + "' ]; then grep VmHWM /proc/$PPID/status > '" + m.work(name + ".after") + "'; exit 0; fi\n"
                   "grep VmHWM /proc/$PPID/status > '" + m.work(name + ".before") + "'\n"
                   ": > '" + ran + "'\n" + writer + "\n");
}

// What vesk holds of a test's output is bounded by the limit, however fast the
// test writes: at most twice the limit (the kept text and what waits to be read)
// and a few MiB more. Before, a writer faster than the page's ticks piled up to
// 1 GiB between two of them.
TEST_F(OutputLimit, PeakMemoryStaysWithinTwiceTheLimitWhateverTheWriter) {
    const long long limit = 4 * 1024 * 1024;
    // 300 MB of 100-byte lines as fast as head passes them, a 100 MB line, and
    // 100 MB of 2-byte lines: two million lines in the limit, whose line index
    // must stay a small part of the text.
    peak_test(m, "lines", "yes 'a line of output that is one hundred bytes long with its newline at the end, padded xxxxxxxxxxx' | head -c 300000000");
    peak_test(m, "one_line", "head -c 100000000 /dev/zero | tr '\\0' x");
    peak_test(m, "short_lines", "yes | head -c 100000000");
    for (const char* name : {"lines", "one_line", "short_lines"}) {
        SCOPED_TRACE(name);
        std::string script = std::string("tap_text ") + name + "\ntap_text Execute test\nwait_text Exit code:0 120000\n" +
                             "tap_text Execute test\nwait 300\nwait_text Exit code:0 10000\n";
        run_result_t r = run_limited(script, std::to_string(limit));
        ASSERT_RAN(r);
        long long before = peak_kb(m.work(std::string(name) + ".before"));
        long long after = peak_kb(m.work(std::string(name) + ".after"));
        ASSERT_GT(before, 0);
        ASSERT_GT(after, 0);
        EXPECT_LE(after, before + 2 * limit / 1024 + 8 * 1024) << "before " << before << " kB";
    }
}

} // namespace
