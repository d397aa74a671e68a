// The whole GUI drawn headless through the framework's items, checked on the
// pixels of its screenshots.
#include <gtest/gtest.h>
#include <unistd.h>

#include <cstdlib>
#include <cstring>
#include <fstream>
#include <string>
#include <vector>

#include "ozgi/cls_input_args.h"
#include "ozgi/cls_ozgi_gui.h"
#include "ozgi/cls_rom_file_mgr.h"
#include "render_test_util.h"

using namespace ozgi;

namespace {

const char* const ROOT = R"X(<?xml version="1.0"?>
<item cls_name="cls_root_container">
  <attr screen_resolution="640,800" window_title="render test" first_page="test_render/page.xml"/>
</item>
)X";

// Background, an English and a Chinese label, an alpha icon, two buttons with the
// grey press overlay, and a hidden red box.
const char* const PAGE = R"X(<?xml version="1.0"?>
<item cls_name="cls_page">
  <attr width="screen_width()" height="screen_height()" left="0" top="0" bg_color="239,239,244,255"/>
  <item cls_name="cls_label">
    <attr item_name="ENGLISH" left="20" top="100" width="300" height="40"/>
    <attr text="Execute test" text_color="black" text_size="24" alignment="left,middle"/>
  </item>
  <item cls_name="cls_label">
    <attr item_name="CHINESE" left="20" top="160" width="300" height="40"/>
    <attr text="测试进行中..." text_color="black" text_size="24" alignment="left,middle"/>
  </item>
  <item cls_name="cls_icon">
    <attr item_name="ICON" left="400" top="100" width="64" height="64" picture="pass.bmp" use_alpha="true"/>
  </item>
  <item cls_name="cls_cmn_item">
    <attr item_name="HIDDEN" left="500" top="200" width="50" height="50" bg_color="255,0,0,255" visible="false"/>
  </item>
  <item cls_name="cls_button">
    <attr item_name="PRESSED" left="0" top="400" width="640" height="64" bg_color="white" hide_effect="true"/>
    <item cls_name="cls_cmn_item">
      <attr left="left(container())" top="top(container())" width="width(container())" height="height(container())"/>
      <attr bg_color="217,217,217,255" group_name="show_on_press" visible="false"/>
    </item>
    <item cls_name="cls_label">
      <attr left="left(container()) + 20" top="top(container())" width="400" height="64"/>
      <attr text="Pressed" text_color="black" text_size="18" alignment="left,middle"/>
    </item>
  </item>
  <item cls_name="cls_button">
    <attr item_name="RELEASED" left="0" top="480" width="640" height="64" bg_color="white" hide_effect="true"/>
    <item cls_name="cls_cmn_item">
      <attr left="left(container())" top="top(container())" width="width(container())" height="height(container())"/>
      <attr bg_color="217,217,217,255" group_name="show_on_press" visible="false"/>
    </item>
  </item>
</item>
)X";

// A page of 30 buttons, 64 pixels high every 70 pixels, button i coloured (8 * i, 100, 200).
const std::string& long_page() {
    static std::string text;
    if (text.empty()) {
        text = "<item cls_name=\"cls_page\">\n"
               "  <attr width=\"screen_width()\" height=\"screen_height()\" left=\"0\" top=\"0\" bg_color=\"239,239,244,255\"/>\n";
        for (int i = 0; i < 30; ++i)
            text += "  <item cls_name=\"cls_button\"><attr left=\"0\" top=\"" + std::to_string(i * 70) +
                    "\" width=\"640\" height=\"64\" bg_color=\"" + std::to_string(8 * i) + ",100,200,255\"/></item>\n";
        text += "</item>\n";
    }
    return text;
}

std::string shot_path(const char* name) { return std::string(VESK_BINARY_DIR) + "/" + name; }

// Runs the GUI headless on the test page with `script`, in a child process; the
// child ends with status 0 once the script ran to its end.
void run_gui(const std::string& script, const std::vector<std::string>& extra) {
    std::string script_path = "/tmp/vesk_render_gui_" + std::to_string(getpid()) + ".script";
    std::ofstream(script_path) << script;
    cls_rom_file_mgr::ins()->register_file("vesk/resource/xml/test_render/root.xml", ROOT,
                                           static_cast<long long>(std::strlen(ROOT)));
    cls_rom_file_mgr::ins()->register_file("vesk/resource/xml/test_render/page.xml", PAGE,
                                           static_cast<long long>(std::strlen(PAGE)));
    cls_rom_file_mgr::ins()->register_file("vesk/resource/xml/test_render/long_page.xml", long_page().c_str(),
                                           static_cast<long long>(long_page().size()));
    cls_array<cls_string> args;
    args.append("--ozgi-video=headless");
    args.append("--ozgi-root=test_render/root.xml");
    args.append(cls_string(("--ozgi-script=" + script_path).c_str()));
    for (const std::string& a : extra) args.append(cls_string(a.c_str()));
    cls_input_args::ins()->set_args(args);
    cls_ozgi_gui::ins()->start_gui();
    std::remove(script_path.c_str());
    std::_Exit(0);
}

struct shot_t {
    int w = 0;
    int h = 0;
    std::vector<uint32_t> pixels;
    uint32_t at(int x, int y) const { return pixels[y * w + x]; }
    // Pixels inside the rectangle that differ from `background`.
    int inked(int x0, int y0, int x1, int y1, uint32_t background) const {
        int n = 0;
        for (int y = y0; y < y1; ++y)
            for (int x = x0; x < x1; ++x) n += at(x, y) != background;
        return n;
    }
};

constexpr uint32_t PAGE_BG = 0xFFEFEFF4u;

} // namespace

TEST(gui_pixels, page_with_text_icon_pressed_button_and_hidden_item) {
    std::string path = shot_path("render_test_page.png");
    std::remove(path.c_str());
    EXPECT_EXIT(run_gui("press 320 430\nscreenshot " + path + "\nrelease 320 430\n", {}),
                testing::ExitedWithCode(0), "");
    shot_t shot;
    ASSERT_TRUE(render_test::read_png(path, &shot.w, &shot.h, &shot.pixels)) << path;
    ASSERT_EQ(shot.w, 640);
    ASSERT_EQ(shot.h, 800);
    EXPECT_EQ(shot.at(5, 5), PAGE_BG);
    // English and Chinese glyphs inside their labels, nothing right of the texts.
    EXPECT_GT(shot.inked(20, 100, 320, 140, PAGE_BG), 150);
    EXPECT_GT(shot.inked(20, 160, 320, 200, PAGE_BG), 300);
    EXPECT_EQ(shot.inked(250, 100, 320, 200, PAGE_BG), 0);
    // The alpha icon draws something and lets the background through somewhere.
    EXPECT_GT(shot.inked(400, 100, 464, 164, PAGE_BG), 200);
    EXPECT_GT(64 * 64 - shot.inked(400, 100, 464, 164, PAGE_BG), 0);
    EXPECT_EQ(shot.inked(464, 100, 480, 164, PAGE_BG), 0);
    // The hidden item is not drawn.
    EXPECT_EQ(shot.inked(500, 200, 550, 250, PAGE_BG), 0);
    // The held button shows its grey overlay, the other stays white.
    EXPECT_EQ(shot.at(600, 405), 0xFFD9D9D9u);
    EXPECT_EQ(shot.at(600, 485), 0xFFFFFFFFu);
    EXPECT_GT(shot.inked(20, 400, 200, 464, 0xFFD9D9D9u), 50);
}

TEST(gui_pixels, rotated_screenshot_is_the_panel_picture) {
    std::string path = shot_path("render_test_page_rot90.png");
    std::remove(path.c_str());
    // Panel pixel (800 - 1 - 430, 320) is logical (320, 430): the first button.
    EXPECT_EXIT(run_gui("press 369 320\nscreenshot " + path + "\nrelease 369 320\n", {"--ozgi-rotate=90"}),
                testing::ExitedWithCode(0), "");
    shot_t shot;
    ASSERT_TRUE(render_test::read_png(path, &shot.w, &shot.h, &shot.pixels)) << path;
    ASSERT_EQ(shot.w, 800);
    ASSERT_EQ(shot.h, 640);
    // Logical (600, 405) is at panel (800 - 1 - 405, 600).
    EXPECT_EQ(shot.at(394, 600), 0xFFD9D9D9u);
    EXPECT_EQ(shot.at(800 - 1 - 485, 600), 0xFFFFFFFFu);
    EXPECT_EQ(shot.at(800 - 1 - 5, 5), PAGE_BG);
}

TEST(gui_pixels, dragged_page_shows_lower_buttons) {
    std::string before = shot_path("render_test_scroll_before.png");
    std::string after = shot_path("render_test_scroll_after.png");
    EXPECT_EXIT(run_gui("screenshot " + before + "\npress 320 700\nmove 320 600\nmove 320 500\nmove 320 400\n"
                        "release 320 400\nscreenshot " + after + "\n",
                        {"--ozgi-first-page=test_render/long_page.xml"}),
                testing::ExitedWithCode(0), "");
    shot_t first;
    shot_t second;
    ASSERT_TRUE(render_test::read_png(before, &first.w, &first.h, &first.pixels));
    ASSERT_TRUE(render_test::read_png(after, &second.w, &second.h, &second.pixels));
    // Before: button 0 at the top. After a 300-pixel drag upwards the top row shows
    // a button some four buttons further down (the drag threshold may keep back a few pixels).
    EXPECT_EQ(first.at(600, 10), 0xFF0064C8u);
    uint32_t top = second.at(600, 30);
    int index = static_cast<int>((top >> 16) & 0xFF) / 8;
    EXPECT_EQ(top & 0xFF00FFFFu, 0xFF0064C8u);
    EXPECT_GE(index, 3);
    EXPECT_LE(index, 4);
}

TEST(gui_pixels, scrolled_page_background_fills_the_screen) {
    std::string after = shot_path("render_test_scroll_background.png");
    EXPECT_EXIT(run_gui("press 320 700\nmove 320 600\nmove 320 500\nmove 320 400\nrelease 320 400\nscreenshot " +
                            after + "\n",
                        {"--ozgi-first-page=test_render/long_page.xml"}),
                testing::ExitedWithCode(0), "");
    shot_t shot;
    ASSERT_TRUE(render_test::read_png(after, &shot.w, &shot.h, &shot.pixels));
    // Every pixel of the column is a button or the page background: the gaps
    // between buttons show the page, down to the bottom of the screen.
    int gaps = 0;
    int first_wrong = -1;
    for (int y = 0; y < 800; ++y) {
        uint32_t p = shot.at(600, y);
        if (first_wrong < 0 && p != PAGE_BG && (p & 0xFF00FFFFu) != 0xFF0064C8u) first_wrong = y;
        gaps += p == PAGE_BG;
    }
    EXPECT_EQ(first_wrong, -1) << "colour 0x" << std::hex << (first_wrong < 0 ? 0 : shot.at(600, first_wrong));
    EXPECT_GE(gaps, 6 * 10);
}
