// Inputs built to make a backtracking matcher slow or to exhaust its stack. They
// must finish (quickly, though that is measured in bench/, not here) and give the
// right answer.
#include <gtest/gtest.h>

#include <string>

#include "ozgi/cls_regex.h"
#include "regex_test_util.h"

using namespace ozgi;

namespace {

const char* const ARG_LINE =
    "[ \t]*--<clr>(-|[_a-zA-Z0-9])+<arg_name>[ \t]*(\\<<clr>[0-9.]+<lower_bound>-<clr>[0-9.]+<higher_bound>\\>|"
    "{<clr>[^|]+<list_item>([|]<clr>[^|]+<list_item>)*}):[ \t]*(Default=<clr>[^,]+<default_value>,)?[ \t]*"
    "([Ss]tep=<clr>[^,]+<step>,)?[ \t]*<clr>.*<arg_desc>";

constexpr int MIB = 1 << 20;

cls_string str(const std::string& s) { return cls_string(s.c_str(), static_cast<int>(s.size())); }

std::string repeat(const std::string& piece, int times) {
    std::string out;
    out.reserve(piece.size() * times);
    for (int i = 0; i < times; ++i) out += piece;
    return out;
}

} // namespace

TEST(regex_hostile, thousands_of_list_items) {
    cls_regex re(ARG_LINE);
    cls_array<name_val_t> caps;
    std::string line = "--a {" + repeat("x|", 5000) + "y}: d";
    ASSERT_TRUE(re.match(str(line), &caps));
    ASSERT_EQ(caps.count(), 1 + 5001 + 1);
    EXPECT_STREQ(caps[1].value.c_str(), "x");
    EXPECT_STREQ(caps[5000].value.c_str(), "x");
    EXPECT_STREQ(caps[5001].value.c_str(), "y");
    EXPECT_STREQ(caps[5002].name.c_str(), "arg_desc");
    EXPECT_STREQ(caps[5002].value.c_str(), "d");
}

TEST(regex_hostile, unterminated_list_of_thousands_of_items) {
    cls_regex re(ARG_LINE);
    std::string line = "--a {" + repeat("a|", 100000);
    EXPECT_FALSE(re.match(str(line), nullptr));
    EXPECT_EQ(re.max_matched_len(), static_cast<int>(line.size()));
}

TEST(regex_hostile, list_of_thousands_of_items_without_the_colon) {
    cls_regex re(ARG_LINE);
    std::string line = "--a {" + repeat("a|", 100000) + "a} x";
    EXPECT_FALSE(re.match(str(line), nullptr));
    EXPECT_EQ(re.max_matched_len(), static_cast<int>(line.size()));
}

TEST(regex_hostile, long_runs_of_blanks_that_match) {
    cls_regex re(ARG_LINE);
    cls_array<name_val_t> caps;
    std::string blanks = repeat(" \t", MIB / 4);
    std::string line = blanks + "--a" + blanks + "<1-2>:" + blanks + "Default=1," + blanks + "step=1," + blanks + "d";
    ASSERT_TRUE(re.match(str(line), &caps));
    ASSERT_EQ(caps.count(), 6);
    EXPECT_STREQ(caps[3].value.c_str(), "1");
    EXPECT_STREQ(caps[4].value.c_str(), "1");
    EXPECT_STREQ(caps[5].value.c_str(), "d");
}

TEST(regex_hostile, long_runs_of_blanks_that_fail) {
    cls_regex re(ARG_LINE);
    std::string blanks(MIB, ' ');
    EXPECT_FALSE(re.match(str(blanks + "x"), nullptr));
    EXPECT_EQ(re.max_matched_len(), MIB);
    EXPECT_FALSE(re.match(str("--a" + blanks + "x"), nullptr));
    EXPECT_EQ(re.max_matched_len(), MIB + 3);
    EXPECT_FALSE(re.match(str("--a <1-2>" + blanks + ":"), nullptr));
    EXPECT_EQ(re.max_matched_len(), 9);
}

TEST(regex_hostile, adjacent_repetitions_of_blanks) {
    cls_regex re("[ \t]*[ \t]*[ \t]*[ \t]*x");
    std::string blanks(MIB, '\t');
    EXPECT_FALSE(re.match(str(blanks), nullptr));
    EXPECT_EQ(re.max_matched_len(), MIB);
    EXPECT_TRUE(re.match(str(blanks + "x"), nullptr));
}

TEST(regex_hostile, one_mebibyte_description) {
    cls_regex re(ARG_LINE);
    cls_array<name_val_t> caps;
    std::string desc(MIB, 'd');
    ASSERT_TRUE(re.match(str("--a <1-2>: " + desc), &caps));
    ASSERT_EQ(caps.count(), 4);
    EXPECT_EQ(caps[3].value.length(), MIB);
}

TEST(regex_hostile, one_mebibyte_default_without_a_comma) {
    cls_regex re(ARG_LINE);
    cls_array<name_val_t> caps;
    std::string line = "--a <1-2>: Default=" + std::string(MIB, '5');
    ASSERT_TRUE(re.match(str(line), &caps));
    ASSERT_EQ(caps.count(), 4);
    EXPECT_STREQ(caps[3].name.c_str(), "arg_desc");
    EXPECT_EQ(caps[3].value.length(), MIB + 8);
    EXPECT_EQ(re.max_matched_len(), static_cast<int>(line.size()));
}

TEST(regex_hostile, one_mebibyte_name_that_fails) {
    cls_regex re(ARG_LINE);
    std::string line = "--" + repeat("a-", MIB / 2) + ":";
    EXPECT_FALSE(re.match(str(line), nullptr));
    EXPECT_EQ(re.max_matched_len(), MIB + 2);
}

TEST(regex_hostile, one_mebibyte_of_bounds_that_fail) {
    cls_regex re(ARG_LINE);
    std::string line = "--a <" + std::string(MIB, '1') + "-" + std::string(MIB, '2') + ">x";
    EXPECT_FALSE(re.match(str(line), nullptr));
    EXPECT_EQ(re.max_matched_len(), static_cast<int>(line.size()) - 1);
}

TEST(regex_hostile, nested_repetitions_that_fail) {
    std::string as(5000, 'a');
    const char* patterns[] = {"(a*)*b", "(a+)+b", "((a+)+)+b", "(a|a)*b", "(a|aa)*b", "(a|a?)+b", "(.*)*b", "(a*a*)*b"};
    for (const char* p : patterns) {
        cls_regex re(p);
        EXPECT_FALSE(re.match(str(as), nullptr)) << p;
        EXPECT_EQ(re.max_matched_len(), 5000) << p;
        EXPECT_TRUE(re.match(str(as + "b"), nullptr)) << p;
    }
}

TEST(regex_hostile, nested_repetitions_with_captures_on_a_long_text) {
    cls_regex re("((<clr>a<c>)*)*b");
    cls_array<name_val_t> caps;
    std::string as(20000, 'a');
    EXPECT_FALSE(re.match(str(as), &caps));
    EXPECT_EQ(caps.count(), 0);
    ASSERT_TRUE(re.match(str(as + "b"), &caps));
    EXPECT_EQ(caps.count(), 20000);
}

TEST(regex_hostile, one_mebibyte_of_group_iterations_needs_no_deep_stack) {
    cls_regex re("<clr>(ab)*<all>(<clr>[ab]<c>)*$");
    cls_array<name_val_t> caps;
    std::string text = repeat("ab", MIB / 2);
    // The final '$' is missing: every iteration is given back one by one.
    EXPECT_FALSE(re.match(str(text), &caps));
    EXPECT_EQ(re.max_matched_len(), MIB);
    ASSERT_TRUE(re.match(str(text + "$"), &caps));
    ASSERT_EQ(caps.count(), 1);
    EXPECT_EQ(caps[0].value.length(), MIB);
}

TEST(regex_hostile, one_mebibyte_of_captures) {
    cls_regex re("(<clr>.<c>)*");
    cls_array<name_val_t> caps;
    ASSERT_TRUE(re.match(str(std::string(MIB, 'z')), &caps));
    ASSERT_EQ(caps.count(), MIB);
    EXPECT_STREQ(caps[MIB - 1].value.c_str(), "z");
}

TEST(regex_hostile, many_alternatives_in_the_pattern) {
    std::string pattern = "<clr>(";
    for (int i = 0; i < 3000; ++i) pattern += "w" + std::to_string(i) + "|";
    pattern += "end)<word>;";
    cls_regex re(str(pattern));
    EXPECT_EQ(regex_test::captures_of(re, "w2999;"), "word=w2999;");
    EXPECT_EQ(regex_test::captures_of(re, "end;"), "word=end;");
    EXPECT_EQ(regex_test::captures_of(re, "x"), "FAIL");
}
