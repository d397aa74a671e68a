#include <gtest/gtest.h>

#include <climits>
#include <cstdint>

#include "fatal_matcher.h"
#include "ozgi/cls_array.h"
#include "ozgi/cls_string.h"
#include "ozgi/size_math.h"

using namespace ozgi;
using core_test::fatal_line;
using testing::ExitedWithCode;

// The boundaries are tested on the helpers themselves and through the public
// operations that reach them with a length near the limit: filling 2 GiB is not
// something a unit test can do.

TEST(core_size_math, sums_up_to_the_largest_count_are_exact) {
    EXPECT_EQ(size_math::add(0, 0, "a string"), 0);
    EXPECT_EQ(size_math::add(INT_MAX - 1, 1, "a string"), INT_MAX);
    EXPECT_EQ(size_math::add(1, INT_MAX - 1, "an array"), INT_MAX);
}

TEST(core_size_math, a_sum_past_the_largest_count_is_fatal) {
    EXPECT_EXIT(size_math::add(INT_MAX, 1, "a string"), ExitedWithCode(1),
                fatal_line("size_math.h", "Size overflow: a string can't grow from 2147483647 by 1."));
    EXPECT_EXIT(size_math::add(2147483000, 1000, "an array"), ExitedWithCode(1),
                fatal_line("size_math.h", "Size overflow: an array can't grow from 2147483000 by 1000."));
    EXPECT_EXIT(size_math::add(5, -1, "a string"), ExitedWithCode(1),
                fatal_line("size_math.h", "Size overflow: a string can't grow from 5 by -1."));
}

TEST(core_size_math, capacity_doubles_and_stops_at_the_largest_count) {
    EXPECT_EQ(size_math::grown_capacity(15, 16), 31);
    EXPECT_EQ(size_math::grown_capacity(15, 15), 15);
    EXPECT_EQ(size_math::grown_capacity(15, 100), 127);
    EXPECT_EQ(size_math::grown_capacity((1 << 30) - 1, 1 << 30), INT_MAX);
    // Doubling 2^30 (plus one) would wrap; it stops at the largest count instead.
    EXPECT_EQ(size_math::grown_capacity(1 << 30, (1 << 30) + 1), INT_MAX);
    EXPECT_EQ(size_math::grown_capacity(INT_MAX - 10, INT_MAX), INT_MAX);
}

TEST(core_size_math, byte_counts_that_do_not_fit_are_fatal) {
    EXPECT_EQ(size_math::bytes(3, 4, 5), 17u);
    EXPECT_EQ(size_math::bytes(SIZE_MAX / 8, 8, 0), SIZE_MAX / 8 * 8);
    size_t too_many = SIZE_MAX / 8 + 1;
    EXPECT_EXIT(size_math::bytes(too_many, 8, 0), ExitedWithCode(1),
                fatal_line("size_math.h", "Size overflow: " + std::to_string(too_many) +
                                              " elements of 8 bytes can't be allocated."));
    EXPECT_EXIT(size_math::bytes(SIZE_MAX, 1, 64), ExitedWithCode(1),
                fatal_line("size_math.h", "Size overflow: " + std::to_string(SIZE_MAX) +
                                              " elements of 1 bytes can't be allocated."));
}

TEST(core_size_math, a_measured_length_past_the_largest_count_is_fatal) {
    EXPECT_EQ(size_math::length_of(static_cast<size_t>(INT_MAX), "a string"), INT_MAX);
    EXPECT_EXIT(size_math::length_of(static_cast<size_t>(INT_MAX) + 1, "a string"), ExitedWithCode(1),
                fatal_line("size_math.h", "Size overflow: a string can't hold 2147483648 bytes."));
}

TEST(core_size_math, appending_past_the_largest_length_is_fatal_before_any_copy) {
    cls_string s("abc");
    static const char data[4] = "xyz";
    // The length claims more than is there: only the size check may look at it.
    EXPECT_EXIT(s.append(data, INT_MAX), ExitedWithCode(1),
                fatal_line("size_math.h", "Size overflow: a string can't grow from 3 by 2147483647."));
    s.append(data, 3);
    EXPECT_STREQ(s.c_str(), "abcxyz");
}

TEST(core_size_math, a_huge_substring_count_is_cut_at_the_end) {
    cls_string s("abcdef");
    // from + count wraps for these; the result must still end at the string's end.
    EXPECT_STREQ(s.sub_str(2, INT_MAX).c_str(), "cdef");
    EXPECT_STREQ(s.sub_str(5, INT_MAX - 2).c_str(), "f");
    cls_string t("abcdef");
    t.to_sub_str(1, INT_MAX);
    EXPECT_STREQ(t.c_str(), "bcdef");
}

TEST(core_size_math, sorting_from_a_negative_index_is_fatal) {
    cls_array<int> a;
    a.append(3).append(1).append(2);
    EXPECT_EXIT(a.sort(-1, 2), ExitedWithCode(1),
                fatal_line("cls_array.h", "Can't sort -1 items from 2, there are only 3 items."));
}
