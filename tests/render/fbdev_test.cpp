// The framebuffer backend on regular files standing in for a panel: pixel
// formats, rotation, centring, damage-only writes, bad geometries, and input
// from files of evdev records.
#include <gtest/gtest.h>
#include <fcntl.h>
#include <stdlib.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cmath>
#include <cstdio>
#include <fstream>
#include <string>
#include <vector>

#include "ozgi/cls_canvas.h"
#include "ozgi/if_display_backend.h"
#include "fbdev_test_util.h"

using namespace ozgi;
using namespace fbdev_test;

namespace {

// An fbdev backend opened with the given options for a w x h picture; null with
// the reason in *why when it did not open.
cls_sp<if_display_backend> open_fbdev(int rotate, int w, int h, const std::vector<std::string>& options,
                                      std::string* why) {
    display_options_t display;
    display.video = "fbdev";
    display.rotate = rotate;
    for (const std::string& o : options) display.settings.append(cls_string(o.c_str()));
    cls_string error;
    cls_sp<if_display_backend> backend = create_display_backend(display, &error);
    if (backend.is_not_null() && !backend->open(w, h, "test", &error)) backend = cls_sp<if_display_backend>();
    if (why) *why = error.c_str();
    return backend;
}

// A picture in which (nearly) every pixel differs from its neighbours.
void paint_pattern(cls_canvas* canvas, uint32_t salt) {
    for (int y = 0; y < canvas->height(); ++y)
        for (int x = 0; x < canvas->width(); ++x)
            canvas->pixels()[y * canvas->stride() + x] =
                0xFF000000u | ((x * 37 + y * 11 + salt) & 0xFF) << 16 | ((x * 5 + y * 29 + salt) & 0xFF) << 8 |
                ((x * 13 + y * 7 + salt * 3) & 0xFF);
}

// Where logical (x, y) of a w x h picture lands on the unrotated panel picture.
void to_physical(int rotate, int w, int h, int x, int y, int* px, int* py) {
    switch (rotate) {
    case 90: *px = h - 1 - y; *py = x; break;
    case 180: *px = w - 1 - x; *py = h - 1 - y; break;
    case 270: *px = y; *py = w - 1 - x; break;
    default: *px = x; *py = y; break;
    }
}

} // namespace

TEST(fbdev, every_format_and_rotation_is_centred_and_matches_the_picture) {
    const int W = 64, H = 32, PANEL_W = 71, PANEL_H = 80;
    for (int bpp : {32, 24, 16}) {
        for (int rotate : {0, 90, 180, 270}) {
            SCOPED_TRACE(std::to_string(bpp) + " bits, rotated " + std::to_string(rotate));
            temp_dir_t dir;
            std::string fb = dir.fb();
            // Rows are padded, as many drivers do.
            int stride = PANEL_W * bpp / 8 + 12;
            std::string geometry = std::to_string(PANEL_W) + "x" + std::to_string(PANEL_H) + ":" +
                                   std::to_string(bpp) + ":" + std::to_string(stride);
            std::string why;
            cls_sp<if_display_backend> backend =
                open_fbdev(rotate, W, H, {"--ozgi-fbdev=" + fb, "--ozgi-fb-geometry=" + geometry, "--ozgi-input="},
                           &why);
            ASSERT_TRUE(backend.is_not_null()) << why;
            cls_canvas canvas(W, H);
            paint_pattern(&canvas, 0);
            backend->present(canvas.pixels(), canvas.stride(), cls_rect{0, 0, W, H});
            std::string pixels = read_all(fb);
            ASSERT_EQ(pixels.size(), static_cast<size_t>(stride) * PANEL_H);
            int pw = rotate % 180 ? H : W, ph = rotate % 180 ? W : H;
            int left = (PANEL_W - pw) / 2, top = (PANEL_H - ph) / 2;
            int wrong = 0;
            for (int y = 0; y < H; ++y)
                for (int x = 0; x < W; ++x) {
                    int px = 0, py = 0;
                    to_physical(rotate, W, H, x, y, &px, &py);
                    uint32_t want = in_depth(canvas.pixel(x, y), bpp);
                    if (fb_pixel(pixels, stride, bpp, left + px, top + py) != want && ++wrong < 5)
                        ADD_FAILURE() << "logical " << x << "," << y << " at panel " << left + px << "," << top + py;
                }
            EXPECT_EQ(wrong, 0);
            // The border round the picture is black.
            EXPECT_EQ(fb_pixel(pixels, stride, bpp, 0, 0), 0u);
            EXPECT_EQ(fb_pixel(pixels, stride, bpp, PANEL_W - 1, PANEL_H - 1), 0u);
            EXPECT_EQ(fb_pixel(pixels, stride, bpp, left - 1, top), 0u);
            EXPECT_EQ(fb_pixel(pixels, stride, bpp, left, top - 1), 0u);
            // The screenshot is the picture alone, as on a panel of its size.
            cls_array<uint32_t> shot;
            int sw = 0, sh = 0;
            ASSERT_TRUE(backend->read_physical(&shot, &sw, &sh));
            EXPECT_EQ(sw, pw);
            EXPECT_EQ(sh, ph);
            EXPECT_EQ(fb_pixel(pixels, stride, bpp, left + 3, top + 2), in_depth(shot[2 * sw + 3], bpp));
        }
    }
}

TEST(fbdev, writes_only_the_damaged_rectangle) {
    temp_dir_t dir;
    std::string fb = dir.fb();
    std::string why;
    cls_sp<if_display_backend> backend =
        open_fbdev(90, 64, 32, {"--ozgi-fbdev=" + fb, "--ozgi-fb-geometry=32x64:32", "--ozgi-input="}, &why);
    ASSERT_TRUE(backend.is_not_null()) << why;
    cls_canvas canvas(64, 32);
    canvas.fill_rect(cls_rect{0, 0, 64, 32}, cls_color{0, 0, 255, 255});
    backend->present(canvas.pixels(), canvas.stride(), cls_rect{0, 0, 64, 32});
    // All of the canvas changes, but only a 10 x 6 rectangle is presented.
    canvas.fill_rect(cls_rect{0, 0, 64, 32}, cls_color{255, 0, 0, 255});
    backend->present(canvas.pixels(), canvas.stride(), cls_rect{8, 4, 10, 6});
    std::string pixels = read_all(fb);
    int red = 0, blue = 0;
    for (int y = 0; y < 64; ++y)
        for (int x = 0; x < 32; ++x) {
            uint32_t p = fb_pixel(pixels, 32 * 4, 32, x, y);
            red += p == 0xFF0000u;
            blue += p == 0x0000FFu;
        }
    EXPECT_EQ(red, 60);
    EXPECT_EQ(blue, 64 * 32 - 60);
    // Logical (8, 4) is at panel (32 - 1 - 4, 8).
    EXPECT_EQ(fb_pixel(pixels, 32 * 4, 32, 27, 8), 0xFF0000u);
    EXPECT_EQ(fb_pixel(pixels, 32 * 4, 32, 28, 8), 0x0000FFu);
}

TEST(fbdev, refuses_a_panel_smaller_than_the_picture) {
    temp_dir_t dir;
    std::string fb = dir.fb();
    std::string why;
    EXPECT_TRUE(open_fbdev(0, 640, 800, {"--ozgi-fbdev=" + fb, "--ozgi-fb-geometry=800x700:16"}, &why).is_null());
    EXPECT_EQ(why, "The framebuffer " + fb + " is 800x700 pixels, smaller than the 640x800 picture.");
    // Turned, the same picture fits.
    EXPECT_TRUE(open_fbdev(90, 640, 800, {"--ozgi-fbdev=" + fb, "--ozgi-fb-geometry=800x700:16", "--ozgi-input="}, &why)
                    .is_not_null())
        << why;
}

TEST(fbdev, explains_bad_geometries_and_paths) {
    temp_dir_t dir;
    std::string fb = dir.at("fb");
    std::string why;
    EXPECT_TRUE(open_fbdev(0, 64, 32, {"--ozgi-fbdev=" + fb}, &why).is_null());
    EXPECT_EQ(why, "Can't open the framebuffer " + fb + ": No such file or directory.");
    { std::ofstream touch(fb); }
    EXPECT_TRUE(open_fbdev(0, 64, 32, {"--ozgi-fbdev=" + fb}, &why).is_null());
    EXPECT_EQ(why, "Can't read the geometry of the framebuffer " + fb +
                       " (Inappropriate ioctl for device); a file standing in for one needs "
                       "--ozgi-fb-geometry=WxH:BPP[:STRIDE].");
    for (const char* bad : {"64x32", "64x32:8", "64x:32", "x32:32", "64x32:32:100", "64x32:16:abc", "-64x32:32"}) {
        SCOPED_TRACE(bad);
        EXPECT_TRUE(open_fbdev(0, 64, 32, {"--ozgi-fbdev=" + fb, std::string("--ozgi-fb-geometry=") + bad}, &why)
                        .is_null());
        EXPECT_EQ(why, std::string("Bad --ozgi-fb-geometry=") + bad +
                           " (WxH:BPP[:STRIDE], BPP 16, 24 or 32, STRIDE in bytes).");
    }
    EXPECT_TRUE(open_fbdev(0, 64, 32,
                           {"--ozgi-fbdev=" + fb, "--ozgi-fb-geometry=64x32:32", "--ozgi-input-range=0:100:5"}, &why)
                    .is_null());
    EXPECT_EQ(why, "Bad --ozgi-input-range=0:100:5 (XMIN:XMAX:YMIN:YMAX, the minimum and maximum different).");
    std::string missing = dir.at("event9");
    EXPECT_TRUE(open_fbdev(0, 64, 32, {"--ozgi-fbdev=" + fb, "--ozgi-fb-geometry=64x32:32", "--ozgi-input=" + missing},
                           &why)
                    .is_null());
    EXPECT_EQ(why, "Can't open the input device " + missing + ": No such file or directory.");
}

namespace {

// Everything the backend has to give, in order.
std::vector<input_t> drain(if_display_backend* backend) {
    std::vector<input_t> all;
    input_t in;
    while (backend->poll_input(&in)) all.push_back(in);
    return all;
}

// A raw coordinate of a device with range [min, max] that lands on panel pixel p
// of a panel `size` pixels long.
int raw_for(int p, int min, int max, int size) {
    return min + static_cast<int>(std::lround(static_cast<double>(p) * (max - min) / (size - 1)));
}

} // namespace

TEST(fbdev, touches_are_scaled_centred_and_turned_back) {
    // A 64 x 32 picture turned 90 degrees is 32 x 64 on the 40 x 70 panel, at (4, 3).
    const int PANEL_W = 40, PANEL_H = 70, LEFT = 4, TOP = 3;
    for (bool multitouch : {true, false}) {
        SCOPED_TRACE(multitouch ? "multitouch" : "single touch");
        temp_dir_t dir;
        // The logical pixel (10, 20) is at picture (32 - 1 - 20, 10), panel (LEFT + 11, TOP + 10).
        int rx = raw_for(LEFT + 11, 100, 4000, PANEL_W), ry = raw_for(TOP + 10, 200, 3000, PANEL_H);
        int rx2 = raw_for(LEFT + 20, 100, 4000, PANEL_W), ry2 = raw_for(TOP + 40, 200, 3000, PANEL_H);
        records_t r;
        if (multitouch) r.mt_down(rx, ry).mt_move(rx2, ry2).mt_up();
        else r.st_down(rx, ry).st_move(rx2, ry2).st_up();
        // A touch on the border round the picture is no touch at all.
        if (multitouch) r.mt_down(raw_for(1, 100, 4000, PANEL_W), ry).mt_up();
        else r.st_down(raw_for(1, 100, 4000, PANEL_W), ry).st_up();
        r.write_to(dir.at("touch"));
        std::string why;
        cls_sp<if_display_backend> backend =
            open_fbdev(90, 64, 32,
                       {"--ozgi-fbdev=" + dir.fb(), "--ozgi-fb-geometry=40x70:32",
                        "--ozgi-input=" + dir.at("touch"), "--ozgi-input-range=100:4000:200:3000"},
                       &why);
        ASSERT_TRUE(backend.is_not_null()) << why;
        std::vector<input_t> got = drain(backend.get());
        ASSERT_EQ(got.size(), 3u);
        EXPECT_EQ(got[0].type, input_t::PRESS);
        EXPECT_EQ(got[0].x, 10);
        EXPECT_EQ(got[0].y, 20);
        // Picture (20, 40) is logical (40, 32 - 1 - 20).
        EXPECT_EQ(got[1].type, input_t::MOVE);
        EXPECT_EQ(got[1].x, 40);
        EXPECT_EQ(got[1].y, 11);
        EXPECT_EQ(got[2].type, input_t::RELEASE);
        EXPECT_EQ(got[2].x, 40);
        EXPECT_EQ(got[2].y, 11);
    }
}

TEST(fbdev, only_the_first_finger_counts_and_emulation_is_ignored) {
    temp_dir_t dir;
    records_t r;
    // Slot 0 down at (5, 6) with the kernel's single-touch emulation alongside,
    // then a second finger in slot 1 that moves: only slot 0 is a touch.
    r.ev(EV_ABS, ABS_MT_SLOT, 0).ev(EV_ABS, ABS_MT_TRACKING_ID, 1).ev(EV_ABS, ABS_MT_POSITION_X, 5)
        .ev(EV_ABS, ABS_MT_POSITION_Y, 6).ev(EV_KEY, BTN_TOUCH, 1).ev(EV_ABS, ABS_X, 5).ev(EV_ABS, ABS_Y, 6).syn();
    r.ev(EV_ABS, ABS_MT_SLOT, 1).ev(EV_ABS, ABS_MT_TRACKING_ID, 2).ev(EV_ABS, ABS_MT_POSITION_X, 30)
        .ev(EV_ABS, ABS_MT_POSITION_Y, 30).syn();
    r.ev(EV_ABS, ABS_MT_POSITION_X, 31).syn();
    r.ev(EV_ABS, ABS_MT_TRACKING_ID, -1).syn();
    r.ev(EV_ABS, ABS_MT_SLOT, 0).ev(EV_ABS, ABS_MT_POSITION_X, 9).ev(EV_ABS, ABS_X, 9).syn();
    r.ev(EV_ABS, ABS_MT_TRACKING_ID, -1).ev(EV_KEY, BTN_TOUCH, 0).syn();
    r.write_to(dir.at("touch"));
    std::string why;
    // Without a range, raw values are panel pixels.
    cls_sp<if_display_backend> backend = open_fbdev(
        0, 64, 32, {"--ozgi-fbdev=" + dir.fb(), "--ozgi-fb-geometry=64x32:16", "--ozgi-input=" + dir.at("touch")},
        &why);
    ASSERT_TRUE(backend.is_not_null()) << why;
    std::vector<input_t> got = drain(backend.get());
    ASSERT_EQ(got.size(), 3u);
    EXPECT_EQ(got[0].type, input_t::PRESS);
    EXPECT_EQ(got[0].x, 5);
    EXPECT_EQ(got[0].y, 6);
    EXPECT_EQ(got[1].type, input_t::MOVE);
    EXPECT_EQ(got[1].x, 9);
    EXPECT_EQ(got[2].type, input_t::RELEASE);
}

TEST(fbdev, the_older_multitouch_protocol_gives_the_first_contact) {
    temp_dir_t dir;
    records_t r;
    // Two contacts a frame, each ended by SYN_MT_REPORT, and BTN_TOUCH for the
    // finger being down.
    auto contact = [&](int x, int y) {
        r.ev(EV_ABS, ABS_MT_POSITION_X, x).ev(EV_ABS, ABS_MT_POSITION_Y, y).ev(EV_SYN, SYN_MT_REPORT, 0);
    };
    r.ev(EV_KEY, BTN_TOUCH, 1);
    contact(5, 6);
    contact(40, 20);
    r.syn();
    contact(7, 8);
    contact(41, 21);
    r.syn();
    r.ev(EV_KEY, BTN_TOUCH, 0).ev(EV_SYN, SYN_MT_REPORT, 0).syn();
    r.write_to(dir.at("touch"));
    std::string why;
    cls_sp<if_display_backend> backend = open_fbdev(
        0, 64, 32, {"--ozgi-fbdev=" + dir.fb(), "--ozgi-fb-geometry=64x32:32", "--ozgi-input=" + dir.at("touch")},
        &why);
    ASSERT_TRUE(backend.is_not_null()) << why;
    std::vector<input_t> got = drain(backend.get());
    ASSERT_EQ(got.size(), 3u);
    EXPECT_EQ(got[0].type, input_t::PRESS);
    EXPECT_EQ(got[0].x, 5);
    EXPECT_EQ(got[0].y, 6);
    EXPECT_EQ(got[1].type, input_t::MOVE);
    EXPECT_EQ(got[1].x, 7);
    EXPECT_EQ(got[1].y, 8);
    EXPECT_EQ(got[2].type, input_t::RELEASE);
    EXPECT_EQ(got[2].x, 7);
}

TEST(fbdev, keys_get_the_framework_names) {
    temp_dir_t dir;
    records_t r;
    r.key(KEY_ENTER).key(KEY_ESC).key(KEY_BACK).key(KEY_KPENTER).key(KEY_UP).key(KEY_A).key(KEY_F5);
    r.key(KEY_PROG1);
    // A held key repeats.
    r.ev(EV_KEY, KEY_DOWN, 1).syn().ev(EV_KEY, KEY_DOWN, 2).syn().ev(EV_KEY, KEY_DOWN, 0).syn();
    r.write_to(dir.at("keys"));
    std::string why;
    cls_sp<if_display_backend> backend = open_fbdev(
        0, 64, 32, {"--ozgi-fbdev=" + dir.fb(), "--ozgi-fb-geometry=64x32:24", "--ozgi-input=" + dir.at("keys")},
        &why);
    ASSERT_TRUE(backend.is_not_null()) << why;
    std::vector<input_t> got = drain(backend.get());
    std::vector<std::string> names;
    for (const input_t& in : got)
        names.push_back(std::string(in.type == input_t::KEY_PRESS ? "+" : in.type == input_t::KEY_RELEASE ? "-" : "?") +
                        in.key_name.c_str() + (in.repeat ? " (repeat)" : ""));
    std::vector<std::string> want = {"+Return",  "-Return",  "+Escape",       "-Escape",         "+AC Back",
                                     "-AC Back", "+Keypad Enter", "-Keypad Enter", "+Up", "-Up",
                                     "+A",       "-A",       "+F5",           "-F5",             "+Key 148",
                                     "-Key 148", "+Down",    "+Down (repeat)", "-Down"};
    EXPECT_EQ(names, want);
}

TEST(fbdev, a_device_that_goes_away_is_dropped) {
    temp_dir_t dir;
    records_t().key(KEY_ESC).write_to(dir.at("gone"));
    std::string fifo = dir.at("fifo");
    ASSERT_EQ(::mkfifo(fifo.c_str(), 0600), 0);
    std::string why;
    cls_sp<if_display_backend> backend =
        open_fbdev(0, 64, 32,
                   {"--ozgi-fbdev=" + dir.fb(), "--ozgi-fb-geometry=64x32:32",
                    "--ozgi-input=" + dir.at("gone") + "," + fifo},
                   &why);
    ASSERT_TRUE(backend.is_not_null()) << why;
    // The file's records come, then its end drops it.
    testing::internal::CaptureStderr();
    EXPECT_EQ(drain(backend.get()).size(), 2u);
    EXPECT_EQ(testing::internal::GetCapturedStderr(),
              "WARNING: The input device " + dir.at("gone") + " is gone; going on without it.\n");
    // The FIFO still works, also when a record arrives in pieces.
    int fd = ::open(fifo.c_str(), O_WRONLY | O_NONBLOCK);
    ASSERT_GE(fd, 0);
    std::string rec = records_t().key(KEY_SPACE).bytes();
    ASSERT_EQ(::write(fd, rec.data(), 5), 5);
    backend->wait(-1, nullptr, 0);
    EXPECT_TRUE(drain(backend.get()).empty());
    ASSERT_EQ(::write(fd, rec.data() + 5, rec.size() - 5), static_cast<ssize_t>(rec.size() - 5));
    backend->wait(-1, nullptr, 0);
    std::vector<input_t> got = drain(backend.get());
    ASSERT_EQ(got.size(), 2u);
    EXPECT_STREQ(got[0].key_name.c_str(), "Space");
    ::close(fd);
}
