// The menu page on real menu directories: order, labels, item data, positions,
// heights, focus, navigation by touch and by keys, the option button, the
// translations of a menu directory's dictionary, and the pictures on screen.
#include <gtest/gtest.h>

#include <string>

#include "app_test_util.h"

using namespace app_test;

namespace {

// Sub-directories b and a, tests t2 and direct_exec.t1, written in that order.
void make_menu(const temp_dir& menu) {
    menu.make_test("b/in_b");
    menu.make_test("a/in_a");
    menu.make_test("a/deeper/in_deeper");
    menu.make_test("t2");
    menu.make_test("direct_exec.t1");
}

// The item data of the focused page button, or the focused item's name.
std::string focus_of(const gui_item& page) {
    const gui_item* f = page.focused_item();
    if (!f) return "(none)";
    return f->item_data.empty() ? f->name : f->item_data;
}

} // namespace

TEST(AppMenuPage, SubMenusThenTestsSortedWithDirectPrefixHidden) {
    temp_dir menu;
    make_menu(menu);
    script_t s;
    s.dump();
    run_result r = run_menu(menu, s);
    ASSERT_EQ(r.status, 0) << r.err;
    ASSERT_TRUE(r.dumps[0].valid);
    const gui_item& page = r.dumps[0].top();
    EXPECT_EQ(data_of(page), (std::vector<std::string>{"a", "b", "direct_exec.t1", "t2"}));
    EXPECT_EQ(labels_of(page), (std::vector<std::string>{"a", "b", "t1", "t2"}));
    EXPECT_EQ(focus_of(page), "a");
    std::vector<const gui_item*> b = page.page_buttons();
    // Sub-menu buttons carry the arrow, test buttons the program symbol.
    EXPECT_EQ(b[0]->children[2].picture, "right_arrow.bmp");
    EXPECT_EQ(b[2]->children[1].picture, "executable.bmp");
    // Every button is placed below the one created before it by code.
    EXPECT_EQ(b[0]->y, 101);
    EXPECT_EQ(b[1]->y, 170);
    EXPECT_EQ(b[2]->y, 264);
    EXPECT_EQ(b[3]->y, 338);
    for (const gui_item* x : b) {
        EXPECT_EQ(x->h, 64);
        EXPECT_EQ(x->x, 0);
        EXPECT_EQ(x->w, 640);
    }
}

TEST(AppMenuPage, RootPageShowsOptionButtonAndHidesBackButton) {
    temp_dir menu;
    make_menu(menu);
    script_t s;
    s.dump();
    s.cmd("tap_text a");
    s.dump();
    run_result r = run_menu(menu, s);
    ASSERT_EQ(r.status, 0) << r.err;
    const gui_item& root = r.dumps[0].top();
    EXPECT_EQ(root.title(), "Diagnostic");
    EXPECT_FALSE(root.find("BACK_BUTTON")->visible);
    EXPECT_TRUE(root.find("OPTION_BUTTON")->visible);
    EXPECT_FALSE(root.find("HELP_BUTTON")->visible);
    ASSERT_EQ(r.dumps[1].pages.size(), 2u);
    const gui_item& sub = r.dumps[1].top();
    EXPECT_EQ(sub.title(), "a");
    EXPECT_TRUE(sub.find("BACK_BUTTON")->visible);
    EXPECT_FALSE(sub.find("OPTION_BUTTON")->visible);
}

TEST(AppMenuPage, OnlyTestsPutsTheFocusOnTheFirstTest) {
    temp_dir menu;
    menu.make_test("zeta");
    menu.make_test("alpha");
    script_t s;
    s.dump();
    run_result r = run_menu(menu, s);
    ASSERT_EQ(r.status, 0) << r.err;
    const gui_item& page = r.dumps[0].top();
    EXPECT_EQ(data_of(page), (std::vector<std::string>{"alpha", "zeta"}));
    EXPECT_EQ(focus_of(page), "alpha");
    std::vector<const gui_item*> b = page.page_buttons();
    // The layout's 5, the interval's 5 and the 20 that set the tests apart.
    EXPECT_EQ(b[0]->y, 96 + 30);
    EXPECT_EQ(b[1]->y, b[0]->bottom() + 10);
}

TEST(AppMenuPage, EmptyMenuFocusesTheHiddenBackButton) {
    temp_dir menu;
    menu.make_dir("nothing_here");
    menu.write("notes.txt", "not a test\n");
    script_t s;
    s.dump();
    run_result r = run_menu(menu, s);
    ASSERT_EQ(r.status, 0) << r.err;
    const gui_item& page = r.dumps[0].top();
    EXPECT_TRUE(page.page_buttons().empty());
    const gui_item* back = page.find("BACK_BUTTON");
    EXPECT_FALSE(back->visible);
    EXPECT_TRUE(back->focused);
}

TEST(AppMenuPage, EnteringAndLeavingASubMenuKeepsTheDeviceInStep) {
    temp_dir menu;
    make_menu(menu);
    script_t s;
    s.cmd("tap_text b");
    int in_b = s.dump();
    s.cmd("tap_text Back");
    int back = s.dump();
    s.cmd("tap_text a");
    int in_a = s.dump();
    s.cmd("tap_text deeper");
    int in_deeper = s.dump();
    s.cmd("key Escape");
    s.cmd("key Escape");
    int root_again = s.dump();
    run_result r = run_menu(menu, s);
    ASSERT_EQ(r.status, 0) << r.err;
    ASSERT_EQ(r.dumps[in_b].pages.size(), 2u);
    EXPECT_EQ(r.dumps[in_b].top().title(), "b");
    EXPECT_EQ(data_of(r.dumps[in_b].top()), (std::vector<std::string>{"in_b"}));
    EXPECT_EQ(focus_of(r.dumps[in_b].top()), "in_b");
    ASSERT_EQ(r.dumps[back].pages.size(), 1u);
    EXPECT_EQ(r.dumps[back].top().title(), "Diagnostic");
    // The parent page is the one drawn before, not a new one (which would focus
    // a): the focus is still on b, which the tap gave it.
    EXPECT_EQ(focus_of(r.dumps[back].top()), "b");
    ASSERT_EQ(r.dumps[in_a].pages.size(), 2u);
    EXPECT_EQ(r.dumps[in_a].top().title(), "a");
    EXPECT_EQ(data_of(r.dumps[in_a].top()), (std::vector<std::string>{"deeper", "in_a"}));
    ASSERT_EQ(r.dumps[in_deeper].pages.size(), 3u);
    EXPECT_EQ(data_of(r.dumps[in_deeper].top()), (std::vector<std::string>{"in_deeper"}));
    ASSERT_EQ(r.dumps[root_again].pages.size(), 1u);
    EXPECT_EQ(data_of(r.dumps[root_again].top()), (std::vector<std::string>{"a", "b", "direct_exec.t1", "t2"}));
}

TEST(AppMenuPage, BuiltInBackKeyIsIgnoredOnTheRootPage) {
    temp_dir menu;
    make_menu(menu);
    script_t s;
    int before = s.dump();
    s.cmd("key Escape");
    s.cmd("key Backspace");
    int after = s.dump();
    run_result r = run_menu(menu, s);
    ASSERT_EQ(r.status, 0) << r.err;
    ASSERT_TRUE(r.dumps[after].valid);
    EXPECT_EQ(r.dumps[after].raw, r.dumps[before].raw);
}

TEST(AppMenuPage, ExtraBackKeyReturnsFromASubMenuAndEndsOnTheRoot) {
    temp_dir menu;
    make_menu(menu);
    script_t s;
    s.cmd("tap_text a");
    s.cmd("key f5");
    int back = s.dump();
    s.cmd("tap_text b");
    int in_b = s.dump();
    s.cmd("key F5");
    s.cmd("key F5");
    int ended = s.dump();
    run_result r = run_menu(menu, s, {"--back-key=F5"});
    ASSERT_EQ(r.status, 0) << r.err;
    ASSERT_EQ(r.dumps[back].pages.size(), 1u);
    ASSERT_EQ(r.dumps[in_b].pages.size(), 2u);
    // The page's own back stepped the device up, so b is found from the root.
    EXPECT_EQ(data_of(r.dumps[in_b].top()), (std::vector<std::string>{"in_b"}));
    EXPECT_FALSE(r.dumps[ended].valid);
}

TEST(AppMenuPage, WithoutTheOptionOtherKeysDoNotGoBack) {
    temp_dir menu;
    make_menu(menu);
    script_t s;
    s.cmd("tap_text a");
    s.cmd("key F5");
    int after = s.dump();
    run_result r = run_menu(menu, s);
    ASSERT_EQ(r.status, 0) << r.err;
    EXPECT_EQ(r.dumps[after].pages.size(), 2u);
}

TEST(AppMenuPage, KeypadEnterActsAsTheSelectKey) {
    temp_dir menu;
    make_menu(menu);
    script_t s;
    s.cmd("key Keypad Enter");
    int in_a = s.dump();
    s.cmd("key Escape");
    s.cmd("key Down");
    s.cmd("key Return");
    int in_b = s.dump();
    run_result r = run_menu(menu, s);
    ASSERT_EQ(r.status, 0) << r.err;
    ASSERT_EQ(r.dumps[in_a].pages.size(), 2u);
    EXPECT_EQ(r.dumps[in_a].top().title(), "a");
    ASSERT_EQ(r.dumps[in_b].pages.size(), 2u);
    EXPECT_EQ(r.dumps[in_b].top().title(), "b");
}

TEST(AppMenuPage, FocusKeysMoveAndStayAtTheEnds) {
    temp_dir menu;
    make_menu(menu);
    script_t s;
    std::vector<int> d;
    for (const char* k : {"Down", "Right", "Down", "Down", "Up", "Left", "Up", "Up", "Up"}) {
        s.cmd(std::string("key ") + k);
        d.push_back(s.dump());
    }
    run_result r = run_menu(menu, s);
    ASSERT_EQ(r.status, 0) << r.err;
    std::vector<std::string> seen;
    for (int i : d) seen.push_back(focus_of(r.dumps[i].top()));
    // Down at the last test and Up at the option button (the first visible
    // focusable item of the root page) leave the focus where it is.
    EXPECT_EQ(seen, (std::vector<std::string>{"b", "direct_exec.t1", "t2", "t2", "direct_exec.t1", "b", "a",
                                              "OPTION_BUTTON", "OPTION_BUTTON"}));
}

TEST(AppMenuPage, OptionButtonReplacesTheRootPage) {
    temp_dir menu;
    make_menu(menu);
    script_t s;
    s.cmd("tap_text Option");
    s.dump();
    run_result r = run_menu(menu, s);
    ASSERT_EQ(r.status, 0) << r.err;
    ASSERT_EQ(r.dumps[0].pages.size(), 1u);
    EXPECT_EQ(r.dumps[0].top().cls, "cls_vesk_option_page");
}

TEST(AppMenuPage, MenuDictionaryTranslatesTitlesAndLabels) {
    temp_dir menu;
    make_menu(menu);
    menu.write("dict.xml",
               "<?xml version=\"1.0\" encoding=\"utf-8\"?>\n<ui_text_dict>\n"
               "  <dict_entry en_US=\"a\" zh_CN=\"甲\"/>\n"
               "  <dict_entry en_US=\"t1\" zh_CN=\"测一\"/>\n"
               "</ui_text_dict>\n");
    script_t s;
    int root = s.dump();
    s.cmd("tap_text 甲");
    int in_a = s.dump();
    run_result r = run_menu(menu, s, {"--ozgi-lang=zh_CN"});
    ASSERT_EQ(r.status, 0) << r.err;
    const gui_item& page = r.dumps[root].top();
    EXPECT_EQ(r.dumps[root].language, "zh_CN");
    EXPECT_EQ(page.title(), "诊断模式");
    EXPECT_EQ(labels_of(page), (std::vector<std::string>{"甲", "b", "测一", "t2"}));
    // The item data keeps the names the device knows.
    EXPECT_EQ(data_of(page), (std::vector<std::string>{"a", "b", "direct_exec.t1", "t2"}));
    EXPECT_EQ(page.find("OPTION_BUTTON")->label(), "选项");
    ASSERT_EQ(r.dumps[in_a].pages.size(), 2u);
    EXPECT_EQ(r.dumps[in_a].top().title(), "甲");
    EXPECT_EQ(r.dumps[in_a].top().find("BACK_BUTTON")->label(), "返回");
}

// ---- Pictures ------------------------------------------------------------------

TEST(AppMenuPage, ScreenShowsButtonsGapsIconsAndTheFocusFrame) {
    temp_dir menu;
    make_menu(menu);
    script_t s;
    s.dump();
    s.shot();
    run_result r = run_menu(menu, s);
    ASSERT_EQ(r.status, 0) << r.err;
    const picture_t& pic = r.shots[0];
    ASSERT_TRUE(pic.valid());
    ASSERT_EQ(pic.width, 640);
    ASSERT_EQ(pic.height, 800);
    std::vector<const gui_item*> b = r.dumps[0].top().page_buttons();
    const gui_item& a = *b[0];
    const gui_item& bb = *b[1];
    const gui_item& t1 = *b[2];
    // The gap between the two sub-menus shows the page, the buttons are white
    // where they hold nothing.
    EXPECT_EQ(pic.count_not(300, a.bottom(), 200, bb.y - a.bottom(), PAGE_BG), 0);
    EXPECT_EQ(pic.count_not(300, bb.y + 8, 200, bb.h - 16, WHITE), 0);
    // The 30-pixel gap above the first test.
    EXPECT_EQ(t1.y - bb.bottom(), 30);
    EXPECT_EQ(pic.count_not(300, bb.bottom(), 200, 30, PAGE_BG), 0);
    // An arrow at the right of a sub-menu button, the program symbol at the left of
    // a test button, and nothing at the left of a sub-menu button.
    EXPECT_GT(pic.count_not(576, bb.y + 8, 64, bb.h - 16, WHITE), 50);
    EXPECT_GT(pic.count_not(8, t1.y + 8, 64, t1.h - 16, WHITE), 500);
    EXPECT_EQ(pic.count_not(6, bb.y + 8, 12, bb.h - 16, WHITE), 0);
    // The focused button a wears the focus frame along its edges; b does not.
    EXPECT_FALSE(pic.at(1, a.y + a.h / 2) == WHITE);
    EXPECT_FALSE(pic.at(320, a.y + 1) == WHITE);
    EXPECT_TRUE(pic.at(1, bb.y + bb.h / 2) == WHITE);
    // Labels are drawn: the label area of b holds dark text pixels.
    EXPECT_GT(pic.count_not(20, bb.y + 16, 40, bb.h - 32, WHITE), 10);
}

TEST(AppMenuPage, ZeroIntervalLeavesNoGapOnScreen) {
    temp_dir menu;
    make_menu(menu);
    script_t s;
    s.dump();
    s.shot();
    run_result r = run_menu(menu, s, {"--menu-interval=0", "--menu-item-height=80"});
    ASSERT_EQ(r.status, 0) << r.err;
    const picture_t& pic = r.shots[0];
    ASSERT_TRUE(pic.valid());
    std::vector<const gui_item*> b = r.dumps[0].top().page_buttons();
    EXPECT_EQ(b[1]->y, b[0]->bottom());
    // No page background between a and b: a is white down to its focus frame,
    // which ends where b begins, and b is white from its first row.
    EXPECT_EQ(pic.count_not(300, b[0]->y + 8, 200, 80 - 8 - 4, WHITE), 0);
    EXPECT_EQ(pic.count_not(300, b[0]->bottom() - 4, 200, 4, PAGE_BG), 800);
    EXPECT_EQ(pic.count_not(300, b[1]->y, 200, 40, WHITE), 0);
    // And the buttons are 80 high on screen: the page shows right below b.
    EXPECT_EQ(pic.count_not(300, b[1]->y + 8, 200, 80 - 16, WHITE), 0);
    EXPECT_EQ(pic.count_not(300, b[1]->bottom(), 200, 25, PAGE_BG), 0);
}

TEST(AppMenuPage, TitleBarShowsBackOnSubMenusAndOptionOnTheRoot) {
    temp_dir menu;
    make_menu(menu);
    script_t s;
    s.shot();
    s.cmd("tap_text a");
    s.shot();
    run_result r = run_menu(menu, s);
    ASSERT_EQ(r.status, 0) << r.err;
    const rgb_t bar{247, 247, 247};
    const picture_t& root = r.shots[0];
    const picture_t& sub = r.shots[1];
    ASSERT_TRUE(root.valid() && sub.valid());
    // Root: the left quarter is bare title bar, the right quarter has the option gear.
    EXPECT_EQ(root.count_not(0, 0, 160, 96, bar), 0);
    EXPECT_GT(root.count_not(574, 0, 66, 96, bar), 500);
    // Sub-menu: the left arrow and "Back" are drawn; the right quarter is bare.
    EXPECT_GT(sub.count_not(0, 0, 64, 96, bar), 200);
    EXPECT_EQ(sub.count_not(480, 0, 160, 96, bar), 0);
    // The logo sits a third of the way across in both.
    EXPECT_GT(root.count_not(213, 16, 64, 64, bar), 1000);
    EXPECT_GT(sub.count_not(213, 16, 64, 64, bar), 1000);
}
