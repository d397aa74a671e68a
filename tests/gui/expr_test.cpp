// The expression language of layout geometry, through layouts loaded with the
// public loader.
#include <gtest/gtest.h>

#include "gui_test_util.h"
#include "ozgi/cls_event_handler.h"
#include "ozgi/cls_page.h"
#include "ozgi/cls_ui_res_loader.h"

using namespace ozgi;
using gui_test::add_layout;
using gui_test::literal;

namespace {

const char* const EXPR_LAYOUT = R"X(<?xml version="1.0"?>
<item cls_name="cls_cmn_item">
  <attr item_name="ROOT" left="10" top="20" width="300" height="200"/>
  <item cls_name="cls_cmn_item">
    <attr item_name="FIRST" left="left(prev()) + 1" top="bottom(prev()) + 2" width="width(prev())" height="7 / 2"/>
  </item>
  <item cls_name="cls_cmn_item">
    <attr item_name="A" left="left(container()) + 5" top="top(container()) + 6"/>
    <attr width="width(container()) / 3" height="20 * 2 - (3 - 1)"/>
  </item>
  <item cls_name="cls_cmn_item">
    <attr item_name="B" left="right(prev())" top="bottom(prev()) + 1" width="screen_width() - 600" height="screen_height() / 100"/>
  </item>
  <item cls_name="cls_cmn_item">
    <attr item_name="C" left="left(prev(prev()))" top="top(prev(prev()))" width="width(prev()) * 2" height="height(prev(prev())) - -2"/>
  </item>
  <item cls_name="cls_cmn_item">
    <attr item_name="D" width="max(width(prev()), 7)" height="select(1 &lt; 2, 3, 4)"/>
    <attr left="select(2 &lt; 1, 3, 4)" top="-5 + (2 &lt; 3) * 10"/>
  </item>
  <item cls_name="cls_icon">
    <attr item_name="E" picture="pass.bmp" width="content_width() + 1" height="content_height() * 2"/>
    <attr left="right(container()) - width()" top="bottom(container()) - height())"/>
  </item>
  <item cls_name="cls_cmn_item">
    <attr item_name="G"/>
  </item>
  <item cls_name="cls_icon">
    <attr item_name="H" picture="pass.bmp"/>
  </item>
  <item cls_name="cls_cmn_item">
    <attr item_name="M" width="max(3, 9) - max(9, 3) + 1" height="((((2))))" left="-(1 + 2) * -3" top="1 &lt; 1"/>
  </item>
</item>
)X";

const char* const STEP_LAYOUT = R"X(<item cls_name="cls_cmn_item">
  <attr width="10" height="10" left="left(prev())" top="bottom(prev()) + 5"/>
</item>
)X";

struct rect_t {
    int x, y, w, h;
};

rect_t geometry(const cls_event_handler* item) { return rect_t{item->left(), item->top(), item->width(), item->height()}; }

#define EXPECT_RECT(item, X, Y, W, H)                         \
    do {                                                      \
        rect_t r_ = geometry(item);                           \
        EXPECT_EQ(r_.x, X);                                   \
        EXPECT_EQ(r_.y, Y);                                   \
        EXPECT_EQ(r_.w, W);                                   \
        EXPECT_EQ(r_.h, H);                                   \
    } while (0)

class expr_test : public ::testing::Test {
protected:
    void SetUp() override {
        add_layout("test_gui/expr.xml", EXPR_LAYOUT);
        add_layout("test_gui/step.xml", STEP_LAYOUT);
        cls_ui_res_loader::ins()->set_screen_size(640, 800);
    }
};

TEST_F(expr_test, every_function_and_operator) {
    cls_event_handler* root = cls_ui_res_loader::ins()->load_layout("test_gui/expr.xml", nullptr);
    ASSERT_NE(root, nullptr);
    EXPECT_RECT(root, 10, 20, 300, 200);
    // No previous sibling: an empty rectangle at the container's corner.
    EXPECT_RECT(root->member_item("FIRST"), 11, 22, 0, 3);
    EXPECT_RECT(root->member_item("A"), 15, 26, 100, 38);
    EXPECT_RECT(root->member_item("B"), 115, 65, 40, 8);
    EXPECT_RECT(root->member_item("C"), 15, 26, 80, 40);
    EXPECT_RECT(root->member_item("D"), 3, 5, 80, 4);
    // content_width()/content_height() are the picture's 64 x 64; the top has the surplus ")".
    EXPECT_RECT(root->member_item("E"), 245, 92, 65, 128);
    // Left out: the container's corner and size, or the content's size.
    EXPECT_RECT(root->member_item("G"), 10, 20, 300, 200);
    EXPECT_RECT(root->member_item("H"), 10, 20, 64, 64);
    EXPECT_RECT(root->member_item("M"), 9, 0, 1, 2);
    ozgi_delete(root);
}

TEST_F(expr_test, prev_counts_items_created_by_code) {
    cls_page* page = OZGI_NEW(cls_page)();
    page->set_geometry(0, 0, 640, 800);
    cls_event_handler* first = cls_ui_res_loader::ins()->load_layout("test_gui/step.xml", page);
    EXPECT_RECT(first, 0, 5, 10, 10);
    cls_event_handler* by_code = OZGI_NEW(cls_page)();
    by_code->set_geometry(100, 100, 10, 10);
    page->add_child(by_code);
    cls_event_handler* second = cls_ui_res_loader::ins()->load_layout("test_gui/step.xml", page);
    EXPECT_RECT(second, 100, 115, 10, 10);
    ozgi_delete(page);
}

TEST_F(expr_test, numeric_button_grid_of_the_shipped_layout) {
    add_layout("test_gui/value_label.xml", R"X(<item cls_name="cls_label">
  <attr width="width(container()) - 100" height="64" left="left(container()) + 50" top="200"/>
</item>)X");
    cls_page* page = OZGI_NEW(cls_page)();
    page->set_geometry(0, 0, 640, 800);
    cls_ui_res_loader* loader = cls_ui_res_loader::ins();
    loader->load_layout("test_gui/value_label.xml", page);
    cls_event_handler* b1 = loader->load_layout("numeric_arg_page/numeric_button.xml", page);
    cls_event_handler* b2 = loader->load_layout("numeric_arg_page/numeric_button.xml", page);
    cls_event_handler* b3 = loader->load_layout("numeric_arg_page/numeric_button.xml", page);
    cls_event_handler* b4 = loader->load_layout("numeric_arg_page/numeric_button.xml", page);
    EXPECT_RECT(b1, 20, 280, 290, 64);
    EXPECT_RECT(b2, 330, 280, 290, 64);
    EXPECT_RECT(b3, 20, 360, 290, 64);
    EXPECT_RECT(b4, 330, 360, 290, 64);
    ozgi_delete(page);
}

// A layout whose one item has `attrs`; loading it must fail with `message`.
void expect_layout_fatal(const char* name, const char* text, const std::string& message) {
    add_layout(name, text);
    EXPECT_EXIT(cls_ui_res_loader::ins()->load_layout(name, nullptr), ::testing::ExitedWithCode(1), literal(message));
}

TEST_F(expr_test, malformed_expressions_are_fatal_naming_file_attribute_and_text) {
    expect_layout_fatal("test_gui/bad1.xml", R"X(<item cls_name="cls_cmn_item"><attr width="1 +"/></item>)X",
                        "Bad expression in test_gui/bad1.xml, attribute width: \"1 +\" (unexpected end of text).");
    expect_layout_fatal("test_gui/bad2.xml", R"X(<item cls_name="cls_cmn_item"><attr height="(1"/></item>)X",
                        "Bad expression in test_gui/bad2.xml, attribute height: \"(1\" (expected \")\" but found end of text).");
    expect_layout_fatal("test_gui/bad3.xml", R"X(<item cls_name="cls_cmn_item"><attr left="foo()"/></item>)X",
                        "Bad expression in test_gui/bad3.xml, attribute left: \"foo()\" (unknown function \"foo\").");
    expect_layout_fatal("test_gui/bad4.xml", R"X(<item cls_name="cls_cmn_item"><attr top="1))"/></item>)X",
                        "Bad expression in test_gui/bad4.xml, attribute top: \"1))\" (unexpected \")\").");
    expect_layout_fatal("test_gui/bad5.xml", R"X(<item cls_name="cls_cmn_item"><attr width="left(3)"/></item>)X",
                        "Bad expression in test_gui/bad5.xml, attribute width: \"left(3)\" (left() takes one item).");
    expect_layout_fatal("test_gui/bad6.xml", R"X(<item cls_name="cls_cmn_item"><attr width="5/0"/></item>)X",
                        "Bad expression in test_gui/bad6.xml, attribute width: \"5/0\" (division by zero).");
    expect_layout_fatal("test_gui/bad7.xml", R"X(<item cls_name="cls_cmn_item"><attr width="container()"/></item>)X",
                        "Bad expression in test_gui/bad7.xml, attribute width: \"container()\" (the result is an item, not a number).");
    expect_layout_fatal("test_gui/bad8.xml", R"X(<item cls_name="cls_cmn_item"><attr width="2 # 3"/></item>)X",
                        "Bad expression in test_gui/bad8.xml, attribute width: \"2 # 3\" (unexpected character \"#\").");
    expect_layout_fatal("test_gui/bad9.xml", R"X(<item cls_name="cls_cmn_item"><attr width="select(2, 1, 0)"/></item>)X",
                        "Bad expression in test_gui/bad9.xml, attribute width: \"select(2, 1, 0)\" (select() index 2 is neither 0 nor 1).");
    expect_layout_fatal("test_gui/bad10.xml", R"X(<item cls_name="cls_cmn_item"><attr width="max(1)"/></item>)X",
                        "Bad expression in test_gui/bad10.xml, attribute width: \"max(1)\" (max() takes two numbers).");
    expect_layout_fatal("test_gui/bad11.xml", R"X(<item cls_name="cls_cmn_item"><attr width=""/></item>)X",
                        "Bad expression in test_gui/bad11.xml, attribute width: \"\" (unexpected end of text).");
}

TEST_F(expr_test, bad_attribute_values_are_fatal) {
    expect_layout_fatal("test_gui/badv1.xml", "<item cls_name=\"cls_cmn_item\">\n<attr visible=\"maybe\"/></item>",
                        "Bad value of the attribute visible in test_gui/badv1.xml:2: \"maybe\"");
    expect_layout_fatal("test_gui/badv2.xml", "<item cls_name=\"cls_label\">\n\n<attr alignment=\"left\"/></item>",
                        "Bad value of the attribute alignment in test_gui/badv2.xml:3: \"left\"");
    expect_layout_fatal("test_gui/badv3.xml", "<item cls_name=\"cls_cmn_item\"><attr bg_color=\"1,2,3\"/></item>",
                        "Bad value of the attribute bg_color in test_gui/badv3.xml:1: \"1,2,3\"");
    expect_layout_fatal("test_gui/badv4.xml", "<item cls_name=\"cls_timer\"><attr interval=\"soon\"/></item>",
                        "Bad value of the attribute interval in test_gui/badv4.xml:1: \"soon\"");
    expect_layout_fatal("test_gui/badv5.xml", "<item cls_name=\"cls_icon\"><attr picture=\"nothing.bmp\"/></item>",
                        "Bad value of the attribute picture in test_gui/badv5.xml:1: \"nothing.bmp\"");
}

} // namespace
