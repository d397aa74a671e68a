// The evdev input on files of records and FIFOs (through the framebuffer
// backend), and its decoder on its own: absolute pointers, fingers in any
// slot, the oldest finger driving, the state read after SYN_DROPPED.
#include <gtest/gtest.h>
#include <stdlib.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cmath>
#include <fstream>
#include <string>
#include <vector>

#include "backend/cls_evdev_decoder.h"
#include "ozgi/if_display_backend.h"
#include "fbdev_test_util.h"

using namespace ozgi;
using namespace fbdev_test;

namespace {

// The input of a 64 x 32 picture on a 64 x 32 panel reading the file of
// `records` (raw values are panel pixels unless `range` is given).
std::vector<input_t> run(const records_t& records, const std::string& range = "") {
    temp_dir_t dir;
    { std::ofstream fb(dir.at("fb")); }
    records.write_to(dir.at("in"));
    display_options_t options;
    options.video = "fbdev";
    for (std::string a : {"--ozgi-fbdev=" + dir.at("fb"), std::string("--ozgi-fb-geometry=64x32:32"),
                          "--ozgi-input=" + dir.at("in")})
        options.settings.append(cls_string(a.c_str()));
    if (!range.empty()) options.settings.append(cls_string(("--ozgi-input-range=" + range).c_str()));
    cls_string error;
    cls_sp<if_display_backend> backend = create_display_backend(options, &error);
    std::vector<input_t> all;
    if (backend.is_null() || !backend->open(64, 32, "test", &error)) {
        ADD_FAILURE() << error.c_str();
        return all;
    }
    testing::internal::CaptureStderr();
    input_t in;
    while (backend->poll_input(&in)) all.push_back(in);
    testing::internal::GetCapturedStderr();
    return all;
}

// "P x y", "M x y", "R x y", "+Name", "-Name" for each input.
std::vector<std::string> describe(const std::vector<input_t>& all) {
    std::vector<std::string> out;
    for (const input_t& in : all) {
        char text[64];
        switch (in.type) {
        case input_t::PRESS: std::snprintf(text, sizeof text, "P %d %d", in.x, in.y); break;
        case input_t::MOVE: std::snprintf(text, sizeof text, "M %d %d", in.x, in.y); break;
        case input_t::RELEASE: std::snprintf(text, sizeof text, "R %d %d", in.x, in.y); break;
        case input_t::KEY_PRESS: std::snprintf(text, sizeof text, "+%s", in.key_name.c_str()); break;
        case input_t::KEY_RELEASE: std::snprintf(text, sizeof text, "-%s", in.key_name.c_str()); break;
        default: std::snprintf(text, sizeof text, "? %d", static_cast<int>(in.type)); break;
        }
        out.push_back(text);
    }
    return out;
}

typedef std::vector<std::string> list_t;

records_t& slot(records_t& r, int s, int id, int x, int y) {
    return r.ev(EV_ABS, ABS_MT_SLOT, s).ev(EV_ABS, ABS_MT_TRACKING_ID, id).ev(EV_ABS, ABS_MT_POSITION_X, x)
        .ev(EV_ABS, ABS_MT_POSITION_Y, y);
}

} // namespace

TEST(evdev, an_absolute_pointer_pressing_btn_left_is_a_touch) {
    // A tablet as QEMU's and many USB panels in mouse mode report: the
    // position first, then BTN_LEFT; its range scales it.
    records_t r;
    r.ev(EV_ABS, ABS_X, 16383).ev(EV_ABS, ABS_Y, 0).syn();
    r.ev(EV_KEY, BTN_LEFT, 1).syn();
    r.ev(EV_ABS, ABS_X, 32767).ev(EV_ABS, ABS_Y, 32767).syn();
    r.ev(EV_KEY, BTN_LEFT, 0).syn();
    // Moving without a button is no touch.
    r.ev(EV_ABS, ABS_X, 0).syn();
    EXPECT_EQ(describe(run(r, "0:32767:0:32767")), (list_t{"P 31 0", "M 63 31", "R 63 31"}));
}

TEST(evdev, a_pen_touches_with_its_tip_not_when_it_hovers) {
    records_t r;
    // BTN_TOOL_PEN alone is the pen in range; BTN_TOUCH is its tip on the glass.
    r.ev(EV_KEY, BTN_TOOL_PEN, 1).ev(EV_ABS, ABS_X, 3).ev(EV_ABS, ABS_Y, 4).syn();
    r.ev(EV_KEY, BTN_TOUCH, 1).syn();
    r.ev(EV_KEY, BTN_STYLUS, 1).ev(EV_KEY, BTN_TOUCH, 0).syn();
    r.ev(EV_KEY, BTN_TOOL_PEN, 0).ev(EV_KEY, BTN_STYLUS, 0).syn();
    EXPECT_EQ(describe(run(r)), (list_t{"P 3 4", "R 3 4"}));
    // A device without BTN_TOUCH presses with its tool button.
    records_t finger;
    finger.ev(EV_ABS, ABS_X, 5).ev(EV_ABS, ABS_Y, 6).ev(EV_KEY, BTN_TOOL_FINGER, 1).syn();
    finger.ev(EV_KEY, BTN_TOOL_FINGER, 0).syn();
    EXPECT_EQ(describe(run(finger)), (list_t{"P 5 6", "R 5 6"}));
}

TEST(evdev, a_lone_finger_in_a_high_slot_is_the_touch) {
    records_t r;
    slot(r, 3, 40, 10, 11).ev(EV_KEY, BTN_TOUCH, 1).syn();
    r.ev(EV_ABS, ABS_MT_POSITION_X, 12).syn();
    r.ev(EV_ABS, ABS_MT_TRACKING_ID, -1).ev(EV_KEY, BTN_TOUCH, 0).syn();
    EXPECT_EQ(describe(run(r)), (list_t{"P 10 11", "M 12 11", "R 12 11"}));
}

TEST(evdev, the_oldest_finger_drives_the_touch) {
    records_t r;
    // The first finger in slot 2, a second in slot 0: slot 2 goes on driving.
    slot(r, 2, 5, 10, 10).syn();
    slot(r, 0, 6, 50, 20).syn();
    r.ev(EV_ABS, ABS_MT_POSITION_X, 51).syn();
    r.ev(EV_ABS, ABS_MT_SLOT, 2).ev(EV_ABS, ABS_MT_POSITION_X, 11).syn();
    // When it is lifted the other finger drives, as the kernel's pointer
    // emulation does: the touch moves there.
    r.ev(EV_ABS, ABS_MT_TRACKING_ID, -1).syn();
    r.ev(EV_ABS, ABS_MT_SLOT, 0).ev(EV_ABS, ABS_MT_TRACKING_ID, -1).syn();
    EXPECT_EQ(describe(run(r)), (list_t{"P 10 10", "M 11 10", "M 51 20", "R 51 20"}));
}

TEST(evdev, a_release_lost_to_syn_dropped_is_made_good) {
    // A file cannot tell its state: after SYN_DROPPED nothing is known to be
    // down, so the finger and the key held are let go, and the next touch is
    // a new press, not a drag from the old one.
    records_t r;
    slot(r, 0, 1, 10, 10).syn();
    r.ev(EV_KEY, KEY_DOWN, 1).syn();
    r.ev(EV_SYN, SYN_DROPPED, 0);
    // Records up to the report after SYN_DROPPED are only part of a frame.
    r.ev(EV_ABS, ABS_MT_POSITION_X, 40).ev(EV_KEY, KEY_A, 1).syn();
    slot(r, 0, 2, 30, 5).syn();
    r.ev(EV_ABS, ABS_MT_TRACKING_ID, -1).syn();
    EXPECT_EQ(describe(run(r)), (list_t{"P 10 10", "+Down", "-Down", "R 10 10", "P 30 5", "R 30 5"}));
}

TEST(evdev, the_older_protocol_lifts_with_an_empty_report) {
    records_t r;
    auto contact = [&](int x, int y) {
        r.ev(EV_ABS, ABS_MT_POSITION_X, x).ev(EV_ABS, ABS_MT_POSITION_Y, y).ev(EV_SYN, SYN_MT_REPORT, 0);
    };
    // Without BTN_TOUCH: the contacts alone say a finger is down.
    contact(5, 6);
    contact(40, 20);
    r.syn();
    r.ev(EV_SYN, SYN_MT_REPORT, 0).syn();
    EXPECT_EQ(describe(run(r)), (list_t{"P 5 6", "R 5 6"}));
}

TEST(evdev_decoder, resync_reports_what_differs_from_the_device_state) {
    cls_evdev_decoder d;
    cls_evdev_decoder::range_t none;
    d.setup(none, none, 100, 100);
    std::vector<input_t> out;
    input_event e{};
    auto feed = [&](int type, int code, int value) {
        e.type = static_cast<unsigned short>(type);
        e.code = static_cast<unsigned short>(code);
        e.value = value;
        return d.feed(e, &out);
    };
    feed(EV_ABS, ABS_MT_SLOT, 1);
    feed(EV_ABS, ABS_MT_TRACKING_ID, 9);
    feed(EV_ABS, ABS_MT_POSITION_X, 20);
    feed(EV_ABS, ABS_MT_POSITION_Y, 30);
    feed(EV_KEY, KEY_ENTER, 1);
    feed(EV_SYN, SYN_REPORT, 0);
    EXPECT_EQ(describe(out), (list_t{"+Return", "P 20 30"}));
    out.clear();
    EXPECT_TRUE(feed(EV_SYN, SYN_DROPPED, 0));
    EXPECT_TRUE(feed(EV_ABS, ABS_MT_POSITION_X, 99));
    // The report ending the damage asks for the state.
    EXPECT_FALSE(feed(EV_SYN, SYN_REPORT, 0));
    EXPECT_TRUE(out.empty());
    // Meanwhile the finger was lifted, another put down in slot 4, Return let
    // go and Escape pressed.
    cls_evdev_decoder::snapshot_t s;
    s.keys.assign(KEY_CNT, false);
    s.keys[KEY_ESC] = true;
    s.slot = 4;
    s.slots.resize(8);
    s.slots[4].id = 10;
    s.slots[4].x = 70;
    s.slots[4].y = 80;
    d.resync(s, &out);
    EXPECT_EQ(describe(out), (list_t{"+Escape", "-Return", "R 20 30", "P 70 80"}));
    // The same finger still down after a resync is no new touch.
    out.clear();
    s.slots[4].x = 71;
    d.resync(s, &out);
    EXPECT_EQ(describe(out), (list_t{"M 71 80"}));
    // The current slot came with the state: records carry on from it.
    out.clear();
    feed(EV_ABS, ABS_MT_TRACKING_ID, -1);
    feed(EV_SYN, SYN_REPORT, 0);
    EXPECT_EQ(describe(out), (list_t{"R 71 80"}));
}

TEST(evdev_decoder, a_finger_down_when_the_device_is_opened_presses_at_the_next_report) {
    cls_evdev_decoder d;
    cls_evdev_decoder::range_t r;
    r.xmin = 0;
    r.xmax = 1000;
    r.ymin = 0;
    r.ymax = 1000;
    d.setup(r, r, 101, 101);
    cls_evdev_decoder::snapshot_t s;
    s.slot = 2;
    s.slots.resize(4);
    s.slots[2].id = 3;
    s.slots[2].x = 500;
    s.slots[2].y = 1000;
    d.start(s);
    std::vector<input_t> out;
    input_event e{};
    e.type = EV_ABS;
    e.code = ABS_MT_POSITION_X;
    e.value = 600;
    d.feed(e, &out);
    e.type = EV_SYN;
    e.code = SYN_REPORT;
    e.value = 0;
    d.feed(e, &out);
    EXPECT_EQ(describe(out), (list_t{"P 60 100"}));
}
