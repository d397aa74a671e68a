// Layouts and item paths written to hurt: includes that never end, expressions
// nested or computed beyond what the parser and int can hold, and item name
// patterns that a backtracking matcher would need exponential time for.
#include <gtest/gtest.h>

#include <deque>
#include <string>

#include "../core/fatal_matcher.h"
#include "gui_test_util.h"
#include "ozgi/cls_cmn_item.h"
#include "ozgi/cls_event_handler.h"
#include "ozgi/cls_ui_res_loader.h"

using namespace ozgi;
using core_test::fatal_line;
using gui_test::add_layout;

namespace {

// Layout texts made at run time must outlive the program, as registered resources do.
const char* keep(const std::string& text) {
    static std::deque<std::string> kept;
    kept.push_back(text);
    return kept.back().c_str();
}

std::string include_of(const std::string& name) {
    return "<item cls_name=\"cls_cmn_item\"><item file_name=\"" + name + "\"/></item>";
}

class hostile_layout_test : public ::testing::Test {
protected:
    void SetUp() override { cls_ui_res_loader::ins()->set_screen_size(640, 800); }
};

// ---- Includes ------------------------------------------------------------------

TEST_F(hostile_layout_test, a_layout_including_itself_is_fatal_naming_the_chain) {
    add_layout("test_hostile/self.xml", keep(include_of("test_hostile/self.xml")));
    EXPECT_EXIT(cls_ui_res_loader::ins()->load_layout("test_hostile/self.xml", nullptr), ::testing::ExitedWithCode(1),
                fatal_line("cls_ui_res_loader.cpp", "The layout test_hostile/self.xml includes itself: "
                                                    "test_hostile/self.xml -> test_hostile/self.xml."));
}

TEST_F(hostile_layout_test, layouts_including_each_other_are_fatal_naming_the_chain) {
    add_layout("test_hostile/ring_a.xml", keep(include_of("test_hostile/ring_b.xml")));
    add_layout("test_hostile/ring_b.xml",
               keep("<ui_res_file><item cls_name=\"cls_cmn_item\"/>" + include_of("test_hostile/ring_c.xml") +
                    "</ui_res_file>"));
    add_layout("test_hostile/ring_c.xml", keep(include_of("test_hostile/ring_b.xml")));
    add_layout("test_hostile/page.xml", keep(include_of("test_hostile/ring_a.xml")));
    EXPECT_EXIT(cls_ui_res_loader::ins()->load_layout("test_hostile/page.xml", nullptr), ::testing::ExitedWithCode(1),
                fatal_line("cls_ui_res_loader.cpp",
                           "The layout test_hostile/ring_b.xml includes itself: test_hostile/page.xml -> "
                           "test_hostile/ring_a.xml -> test_hostile/ring_b.xml -> test_hostile/ring_c.xml -> "
                           "test_hostile/ring_b.xml."));
}

// Registers the chain deep0.xml -> deep1.xml -> ... -> deep<levels>.xml, the last
// one a plain item.
void add_deep_chain(int levels) {
    for (int i = 0; i < levels; ++i)
        add_layout(keep("test_hostile/deep" + std::to_string(i) + ".xml"),
                   keep(include_of("test_hostile/deep" + std::to_string(i + 1) + ".xml")));
    add_layout(keep("test_hostile/deep" + std::to_string(levels) + ".xml"),
               "<item cls_name=\"cls_cmn_item\"><attr item_name=\"BOTTOM\"/></item>");
}

TEST_F(hostile_layout_test, thirty_two_nested_includes_load) {
    add_deep_chain(32);
    cls_event_handler* root = cls_ui_res_loader::ins()->load_layout("test_hostile/deep0.xml", nullptr);
    ASSERT_NE(root, nullptr);
    EXPECT_NE(root->member_item("BOTTOM"), nullptr);
    ozgi_delete(root);
}

TEST_F(hostile_layout_test, a_thirty_third_nested_include_is_fatal_naming_the_chain) {
    add_deep_chain(40);
    std::string chain;
    for (int i = 0; i <= 33; ++i) chain += (i ? " -> " : "") + std::string("test_hostile/deep") + std::to_string(i) + ".xml";
    EXPECT_EXIT(cls_ui_res_loader::ins()->load_layout("test_hostile/deep0.xml", nullptr), ::testing::ExitedWithCode(1),
                fatal_line("cls_ui_res_loader.cpp", "Layouts are included more than 32 deep: " + chain + "."));
}

// `levels` item elements inside each other, one per line.
std::string nested_items(int levels) {
    std::string text;
    for (int i = 0; i < levels; ++i) text += "<item cls_name=\"cls_cmn_item\">\n";
    for (int i = 0; i < levels; ++i) text += "</item>";
    return text;
}

TEST_F(hostile_layout_test, items_nest_up_to_two_hundred_fifty_six_levels) {
    add_layout("test_hostile/items256.xml", keep(nested_items(256)));
    cls_event_handler* root = cls_ui_res_loader::ins()->load_layout("test_hostile/items256.xml", nullptr);
    ASSERT_NE(root, nullptr);
    int depth = 1;
    for (cls_event_handler* item = root; item->child_count() == 1; item = item->child(0)) ++depth;
    EXPECT_EQ(depth, 256);
    ozgi_delete(root);
}

TEST_F(hostile_layout_test, deeper_items_are_fatal_naming_the_place) {
    add_layout("test_hostile/items257.xml", keep(nested_items(257)));
    EXPECT_EXIT(cls_ui_res_loader::ins()->load_layout("test_hostile/items257.xml", nullptr),
                ::testing::ExitedWithCode(1),
                fatal_line("cls_ui_res_loader.cpp", "Items nest deeper than 256 levels in test_hostile/items257.xml:257."));
    add_layout("test_hostile/items100k.xml", keep(nested_items(100000)));
    EXPECT_EXIT(cls_ui_res_loader::ins()->load_layout("test_hostile/items100k.xml", nullptr),
                ::testing::ExitedWithCode(1),
                fatal_line("cls_ui_res_loader.cpp", "Items nest deeper than 256 levels in test_hostile/items100k.xml:257."));
}

// ---- Expressions ---------------------------------------------------------------

// Registers a layout whose one item has `width` as its width expression.
const char* add_width_layout(const std::string& name, const std::string& width) {
    add_layout(keep(name), keep("<item cls_name=\"cls_cmn_item\"><attr width=\"" + width + "\"/></item>"));
    return keep(name);
}

int width_of(const std::string& name, const std::string& width) {
    const char* layout = add_width_layout(name, width);
    cls_event_handler* item = cls_ui_res_loader::ins()->load_layout(layout, nullptr);
    int w = item->width();
    ozgi_delete(item);
    return w;
}

void expect_width_fatal(const std::string& name, const std::string& width, const std::string& reason) {
    const char* layout = add_width_layout(name, width);
    EXPECT_EXIT(cls_ui_res_loader::ins()->load_layout(layout, nullptr), ::testing::ExitedWithCode(1),
                fatal_line("event_handler_geometry.cpp",
                           "Bad expression in " + name + ", attribute width: \"" + width + "\" (" + reason + ")."));
}

TEST_F(hostile_layout_test, expressions_nest_up_to_two_hundred_levels) {
    EXPECT_EQ(width_of("test_hostile/nest200.xml", std::string(200, '(') + "7" + std::string(200, ')')), 7);
    std::string calls;
    for (int i = 0; i < 199; ++i) calls += "max(1, ";
    calls += "(9)" + std::string(199, ')');
    EXPECT_EQ(width_of("test_hostile/calls200.xml", calls), 9);
}

TEST_F(hostile_layout_test, deeper_nesting_is_fatal_even_two_hundred_thousand_levels) {
    expect_width_fatal("test_hostile/nest201.xml", std::string(201, '(') + "7" + std::string(201, ')'),
                       "nesting deeper than 200 levels");
    std::string calls;
    for (int i = 0; i < 201; ++i) calls += "max(1,";
    calls += "2" + std::string(201, ')');
    expect_width_fatal("test_hostile/calls201.xml", calls, "nesting deeper than 200 levels");
    expect_width_fatal("test_hostile/nest200k.xml", std::string(200000, '(') + "1" + std::string(200000, ')'),
                       "nesting deeper than 200 levels");
    // Unclosed, as a fuzzer would write it.
    expect_width_fatal("test_hostile/open200k.xml", std::string(200000, '('), "nesting deeper than 200 levels");
}

TEST_F(hostile_layout_test, a_long_run_of_minus_signs_needs_no_deep_stack) {
    std::string signs;
    for (int i = 0; i < 200000; ++i) signs += "- ";
    EXPECT_EQ(width_of("test_hostile/minus.xml", signs + "7"), 7);
    EXPECT_EQ(width_of("test_hostile/minus_odd.xml", "2 * " + signs + "- 7 + 20"), 6);
}

TEST_F(hostile_layout_test, the_whole_int_range_is_reachable) {
    EXPECT_EQ(width_of("test_hostile/max.xml", "1000000000 + 1000000000 + 147483647"), 2147483647);
    EXPECT_EQ(width_of("test_hostile/min.xml", "-1000000000 - 1000000000 - 147483648"), -2147483647 - 1);
    EXPECT_EQ(width_of("test_hostile/min_div.xml", "(-1000000000 - 1000000000 - 147483648) / 1"), -2147483647 - 1);
    EXPECT_EQ(width_of("test_hostile/mul.xml", "46340 * 46340 - 46340 * 46340 + 3"), 3);
}

TEST_F(hostile_layout_test, integer_overflow_is_fatal_naming_the_operation) {
    expect_width_fatal("test_hostile/add.xml", "1000000000 + 1000000000 + 1000000000",
                       "integer overflow in 2000000000 + 1000000000");
    expect_width_fatal("test_hostile/add1.xml", "1000000000 + 1000000000 + 147483648",
                       "integer overflow in 2000000000 + 147483648");
    expect_width_fatal("test_hostile/sub.xml", "-1000000000 - 1000000000 - 147483649",
                       "integer overflow in -2000000000 - 147483649");
    expect_width_fatal("test_hostile/mul.xml", "100000 * 100000", "integer overflow in 100000 * 100000");
    expect_width_fatal("test_hostile/mul_big.xml", "1000000000 * 1000000000 * 1000000000 * 1000000000",
                       "integer overflow in 1000000000 * 1000000000");
    expect_width_fatal("test_hostile/mul_neg.xml", "65536 * -32769", "integer overflow in 65536 * -32769");
    expect_width_fatal("test_hostile/neg.xml", "-(-1000000000 - 1000000000 - 147483648)",
                       "integer overflow in -(-2147483648)");
    expect_width_fatal("test_hostile/div.xml", "(-1000000000 - 1000000000 - 147483648) / -1",
                       "integer overflow in -2147483648 / -1");
    // Geometry feeds expressions too: the screen is 640 wide.
    expect_width_fatal("test_hostile/screen.xml", "screen_width() * 10000000", "integer overflow in 640 * 10000000");
}

// ---- Item name patterns --------------------------------------------------------

class pattern_test : public ::testing::Test {
protected:
    void SetUp() override {
        m_root = OZGI_NEW(cls_cmn_item)();
        for (const char* name : {"ABC", "AC", "ABBBC", "ADC", "*A", "A*", "X", "AB.C"}) add(name);
    }
    void TearDown() override { ozgi_delete(m_root); }
    cls_event_handler* add(const std::string& name) {
        cls_event_handler* item = OZGI_NEW(cls_cmn_item)();
        item->set_item_name(name.c_str());
        m_root->add_child(item);
        return item;
    }
    // The names of the items `path` finds, in creation order, joined by spaces.
    std::string found(const std::string& path) {
        cls_sp<cls_array<cls_event_handler*>> items = m_root->get_member_items(path.c_str(), false);
        std::string names;
        for (int i = 0; i < items->count(); ++i) names += (i ? " " : "") + std::string(items->get(i)->item_name().c_str());
        return names;
    }
    cls_event_handler* m_root;
};

TEST_F(pattern_test, dot_is_any_character_and_star_repeats_the_element_before_it) {
    EXPECT_EQ(found("A.C"), "ABC ADC");
    EXPECT_EQ(found("AB*C"), "ABC AC ABBBC");
    EXPECT_EQ(found("A.*C"), "ABC AC ABBBC ADC AB.C");
    EXPECT_EQ(found(".*"), "ABC AC ABBBC ADC *A A* X AB.C");
    EXPECT_EQ(found("."), "X");
    EXPECT_EQ(found("..."), "ABC ADC");
    EXPECT_EQ(found("A.*.*.*C"), "ABC AC ABBBC ADC AB.C");
    // The whole name must match, not a part of it.
    EXPECT_EQ(found("A."), "AC A*");
    EXPECT_EQ(found("B*"), "");
    // A leading "*" has nothing to repeat and stands for itself.
    EXPECT_EQ(found("*A"), "*A");
    EXPECT_EQ(found("A**"), "A*");
    EXPECT_EQ(found("X*.*"), "ABC AC ABBBC ADC *A A* X AB.C");
}

TEST_F(pattern_test, patterns_match_groups_as_well) {
    add("G_ITEM")->add_group("ARGU_BUTTONS");
    add("OTHER")->add_group("ARGU_BUTTONS_X");
    EXPECT_EQ(found("ARGU_BUTTONS.*"), "G_ITEM OTHER");
    EXPECT_EQ(found("ARGU_BUTTONS"), "G_ITEM");
    EXPECT_EQ(found("ARGU_BUTTON."), "G_ITEM");
}

TEST_F(pattern_test, many_stars_against_a_long_name_answer_without_backtracking) {
    std::string name(200, 'a');
    add(name);
    std::string stars;
    for (int i = 0; i < 30; ++i) stars += ".*";
    // Trying each way to share the name among thirty ".*" would take longer than
    // the universe has existed; these must come back at once.
    EXPECT_EQ(found(stars + "b"), "");
    EXPECT_EQ(found(stars + "a.*b.*"), "");
    EXPECT_EQ(found(stars + "a*a*a*a*a*a*a*a*a*a*b"), "");
    EXPECT_EQ(found(stars + "a*a*a*a*a*a*a*a*a*a*a"), name);
    EXPECT_EQ(found("a" + stars + "a"), name);
}

} // namespace
