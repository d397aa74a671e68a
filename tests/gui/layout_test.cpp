// Layout loading: includes in place, attribute overrides, child_attr, member
// binding, groups and patterns, the focus chain, unregistered classes, and the
// shipped part layouts.
#include <gtest/gtest.h>

#include "gui_test_util.h"
#include "ozgi/cls_button.h"
#include "ozgi/cls_icon.h"
#include "ozgi/cls_label.h"
#include "ozgi/cls_page.h"
#include "ozgi/cls_timer.h"
#include "ozgi/cls_ui_res_loader.h"

using namespace ozgi;
using gui_test::add_layout;
using gui_test::literal;

namespace {

// A page of the tests' own with declared member items and events.
class cls_layout_test_page : public cls_page {
public:
    cls_layout_test_page() : m_clicks(0) {
        add_class_name("cls_layout_test_page");
        add_member_item("INNER/LABEL", &m_label);
        add_member_item("G1.*", &m_second_in_group, 1);
        add_member_item("NOT_THERE", &m_missing);
        add_member_event("BTN", "click", &cls_layout_test_page::on_btn_click);
    }
    static cls_event_handler* create() { return OZGI_NEW(cls_layout_test_page)(); }
    void on_btn_click(cls_event_handler* sender) {
        ++m_clicks;
        m_sender = sender;
    }

    cls_label* m_label;
    cls_event_handler* m_second_in_group;
    cls_button* m_missing;
    int m_clicks;
    cls_event_handler* m_sender = nullptr;
};

const char* const PART = R"X(<?xml version="1.0"?>
<!-- A part with a root and two children. -->
<item cls_name="cls_cmn_item">
  <attr item_name="PART" width="50" height="30" left="left(container())" top="bottom(prev())"/>
  <item cls_name="cls_label">
    <attr item_name="LABEL" text="part text" width="20" height="10"/>
  </item>
  <item cls_name="cls_cmn_item">
    <attr item_name="INNER_BOX" width="5" height="5" visible="false"/>
  </item>
</item>
)X";

const char* const TWO_ROOTS = R"X(<ui_res_file>
  <!-- Two top-level items, created side by side. -->
  <item cls_name="cls_cmn_item"><attr item_name="R1" width="10" height="10"/></item>
  <item cls_name="cls_cmn_item"><attr item_name="R2" width="10" height="10" left="right(prev())"/></item>
</ui_res_file>
)X";

const char* const PAGE = R"X(<?xml version="1.0"?>
<item cls_name="cls_layout_test_page">
  <attr width="screen_width()" height="screen_height()" left="0" top="0"/>
  <attr width="320"/>
  <item file_name="test_gui/part.xml">
    <attr item_name="INNER" height="40"/>
    <child_attr name="LABEL.text" value="changed"/>
    <child_attr name="INNER_BOX.visible" value="true"/>
    <child_attr name="NOPE/LABEL.visible" value="false"/>
  </item>
  <item file_name="test_gui/two_roots.xml"/>
  <item cls_name="cls_button">
    <attr item_name="BTN" group_name="G1" width="100" height="20" top="bottom(prev())"/>
    <item cls_name="cls_label"><attr text="first" text="second" item_name="BTN_LABEL"/></item>
  </item>
  <item cls_name="cls_button"><attr item_name="HIDDEN_BTN" group_name="G1" visible="false"/></item>
  <item cls_name="cls_button"><attr item_name="OTHER_BTN" group_name="G1X"/></item>
  <item cls_name="cls_button"><attr item_name="LAST_BTN" group_name="G2"/></item>
  <child_attr name="STILL_MISSING.width" value="10"/>
  <child_attr name="R2.width" value="width(prev()) * 3"/>
</item>
)X";

class layout_test : public ::testing::Test {
protected:
    void SetUp() override {
        add_layout("test_gui/part.xml", PART);
        add_layout("test_gui/two_roots.xml", TWO_ROOTS);
        add_layout("test_gui/page.xml", PAGE);
        cls_ui_res_loader::ins()->register_gui_class(&cls_layout_test_page::create, "cls_layout_test_page");
        cls_ui_res_loader::ins()->set_screen_size(640, 800);
    }
    cls_layout_test_page* load(cls_array<cls_event_handler*>* created = nullptr) {
        cls_ui_res_loader* loader = cls_ui_res_loader::ins();
        cls_array<cls_event_handler*> made;
        loader->load_resource(loader->load_xml("test_gui/page.xml"), nullptr, &made);
        if (created) *created = made;
        return dynamic_cast<cls_layout_test_page*>(made[0]);
    }
};

TEST_F(layout_test, includes_are_created_in_place_with_overrides) {
    cls_layout_test_page* page = load();
    ASSERT_NE(page, nullptr);
    EXPECT_EQ(page->class_name(), "cls_layout_test_page");
    EXPECT_EQ(page->width(), 320);  // A later attr overrides an earlier one.
    EXPECT_EQ(page->height(), 800);
    // No wrapper: the part's root is the page's first child, renamed by the include.
    ASSERT_EQ(page->child_count(), 7);
    cls_event_handler* inner = page->child(0);
    EXPECT_EQ(inner->item_name(), "INNER");
    EXPECT_EQ(inner->width(), 50);
    EXPECT_EQ(inner->height(), 40);
    EXPECT_EQ(inner->class_name(), "cls_cmn_item");
    // Both top-level items of a ui_res_file, as siblings; child_attr geometry is evaluated.
    EXPECT_EQ(page->child(1)->item_name(), "R1");
    EXPECT_EQ(page->child(2)->item_name(), "R2");
    EXPECT_EQ(page->child(2)->left(), 10);
    EXPECT_EQ(page->child(2)->width(), 30);
    EXPECT_EQ(page->child(3)->top(), 10);  // Below R2, the previous sibling.
    ozgi_delete(page);
}

TEST_F(layout_test, child_attr_sets_descendants_and_ignores_missing_paths) {
    cls_layout_test_page* page = load();
    cls_label* label = dynamic_cast<cls_label*>(page->member_item("INNER/LABEL"));
    ASSERT_NE(label, nullptr);
    EXPECT_EQ(label->text(), "changed");
    EXPECT_TRUE(page->member_item("INNER/INNER_BOX")->is_visible());
    // The repeated attribute: the later value counts.
    EXPECT_EQ(dynamic_cast<cls_label*>(page->member_item("BTN/BTN_LABEL"))->text(), "second");
    ozgi_delete(page);
}

TEST_F(layout_test, created_handlers_are_listed_outermost_first) {
    cls_array<cls_event_handler*> created;
    cls_layout_test_page* page = load(&created);
    ASSERT_EQ(created.count(), 11);
    EXPECT_EQ(created[0], page);
    EXPECT_EQ(created[1]->item_name(), "INNER");
    EXPECT_EQ(created[2]->item_name(), "LABEL");
    EXPECT_EQ(created[10]->item_name(), "LAST_BTN");
    ozgi_delete(page);
}

TEST_F(layout_test, member_items_and_events_are_bound) {
    cls_layout_test_page* page = load();
    ASSERT_NE(page->m_label, nullptr);
    EXPECT_EQ(page->m_label, page->member_item("INNER/LABEL"));
    EXPECT_EQ(page->m_second_in_group, page->member_item("HIDDEN_BTN"));
    EXPECT_EQ(page->m_missing, nullptr);
    cls_button* btn = dynamic_cast<cls_button*>(page->member_item("BTN"));
    ASSERT_NE(btn, nullptr);
    btn->click();
    EXPECT_EQ(page->m_clicks, 1);
    EXPECT_EQ(page->m_sender, btn);
    // A disabled or hidden button does not click.
    btn->disable();
    btn->click();
    btn->enable();
    btn->hide();
    btn->click();
    EXPECT_EQ(page->m_clicks, 1);
    ozgi_delete(page);
}

TEST_F(layout_test, groups_and_group_patterns) {
    cls_layout_test_page* page = load();
    cls_sp<cls_array<cls_event_handler*>> g1 = page->get_member_items("G1.*");
    ASSERT_EQ(g1->count(), 3);
    EXPECT_EQ(g1->get(0)->item_name(), "BTN");
    EXPECT_EQ(g1->get(1)->item_name(), "HIDDEN_BTN");
    EXPECT_EQ(g1->get(2)->item_name(), "OTHER_BTN");
    EXPECT_EQ(page->get_member_items("G1")->count(), 2);
    EXPECT_EQ(page->get_member_items("G.*")->count(), 4);
    EXPECT_EQ(page->get_member_items("NOTHING.*")->count(), 0);
    page->disable_group("G1");
    EXPECT_FALSE(page->member_item("BTN")->is_enabled());
    EXPECT_FALSE(page->member_item("BTN/BTN_LABEL")->is_enabled());
    EXPECT_TRUE(page->member_item("OTHER_BTN")->is_enabled());
    page->enable_group("G1");
    EXPECT_TRUE(page->member_item("BTN")->is_enabled());
    ozgi_delete(page);
}

TEST_F(layout_test, focus_chain_in_creation_order_skipping_hidden_and_disabled) {
    cls_layout_test_page* page = load();
    page->init();
    cls_event_handler* btn = page->member_item("BTN");
    cls_event_handler* other = page->member_item("OTHER_BTN");
    cls_event_handler* last = page->member_item("LAST_BTN");
    EXPECT_EQ(page->focus_item(), btn);  // The page's init focuses the first one.
    EXPECT_TRUE(btn->has_focus());
    EXPECT_EQ(page->next_focusable_item(false), other);  // HIDDEN_BTN is skipped.
    other->disable();
    EXPECT_EQ(page->next_focusable_item(false), last);
    other->enable();
    last->get_focus();
    EXPECT_EQ(page->next_focusable_item(false), nullptr);
    EXPECT_EQ(page->next_focusable_item(true), btn);
    EXPECT_EQ(page->prev_focusable_item(false), other);
    btn->get_focus();
    EXPECT_EQ(page->prev_focusable_item(false), nullptr);
    EXPECT_EQ(page->prev_focusable_item(true), last);
    ozgi_delete(page);
}

TEST_F(layout_test, show_on_focus_and_show_on_press_follow_their_button) {
    cls_page* page = OZGI_NEW(cls_page)();
    page->set_geometry(0, 0, 640, 800);
    cls_ui_res_loader::ins()->load_layout("cmn_items/menu_button.xml", page);
    cls_ui_res_loader::ins()->load_layout("cmn_items/menu_button.xml", page);
    cls_button* b1 = dynamic_cast<cls_button*>(page->child(0));
    cls_button* b2 = dynamic_cast<cls_button*>(page->child(1));
    ASSERT_NE(b1, nullptr);
    ASSERT_NE(b2, nullptr);
    EXPECT_EQ(b2->top(), b1->bottom());
    cls_event_handler* frame1 = nullptr;
    cls_event_handler* overlay1 = page->get_member_items("show_on_press")->get(0);
    for (int i = 0; i < b1->child_count(); ++i)
        if (b1->child(i)->show_on_focus()) frame1 = b1->child(i);
    ASSERT_NE(frame1, nullptr);
    EXPECT_EQ(overlay1->parent(), b1);
    EXPECT_FALSE(frame1->is_visible());
    EXPECT_FALSE(overlay1->is_visible());
    b1->get_focus();
    EXPECT_TRUE(frame1->is_visible());
    b2->get_focus();
    EXPECT_FALSE(frame1->is_visible());
    b1->set_pressed(true);
    EXPECT_TRUE(overlay1->is_visible());
    b1->set_pressed(false);
    EXPECT_FALSE(overlay1->is_visible());
    ozgi_delete(page);
}

TEST_F(layout_test, every_shipped_part_layout_loads) {
    const char* parts[] = {"cmn_items/focus_frame.xml", "cmn_items/menu_button.xml", "title_bar/title_bar.xml",
                           "title_bar/title.xml", "title_bar/clock.xml", "title_bar/station.xml",
                           "title_bar/battery.xml", "title_bar/back_button.xml", "title_bar/option_button.xml",
                           "title_bar/help_button.xml", "exec_page/argu_button.xml", "exec_page/panel.xml",
                           "menu_page/executable_button.xml", "numeric_arg_page/numeric_button.xml",
                           "list_arg_page/select_list_button.xml", "option_page/option_button.xml"};
    for (const char* name : parts) {
        cls_page* page = OZGI_NEW(cls_page)();
        page->set_geometry(0, 0, 640, 800);
        cls_array<cls_event_handler*> created;
        cls_ui_res_loader::ins()->load_resource(cls_ui_res_loader::ins()->load_xml(name), page, &created);
        EXPECT_FALSE(created.is_empty()) << name;
        ozgi_delete(page);
    }
}

TEST_F(layout_test, title_bar_items_are_found_by_path) {
    cls_page* page = OZGI_NEW(cls_page)();
    page->set_geometry(0, 0, 640, 800);
    cls_ui_res_loader::ins()->load_layout("title_bar/title_bar.xml", page);
    cls_label* title = dynamic_cast<cls_label*>(page->member_item("TITLE_BAR/TITLE_ITEMS/TITLE_LABEL"));
    ASSERT_NE(title, nullptr);
    EXPECT_EQ(title->text(), "Diagnostic");
    cls_event_handler* back = page->member_item("TITLE_BAR/TITLE_ITEMS/BACK_BUTTON");
    ASSERT_NE(back, nullptr);
    EXPECT_EQ(back->width(), 160);
    EXPECT_EQ(back->height(), 96);
    EXPECT_EQ(page->member_item("TITLE_BAR/NO_SUCH_ITEM"), nullptr);
    ozgi_delete(page);
}

TEST_F(layout_test, unregistered_class_is_fatal_naming_class_and_file) {
    add_layout("test_gui/unregistered.xml", "<item cls_name=\"cls_page\"><item cls_name=\"cls_nope\"/></item>");
    EXPECT_EXIT(cls_ui_res_loader::ins()->load_layout("test_gui/unregistered.xml", nullptr),
                ::testing::ExitedWithCode(1),
                literal("Unregistered class cls_nope in the layout test_gui/unregistered.xml."));
}

TEST_F(layout_test, missing_and_malformed_layouts_are_fatal) {
    EXPECT_EXIT(cls_ui_res_loader::ins()->load_xml("test_gui/none.xml"), ::testing::ExitedWithCode(1),
                literal("Can't find the layout test_gui/none.xml."));
    add_layout("test_gui/broken.xml", "<item cls_name=\"cls_page\">\n<attr width=\"1\">\n</item>");
    EXPECT_EXIT(cls_ui_res_loader::ins()->load_xml("test_gui/broken.xml"), ::testing::ExitedWithCode(1),
                literal("Malformed layout test_gui/broken.xml:3: "));
    EXPECT_EXIT(cls_event_handler().member_item("X", true), ::testing::ExitedWithCode(1),
                literal("Can't find the member item X of cls_event_handler."));
}

TEST_F(layout_test, member_item_of_the_wrong_class_is_fatal) {
    class cls_wrong_page : public cls_page {
    public:
        cls_wrong_page() { add_member_item("LABEL", &m_button); }
        static cls_event_handler* create() { return OZGI_NEW(cls_wrong_page)(); }
        cls_button* m_button;
    };
    cls_ui_res_loader::ins()->register_gui_class(&cls_wrong_page::create, "cls_wrong_page");
    add_layout("test_gui/wrong.xml",
               "<item cls_name=\"cls_wrong_page\"><item cls_name=\"cls_label\"><attr item_name=\"LABEL\"/></item></item>");
    EXPECT_EXIT(cls_ui_res_loader::ins()->load_layout("test_gui/wrong.xml", nullptr), ::testing::ExitedWithCode(1),
                literal("The member item LABEL is a cls_label, not of the class its field needs."));
}

TEST_F(layout_test, timer_attributes) {
    add_layout("test_gui/timer.xml", "<item cls_name=\"cls_timer\"><attr item_name=\"T\" interval=\"200\" repeat=\"-1\"/></item>");
    cls_timer* t = dynamic_cast<cls_timer*>(cls_ui_res_loader::ins()->load_layout("test_gui/timer.xml", nullptr));
    ASSERT_NE(t, nullptr);
    EXPECT_EQ(t->interval(), 200);
    EXPECT_EQ(t->repeat(), -1);
    EXPECT_FALSE(t->is_running());  // A layout never starts a timer.
    int fired = 0;
    class counter_t : public cls_event_handler {
    public:
        int* m_count = nullptr;
        void on_timer(cls_event_handler*) { ++*m_count; }
    } counter;
    counter.m_count = &fired;
    t->listen_event("timer", &counter_t::on_timer, &counter);
    t->set_repeat(2);
    t->start(false);
    EXPECT_TRUE(t->is_running());
    t->fire_if_due(t->due_ms() - 1);  // Not due yet.
    EXPECT_EQ(fired, 0);
    t->fire_if_due(t->due_ms());
    EXPECT_EQ(fired, 1);
    t->fire_if_due(t->due_ms());
    EXPECT_EQ(fired, 2);
    EXPECT_FALSE(t->is_running());  // The repeat count is reached.
    t->fire_if_due(t->due_ms() + 1000);
    EXPECT_EQ(fired, 2);
    t->set_repeat(-1);
    t->start(false);
    for (int i = 0; i < 5; ++i) t->fire_if_due(t->due_ms());
    EXPECT_EQ(fired, 7);
    EXPECT_EQ(t->fired_count(), 5);
    t->stop(false);
    EXPECT_FALSE(t->is_running());
    EXPECT_EQ(t->fired_count(), 5);
    t->fire_if_due(t->due_ms() + 1000);
    EXPECT_EQ(fired, 7);
    t->stop(true);
    EXPECT_EQ(t->fired_count(), 0);
    ozgi_delete(t);
}

} // namespace

namespace {

TEST(layout_content_test, content_sized_items_follow_a_new_text) {
    gui_test::add_layout("test_gui/content_label.xml",
                         "<item cls_name=\"cls_label\"><attr text=\"ab\" width=\"content_width()\" left=\"7\"/></item>");
    gui_test::add_layout("test_gui/fixed_label.xml", "<item cls_name=\"cls_label\"><attr text=\"ab\" width=\"30\"/></item>");
    cls_label* grows = dynamic_cast<cls_label*>(cls_ui_res_loader::ins()->load_layout("test_gui/content_label.xml", nullptr));
    cls_label* fixed = dynamic_cast<cls_label*>(cls_ui_res_loader::ins()->load_layout("test_gui/fixed_label.xml", nullptr));
    ASSERT_NE(grows, nullptr);
    int before = grows->width();
    EXPECT_GT(before, 0);
    grows->set_text("a much longer text than before");
    EXPECT_GT(grows->width(), before * 3);
    EXPECT_EQ(grows->left(), 7);
    int w = grows->width();
    grows->append_text(" and more");
    EXPECT_GT(grows->width(), w);
    fixed->set_text("a much longer text than before");
    EXPECT_EQ(fixed->width(), 30);
    ozgi_delete(grows);
    ozgi_delete(fixed);
}

} // namespace
