// Walking the menu tree: titles, sorted listings, sub-menus, direct tests, refresh.
#include <gtest/gtest.h>

#include <filesystem>

#include "device_fixture.h"

using navigation = device_fixture;
using navigation_death = device_fixture;
using strings = std::vector<std::string>;

TEST_F(navigation, empty_menu_root_gives_a_bare_root) {
    select_local();
    EXPECT_TRUE(dev()->dirs()->is_empty());
    EXPECT_TRUE(dev()->execs()->is_empty());
    EXPECT_STREQ(dev()->menu_title()->c_str(), "Diagnostic");
    EXPECT_STREQ(dev()->upper_menu_title()->c_str(), "Exit");
}

TEST_F(navigation, one_level_down_the_way_back_is_the_root_title) {
    m_dir.write_script("net/ping", "exit 0\n");
    select_local();
    EXPECT_EQ(device_vec(*dev()->dirs()), strings({"net"}));
    dev()->enter_sub_menu("net");
    EXPECT_STREQ(dev()->menu_title()->c_str(), "net");
    EXPECT_STREQ(dev()->upper_menu_title()->c_str(), "Diagnostic");
    EXPECT_EQ(device_vec(*dev()->execs()), strings({"ping"}));
    EXPECT_TRUE(dev()->dirs()->is_empty());
    dev()->back_to_parent_menu();
    EXPECT_STREQ(dev()->menu_title()->c_str(), "Diagnostic");
}

TEST_F(navigation, a_directory_and_a_test_of_one_name_enter_the_directory) {
    // A file system cannot hold both at once, so the tree gets the test from a
    // first selection and the directory from a second one into the same tree.
    m_dir.write_script("x", "exit 0\n");
    select_local();
    std::filesystem::remove(m_dir.at("x"));
    m_dir.write_script("x/inner", "exit 0\n");
    dev()->set_serial_id("LOCAL_DEVICE");
    ASSERT_EQ(tree_text(), "Diagnostic,dir\n+---x,exec\nL---x,dir\n    L---inner,exec");
    dev()->enter_sub_menu("x");
    EXPECT_STREQ(dev()->menu_title()->c_str(), "x");
    EXPECT_EQ(device_vec(*dev()->execs()), strings({"inner"}));
}

TEST_F(navigation, names_sort_in_byte_order) {
    for (const char* name : {"a", "9", "B", "10"}) {
        m_dir.write_script(name, "exit 0\n");
        m_dir.write_script(std::string("d") + name + "/t", "exit 0\n");
    }
    select_local();
    EXPECT_EQ(device_vec(*dev()->execs()), strings({"10", "9", "B", "a"}));
    EXPECT_EQ(device_vec(*dev()->dirs()), strings({"d10", "d9", "dB", "da"}));
}

TEST_F(navigation, direct_exec_prefix_is_hidden_in_the_display_name) {
    m_dir.write_script("direct_exec.reset", "exit 0\n");
    select_local();
    EXPECT_EQ(device_vec(*dev()->execs()), strings({"direct_exec.reset"}));
    dev()->set_cur_exec("direct_exec.reset");
    EXPECT_STREQ(dev()->exec_name()->c_str(), "reset");
    EXPECT_TRUE(dev()->is_direct_exec());
}

TEST_F(navigation, capitalised_direct_exec_prefix_is_an_ordinary_test) {
    m_dir.write_script("Direct_exec.reset", "exit 0\n");
    select_local();
    EXPECT_EQ(device_vec(*dev()->execs()), strings({"Direct_exec.reset"}));
    dev()->set_cur_exec("Direct_exec.reset");
    EXPECT_STREQ(dev()->exec_name()->c_str(), "Direct_exec.reset");
    EXPECT_FALSE(dev()->is_direct_exec());
}

TEST_F(navigation, refresh_in_a_sub_menu_returns_to_the_root) {
    m_dir.write_script("net/ping", "exit 0\n");
    select_local();
    dev()->enter_sub_menu("net");
    dev()->set_cur_exec("ping");
    m_dir.write_script("net/scan", "exit 0\n");
    dev()->refresh_menu();
    EXPECT_EQ(dev()->cur_node(), dev()->menu_tree()->root());
    EXPECT_STREQ(dev()->menu_title()->c_str(), "Diagnostic");
    EXPECT_STREQ(dev()->exec_name()->c_str(), "ping");
    // The new tree was read afresh, and only once.
    dev()->enter_sub_menu("net");
    EXPECT_EQ(device_vec(*dev()->execs()), strings({"ping", "scan"}));
}

TEST_F(navigation_death, unknown_sub_menu_is_fatal) {
    m_dir.write_script("net/ping", "exit 0\n");
    m_dir.write_script("tool", "exit 0\n");
    select_local();
    EXPECT_EXIT(dev()->enter_sub_menu("nope"), ::testing::ExitedWithCode(1), device_fatal_re("Can't find sub_menu nope"));
    // A test is never entered as a sub-menu.
    EXPECT_EXIT(dev()->enter_sub_menu("tool"), ::testing::ExitedWithCode(1), device_fatal_re("Can't find sub_menu tool"));
}

TEST_F(navigation, leaving_the_root_leaves_no_current_menu) {
    select_local();
    dev()->back_to_parent_menu();
    EXPECT_EQ(dev()->cur_node(), nullptr);
}

TEST_F(navigation, a_test_runs_by_its_path_in_its_own_directory) {
    m_dir.write_script("a/b/t", "printf '%s\\n' \"$0\" \"$(pwd -P)\" \"$#\"\n");
    select_local();
    dev()->enter_sub_menu("a");
    dev()->enter_sub_menu("b");
    dev()->set_cur_exec("t");
    dev()->execute();
    std::string real = std::filesystem::canonical(m_dir.path()).string();
    EXPECT_EQ(wait_for_end(m_dir.path() + "/a/b/t\n" + real + "/a/b\n0\n"), 0);
}

TEST_F(navigation, a_direct_test_keeps_its_prefix_in_the_path_it_runs) {
    m_dir.write_script("direct_exec.reset", "printf '%s\\n' \"$0\"\n");
    select_local();
    dev()->set_cur_exec("direct_exec.reset");
    dev()->execute();
    EXPECT_EQ(wait_for_end(m_dir.path() + "/direct_exec.reset\n"), 0);
}
