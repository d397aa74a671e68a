#include <gtest/gtest.h>
#include <unistd.h>

#include "ozgi/cls_canvas.h"
#include "ozgi/if_display_backend.h"

using namespace ozgi;

namespace {

// The options asking for the backend `video`, turned by `rotate`, with `settings`.
display_options_t options_for(const char* video, int rotate, std::initializer_list<const char*> settings = {}) {
    display_options_t o;
    o.video = video;
    o.rotate = rotate;
    for (const char* s : settings) o.settings.append(cls_string(s));
    return o;
}

cls_sp<if_display_backend> open_headless(int rotate, int w, int h) {
    cls_string error;
    cls_sp<if_display_backend> backend = create_display_backend(options_for("headless", rotate), &error);
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
    EXPECT_TRUE(create_display_backend(options_for("x11", 0), &error).is_null());
    // A build without SDL does not offer it.
    cls_string ignored;
    bool have_sdl = create_display_backend(options_for("sdl", 0), &ignored).is_not_null();
    EXPECT_STREQ(error.c_str(), have_sdl ? "Unknown video backend \"x11\" (sdl, drm, fbdev or headless)."
                                         : "Unknown video backend \"x11\" (drm, fbdev or headless).");
    EXPECT_TRUE(create_display_backend(options_for("headless", 45), &error).is_null());
    EXPECT_STREQ(error.c_str(), "Unsupported rotation 45 (0, 90, 180 or 270).");
    if (have_sdl) {
        EXPECT_TRUE(create_display_backend(options_for("sdl", 0, {"--ozgi-scale=0"}), &error).is_null());
        EXPECT_STREQ(error.c_str(), "Unsupported scale 0 (1 or more).");
    }
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
    key.type = input_t::KEY_PRESS;
    key.key_name = "AC Back";
    backend->inject_input(key);
    input_t quit;
    quit.type = input_t::QUIT;
    backend->inject_input(quit);
    // Queued input ends a wait without a timeout at once.
    backend->wait(-1, nullptr, 0);
    input_t in;
    ASSERT_TRUE(backend->poll_input(&in));
    EXPECT_EQ(in.type, input_t::KEY_PRESS);
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
    cls_sp<if_display_backend> backend = create_display_backend(options_for("headless", 0), &error);
    cls_array<uint32_t> shown;
    int w = 0;
    int h = 0;
    EXPECT_FALSE(backend->read_physical(&shown, &w, &h));
    EXPECT_FALSE(backend->open(0, 10, "x", &error));
    EXPECT_STREQ(error.c_str(), "Can't open a 0 x 10 screen.");
}

TEST(backend, options_come_from_the_framework_arguments) {
    cls_array<cls_string> args;
    for (const char* a : {"--dir=/x", "--ozgi-rotate=90", "--ozgi-fbdev=/dev/fb1", "--ozgi-fullscreen", "--ozgi-video=fbdev,headless"})
        args.append(cls_string(a));
    display_options_t o;
    cls_string error;
    ASSERT_TRUE(display_options_t::from_args(args, &o, &error)) << error.c_str();
    EXPECT_EQ(o.rotate, 90);
    EXPECT_EQ(o.video, "fbdev,headless");
    EXPECT_EQ(o.settings.count(), 4);
    cls_string value;
    EXPECT_TRUE(o.value("--ozgi-fbdev=", &value));
    EXPECT_EQ(value, "/dev/fb1");
    EXPECT_FALSE(o.value("--dir=", &value));
    EXPECT_TRUE(o.has("--ozgi-fullscreen"));
    EXPECT_FALSE(o.has("--ozgi-fb"));

    cls_array<cls_string> none;
    ASSERT_TRUE(display_options_t::from_args(none, &o, &error));
    EXPECT_EQ(o.video, default_display_backend());
    EXPECT_EQ(o.rotate, 0);

    cls_array<cls_string> bad;
    bad.append(cls_string("--ozgi-rotate=ninety"));
    EXPECT_FALSE(display_options_t::from_args(bad, &o, &error));
    EXPECT_STREQ(error.c_str(), "Bad value of --ozgi-rotate=: \"ninety\"");
}

TEST(backend, a_list_of_backends_is_tried_in_order) {
    cls_string error;
    const char* missing = "--ozgi-fbdev=/nonexistent/fb9";
    cls_sp<if_display_backend> b =
        open_display_backend(options_for("fbdev,headless", 0, {missing}), 64, 32, "test", &error);
    ASSERT_TRUE(b.is_not_null()) << error.c_str();
    // It is the headless one: it takes injected input back unchanged.
    cls_array<uint32_t> shown;
    int w = 0, h = 0;
    EXPECT_TRUE(b->read_physical(&shown, &w, &h));
    EXPECT_EQ(w, 64);

    EXPECT_TRUE(open_display_backend(options_for("fbdev", 0, {missing}), 64, 32, "test", &error).is_null());
    EXPECT_STREQ(error.c_str(),
                 "Can't open the display: Can't open the framebuffer /nonexistent/fb9: No such file or directory.");
    EXPECT_TRUE(open_display_backend(options_for("fbdev,fbdev", 0, {missing}), 64, 32, "test", &error).is_null());
    EXPECT_STREQ(error.c_str(),
                 "Can't open the display: fbdev: Can't open the framebuffer /nonexistent/fb9: No such file or "
                 "directory.; fbdev: Can't open the framebuffer /nonexistent/fb9: No such file or directory.");
    // A name that is no backend is a mistake, not one to pass over.
    EXPECT_TRUE(open_display_backend(options_for("x11,headless", 0), 64, 32, "test", &error).is_null());
    EXPECT_EQ(std::string(error.c_str()).rfind("Can't use the display x11: Unknown video backend \"x11\"", 0), 0u)
        << error.c_str();
}

TEST(backend, maps_logical_pixels_to_the_turned_picture) {
    cls_sp<if_display_backend> backend = open_headless(90, 640, 800);
    int px = 0, py = 0;
    backend->to_physical(10, 20, &px, &py);
    EXPECT_EQ(px, 779);
    EXPECT_EQ(py, 10);
}
