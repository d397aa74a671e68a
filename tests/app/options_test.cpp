// The command-line options as the running program shows them: defaults, each
// option's effect on the menu page, the device options and their fatal messages,
// ANDROID_SERIAL, and that the order of options does not matter.
#include <gtest/gtest.h>

#include <string>

#include "app_test_util.h"
#include "ozgi/cls_string.h"

using namespace app_test;

namespace {

// A menu with two sub-menus and two tests at its root.
void make_menu(const temp_dir& menu) {
    menu.make_test("sub1/x");
    menu.make_test("sub2/y");
    menu.make_test("t1");
    menu.make_test("t2");
}

run_result run_with(std::vector<std::string> args, const temp_dir& menu, std::map<std::string, std::string> env = {}) {
    run_opts_t o;
    args.push_back("--dir=" + menu.path());
    o.args = args;
    o.env = env;
    script_t s;
    s.dump();
    return run_vesk(o, s);
}

// The vertical gaps between consecutive page buttons.
std::vector<int> gaps(const gui_item& page) {
    std::vector<int> out;
    std::vector<const gui_item*> b = page.page_buttons();
    for (size_t i = 1; i < b.size(); ++i) out.push_back(b[i]->y - b[i - 1]->bottom());
    return out;
}

} // namespace

TEST(AppOptions, DefaultsGiveSixtyFourHighButtonsFiveApart) {
    temp_dir menu;
    make_menu(menu);
    run_result r = run_with({}, menu);
    ASSERT_EQ(r.status, 0) << r.err;
    ASSERT_TRUE(r.dumps[0].valid);
    const gui_item& page = r.dumps[0].top();
    std::vector<const gui_item*> b = page.page_buttons();
    ASSERT_EQ(b.size(), 4u);
    for (const gui_item* x : b) EXPECT_EQ(x->h, 64);
    // Title bar 96 high, then the interval of 5.
    EXPECT_EQ(b[0]->y, 101);
    // Sub-menus 5 apart; the first test 5 + 5 + 20 below the last sub-menu; tests 10 apart.
    EXPECT_EQ(gaps(page), (std::vector<int>{5, 30, 10}));
}

TEST(AppOptions, NoDirectoryScansTheWorkingDirectory) {
    temp_dir menu;
    make_menu(menu);
    run_opts_t o;
    o.cwd = menu.path();
    script_t s;
    s.dump();
    run_result r = run_vesk(o, s);
    ASSERT_EQ(r.status, 0) << r.err;
    ASSERT_TRUE(r.dumps[0].valid);
    std::vector<const gui_item*> b = r.dumps[0].top().page_buttons();
    ASSERT_EQ(b.size(), 4u);
    EXPECT_EQ(b[0]->item_data, "sub1");
    EXPECT_EQ(b[3]->item_data, "t2");
}

TEST(AppOptions, MenuItemHeightSetsEveryButtonHeight) {
    temp_dir menu;
    make_menu(menu);
    run_result r = run_with({"--menu-item-height=80"}, menu);
    ASSERT_EQ(r.status, 0) << r.err;
    const gui_item& page = r.dumps[0].top();
    std::vector<const gui_item*> b = page.page_buttons();
    ASSERT_EQ(b.size(), 4u);
    for (const gui_item* x : b) EXPECT_EQ(x->h, 80);
    EXPECT_EQ(gaps(page), (std::vector<int>{5, 30, 10}));
    // The button's contents follow its height.
    const gui_item* label = b[0]->find("BUTTON_LABEL");
    ASSERT_NE(label, nullptr);
    EXPECT_EQ(label->h, 80);
}

TEST(AppOptions, MenuIntervalZeroMakesSubMenuButtonsTouch) {
    temp_dir menu;
    make_menu(menu);
    run_result r = run_with({"--menu-interval=0"}, menu);
    ASSERT_EQ(r.status, 0) << r.err;
    const gui_item& page = r.dumps[0].top();
    EXPECT_EQ(page.page_buttons()[0]->y, 96);
    // Tests keep the layout's own 5 and the extra 20 before the first one.
    EXPECT_EQ(gaps(page), (std::vector<int>{0, 25, 5}));
}

TEST(AppOptions, LargeIntervalWidensEveryGap) {
    temp_dir menu;
    make_menu(menu);
    run_result r = run_with({"--menu-interval=12"}, menu);
    ASSERT_EQ(r.status, 0) << r.err;
    EXPECT_EQ(gaps(r.dumps[0].top()), (std::vector<int>{12, 37, 17}));
}

TEST(AppOptions, NonNumericIntervalIsStoredAsToIntGivesIt) {
    temp_dir menu;
    make_menu(menu);
    for (const char* value : {"abc", "7px", ""}) {
        int expected = ozgi::cls_string(value).to_int();
        run_result r = run_with({std::string("--menu-interval=") + value}, menu);
        ASSERT_EQ(r.status, 0) << value << ": " << r.err;
        EXPECT_EQ(r.err, "") << value;
        std::vector<int> g = gaps(r.dumps[0].top());
        ASSERT_EQ(g.size(), 3u);
        EXPECT_EQ(g[0], expected) << value;
        EXPECT_EQ(g[1], expected + 25) << value;
    }
}

TEST(AppOptions, NegativeHeightIsNotRangeChecked) {
    temp_dir menu;
    make_menu(menu);
    run_result r = run_with({"--menu-item-height=-3"}, menu);
    ASSERT_EQ(r.status, 0) << r.err;
    for (const gui_item* b : r.dumps[0].top().page_buttons()) EXPECT_EQ(b->h, -3);
}

TEST(AppOptions, EmptyDeviceMeansLocal) {
    temp_dir menu;
    make_menu(menu);
    run_result plain = run_with({}, menu);
    run_result empty = run_with({"--device="}, menu);
    run_result local = run_with({"--device=local"}, menu);
    ASSERT_EQ(empty.status, 0) << empty.err;
    ASSERT_EQ(local.status, 0) << local.err;
    ASSERT_TRUE(empty.dumps[0].valid);
    EXPECT_EQ(empty.dumps[0].top().page_buttons().size(), 4u);
    // The same screen in every case.
    EXPECT_EQ(empty.dumps[0].raw, local.dumps[0].raw);
    EXPECT_EQ(plain.dumps[0].raw, local.dumps[0].raw);
}

TEST(AppOptions, UnknownDeviceIsFatal) {
    temp_dir menu;
    make_menu(menu);
    run_result r = run_with({"--device=Local"}, menu);
    EXPECT_EQ(r.status, 1);
    EXPECT_TRUE(is_fatal(r.err, "Unrecognized device: Local")) << r.err;
    ASSERT_TRUE(r.dumps.size() == 1 && !r.dumps[0].valid);
}

TEST(AppOptions, DdbDeviceIsNotProvided) {
    temp_dir menu;
    make_menu(menu);
    run_result r = run_with({"--device=ddb"}, menu);
    EXPECT_EQ(r.status, 1);
    EXPECT_TRUE(is_fatal(r.err, "Unrealized yet.")) << r.err;
    EXPECT_FALSE(r.dumps[0].valid);
}

TEST(AppOptions, AndroidSerialWithTheLocalDeviceSelectsIt) {
    temp_dir menu;
    make_menu(menu);
    run_result r = run_with({}, menu, {{"ANDROID_SERIAL", "LOCAL_DEVICE"}});
    ASSERT_EQ(r.status, 0) << r.err;
    ASSERT_EQ(r.dumps[0].pages.size(), 1u);
    EXPECT_EQ(r.dumps[0].top().cls, "cls_vesk_page");
    EXPECT_EQ(r.dumps[0].top().page_buttons().size(), 4u);
}

TEST(AppOptions, OtherAndroidSerialWithTheLocalDeviceIsFatal) {
    temp_dir menu;
    make_menu(menu);
    run_result r = run_with({}, menu, {{"ANDROID_SERIAL", "0123ABCD"}});
    EXPECT_EQ(r.status, 1);
    EXPECT_TRUE(is_fatal(r.err, "Serial ID is 0123ABCD, not LOCAL_DEVICE.")) << r.err;
    EXPECT_FALSE(r.dumps[0].valid);
}

TEST(AppOptions, AndroidSerialAppliesToAnExplicitLocalDeviceToo) {
    temp_dir menu;
    make_menu(menu);
    run_result r = run_with({"--device=local"}, menu, {{"ANDROID_SERIAL", "emulator-5554"}});
    EXPECT_EQ(r.status, 1);
    EXPECT_TRUE(is_fatal(r.err, "Serial ID is emulator-5554, not LOCAL_DEVICE.")) << r.err;
}

TEST(AppOptions, SerialIdOptionWinsOverAndroidSerial) {
    temp_dir menu;
    make_menu(menu);
    run_result good = run_with({"--serial-id=LOCAL_DEVICE"}, menu, {{"ANDROID_SERIAL", "elsewhere"}});
    ASSERT_EQ(good.status, 0) << good.err;
    EXPECT_EQ(good.dumps[0].top().page_buttons().size(), 4u);
    run_result bad = run_with({"--serial-id=mine"}, menu, {{"ANDROID_SERIAL", "LOCAL_DEVICE"}});
    EXPECT_EQ(bad.status, 1);
    EXPECT_TRUE(is_fatal(bad.err, "Serial ID is mine, not LOCAL_DEVICE.")) << bad.err;
}

TEST(AppOptions, EmptyAndroidSerialSelectsNothing) {
    // An empty serial id is no serial id: nothing is selected at start-up, and the
    // local device's one candidate is taken by the device selection page.
    temp_dir menu;
    make_menu(menu);
    run_result r = run_with({}, menu, {{"ANDROID_SERIAL", ""}});
    ASSERT_EQ(r.status, 0) << r.err;
    EXPECT_EQ(r.dumps[0].top().page_buttons().size(), 4u);
}

TEST(AppOptions, OrderOfOptionsDoesNotMatter) {
    temp_dir menu;
    make_menu(menu);
    std::vector<std::string> opts = {"--menu-interval=9", "--menu-item-height=70", "--device=local",
                                     "--serial-id=LOCAL_DEVICE", "--back-key=F5"};
    run_result forward = run_with(opts, menu);
    std::vector<std::string> reversed(opts.rbegin(), opts.rend());
    reversed.insert(reversed.begin(), "--dir=" + menu.path());
    run_opts_t o;
    o.args = reversed;
    script_t s;
    s.dump();
    run_result backward = run_vesk(o, s);
    ASSERT_EQ(forward.status, 0) << forward.err;
    ASSERT_EQ(backward.status, 0) << backward.err;
    ASSERT_TRUE(forward.dumps[0].valid);
    EXPECT_EQ(forward.dumps[0].raw, backward.dumps[0].raw);
    // And the options did take effect.
    std::vector<const gui_item*> b = forward.dumps[0].top().page_buttons();
    ASSERT_EQ(b.size(), 4u);
    EXPECT_EQ(b[0]->h, 70);
    EXPECT_EQ(b[1]->y - b[0]->bottom(), 9);
}

TEST(AppOptions, UnknownArgumentsAreIgnored) {
    temp_dir menu;
    make_menu(menu);
    run_result plain = run_with({}, menu);
    run_result extra = run_with({"--colour=blue", "stray", "-x"}, menu);
    ASSERT_EQ(extra.status, 0) << extra.err;
    EXPECT_EQ(extra.dumps[0].raw, plain.dumps[0].raw);
}
