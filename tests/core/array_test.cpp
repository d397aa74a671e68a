#include <gtest/gtest.h>

#include <cstdio>
#include <vector>

#include "fatal_matcher.h"
#include "ozgi/cls_array.h"
#include "ozgi/cls_string.h"

using namespace ozgi;
using core_test::fatal_line;
using testing::ExitedWithCode;

namespace {

cls_array<cls_string> strings(std::initializer_list<const char*> items) {
    cls_array<cls_string> a;
    for (const char* s : items) a.append(s);
    return a;
}

// Records the order in which elements are destroyed.
std::vector<int> g_destroyed;

struct tagged_t {
    int tag;
    explicit tagged_t(int t) : tag(t) {}
    tagged_t(const tagged_t& other) : tag(other.tag) {}
    ~tagged_t() { g_destroyed.push_back(tag); }
};

} // namespace

TEST(core_array, empty_array_grows_through_powers_of_two_from_one) {
    cls_array<int> a;
    EXPECT_EQ(a.capacity(), 0);
    EXPECT_EQ(a.count(), 0);
    std::vector<int> seen;
    for (int i = 0; i < 9; ++i) {
        a.append(i);
        seen.push_back(a.capacity());
    }
    EXPECT_EQ(seen, (std::vector<int>{1, 2, 4, 4, 8, 8, 8, 8, 16}));
    for (int i = 0; i < 9; ++i) EXPECT_EQ(a[i], i);
}

TEST(core_array, initial_allocation_keeps_256_slots_until_the_257th_element) {
    cls_array<int> a(cls_array<int>::INITIAL_SLOTS);
    EXPECT_EQ(a.capacity(), 256);
    EXPECT_EQ(a.count(), 0);
    for (int i = 0; i < 256; ++i) a.append(i);
    EXPECT_EQ(a.capacity(), 256);
    a.append(256);
    EXPECT_EQ(a.capacity(), 512);
    EXPECT_EQ(a.count(), 257);
    EXPECT_EQ(a[256], 256);
    EXPECT_EQ(a[0], 0);
}

TEST(core_array, append_returns_the_array_for_chaining) {
    cls_array<cls_string> a;
    cls_array<cls_string>& same = a.append("a").append("b").append("c");
    EXPECT_EQ(&same, &a);
    EXPECT_EQ(a.count(), 3);
    EXPECT_STREQ(a[2].c_str(), "c");
}

TEST(core_array, index_at_count_is_fatal) {
    cls_array<cls_string> a = strings({"a", "b", "c"});
    EXPECT_EXIT(a[3], ExitedWithCode(1), fatal_line("cls_array.h", "Can't get the 3th element, there are only 3 elements."));
}

TEST(core_array, negative_index_is_fatal) {
    cls_array<int> a;
    EXPECT_EXIT(a.get(-1), ExitedWithCode(1), fatal_line("cls_array.h", "Can't get the -1th element, there are only 0 elements."));
}

TEST(core_array, const_access_is_guarded_too) {
    const cls_array<cls_string> a = strings({"only"});
    EXPECT_STREQ(a[0].c_str(), "only");
    EXPECT_EXIT(a[1], ExitedWithCode(1), fatal_line("cls_array.h", "Can't get the 1th element, there are only 1 elements."));
}

TEST(core_array, first_on_empty_array_is_fatal) {
    cls_array<cls_string> a;
    EXPECT_EXIT(a.first(), ExitedWithCode(1), fatal_line("cls_array.h", "Can't get the first element from an empty array."));
}

TEST(core_array, last_on_empty_array_is_fatal) {
    cls_array<cls_string> a;
    EXPECT_EXIT(a.last(), ExitedWithCode(1), fatal_line("cls_array.h", "Can't get the last element from an empty array."));
}

TEST(core_array, first_and_last) {
    cls_array<cls_string> a = strings({"x", "y", "z"});
    EXPECT_STREQ(a.first().c_str(), "x");
    EXPECT_STREQ(a.last().c_str(), "z");
}

TEST(core_array, sort_of_empty_and_single_element_arrays_does_nothing) {
    cls_array<cls_string> empty;
    empty.sort(0, -1);
    EXPECT_EQ(empty.count(), 0);
    cls_array<cls_string> one = strings({"q"});
    one.sort(0, -1);
    EXPECT_EQ(one.count(), 1);
    EXPECT_STREQ(one[0].c_str(), "q");
}

TEST(core_array, sort_from_past_the_end_with_minus_one_does_nothing) {
    cls_array<cls_string> a = strings({"c", "b", "a"});
    a.sort(5, -1);
    EXPECT_STREQ(a.glue(",")->c_str(), "c,b,a");
}

TEST(core_array, sort_from_the_count_is_fatal) {
    cls_array<cls_string> a = strings({"c", "b", "a"});
    EXPECT_EXIT(a.sort(3, 2), ExitedWithCode(1), fatal_line("cls_array.h", "Can't sort from 3, there are only 3 items."));
}

TEST(core_array, sort_past_the_end_is_fatal_with_from_and_count_in_that_order) {
    cls_array<cls_string> a = strings({"c", "b", "a"});
    EXPECT_EXIT(a.sort(1, 5), ExitedWithCode(1),
                fatal_line("cls_array.h", "Can't sort 1 items from 5, there are only 3 items."));
}

TEST(core_array, sort_uses_byte_order) {
    cls_array<cls_string> a = strings({"b", "a", "B", "9", "10", "", "ab"});
    a.sort(0, -1);
    EXPECT_STREQ(a.glue("|")->c_str(), "|10|9|B|a|ab|b");
}

TEST(core_array, sort_of_a_sub_range_leaves_the_rest) {
    cls_array<cls_string> a = strings({"z", "d", "c", "b", "a"});
    a.sort(1, 3);
    EXPECT_STREQ(a.glue(",")->c_str(), "z,b,c,d,a");
    a.sort(3, -1);
    EXPECT_STREQ(a.glue(",")->c_str(), "z,b,c,a,d");
}

TEST(core_array, sort_of_many_strings) {
    cls_array<cls_string> a;
    for (int i = 999; i >= 0; --i) {
        cls_string s;
        s.print("%04d", (i * 7919) % 1000);
        a.append(s);
    }
    a.sort();
    for (int i = 0; i < 1000; ++i) {
        cls_string expected;
        expected.print("%04d", i);
        ASSERT_EQ(a[i], expected) << i;
    }
}

TEST(core_array, glue_of_three_strings) {
    cls_array<cls_string> a = strings({"a", "b", "c"});
    EXPECT_STREQ(a.glue(" ")->c_str(), "a b c");
}

TEST(core_array, glue_of_one_string_is_that_string) {
    cls_array<cls_string> a = strings({"alone"});
    EXPECT_STREQ(a.glue(", ")->c_str(), "alone");
}

TEST(core_array, glue_of_no_strings_is_empty) {
    cls_array<cls_string> a;
    cls_sp<cls_string> glued = a.glue(" ");
    ASSERT_TRUE(glued.is_not_null());
    EXPECT_STREQ(glued->c_str(), "");
}

TEST(core_array, to_string_of_two_strings) {
    cls_array<cls_string> a = strings({"x", "y"});
    EXPECT_STREQ(a.to_string()->c_str(), "[0]: x\n[1]: y");
}

TEST(core_array, to_string_of_empty_array_is_empty) {
    cls_array<cls_string> a;
    cls_sp<cls_string> text = a.to_string();
    ASSERT_TRUE(text.is_not_null());
    EXPECT_STREQ(text->c_str(), "");
}

TEST(core_array, to_string_of_ints_and_pointers) {
    cls_array<int> ints;
    ints.append(5).append(-12);
    EXPECT_STREQ(ints.to_string()->c_str(), "[0]: 5\n[1]: -12");
    int target = 0;
    cls_array<int*> pointers;
    pointers.append(&target);
    char expected[64];
    std::snprintf(expected, sizeof(expected), "[0]: %p", static_cast<void*>(&target));
    EXPECT_STREQ(pointers.to_string()->c_str(), expected);
}

TEST(core_array, clear_destroys_in_index_order_and_keeps_the_buffer) {
    cls_array<tagged_t> a;
    a.append(tagged_t(1)).append(tagged_t(2)).append(tagged_t(3));
    int capacity = a.capacity();
    g_destroyed.clear();
    a.clear();
    EXPECT_EQ(g_destroyed, (std::vector<int>{1, 2, 3}));
    EXPECT_EQ(a.count(), 0);
    EXPECT_EQ(a.capacity(), capacity);
}

TEST(core_array, destruction_destroys_in_index_order) {
    {
        cls_array<tagged_t> a;
        a.append(tagged_t(7)).append(tagged_t(8));
        g_destroyed.clear();
    }
    EXPECT_EQ(g_destroyed, (std::vector<int>{7, 8}));
}

TEST(core_array, insert_and_remove_at) {
    cls_array<cls_string> a = strings({"a", "c"});
    a.insert(1, "b");
    a.insert(3, "d");
    a.insert(0, "_");
    EXPECT_STREQ(a.glue("")->c_str(), "_abcd");
    a.remove_at(0);
    a.remove_at(3);
    EXPECT_STREQ(a.glue("")->c_str(), "abc");
    EXPECT_EXIT(a.insert(4, "x"), ExitedWithCode(1), fatal_line("cls_array.h", "Can't insert at 4, there are only 3 elements."));
    EXPECT_EXIT(a.remove_at(3), ExitedWithCode(1), fatal_line("cls_array.h", "Can't get the 3th element, there are only 3 elements."));
}

TEST(core_array, copy_and_assignment_copy_the_elements) {
    cls_array<cls_string> a = strings({"1", "2", "3"});
    cls_array<cls_string> b(a);
    a[0] = "changed";
    EXPECT_STREQ(b.glue(",")->c_str(), "1,2,3");
    EXPECT_EQ(b.capacity(), 4);
    cls_array<cls_string> c = strings({"old"});
    c = a;
    EXPECT_STREQ(c.glue(",")->c_str(), "changed,2,3");
    const cls_array<cls_string>& same = c;  // an alias: assigning to itself
    c = same;
    EXPECT_EQ(c.count(), 3);
}

TEST(core_array, range_for_visits_every_element) {
    cls_array<int> a;
    a.append(1).append(2).append(3);
    int sum = 0;
    for (int v : a) sum += v;
    EXPECT_EQ(sum, 6);
}
