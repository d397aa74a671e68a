#include <gtest/gtest.h>

#include <climits>

#include "fatal_matcher.h"
#include "ozgi/cls_fixed_point.h"

using namespace ozgi;
using core_test::fatal_line;
using testing::ExitedWithCode;

namespace {

const char* text(const cls_fixed_point& fp) {
    static cls_string s;
    s = fp.to_string();
    return s.c_str();
}

} // namespace

TEST(core_fixed_point, quarter_added_four_times_with_width_two_is_1_00) {
    cls_fixed_point sum("0");
    sum.set_fractional_width(2);
    for (int i = 0; i < 4; ++i) sum += cls_fixed_point("0.25");
    EXPECT_STREQ(text(sum), "1.00");

    cls_fixed_point late("0.25");
    for (int i = 0; i < 3; ++i) late += cls_fixed_point("0.25");
    EXPECT_STREQ(text(late), "1.00");
    late.set_fractional_width(2);
    EXPECT_STREQ(text(late), "1.00");
}

TEST(core_fixed_point, negative_half) {
    EXPECT_STREQ(text(cls_fixed_point("-0.5")), "-0.5");
    EXPECT_STREQ(text(cls_fixed_point("0") - cls_fixed_point("0.5")), "-0.5");
    EXPECT_STREQ(text(-cls_fixed_point("0.5")), "-0.5");
    EXPECT_STREQ(text(cls_fixed_point("-.5")), "-0.5");
}

TEST(core_fixed_point, whole_numbers_show_no_point) {
    EXPECT_STREQ(text(cls_fixed_point("250") - cls_fixed_point("0")), "250");
    EXPECT_STREQ(text(cls_fixed_point("-3")), "-3");
    EXPECT_STREQ(text(cls_fixed_point("0")), "0");
    EXPECT_STREQ(text(cls_fixed_point()), "0");
}

TEST(core_fixed_point, parse_keeps_the_written_decimals) {
    EXPECT_STREQ(text(cls_fixed_point("12.50")), "12.50");
    EXPECT_EQ(cls_fixed_point("12.50").scale(), 2u);
    EXPECT_EQ(cls_fixed_point("12.50").mantissa(), 1250);
    EXPECT_STREQ(text(cls_fixed_point("0.05")), "0.05");
    EXPECT_STREQ(text(cls_fixed_point("+3")), "3");
    EXPECT_STREQ(text(cls_fixed_point("  7.25")), "7.25");
    EXPECT_STREQ(text(cls_fixed_point(cls_string("-0.001"))), "-0.001");
}

TEST(core_fixed_point, parse_of_point_five_without_leading_zero) {
    cls_fixed_point fp(".5");
    EXPECT_STREQ(text(fp), "0.5");
    EXPECT_EQ(fp.mantissa(), 5);
    EXPECT_EQ(fp.scale(), 1u);
}

TEST(core_fixed_point, parse_stops_at_the_second_point) {
    EXPECT_STREQ(text(cls_fixed_point("1.2.3")), "1.2");
    EXPECT_TRUE(cls_fixed_point("1.2.3") == cls_fixed_point("1.2"));
}

TEST(core_fixed_point, parse_stops_at_the_first_other_character) {
    EXPECT_STREQ(text(cls_fixed_point("5x")), "5");
    EXPECT_STREQ(text(cls_fixed_point("3.5 V")), "3.5");
    EXPECT_STREQ(text(cls_fixed_point("1e5")), "1");
    EXPECT_STREQ(text(cls_fixed_point("5.")), "5");
}

TEST(core_fixed_point, parse_of_non_numbers_gives_zero) {
    for (const char* s : {"", "abc", "-", "+", ".", "-.", " ", "x1", "--1", "+-1", "\xe4\xb8\x80"}) {
        cls_fixed_point fp(s);
        EXPECT_STREQ(text(fp), "0") << '"' << s << '"';
        EXPECT_EQ(fp.mantissa(), 0) << '"' << s << '"';
        EXPECT_EQ(fp.scale(), 0u) << '"' << s << '"';
    }
}

TEST(core_fixed_point, from_mantissa_and_width) {
    EXPECT_STREQ(text(cls_fixed_point(1234, 2)), "12.34");
    EXPECT_STREQ(text(cls_fixed_point(-5, 3)), "-0.005");
    EXPECT_STREQ(text(cls_fixed_point(7, 0)), "7");
    EXPECT_STREQ(text(cls_fixed_point(0, 2)), "0.00");
    EXPECT_STREQ(text(cls_fixed_point(LLONG_MAX, 0)), "9223372036854775807");
    EXPECT_STREQ(text(cls_fixed_point(LLONG_MIN, 18)), "-9.223372036854775808");
}

TEST(core_fixed_point, mixing_scales_keeps_the_larger_scale) {
    cls_fixed_point a("1.5");
    a += cls_fixed_point("0.25");
    EXPECT_STREQ(text(a), "1.75");
    EXPECT_EQ(a.scale(), 2u);
    EXPECT_STREQ(text(cls_fixed_point("2") + cls_fixed_point("0.125")), "2.125");
    EXPECT_STREQ(text(cls_fixed_point("0.10") + cls_fixed_point("1")), "1.10");
    EXPECT_STREQ(text(cls_fixed_point("1.000") - cls_fixed_point("0.5")), "0.500");
    EXPECT_STREQ(text(cls_fixed_point("0.5") - cls_fixed_point("0.75")), "-0.25");
}

TEST(core_fixed_point, plus_equals_returns_itself) {
    cls_fixed_point a("1");
    cls_fixed_point& same = (a += cls_fixed_point("2"));
    EXPECT_EQ(&same, &a);
    EXPECT_STREQ(text(a), "3");
}

TEST(core_fixed_point, width_rounds_half_away_from_zero) {
    struct case_t {
        const char* in;
        int width;
        const char* out;
    };
    const case_t cases[] = {
        {"1.005", 2, "1.01"}, {"-1.005", 2, "-1.01"}, {"1.004", 2, "1.00"},  {"-1.004", 2, "-1.00"},
        {"2.5", 0, "3"},      {"-2.5", 0, "-3"},      {"2.49", 0, "2"},      {"0.05", 1, "0.1"},
        {"-0.04", 1, "0.0"},  {"9.995", 2, "10.00"},  {"-9.999", 1, "-10.0"}, {"0.4999", 0, "0"},
    };
    for (const case_t& c : cases) {
        cls_fixed_point fp(c.in);
        fp.set_fractional_width(c.width);
        EXPECT_STREQ(text(fp), c.out) << c.in << " width " << c.width;
        EXPECT_EQ(fp.fractional_width(), c.width);
    }
}

TEST(core_fixed_point, width_adds_zeros_when_it_grows) {
    cls_fixed_point fp("3");
    fp.set_fractional_width(3);
    EXPECT_STREQ(text(fp), "3.000");
    cls_fixed_point half("-0.5");
    half.set_fractional_width(2);
    EXPECT_STREQ(text(half), "-0.50");
}

TEST(core_fixed_point, width_holds_through_later_arithmetic) {
    cls_fixed_point fp("0.5");
    fp.set_fractional_width(1);
    fp += cls_fixed_point("0.25");
    EXPECT_STREQ(text(fp), "0.8");
    fp += cls_fixed_point("0.25");
    EXPECT_STREQ(text(fp), "1.0");
}

TEST(core_fixed_point, width_minus_one_shows_what_arithmetic_produced) {
    cls_fixed_point fp("0.5");
    EXPECT_EQ(fp.fractional_width(), -1);
    fp += cls_fixed_point("0.25");
    fp.set_fractional_width(-1);
    EXPECT_STREQ(text(fp), "0.75");
    fp.set_fractional_width(3);
    EXPECT_STREQ(text(fp), "0.750");
    fp.set_fractional_width(-1);
    EXPECT_EQ(fp.fractional_width(), -1);
    EXPECT_STREQ(text(fp), "0.750");
    fp += cls_fixed_point("0.0001");
    EXPECT_STREQ(text(fp), "0.7501");
}

TEST(core_fixed_point, comparisons_are_exact_across_scales) {
    EXPECT_TRUE(cls_fixed_point("0.5") == cls_fixed_point("0.50"));
    EXPECT_FALSE(cls_fixed_point("0.5") != cls_fixed_point("0.50"));
    EXPECT_TRUE(cls_fixed_point("1") > cls_fixed_point("0.99"));
    EXPECT_TRUE(cls_fixed_point("0.99") < cls_fixed_point("1"));
    EXPECT_TRUE(cls_fixed_point("-1") < cls_fixed_point("-0.999"));
    EXPECT_TRUE(cls_fixed_point("2.50") <= cls_fixed_point("2.5"));
    EXPECT_TRUE(cls_fixed_point("2.5") >= cls_fixed_point("2.50"));
    EXPECT_FALSE(cls_fixed_point("2.51") <= cls_fixed_point("2.5"));
    EXPECT_FALSE(cls_fixed_point("2.5") > cls_fixed_point("2.5"));
    EXPECT_TRUE(cls_fixed_point(LLONG_MAX, 0) > cls_fixed_point(LLONG_MAX, 18));
}

// At the ends of the 64-bit range one side, brought to the other's scale, no
// longer fits 64 bits; the comparison must stay exact on every architecture.
TEST(core_fixed_point, comparisons_are_exact_at_the_ends_of_the_range) {
    EXPECT_TRUE(cls_fixed_point(LLONG_MIN, 0) < cls_fixed_point(LLONG_MIN, 18));
    EXPECT_TRUE(cls_fixed_point(LLONG_MIN, 18) > cls_fixed_point(LLONG_MIN, 0));
    EXPECT_TRUE(cls_fixed_point(LLONG_MIN, 1) < cls_fixed_point(LLONG_MAX, 0));
    EXPECT_TRUE(cls_fixed_point(LLONG_MAX, 0) > cls_fixed_point(LLONG_MIN, 18));
    EXPECT_TRUE(cls_fixed_point(LLONG_MIN, 0) < cls_fixed_point(-1, 18));
    EXPECT_TRUE(cls_fixed_point(1, 18) < cls_fixed_point(LLONG_MAX, 0));
    EXPECT_FALSE(cls_fixed_point(LLONG_MAX, 0) < cls_fixed_point(LLONG_MAX, 0));
    EXPECT_TRUE(cls_fixed_point(LLONG_MIN, 0) == cls_fixed_point(LLONG_MIN, 0));
    // 922337203685477580 * 10 fits, one more does not: the last exact step.
    EXPECT_TRUE(cls_fixed_point(922337203685477580LL, 0) == cls_fixed_point(9223372036854775800LL, 1));
    EXPECT_TRUE(cls_fixed_point(922337203685477581LL, 0) > cls_fixed_point(LLONG_MAX, 1));
    EXPECT_TRUE(cls_fixed_point(-922337203685477581LL, 0) < cls_fixed_point(LLONG_MIN, 1));
    EXPECT_TRUE(cls_fixed_point(0, 0) == cls_fixed_point(0, 18));
    EXPECT_TRUE(cls_fixed_point(0, 18) < cls_fixed_point(1, 18));
    EXPECT_TRUE(cls_fixed_point(-1, 18) < cls_fixed_point(0, 0));
    EXPECT_TRUE(LLONG_MIN <= cls_fixed_point(LLONG_MIN, 18));
    EXPECT_TRUE(cls_fixed_point(LLONG_MIN, 18) < -9LL);
    EXPECT_FALSE(cls_fixed_point(LLONG_MIN, 18) < -10LL);
}

TEST(core_fixed_point, comparisons_with_integers) {
    EXPECT_TRUE(cls_fixed_point("0.5") < 1LL);
    EXPECT_FALSE(cls_fixed_point("1.0") < 1LL);
    EXPECT_TRUE(cls_fixed_point("-0.1") < 0LL);
    EXPECT_TRUE(1LL <= cls_fixed_point("1.00"));
    EXPECT_TRUE(10LL <= cls_fixed_point("250"));
    EXPECT_FALSE(1000LL <= cls_fixed_point("250"));
    EXPECT_FALSE(1LL <= cls_fixed_point("0.5"));
}

TEST(core_fixed_point, unary_minus) {
    EXPECT_STREQ(text(-cls_fixed_point("2.50")), "-2.50");
    EXPECT_STREQ(text(-cls_fixed_point("-7")), "7");
    EXPECT_STREQ(text(-cls_fixed_point("0")), "0");
}

TEST(core_fixed_point, parse_overflow_is_fatal) {
    EXPECT_EXIT(cls_fixed_point("99999999999999999999"), ExitedWithCode(1),
                fatal_line("cls_fixed_point.cpp", "Fixed point overflow: \"99999999999999999999\" does not fit 64 bits."));
}

TEST(core_fixed_point, addition_overflow_is_fatal) {
    cls_fixed_point big(LLONG_MAX, 0);
    EXPECT_EXIT(big += cls_fixed_point(1, 0), ExitedWithCode(1),
                fatal_line("cls_fixed_point.cpp", "Fixed point overflow: the value does not fit 64 bits."));
}

TEST(core_fixed_point, subtraction_overflow_is_fatal) {
    cls_fixed_point low(LLONG_MIN + 1, 0);
    EXPECT_EXIT(low - cls_fixed_point(2, 0), ExitedWithCode(1),
                fatal_line("cls_fixed_point.cpp", "Fixed point overflow: the value does not fit 64 bits."));
}

TEST(core_fixed_point, rescaling_overflow_is_fatal) {
    cls_fixed_point big(LLONG_MAX / 10 + 1, 0);
    EXPECT_EXIT(big + cls_fixed_point("0.1"), ExitedWithCode(1),
                fatal_line("cls_fixed_point.cpp", "Fixed point overflow: the value does not fit 64 bits."));
    EXPECT_EXIT(big.set_fractional_width(1), ExitedWithCode(1),
                fatal_line("cls_fixed_point.cpp", "Fixed point overflow: the value does not fit 64 bits."));
}

TEST(core_fixed_point, negating_the_lowest_value_is_fatal) {
    cls_fixed_point lowest(LLONG_MIN, 0);
    EXPECT_EXIT(-lowest, ExitedWithCode(1),
                fatal_line("cls_fixed_point.cpp", "Fixed point overflow: the value does not fit 64 bits."));
}

TEST(core_fixed_point, width_above_eighteen_is_fatal) {
    cls_fixed_point fp("1");
    EXPECT_EXIT(fp.set_fractional_width(19), ExitedWithCode(1),
                fatal_line("cls_fixed_point.cpp", "Fixed point width 19 is too large, at most 18 decimals are kept."));
    EXPECT_EXIT(cls_fixed_point(1, 20), ExitedWithCode(1),
                fatal_line("cls_fixed_point.cpp", "Fixed point width 20 is too large, at most 18 decimals are kept."));
}

TEST(core_fixed_point, decimals_beyond_eighteen_are_dropped_when_parsing) {
    cls_fixed_point fp("0.1234567890123456789");
    EXPECT_EQ(fp.scale(), 18u);
    EXPECT_STREQ(text(fp), "0.123456789012345678");
}

namespace {

// Parses the printed text of `fp` and checks that the same value and scale come back.
void expect_round_trip(const cls_fixed_point& fp) {
    cls_string shown = fp.to_string();
    cls_fixed_point back(shown);
    EXPECT_EQ(back.mantissa(), fp.mantissa()) << shown.c_str();
    EXPECT_EQ(back.scale(), fp.scale()) << shown.c_str();
}

} // namespace

TEST(core_fixed_point, a_sum_reaching_the_lowest_value_prints_and_parses_back) {
    cls_fixed_point sum(LLONG_MIN + 1, 0);
    sum += cls_fixed_point(-1, 0);
    EXPECT_EQ(sum.mantissa(), LLONG_MIN);
    EXPECT_STREQ(text(sum), "-9223372036854775808");
    expect_round_trip(sum);
}

TEST(core_fixed_point, every_boundary_value_round_trips_at_every_scale) {
    const long long mantissas[] = {LLONG_MIN, LLONG_MIN + 1, -1, 0, 1, LLONG_MAX - 1, LLONG_MAX};
    for (long long m : mantissas)
        for (unsigned scale = 0; scale <= 18; ++scale) expect_round_trip(cls_fixed_point(m, scale));
    EXPECT_STREQ(text(cls_fixed_point(LLONG_MIN, 18)), "-9.223372036854775808");
    EXPECT_STREQ(text(cls_fixed_point(LLONG_MIN, 3)), "-9223372036854775.808");
}

TEST(core_fixed_point, one_below_the_lowest_value_is_fatal) {
    EXPECT_EXIT(cls_fixed_point("-9223372036854775809"), ExitedWithCode(1),
                fatal_line("cls_fixed_point.cpp", "Fixed point overflow: \"-9223372036854775809\" does not fit 64 bits."));
    EXPECT_EXIT(cls_fixed_point("9223372036854775808"), ExitedWithCode(1),
                fatal_line("cls_fixed_point.cpp", "Fixed point overflow: \"9223372036854775808\" does not fit 64 bits."));
}
