// Events through the automation script on test pages, each GUI run in a fresh
// child process (a death-test child): taps, drags, keys, timers, posted events,
// the page stack, the end of the program and script failures.
#include <gtest/gtest.h>

#include "gui_test_util.h"
#include "ozgi/cls_button.h"
#include "ozgi/cls_label.h"
#include "ozgi/cls_page.h"
#include "ozgi/cls_root_container.h"
#include "ozgi/cls_timer.h"
#include "ozgi/cls_ui_res_loader.h"

using namespace ozgi;
using gui_test::add_layout;
using gui_test::event_log;
using gui_test::literal;

namespace gui_test {
std::string& event_log() {
    static std::string log;
    return log;
}
} // namespace gui_test

namespace {

void log_line(const std::string& line) { event_log() += line + "\n"; }

// A page that writes what reaches it into the event log.
class cls_event_test_page : public cls_page {
public:
    cls_event_test_page() : m_timer(nullptr) {
        add_class_name("cls_event_test_page");
        add_member_item("T1", &m_timer);
        add_member_event("BTN1", "click", &cls_event_test_page::on_click);
        add_member_event("LOW", "click", &cls_event_test_page::on_click);
        add_member_event("BTN2", "click", &cls_event_test_page::on_post_click);
        add_member_event("BTN3", "click", &cls_event_test_page::on_quit_click);
        add_member_event("BTN4", "click", &cls_event_test_page::on_open_click);
        add_member_event("BTN5", "click", &cls_event_test_page::on_close_click);
        add_member_event("T1", "timer", &cls_event_test_page::on_timer);
    }
    static cls_event_handler* create() { return OZGI_NEW(cls_event_test_page)(); }

    void init() override {
        cls_page::init();
        log_line("init " + std::string(item_name().c_str()));
        listen_event("ev_a", &cls_event_test_page::on_named, this);
        listen_event("ev_b", &cls_event_test_page::on_named, this);
        if (m_timer) m_timer->start(false);
    }
    bool on_key_event(const cls_ui_event& event) override {
        log_line("key " + std::to_string(event.int_data(0)) + " " + event.key_name().c_str());
        if (event.match_key("f5")) {
            log_line("back key");
            cls_root_container::close_top_page();
            return true;
        }
        return cls_page::on_key_event(event);
    }
    void on_get_top_pos() override { log_line("top " + std::string(item_name().c_str())); }
    void on_lose_top_pos() override { log_line("covered " + std::string(item_name().c_str())); }

    void on_click(cls_event_handler* sender) { log_line("click " + std::string(sender->item_name().c_str())); }
    void on_post_click(cls_event_handler* sender) {
        post_event(1, "ev_a");
        cls_ui_event key(2, this);
        key.set_int_data(0, 99);
        post_event(key);
        post_event(1, "ev_b");
        log_line("click " + std::string(sender->item_name().c_str()));
    }
    void on_named(cls_event_handler*) { log_line("named"); }
    void on_quit_click(cls_event_handler*) {
        log_line("quit posted");
        post_event(1, "");
    }
    void on_open_click(cls_event_handler*) { cls_root_container::open_page("test_gui/ev_page2.xml", false); }
    void on_close_click(cls_event_handler*) { cls_root_container::close_top_page(); }
    void on_timer(cls_event_handler* sender) {
        cls_timer* t = dynamic_cast<cls_timer*>(sender);
        log_line("timer " + std::to_string(t->fired_count()));
    }

    cls_timer* m_timer;
};

const char* const ROOT = R"X(<item cls_name="cls_root_container">
  <attr screen_resolution="640,800" window_title="test" first_page="test_gui/ev_page1.xml"/>
</item>)X";

const char* const BUTTON = R"X(<item cls_name="cls_button">
  <attr width="200" height="60" left="100" top="bottom(prev()) + 20"/>
  <item cls_name="cls_cmn_item"><attr group_name="show_on_press" visible="false" bg_color="1,2,3,255"/></item>
  <item cls_name="cls_label"><attr item_name="LABEL" width="width(container())" height="height(container())"/></item>
</item>)X";

// BTN1 at y 20..80, BTN2 100..160, BTN3 180..240, BTN4 260..320, BTN5 340..400,
// a hidden button at 420, then LOW 1600 pixels down, below the screen.
const char* const PAGE1 = R"X(<item cls_name="cls_event_test_page">
  <attr item_name="P1" width="screen_width()" height="screen_height()" left="0" top="0" bg_color="white"/>
  <item cls_name="cls_timer"><attr item_name="T1" interval="20" repeat="3"/></item>
  <item cls_name="cls_cmn_item"><attr height="0"/></item>
  <item file_name="test_gui/ev_button.xml"><attr item_name="BTN1"/><child_attr name="LABEL.text" value="One"/></item>
  <item file_name="test_gui/ev_button.xml"><attr item_name="BTN2"/><child_attr name="LABEL.text" value="Two"/></item>
  <item file_name="test_gui/ev_button.xml"><attr item_name="BTN3"/><child_attr name="LABEL.text" value="Quit"/></item>
  <item file_name="test_gui/ev_button.xml"><attr item_name="BTN4"/><child_attr name="LABEL.text" value="Open"/></item>
  <item file_name="test_gui/ev_button.xml"><attr item_name="BTN5"/><child_attr name="LABEL.text" value="Close"/></item>
  <item file_name="test_gui/ev_button.xml"><attr item_name="HIDDEN" visible="false"/><child_attr name="LABEL.text" value="Hidden"/></item>
  <item file_name="test_gui/ev_button.xml"><attr item_name="LOW" top="1600"/><child_attr name="LABEL.text" value="Low"/></item>
</item>)X";

const char* const PAGE2 = R"X(<item cls_name="cls_event_test_page">
  <attr item_name="P2" width="screen_width()" height="screen_height()" left="0" top="0"/>
  <item cls_name="cls_cmn_item"><attr height="0"/></item>
  <item file_name="test_gui/ev_button.xml"><attr item_name="BTN5"/><child_attr name="LABEL.text" value="Close"/></item>
</item>)X";

class events_test : public ::testing::Test {
protected:
    void SetUp() override {
        add_layout("test_gui/ev_root.xml", ROOT);
        add_layout("test_gui/ev_button.xml", BUTTON);
        add_layout("test_gui/ev_page1.xml", PAGE1);
        add_layout("test_gui/ev_page2.xml", PAGE2);
        cls_ui_res_loader::ins()->register_gui_class(&cls_event_test_page::create, "cls_event_test_page");
        m_log = gui_test::temp_path(::testing::UnitTest::GetInstance()->current_test_info()->name());
    }
    void TearDown() override {
        std::remove(m_log.c_str());
        std::remove((m_log + ".script").c_str());
    }
    // Runs the script; returns the event log.
    std::string run(const std::string& script, const std::vector<std::string>& extra = {}) {
        EXPECT_EXIT(gui_test::run_gui("test_gui/ev_root.xml", script, m_log, extra), ::testing::ExitedWithCode(0), "");
        return gui_test::read_file(m_log);
    }
    void expect_script_failure(const std::string& script, const std::string& message) {
        EXPECT_EXIT(gui_test::run_gui("test_gui/ev_root.xml", script, m_log), ::testing::ExitedWithCode(3),
                    literal(message));
    }
    std::string m_log;
};

TEST_F(events_test, tap_clicks_the_button_under_the_point) {
    std::string log = run("tap 150 50\n# a comment\n\ntap 150 90\ntap 150 130\n");
    EXPECT_EQ(log, "init P1\nclick BTN1\nclick BTN2\nnamed\nkey 99 \nnamed\nexit:0\n");
}

TEST_F(events_test, press_move_release_tells_a_tap_from_a_drag) {
    std::string log = run("press 150 50\nmove 155 55\nrelease 155 55\n"   // Small moves: still a tap.
                          "press 150 50\nmove 150 75\nmove 150 70\nrelease 150 50\n"  // A drag: no click.
                          "press 150 50\nrelease 150 300\n");               // Released elsewhere: no click.
    EXPECT_EQ(log, "init P1\nclick BTN1\nexit:0\n");
}

TEST_F(events_test, keys_reach_the_page_with_their_codes) {
    std::string log = run("key Return\nkey Down\nkey Space\nkey Right\nkey Keypad Enter\nkey Up\nkey Left\n"
                          "key Escape\nkey Backspace\nkey AC Back\nkey Down\nkey Down\nkey Down\nkey Down\nkey Return\n");
    EXPECT_EQ(log,
              "init P1\n"
              "key 4 Return\nclick BTN1\n"
              "key 12 Down\n"
              "key 4 Space\nclick BTN2\nnamed\nkey 99 \nnamed\n"  // BTN2 has the focus now; its click posts.
              "key 42 Right\n"
              "key 43 Keypad Enter\n"  // 42 moved the focus to BTN3, whose click quits.
              "quit posted\nexit:0\n");
}

TEST_F(events_test, focus_keys_skip_hidden_items_and_stop_at_the_ends) {
    std::string log = run("key Up\nkey Down\nkey Down\nkey Down\nkey Down\nkey Down\nkey Down\nkey Down\nkey Return\n");
    // Up at the first button changes nothing; the hidden button is skipped on the
    // way to the low one, which has the focus at the end.
    std::string downs;
    for (int i = 0; i < 7; ++i) downs += "key 12 Down\n";
    EXPECT_EQ(log, "init P1\nkey 10 Up\n" + downs + "key 4 Return\nclick LOW\nexit:0\n");
}

TEST_F(events_test, back_keys_have_code_7_and_a_named_key_matches) {
    std::string log = run("key Escape\nkey Backspace\nkey AC Back\nkey F7\nkey F5\nkey Return\n");
    EXPECT_EQ(log, "init P1\nkey 7 Escape\nkey 7 Backspace\nkey 7 AC Back\nkey 87 F7\nkey 85 F5\nback key\nexit:0\n");
}

TEST_F(events_test, timers_fire_their_repeat_count_only_while_waiting) {
    std::string log = run("tap 150 50\nwait 300\ntap 150 50\n");
    EXPECT_EQ(log, "init P1\nclick BTN1\ntimer 1\ntimer 2\ntimer 3\nclick BTN1\nexit:0\n");
}

TEST_F(events_test, posted_events_follow_the_handler_in_order) {
    std::string log = run("tap_text Two\n");
    EXPECT_EQ(log, "init P1\nclick BTN2\nnamed\nkey 99 \nnamed\nexit:0\n");
}

TEST_F(events_test, event_code_1_with_empty_text_ends_the_program) {
    std::string log = run("tap_text Quit\ntap_text One\n");
    EXPECT_EQ(log, "init P1\nquit posted\nexit:0\n");
}

TEST_F(events_test, page_stack_and_closing_the_last_page) {
    std::string log = run("tap_text Open\ntap_text Close\ntap_text One\ntap_text Close\ntap_text One\n");
    EXPECT_EQ(log, "init P1\ncovered P1\ninit P2\ntop P1\nclick BTN1\nexit:0\n");
}

TEST_F(events_test, tap_text_scrolls_to_an_item_below_the_screen) {
    std::string dump = gui_test::temp_path("low.json");
    std::string log = run("tap_text Low\ndump " + dump + "\n");
    EXPECT_EQ(log, "init P1\nclick LOW\nexit:0\n");
    // The page is scrolled so that the button's bottom meets the screen's.
    std::string json = gui_test::read_file(dump);
    std::remove(dump.c_str());
    EXPECT_NE(json.find("\"name\": \"LOW\", \"x\": 100, \"y\": 740, \"w\": 200, \"h\": 60"), std::string::npos) << json;
}

TEST_F(events_test, dump_describes_the_open_pages) {
    std::string dump = gui_test::temp_path("dump.json");
    run("key Down\npress 150 50\ndump " + dump + "\nrelease 150 50\n");
    std::string json = gui_test::read_file(dump);
    std::remove(dump.c_str());
    EXPECT_EQ(json.find("{\"language\": \"en_US\", \"pages\": [\n"), 0u) << json;
    EXPECT_NE(json.find("{\"class\": \"cls_event_test_page\", \"name\": \"P1\", \"x\": 0, \"y\": 0, \"w\": 640, "
                        "\"h\": 800, \"visible\": true, \"enabled\": true, \"focused\": false, \"item_data\": \"\", "
                        "\"groups\": [], \"children\": [\n"),
              std::string::npos)
        << json;
    EXPECT_NE(json.find("{\"class\": \"cls_button\", \"name\": \"BTN2\", \"x\": 100, \"y\": 100, \"w\": 200, \"h\": 60, "
                        "\"visible\": true, \"enabled\": true, \"focused\": true"),
              std::string::npos)
        << json;
    // The pressed button shows its show_on_press item.
    EXPECT_NE(json.find("{\"class\": \"cls_cmn_item\", \"name\": \"\", \"x\": 100, \"y\": 20, \"w\": 200, \"h\": 60, "
                        "\"visible\": true, \"enabled\": true, \"focused\": false, \"item_data\": \"\", \"groups\": "
                        "[\"show_on_press\"], \"children\": []}"),
              std::string::npos)
        << json;
    EXPECT_NE(json.find("{\"class\": \"cls_label\", \"name\": \"LABEL\", \"x\": 100, \"y\": 100, \"w\": 200, \"h\": 60, "
                        "\"visible\": true, \"enabled\": true, \"focused\": false, \"text\": \"Two\", \"shown_text\": "
                        "\"Two\", \"item_data\": \"\", \"groups\": [], \"children\": []}"),
              std::string::npos)
        << json;
    EXPECT_NE(json.find("\"name\": \"HIDDEN\", \"x\": 100, \"y\": 420, \"w\": 200, \"h\": 60, \"visible\": false"),
              std::string::npos)
        << json;
    EXPECT_EQ(json.substr(json.size() - 4), "\n]}\n");
}

TEST_F(events_test, wait_text_sees_the_shown_text) {
    std::string log = run("wait_text Close 1000\n");
    EXPECT_EQ(log, "init P1\nexit:0\n");
}

TEST_F(events_test, script_failures_exit_with_status_3_naming_the_line) {
    expect_script_failure("tap 1 1\n\ntap_text Nothing here\n", "Script line 3: no visible, enabled item shows \"Nothing here\"");
    expect_script_failure("tap_text Hidden\n", "Script line 1: no visible, enabled item shows \"Hidden\"");
    expect_script_failure("# first\njump 1 2\n", "Script line 2: unknown command \"jump\"");
    expect_script_failure("tap 1\n", "Script line 1: tap needs two numbers: tap X Y");
    expect_script_failure("wait soon\n", "Script line 1: wait needs milliseconds: wait MS");
    expect_script_failure("wait_text Nowhere 50\n", "Script line 1: \"Nowhere\" was not shown within 50 ms");
}

} // namespace

namespace {

TEST_F(events_test, a_vertical_drag_scrolls_the_page_and_focus_scrolls_into_view) {
    std::string dump1 = gui_test::temp_path("drag1.json"), dump2 = gui_test::temp_path("drag2.json");
    std::string log = run("press 150 700\nmove 150 600\nmove 150 400\nrelease 150 400\ndump " + dump1 +
                          "\npress 150 100\nmove 150 5000\nrelease 150 5000\n"
                          "key Down\nkey Down\nkey Down\nkey Down\nkey Down\ndump " + dump2 + "\n");
    std::string json1 = gui_test::read_file(dump1), json2 = gui_test::read_file(dump2);
    std::remove(dump1.c_str());
    std::remove(dump2.c_str());
    EXPECT_EQ(log.find("click"), std::string::npos) << log;
    EXPECT_NE(json1.find("\"name\": \"BTN1\", \"x\": 100, \"y\": -280,"), std::string::npos) << json1;
    EXPECT_NE(json1.find("\"name\": \"LOW\", \"x\": 100, \"y\": 1300,"), std::string::npos) << json1;
    // Dragged back past the top, then the focus walked down to the low button.
    EXPECT_NE(json2.find("\"name\": \"LOW\", \"x\": 100, \"y\": 740, \"w\": 200, \"h\": 60, \"visible\": true, "
                         "\"enabled\": true, \"focused\": true"),
              std::string::npos)
        << json2;
}

TEST_F(events_test, the_wheel_scrolls_the_page_and_stops_at_its_ends) {
    std::string dump1 = gui_test::temp_path("wheel1.json"), dump2 = gui_test::temp_path("wheel2.json");
    // Five steps towards the user move the page up by 5 x 48 pixels; a large
    // step back stops at the top.
    std::string log = run("wheel 150 400 -5\ndump " + dump1 + "\nwheel 150 400 100\ndump " + dump2 + "\n");
    std::string json1 = gui_test::read_file(dump1), json2 = gui_test::read_file(dump2);
    std::remove(dump1.c_str());
    std::remove(dump2.c_str());
    EXPECT_EQ(log, "init P1\nexit:0\n");
    EXPECT_NE(json1.find("\"name\": \"BTN1\", \"x\": 100, \"y\": -220,"), std::string::npos) << json1;
    EXPECT_NE(json2.find("\"name\": \"BTN1\", \"x\": 100, \"y\": 20,"), std::string::npos) << json2;
    expect_script_failure("wheel 1 2\n", "Script line 1: wheel needs three numbers: wheel X Y DY");
}

TEST_F(events_test, a_tap_moves_the_focus_to_the_tapped_button) {
    // The keys move the focus to BTN3; a tap on BTN1 takes it there, so the next
    // Down lands on BTN2 (whose click posts its events), not on BTN4.
    std::string log = run("key Down\nkey Down\ntap 150 50\nkey Down\nkey Return\n");
    EXPECT_EQ(log, "init P1\nkey 12 Down\nkey 12 Down\nclick BTN1\nkey 12 Down\nkey 4 Return\nclick BTN2\nnamed\n"
                   "key 99 \nnamed\nexit:0\n");
}

TEST_F(events_test, a_drag_does_not_move_the_focus) {
    std::string dump = gui_test::temp_path("dragfocus.json");
    run("press 150 130\nmove 150 100\nmove 150 130\nrelease 150 130\ndump " + dump + "\n");
    std::string json = gui_test::read_file(dump);
    std::remove(dump.c_str());
    EXPECT_NE(json.find("\"name\": \"BTN1\", \"x\": 100, \"y\": 20, \"w\": 200, \"h\": 60, \"visible\": true, "
                        "\"enabled\": true, \"focused\": true"),
              std::string::npos)
        << json;
}

TEST(label_scroll_test, a_long_multi_line_text_scrolls_within_its_label) {
    gui_test::add_layout("test_gui/long_label.xml",
                         "<item cls_name=\"cls_label\"><attr width=\"300\" height=\"100\" multi_line=\"true\" "
                         "alignment=\"left,bottom\" text_size=\"20\"/></item>");
    cls_label* label = dynamic_cast<cls_label*>(cls_ui_res_loader::ins()->load_layout("test_gui/long_label.xml", nullptr));
    ASSERT_NE(label, nullptr);
    label->set_text("one line");
    EXPECT_FALSE(label->text_overflows());
    EXPECT_FALSE(label->drag_text(30));
    std::string many;
    for (int i = 0; i < 100; ++i) many += "line " + std::to_string(i) + "\n";
    label->append_text(many.c_str());
    EXPECT_TRUE(label->text_overflows());
    // Bottom-aligned: a finger moving down reveals earlier lines.
    EXPECT_TRUE(label->drag_text(30));
    EXPECT_EQ(label->text_scroll_y(), 30);
    label->drag_text(-10);
    EXPECT_EQ(label->text_scroll_y(), 20);
    label->drag_text(-100);
    EXPECT_EQ(label->text_scroll_y(), 0);
    label->drag_text(1000000);
    EXPECT_GT(label->text_scroll_y(), 1000);
    EXPECT_LT(label->text_scroll_y(), 1000000);
    ozgi_delete(label);
}

} // namespace
