// The adb device against the stand-in tool of tests/support/adb, put first on the
// search path: command words from the stand-in's log, menu scan, runs and markers.
#include <gtest/gtest.h>
#include <sys/wait.h>

#include <cerrno>
#include <cstdlib>
#include <filesystem>

#include "device_fixture.h"
#include "devices/cls_adb_vesk_device.h"
#include "ozgi/cls_process.h"
#include "ozgi/cls_time.h"
#include "ozgi/cls_ui_text_dict.h"
#include "wait_util.h"

#include <csignal>
#include <sstream>

using ozgi::cls_array;
using ozgi::cls_string;
using strings = std::vector<std::string>;

namespace {

cls_array<cls_string> words(std::initializer_list<const char*> list) {
    cls_array<cls_string> out;
    for (const char* w : list) out.append(w);
    return out;
}

// Blocks until a child of this process has ended, without reaping it, so that the
// next poll surely sees the end with all its output. In these tests the only child
// alive at that point is the adb process of the test.
void wait_child_ended() {
    siginfo_t info;
    while (::waitid(P_ALL, 0, &info, WEXITED | WNOWAIT) != 0 && errno == EINTR) {
    }
}

} // namespace

class adb_device : public device_fixture {
protected:
    void SetUp() override {
        device_fixture::SetUp();
        const char* path = std::getenv("PATH");
        m_old_path = path ? path : "";
        std::string stub_dir = std::string(VESK_SOURCE_DIR) + "/tests/support";
        ::setenv("PATH", (stub_dir + ":" + m_old_path).c_str(), 1);
        ::setenv("ADB_STUB_LOG", m_side.at("adb.log").c_str(), 1);
        for (const char* name : {"ADB_STUB_DEVICES", "ADB_STUB_NO_LS_ONE", "ADB_STUB_DROP_MARKER", "ADB_STUB_EXIT_DELAY",
                                 "ANDROID_SERIAL"})
            ::unsetenv(name);
        m_side.make_dir("work");
        m_cwd = new device_cwd_guard(m_side.at("work"));
    }
    void TearDown() override {
        delete m_cwd;
        ::setenv("PATH", m_old_path.c_str(), 1);
        for (const char* name : {"ADB_STUB_LOG", "ADB_STUB_DEVICES", "ADB_STUB_NO_LS_ONE", "ADB_STUB_DROP_MARKER",
                                 "ADB_STUB_EXIT_DELAY"})
            ::unsetenv(name);
        device_fixture::TearDown();
    }

    /// Points `device` at the stand-in's device S1 and reads the menu in m_dir.
    void open_menu(cls_adb_vesk_device* device) {
        device->set_serial_id("S1");
        if_vesk_device::menu_tree_t tree;
        device->build_menu_tree(m_dir.path().c_str(), &tree);
    }

    /// Every call the stand-in logged: its words, "adb" first.
    std::vector<strings> calls() const {
        std::vector<strings> out;
        for (const std::string& line : device_read_lines(m_side.at("adb.log"))) out.push_back(device_split(line, '\t'));
        return out;
    }
    /// Forgets the logged calls.
    void clear_calls() const { m_side.write_file("adb.log", ""); }
    /// The calls that do not begin with the given words.
    std::vector<strings> calls_not_beginning_with(const strings& head) const {
        std::vector<strings> out;
        for (const strings& c : calls()) {
            if (c.size() < head.size() || !std::equal(head.begin(), head.end(), c.begin())) out.push_back(c);
        }
        return out;
    }
    /// Names in the program's working directory, where temporary files go.
    std::vector<std::string> work_names() const {
        std::vector<std::string> out;
        for (const auto& e : std::filesystem::directory_iterator(m_side.at("work"))) out.push_back(e.path().filename());
        return out;
    }
    /// An adb device selected with `serial` (one configured device of that id) on the temporary menu root.
    void select_adb(const std::string& serial, const std::string& root) {
        dev()->set_info("adb", root.c_str());
        dev()->set_serial_id(serial.c_str());
    }
    /// Waits until the adb process of the test ended, so that the first read sees the
    /// end and the marker is taken out of it; then as wait_for_end.
    static int wait_for_adb_end(const std::string& expected_output) {
        wait_child_ended();
        return wait_for_end(expected_output);
    }
    /// Runs `cmd` on `device`, waits until the adb process ended, then reads once.
    static std::string run_and_read_at_end(cls_adb_vesk_device* device, const cls_array<cls_string>& cmd, int* code) {
        device->exec_test("", cmd);
        wait_child_ended();
        std::string output = device->read_output()->c_str();
        *code = -1000;
        EXPECT_TRUE(device->is_ended(code));
        return output;
    }

    // Files of the test's own, apart from the menu root m_dir: the log and the working directory.
    device_temp_dir m_side;
    std::string m_old_path;
    device_cwd_guard* m_cwd = nullptr;
};
using adb_device_death = adb_device;

TEST(adb_output, device_listing_is_parsed_without_adb) {
    cls_array<cls_string> ids;
    cls_adb_vesk_device::parse_serial_ids("List of devices attached\nA1\tdevice\nB2\toffline\n\n", &ids);
    EXPECT_EQ(device_vec(ids), strings({"A1", "B2"}));
    cls_array<cls_string> none;
    cls_adb_vesk_device::parse_serial_ids("List of devices attached\n\n", &none);
    cls_adb_vesk_device::parse_serial_ids("", &none);
    EXPECT_EQ(none.count(), 0);
}

TEST(adb_output, mode_lines_give_the_entry_kind) {
    cls_string dir("drwxr-xr-x 2 root root 0 net"), exec("-rwxr--r-- 1 root root 9 t"), plain("-rw-r--r-- x");
    cls_string short_line("-rw"), empty;
    EXPECT_EQ(cls_adb_vesk_device::entry_kind(&dir), cls_adb_vesk_device::ENTRY_DIR);
    EXPECT_EQ(cls_adb_vesk_device::entry_kind(&exec), cls_adb_vesk_device::ENTRY_EXEC);
    EXPECT_EQ(cls_adb_vesk_device::entry_kind(&plain), cls_adb_vesk_device::ENTRY_OTHER);
    EXPECT_EQ(cls_adb_vesk_device::entry_kind(&short_line), cls_adb_vesk_device::ENTRY_OTHER);
    EXPECT_EQ(cls_adb_vesk_device::entry_kind(&empty), cls_adb_vesk_device::ENTRY_OTHER);
    EXPECT_EQ(cls_adb_vesk_device::entry_kind(nullptr), cls_adb_vesk_device::ENTRY_OTHER);
}

TEST(adb_output, the_last_marker_gives_the_status_and_cuts_the_chunk) {
    cls_string chunk("out\nexit_code=4\nmore\nexit_code=12\r\n");
    EXPECT_EQ(cls_adb_vesk_device::cut_exit_code(&chunk), 12);
    EXPECT_STREQ(chunk.c_str(), "out\nexit_code=4\nmore\n");
    cls_string no_marker("dropped");
    cls_adb_vesk_device::cut_exit_code(&no_marker);
    EXPECT_STREQ(no_marker.c_str(), "dropped");
}

TEST_F(adb_device, header_and_empty_line_only_give_no_ids) {
    cls_adb_vesk_device device;
    EXPECT_TRUE(device.list_serial_ids()->is_empty());
    EXPECT_EQ(calls(), std::vector<strings>({{"adb", "devices"}}));
}

TEST_F(adb_device, three_lines_give_the_id_before_the_tab) {
    ::setenv("ADB_STUB_DEVICES", "0123abc:unauthorized", 1);
    cls_adb_vesk_device device;
    EXPECT_EQ(device_vec(*device.list_serial_ids()), strings({"0123abc"}));
}

TEST_F(adb_device, every_listed_id_is_offered_whatever_its_state) {
    ::setenv("ADB_STUB_DEVICES", "A:device B:offline emulator-5554", 1);
    cls_adb_vesk_device device;
    EXPECT_EQ(device_vec(*device.list_serial_ids()), strings({"A", "B", "emulator-5554"}));
}

TEST_F(adb_device, device_listing_never_takes_the_serial) {
    ::setenv("ADB_STUB_DEVICES", "S1", 1);
    m_dir.write_script("t", "exit 0\n");
    select_adb("S1", m_dir.path());
    clear_calls();
    EXPECT_EQ(device_vec(*dev()->devices()), strings({"S1"}));
    EXPECT_EQ(calls(), std::vector<strings>({{"adb", "devices"}}));
}

TEST_F(adb_device, empty_serial_leaves_out_the_option_everywhere) {
    ::setenv("ADB_STUB_DEVICES", "ONLY", 1);
    m_dir.write_script("d/t", "echo ran\n");
    m_dir.write_file("dict.xml", "<ui_text_dict/>\n");
    select_adb("", m_dir.path());
    dev()->enter_sub_menu("d");
    dev()->set_cur_exec("t");
    dev()->execute();
    EXPECT_EQ(wait_for_adb_end("ran\n"), 0);
    ASSERT_GT(calls().size(), 4u);
    for (const strings& c : calls()) {
        ASSERT_GE(c.size(), 2u);
        EXPECT_TRUE(c[1] == "shell" || c[1] == "pull") << c[1];
    }
}

TEST_F(adb_device, a_serial_goes_into_every_command_but_the_device_listing) {
    ::setenv("ADB_STUB_DEVICES", "S1 S2", 1);
    m_dir.write_script("t", "exit 0\n");
    select_adb("S2", m_dir.path());
    dev()->set_cur_exec("t");
    dev()->execute();
    EXPECT_EQ(wait_for_adb_end(""), 0);
    EXPECT_TRUE(calls_not_beginning_with({"adb", "-s", "S2"}).empty());
}

TEST_F(adb_device, the_probe_and_listings_use_ls_one_when_the_target_has_it) {
    ::setenv("ADB_STUB_DEVICES", "S1", 1);
    m_dir.write_script("t", "exit 0\n");
    select_adb("S1", m_dir.path());
    const std::string root = m_dir.path();
    std::vector<strings> got = calls();
    ASSERT_GE(got.size(), 4u);
    EXPECT_EQ(got[0], strings({"adb", "-s", "S1", "shell", "cd // ; ls -1 ; echo exit_code=$?"}));
    EXPECT_EQ(got[1][3], "pull");
    EXPECT_EQ(got[2], strings({"adb", "-s", "S1", "shell", "ls", "-1", root}));
    EXPECT_EQ(got[3], strings({"adb", "-s", "S1", "shell", "ls", "-ld", root + "/t"}));
    EXPECT_EQ(got.size(), 4u);
}

TEST_F(adb_device, a_target_without_ls_one_is_listed_with_plain_ls) {
    ::setenv("ADB_STUB_DEVICES", "S1", 1);
    ::setenv("ADB_STUB_NO_LS_ONE", "1", 1);
    m_dir.write_script("sub/t", "exit 0\n");
    select_adb("S1", m_dir.path());
    // The tool itself ended with 0; only the echoed status told the listing to drop "-1".
    const std::string root = m_dir.path();
    std::vector<strings> got = calls();
    ASSERT_EQ(got.size(), 6u);
    EXPECT_EQ(got[2], strings({"adb", "-s", "S1", "shell", "ls", root}));
    EXPECT_EQ(got[4], strings({"adb", "-s", "S1", "shell", "ls", root + "/sub"}));
    EXPECT_EQ(tree_text(), "Diagnostic menu.,dir\nL---sub,dir\n    L---t,exec");
}

TEST_F(adb_device, directories_come_before_tests_and_empty_ones_are_pruned) {
    ::setenv("ADB_STUB_DEVICES", "S1", 1);
    m_dir.write_script("a", "exit 0\n");
    m_dir.write_script("b", "exit 0\n");
    m_dir.make_dir("empty");
    m_dir.write_file("m/plain.txt", "x");
    m_dir.write_script("m/t", "exit 0\n");
    m_dir.write_file("notes", "x");
    m_dir.write_file("p/readme", "x");
    m_dir.write_script("z/y", "exit 0\n");
    select_adb("S1", m_dir.path());
    EXPECT_EQ(tree_text(), "Diagnostic menu.,dir\n+---m,dir\n|   L---t,exec\n+---z,dir\n|   L---y,exec\n+---a,exec\nL---b,exec");
    EXPECT_STREQ(dev()->menu_title()->c_str(), "Diagnostic menu.");
    dev()->enter_sub_menu("m");
    EXPECT_STREQ(dev()->upper_menu_title()->c_str(), "Diagnostic menu.");
}

TEST_F(adb_device, entries_are_typed_by_the_first_and_fourth_mode_characters) {
    ::setenv("ADB_STUB_DEVICES", "S1", 1);
    m_dir.write_script("run", "exit 0\n");
    m_dir.write_file("group_only", "x", 0654);
    std::filesystem::create_symlink(m_dir.at("run"), m_dir.at("link"));
    select_adb("S1", m_dir.path());
    // A symbolic link's mode column reads "lrwx...", whose fourth character is 'x'.
    EXPECT_EQ(device_vec(*dev()->execs()), strings({"link", "run"}));
}

TEST_F(adb_device, links_to_the_menu_directory_are_listed_as_tests_and_never_entered) {
    ::setenv("ADB_STUB_DEVICES", "S1", 1);
    m_dir.write_script("run", "exit 0\n");
    m_dir.write_script("sub/t", "exit 0\n");
    std::filesystem::create_directory_symlink(".", m_dir.at("loop_a"));
    std::filesystem::create_directory_symlink("..", m_dir.at("sub/up"));
    select_adb("S1", m_dir.path());
    // "ls -ld" shows a link as "lrwx...": a test by its fourth character, not a
    // directory, so the scan ends instead of going round the loop.
    EXPECT_EQ(device_vec(*dev()->dirs()), strings({"sub"}));
    EXPECT_EQ(device_vec(*dev()->execs()), strings({"loop_a", "run"}));
    dev()->enter_sub_menu("sub");
    EXPECT_EQ(device_vec(*dev()->execs()), strings({"t", "up"}));
}

TEST_F(adb_device, the_default_root_doubles_the_separator_in_the_pull_and_the_run) {
    ::setenv("ADB_STUB_DEVICES", "S1", 1);
    select_adb("S1", "");
    // The missing root's error message comes back merged into the listing and is
    // asked about like an entry name; the first three calls are the protocol's own.
    std::vector<strings> got = calls();
    ASSERT_GE(got.size(), 3u);
    ASSERT_EQ(got[1].size(), 6u);
    EXPECT_EQ(strings(got[1].begin(), got[1].begin() + 5), strings({"adb", "-s", "S1", "pull", "/dfs/vesk//dict.xml"}));
    EXPECT_EQ(got[1][5].substr(0, 2), "./");
    EXPECT_EQ(got[2], strings({"adb", "-s", "S1", "shell", "ls", "-1", "/dfs/vesk/"}));
    EXPECT_TRUE(work_names().empty());

    clear_calls();
    dev()->device()->exec_test("net/", words({"net/scan", "--loops", "3"}));
    int code = 0;
    EXPECT_TRUE(device_poll_until([&] { return dev()->is_ended(&code); }));
    EXPECT_EQ(calls(), std::vector<strings>({{"adb", "-s", "S1", "shell",
                                              "cd /dfs/vesk//net/ ; /dfs/vesk//net/scan --loops 3 ; echo exit_code=$?"}}));
}

TEST_F(adb_device, a_missing_dict_is_not_merged_and_the_temporary_file_is_removed) {
    ::setenv("ADB_STUB_DEVICES", "S1", 1);
    m_dir.write_script("t", "exit 0\n");
    select_adb("S1", m_dir.path());
    std::vector<strings> got = calls();
    ASSERT_GE(got.size(), 2u);
    EXPECT_EQ(got[1][4], m_dir.path() + "/dict.xml");
    EXPECT_TRUE(work_names().empty());
    EXPECT_EQ(tree_text(), "Diagnostic menu.,dir\nL---t,exec");
}

TEST_F(adb_device, a_dict_on_the_target_is_handed_over_as_text) {
    ::setenv("ADB_STUB_DEVICES", "S1", 1);
    m_dir.write_file("dict.xml",
                     "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<ui_text_dict>\n"
                     "  <dict_entry en_US=\"vesk_adb_dict_probe\" zh_CN=\"\xE8\xBF\x9C\xE7\xA8\x8B\"/>\n</ui_text_dict>\n");
    m_dir.write_script("t", "exit 0\n");
    select_adb("S1", m_dir.path());
    EXPECT_STREQ(ozgi::cls_ui_text_dict::ins()->translate("vesk_adb_dict_probe", "zh_CN").c_str(), "\xE8\xBF\x9C\xE7\xA8\x8B");
    EXPECT_TRUE(work_names().empty());
    EXPECT_EQ(device_vec(*dev()->execs()), strings({"t"}));
}

TEST_F(adb_device, the_marker_is_not_shown_when_the_read_sees_the_end) {
    ::setenv("ADB_STUB_DEVICES", "S1", 1);
    m_dir.write_script("t", "echo line1\necho line2\nexit 3\n");
    cls_adb_vesk_device device;
    open_menu(&device);
    int code = 0;
    EXPECT_EQ(run_and_read_at_end(&device, words({"t"}), &code), "line1\nline2\n");
    EXPECT_EQ(code, 3);
}

TEST_F(adb_device, the_status_comes_from_the_marker_also_when_only_is_ended_reads_it) {
    ::setenv("ADB_STUB_DEVICES", "S1", 1);
    m_dir.write_script("t", "echo lost\nexit 6\n");
    cls_adb_vesk_device device;
    open_menu(&device);
    device.exec_test("", words({"t"}));
    wait_child_ended();
    int code = 0;
    EXPECT_TRUE(device_poll_until([&] { return device.is_ended(&code); }));
    EXPECT_EQ(code, 6);
}

TEST_F(adb_device, a_test_printing_the_marker_itself_loses_to_the_last_one) {
    ::setenv("ADB_STUB_DEVICES", "S1", 1);
    m_dir.write_script("t", "echo exit_code=7\nexit 0\n");
    cls_adb_vesk_device device;
    open_menu(&device);
    int code = -1;
    EXPECT_EQ(run_and_read_at_end(&device, words({"t"}), &code), "exit_code=7\n");
    EXPECT_EQ(code, 0);
}

TEST_F(adb_device, a_marker_read_before_the_end_is_shown_and_the_status_is_lost) {
    ::setenv("ADB_STUB_DEVICES", "S1", 1);
    m_dir.write_script("t", "echo out\nexit 5\n");
    cls_adb_vesk_device device;
    open_menu(&device);
    ::setenv("ADB_STUB_EXIT_DELAY", "2", 1);
    device.exec_test("", words({"t"}));
    // The tool stays alive after the marker, so the reads see it before the end.
    std::string output;
    ASSERT_TRUE(device_poll_until([&] {
        output += device.read_output()->c_str();
        return output.find("exit_code=5\n") != std::string::npos;
    }, 1500));
    EXPECT_EQ(output, "out\nexit_code=5\n");
    int code = -1;
    ASSERT_TRUE(device_poll_until([&] { return device.is_ended(&code); }));
    EXPECT_EQ(code, 0);
}

TEST_F(adb_device, arguments_go_to_the_target_shell_unquoted) {
    ::setenv("ADB_STUB_DEVICES", "S1", 1);
    m_dir.write_script("t", "echo $#\nprintf '[%s]\\n' \"$@\"\n");
    cls_adb_vesk_device device;
    open_menu(&device);
    clear_calls();
    int code = -1;
    std::string output = run_and_read_at_end(&device, words({"t", "a b", "$HOME;echo injected"}), &code);
    const char* home = std::getenv("HOME");
    EXPECT_EQ(output, std::string("3\n[a]\n[b]\n[") + (home ? home : "") + "]\ninjected\n");
    EXPECT_EQ(code, 0);
    const std::string root = m_dir.path();
    EXPECT_EQ(calls(), std::vector<strings>({{"adb", "-s", "S1", "shell",
                                              "cd " + root + "/ ; " + root + "/t a b $HOME;echo injected ; echo exit_code=$?"}}));
}

TEST_F(adb_device, a_test_runs_in_its_own_directory) {
    ::setenv("ADB_STUB_DEVICES", "S1", 1);
    m_dir.write_script("net/scan", "pwd -P\n");
    cls_adb_vesk_device device;
    open_menu(&device);
    device.exec_test("net/", words({"net/scan"}));
    wait_child_ended();
    std::string real = std::filesystem::canonical(m_dir.path()).string();
    EXPECT_EQ(std::string(device.read_output()->c_str()), real + "/net\n");
    int code = -1;
    EXPECT_TRUE(device.is_ended(&code));
    EXPECT_EQ(code, 0);
}

TEST_F(adb_device, an_empty_command_runs_only_the_cd_and_the_echo) {
    ::setenv("ADB_STUB_DEVICES", "S1", 1);
    cls_adb_vesk_device device;
    open_menu(&device);
    clear_calls();
    cls_array<cls_string> empty;
    device.exec_test("", empty);
    int code = -1;
    ASSERT_TRUE(device_poll_until([&] { return device.is_ended(&code); }));
    const std::string root = m_dir.path();
    EXPECT_EQ(calls(), std::vector<strings>({{"adb", "-s", "S1", "shell", "cd " + root + "/ ; " + root + "/ ; echo exit_code=$?"}}));
}

TEST_F(adb_device, a_dropped_connection_keeps_the_output_and_reports_nothing) {
    ::setenv("ADB_STUB_DEVICES", "S1", 1);
    ::setenv("ADB_STUB_DROP_MARKER", "1", 1);
    m_dir.write_script("t", "echo hello\nexit 4\n");
    cls_adb_vesk_device device;
    open_menu(&device);
    int code = -1;
    // No marker: the status is read from what lies after the missing position, here nothing.
    EXPECT_EQ(run_and_read_at_end(&device, words({"t"}), &code), "hello\n");
    EXPECT_EQ(code, 0);
}

TEST_F(adb_device, help_and_arguments_work_through_the_device_singleton) {
    ::setenv("ADB_STUB_DEVICES", "S1", 1);
    m_dir.write_help_script("d/t", "Usage: t\nArguments:\n--loops <1-9>: Default=3, Loops\n");
    select_adb("S1", m_dir.path());
    dev()->enter_sub_menu("d");
    dev()->set_cur_exec("t");
    ASSERT_TRUE(dev()->load_exec_help());
    // The marker line is part of the help text when a poll read it just before adb
    // ended and the next poll saw the end (the device's documented race, which a
    // slow machine hits now and then); the argument is there either way.
    const std::string help = "Usage: t\nArguments:\n--loops <1-9>: Default=3, Loops\n";
    const std::string got = dev()->help_msg()->c_str();
    EXPECT_TRUE(got == help || got == help + "exit_code=0\n") << got;
    dev()->select_arg("loops");
    dev()->set_cur_arg_value("7");
    dev()->execute();
    EXPECT_EQ(wait_for_adb_end(""), 0);
    EXPECT_EQ(device_read_lines(m_dir.at("d/t.args")), strings({"--loops", "7"}));
}

TEST_F(adb_device, an_endable_start_hides_the_group_line_and_keeps_the_status) {
    ::setenv("ADB_STUB_DEVICES", "S1", 1);
    m_dir.write_script("t", "echo line1\nexit 3\n");
    cls_adb_vesk_device device;
    open_menu(&device);
    device.set_endable(true);
    int code = 0;
    EXPECT_EQ(run_and_read_at_end(&device, words({"t", "--n", "4"}), &code), "line1\n");
    EXPECT_EQ(code, 3);
    EXPECT_GT(device.remote_group(), 0);
    // The arguments still reach the test as the panel's would.
    strings last = calls().back();
    ASSERT_EQ(last.size(), 5u);
    EXPECT_EQ(last[3], "shell");
    EXPECT_NE(last[4].find("vesk_pgid=$$"), std::string::npos) << last[4];
    EXPECT_NE(last[4].find("/t --n 4 ; echo exit_code=$?"), std::string::npos) << last[4];
}

TEST_F(adb_device, without_endable_no_group_line_is_asked_for) {
    ::setenv("ADB_STUB_DEVICES", "S1", 1);
    m_dir.write_script("t", "echo line1\n");
    cls_adb_vesk_device device;
    open_menu(&device);
    int code = -1;
    EXPECT_EQ(run_and_read_at_end(&device, words({"t"}), &code), "line1\n");
    EXPECT_EQ(code, 0);
    EXPECT_EQ(device.remote_group(), 0);
    strings last = calls().back();
    ASSERT_EQ(last.size(), 5u);
    EXPECT_EQ(last[4], "cd " + m_dir.path() + "/ ; " + m_dir.path() + "/t ; echo exit_code=$?");
}

TEST_F(adb_device, a_run_without_a_status_is_no_pass_when_endable) {
    ::setenv("ADB_STUB_DEVICES", "S1", 1);
    m_dir.write_script("t", "echo out\n");
    cls_adb_vesk_device device;
    open_menu(&device);
    device.set_endable(true);
    ::setenv("ADB_STUB_DROP_MARKER", "1", 1);
    int code = 0;
    EXPECT_EQ(run_and_read_at_end(&device, words({"t"}), &code), "out\n");
    EXPECT_EQ(code, cls_adb_vesk_device::NO_STATUS);
}

// A test on the stand-in's target that records its pid and its child's, and hangs.
// It writes all it ever writes before it names its processes: a test that kills
// the local client once the names are there must not leave it a write to a pipe
// without a reader, which would end it with SIGPIPE.
void write_hanging_test(const device_temp_dir& dir, const std::string& pids) {
    dir.write_script("hang", "sleep 100 &\necho started\necho \"$$ $!\" > '" + pids + ".tmp'\nmv '" + pids + ".tmp' '" +
                                 pids + "'\nwait\n");
}

TEST_F(adb_device, killing_the_client_leaves_the_test_running_on_the_target) {
    ::setenv("ADB_STUB_DEVICES", "S1", 1);
    std::string pids = m_side.at("pids");
    write_hanging_test(m_dir, pids);
    cls_adb_vesk_device device;
    open_menu(&device);
    device.exec_test("", words({"hang"}));
    std::string line = test_wait::wait_line(pids, 10000);
    int test_pid = 0, child_pid = 0;
    std::istringstream(line) >> test_pid >> child_pid;
    ASSERT_GT(test_pid, 0) << line;
    // Only the local client is a child of this program.
    int live[8];
    int count = ozgi::cls_process::live_pids(live, 8);
    ASSERT_EQ(count, 1);
    EXPECT_NE(live[0], test_pid);
    ::kill(-live[0], SIGKILL);
    int code = 0;
    while (!device.is_ended(&code)) ozgi::cls_time::sleep_ms(10);
    EXPECT_FALSE(test_wait::process_gone(test_pid));
    EXPECT_FALSE(test_wait::process_gone(child_pid));
    ::kill(test_pid, SIGKILL);
    ::kill(child_pid, SIGKILL);
    EXPECT_TRUE(test_wait::wait_gone(test_pid, 10000));
}

TEST_F(adb_device, end_test_ends_the_test_and_its_children_on_the_target) {
    ::setenv("ADB_STUB_DEVICES", "S1", 1);
    std::string pids = m_side.at("pids");
    write_hanging_test(m_dir, pids);
    cls_adb_vesk_device device;
    open_menu(&device);
    device.set_endable(true);
    device.exec_test("", words({"hang"}));
    std::string line = test_wait::wait_line(pids, 10000);
    int test_pid = 0, child_pid = 0;
    std::istringstream(line) >> test_pid >> child_pid;
    ASSERT_GT(test_pid, 0) << line;
    device.end_test(2000);
    EXPECT_EQ(device.remote_group(), test_pid);
    EXPECT_TRUE(test_wait::wait_gone(test_pid, 10000));
    EXPECT_TRUE(test_wait::wait_gone(child_pid, 10000));
    int code = 0;
    std::string output = device.read_output()->c_str();
    while (!device.is_ended(&code)) {
        output += device.read_output()->c_str();
        ozgi::cls_time::sleep_ms(10);
    }
    EXPECT_EQ(output, "started\n");
    // The target's shell saw the test end by SIGINT.
    EXPECT_EQ(code, 130);
}

TEST(adb_device_idle_death, stop_is_never_realized) {
    cls_adb_vesk_device device;
    EXPECT_EXIT(device.stop(), ::testing::ExitedWithCode(1), device_fatal_re("Not realized yet"));
}

TEST_F(adb_device_death, stop_during_a_test_is_not_realized_either) {
    ::setenv("ADB_STUB_DEVICES", "S1", 1);
    ::setenv("ADB_STUB_EXIT_DELAY", "1", 1);
    cls_adb_vesk_device device;
    device.exec_test("", words({"true"}));
    EXPECT_EXIT(device.stop(), ::testing::ExitedWithCode(1), device_fatal_re("Not realized yet"));
    int code = -1;
    EXPECT_TRUE(device_poll_until([&] { return device.is_ended(&code); }));
}

TEST(adb_device_idle_death, reading_before_any_test_is_fatal) {
    cls_adb_vesk_device device;
    int code = 0;
    EXPECT_EXIT(device.read_output(), ::testing::ExitedWithCode(1),
                device_fatal_re("Can't read stdout, test is not started yet."));
    EXPECT_EXIT(device.is_ended(&code), ::testing::ExitedWithCode(1),
                device_fatal_re("Can't get if exec is ended, test is not started yet."));
}

// Opt-in: with VESK_ADB_SERIAL naming an attached device, the same scan and a run
// go through the real adb client on the search path and the real device.
TEST(adb_real_device, menu_scan_and_run_on_a_real_device) {
    const char* serial = std::getenv("VESK_ADB_SERIAL");
    if (serial == nullptr || *serial == '\0') GTEST_SKIP() << "VESK_ADB_SERIAL is not set";
    const std::string root = "/data/local/tmp/vesk_device_test";
    auto adb_shell = [&](const std::string& command_line) {
        cls_array<cls_string> argv;
        argv.append("adb").append("-s").append(serial).append("shell").append(command_line.c_str());
        return ozgi::cls_process::execute_cmd(argv, nullptr, nullptr);
    };
    adb_shell("rm -rf " + root + " && mkdir -p " + root + "/sub " + root + "/hollow && printf '#!/system/bin/sh\\necho hi\\nexit 3\\n' > " +
              root + "/sub/t && chmod 755 " + root + "/sub/t");
    {
        cls_adb_vesk_device device;
        device.set_serial_id(serial);
        if_vesk_device::menu_tree_t tree;
        device.build_menu_tree(root.c_str(), &tree);
        EXPECT_STREQ(tree.to_string()->c_str(), "Diagnostic menu.,dir\nL---sub,dir\n    L---t,exec");
        device.exec_test("sub/", words({"sub/t"}));
        std::string output;
        int code = -1;
        ASSERT_TRUE(device_poll_until([&] {
            output += device.read_output()->c_str();
            return device.is_ended(&code);
        }, 60000));
        EXPECT_EQ(code, 3);
        EXPECT_NE(output.find("hi"), std::string::npos);
    }
    adb_shell("rm -rf " + root);
}
