// The argument-line pattern that the device layer uses to read a test's help text.
#include <gtest/gtest.h>

#include <string>

#include "ozgi/cls_regex.h"
#include "regex_test_util.h"

using namespace ozgi;
using regex_test::captures_of;

namespace {

// Every "\t" below is one TAB character of the pattern.
const char* const ARG_LINE =
    "[ \t]*--<clr>(-|[_a-zA-Z0-9])+<arg_name>[ \t]*(\\<<clr>[0-9.]+<lower_bound>-<clr>[0-9.]+<higher_bound>\\>|"
    "{<clr>[^|]+<list_item>([|]<clr>[^|]+<list_item>)*}):[ \t]*(Default=<clr>[^,]+<default_value>,)?[ \t]*"
    "([Ss]tep=<clr>[^,]+<step>,)?[ \t]*<clr>.*<arg_desc>";

class args_line : public testing::Test {
protected:
    cls_regex m_re{ARG_LINE};

    std::string caps(const std::string& line) { return captures_of(m_re, line); }
    /// max_matched_len after a match of `line` that must fail.
    int fail_len(const std::string& line) {
        EXPECT_EQ(caps(line), "FAIL") << line;
        return m_re.max_matched_len();
    }
};

} // namespace

TEST_F(args_line, range_example_with_default_and_step) {
    EXPECT_EQ(caps("--freq <100-2000>: Default=500, Step=10, Frequency in Hz"),
              "arg_name=freq;lower_bound=100;higher_bound=2000;default_value=500;step=10;arg_desc=Frequency in Hz;");
}

TEST_F(args_line, list_example) {
    EXPECT_EQ(caps("--mode {fast|slow}: Test mode"), "arg_name=mode;list_item=fast;list_item=slow;arg_desc=Test mode;");
}

TEST_F(args_line, leading_blanks_and_tabs_and_tabs_between_fields) {
    EXPECT_EQ(caps(" \t --level\t<0.5-1.5>:\tDefault=1.0,\tstep=0.1,\tGain"),
              "arg_name=level;lower_bound=0.5;higher_bound=1.5;default_value=1.0;step=0.1;arg_desc=Gain;");
}

TEST_F(args_line, name_with_hyphens_underscores_and_digits) {
    EXPECT_EQ(caps("--dry-run_2 {y|n}:"), "arg_name=dry-run_2;list_item=y;list_item=n;arg_desc=;");
    EXPECT_EQ(caps("---x {y}:"), "arg_name=-x;list_item=y;arg_desc=;");
}

TEST_F(args_line, empty_description) {
    EXPECT_EQ(caps("--a <1-2>:"), "arg_name=a;lower_bound=1;higher_bound=2;arg_desc=;");
    EXPECT_EQ(caps("--a <1-2>:   "), "arg_name=a;lower_bound=1;higher_bound=2;arg_desc=;");
}

TEST_F(args_line, bounds_are_digits_and_full_stops_as_written) {
    EXPECT_EQ(caps("--a <1.2.3-..>:x"), "arg_name=a;lower_bound=1.2.3;higher_bound=..;arg_desc=x;");
}

TEST_F(args_line, list_items_with_blanks) {
    EXPECT_EQ(caps("--colour { dark red |light blue}: Colour, of the lamp"),
              "arg_name=colour;list_item= dark red ;list_item=light blue;arg_desc=Colour, of the lamp;");
}

TEST_F(args_line, ten_list_items_in_written_order) {
    EXPECT_EQ(caps("--n {a|b|c|d|e|f|g|h|i|j}: Ten"),
              "arg_name=n;list_item=a;list_item=b;list_item=c;list_item=d;list_item=e;list_item=f;list_item=g;"
              "list_item=h;list_item=i;list_item=j;arg_desc=Ten;");
}

TEST_F(args_line, last_item_gives_back_the_closing_brace) {
    // The item class takes braces too; backtracking finds the last "}:" that lets the line match.
    EXPECT_EQ(caps("--m {a|b}: x}: y"), "arg_name=m;list_item=a;list_item=b}: x;arg_desc=y;");
    EXPECT_EQ(caps("--m {a{b}|c}d}:"), "arg_name=m;list_item=a{b};list_item=c}d;arg_desc=;");
}

TEST_F(args_line, list_default_and_step) {
    EXPECT_EQ(caps("--m {x|y}: Default=y, Step=1, d"),
              "arg_name=m;list_item=x;list_item=y;default_value=y;step=1;arg_desc=d;");
}

TEST_F(args_line, blanks_after_the_equals_sign_belong_to_the_default) {
    EXPECT_EQ(caps("--a <1-9>: Default= 5 ,d"), "arg_name=a;lower_bound=1;higher_bound=9;default_value= 5 ;arg_desc=d;");
}

TEST_F(args_line, default_without_a_comma_is_description) {
    const std::string line = "--a <1-9>: Default=5 the default";
    EXPECT_EQ(caps(line), "arg_name=a;lower_bound=1;higher_bound=9;arg_desc=Default=5 the default;");
    // The default's class ran to the end of the line looking for the comma.
    EXPECT_EQ(m_re.max_matched_len(), static_cast<int>(line.size()));
}

TEST_F(args_line, default_runs_to_a_comma_in_the_description) {
    EXPECT_EQ(caps("--a <1-9>: Default=5 the value, more"),
              "arg_name=a;lower_bound=1;higher_bound=9;default_value=5 the value;arg_desc=more;");
}

TEST_F(args_line, step_before_default_takes_the_step_only) {
    EXPECT_EQ(caps("--a <1-9>: Step=2, Default=3, Desc"),
              "arg_name=a;lower_bound=1;higher_bound=9;step=2;arg_desc=Default=3, Desc;");
}

TEST_F(args_line, lower_case_step_is_accepted_lower_case_default_is_not) {
    EXPECT_EQ(caps("--a <1-9>: step=2, d"), "arg_name=a;lower_bound=1;higher_bound=9;step=2;arg_desc=d;");
    EXPECT_EQ(caps("--a <1-9>: default=3, d"), "arg_name=a;lower_bound=1;higher_bound=9;arg_desc=default=3, d;");
    EXPECT_EQ(caps("--a <1-9>: STEP=2, d"), "arg_name=a;lower_bound=1;higher_bound=9;arg_desc=STEP=2, d;");
}

TEST_F(args_line, descriptions_with_commas_and_equals_signs) {
    EXPECT_EQ(caps("--a <1-9>: Default=2, Step=1, one, two=2, three"),
              "arg_name=a;lower_bound=1;higher_bound=9;default_value=2;step=1;arg_desc=one, two=2, three;");
}

// ---- Lines that must not match, with the length of their longest matched start ----

TEST_F(args_line, blank_before_the_colon_of_a_range) {
    EXPECT_EQ(fail_len("--a <1-5> : x"), 9);
    EXPECT_EQ(fail_len("\t--a\t<1-5>\t: x"), 10);
}

TEST_F(args_line, blank_before_the_colon_of_a_list) {
    // The last item's class may run over the brace to the end of the line.
    EXPECT_EQ(fail_len("--a {x|y} : d"), 13);
}

TEST_F(args_line, minus_sign_on_a_bound) {
    EXPECT_EQ(fail_len("--a <-1-5>: x"), 5);
    EXPECT_EQ(fail_len("--a <1--5>: x"), 7);
    EXPECT_EQ(fail_len("--a <+1-5>: x"), 5);
}

TEST_F(args_line, missing_colon) {
    EXPECT_EQ(fail_len("--a <1-5>"), 9);
    EXPECT_EQ(fail_len("--a <1-5>Default=1,"), 9);
}

TEST_F(args_line, range_without_higher_bound) {
    EXPECT_EQ(fail_len("--a <15>: x"), 7);
}

TEST_F(args_line, empty_and_other_lines) {
    EXPECT_EQ(fail_len(""), 0);
    EXPECT_EQ(fail_len("Usage: test"), 0);
    EXPECT_EQ(fail_len("  -x"), 3);
    EXPECT_EQ(fail_len("\t--"), 3);
    EXPECT_EQ(fail_len("--name"), 6);
    EXPECT_EQ(fail_len("--name: x"), 6);
    // An empty list: the item class runs on to the end of the line.
    EXPECT_EQ(fail_len("--a {}: x"), 9);
}

TEST_F(args_line, empty_list_item) {
    EXPECT_EQ(fail_len("--a {x||y}: d"), 7);
}

TEST_F(args_line, failing_line_does_not_disturb_the_next_match) {
    EXPECT_EQ(fail_len("--a <1-5> : x"), 9);
    EXPECT_EQ(caps("--a <1-5>: x"), "arg_name=a;lower_bound=1;higher_bound=5;arg_desc=x;");
    EXPECT_EQ(m_re.max_matched_len(), 12);
}
