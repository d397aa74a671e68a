#include <gtest/gtest.h>

#include <algorithm>
#include <set>
#include <string>
#include <sys/stat.h>
#include <unistd.h>
#include <vector>

#include "ozgi/cls_file.h"
#include "ozgi/if_file_sys.h"
#include "temp_tree.h"

using namespace ozgi;

namespace {

std::set<std::string> as_set(const cls_sp<cls_array<cls_string>>& list) {
    std::set<std::string> out;
    for (const cls_string& s : *list) out.insert(s.c_str());
    return out;
}

// A tree with a hidden file, a hidden directory, a plain file and a nested directory.
void make_sample(const temp_tree& t) {
    t.file("a.txt", "a");
    t.file(".hidden", "h");
    t.dir(".hdir");
    t.dir("sub");
    t.file("sub/inner.sh", "x", 0755);
    t.dir("sub/deeper");
    t.file("sub/deeper/leaf.txt", "leaf");
}

} // namespace

TEST(file_list, one_level_includes_hidden_and_skips_dot_entries) {
    temp_tree t;
    make_sample(t);
    auto list = cls_file::list_file(t.root().c_str(), "", false, false, false);
    ASSERT_TRUE(list.is_not_null());
    std::set<std::string> want = {t.path("a.txt"), t.path(".hidden"), t.path(".hdir"), t.path("sub")};
    EXPECT_EQ(as_set(list), want);
    EXPECT_EQ(list->count(), 4);
    for (const cls_string& e : *list) {
        EXPECT_NE(e.file_name(), ".");
        EXPECT_NE(e.file_name(), "..");
        EXPECT_TRUE(cls_file::file_exists(e)) << e.c_str();
    }
}

TEST(file_list, trailing_separator_is_not_doubled) {
    temp_tree t;
    t.file("only", "");
    auto list = cls_file::list_file((t.root() + "/").c_str(), "", false, false, false);
    ASSERT_EQ(list->count(), 1);
    EXPECT_STREQ((*list)[0].c_str(), t.path("only").c_str());
}

TEST(file_list, relative_directory_gives_paths_openable_from_the_working_directory) {
    temp_tree t;
    t.dir("menu");
    t.file("menu/test.sh", "x", 0755);
    char old[4096];
    ASSERT_NE(::getcwd(old, sizeof old), nullptr);
    ASSERT_EQ(::chdir(t.root().c_str()), 0);
    auto plain = cls_file::list_file("menu", "", false, false, false);
    auto dotted = cls_file::list_file("./", "", false, false, false);
    ASSERT_EQ(::chdir(old), 0);
    ASSERT_EQ(plain->count(), 1);
    EXPECT_STREQ((*plain)[0].c_str(), "menu/test.sh");
    ASSERT_EQ(dotted->count(), 1);
    EXPECT_STREQ((*dotted)[0].c_str(), "./menu");
}

TEST(file_list, missing_directory_gives_empty_list) {
    temp_tree t;
    auto list = cls_file::list_file(t.path("absent").c_str(), "", false, false, false);
    ASSERT_TRUE(list.is_not_null());
    EXPECT_EQ(list->count(), 0);
}

TEST(file_list, pattern_recursion_and_type_filters) {
    temp_tree t;
    make_sample(t);
    auto all = cls_file::list_file(t.root().c_str(), "", true, false, false);
    std::set<std::string> want_all = {t.path("a.txt"),          t.path(".hidden"),          t.path(".hdir"),
                                      t.path("sub"),            t.path("sub/inner.sh"),     t.path("sub/deeper"),
                                      t.path("sub/deeper/leaf.txt")};
    EXPECT_EQ(as_set(all), want_all);

    auto txt = cls_file::list_file(t.root().c_str(), "*.txt", true, false, false);
    EXPECT_EQ(as_set(txt), (std::set<std::string>{t.path("a.txt"), t.path("sub/deeper/leaf.txt")}));

    auto files = cls_file::list_file(t.root().c_str(), "", true, true, false);
    EXPECT_EQ(as_set(files), (std::set<std::string>{t.path("a.txt"), t.path(".hidden"), t.path("sub/inner.sh"),
                                                    t.path("sub/deeper/leaf.txt")}));

    auto dirs = cls_file::list_file(t.root().c_str(), "", false, false, true);
    EXPECT_EQ(as_set(dirs), (std::set<std::string>{t.path(".hdir"), t.path("sub")}));
}

TEST(file_list, recursion_lists_a_directory_link_without_entering_it) {
    temp_tree t;
    t.dir("d");
    t.file("d/f", "");
    ASSERT_EQ(::symlink(t.root().c_str(), t.path("d/up").c_str()), 0);
    auto all = cls_file::list_file(t.root().c_str(), "", true, false, false);
    EXPECT_EQ(as_set(all), (std::set<std::string>{t.path("d"), t.path("d/f"), t.path("d/up")}));
}

TEST(file_text, write_then_read_round_trip_keeps_every_byte) {
    temp_tree t;
    std::string bytes("line1\nline2\0tail\xff", 17);
    cls_string path(t.path("data").c_str());
    ASSERT_TRUE(cls_file::write_str(path, cls_string(bytes.data(), static_cast<int>(bytes.size()))));
    auto back = cls_file::read_to_str(path);
    ASSERT_TRUE(back.is_not_null());
    ASSERT_EQ(back->length(), 17);
    EXPECT_EQ(std::string(back->c_str(), back->length()), bytes);

    ASSERT_TRUE(cls_file::write_str(path, "short"));
    EXPECT_STREQ(cls_file::read_to_str(path)->c_str(), "short");
}

TEST(file_text, large_file_is_read_whole) {
    temp_tree t;
    std::string big(300000, 'q');
    big[299999] = 'z';
    std::string p = t.file("big", big);
    auto back = cls_file::read_to_str(p.c_str());
    ASSERT_TRUE(back.is_not_null());
    ASSERT_EQ(back->length(), 300000);
    EXPECT_EQ((*back)[299999], 'z');
}

TEST(file_text, proc_file_with_zero_size_is_read) {
    auto back = cls_file::read_to_str("/proc/self/status");
    ASSERT_TRUE(back.is_not_null());
    EXPECT_TRUE(back->begin_with("Name:"));
}

TEST(file_text, unreadable_paths_give_null) {
    temp_tree t;
    EXPECT_TRUE(cls_file::read_to_str(t.path("absent").c_str()).is_null());
    EXPECT_TRUE(cls_file::read_to_str(t.root().c_str()).is_null());
    EXPECT_FALSE(cls_file::write_str(t.path("no/such/dir/file").c_str(), "x"));
}

TEST(file_exists, files_directories_and_missing_paths) {
    temp_tree t;
    std::string f = t.file("f", "");
    EXPECT_TRUE(cls_file::file_exists(f.c_str()));
    EXPECT_TRUE(cls_file::file_exists(t.root().c_str()));
    EXPECT_FALSE(cls_file::file_exists(t.path("g").c_str()));
    ASSERT_EQ(::symlink(t.path("g").c_str(), t.path("dangling").c_str()), 0);
    EXPECT_FALSE(cls_file::file_exists(t.path("dangling").c_str()));
}

TEST(file_temp, created_empty_and_unique_in_the_given_directory) {
    temp_tree t;
    cls_string a = cls_file::create_temp_file(t.root().c_str());
    cls_string b = cls_file::create_temp_file((t.root() + "/").c_str());
    ASSERT_TRUE(a.is_not_empty());
    ASSERT_TRUE(b.is_not_empty());
    EXPECT_NE(a, b);
    EXPECT_TRUE(a.begin_with((t.root() + "/vesk_").c_str())) << a.c_str();
    EXPECT_TRUE(b.begin_with((t.root() + "/vesk_").c_str())) << b.c_str();
    EXPECT_EQ(a.length(), static_cast<int>(t.root().size()) + 12);
    auto text = cls_file::read_to_str(a);
    ASSERT_TRUE(text.is_not_null());
    EXPECT_EQ(text->length(), 0);
}

TEST(file_temp, working_directory_form_and_failure) {
    temp_tree t;
    char old[4096];
    ASSERT_NE(::getcwd(old, sizeof old), nullptr);
    ASSERT_EQ(::chdir(t.root().c_str()), 0);
    cls_string p = cls_file::create_temp_file("./");
    bool exists = cls_file::file_exists(p);
    ASSERT_EQ(::chdir(old), 0);
    EXPECT_TRUE(p.begin_with("./vesk_")) << p.c_str();
    EXPECT_EQ(p.length(), 13);
    EXPECT_TRUE(exists);
    EXPECT_TRUE(cls_file::file_exists((t.root() + "/" + p.sub_str(2).c_str()).c_str()));
    EXPECT_TRUE(cls_file::create_temp_file(t.path("absent").c_str()).is_empty());
}

TEST(file_remove, files_directories_and_trees) {
    temp_tree t;
    std::string f = t.file("f", "x");
    EXPECT_TRUE(cls_file::remove(f.c_str(), false));
    EXPECT_FALSE(cls_file::file_exists(f.c_str()));
    EXPECT_FALSE(cls_file::remove(f.c_str(), false));

    make_sample(t);
    EXPECT_FALSE(cls_file::remove(t.path("sub").c_str(), false));
    EXPECT_TRUE(cls_file::file_exists(t.path("sub/inner.sh").c_str()));
    EXPECT_TRUE(cls_file::remove(t.path("sub").c_str(), true));
    EXPECT_FALSE(cls_file::file_exists(t.path("sub").c_str()));
    EXPECT_TRUE(cls_file::remove(t.path(".hdir").c_str(), false));
}

TEST(file_remove, recursive_removal_does_not_follow_links) {
    temp_tree t;
    t.dir("keep");
    std::string kept = t.file("keep/precious", "p");
    t.dir("gone");
    ASSERT_EQ(::symlink(t.path("keep").c_str(), t.path("gone/link").c_str()), 0);
    EXPECT_TRUE(cls_file::remove(t.path("gone").c_str(), true));
    EXPECT_FALSE(cls_file::file_exists(t.path("gone").c_str()));
    EXPECT_TRUE(cls_file::file_exists(kept.c_str()));
}

TEST(file_info, executable_directory_is_a_directory) {
    temp_tree t;
    std::string d = t.dir("menu", 0755);
    if_file_sys::info_t info;
    info.clear();
    ASSERT_TRUE(if_file_sys::info(d.c_str(), &info));
    EXPECT_TRUE(info.is_dir);
    EXPECT_TRUE(info.is_exec);
    EXPECT_FALSE(info.is_file);
}

TEST(file_info, plain_and_executable_files) {
    temp_tree t;
    std::string plain = t.file("plain", "12345", 0644);
    std::string exe = t.script("run.sh", "exit 0\n");
    if_file_sys::info_t info;
    info.clear();
    ASSERT_TRUE(if_file_sys::info(plain.c_str(), &info));
    EXPECT_FALSE(info.is_dir);
    EXPECT_FALSE(info.is_exec);
    EXPECT_TRUE(info.is_file);
    EXPECT_EQ(info.size, 5);

    info.clear();
    ASSERT_TRUE(if_file_sys::info(exe.c_str(), &info));
    EXPECT_FALSE(info.is_dir);
    EXPECT_TRUE(info.is_exec);
    EXPECT_TRUE(info.is_file);
}

TEST(file_info, failed_query_leaves_the_record_alone) {
    temp_tree t;
    if_file_sys::info_t info;
    info.clear();
    info.is_dir = true;
    info.size = 77;
    EXPECT_FALSE(if_file_sys::info(t.path("absent").c_str(), &info));
    EXPECT_TRUE(info.is_dir);
    EXPECT_FALSE(info.is_exec);
    EXPECT_EQ(info.size, 77);
}
