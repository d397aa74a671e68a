// Drawing through the whole loop: screenshots of a test page taken by the
// automation script, read back with libpng.
#include <gtest/gtest.h>
#include <png.h>

#include <cstring>

#include "gui_test_util.h"
#include "ozgi/cls_ui_res_loader.h"

using gui_test::add_layout;

namespace {

struct shot_t {
    int w = 0;
    int h = 0;
    std::vector<unsigned char> rgba;
    // "r,g,b" of the pixel at x, y.
    std::string at(int x, int y) const {
        const unsigned char* p = &rgba[(static_cast<size_t>(y) * w + x) * 4];
        return std::to_string(p[0]) + "," + std::to_string(p[1]) + "," + std::to_string(p[2]);
    }
};

bool read_png(const std::string& path, shot_t* out) {
    png_image image;
    std::memset(&image, 0, sizeof image);
    image.version = PNG_IMAGE_VERSION;
    if (!png_image_begin_read_from_file(&image, path.c_str())) return false;
    image.format = PNG_FORMAT_RGBA;
    out->w = static_cast<int>(image.width);
    out->h = static_cast<int>(image.height);
    out->rgba.resize(PNG_IMAGE_SIZE(image));
    return png_image_finish_read(&image, nullptr, out->rgba.data(), 0, nullptr) != 0;
}

const char* const ROOT = R"X(<item cls_name="cls_root_container">
  <attr screen_resolution="640,800" window_title="draw" first_page="test_gui/draw_page.xml"/>
</item>)X";

const char* const PAGE = R"X(<item cls_name="cls_page">
  <attr width="screen_width()" height="screen_height()" left="0" top="0" bg_color="white"/>
  <item cls_name="cls_cmn_item"><attr left="0" top="0" width="640" height="100" bg_color="0,0,255,255"/></item>
  <item cls_name="cls_button">
    <attr item_name="BTN" left="100" top="200" width="200" height="60" bg_color="0,255,0,255" hide_effect="true"/>
    <item cls_name="cls_cmn_item"><attr group_name="show_on_press" visible="false" bg_color="255,0,0,255"/></item>
  </item>
  <item cls_name="cls_label">
    <attr left="0" top="400" width="640" height="100" bg_color="black" text_color="white" text_size="40"/>
    <attr text="WWWWWWWW" alignment="left,top"/>
  </item>
</item>)X";

const char* const MENU_ROOT = R"X(<item cls_name="cls_root_container">
  <attr screen_resolution="640,800" window_title="draw" first_page="test_gui/draw_menu_page.xml"/>
</item>)X";

// Twenty of the program's menu buttons (white, a pressed look, an arrow with
// alpha and a focus frame), more than the screen holds, under a caption with a
// button that darkens when pressed under a translucent cover.
const char* const MENU_PAGE = R"X(<item cls_name="cls_page">
  <attr width="screen_width()" height="screen_height()" left="0" top="0" bg_color="60,60,60,255"/>
  <item cls_name="cls_label">
    <attr left="0" top="0" width="640" height="40" text_color="white" text_size="20" text="Caption"/>
  </item>
  <item cls_name="cls_button">
    <attr left="500" top="0" width="140" height="40" bg_color="200,100,0,255"/>
    <item cls_name="cls_cmn_item"><attr left="500" top="0" width="140" height="40" bg_color="0,0,255,128"/></item>
  </item>
  <item cls_name="cls_cmn_item">
    <attr left="0" top="40" width="640" height="1400"/>
    <item file_name="cmn_items/menu_button.xml"/><item file_name="cmn_items/menu_button.xml"/>
    <item file_name="cmn_items/menu_button.xml"/><item file_name="cmn_items/menu_button.xml"/>
    <item file_name="cmn_items/menu_button.xml"/><item file_name="cmn_items/menu_button.xml"/>
    <item file_name="cmn_items/menu_button.xml"/><item file_name="cmn_items/menu_button.xml"/>
    <item file_name="cmn_items/menu_button.xml"/><item file_name="cmn_items/menu_button.xml"/>
    <item file_name="cmn_items/menu_button.xml"/><item file_name="cmn_items/menu_button.xml"/>
    <item file_name="cmn_items/menu_button.xml"/><item file_name="cmn_items/menu_button.xml"/>
    <item file_name="cmn_items/menu_button.xml"/><item file_name="cmn_items/menu_button.xml"/>
    <item file_name="cmn_items/menu_button.xml"/><item file_name="cmn_items/menu_button.xml"/>
    <item file_name="cmn_items/menu_button.xml"/><item file_name="cmn_items/menu_button.xml"/>
  </item>
</item>)X";

class draw_test : public ::testing::Test {
protected:
    void SetUp() override {
        add_layout("test_gui/draw_root.xml", ROOT);
        add_layout("test_gui/draw_page.xml", PAGE);
        add_layout("test_gui/draw_menu_root.xml", MENU_ROOT);
        add_layout("test_gui/draw_menu_page.xml", MENU_PAGE);
        m_base = gui_test::temp_path(::testing::UnitTest::GetInstance()->current_test_info()->name());
    }
    void TearDown() override {
        for (const char* suffix : {"", ".script", ".idle.png", ".pressed.png", ".rotated.png", ".part.png", ".full.png"})
            std::remove((m_base + suffix).c_str());
    }
    std::string m_base;
};

TEST_F(draw_test, screenshots_show_items_and_the_pressed_state) {
    std::string script = "screenshot " + m_base + ".idle.png\npress 150 230\nscreenshot " + m_base +
                         ".pressed.png\nrelease 150 230\n";
    EXPECT_EXIT(gui_test::run_gui("test_gui/draw_root.xml", script, m_base), ::testing::ExitedWithCode(0), "");
    shot_t idle, pressed;
    ASSERT_TRUE(read_png(m_base + ".idle.png", &idle));
    ASSERT_TRUE(read_png(m_base + ".pressed.png", &pressed));
    ASSERT_EQ(idle.w, 640);
    ASSERT_EQ(idle.h, 800);
    EXPECT_EQ(idle.at(10, 10), "0,0,255");
    EXPECT_EQ(idle.at(10, 150), "255,255,255");
    EXPECT_EQ(idle.at(150, 230), "0,255,0");
    EXPECT_EQ(pressed.at(150, 230), "255,0,0");
    EXPECT_EQ(pressed.at(10, 150), "255,255,255");
    // The label: black background with some white text in its top left part.
    EXPECT_EQ(idle.at(630, 490), "0,0,0");
    int white = 0;
    for (int y = 400; y < 450; ++y)
        for (int x = 0; x < 200; ++x)
            if (idle.at(x, y) == "255,255,255") ++white;
    EXPECT_GT(white, 100);
}

TEST_F(draw_test, rotation_turns_the_screen_and_taps) {
    // Turned 90 degrees clockwise the panel is 800 x 640; the logical point
    // (150, 230) lies at the physical (800 - 1 - 230, 150).
    std::string script = "press 569 150\nscreenshot " + m_base + ".rotated.png\nrelease 569 150\n";
    EXPECT_EXIT(gui_test::run_gui("test_gui/draw_root.xml", script, m_base, {"--ozgi-rotate=90"}),
                ::testing::ExitedWithCode(0), "");
    shot_t shot;
    ASSERT_TRUE(read_png(m_base + ".rotated.png", &shot));
    EXPECT_EQ(shot.w, 800);
    EXPECT_EQ(shot.h, 640);
    EXPECT_EQ(shot.at(569, 150), "255,0,0");
    EXPECT_EQ(shot.at(790, 10), "0,0,255");  // The logical top left corner.
}

// The picture after repainting only what changed is the picture a repaint of
// the whole screen gives of the same state.
void expect_part_repaint_as_full(const std::string& base, const std::string& change) {
    std::string script = change + "screenshot " + base + ".part.png\nwheel 320 400 -1\nwheel 320 400 1\nscreenshot " +
                         base + ".full.png\n";
    EXPECT_EXIT(gui_test::run_gui("test_gui/draw_menu_root.xml", script, base), ::testing::ExitedWithCode(0), "");
    shot_t part, full;
    ASSERT_TRUE(read_png(base + ".part.png", &part));
    ASSERT_TRUE(read_png(base + ".full.png", &full));
    ASSERT_EQ(part.w, 640);
    ASSERT_EQ(part.h, 800);
    EXPECT_TRUE(part.rgba == full.rgba) << change;
}

TEST_F(draw_test, a_focus_move_paints_what_a_full_repaint_does) {
    expect_part_repaint_as_full(m_base, "key Down\n");
    // Scrolled, and moving back up.
    expect_part_repaint_as_full(m_base, "wheel 320 400 -1\nkey Down\nkey Down\nkey Up\n");
}

TEST_F(draw_test, a_press_paints_what_a_full_repaint_does) {
    expect_part_repaint_as_full(m_base, "press 320 200\n");
    expect_part_repaint_as_full(m_base, "press 560 20\n");
    expect_part_repaint_as_full(m_base, "wheel 320 400 -1\npress 320 500\nmove 320 505\n");
}

TEST_F(draw_test, the_focus_frame_moves_with_the_focus) {
    std::string script = "screenshot " + m_base + ".idle.png\nkey Down\nscreenshot " + m_base + ".part.png\n";
    EXPECT_EXIT(gui_test::run_gui("test_gui/draw_menu_root.xml", script, m_base), ::testing::ExitedWithCode(0), "");
    shot_t before, after;
    ASSERT_TRUE(read_png(m_base + ".idle.png", &before));
    ASSERT_TRUE(read_png(m_base + ".part.png", &after));
    // The caption's button has the focus first; then the first menu button gets
    // the frame's top border, with the button's white in its transparent middle.
    EXPECT_EQ(before.at(320, 41), "255,255,255");
    EXPECT_NE(after.at(320, 41), "255,255,255");
    EXPECT_EQ(after.at(320, 41), after.at(320, 102));
    EXPECT_EQ(after.at(320, 70), "255,255,255");
    EXPECT_EQ(after.at(320, 106), "255,255,255");
}

TEST_F(draw_test, a_press_on_a_scrolled_list_presses_the_button_under_the_finger) {
    // Scrolled by one wheel step (48 pixels) the eighth button, 488 to 552 on
    // the page, shows from 440 to 504.
    std::string script = "wheel 320 400 -1\npress 320 500\nscreenshot " + m_base + ".part.png\n";
    EXPECT_EXIT(gui_test::run_gui("test_gui/draw_menu_root.xml", script, m_base), ::testing::ExitedWithCode(0), "");
    shot_t shot;
    ASSERT_TRUE(read_png(m_base + ".part.png", &shot));
    EXPECT_EQ(shot.at(320, 441), "217,217,217");
    EXPECT_EQ(shot.at(320, 503), "217,217,217");
    EXPECT_EQ(shot.at(320, 439), "255,255,255");
    EXPECT_EQ(shot.at(320, 505), "255,255,255");
}

} // namespace
