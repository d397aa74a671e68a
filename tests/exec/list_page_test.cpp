// The list argument page driven headless: one button per alternative, the check
// mark on the current value, and a tap storing the alternative's exact text.
#include <gtest/gtest.h>

#include "exec_test_util.h"

using namespace exec_test;

namespace {

class ListPage : public ::testing::Test, public vesk_fixture {
protected:
    void make_test(const std::string& arg_lines) {
        m.help_test("pick", "Usage: pick\nPicks one.\nArguments:\n" + arg_lines, "exit 0\n");
    }
    static std::vector<std::string> labels(const json_t& page) {
        std::vector<std::string> out;
        for (const json_t* b : page_buttons(page)) out.push_back(label_text(*b, "BUTTON_LABEL"));
        return out;
    }
    /// Which buttons show their check mark, as "1" and "0" in button order.
    static std::string checks(const json_t& page) {
        std::string out;
        for (const json_t* b : page_buttons(page)) out += named(*b, "CHECK_ICON").visible() ? '1' : '0';
        return out;
    }
};

#define ASSERT_RAN(r) ASSERT_EQ((r).status, 0) << (r).err

TEST_F(ListPage, TheCurrentAlternativeIsCheckedAndATapMovesTheMarkAndTheValue) {
    make_test("--mode {a|b|c}: Default=b, Mode\n");
    ASSERT_RAN(run("tap_text pick\ntap_text mode\n" + dump("open.json") + "tap_text c\n" + dump("tapped.json") +
                   screenshot("tapped.png") + "tap_text Back\n" + dump("exec.json") +
                   "tap_text Execute test\nwait_text Exit code:0 2500\n"));
    json_t page = top_page(load("open.json"));
    EXPECT_EQ(page.cls(), "cls_vesk_select_list_arg_page");
    EXPECT_EQ(label_text(page, "TITLE_LABEL"), "mode");
    EXPECT_EQ(labels(page), (std::vector<std::string>{"a", "b", "c"}));
    EXPECT_EQ(checks(page), "010");
    std::vector<const json_t*> buttons = page_buttons(page);
    ASSERT_EQ(buttons.size(), 3u);
    EXPECT_FALSE(buttons[0]->focused());
    EXPECT_TRUE(buttons[1]->focused());
    EXPECT_FALSE(buttons[2]->focused());

    json_t tapped = top_page(load("tapped.json"));
    EXPECT_EQ(checks(tapped), "001");
    // The check mark is the green pass picture, drawn only on the chosen row.
    picture_t pic = load_png(m.work("tapped.png"));
    std::vector<const json_t*> rows = page_buttons(tapped);
    EXPECT_EQ(count_pixels(pic, *rows[0], is_green), 0);
    EXPECT_EQ(count_pixels(pic, *rows[1], is_green), 0);
    EXPECT_GT(count_pixels(pic, *rows[2], is_green), 400);

    EXPECT_EQ(arg_value(top_page(load("exec.json")), "mode"), "c");
    EXPECT_EQ(args_of("pick"), "[--mode]\n[c]\n");
}

TEST_F(ListPage, TappingTheCheckedAlternativeKeepsItChecked) {
    make_test("--mode {a|b|c}: Default=b, Mode\n");
    ASSERT_RAN(run("tap_text pick\ntap_text mode\ntap_text b\n" + dump("tapped.json") + "tap_text Back\n" +
                   dump("exec.json")));
    EXPECT_EQ(checks(top_page(load("tapped.json"))), "010");
    EXPECT_EQ(arg_value(top_page(load("exec.json")), "mode"), "b");
}

TEST_F(ListPage, TheStoredValueIsTheAlternativeExactlyAsWritten) {
    make_test("--sp {a | b }: Spaced\n");
    ASSERT_RAN(run("tap_text pick\ntap_text sp\n" + dump("open.json")));
    json_t page = top_page(load("open.json"));
    // The parser keeps the blanks around the items; without a default the first is current.
    EXPECT_EQ(labels(page), (std::vector<std::string>{"a ", " b "}));
    EXPECT_EQ(checks(page), "10");
    std::string tap = tap_at(*page_buttons(page)[1]);
    ASSERT_RAN(run("tap_text pick\ntap_text sp\n" + tap + dump("tapped.json") + "tap_text Back\n" + dump("exec.json") +
                   "tap_text Execute test\nwait_text Exit code:0 2500\n"));
    EXPECT_EQ(checks(top_page(load("tapped.json"))), "01");
    EXPECT_EQ(arg_value(top_page(load("exec.json")), "sp"), " b ");
    EXPECT_EQ(args_of("pick"), "[--sp]\n[ b ]\n");
}

} // namespace
