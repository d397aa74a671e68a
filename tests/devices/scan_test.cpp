// The local device's menu scan where links, pipes and odd entries meet it.
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>

#include "device_fixture.h"

using strings = std::vector<std::string>;
using menu_scan = device_fixture;

TEST_F(menu_scan, two_links_to_the_root_end_the_scan_and_are_left_out) {
    m_dir.write_script("t", "exit 0\n");
    m_dir.write_script("sub/u", "exit 0\n");
    std::filesystem::create_directory_symlink(".", m_dir.at("loop_a"));
    std::filesystem::create_directory_symlink(".", m_dir.at("loop_b"));
    select_local();
    EXPECT_EQ(device_vec(*dev()->dirs()), strings({"sub"}));
    EXPECT_EQ(device_vec(*dev()->execs()), strings({"t"}));
}

TEST_F(menu_scan, a_link_to_an_ancestor_deeper_down_is_left_out) {
    m_dir.write_script("a/b/t", "exit 0\n");
    std::filesystem::create_directory_symlink("..", m_dir.at("a/b/up"));
    std::filesystem::create_directory_symlink("../..", m_dir.at("a/b/top"));
    select_local();
    EXPECT_EQ(tree_text(), "Diagnostic,dir\nL---a,dir\n    L---b,dir\n        L---t,exec");
}

TEST_F(menu_scan, a_link_to_a_directory_off_the_path_is_followed) {
    m_dir.write_script("real/t", "exit 0\n");
    std::filesystem::create_directory_symlink("real", m_dir.at("alias"));
    select_local();
    EXPECT_EQ(device_vec(*dev()->dirs()), strings({"alias", "real"}));
    dev()->enter_sub_menu("alias");
    EXPECT_EQ(device_vec(*dev()->execs()), strings({"t"}));
}

TEST_F(menu_scan, two_directories_linking_to_each_other_are_each_entered_once_per_path) {
    m_dir.write_script("x/t", "exit 0\n");
    m_dir.write_script("y/u", "exit 0\n");
    std::filesystem::create_directory_symlink("../y", m_dir.at("x/to_y"));
    std::filesystem::create_directory_symlink("../x", m_dir.at("y/to_x"));
    select_local();
    // x -> to_y (y) -> to_x would be x again, which is on the path: left out there.
    dev()->enter_sub_menu("x");
    EXPECT_EQ(device_vec(*dev()->dirs()), strings({"to_y"}));
    dev()->enter_sub_menu("to_y");
    EXPECT_TRUE(dev()->dirs()->is_empty());
    EXPECT_EQ(device_vec(*dev()->execs()), strings({"u"}));
}

TEST_F(menu_scan, a_link_to_a_test_is_a_test_and_a_dangling_link_is_nothing) {
    m_dir.write_script("run", "exit 0\n");
    std::filesystem::create_symlink("run", m_dir.at("run_link"));
    std::filesystem::create_symlink("missing", m_dir.at("dangling"));
    select_local();
    EXPECT_EQ(device_vec(*dev()->execs()), strings({"run", "run_link"}));
    EXPECT_TRUE(dev()->dirs()->is_empty());
}

TEST_F(menu_scan, a_pipe_with_execute_bits_is_no_test) {
    m_dir.write_script("run", "exit 0\n");
    ASSERT_EQ(::mkfifo(m_dir.at("pipe").c_str(), 0755), 0);
    select_local();
    EXPECT_EQ(device_vec(*dev()->execs()), strings({"run"}));
}

TEST_F(menu_scan, execute_bits_for_the_group_or_others_only_follow_the_kernel) {
    m_dir.write_file("group_only", "#!/bin/sh\nexit 0\n", 0654);
    m_dir.write_file("none", "#!/bin/sh\nexit 0\n", 0644);
    m_dir.write_script("run", "exit 0\n");
    select_local();
    // The owner (this process) may run group_only only when it is root.
    strings expected = ::getuid() == 0 ? strings({"group_only", "run"}) : strings({"run"});
    EXPECT_EQ(device_vec(*dev()->execs()), expected);
}
