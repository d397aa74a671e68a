// The program on the framebuffer backend, with a regular file standing in for
// the panel and a FIFO for the touch screen and keyboard: the pictures are those
// of the headless display in every pixel format and rotation, and evdev records
// walk the menus (a tap opens a sub-menu, a drag scrolls, Escape goes back).
#include <gtest/gtest.h>
#include <linux/input.h>

#include <cmath>
#include <string>
#include <vector>

#include "fbdev_test_util.h"
#include "app_test_util.h"

using namespace app_test;
using namespace fbdev_test;

namespace {

const int PANEL = 820;
// The panel of the input walk: wider than high, so that a touch put off by
// either centring offset misses its button in one rotation or another.
const int WALK_W = 1000, WALK_H = 900;

// Where logical (x, y) of the 640 x 800 picture is on the WALK_W x WALK_H panel it is centred on.
void to_panel(int rotate, int x, int y, int* px, int* py) {
    const int W = 640, H = 800;
    int pw = rotate % 180 ? H : W, ph = rotate % 180 ? W : H;
    switch (rotate) {
    case 90: *px = H - 1 - y; *py = x; break;
    case 180: *px = W - 1 - x; *py = H - 1 - y; break;
    case 270: *px = y; *py = W - 1 - x; break;
    default: *px = x; *py = y; break;
    }
    *px += (WALK_W - pw) / 2;
    *py += (WALK_H - ph) / 2;
}

std::string geometry(int bpp, int stride) {
    return "--ozgi-fb-geometry=" + std::to_string(PANEL) + "x" + std::to_string(PANEL) + ":" + std::to_string(bpp) +
           ":" + std::to_string(stride);
}

} // namespace

TEST(AppFbdev, PicturesMatchTheHeadlessOnesInEveryFormatAndRotation) {
    temp_dir menu;
    menu.make_test("sub1/probe_in_sub");
    menu.make_test("t1");
    for (int rotate : {0, 90, 180, 270}) {
        SCOPED_TRACE("rotated " + std::to_string(rotate));
        std::string rot = "--ozgi-rotate=" + std::to_string(rotate);
        script_t s;
        s.cmd("tap_text sub1");
        int shot = s.shot();
        run_result headless = run_menu(menu, s, {rot});
        ASSERT_EQ(headless.status, 0) << headless.err;
        const picture_t& want = headless.shots[shot];
        ASSERT_TRUE(want.valid());
        for (int bpp : {32, 24, 16}) {
            SCOPED_TRACE(std::to_string(bpp) + " bits per pixel");
            temp_dir work;
            work.write("fb", "");
            std::string fb = work.at("fb");
            int stride = PANEL * bpp / 8 + 64;
            run_result r = run_menu(
                menu, s, {"--ozgi-video=fbdev", "--ozgi-fbdev=" + fb, geometry(bpp, stride), "--ozgi-input=", rot});
            ASSERT_EQ(r.status, 0) << r.err;
            EXPECT_EQ(r.err, "");
            // The screenshot of the fbdev display is the headless one.
            EXPECT_TRUE(r.shots[shot].rgb == want.rgb);
            std::string pixels = read_all(fb);
            ASSERT_EQ(pixels.size(), static_cast<size_t>(stride) * PANEL);
            int left = (PANEL - want.width) / 2, top = (PANEL - want.height) / 2;
            int wrong = 0;
            for (int y = 0; y < want.height; ++y)
                for (int x = 0; x < want.width; ++x) {
                    rgb_t c = want.at(x, y);
                    uint32_t rgb = static_cast<uint32_t>(c.r << 16 | c.g << 8 | c.b);
                    if (fb_pixel(pixels, stride, bpp, left + x, top + y) != in_depth(rgb, bpp) && ++wrong <= 3)
                        ADD_FAILURE() << "picture pixel " << x << "," << y;
                }
            EXPECT_EQ(wrong, 0);
            EXPECT_EQ(fb_pixel(pixels, stride, bpp, left - 1, top + 10), 0u);
            EXPECT_EQ(fb_pixel(pixels, stride, bpp, PANEL - 1, PANEL - 1), 0u);
        }
    }
}

namespace {

// The centre of the page button whose label shows `text` (logical pixels).
bool button_centre(const gui_item& page, const std::string& text, int* x, int* y) {
    for (const gui_item* b : page.page_buttons()) {
        if (b->label() != text) continue;
        *x = b->x + b->w / 2;
        *y = b->y + b->h / 2;
        return true;
    }
    return false;
}

// Touch records for a device of range 0..RAW_MAX on both axes.
const int RAW_MAX = 4095;

struct toucher_t {
    int rotate;
    bool multitouch;
    records_t* out;

    void at(int x, int y, int* rx, int* ry) const {
        int px = 0, py = 0;
        to_panel(rotate, x, y, &px, &py);
        *rx = static_cast<int>(std::lround(static_cast<double>(px) * RAW_MAX / (WALK_W - 1)));
        *ry = static_cast<int>(std::lround(static_cast<double>(py) * RAW_MAX / (WALK_H - 1)));
    }
    void down(int x, int y) const {
        int rx, ry;
        at(x, y, &rx, &ry);
        if (multitouch) out->mt_down(rx, ry);
        else out->st_down(rx, ry);
    }
    void move(int x, int y) const {
        int rx, ry;
        at(x, y, &rx, &ry);
        if (multitouch) out->mt_move(rx, ry);
        else out->st_move(rx, ry);
    }
    void up() const {
        if (multitouch) out->mt_up();
        else out->st_up();
    }
};

// Sends the records into the FIFO the program reads.
void send(int fifo, const records_t& r) {
    std::string b = r.bytes();
    ASSERT_EQ(::write(fifo, b.data(), b.size()), static_cast<ssize_t>(b.size()));
}

} // namespace

TEST(AppFbdev, EvdevRecordsWalkTheMenusInEveryRotation) {
    temp_dir menu;
    for (int i = 0; i < 20; ++i) menu.make_test("sub1/probe_" + std::string(i < 10 ? "0" : "") + std::to_string(i));
    menu.make_test("t1");
    for (int rotate : {0, 90, 180, 270}) {
        for (bool multitouch : {true, false}) {
            SCOPED_TRACE("rotated " + std::to_string(rotate) + (multitouch ? ", multitouch" : ", single touch"));
            temp_dir work;
            std::string fifo_path = work.at("touch");
            ASSERT_EQ(::mkfifo(fifo_path.c_str(), 0600), 0);
            work.write("fb", "");
            // Opened for reading too, so that neither side waits for the other.
            int fifo = ::open(fifo_path.c_str(), O_RDWR | O_CLOEXEC);
            ASSERT_GE(fifo, 0);
            run_opts_t o;
            o.args = {"--dir=" + menu.path(), "--ozgi-video=fbdev", "--ozgi-fbdev=" + work.at("fb"),
                      "--ozgi-fb-geometry=" + std::to_string(WALK_W) + "x" + std::to_string(WALK_H) + ":32",
                      "--ozgi-input=" + fifo_path, "--ozgi-input-range=0:4095:0:4095",
                      "--ozgi-rotate=" + std::to_string(rotate)};
            session_t app(o);
            gui_dump root = app.dump();
            ASSERT_TRUE(root.valid) << app.err();
            ASSERT_EQ(root.pages.size(), 1u);
            int x = 0, y = 0;
            ASSERT_TRUE(button_centre(root.top(), "sub1", &x, &y)) << root.raw;

            // A tap on the sub-menu's button opens it. The script reads input only
            // when its next command comes, so the dump sees all the records sent.
            records_t tap;
            toucher_t t{rotate, multitouch, &tap};
            t.down(x, y);
            t.up();
            send(fifo, tap);
            gui_dump sub = app.dump();
            ASSERT_TRUE(sub.valid) << app.err();
            ASSERT_EQ(sub.pages.size(), 2u) << sub.raw;
            std::vector<std::string> labels = labels_of(sub.top());
            ASSERT_EQ(labels.size(), 20u);
            EXPECT_EQ(labels[0], "probe_00");
            int first_y = sub.top().page_buttons()[0]->y;

            // An upward drag scrolls the page and opens nothing.
            records_t drag;
            toucher_t d{rotate, multitouch, &drag};
            d.down(320, 650);
            for (int step = 1; step <= 6; ++step) d.move(320, 650 - 50 * step);
            d.up();
            send(fifo, drag);
            gui_dump scrolled = app.dump();
            ASSERT_TRUE(scrolled.valid) << app.err();
            ASSERT_EQ(scrolled.pages.size(), 2u) << scrolled.raw;
            int scrolled_y = scrolled.top().page_buttons()[0]->y;
            EXPECT_LE(scrolled_y, first_y - 250) << scrolled.raw;
            EXPECT_GE(scrolled_y, first_y - 300) << scrolled.raw;

            // Escape goes back to the root menu.
            records_t back;
            back.key(KEY_ESC);
            send(fifo, back);
            gui_dump again = app.dump();
            ASSERT_TRUE(again.valid) << app.err();
            EXPECT_EQ(again.pages.size(), 1u) << again.raw;
            EXPECT_EQ(labels_of(again.top()), labels_of(root.top()));
            EXPECT_EQ(app.finish(), 0) << app.err();
            EXPECT_EQ(app.err(), "");
            ::close(fifo);
        }
    }
}

TEST(AppFbdev, APanelSmallerThanThePictureIsAFatalErrorNamingBothSizes) {
    temp_dir menu;
    menu.make_test("t1");
    temp_dir work;
    work.write("fb", "");
    run_opts_t o;
    o.args = {"--dir=" + menu.path(), "--ozgi-video=fbdev", "--ozgi-fbdev=" + work.at("fb"),
              "--ozgi-fb-geometry=800x600:16", "--ozgi-input="};
    run_result r = run_plain(o);
    EXPECT_EQ(r.status, 1);
    EXPECT_TRUE(is_fatal(r.err, "Can't open the display: The framebuffer " + work.at("fb") +
                                    " is 800x600 pixels, smaller than the 640x800 picture."))
        << r.err;
}
