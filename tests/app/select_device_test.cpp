// The device selection page with the adb device and the adb stand-in: a list
// of devices, a single device, no device, a serial id given at start-up, and
// going back from the root menu that follows.
#include <gtest/gtest.h>

#include <string>

#include "app_test_util.h"

using namespace app_test;

namespace {

// A small menu, an adb log and a working directory for the adb device's
// temporary files.
struct adb_world {
    temp_dir menu;
    temp_dir work;
    adb_world() {
        menu.make_test("sub1/x");
        menu.make_test("t1");
    }
    run_opts_t opts(const std::string& devices, std::vector<std::string> args = {}) const {
        run_opts_t o;
        o.stub_adb = true;
        o.cwd = work.path();
        o.env["ADB_STUB_DEVICES"] = devices;
        o.env["ADB_STUB_LOG"] = work.at("adb.log");
        args.push_back("--device=adb");
        args.push_back("--dir=" + menu.path());
        o.args = args;
        return o;
    }
    std::string log() const { return read_file(work.at("adb.log")); }
};

} // namespace

TEST(AppSelectDevice, TwoDevicesAreListedInOrderWithTheFirstFocused) {
    adb_world w;
    script_t s;
    s.dump();
    run_result r = run_vesk(w.opts("A B"), s);
    ASSERT_EQ(r.status, 0) << r.err;
    ASSERT_TRUE(r.dumps[0].valid);
    ASSERT_EQ(r.dumps[0].pages.size(), 1u);
    const gui_item& page = r.dumps[0].top();
    EXPECT_EQ(page.cls, "cls_vesk_select_device_page");
    EXPECT_EQ(page.title(), "Please select a device.");
    // The layout's child_attr for the missing STATUS_ITEMS is ignored silently.
    EXPECT_EQ(r.err, "");
    const gui_item* back = page.find("BACK_BUTTON");
    ASSERT_NE(back, nullptr);
    EXPECT_FALSE(back->visible);
    std::vector<const gui_item*> b = page.page_buttons();
    ASSERT_EQ(b.size(), 2u);
    EXPECT_EQ(b[0]->item_data, "A");
    EXPECT_EQ(b[0]->label(), "A");
    EXPECT_EQ(b[1]->item_data, "B");
    EXPECT_EQ(b[1]->label(), "B");
    EXPECT_TRUE(b[0]->focused);
    EXPECT_FALSE(b[1]->focused);
    // Placed by the layout alone: right below the title bar and below each other, 64 high.
    EXPECT_EQ(b[0]->y, 96);
    EXPECT_EQ(b[1]->y, b[0]->bottom());
    EXPECT_EQ(b[0]->h, 64);
    // Nothing was selected, so no menu was read yet.
    EXPECT_EQ(w.log(), "adb\tdevices\n");
}

TEST(AppSelectDevice, ChoosingTheSecondDeviceShowsItsRootMenu) {
    adb_world w;
    script_t s;
    s.cmd("tap_text B");
    s.dump();
    run_result r = run_vesk(w.opts("A B"), s);
    ASSERT_EQ(r.status, 0) << r.err;
    ASSERT_TRUE(r.dumps[0].valid);
    // The root menu took the selection page's place.
    ASSERT_EQ(r.dumps[0].pages.size(), 1u);
    const gui_item& page = r.dumps[0].top();
    EXPECT_EQ(page.cls, "cls_vesk_page");
    std::vector<const gui_item*> b = page.page_buttons();
    ASSERT_EQ(b.size(), 2u);
    EXPECT_EQ(b[0]->item_data, "sub1");
    EXPECT_EQ(b[1]->item_data, "t1");
    std::string log = w.log();
    EXPECT_NE(log.find("adb\t-s\tB\tshell\tls\t-1\t" + w.menu.path() + "\n"), std::string::npos) << log;
    EXPECT_EQ(log.find("\t-s\tA\t"), std::string::npos) << log;
}

TEST(AppSelectDevice, SelectKeyChoosesTheFocusedDevice) {
    adb_world w;
    script_t s;
    s.cmd("key Down");
    s.cmd("key Return");
    s.dump();
    run_result r = run_vesk(w.opts("A B"), s);
    ASSERT_EQ(r.status, 0) << r.err;
    ASSERT_EQ(r.dumps[0].pages.size(), 1u);
    EXPECT_EQ(r.dumps[0].top().cls, "cls_vesk_page");
    EXPECT_NE(w.log().find("\t-s\tB\t"), std::string::npos);
}

TEST(AppSelectDevice, BackFromTheRootMenuNeverReturnsToTheSelection) {
    adb_world w;
    script_t s;
    s.cmd("tap_text B");
    // The built-in back key does nothing on the root menu, whose back button is hidden.
    s.cmd("key Escape");
    int still = s.dump();
    // The extra back key closes the root menu, the last page, and so ends the program.
    s.cmd("key F5");
    int after = s.dump();
    run_result r = run_vesk(w.opts("A B", {"--back-key=F5"}), s);
    ASSERT_EQ(r.status, 0) << r.err;
    ASSERT_TRUE(r.dumps[still].valid);
    ASSERT_EQ(r.dumps[still].pages.size(), 1u);
    EXPECT_EQ(r.dumps[still].top().cls, "cls_vesk_page");
    // The program had ended before the second dump could be written.
    EXPECT_FALSE(r.dumps[after].valid);
}

TEST(AppSelectDevice, OneDeviceIsSelectedWithoutAsking) {
    adb_world w;
    script_t s;
    s.dump();
    run_result r = run_vesk(w.opts("ONLY"), s);
    ASSERT_EQ(r.status, 0) << r.err;
    ASSERT_EQ(r.dumps[0].pages.size(), 1u);
    EXPECT_EQ(r.dumps[0].top().cls, "cls_vesk_page");
    EXPECT_EQ(r.dumps[0].top().page_buttons().size(), 2u);
    EXPECT_NE(w.log().find("adb\t-s\tONLY\tshell\tls\t-1\t"), std::string::npos);
}

TEST(AppSelectDevice, NoDeviceLeavesTheTitleAlone) {
    adb_world w;
    script_t s;
    int first = s.dump();
    s.cmd("key Escape");
    int escaped = s.dump();
    s.cmd("key F5");
    int ended = s.dump();
    run_result r = run_vesk(w.opts("", {"--back-key=F5"}), s);
    ASSERT_EQ(r.status, 0) << r.err;
    ASSERT_TRUE(r.dumps[first].valid);
    const gui_item& page = r.dumps[first].top();
    EXPECT_EQ(page.cls, "cls_vesk_select_device_page");
    EXPECT_EQ(page.title(), "Please select a device.");
    EXPECT_TRUE(page.page_buttons().empty());
    EXPECT_FALSE(page.find("BACK_BUTTON")->visible);
    // Only the extra back key leaves the page, and with it the program.
    ASSERT_TRUE(r.dumps[escaped].valid);
    EXPECT_EQ(r.dumps[escaped].top().cls, "cls_vesk_select_device_page");
    EXPECT_FALSE(r.dumps[ended].valid);
}

TEST(AppSelectDevice, SerialIdAtStartUpSkipsThePage) {
    adb_world w;
    script_t s;
    s.dump();
    run_result r = run_vesk(w.opts("A B", {"--serial-id=B"}), s);
    ASSERT_EQ(r.status, 0) << r.err;
    ASSERT_EQ(r.dumps[0].pages.size(), 1u);
    EXPECT_EQ(r.dumps[0].top().cls, "cls_vesk_page");
    std::string log = w.log();
    // The menu was read before the first page showed, and the device list never asked for.
    EXPECT_EQ(log.find("adb\tdevices"), std::string::npos) << log;
    EXPECT_NE(log.find("adb\t-s\tB\tshell\tls\t-1\t"), std::string::npos) << log;
}

TEST(AppSelectDevice, AndroidSerialSelectsTheAdbDevice) {
    adb_world w;
    run_opts_t o = w.opts("A B");
    o.env["ANDROID_SERIAL"] = "A";
    script_t s;
    s.dump();
    run_result r = run_vesk(o, s);
    ASSERT_EQ(r.status, 0) << r.err;
    ASSERT_EQ(r.dumps[0].pages.size(), 1u);
    EXPECT_EQ(r.dumps[0].top().cls, "cls_vesk_page");
    EXPECT_NE(w.log().find("adb\t-s\tA\tshell\tls\t-1\t"), std::string::npos);
}
