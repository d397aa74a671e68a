// The pattern dialect, one feature at a time.
#include <gtest/gtest.h>

#include "ozgi/cls_regex.h"
#include "regex_test_util.h"

using namespace ozgi;
using regex_test::malformed_re;
using regex_test::run;

namespace {

/// `count` times ")*".
std::string repeat_close(int count) {
    std::string out;
    for (int i = 0; i < count; ++i) out += ")*";
    return out;
}

} // namespace

TEST(regex_dialect, literal_is_anchored_at_the_start_and_need_not_reach_the_end) {
    EXPECT_EQ(run("abc", "abc"), "");
    EXPECT_EQ(run("abc", "abcdef"), "");
    EXPECT_EQ(run("abc", "xabc"), "FAIL");
    EXPECT_EQ(run("abc", "ab"), "FAIL");
}

TEST(regex_dialect, empty_pattern_matches_every_text) {
    EXPECT_EQ(run("", ""), "");
    EXPECT_EQ(run("", "anything"), "");
}

TEST(regex_dialect, clr_and_name_capture_the_text_between_them) {
    EXPECT_EQ(run("x<clr>a+<first>b", "xaaab"), "first=aaa;");
    EXPECT_EQ(run("<clr>a*<empty>b", "b"), "empty=;");
}

TEST(regex_dialect, name_ends_the_capture_of_the_latest_clr) {
    EXPECT_EQ(run("<clr>a<outer><clr>b<inner>", "ab"), "outer=a;inner=b;");
    // A second <name> without a new <clr> still measures from the latest one.
    EXPECT_EQ(run("<clr>a<x>b<y>", "ab"), "x=a;y=ab;");
}

TEST(regex_dialect, name_without_a_clr_passed_captures_nothing) {
    EXPECT_EQ(run("(<clr>x)?ab<n>", "ab"), "n=;");
    EXPECT_EQ(run("(<clr>x)?ab<n>", "xab"), "n=xab;");
}

TEST(regex_dialect, captures_inside_a_repetition_record_once_per_repetition_in_order) {
    EXPECT_EQ(run("(<clr>[a-z]<c>,)*", "a,b,c,"), "c=a;c=b;c=c;");
    EXPECT_EQ(run("(<clr>[a-z]+<w>( |$))+", "one two$"), "w=one;w=two;"); // '$' is a plain character
    EXPECT_EQ(run("(<clr>[a-z]+<w> *)+", "one two"), "w=one;w=two;");
}

TEST(regex_dialect, captures_of_a_backtracked_path_are_undone) {
    EXPECT_EQ(run("(<clr>a<x>b|<clr>a<y>c)", "ac"), "y=a;");
    // The loop first takes all three a's; giving one back drops its capture.
    EXPECT_EQ(run("(<clr>a<c>)*ab", "aaab"), "c=a;c=a;");
    EXPECT_EQ(run("(<clr>a+<run>)?<clr>a<last>$", "aa$"), "run=a;last=a;");
}

TEST(regex_dialect, dictionary_gets_the_last_value_of_each_name) {
    cls_regex re("(<clr>[a-z]<c>,)*<clr>[0-9]+<n>");
    cls_array<name_val_t> caps;
    cls_dict<cls_string, cls_string> dict;
    dict.set("stale", "old");
    ASSERT_TRUE(re.match("a,b,42", &caps, &dict));
    EXPECT_EQ(caps.count(), 3);
    EXPECT_EQ(dict.count(), 2);
    ASSERT_NE(dict.get("c"), nullptr);
    EXPECT_STREQ(dict.get("c")->c_str(), "b");
    EXPECT_STREQ(dict.get("n")->c_str(), "42");
    EXPECT_FALSE(dict.has("stale"));
}

TEST(regex_dialect, captures_are_appended_and_left_alone_on_failure) {
    cls_regex re("<clr>a<x>");
    cls_array<name_val_t> caps;
    name_val_t before;
    before.name = "keep";
    before.value = "me";
    caps.append(before);
    EXPECT_FALSE(re.match("b", &caps));
    ASSERT_EQ(caps.count(), 1);
    EXPECT_TRUE(re.match("a", &caps));
    ASSERT_EQ(caps.count(), 2);
    EXPECT_STREQ(caps[0].name.c_str(), "keep");
    EXPECT_STREQ(caps[1].name.c_str(), "x");
    EXPECT_STREQ(caps[1].value.c_str(), "a");
    EXPECT_TRUE(re.match("a", nullptr));
}

TEST(regex_dialect, escaped_angle_brackets_are_plain_characters) {
    EXPECT_EQ(run("\\<<clr>[0-9]+<n>\\>", "<12>"), "n=12;");
    EXPECT_EQ(run("\\<\\>", "<>"), "");
    EXPECT_EQ(run("\\<", ">"), "FAIL");
}

TEST(regex_dialect, braces_are_plain_characters) {
    EXPECT_EQ(run("{<clr>a<x>}", "{a}"), "x=a;");
    EXPECT_EQ(run("a{2}", "a{2}"), "");
    EXPECT_EQ(run("a{2}", "aa"), "FAIL");
    EXPECT_EQ(run("{}", "{}"), "");
}

TEST(regex_dialect, bar_in_brackets_is_plain_and_bare_bar_alternates) {
    EXPECT_EQ(run("a[|]b", "a|b"), "");
    EXPECT_EQ(run("a[|]b", "ab"), "FAIL");
    EXPECT_EQ(run("<clr>(ab|cd|ef)<x>", "efg"), "x=ef;");
    EXPECT_EQ(run("<clr>(ab|cd|ef)<x>", "eg"), "FAIL");
    // The <clr> lies in the alternative that failed, so <x> has no start.
    EXPECT_EQ(run("<clr>ab|c<x>", "c"), "x=;");
    EXPECT_EQ(run("x(|a)b", "xb"), "");
}

TEST(regex_dialect, alternation_prefers_the_first_alternative_that_lets_the_rest_match) {
    EXPECT_EQ(run("<clr>(a|ab)<x>", "ab"), "x=a;");
    EXPECT_EQ(run("<clr>(a|ab)<x>c", "abc"), "x=ab;");
}

TEST(regex_dialect, classes_with_ranges) {
    EXPECT_EQ(run("<clr>[a-cx0-9_]+<x>", "ab9_xcz"), "x=ab9_xc;");
    EXPECT_EQ(run("[a-c]", "d"), "FAIL");
    EXPECT_EQ(run("[b-b]", "b"), "");
}

TEST(regex_dialect, negated_classes) {
    EXPECT_EQ(run("<clr>[^,|]+<x>", "ab c,d"), "x=ab c;");
    EXPECT_EQ(run("[^a-z]", "q"), "FAIL");
    EXPECT_EQ(run("[^a-z]", "Q"), "");
}

TEST(regex_dialect, class_edge_characters) {
    // A ']' first and a '-' last are plain; escapes work inside brackets.
    EXPECT_EQ(run("<clr>[]a]+<x>", "]a]b"), "x=]a];");
    EXPECT_EQ(run("<clr>[a-]+<x>", "a-a-b"), "x=a-a-;");
    EXPECT_EQ(run("<clr>[\\]\\t]+<x>", "]\t]x"), "x=]\t];");
    EXPECT_EQ(run("<clr>[^]]+<x>", "ab]"), "x=ab;");
    EXPECT_EQ(run("<clr>[\\d.]+<x>", "1.5x"), "x=1.5;");
    EXPECT_EQ(run("<clr>[<>{}()*+?.]+<x>", "<>{}()*+?.a"), "x=<>{}()*+?.;");
}

TEST(regex_dialect, star_is_greedy_and_gives_back) {
    EXPECT_EQ(run("<clr>a*<x>", "aaa"), "x=aaa;");
    EXPECT_EQ(run("<clr>a*<x>a", "aaa"), "x=aa;");
    EXPECT_EQ(run("<clr>a*<x>", "bbb"), "x=;");
    EXPECT_EQ(run("<clr>.*<x>c", "abcabc"), "x=abcab;");
}

TEST(regex_dialect, plus_needs_one_and_is_greedy) {
    EXPECT_EQ(run("<clr>a+<x>", "aab"), "x=aa;");
    EXPECT_EQ(run("a+", "b"), "FAIL");
    EXPECT_EQ(run("<clr>a+<x>a", "aa"), "x=a;");
    EXPECT_EQ(run("<clr>a+<x>a", "a"), "FAIL");
}

TEST(regex_dialect, question_mark_is_greedy_optional) {
    EXPECT_EQ(run("<clr>a?<x>", "a"), "x=a;");
    EXPECT_EQ(run("<clr>a?<x>a", "a"), "x=;");
    EXPECT_EQ(run("<clr>(ab)?<x>c", "c"), "x=;");
    EXPECT_EQ(run("<clr>(ab)?<x>c", "abc"), "x=ab;");
}

TEST(regex_dialect, dot_matches_any_character_but_a_newline) {
    EXPECT_EQ(run("<clr>.<x>", "z"), "x=z;");
    EXPECT_EQ(run("<clr>.<x>", "\t"), "x=\t;");
    EXPECT_EQ(run(".", "\n"), "FAIL");
    EXPECT_EQ(run(".", ""), "FAIL");
    EXPECT_EQ(run("<clr>.*<x>", "ab\ncd"), "x=ab;");
}

TEST(regex_dialect, parentheses_group_for_repetition) {
    EXPECT_EQ(run("<clr>(ab)+<x>", "ababa"), "x=abab;");
    EXPECT_EQ(run("<clr>(ab)+<x>c", "ababc"), "x=abab;");
    EXPECT_EQ(run("(ab)+", "a"), "FAIL");
    EXPECT_EQ(run("<clr>((a|b)c)*<x>", "acbcx"), "x=acbc;");
    EXPECT_EQ(run("<clr>(((a)))<x>", "a"), "x=a;");
}

TEST(regex_dialect, empty_iterations_do_not_loop_or_record) {
    EXPECT_EQ(run("(a?)*b", "aab"), "");
    EXPECT_EQ(run("(<clr>a?<x>)*", "aa"), "x=a;x=a;");
    EXPECT_EQ(run("(<clr><x>)*y", "y"), "");
    // The first iteration of + may be empty; it records once.
    EXPECT_EQ(run("(<clr>a?<x>)+b", "b"), "x=;");
    EXPECT_EQ(run("(a*)+b", "aab"), "");
    EXPECT_EQ(run("(a|)*b", "ab"), "");
}

TEST(regex_dialect, escapes_of_plain_and_control_characters) {
    EXPECT_EQ(run("\\t\\\\\\.", "\t\\."), "");
    EXPECT_EQ(run("\\.", "x"), "FAIL");
    EXPECT_EQ(run("\\(\\)\\[\\]\\*\\+\\?\\|\\{\\}", "()[]*+?|{}"), "");
    EXPECT_EQ(run("\\n\\r\\f\\v", "\n\r\f\v"), "");
}

TEST(regex_dialect, class_escapes) {
    EXPECT_EQ(run("<clr>\\d+<x>", "123a"), "x=123;");
    EXPECT_EQ(run("<clr>\\D+<x>", "ab1"), "x=ab;");
    EXPECT_EQ(run("<clr>\\s+<x>", " \t\nx"), "x= \t\n;");
    EXPECT_EQ(run("<clr>\\S+<x>", "ab c"), "x=ab;");
    EXPECT_EQ(run("<clr>\\w+<x>", "a_Z9-"), "x=a_Z9;");
    EXPECT_EQ(run("<clr>\\W+<x>", "-+a"), "x=-+;");
}

TEST(regex_dialect, bytes_above_ascii_are_ordinary_characters) {
    EXPECT_EQ(run("<clr>[^,]+<x>", "\xe4\xb8\xad\xe6\x96\x87,"), "x=\xe4\xb8\xad\xe6\x96\x87;");
    EXPECT_EQ(run("\xe4\xb8\xad", "\xe4\xb8\xad"), "");
}

TEST(regex_dialect, the_same_object_matches_many_texts) {
    cls_regex re("<clr>[a-z]+<w>(,<clr>[a-z]+<w>)*");
    EXPECT_EQ(regex_test::captures_of(re, "a,bb,ccc"), "w=a;w=bb;w=ccc;");
    EXPECT_EQ(regex_test::captures_of(re, "1"), "FAIL");
    EXPECT_EQ(regex_test::captures_of(re, "zz"), "w=zz;");
    EXPECT_EQ(regex_test::captures_of(re, std::string(5000, 'q') + ",x"), "w=" + std::string(5000, 'q') + ";w=x;");
    EXPECT_EQ(regex_test::captures_of(re, "a,bb,ccc"), "w=a;w=bb;w=ccc;");
}

// ---- max_matched_len ----

TEST(regex_max_matched_len, counts_a_partly_matched_literal) {
    cls_regex re("abcd");
    EXPECT_FALSE(re.match("abx", nullptr));
    EXPECT_EQ(re.max_matched_len(), 2);
    EXPECT_FALSE(re.match("x", nullptr));
    EXPECT_EQ(re.max_matched_len(), 0);
}

TEST(regex_max_matched_len, is_the_furthest_any_attempt_reached) {
    cls_regex re("(a+c|ab+d)");
    EXPECT_FALSE(re.match("aaabbbx", nullptr));
    // The first alternative got through "aaa"; the second only through "a".
    EXPECT_EQ(re.max_matched_len(), 3);
    EXPECT_FALSE(re.match("abbbx", nullptr));
    EXPECT_EQ(re.max_matched_len(), 4);
}

TEST(regex_max_matched_len, counts_characters_a_repetition_gave_back) {
    cls_regex re("[a-z]*1");
    EXPECT_FALSE(re.match("abcde2", nullptr));
    EXPECT_EQ(re.max_matched_len(), 5);
}

TEST(regex_max_matched_len, is_set_on_success_too) {
    cls_regex re("(abc|a)");
    EXPECT_TRUE(re.match("abx", nullptr));
    EXPECT_EQ(re.max_matched_len(), 2);
    EXPECT_TRUE(re.match("abcz", nullptr));
    EXPECT_EQ(re.max_matched_len(), 3);
}

TEST(regex_max_matched_len, empty_text) {
    cls_regex re("a");
    EXPECT_FALSE(re.match("", nullptr));
    EXPECT_EQ(re.max_matched_len(), 0);
}

// ---- Malformed patterns ----

TEST(regex_malformed_death, unmatched_open_parenthesis) {
    EXPECT_EXIT(cls_regex("a(b"), testing::ExitedWithCode(1), malformed_re("a(b", "unmatched '('", 1));
}

TEST(regex_malformed_death, unmatched_close_parenthesis) {
    EXPECT_EXIT(cls_regex("ab)"), testing::ExitedWithCode(1), malformed_re("ab)", "unmatched ')'", 2));
}

TEST(regex_malformed_death, unterminated_class) {
    EXPECT_EXIT(cls_regex("x[ab"), testing::ExitedWithCode(1), malformed_re("x[ab", "unterminated character class", 1));
    EXPECT_EXIT(cls_regex("[]"), testing::ExitedWithCode(1), malformed_re("[]", "unterminated character class", 0));
}

TEST(regex_malformed_death, range_out_of_order) {
    EXPECT_EXIT(cls_regex("[z-a]"), testing::ExitedWithCode(1), malformed_re("[z-a]", "range out of order", 2));
}

TEST(regex_malformed_death, nothing_to_repeat) {
    EXPECT_EXIT(cls_regex("*a"), testing::ExitedWithCode(1), malformed_re("*a", "nothing to repeat", 0));
    EXPECT_EXIT(cls_regex("a|+"), testing::ExitedWithCode(1), malformed_re("a|+", "nothing to repeat", 2));
    EXPECT_EXIT(cls_regex("<clr>*"), testing::ExitedWithCode(1), malformed_re("<clr>*", "nothing to repeat", 5));
}

TEST(regex_malformed_death, repeated_repetition) {
    EXPECT_EXIT(cls_regex("a*?"), testing::ExitedWithCode(1),
                malformed_re("a*?", "a repetition can't be repeated directly", 2));
}

TEST(regex_malformed_death, bare_angle_brackets) {
    EXPECT_EXIT(cls_regex("a<b"), testing::ExitedWithCode(1),
                malformed_re("a<b", "unterminated <name> (a plain '<' is written \\<)", 1));
    EXPECT_EXIT(cls_regex("a < b>"), testing::ExitedWithCode(1),
                malformed_re("a < b>", "'<' must begin <clr> or a <name> (a plain '<' is written \\<)", 2));
    EXPECT_EXIT(cls_regex("a>"), testing::ExitedWithCode(1), malformed_re("a>", "a plain '>' is written \\>", 1));
    EXPECT_EXIT(cls_regex("a<>"), testing::ExitedWithCode(1), malformed_re("a<>", "empty <name>", 1));
}

TEST(regex_malformed_death, bad_escapes) {
    EXPECT_EXIT(cls_regex("a\\q"), testing::ExitedWithCode(1), malformed_re("a\\q", "unknown escape", 1));
    EXPECT_EXIT(cls_regex("a\\1"), testing::ExitedWithCode(1), malformed_re("a\\1", "unknown escape", 1));
    EXPECT_EXIT(cls_regex("ab\\"), testing::ExitedWithCode(1),
                malformed_re("ab\\", "the pattern ends with a backslash", 2));
    EXPECT_EXIT(cls_regex("[a-\\d]"), testing::ExitedWithCode(1),
                malformed_re("[a-\\d]", "a class escape can't end a range", 3));
}

TEST(regex_malformed_death, nesting_too_deep) {
    std::string deep = std::string(300, '(') + "a" + std::string(300, ')');
    EXPECT_EXIT(cls_regex(deep.c_str()), testing::ExitedWithCode(1),
                malformed_re(deep, "groups nested too deeply", 256));
}

TEST(regex_malformed, nesting_within_the_limit_is_accepted) {
    std::string deep = std::string(200, '(') + "<clr>a<x>" + std::string(200, ')') + "*";
    EXPECT_EQ(run(deep, "aaa"), "x=a;x=a;x=a;");
}

TEST(regex_malformed_death, too_many_nested_repetitions_that_can_match_nothing) {
    std::string eight = std::string(8, '(') + "a?" + repeat_close(8);
    EXPECT_EQ(run(eight, "aa"), "");
    std::string nine = std::string(9, '(') + "a?" + repeat_close(9);
    EXPECT_EXIT(cls_regex(nine.c_str()), testing::ExitedWithCode(1),
                malformed_re(nine, "too many nested repetitions that can match nothing", 28));
}
