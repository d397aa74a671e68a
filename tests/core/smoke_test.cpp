#include <gtest/gtest.h>

#include "ozgi/cls_array.h"
#include "ozgi/cls_fixed_point.h"
#include "ozgi/cls_tree.h"

using namespace ozgi;

TEST(smoke, array_tree_fixed_point) {
    cls_array<cls_string> a;
    a.append("x").append("y");
    EXPECT_STREQ(a.to_string()->c_str(), "[0]: x\n[1]: y");
    cls_tree<cls_string> t;
    t.set_root_data("R");
    auto* n = t.add_last_child(t.root(), "A");
    t.add_last_child(n, "A1");
    t.add_last_child(t.root(), "B");
    EXPECT_STREQ(t.to_string()->c_str(), "R\n+---A\n|   L---A1\nL---B");
    cls_fixed_point f("0.25");
    cls_fixed_point s;
    for (int i = 0; i < 4; ++i) s += f;
    s.set_fractional_width(2);
    EXPECT_STREQ(s.to_string().c_str(), "1.00");
}
