// The numeric argument page driven headless: its buttons, their order, labels and
// amounts, the fixed-point arithmetic, the clamping and the shown decimals.
#include <gtest/gtest.h>

#include "exec_test_util.h"

using namespace exec_test;

namespace {

class NumericPage : public ::testing::Test, public vesk_fixture {
protected:
    /// A test "num" whose help text has the given argument lines.
    void make_test(const std::string& arg_lines) {
        m.help_test("num", "Usage: num\nChanges numbers.\nArguments:\n" + arg_lines, "exit 0\n");
    }
    /// The texts of the step buttons' labels, in order.
    static std::vector<std::string> labels(const json_t& page) {
        std::vector<std::string> out;
        for (const json_t* b : page_buttons(page)) out.push_back(label_text(*b, "BUTTON_LABEL"));
        return out;
    }
    static std::vector<std::string> amounts(const json_t& page) {
        std::vector<std::string> out;
        for (const json_t* b : page_buttons(page)) out.push_back((*b)["item_data"].str);
        return out;
    }
    static std::string value(const json_t& page) { return label_text(page, "ARG_VALUE_LABEL"); }
};

#define ASSERT_RAN(r) ASSERT_EQ((r).status, 0) << (r).err

TEST_F(NumericPage, HalfStepGivesTheStepPairThenThePowersOfTenWithTheFocusOnTheNegatedStep) {
    make_test("--lum <0-250>: Default=120, Step=0.5, Luminance\n");
    ASSERT_RAN(run("tap_text num\ntap_text lum\n" + dump("open.json") + "tap_text +0.5\n" + dump("plus.json") +
                   "tap_text -100\ntap_text -100\n" + dump("low.json")));
    json_t page = top_page(load("open.json"));
    EXPECT_EQ(page.cls(), "cls_vesk_select_numeric_arg_page");
    EXPECT_EQ(label_text(page, "TITLE_LABEL"), "lum");
    EXPECT_EQ(label_text(page, "ARG_PROMPT_LABEL"), "The value of lum (0-250): Luminance");
    // The prompt is sized to its text, not to the empty text the layout started with.
    EXPECT_GT(named(page, "ARG_PROMPT_LABEL").w(), 200);
    EXPECT_EQ(value(page), "120");
    EXPECT_EQ(labels(page), (std::vector<std::string>{"-0.5", "+0.5", "-1", "+1", "-10", "+10", "-100", "+100"}));
    EXPECT_EQ(amounts(page), (std::vector<std::string>{"-0.5", "0.5", "-1", "1", "-10", "10", "-100", "100"}));
    std::vector<const json_t*> buttons = page_buttons(page);
    ASSERT_EQ(buttons.size(), 8u);
    for (size_t i = 0; i < buttons.size(); ++i) EXPECT_EQ(buttons[i]->focused(), i == 0) << i;
    // Two to a row: negative on the left, its positive partner on the right.
    EXPECT_EQ(buttons[0]->x(), 20);
    EXPECT_EQ(buttons[1]->x(), 330);
    EXPECT_EQ(buttons[1]->y(), buttons[0]->y());
    EXPECT_EQ(buttons[2]->x(), 20);
    EXPECT_EQ(buttons[2]->y(), buttons[0]->y() + 64 + 16);

    EXPECT_EQ(value(top_page(load("plus.json"))), "120.5");
    // 120.5 - 200 is below the lower bound; the step's one decimal stays shown.
    EXPECT_EQ(value(top_page(load("low.json"))), "0.0");
}

TEST_F(NumericPage, QuarterStepReachesOneWithTwoDecimalsAndStaysThere) {
    make_test("--q <0-1>: Default=0, Step=0.25, Quarter\n");
    std::string script = "tap_text num\ntap_text q\n";
    for (int i = 1; i <= 5; ++i) script += "tap_text +0.25\n" + dump("click" + std::to_string(i) + ".json");
    script += "tap_text Back\n" + dump("exec.json");
    ASSERT_RAN(run(script));
    const char* expected[] = {"0.25", "0.50", "0.75", "1.00", "1.00"};
    for (int i = 1; i <= 5; ++i) EXPECT_EQ(value(top_page(load("click" + std::to_string(i) + ".json"))), expected[i - 1]) << i;
    EXPECT_EQ(arg_value(top_page(load("exec.json")), "q"), "1.00");
}

TEST_F(NumericPage, RangeBelowOneWithoutStepHasNoButtons) {
    make_test("--r <0-0.5>: Default=0.2, Small\n");
    ASSERT_RAN(run("tap_text num\ntap_text r\n" + dump("open.json")));
    json_t page = top_page(load("open.json"));
    EXPECT_EQ(page.cls(), "cls_vesk_select_numeric_arg_page");
    EXPECT_TRUE(page_buttons(page).empty());
    EXPECT_EQ(value(page), "0.2");
}

TEST_F(NumericPage, WholeStepKeepsNoFixedWidthAndStillOffersThePowersOfTen) {
    make_test("--s <0-100>: Default=0, Step=5, Five\n");
    ASSERT_RAN(run("tap_text num\ntap_text s\n" + dump("open.json") + "tap_text +5\n" + dump("five.json") +
                   "tap_text +1\n" + dump("six.json")));
    EXPECT_EQ(labels(top_page(load("open.json"))),
              (std::vector<std::string>{"-5", "+5", "-1", "+1", "-10", "+10", "-100", "+100"}));
    EXPECT_EQ(value(top_page(load("five.json"))), "5");
    // Values are not snapped to the step.
    EXPECT_EQ(value(top_page(load("six.json"))), "6");
}

TEST_F(NumericPage, DefaultOutsideTheBoundsIsShownUntilTheFirstClickClampsIt) {
    make_test("--high <10-20>: Default=50, Above\n--low <10-20>: Default=5, Below\n");
    ASSERT_RAN(run("tap_text num\n" + dump("exec.json") + "tap_text high\n" + dump("high_open.json") +
                   "tap_text -1\n" + dump("high_click.json") + "tap_text Back\ntap_text low\n" + dump("low_open.json") +
                   "tap_text +1\n" + dump("low_click.json")));
    json_t exec = top_page(load("exec.json"));
    EXPECT_EQ(arg_value(exec, "high"), "50");
    EXPECT_EQ(arg_value(exec, "low"), "5");
    EXPECT_EQ(value(top_page(load("high_open.json"))), "50");
    EXPECT_EQ(value(top_page(load("high_click.json"))), "20");
    EXPECT_EQ(value(top_page(load("low_open.json"))), "5");
    EXPECT_EQ(value(top_page(load("low_click.json"))), "10");
}

TEST_F(NumericPage, WithoutStepTheMinusOneButtonHasTheFocus) {
    make_test("--n <0-100>: Default=3, A number\n");
    ASSERT_RAN(run("tap_text num\ntap_text n\n" + dump("open.json")));
    json_t page = top_page(load("open.json"));
    std::vector<const json_t*> buttons = page_buttons(page);
    ASSERT_EQ(labels(page), (std::vector<std::string>{"-1", "+1", "-10", "+10", "-100", "+100"}));
    for (size_t i = 0; i < buttons.size(); ++i) EXPECT_EQ(buttons[i]->focused(), i == 0) << i;
}

TEST_F(NumericPage, AmountsOfZeroOrMoreCarryAPlusAndNegativesTheirOwnMinus) {
    make_test("--z <0-5>: Default=2, Step=0, Zero step\n");
    ASSERT_RAN(run("tap_text num\ntap_text z\n" + dump("open.json")));
    json_t page = top_page(load("open.json"));
    EXPECT_EQ(labels(page), (std::vector<std::string>{"+0", "+0", "-1", "+1"}));
}

TEST_F(NumericPage, ReversedBoundsLetTheHigherBoundWin) {
    make_test("--rv <20-10>: Step=1, Reversed\n");
    ASSERT_RAN(run("tap_text num\ntap_text rv\n" + dump("open.json") + "tap_text +1\n" + dump("plus.json") +
                   "tap_text -1\n" + dump("minus.json")));
    json_t page = top_page(load("open.json"));
    // The range is negative, so only the step pair is offered.
    EXPECT_EQ(labels(page), (std::vector<std::string>{"-1", "+1"}));
    EXPECT_EQ(value(page), "20");
    EXPECT_EQ(value(top_page(load("plus.json"))), "10");
    EXPECT_EQ(value(top_page(load("minus.json"))), "10");
}

TEST_F(NumericPage, DecimalBoundsAndStepAddExactlyWithoutFloatingPointDrift) {
    make_test("--g <1.8-2.6>: Default=2.2, Step=0.05, Gamma\n");
    std::string script = "tap_text num\ntap_text g\n";
    for (int i = 0; i < 6; ++i) script += "tap_text +0.05\n";
    script += dump("up.json");
    for (int i = 0; i < 20; ++i) script += "tap_text -0.05\n";
    script += dump("down.json");
    ASSERT_RAN(run(script));
    EXPECT_EQ(value(top_page(load("up.json"))), "2.50");
    EXPECT_EQ(value(top_page(load("down.json"))), "1.80");
}

} // namespace
