// The option page: its buttons, the language switch in both directions, back to
// a fresh root menu, refresh of a changed and an unchanged menu directory, exit,
// and the fatal message for a language vesk does not speak.
#include <gtest/gtest.h>

#include <filesystem>
#include <string>

#include "app_test_util.h"
#include "ozgi/cls_app_data.h"
#include "ozgi/cls_mem_mgr.h"
#include "pages/cls_vesk_option_page.h"

using namespace app_test;

namespace {

void make_menu(const temp_dir& menu) {
    menu.make_test("a/in_a");
    menu.make_test("b/in_b");
    menu.make_test("t1");
}

} // namespace

TEST(AppOptionPage, ShowsItsThreeButtonsWithTheLanguageButtonFocused) {
    temp_dir menu;
    make_menu(menu);
    script_t s;
    s.cmd("tap_text Option");
    s.dump();
    run_result r = run_menu(menu, s);
    ASSERT_EQ(r.status, 0) << r.err;
    ASSERT_EQ(r.dumps[0].pages.size(), 1u);
    const gui_item& page = r.dumps[0].top();
    EXPECT_EQ(page.cls, "cls_vesk_option_page");
    EXPECT_EQ(page.title(), "Option");
    EXPECT_EQ(labels_of(page), (std::vector<std::string>{"切换至中文", "Refresh menu", "Exit vesk"}));
    EXPECT_TRUE(page.find("LANGUAGE_BUTTON")->focused);
    EXPECT_TRUE(page.find("BACK_BUTTON")->visible);
    EXPECT_FALSE(page.find("OPTION_BUTTON")->visible);
    std::vector<const gui_item*> b = page.page_buttons();
    EXPECT_EQ(b[0]->y, 101);
    EXPECT_EQ(b[1]->y, b[0]->bottom() + 5);
}

TEST(AppOptionPage, SwitchingToChineseShowsAfterGoingBack) {
    temp_dir menu;
    make_menu(menu);
    script_t s;
    s.cmd("tap_text Option");
    s.cmd("tap_text 切换至中文");
    int clicked = s.dump();
    s.cmd("tap_text Back");
    int root_zh = s.dump();
    s.cmd("tap_text 选项");
    int option_zh = s.dump();
    s.cmd("tap_text Switch to English");
    s.cmd("tap_text 返回");
    int root_en = s.dump();
    s.cmd("tap_text Option");
    int option_en = s.dump();
    run_result r = run_menu(menu, s);
    ASSERT_EQ(r.status, 0) << r.err;
    // The click changes the setting but nothing on the page.
    EXPECT_EQ(r.dumps[clicked].language, "zh_CN");
    EXPECT_EQ(r.dumps[clicked].top().title(), "Option");
    EXPECT_EQ(labels_of(r.dumps[clicked].top())[0], "切换至中文");
    // A fresh root menu in Chinese.
    ASSERT_EQ(r.dumps[root_zh].pages.size(), 1u);
    EXPECT_EQ(r.dumps[root_zh].top().cls, "cls_vesk_page");
    EXPECT_EQ(r.dumps[root_zh].top().title(), "诊断模式");
    EXPECT_EQ(r.dumps[root_zh].top().find("OPTION_BUTTON")->label(), "选项");
    // The option page in Chinese names the other language in that language.
    const gui_item& zh = r.dumps[option_zh].top();
    EXPECT_EQ(zh.title(), "选项");
    EXPECT_EQ(labels_of(zh), (std::vector<std::string>{"Switch to English", "刷新菜单", "退出诊断菜单"}));
    EXPECT_EQ(zh.find("BACK_BUTTON")->label(), "返回");
    // And back to English.
    EXPECT_EQ(r.dumps[root_en].language, "en_US");
    EXPECT_EQ(r.dumps[root_en].top().title(), "Diagnostic");
    EXPECT_EQ(labels_of(r.dumps[option_en].top()), (std::vector<std::string>{"切换至中文", "Refresh menu", "Exit vesk"}));
}

TEST(AppOptionPage, TwoSwitchesReturnToTheFirstLanguage) {
    temp_dir menu;
    make_menu(menu);
    script_t s;
    s.cmd("tap_text Option");
    s.cmd("tap_text 切换至中文");
    int once = s.dump();
    s.cmd("tap_text 切换至中文");
    int twice = s.dump();
    s.cmd("key Escape");
    int root = s.dump();
    run_result r = run_menu(menu, s);
    ASSERT_EQ(r.status, 0) << r.err;
    EXPECT_EQ(r.dumps[once].language, "zh_CN");
    EXPECT_EQ(r.dumps[twice].language, "en_US");
    EXPECT_EQ(r.dumps[root].top().title(), "Diagnostic");
}

TEST(AppOptionPage, StartingInChineseSwitchesToEnglish) {
    temp_dir menu;
    make_menu(menu);
    script_t s;
    s.cmd("tap_text 选项");
    s.cmd("key Return");
    int clicked = s.dump();
    run_result r = run_menu(menu, s, {"--ozgi-lang=zh_CN"});
    ASSERT_EQ(r.status, 0) << r.err;
    EXPECT_EQ(r.dumps[clicked].language, "en_US");
}

TEST(AppOptionPage, BackAlwaysLandsOnAFreshRootPage) {
    temp_dir menu;
    make_menu(menu);
    script_t s;
    s.cmd("key Down");
    int moved = s.dump();
    s.cmd("tap_text Option");
    s.cmd("key Escape");
    int by_key = s.dump();
    s.cmd("key Down");
    s.cmd("tap_text Option");
    s.cmd("tap_text Back");
    int by_button = s.dump();
    run_result r = run_menu(menu, s);
    ASSERT_EQ(r.status, 0) << r.err;
    EXPECT_TRUE(r.dumps[moved].top().page_buttons()[1]->focused);
    for (int i : {by_key, by_button}) {
        ASSERT_EQ(r.dumps[i].pages.size(), 1u);
        const gui_item& page = r.dumps[i].top();
        EXPECT_EQ(page.cls, "cls_vesk_page");
        // A new page: the focus is back on the first button.
        EXPECT_TRUE(page.page_buttons()[0]->focused);
        EXPECT_EQ(data_of(page), (std::vector<std::string>{"a", "b", "t1"}));
    }
}

TEST(AppOptionPage, ExtraBackKeyAlsoReopensTheRootPage) {
    temp_dir menu;
    make_menu(menu);
    script_t s;
    s.cmd("tap_text Option");
    s.cmd("key F9");
    s.dump();
    run_result r = run_menu(menu, s, {"--back-key=F9"});
    ASSERT_EQ(r.status, 0) << r.err;
    ASSERT_EQ(r.dumps[0].pages.size(), 1u);
    EXPECT_EQ(r.dumps[0].top().cls, "cls_vesk_page");
}

TEST(AppOptionPage, ExitEndsTheProgram) {
    temp_dir menu;
    make_menu(menu);
    script_t s;
    s.cmd("tap_text Option");
    int before = s.dump();
    s.cmd("tap_text Exit vesk");
    int after = s.dump();
    run_result r = run_menu(menu, s);
    EXPECT_EQ(r.status, 0) << r.err;
    EXPECT_EQ(r.err, "");
    EXPECT_TRUE(r.dumps[before].valid);
    EXPECT_FALSE(r.dumps[after].valid);
}

TEST(AppOptionPage, RefreshShowsAChangedMenuAfterGoingBack) {
    temp_dir menu;
    make_menu(menu);
    run_opts_t o;
    o.args = {"--dir=" + menu.path()};
    session_t session(o);
    gui_dump first = session.dump();
    ASSERT_TRUE(first.valid) << session.err();
    EXPECT_EQ(data_of(first.top()), (std::vector<std::string>{"a", "b", "t1"}));
    session.cmd("tap_text Option");
    // The directory changes while the program runs.
    menu.make_test("c/in_c");
    std::filesystem::remove(menu.at("t1"));
    menu.make_test("t0");
    session.cmd("tap_text Refresh menu");
    gui_dump on_option = session.dump();
    ASSERT_TRUE(on_option.valid);
    EXPECT_EQ(on_option.top().cls, "cls_vesk_option_page");
    session.cmd("tap_text Back");
    gui_dump after = session.dump();
    ASSERT_TRUE(after.valid);
    ASSERT_EQ(after.pages.size(), 1u);
    EXPECT_EQ(data_of(after.top()), (std::vector<std::string>{"a", "b", "c", "t0"}));
    session.cmd("tap_text c");
    gui_dump in_c = session.dump();
    ASSERT_EQ(in_c.pages.size(), 2u);
    EXPECT_EQ(data_of(in_c.top()), (std::vector<std::string>{"in_c"}));
    EXPECT_EQ(session.finish(), 0);
}

TEST(AppOptionPage, WithoutRefreshAChangedMenuIsNotRescanned) {
    temp_dir menu;
    make_menu(menu);
    run_opts_t o;
    o.args = {"--dir=" + menu.path()};
    session_t session(o);
    gui_dump first = session.dump();
    ASSERT_TRUE(first.valid) << session.err();
    session.cmd("tap_text Option");
    menu.make_test("c/in_c");
    session.cmd("tap_text Back");
    gui_dump after = session.dump();
    EXPECT_EQ(data_of(after.top()), (std::vector<std::string>{"a", "b", "t1"}));
    EXPECT_EQ(session.finish(), 0);
}

TEST(AppOptionPage, RefreshOfAnUnchangedMenuShowsTheSameMenu) {
    temp_dir menu;
    make_menu(menu);
    script_t s;
    s.cmd("tap_text a");
    int deep = s.dump();
    s.cmd("key Escape");
    int before = s.dump();
    s.cmd("tap_text Option");
    s.cmd("tap_text Refresh menu");
    s.cmd("tap_text Back");
    int after = s.dump();
    s.cmd("tap_text a");
    int deep_again = s.dump();
    run_result r = run_menu(menu, s);
    ASSERT_EQ(r.status, 0) << r.err;
    ASSERT_TRUE(r.dumps[after].valid);
    EXPECT_EQ(r.dumps[after].raw, r.dumps[before].raw);
    EXPECT_EQ(r.dumps[deep_again].raw, r.dumps[deep].raw);
}

TEST(AppOptionPageDeathTest, UnsupportedLanguageIsFatal) {
    EXPECT_EXIT(
        {
            ozgi::cls_app_data::ins()->set_data("language", "fr_FR");
            cls_vesk_option_page* page = static_cast<cls_vesk_option_page*>(
                cls_vesk_option_page::create_cls_vesk_option_page());
            page->on_language_btn_click(nullptr);
        },
        testing::ExitedWithCode(1), "FATAL .*: The current language fr_FR is not supported in vesk\\.\n");
}

TEST(AppOptionPage, LanguageButtonSwitchesTheSettingInProcess) {
    ozgi::cls_app_data* data = ozgi::cls_app_data::ins();
    cls_vesk_option_page* page =
        static_cast<cls_vesk_option_page*>(cls_vesk_option_page::create_cls_vesk_option_page());
    data->set_data("language", "en_US");
    page->on_language_btn_click(nullptr);
    EXPECT_EQ(*data->get_data("language"), "zh_CN");
    page->on_language_btn_click(nullptr);
    EXPECT_EQ(*data->get_data("language"), "en_US");
    ozgi::ozgi_delete(page);
}
