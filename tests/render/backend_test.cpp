#include <gtest/gtest.h>
#include <unistd.h>

#include "ozgi/cls_canvas.h"
#include "ozgi/if_display_backend.h"

using namespace ozgi;

namespace {

cls_sp<if_display_backend> open_headless(int rotate, int w, int h) {
    cls_string error;
    cls_sp<if_display_backend> backend = create_display_backend("headless", rotate, 1, false, &error);
    EXPECT_TRUE(backend.is_not_null()) << error.c_str();
    if (backend.is_not_null()) {
        EXPECT_TRUE(backend->open(w, h, "test", &error)) << error.c_str();
    }
    return backend;
}

input_t tap(input_t::type_t type, int x, int y) {
    input_t in;
    in.type = type;
    in.x = x;
    in.y = y;
    return in;
}

struct rotation_case_t {
    int rotate;
    int phys_w;
    int phys_h;
    // Where logical (10, 20) of a 640x800 screen lands on the panel.
    int px;
    int py;
};

} // namespace

TEST(backend, rejects_bad_choices) {
    cls_string error;
    EXPECT_TRUE(create_display_backend("x11", 0, 1, false, &error).is_null());
    // A build without SDL does not offer it.
    cls_string ignored;
    bool have_sdl = create_display_backend("sdl", 0, 1, false, &ignored).is_not_null();
    EXPECT_STREQ(error.c_str(), have_sdl ? "Unknown video backend \"x11\" (sdl, fbdev or headless)."
                                         : "Unknown video backend \"x11\" (fbdev or headless).");
    EXPECT_TRUE(create_display_backend("headless", 45, 1, false, &error).is_null());
    EXPECT_STREQ(error.c_str(), "Unsupported rotation 45 (0, 90, 180 or 270).");
    EXPECT_TRUE(create_display_backend("sdl", 0, 0, false, &error).is_null());
    EXPECT_STREQ(error.c_str(), "Unsupported scale 0 (1 or more).");
}

TEST(backend, headless_rotation_maps_output_and_taps) {
    const rotation_case_t cases[] = {
        {0, 640, 800, 10, 20}, {90, 800, 640, 779, 10}, {180, 640, 800, 629, 779}, {270, 800, 640, 20, 629}};
    for (const rotation_case_t& c : cases) {
        SCOPED_TRACE(c.rotate);
        cls_sp<if_display_backend> backend = open_headless(c.rotate, 640, 800);
        cls_canvas canvas(640, 800);
        canvas.fill_rect(cls_rect{0, 0, 640, 800}, cls_color{10, 20, 30, 255});
        canvas.fill_rect(cls_rect{10, 20, 1, 1}, cls_color{255, 0, 0, 255});
        backend->present(canvas.pixels(), canvas.stride(), cls_rect{0, 0, 640, 800});
        cls_array<uint32_t> shown;
        int w = 0;
        int h = 0;
        ASSERT_TRUE(backend->read_physical(&shown, &w, &h));
        ASSERT_EQ(w, c.phys_w);
        ASSERT_EQ(h, c.phys_h);
        EXPECT_EQ(shown[c.py * w + c.px], 0xFFFF0000u);
        int red = 0;
        for (uint32_t p : shown) red += p == 0xFFFF0000u;
        EXPECT_EQ(red, 1);
        // A tap on that panel pixel reaches logical (10, 20).
        backend->inject_input(tap(input_t::PRESS, c.px, c.py));
        backend->inject_input(tap(input_t::RELEASE, c.px, c.py));
        input_t in;
        ASSERT_TRUE(backend->poll_input(&in));
        EXPECT_EQ(in.type, input_t::PRESS);
        EXPECT_EQ(in.x, 10);
        EXPECT_EQ(in.y, 20);
        ASSERT_TRUE(backend->poll_input(&in));
        EXPECT_EQ(in.type, input_t::RELEASE);
        EXPECT_FALSE(backend->poll_input(&in));
    }
}

TEST(backend, headless_presents_only_the_dirty_rectangle) {
    cls_sp<if_display_backend> backend = open_headless(90, 64, 32);
    cls_canvas canvas(64, 32);
    canvas.fill_rect(cls_rect{0, 0, 64, 32}, cls_color{0, 0, 255, 255});
    backend->present(canvas.pixels(), canvas.stride(), cls_rect{8, 4, 10, 6});
    cls_array<uint32_t> shown;
    int w = 0;
    int h = 0;
    ASSERT_TRUE(backend->read_physical(&shown, &w, &h));
    int blue = 0;
    for (uint32_t p : shown) blue += p == 0xFF0000FFu;
    EXPECT_EQ(blue, 60);
    // Logical (8, 4) is at panel (32 - 1 - 4, 8).
    EXPECT_EQ(shown[8 * w + 27], 0xFF0000FFu);
    EXPECT_EQ(shown[0], 0xFF000000u);
}

TEST(backend, headless_passes_keys_and_quit_through) {
    cls_sp<if_display_backend> backend = open_headless(0, 10, 10);
    input_t key;
    key.type = input_t::KEY_DOWN;
    key.key_name = "AC Back";
    backend->inject_input(key);
    input_t quit;
    quit.type = input_t::QUIT;
    backend->inject_input(quit);
    // Queued input ends a wait without a timeout at once.
    backend->wait(-1, nullptr, 0);
    input_t in;
    ASSERT_TRUE(backend->poll_input(&in));
    EXPECT_EQ(in.type, input_t::KEY_DOWN);
    EXPECT_STREQ(in.key_name.c_str(), "AC Back");
    ASSERT_TRUE(backend->poll_input(&in));
    EXPECT_EQ(in.type, input_t::QUIT);
}

TEST(backend, headless_wait_wakes_for_a_readable_descriptor) {
    cls_sp<if_display_backend> backend = open_headless(0, 10, 10);
    int fds[2];
    ASSERT_EQ(pipe(fds), 0);
    ASSERT_EQ(write(fds[1], "x", 1), 1);
    // Without the byte this would block for ever; with it, it must return.
    backend->wait(-1, &fds[0], 1);
    char c = 0;
    EXPECT_EQ(read(fds[0], &c, 1), 1);
    EXPECT_EQ(c, 'x');
    backend->wait(0, &fds[0], 1);
    close(fds[0]);
    close(fds[1]);
    input_t in;
    EXPECT_FALSE(backend->poll_input(&in));
}

TEST(backend, headless_reads_nothing_before_open) {
    cls_string error;
    cls_sp<if_display_backend> backend = create_display_backend("headless", 0, 1, false, &error);
    cls_array<uint32_t> shown;
    int w = 0;
    int h = 0;
    EXPECT_FALSE(backend->read_physical(&shown, &w, &h));
    EXPECT_FALSE(backend->open(0, 10, "x", &error));
    EXPECT_STREQ(error.c_str(), "Can't open a 0 x 10 screen.");
}
