// The local device: menu scan of a real directory tree and local test runs.
#include <gtest/gtest.h>

#include <sys/stat.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>

#include "device_fixture.h"
#include "devices/cls_local_vesk_device.h"
#include "ozgi/cls_ui_text_dict.h"

using ozgi::cls_array;
using ozgi::cls_string;
using strings = std::vector<std::string>;

using local_device = device_fixture;
using local_device_death = device_fixture;

namespace {
// Waits until `device` has printed `expected_output` (checked), then until its test
// ends; returns the exit status. The output is read to the end first, because what
// a test writes just before it is reaped is deliberately not kept.
int finish(cls_local_vesk_device* device, const std::string& expected_output) {
    std::string output;
    device_poll_until([&] {
        output += device->read_output()->c_str();
        return output.size() >= expected_output.size();
    });
    EXPECT_EQ(output, expected_output);
    int code = -1000;
    device_poll_until([&] { return device->is_ended(&code); });
    return code;
}

// Runs one test at the menu root on `device` and waits for its end.
int run_to_end(cls_local_vesk_device* device, const cls_array<cls_string>& cmd, const std::string& expected_output = "") {
    device->exec_test("", cmd);
    return finish(device, expected_output);
}

cls_array<cls_string> words(std::initializer_list<const char*> list) {
    cls_array<cls_string> out;
    for (const char* w : list) out.append(w);
    return out;
}
} // namespace

TEST_F(local_device, empty_root_uses_the_working_directory_with_a_doubled_separator) {
    // The script's name ends with the root, the doubled separator and the name,
    // whether or not the process layer anchors it at the program's directory.
    m_dir.write_script("t", "case \"$0\" in *.//t) echo path-ok ;; *) echo \"bad path $0\" ;; esac\npwd -P\n");
    device_cwd_guard cwd(m_dir.path());
    select_local("");
    EXPECT_STREQ(dev()->menu_title()->c_str(), "Diagnostic");
    dev()->set_cur_exec("t");
    dev()->execute();
    std::string real = std::filesystem::canonical(m_dir.path()).string();
    EXPECT_EQ(wait_for_end("path-ok\n" + real + "\n"), 0);
}

TEST_F(local_device, empty_root_runs_a_sub_menu_test_by_its_doubled_separator_path) {
    // The script's own name shows the path it was started by; whether the process
    // layer hands the kernel that relative path or first anchors it at the working
    // directory, it ends with the root, the doubled separator and the relative path.
    m_dir.write_script("sub/t", "case \"$0\" in *.//sub/t) echo path-ok ;; *) echo \"bad path $0\" ;; esac\npwd -P\n");
    device_cwd_guard cwd(m_dir.path());
    select_local("");
    dev()->enter_sub_menu("sub");
    dev()->set_cur_exec("t");
    dev()->execute();
    std::string real = std::filesystem::canonical(m_dir.path()).string();
    EXPECT_EQ(wait_for_end("path-ok\n" + real + "/sub\n"), 0);
}

TEST_F(local_device, directories_without_tests_are_absent) {
    m_dir.write_file("plain/readme.txt", "text\n");
    m_dir.write_file("plain/data.bin", "data");
    m_dir.make_dir("hollow/a/b");
    m_dir.make_dir("hollow/c");
    m_dir.write_script("keep/t", "exit 0\n");
    select_local();
    EXPECT_EQ(device_vec(*dev()->dirs()), strings({"keep"}));
    EXPECT_EQ(tree_text(), "Diagnostic,dir\nL---keep,dir\n    L---t,exec");
}

TEST_F(local_device, a_test_three_levels_down_shows_the_whole_chain) {
    m_dir.write_script("a/b/c/t", "exit 0\n");
    select_local();
    EXPECT_EQ(tree_text(), "Diagnostic,dir\nL---a,dir\n    L---b,dir\n        L---c,dir\n            L---t,exec");
}

TEST_F(local_device, executable_directory_is_a_sub_menu_and_only_executable_files_are_tests) {
    m_dir.write_script("xdir/t", "exit 0\n");
    ::chmod(m_dir.at("xdir").c_str(), 0777);
    m_dir.write_script("run", "exit 0\n");
    m_dir.write_file("notes", "#!/bin/sh\nexit 0\n", 0644);
    select_local();
    EXPECT_EQ(device_vec(*dev()->dirs()), strings({"xdir"}));
    EXPECT_EQ(device_vec(*dev()->execs()), strings({"run"}));
}

TEST_F(local_device, hidden_entries_are_scanned_too) {
    m_dir.write_script(".hidden/t", "exit 0\n");
    m_dir.write_script(".dot", "exit 0\n");
    select_local();
    EXPECT_EQ(device_vec(*dev()->dirs()), strings({".hidden"}));
    EXPECT_EQ(device_vec(*dev()->execs()), strings({".dot"}));
}

TEST_F(local_device, dict_xml_is_merged_by_path_and_is_not_a_menu_entry) {
    m_dir.write_file("dict.xml",
                     "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<ui_text_dict>\n"
                     "  <dict_entry en_US=\"vesk_local_dict_probe\" zh_CN=\"\xE6\x8E\xA2\xE9\x92\x88\"/>\n</ui_text_dict>\n");
    m_dir.write_script("t", "exit 0\n");
    select_local();
    EXPECT_EQ(device_vec(*dev()->execs()), strings({"t"}));
    EXPECT_TRUE(dev()->dirs()->is_empty());
    EXPECT_STREQ(ozgi::cls_ui_text_dict::ins()->translate("vesk_local_dict_probe", "zh_CN").c_str(), "\xE6\x8E\xA2\xE9\x92\x88");
}

TEST_F(local_device_death, a_fifo_named_dict_xml_is_not_read_and_does_not_block_the_scan) {
    // Opening a FIFO that nobody writes blocks for ever; the child would then be
    // ended by its alarm instead of exiting with 0.
    ASSERT_EQ(::mkfifo((m_dir.path() + "/dict.xml").c_str(), 0644), 0);
    m_dir.write_script("t", "exit 0\n");
    EXPECT_EXIT(
        {
            ::alarm(20);
            select_local();
            std::exit(device_vec(*dev()->execs()) == strings({"t"}) && dev()->dirs()->is_empty() ? 0 : 2);
        },
        testing::ExitedWithCode(0), "");
}

TEST_F(local_device, loading_into_a_tree_with_a_root_keeps_the_root_object) {
    m_dir.write_script("t", "exit 0\n");
    cls_local_vesk_device device;
    if_vesk_device::menu_tree_t tree;
    tree.set_root_data(if_vesk_device::menu_node_t("old", false));
    const if_vesk_device::menu_tree_node_t* root = tree.root();
    device.build_menu_tree(m_dir.path().c_str(), &tree);
    EXPECT_EQ(tree.root(), root);
    EXPECT_STREQ(tree.to_string()->c_str(), "Diagnostic,dir\nL---t,exec");
}

TEST(local_device_ids, the_one_id_is_local_device) {
    cls_local_vesk_device device;
    EXPECT_EQ(device_vec(*device.list_serial_ids()), strings({"LOCAL_DEVICE"}));
}

TEST(local_device_ids, selecting_local_device_does_nothing) {
    cls_local_vesk_device device;
    device.set_serial_id("LOCAL_DEVICE");
    // Still idle: nothing was started by the selection.
    EXPECT_EXIT(device.stop(), ::testing::ExitedWithCode(1), device_fatal_re("Can't stop exec, test is not started yet."));
}

TEST(local_device_ids_death, any_other_id_is_fatal) {
    cls_local_vesk_device device;
    EXPECT_EXIT(device.set_serial_id("emulator-5554"), ::testing::ExitedWithCode(1),
                device_fatal_re("Serial ID is emulator-5554, not LOCAL_DEVICE."));
    EXPECT_EXIT(device.set_serial_id(""), ::testing::ExitedWithCode(1), device_fatal_re("Serial ID is , not LOCAL_DEVICE."));
}

TEST_F(local_device_death, is_ended_is_true_once_with_the_status_then_fatal) {
    m_dir.write_script("t", "while [ ! -e '" + m_dir.at("go") + "' ]; do sleep 0.01; done\nexit 3\n");
    cls_local_vesk_device device;
    if_vesk_device::menu_tree_t tree;
    device.build_menu_tree(m_dir.path().c_str(), &tree);
    device.exec_test("", words({"t"}));
    int code = 42;
    EXPECT_FALSE(device.is_ended(&code));
    EXPECT_EQ(code, 42);
    m_dir.write_file("go", "");
    bool ended = device_poll_until([&] { return device.is_ended(&code); });
    ASSERT_TRUE(ended);
    EXPECT_EQ(code, 3);
    EXPECT_EXIT(device.is_ended(&code), ::testing::ExitedWithCode(1),
                device_fatal_re("Can't get if exec is ended, test is not started yet."));
    EXPECT_EXIT(device.read_output(), ::testing::ExitedWithCode(1),
                device_fatal_re("Can't read stdout, test is not started yet."));
}

TEST(local_device_idle_death, run_time_operations_before_any_test_are_fatal) {
    cls_local_vesk_device device;
    int code = 0;
    EXPECT_EXIT(device.read_output(), ::testing::ExitedWithCode(1),
                device_fatal_re("Can't read stdout, test is not started yet."));
    EXPECT_EXIT(device.is_ended(&code), ::testing::ExitedWithCode(1),
                device_fatal_re("Can't get if exec is ended, test is not started yet."));
    EXPECT_EXIT(device.stop(), ::testing::ExitedWithCode(1), device_fatal_re("Can't stop exec, test is not started yet."));
}

TEST_F(local_device_death, stop_after_the_test_was_reaped_is_fatal) {
    m_dir.write_script("t", "exit 0\n");
    cls_local_vesk_device device;
    if_vesk_device::menu_tree_t tree;
    device.build_menu_tree(m_dir.path().c_str(), &tree);
    EXPECT_EQ(run_to_end(&device, words({"t"})), 0);
    EXPECT_EXIT(device.stop(), ::testing::ExitedWithCode(1), device_fatal_re("Can't stop exec, test is not started yet."));
}

TEST_F(local_device, stop_during_a_test_only_signals_and_the_status_shows_the_interrupt) {
    // The script traps nothing: the interrupt reaches it and the program it waits for.
    m_dir.write_script("t", "echo started\nsleep 100\necho not reached\n");
    cls_local_vesk_device device;
    if_vesk_device::menu_tree_t tree;
    device.build_menu_tree(m_dir.path().c_str(), &tree);
    device.exec_test("", words({"t"}));
    std::string output;
    ASSERT_TRUE(device_poll_until([&] {
        output += device.read_output()->c_str();
        return output == "started\n";
    }));
    device.stop();
    int code = -1;
    ASSERT_TRUE(device_poll_until([&] {
        output += device.read_output()->c_str();
        return device.is_ended(&code);
    }));
    EXPECT_EQ(code, 130);
    EXPECT_EQ(output, "started\n");
}

TEST_F(local_device, a_new_test_replaces_a_running_one_without_stopping_it) {
    m_dir.write_script("slow", "while [ ! -e '" + m_dir.at("go") + "' ]; do sleep 0.01; done\necho done > '" +
                                   m_dir.at("slow.done") + "'\n");
    m_dir.write_script("quick", "echo quick\nexit 5\n");
    cls_local_vesk_device device;
    if_vesk_device::menu_tree_t tree;
    device.build_menu_tree(m_dir.path().c_str(), &tree);
    device.exec_test("", words({"slow"}));
    EXPECT_EQ(run_to_end(&device, words({"quick"}), "quick\n"), 5);
    m_dir.write_file("go", "");
    // The first test was left running and finishes on its own.
    EXPECT_TRUE(device_poll_until([&] { return std::filesystem::exists(m_dir.at("slow.done")); }));
}

TEST_F(local_device_death, an_empty_command_is_fatal_through_the_array_check) {
    cls_local_vesk_device device;
    if_vesk_device::menu_tree_t tree;
    device.build_menu_tree(m_dir.path().c_str(), &tree);
    cls_array<cls_string> empty;
    EXPECT_EXIT(device.exec_test("", empty), ::testing::ExitedWithCode(1),
                device_fatal_re("Can't get the 0th element, there are only 0 elements."));
}

TEST_F(local_device, words_are_passed_unchanged_and_the_test_starts_in_its_directory) {
    m_dir.write_script("d/t", "printf '[%s]\\n' \"$@\"\npwd -P\n");
    cls_local_vesk_device device;
    if_vesk_device::menu_tree_t tree;
    device.build_menu_tree(m_dir.path().c_str(), &tree);
    device.exec_test("d/", words({"d/t", "a b", "$HOME;x", ""}));
    std::string real = std::filesystem::canonical(m_dir.path()).string();
    EXPECT_EQ(finish(&device, "[a b]\n[$HOME;x]\n[]\n" + real + "/d\n"), 0);
}

TEST_F(local_device, output_arriving_in_pieces_is_read_in_pieces) {
    m_dir.write_script("t", "echo one\nwhile [ ! -e '" + m_dir.at("go") + "' ]; do sleep 0.01; done\necho two\n");
    cls_local_vesk_device device;
    if_vesk_device::menu_tree_t tree;
    device.build_menu_tree(m_dir.path().c_str(), &tree);
    device.exec_test("", words({"t"}));
    std::string first;
    ASSERT_TRUE(device_poll_until([&] {
        first += device.read_output()->c_str();
        return first == "one\n";
    }));
    m_dir.write_file("go", "");
    EXPECT_EQ(finish(&device, "two\n"), 0);
}
