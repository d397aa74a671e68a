// Subtree bounds: what an item and its shown descendants cover, kept while
// nothing below changes and worked out again after every kind of change.
#include <gtest/gtest.h>

#include "gui_test_util.h"
#include "ozgi/cls_button.h"
#include "ozgi/cls_cmn_item.h"
#include "ozgi/cls_page.h"
#include "ozgi/cls_ui_res_loader.h"

using namespace ozgi;

namespace {

std::string box(const cls_event_handler* item) {
    const cls_event_handler::subtree_bounds_t& b = item->subtree_bounds();
    return std::to_string(b.x0) + "," + std::to_string(b.y0) + "," + std::to_string(b.x1) + "," +
           std::to_string(b.y1) + " low " + std::to_string(b.lowest_bottom);
}

cls_event_handler* add_box(cls_event_handler* parent, int x, int y, int w, int h) {
    cls_event_handler* item = OZGI_NEW(cls_cmn_item)();
    item->set_geometry(x, y, w, h);
    parent->add_child(item);
    return item;
}

class bounds_test : public ::testing::Test {
protected:
    void SetUp() override {
        m_page = OZGI_NEW(cls_page)();
        m_page->set_geometry(0, 0, 640, 800);
    }
    void TearDown() override { ozgi_delete(m_page); }
    cls_page* m_page = nullptr;
};

TEST_F(bounds_test, cover_the_item_and_its_shown_descendants) {
    cls_event_handler* a = add_box(m_page, 10, 20, 100, 50);
    cls_event_handler* inner = add_box(a, 200, 900, 10, 10);
    EXPECT_EQ(box(a), "10,20,210,910 low 910");
    EXPECT_EQ(box(m_page), "0,0,640,910 low 910");
    inner->hide();
    EXPECT_EQ(box(a), "10,20,110,70 low 70");
    EXPECT_EQ(box(m_page), "0,0,640,800 low 800");
    inner->show();
    EXPECT_EQ(box(m_page), "0,0,640,910 low 910");
    // A hidden item hides its descendants, which still count for itself.
    a->hide();
    EXPECT_EQ(box(m_page), "0,0,640,800 low 800");
    EXPECT_EQ(box(a), "10,20,210,910 low 910");
}

TEST_F(bounds_test, follow_moves_resizes_and_the_children_coming_and_going) {
    cls_event_handler* a = add_box(m_page, 0, 700, 10, 10);
    cls_event_handler* b = add_box(a, 0, 705, 10, 10);
    EXPECT_EQ(box(m_page), "0,0,640,800 low 800");
    a->move_by(0, 100, true);
    EXPECT_EQ(box(a), "0,800,10,815 low 815");
    EXPECT_EQ(box(m_page), "0,0,640,815 low 815");
    b->set_height(300, false);
    EXPECT_EQ(box(m_page), "0,0,640,1105 low 1105");
    b->set_width(700, false);
    EXPECT_EQ(box(m_page), "0,0,700,1105 low 1105");
    a->remove_child(b);
    EXPECT_EQ(box(m_page), "0,0,640,810 low 810");
    add_box(a, -5, 0, 1, 1);
    EXPECT_EQ(box(m_page), "-5,0,640,810 low 810");
    ozgi_delete(b);
    a->set_geometry(0, 0, 0, 0);
    EXPECT_EQ(box(a), "-5,0,0,1 low 1");
}

TEST_F(bounds_test, follow_the_press_and_the_focus_their_items_show_by) {
    cls_ui_res_loader::ins()->load_layout("cmn_items/menu_button.xml", m_page);
    cls_ui_res_loader::ins()->load_layout("cmn_items/menu_button.xml", m_page);
    cls_button* b1 = dynamic_cast<cls_button*>(m_page->child(0));
    ASSERT_NE(b1, nullptr);
    // The pressed look and the focus frame lie inside the button; a child that
    // reaches out of it shows what they change.
    cls_event_handler* overlay = m_page->get_member_items("show_on_press")->get(0);
    cls_event_handler* out_on_press = add_box(overlay, 0, 2000, 1, 1);
    cls_event_handler* frame = m_page->member_item("FOCUS_FRAME");
    ASSERT_NE(frame, nullptr);
    ASSERT_EQ(frame->parent(), b1);
    add_box(frame, 0, 3000, 1, 1);
    m_page->set_focus_item(m_page->child(1));
    EXPECT_EQ(m_page->subtree_bounds().y1, 800);
    b1->set_pressed(true);
    EXPECT_EQ(m_page->subtree_bounds().y1, 2001);
    b1->set_pressed(false);
    EXPECT_EQ(m_page->subtree_bounds().y1, 800);
    m_page->set_focus_item(b1);
    EXPECT_EQ(m_page->subtree_bounds().y1, 3001);
    m_page->set_focus_item(m_page->child(1));
    EXPECT_EQ(m_page->subtree_bounds().y1, 800);
    cls_event_handler* late = add_box(b1, 0, 4000, 1, 1);
    EXPECT_EQ(m_page->subtree_bounds().y1, 4001);
    late->set_show_on_focus(true);
    EXPECT_EQ(m_page->subtree_bounds().y1, 800);
    // An item that takes part in the focus chain now stands between the box and its button.
    overlay->set_visible(true);
    EXPECT_EQ(m_page->subtree_bounds().y1, 800);
    cls_event_handler* mid = add_box(b1, 0, 0, 1, 1);
    cls_event_handler* follower = add_box(mid, 0, 5000, 1, 1);
    follower->set_show_on_focus(true);
    m_page->set_focus_item(b1);
    EXPECT_EQ(m_page->subtree_bounds().y1, 5001);
    mid->set_focusable(true);
    EXPECT_EQ(m_page->subtree_bounds().y1, 4001);
    (void)out_on_press;
}

TEST_F(bounds_test, tell_whether_the_children_run_from_top_to_bottom) {
    for (int i = 0; i < 20; ++i) add_box(m_page, 0, i * 10, 640, 10);
    EXPECT_TRUE(m_page->subtree_bounds().children_ordered);
    cls_event_handler* last = add_box(m_page, 0, 5, 640, 10);
    EXPECT_FALSE(m_page->subtree_bounds().children_ordered);
    last->move_by(0, 300, true);
    EXPECT_TRUE(m_page->subtree_bounds().children_ordered);
    // A page among them does not scroll with them.
    cls_page* inner = OZGI_NEW(cls_page)();
    inner->set_geometry(0, 900, 10, 10);
    m_page->add_child(inner);
    EXPECT_FALSE(m_page->subtree_bounds().children_ordered);
    EXPECT_TRUE(m_page->subtree_bounds().holds_page);
}

TEST_F(bounds_test, give_the_page_its_scroll_limit) {
    cls_event_handler* a = add_box(m_page, 0, 0, 640, 100);
    cls_event_handler* deep = add_box(a, 0, 1000, 640, 100);
    EXPECT_EQ(m_page->max_scroll_y(), 300);
    deep->hide();
    EXPECT_EQ(m_page->max_scroll_y(), 0);
    deep->show();
    a->move_by(0, 50, true);
    EXPECT_EQ(m_page->max_scroll_y(), 350);
}

TEST_F(bounds_test, stop_at_the_ends_of_int) {
    cls_event_handler* far = add_box(m_page, 2147483600, -2147483600, 1000, -1000);
    EXPECT_EQ(box(far), "2147483600,-2147483648,2147483647,-2147483600 low -2147483648");
    EXPECT_EQ(m_page->subtree_bounds().x1, 2147483647);
    EXPECT_EQ(m_page->subtree_bounds().y0, -2147483648LL);
}

} // namespace
