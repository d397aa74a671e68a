#include <gtest/gtest.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <string>

#include "emulator.h"
#include "ozgi/cls_canvas.h"
#include "ozgi/if_display_backend.h"
#include "render_test_util.h"

using namespace ozgi;

namespace {

// The options asking for an SDL window.
display_options_t sdl_options() {
    display_options_t o;
    o.video = "sdl";
    return o;
}

// Set in the copy of this program that runs inside Xvfb.
const char* const INNER_ENV = "VESK_RENDER_SDL_INNER";

std::string run(const std::string& command) {
    std::string out;
    FILE* pipe = popen(command.c_str(), "r");
    if (!pipe) return out;
    char buf[512];
    size_t n;
    while ((n = fread(buf, 1, sizeof(buf), pipe)) > 0) out.append(buf, n);
    pclose(pipe);
    return out;
}

bool have(const char* tool) { return std::system((std::string("command -v ") + tool + " >/dev/null 2>&1").c_str()) == 0; }

// Lets SDL handle window events for `ms` milliseconds, keeping the input seen.
void pump(if_display_backend* backend, int ms, std::vector<input_t>* seen) {
    for (int waited = 0; waited < ms; waited += 20) {
        backend->wait(20, nullptr, 0);
        input_t in;
        while (backend->poll_input(&in)) seen->push_back(in);
    }
}

} // namespace

// Runs the sdl_inner tests in a copy of this program under a virtual X server.
TEST(sdl, real_window_under_xvfb) {
    if (test_emulator::active()) GTEST_SKIP() << test_emulator::skip_reason_sdl_window();
    if (!have("xvfb-run") || !have("xdotool") || !have("import")) GTEST_SKIP() << "xvfb-run, xdotool or import missing";
    char self[4096];
    ssize_t n = readlink("/proc/self/exe", self, sizeof(self) - 1);
    ASSERT_GT(n, 0);
    self[n] = '\0';
    // Under the address sanitizer the window's run leaves a few blocks of libdbus and
    // of the X and GL libraries SDL loads and unloads again, all outside our code
    // (the framework's own blocks are checked by its allocator's leak report), so
    // leak checking is off for this one inner run; address checks stay on.
    std::string command = std::string("ASAN_OPTIONS=detect_leaks=0 ") + INNER_ENV + "=1 xvfb-run -a -s '-screen 0 800x900x24' '" + self +
                          "' --gtest_filter='sdl_inner.*' 2>&1";
    int status = std::system((command + " > /tmp/vesk_sdl_inner_" + std::to_string(getpid()) + ".log").c_str());
    std::string log = run("cat /tmp/vesk_sdl_inner_" + std::to_string(getpid()) + ".log");
    std::remove(("/tmp/vesk_sdl_inner_" + std::to_string(getpid()) + ".log").c_str());
    EXPECT_EQ(status, 0) << log;
    // The inner run must really have run its test, not skipped it.
    EXPECT_NE(log.find("[  PASSED  ] 1 test"), std::string::npos) << log;
}

TEST(sdl_inner, window_input_and_screenshot) {
    if (!std::getenv(INNER_ENV)) GTEST_SKIP() << "runs only inside Xvfb, started by sdl.real_window_under_xvfb";
    cls_string error;
    cls_sp<if_display_backend> backend = create_display_backend(sdl_options(), &error);
    ASSERT_TRUE(backend.is_not_null()) << error.c_str();
    ASSERT_TRUE(backend->open(640, 800, "vesk-sdl-test", &error)) << error.c_str();
    std::vector<input_t> seen;
    pump(backend.get(), 300, &seen);

    // The window is 640x800.
    std::string id = run("xdotool search --name vesk-sdl-test | head -1");
    ASSERT_FALSE(id.empty());
    id.erase(id.find_last_not_of("\n") + 1);
    std::string geometry = run("xdotool getwindowgeometry " + id);
    EXPECT_NE(geometry.find("Geometry: 640x800"), std::string::npos) << geometry;
    int wx = 0;
    int wy = 0;
    size_t at = geometry.find("Position: ");
    ASSERT_NE(at, std::string::npos) << geometry;
    ASSERT_EQ(std::sscanf(geometry.c_str() + at, "Position: %d,%d", &wx, &wy), 2);

    // What is presented is what X shows.
    cls_canvas canvas(640, 800);
    canvas.fill_rect(cls_rect{0, 0, 640, 800}, cls_color{239, 239, 244, 255});
    canvas.fill_rect(cls_rect{100, 200, 50, 40}, cls_color{200, 30, 40, 255});
    backend->present(canvas.pixels(), canvas.stride(), cls_rect{0, 0, 640, 800});
    // A later partial present changes only its rectangle.
    canvas.fill_rect(cls_rect{300, 600, 20, 20}, cls_color{0, 128, 0, 255});
    backend->present(canvas.pixels(), canvas.stride(), cls_rect{300, 600, 20, 20});
    pump(backend.get(), 200, &seen);
    std::string shot = "/tmp/vesk_sdl_shot_" + std::to_string(getpid()) + ".png";
    ASSERT_EQ(std::system(("import -window root " + shot).c_str()), 0);
    int w = 0;
    int h = 0;
    std::vector<uint32_t> screen;
    ASSERT_TRUE(render_test::read_png(shot, &w, &h, &screen));
    std::remove(shot.c_str());
    ASSERT_EQ(w, 800);
    ASSERT_EQ(h, 900);
    auto at_window = [&](int x, int y) { return screen[(wy + y) * w + wx + x] | 0xFF000000u; };
    EXPECT_EQ(at_window(5, 5), 0xFFEFEFF4u);
    EXPECT_EQ(at_window(120, 220), 0xFFC81E28u);
    EXPECT_EQ(at_window(310, 610), 0xFF008000u);
    EXPECT_EQ(at_window(639, 799), 0xFFEFEFF4u);

    // A click reaches poll_input in logical coordinates.
    seen.clear();
    std::string click = "xdotool mousemove --sync " + std::to_string(wx + 120) + " " + std::to_string(wy + 220) +
                        " click 1";
    ASSERT_EQ(std::system(click.c_str()), 0);
    bool pressed = false;
    bool released = false;
    for (int i = 0; i < 100 && !released; ++i) {
        pump(backend.get(), 20, &seen);
        for (const input_t& in : seen) {
            if (in.type == input_t::PRESS && in.x == 120 && in.y == 220) pressed = true;
            if (in.type == input_t::RELEASE && pressed) released = true;
        }
    }
    EXPECT_TRUE(pressed);
    EXPECT_TRUE(released);

    // A key press arrives under SDL's key name.
    seen.clear();
    ASSERT_EQ(std::system(("xdotool key --window " + id + " Return").c_str()), 0);
    bool key = false;
    for (int i = 0; i < 100 && !key; ++i) {
        pump(backend.get(), 20, &seen);
        for (const input_t& in : seen)
            if (in.type == input_t::KEY_PRESS && in.key_name == "Return") key = true;
    }
    EXPECT_TRUE(key);
}

TEST(sdl, no_display_names_the_ways_out) {
    // Without any display SDL can't open a window: the message says what to do.
    std::string self_env = std::string("env -u DISPLAY -u WAYLAND_DISPLAY SDL_VIDEODRIVER=x11 ") + INNER_ENV + "=nodisplay ";
    if (std::getenv(INNER_ENV) == nullptr) {
        char self[4096];
        ssize_t n = readlink("/proc/self/exe", self, sizeof(self) - 1);
        ASSERT_GT(n, 0);
        self[n] = '\0';
        std::string log = run(self_env + test_emulator::shell_prefix() + "'" + self +
                              "' --gtest_filter='sdl.no_display_names_the_ways_out' 2>&1");
        EXPECT_NE(log.find("[  PASSED  ] 1 test"), std::string::npos) << log;
        return;
    }
    if (std::string(std::getenv(INNER_ENV)) != "nodisplay") GTEST_SKIP();
    cls_string error;
    cls_sp<if_display_backend> backend = create_display_backend(sdl_options(), &error);
    ASSERT_TRUE(backend.is_not_null());
    EXPECT_FALSE(backend->open(640, 800, "vesk", &error));
    EXPECT_NE(std::string(error.c_str()).find("--ozgi-video=headless"), std::string::npos) << error.c_str();
    EXPECT_NE(std::string(error.c_str()).find("xvfb-run"), std::string::npos) << error.c_str();
}
