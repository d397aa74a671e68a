// The non-fatal forms of the fixed-point operations: false exactly where the
// ordinary form ends the program, the same result everywhere else.
#include <gtest/gtest.h>

#include "fatal_matcher.h"
#include "ozgi/cls_fixed_point.h"

using namespace ozgi;
using testing::ExitedWithCode;

TEST(core_fixed_point_checked, parse_refuses_what_the_constructor_finds_fatal) {
    cls_fixed_point v("7");
    EXPECT_FALSE(cls_fixed_point::parse_checked("99999999999999999999", &v));
    EXPECT_EQ(v.to_string(), cls_string("7"));
    EXPECT_EXIT(cls_fixed_point("99999999999999999999"), ExitedWithCode(1), "does not fit 64 bits");
    ASSERT_TRUE(cls_fixed_point::parse_checked("-12.50", &v));
    EXPECT_EQ(v.to_string(), cls_string("-12.50"));
    ASSERT_TRUE(cls_fixed_point::parse_checked("1.2.3", &v));
    EXPECT_EQ(v.to_string(), cls_string("1.2"));
    ASSERT_TRUE(cls_fixed_point::parse_checked("9223372036854775807", &v));
    EXPECT_EQ(v.mantissa(), 9223372036854775807LL);
}

TEST(core_fixed_point_checked, add_refuses_overflow_of_the_sum_and_of_the_rescale) {
    cls_fixed_point sum("5");
    EXPECT_FALSE(cls_fixed_point("9223372036854775807").add_checked(cls_fixed_point("1"), &sum));
    // 10 at 18 decimals is 10^19, beyond 64 bits.
    EXPECT_FALSE(cls_fixed_point("0.000000000000000001").add_checked(cls_fixed_point("10"), &sum));
    EXPECT_EQ(sum.to_string(), cls_string("5"));
    EXPECT_EXIT(cls_fixed_point("0.000000000000000001") + cls_fixed_point("10"), ExitedWithCode(1), "overflow");
    ASSERT_TRUE(cls_fixed_point("0.5").add_checked(cls_fixed_point("-2"), &sum));
    EXPECT_EQ(sum.to_string(), cls_string("-1.5"));
}

TEST(core_fixed_point_checked, width_refuses_too_many_decimals_and_overflowing_values) {
    cls_fixed_point v("3");
    EXPECT_FALSE(v.set_fractional_width_checked(19));
    cls_fixed_point big("9000000000000000000");
    EXPECT_FALSE(big.set_fractional_width_checked(1));
    EXPECT_EQ(big.to_string(), cls_string("9000000000000000000"));
    ASSERT_TRUE(v.set_fractional_width_checked(2));
    EXPECT_EQ(v.to_string(), cls_string("3.00"));
    ASSERT_TRUE(v.set_fractional_width_checked(-1));
}
