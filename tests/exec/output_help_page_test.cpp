// The output and help pages driven headless, opened from the execution page and
// on their own as first pages.
#include <gtest/gtest.h>

#include "exec_test_util.h"

using namespace exec_test;

namespace {

class OutputHelpPages : public ::testing::Test, public vesk_fixture {};

#define ASSERT_RAN(r) ASSERT_EQ((r).status, 0) << (r).err

/// The page's children other than the title bar.
std::vector<const json_t*> body_items(const json_t& page) {
    std::vector<const json_t*> out;
    for (const json_t& c : page.children())
        if (c.name() != "TITLE_BAR") out.push_back(&c);
    return out;
}

TEST_F(OutputHelpPages, OutputPageWithoutAnyOutputShowsAnEmptyLabel) {
    ASSERT_RAN(run(dump("open.json"), {"--ozgi-first-page=output_page/page.xml"}));
    json_t d = load("open.json");
    ASSERT_EQ(pages(d).size(), 1u);
    const json_t& page = top_page(d);
    EXPECT_EQ(page.cls(), "cls_vesk_output_page");
    EXPECT_EQ(label_text(page, "TITLE_LABEL"), "Execute output");
    EXPECT_EQ(label_text(page, "OUTPUT_LABEL"), "");
    EXPECT_TRUE(named(page, "BACK_BUTTON").focused());
}

TEST_F(OutputHelpPages, LongOutputKeepsItsLastLinesVisibleAtTheBottom) {
    // Sixty full-width lines, then a short last one.
    m.script("chatty",
             "[ \"$1\" = \"--help\" ] && exit 1\n"
             "i=1\nwhile [ $i -le 60 ]; do echo \"$i xxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxx\"; i=$((i+1)); done\n"
             "echo END\n");
    // The output area is found first, then tapped after a run.
    ASSERT_RAN(run("tap_text chatty\n" + dump("where.json")));
    std::string tap = tap_at(named(top_page(load("where.json")), "OUTPUT_BUTTON"));
    ASSERT_RAN(run("tap_text chatty\ntap_text Execute test\nwait_text Exit code:0 2500\n" + dump("exec.json") + tap +
                   dump("output.json") + screenshot("output.png")));
    std::string shown = label_text(named(top_page(load("exec.json")), "OUTPUT_BUTTON"), "LABEL");
    EXPECT_EQ(shown.substr(shown.size() - 4), "END\n");
    json_t d = load("output.json");
    ASSERT_EQ(pages(d).size(), 3u);
    const json_t& page = top_page(d);
    EXPECT_EQ(page.cls(), "cls_vesk_output_page");
    EXPECT_EQ(label_text(page, "TITLE_LABEL"), "Execute output");
    EXPECT_EQ(label_text(page, "OUTPUT_LABEL"), shown);
    EXPECT_TRUE(named(page, "BACK_BUTTON").focused());

    // Bottom aligned: the short last line is at the bottom, so the right half of the
    // bottom band holds no text while its left part does; the long lines above fill
    // the right half of the top band.
    const json_t& label = named(page, "OUTPUT_LABEL");
    picture_t pic = load_png(m.work("output.png"));
    auto white = [](int r, int g, int b) { return r > 200 && g > 200 && b > 200; };
    auto rect = [](int x, int y, int w, int h) {
        return parse_json("{\"x\": " + std::to_string(x) + ", \"y\": " + std::to_string(y) + ", \"w\": " +
                          std::to_string(w) + ", \"h\": " + std::to_string(h) + "}");
    };
    int mid = label.x() + label.w() / 2;
    int bottom = label.y() + label.h();
    // The band is two lines high: the output ends with a newline, which may leave an
    // empty line under the last one.
    EXPECT_EQ(count_pixels(pic, rect(mid, bottom - 46, label.w() / 2, 44), white), 0);
    EXPECT_GT(count_pixels(pic, rect(label.x(), bottom - 46, 80, 44), white), 20);
    EXPECT_GT(count_pixels(pic, rect(mid, label.y() + 2, label.w() / 2, 20), white), 50);
}

TEST_F(OutputHelpPages, HelpPageWithAnEmptyHelpTextHasOnlyTheTitleBarAndAnEmptyLabel) {
    ASSERT_RAN(run(dump("open.json"), {"--ozgi-first-page=help_page/page.xml"}));
    json_t d = load("open.json");
    const json_t& page = top_page(d);
    EXPECT_EQ(page.cls(), "cls_vesk_help_page");
    EXPECT_EQ(label_text(page, "TITLE_LABEL"), "Help");
    std::vector<const json_t*> body = body_items(page);
    ASSERT_EQ(body.size(), 1u);
    EXPECT_EQ(body[0]->name(), "HELP_LABEL");
    EXPECT_EQ(body[0]->text(), "");
    EXPECT_TRUE(named(page, "BACK_BUTTON").focused());
}

TEST_F(OutputHelpPages, LongHelpTextIsShownWholeFromTheTopLeft) {
    std::string help = "Usage: wordy [--level <n>]\n";
    for (int i = 1; i <= 40; ++i) help += "Free text line " + std::to_string(i) + " of the help.\n";
    help += "Arguments:\n--level <1-9>: Default=5, Level\n";
    m.help_test("wordy", help);
    ASSERT_RAN(run("tap_text wordy\ntap_text Help\n" + dump("help.json") + screenshot("help.png")));
    json_t d = load("help.json");
    ASSERT_EQ(pages(d).size(), 3u);
    const json_t& page = top_page(d);
    EXPECT_EQ(page.cls(), "cls_vesk_help_page");
    EXPECT_EQ(label_text(page, "TITLE_LABEL"), "Help");
    const json_t& label = named(page, "HELP_LABEL");
    EXPECT_EQ(label.text(), help);
    EXPECT_EQ(label.x(), 0);
    EXPECT_EQ(label.y(), 97);
    EXPECT_EQ(label.w(), 640);
    EXPECT_TRUE(named(page, "BACK_BUTTON").focused());
    // Dark text starts in the top left corner of the label.
    picture_t pic = load_png(m.work("help.png"));
    auto dark = [](int r, int g, int b) { return r < 80 && g < 80 && b < 80; };
    EXPECT_GT(count_pixels(pic, parse_json("{\"x\": 0, \"y\": 97, \"w\": 60, \"h\": 16}"), dark), 10);
}

} // namespace
