// What a change repaints: the rectangles the loop drew for one focus move.
#include <gtest/gtest.h>

#include <string>

#include "gui_test_util.h"
#include "ozgi/cls_ozgi_gui.h"
#include "ozgi/cls_page.h"
#include "ozgi/cls_ui_res_loader.h"

using gui_test::add_layout;
using gui_test::event_log;

namespace {

// A page that, on the key F1, writes the rectangles of the previous repaint
// into the event log as "x,y,w,h" lines.
class cls_paint_probe_page : public ozgi::cls_page {
public:
    cls_paint_probe_page() { add_class_name("cls_paint_probe_page"); }
    static ozgi::cls_event_handler* create() { return OZGI_NEW(cls_paint_probe_page)(); }
    bool on_key_event(const ozgi::cls_ui_event& event) override {
        if (event.event_code() == ozgi::cls_ui_event::EVENT_KEY && event.int_data(0) == 81) {
            ozgi::cls_ozgi_gui* gui = ozgi::cls_ozgi_gui::ins();
            event_log() += "painted " + std::to_string(gui->painted_rect_count()) + "\n";
            for (int i = 0; i < gui->painted_rect_count(); ++i) {
                ozgi::cls_rect r = gui->painted_rect(i);
                event_log() += std::to_string(r.x) + "," + std::to_string(r.y) + "," + std::to_string(r.w) + "," +
                               std::to_string(r.h) + "\n";
            }
            return true;
        }
        return ozgi::cls_page::on_key_event(event);
    }
};

const char* const ROOT = R"X(<item cls_name="cls_root_container">
  <attr screen_resolution="640,800" window_title="repaint" first_page="test_gui/repaint_page.xml"/>
</item>)X";

// Eight buttons 60 pixels high, 70 apart; the middle five are hidden, so the
// focus goes from the first straight to the seventh. A shown button is covered
// blue while it has the focus.
#define FOCUS_COVER                                                                                          \
    R"X(<item cls_name="cls_cmn_item"><attr left="left(container())" top="top(container())" width="width(container())" height="height(container())" bg_color="0,0,255,255" visible="false" show_on_focus="true"/></item>)X"
const char* const PAGE = R"X(<item cls_name="cls_paint_probe_page">
  <attr width="screen_width()" height="screen_height()" left="0" top="0" bg_color="white"/>
  <item cls_name="cls_button"><attr left="0" top="0" width="640" height="60" bg_color="0,255,0,255"/>)X" FOCUS_COVER R"X(</item>
  <item cls_name="cls_button"><attr left="0" top="70" width="640" height="60" visible="false"/></item>
  <item cls_name="cls_button"><attr left="0" top="140" width="640" height="60" visible="false"/></item>
  <item cls_name="cls_button"><attr left="0" top="210" width="640" height="60" visible="false"/></item>
  <item cls_name="cls_button"><attr left="0" top="280" width="640" height="60" visible="false"/></item>
  <item cls_name="cls_button"><attr left="0" top="350" width="640" height="60" visible="false"/></item>
  <item cls_name="cls_button"><attr left="0" top="420" width="640" height="60" bg_color="0,255,0,255"/>)X" FOCUS_COVER R"X(</item>
  <item cls_name="cls_button"><attr left="0" top="490" width="640" height="60" bg_color="0,255,0,255"/>)X" FOCUS_COVER R"X(</item>
</item>)X";

const char* const PLAIN_ROOT = R"X(<item cls_name="cls_root_container">
  <attr screen_resolution="640,800" window_title="repaint" first_page="test_gui/repaint_plain_page.xml"/>
</item>)X";

// Two buttons that look the same with and without the focus.
const char* const PLAIN_PAGE = R"X(<item cls_name="cls_paint_probe_page">
  <attr width="screen_width()" height="screen_height()" left="0" top="0" bg_color="white"/>
  <item cls_name="cls_button"><attr left="0" top="0" width="640" height="60" bg_color="0,255,0,255"/></item>
  <item cls_name="cls_button"><attr left="0" top="70" width="640" height="60" bg_color="0,255,0,255"/></item>
</item>)X";

const char* const MENU_ROOT = R"X(<item cls_name="cls_root_container">
  <attr screen_resolution="640,800" window_title="repaint" first_page="test_gui/repaint_menu_page.xml"/>
</item>)X";

// The program's menu buttons, each with its pressed look, arrow and focus frame.
const char* const MENU_PAGE = R"X(<item cls_name="cls_paint_probe_page">
  <attr width="screen_width()" height="screen_height()" left="0" top="0" bg_color="white"/>
  <item file_name="cmn_items/menu_button.xml"/>
  <item file_name="cmn_items/menu_button.xml"/>
  <item file_name="cmn_items/menu_button.xml"/>
</item>)X";

class repaint_test : public ::testing::Test {
protected:
    void SetUp() override {
        add_layout("test_gui/repaint_root.xml", ROOT);
        add_layout("test_gui/repaint_page.xml", PAGE);
        add_layout("test_gui/repaint_plain_root.xml", PLAIN_ROOT);
        add_layout("test_gui/repaint_plain_page.xml", PLAIN_PAGE);
        add_layout("test_gui/repaint_menu_root.xml", MENU_ROOT);
        add_layout("test_gui/repaint_menu_page.xml", MENU_PAGE);
        ozgi::cls_ui_res_loader::ins()->register_gui_class(&cls_paint_probe_page::create, "cls_paint_probe_page");
        m_base = gui_test::temp_path(::testing::UnitTest::GetInstance()->current_test_info()->name());
    }
    void TearDown() override {
        std::remove(m_base.c_str());
        std::remove((m_base + ".script").c_str());
    }
    std::string m_base;
};

TEST_F(repaint_test, the_first_frame_paints_the_whole_screen) {
    EXPECT_EXIT(gui_test::run_gui("test_gui/repaint_root.xml", "key F1\n", m_base), ::testing::ExitedWithCode(0), "");
    EXPECT_EQ(gui_test::read_file(m_base), "painted 1\n0,0,640,800\nexit:0\n");
}

TEST_F(repaint_test, a_focus_move_repaints_only_the_two_buttons) {
    EXPECT_EXIT(gui_test::run_gui("test_gui/repaint_root.xml", "key Down\nkey F1\n", m_base),
                ::testing::ExitedWithCode(0), "");
    // Nothing of the hidden buttons between them, nor of the page around them.
    EXPECT_EQ(gui_test::read_file(m_base), "painted 2\n0,0,640,60\n0,420,640,60\nexit:0\n");
}

TEST_F(repaint_test, each_focus_move_repaints_its_own_two_buttons) {
    // The second move goes from the seventh button to the eighth.
    EXPECT_EXIT(gui_test::run_gui("test_gui/repaint_root.xml", "key Down\nkey Down\nkey F1\n", m_base),
                ::testing::ExitedWithCode(0), "");
    EXPECT_EQ(gui_test::read_file(m_base), "painted 2\n0,420,640,60\n0,490,640,60\nexit:0\n");
}

TEST_F(repaint_test, a_focus_move_between_menu_buttons_repaints_only_their_focus_frames) {
    // A frame's middle is transparent: only its four edges come and go.
    EXPECT_EXIT(gui_test::run_gui("test_gui/repaint_menu_root.xml", "key Down\nkey F1\nkey Down\nkey Up\nkey F1\n", m_base),
                ::testing::ExitedWithCode(0), "");
    EXPECT_EQ(gui_test::read_file(m_base),
              "painted 8\n"
              "0,0,640,4\n0,4,4,56\n636,4,4,56\n0,60,640,4\n"
              "0,64,640,4\n0,68,4,56\n636,68,4,56\n0,124,640,4\n"
              "painted 8\n"
              "0,128,640,4\n0,132,4,56\n636,132,4,56\n0,188,640,4\n"
              "0,64,640,4\n0,68,4,56\n636,68,4,56\n0,124,640,4\n"
              "exit:0\n");
}

TEST_F(repaint_test, a_focus_move_between_buttons_that_do_not_show_it_repaints_nothing) {
    // The last repaint is still the first frame's.
    EXPECT_EXIT(gui_test::run_gui("test_gui/repaint_plain_root.xml", "key Down\nkey F1\n", m_base),
                ::testing::ExitedWithCode(0), "");
    EXPECT_EQ(gui_test::read_file(m_base), "painted 1\n0,0,640,800\nexit:0\n");
}

} // namespace
