// Ending the process groups of running children, appending whole lines, and
// what a directory walk learns about links.
#include <gtest/gtest.h>

#include <regex>
#include <string>
#include <unistd.h>

#include "ozgi/cls_file.h"
#include "ozgi/cls_process.h"
#include "ozgi/cls_process_group.h"
#include "ozgi/cls_time.h"
#include "ozgi/if_file_sys.h"
#include "temp_tree.h"

using namespace ozgi;

namespace {

cls_array<cls_string> shell(const std::string& command) {
    cls_array<cls_string> a;
    a.append("/bin/sh").append("-c").append(command.c_str());
    return a;
}

// Whether `pid` is a process that has not ended (an unreaped zombie has ended).
bool running(int pid) {
    cls_sp<cls_string> stat = cls_file::read_to_str(("/proc/" + std::to_string(pid) + "/stat").c_str());
    if (stat.is_null()) return false;
    std::string s = stat->c_str();
    size_t close = s.rfind(')');
    return close != std::string::npos && close + 2 < s.size() && s[close + 2] != 'Z';
}

} // namespace

TEST(io_process_group, a_child_ignoring_int_and_term_is_killed_with_its_own_children) {
    temp_tree t;
    std::string pids = t.path("pids");
    cls_process p(shell("trap '' INT TERM; (trap '' INT TERM; sleep 100) & echo $! > " + pids + "; echo up; sleep 100"),
                  cls_string());
    // Wait for the child's own child to exist.
    for (int i = 0; i < 500 && p.read_to_str()->is_empty(); ++i) cls_time::sleep_ms(10);
    int groups[4];
    ASSERT_EQ(cls_process_group::running_groups(groups, 4), 1);
    EXPECT_EQ(groups[0], p.pid());
    EXPECT_TRUE(cls_process_group::alive(groups[0]));
    EXPECT_EQ(cls_process_group::end_groups(groups, 1, 200), cls_process_group::SIGNAL_KILL);
    // The group may still count as alive here: the orphaned grandchild is a zombie
    // until whoever adopted it reaps it, which is out of our hands.
    EXPECT_TRUE(p.is_ended() || p.is_ended());
    EXPECT_EQ(p.wait_for_exit(), 128 + 9);
    int grandchild = std::stoi(std::string(cls_file::read_to_str(pids.c_str())->c_str()));
    EXPECT_FALSE(running(grandchild));
}

TEST(io_process_group, an_interrupt_is_enough_for_an_ordinary_child) {
    // The shell replaces itself by sleep once it has said so: an interrupt sent
    // while a shell is still starting up may meet its handler instead of sleep.
    cls_process p(shell("echo up; exec sleep 100"), cls_string());
    for (int i = 0; i < 500 && p.read_to_str()->is_empty(); ++i) cls_time::sleep_ms(10);
    int groups[4];
    ASSERT_EQ(cls_process_group::running_groups(groups, 4), 1);
    EXPECT_EQ(cls_process_group::end_groups(groups, 1, 2000), cls_process_group::SIGNAL_INTERRUPT);
    EXPECT_EQ(p.wait_for_exit(), 128 + 2);
    EXPECT_EQ(cls_process_group::running_groups(groups, 4), 0);
}

TEST(io_append_whole, lines_are_appended_and_failures_explained) {
    temp_tree t;
    std::string path = t.path("log");
    cls_string why;
    ASSERT_TRUE(cls_file::append_whole(path.c_str(), "one\n", &why));
    ASSERT_TRUE(cls_file::append_whole(path.c_str(), "two\n", nullptr));
    EXPECT_STREQ(cls_file::read_to_str(path.c_str())->c_str(), "one\ntwo\n");
    EXPECT_FALSE(cls_file::append_whole(t.path("no/such/log").c_str(), "x", &why));
    EXPECT_STREQ(why.c_str(), "No such file or directory");
}

TEST(io_walk_info, links_loops_and_identity) {
    temp_tree t;
    t.dir("d");
    ASSERT_EQ(::symlink("..", t.path("d/up").c_str()), 0);
    ASSERT_EQ(::symlink("self", t.path("self").c_str()), 0);
    if_file_sys::walk_info_t root, up, self;
    ASSERT_TRUE(if_file_sys::walk_info(t.root().c_str(), &root));
    ASSERT_TRUE(if_file_sys::walk_info(t.path("d/up").c_str(), &up));
    EXPECT_TRUE(up.is_link);
    EXPECT_TRUE(up.is_dir);
    EXPECT_EQ(up.device, root.device);
    EXPECT_EQ(up.inode, root.inode);
    ASSERT_TRUE(if_file_sys::walk_info(t.path("self").c_str(), &self));
    EXPECT_TRUE(self.link_loop);
    EXPECT_FALSE(self.is_dir);
    EXPECT_FALSE(if_file_sys::walk_info(t.path("missing").c_str(), &self));
}

TEST(io_wall_clock, iso8601_with_zone) {
    std::string now = cls_time::wall_clock_iso8601().c_str();
    EXPECT_TRUE(std::regex_match(now, std::regex(R"(\d{4}-\d\d-\d\dT\d\d:\d\d:\d\d\.\d{3}[+-]\d\d:\d\d)"))) << now;
}
