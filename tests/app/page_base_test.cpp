// The page base's key handler in this process, on a page whose back operation
// is counted: what each key does, what it reports, and the re-posted select key.
#include <gtest/gtest.h>

#include <vector>

#include "ozgi/cls_button.h"
#include "ozgi/cls_mem_mgr.h"
#include "ozgi/cls_ozgi_gui.h"
#include "ozgi/cls_ui_event.h"
#include "pages/cls_vesk_page.h"
#include "pages/cls_vesk_page_base.h"

using ozgi::cls_ui_event;

namespace {

// A page that counts its back operations and records every key it is given.
class probe_page : public cls_vesk_page_base {
public:
    int backs = 0;
    std::vector<long long> keys;
    std::vector<const ozgi::cls_event_handler*> targets;

    void set_back_button(ozgi::cls_event_handler* b) { m_back_button = b; }
    void on_back() override { ++backs; }
    bool on_key_event(const cls_ui_event& event) override {
        if (event.event_code() == cls_ui_event::EVENT_KEY) {
            keys.push_back(event.int_data(0));
            targets.push_back(event.target());
        }
        return cls_vesk_page_base::on_key_event(event);
    }
};

cls_ui_event key_event(int code, const char* name, ozgi::cls_event_handler* target) {
    cls_ui_event e(cls_ui_event::EVENT_KEY, target);
    e.set_int_data(0, code);
    e.set_int_data(1, 1);
    e.set_key_name(name);
    return e;
}

class AppPageBase : public testing::Test {
protected:
    void SetUp() override {
        page = OZGI_NEW(probe_page)();
        back = OZGI_NEW(ozgi::cls_button)();
        page->add_child(back);
        page->set_back_button(back);
        cls_vesk_page_base::set_back_key("");
    }
    void TearDown() override {
        // Anything still queued for the page goes with it.
        ozgi::cls_ozgi_gui::ins()->forget_item(page);
        ozgi::ozgi_delete(page);
        cls_vesk_page_base::set_back_key("");
    }
    probe_page* page = nullptr;
    ozgi::cls_button* back = nullptr;
};

} // namespace

TEST_F(AppPageBase, ClassNamesAreAppendedInOrder) {
    const ozgi::cls_array<ozgi::cls_string>& names = page->class_names();
    ASSERT_GE(names.count(), 2);
    EXPECT_EQ(names[names.count() - 1], "cls_vesk_page_base");
    EXPECT_TRUE(page->is_class("cls_page"));
}

TEST_F(AppPageBase, BuiltInBackKeyFollowsTheBackButtonAndIsNotConsumed) {
    EXPECT_FALSE(page->on_key_event(key_event(7, "Escape", page)));
    EXPECT_EQ(page->backs, 1);
    back->hide();
    EXPECT_FALSE(page->on_key_event(key_event(7, "Escape", page)));
    EXPECT_EQ(page->backs, 1);
}

TEST_F(AppPageBase, FocusKeysAreConsumedEvenWithNowhereToGo) {
    // The only focusable item is the back button.
    back->get_focus();
    for (int code : {10, 41, 12, 42}) {
        EXPECT_TRUE(page->on_key_event(key_event(code, "", page))) << code;
        EXPECT_EQ(page->focus_item(), back) << code;
    }
    EXPECT_EQ(page->backs, 0);
}

TEST_F(AppPageBase, FocusKeysMoveTheFocusBetweenButtons) {
    ozgi::cls_button* other = OZGI_NEW(ozgi::cls_button)();
    page->add_child(other);
    back->get_focus();
    EXPECT_TRUE(page->on_key_event(key_event(12, "Down", page)));
    EXPECT_EQ(page->focus_item(), other);
    EXPECT_TRUE(page->on_key_event(key_event(41, "Left", page)));
    EXPECT_EQ(page->focus_item(), back);
    EXPECT_TRUE(page->on_key_event(key_event(42, "Right", page)));
    EXPECT_EQ(page->focus_item(), other);
    EXPECT_TRUE(page->on_key_event(key_event(10, "Up", page)));
    EXPECT_EQ(page->focus_item(), back);
}

TEST_F(AppPageBase, KeypadEnterIsConsumedAndPostedAgainAsTheSelectKey) {
    EXPECT_TRUE(page->on_key_event(key_event(43, "Keypad Enter", page)));
    ASSERT_EQ(page->keys.size(), 1u);
    // Nothing more happens until the queue is handled.
    ozgi::cls_ozgi_gui::ins()->handle_posted_events();
    ASSERT_EQ(page->keys.size(), 2u);
    EXPECT_EQ(page->keys[1], 4);
    EXPECT_EQ(page->targets[1], page);
}

TEST_F(AppPageBase, ExtraBackKeyGoesBackEvenWithTheBackButtonHidden) {
    cls_vesk_page_base::set_back_key("F5");
    back->hide();
    cls_ui_event f5 = key_event(cls_ui_event::key_code("F5"), "F5", page);
    EXPECT_TRUE(page->on_key_event(f5));
    EXPECT_EQ(page->backs, 1);
    // Key names match whatever their case.
    EXPECT_TRUE(page->on_key_event(key_event(cls_ui_event::key_code("f5"), "f5", page)));
    EXPECT_EQ(page->backs, 2);
    // Other keys are left to the framework page, which does not use them.
    EXPECT_FALSE(page->on_key_event(key_event(cls_ui_event::key_code("F6"), "F6", page)));
    EXPECT_EQ(page->backs, 2);
}

TEST_F(AppPageBase, ExtraBackKeyDoesNotOverrideTheTable) {
    // Escape is the built-in back key: it keeps its own rule (not consumed).
    cls_vesk_page_base::set_back_key("Escape");
    EXPECT_FALSE(page->on_key_event(key_event(7, "Escape", page)));
    EXPECT_EQ(page->backs, 1);
}

TEST_F(AppPageBase, EmptyBackKeyMatchesNoKey) {
    EXPECT_TRUE(cls_vesk_page_base::m_back_key.is_empty());
    EXPECT_FALSE(page->on_key_event(key_event(0, "", page)));
    EXPECT_FALSE(page->on_key_event(key_event(cls_ui_event::key_code("F5"), "F5", page)));
    EXPECT_EQ(page->backs, 0);
}

TEST_F(AppPageBase, SelectKeyGoesToTheFrameworkPage) {
    int clicks = 0;
    struct counter : ozgi::cls_event_handler {
        int* n = nullptr;
        void on_click(ozgi::cls_event_handler*) { ++*n; }
    };
    counter* c = OZGI_NEW(counter)();
    c->n = &clicks;
    page->add_child(c);
    back->listen_event("click", &counter::on_click, c, false);
    back->get_focus();
    EXPECT_TRUE(page->on_key_event(key_event(4, "Return", page)));
    EXPECT_EQ(clicks, 1);
}

TEST_F(AppPageBase, NonKeyEventsAreRefused) {
    back->get_focus();
    for (int code : {cls_ui_event::EVENT_APP, cls_ui_event::EVENT_TOUCH, cls_ui_event::EVENT_WHEEL,
                     cls_ui_event::EVENT_USER}) {
        cls_ui_event e(code, page);
        // A key code in the slot must not make it a key.
        e.set_int_data(0, 7);
        e.set_key_name("Escape");
        EXPECT_FALSE(page->on_key_event(e)) << code;
    }
    EXPECT_EQ(page->backs, 0);
}

TEST_F(AppPageBase, NonKeyEventsNamingTheExtraBackKeyDoNotGoBack) {
    cls_vesk_page_base::set_back_key("F5");
    for (int code : {cls_ui_event::EVENT_APP, cls_ui_event::EVENT_TOUCH, cls_ui_event::EVENT_USER}) {
        cls_ui_event e(code, page);
        e.set_int_data(0, cls_ui_event::key_code("F5"));
        e.set_key_name("F5");
        EXPECT_FALSE(page->on_key_event(e)) << code;
    }
    EXPECT_EQ(page->backs, 0);
}

TEST(AppPageSettings, DefaultsAndSetters) {
    EXPECT_EQ(cls_vesk_page::m_menu_interval, 5);
    EXPECT_EQ(cls_vesk_page::m_menu_item_height, 64);
    cls_vesk_page::set_menu_interval(-2);
    cls_vesk_page::set_menu_item_height(80);
    EXPECT_EQ(cls_vesk_page::m_menu_interval, -2);
    EXPECT_EQ(cls_vesk_page::m_menu_item_height, 80);
    cls_vesk_page::set_menu_interval(5);
    cls_vesk_page::set_menu_item_height(64);
    cls_vesk_page_base::set_back_key("AC Back");
    EXPECT_EQ(cls_vesk_page_base::m_back_key, "AC Back");
    cls_vesk_page_base::set_back_key("");
}
