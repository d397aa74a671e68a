// cls_dir: one directory level with the entries' types.
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <map>

#include "ozgi/cls_dir.h"
#include "temp_tree.h"

using ozgi::cls_array;
using ozgi::cls_dir;
using ozgi::cls_string;

namespace {
// name -> "d" (directory), "x" (executable) or "-" (neither).
std::map<std::string, std::string> types_of(const cls_array<cls_dir::entry_t>& entries) {
    std::map<std::string, std::string> out;
    for (int i = 0; i < entries.count(); ++i)
        out[entries[i].name.c_str()] = entries[i].is_dir ? "d" : entries[i].is_exec ? "x" : "-";
    return out;
}
} // namespace

TEST(dir, entries_are_typed_with_links_followed) {
    temp_tree t;
    t.dir("sub");
    t.script("run", "exit 0\n");
    t.file("plain", "x");
    ASSERT_EQ(::symlink("sub", t.path("sub_link").c_str()), 0);
    ASSERT_EQ(::symlink("run", t.path("run_link").c_str()), 0);
    ASSERT_EQ(::symlink("nowhere", t.path("dangling").c_str()), 0);
    ASSERT_EQ(::mkfifo(t.path("fifo").c_str(), 0755), 0);
    cls_dir::id_t self{0, 0};
    cls_array<cls_dir::entry_t> entries;
    ASSERT_TRUE(cls_dir::read(cls_string(t.root().c_str()), &self, &entries));
    std::map<std::string, std::string> expected{{"sub", "d"},     {"run", "x"},      {"plain", "-"},
                                                {"sub_link", "d"}, {"run_link", "x"}, {"dangling", "-"},
                                                {"fifo", "-"}};
    EXPECT_EQ(types_of(entries), expected);
}

TEST(dir, a_directory_and_a_link_to_it_have_the_same_identity) {
    temp_tree t;
    t.dir("sub");
    t.dir("other");
    ASSERT_EQ(::symlink("sub", t.path("sub_link").c_str()), 0);
    cls_dir::id_t a{0, 0}, b{0, 0}, c{0, 0};
    cls_array<cls_dir::entry_t> entries;
    ASSERT_TRUE(cls_dir::read(cls_string(t.path("sub").c_str()), &a, &entries));
    ASSERT_TRUE(cls_dir::read(cls_string(t.path("sub_link").c_str()), &b, &entries));
    ASSERT_TRUE(cls_dir::read(cls_string(t.path("other").c_str()), &c, &entries));
    struct stat st;
    ASSERT_EQ(::stat(t.path("sub").c_str(), &st), 0);
    EXPECT_EQ(a.ino, static_cast<unsigned long long>(st.st_ino));
    EXPECT_TRUE(a == b);
    EXPECT_TRUE(a != c);
    EXPECT_TRUE(entries.is_empty());
}

TEST(dir, a_missing_or_plain_path_reads_nothing) {
    temp_tree t;
    t.file("plain", "x");
    cls_dir::id_t self{0, 0};
    cls_array<cls_dir::entry_t> entries;
    EXPECT_FALSE(cls_dir::read(cls_string(t.path("missing").c_str()), &self, &entries));
    EXPECT_FALSE(cls_dir::read(cls_string(t.path("plain").c_str()), &self, &entries));
    EXPECT_TRUE(entries.is_empty());
}

TEST(dir, execute_permission_follows_the_kernel_for_the_owner_and_others) {
    temp_tree t;
    t.file("owner_x", "x", 0744);
    t.file("group_x", "x", 0654);
    t.file("other_x", "x", 0645);
    cls_dir::id_t self{0, 0};
    cls_array<cls_dir::entry_t> entries;
    ASSERT_TRUE(cls_dir::read(cls_string(t.root().c_str()), &self, &entries));
    std::map<std::string, std::string> expected;
    for (const char* n : {"owner_x", "group_x", "other_x"})
        expected[n] = ::access(t.path(n).c_str(), X_OK) == 0 ? "x" : "-";
    EXPECT_EQ(types_of(entries), expected);
    EXPECT_EQ(expected["owner_x"], "x");
}
