// The leak report is printed at process exit, so these tests run this very test
// program again as a child with OZGI_MEM_REPORT set and read what it printed. The
// child side is the core_leak_child tests, which do nothing unless
// VESK_CORE_LEAK_CHILD names them.
#include <gtest/gtest.h>

#include <fcntl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include "emulator.h"
#include "ozgi/cls_array.h"
#include "ozgi/cls_input_args.h"
#include "ozgi/cls_mem_mgr.h"
#include "ozgi/cls_rom_file_mgr.h"
#include "ozgi/cls_sp.h"
#include "ozgi/cls_string.h"
#include "ozgi/cls_tree.h"

extern char** environ;

using namespace ozgi;

namespace {

const char* const CHILD_VARIABLE = "VESK_CORE_LEAK_CHILD";

struct child_result_t {
    int exit_status = -1;
    std::string out;
    std::string err;
};

std::string read_and_remove(const std::string& path) {
    std::string text;
    FILE* f = std::fopen(path.c_str(), "rb");
    if (f) {
        char buf[4096];
        size_t n;
        while ((n = std::fread(buf, 1, sizeof(buf), f)) > 0) text.append(buf, n);
        std::fclose(f);
    }
    ::unlink(path.c_str());
    return text;
}

// Runs this program again with only the test `child_test` and the extra environment
// entries, collecting its standard output and error through temporary files.
child_result_t run_child(const std::string& child_test, const std::vector<std::string>& extra_env) {
    child_result_t result;
    char out_path[] = "/tmp/vesk_core_leak_out_XXXXXX";
    char err_path[] = "/tmp/vesk_core_leak_err_XXXXXX";
    int out_fd = ::mkstemp(out_path);
    int err_fd = ::mkstemp(err_path);
    if (out_fd < 0 || err_fd < 0) return result;

    std::vector<std::string> env_strings;
    for (char** e = environ; *e; ++e) {
        if (std::strncmp(*e, "OZGI_MEM_REPORT=", 16) == 0) continue;
        if (std::strncmp(*e, CHILD_VARIABLE, std::strlen(CHILD_VARIABLE)) == 0) continue;
        if (std::strncmp(*e, "ASAN_OPTIONS=", 13) == 0) continue;
        env_strings.push_back(*e);
    }
    env_strings.push_back(std::string(CHILD_VARIABLE) + "=" + child_test);
    // A sanitizer build would report the deliberate leak itself and change the exit status.
    env_strings.push_back("ASAN_OPTIONS=detect_leaks=0");
    for (const std::string& e : extra_env) env_strings.push_back(e);
    std::vector<char*> envp;
    for (std::string& e : env_strings) envp.push_back(&e[0]);
    envp.push_back(nullptr);

    std::string filter = "--gtest_filter=core_leak_child." + child_test;
    std::vector<std::string> argv_s = test_emulator::command({test_emulator::self_exe(), filter});
    std::vector<char*> argv;
    for (std::string& a : argv_s) argv.push_back(&a[0]);
    argv.push_back(nullptr);

    pid_t pid = ::fork();
    if (pid == 0) {
        ::dup2(out_fd, 1);
        ::dup2(err_fd, 2);
        ::execve(argv[0], argv.data(), envp.data());
        ::_exit(127);
    }
    ::close(out_fd);
    ::close(err_fd);
    int status = 0;
    if (pid > 0 && ::waitpid(pid, &status, 0) == pid && WIFEXITED(status)) result.exit_status = WEXITSTATUS(status);
    result.out = read_and_remove(out_path);
    result.err = read_and_remove(err_path);
    return result;
}

// True in the child run that was started for `name`.
bool is_child_for(const char* name) {
    const char* v = std::getenv(CHILD_VARIABLE);
    return v && std::strcmp(v, name) == 0;
}

struct node_data_t : if_to_string {
    cls_string name;
    explicit node_data_t(const char* n) : name(n) {}
    cls_sp<cls_string> to_string() const override { return cls_sp<cls_string>(OZGI_NEW(cls_string)(name)); }
};

struct element_t {
    cls_string text;
};

// Kept next to the line it names: the child's report must point at it.
void* leak_one_block() {
    return cls_mem_mgr::alloc_buf(24, __FILE__, "leak_one_block", __LINE__);
}
const int LEAK_LINE = __LINE__ - 2;

} // namespace

TEST(core_leak_child, creates_and_destroys) {
    if (!is_child_for("creates_and_destroys")) GTEST_SKIP() << "runs only as the leak check's child";
    ASSERT_TRUE(cls_mem_mgr::is_tracking());
    long before = cls_mem_mgr::live_blocks();
    {
        cls_array<cls_string> lines(cls_array<cls_string>::INITIAL_SLOTS);
        for (int i = 0; i < 1000; ++i) lines.append("line");
        cls_array<cls_string> grown;
        grown.append("a").append("b").append("c");
        grown.sort();
        EXPECT_GT(cls_mem_mgr::live_blocks(), before);
        cls_sp<cls_string> glued = grown.glue(",");
        cls_sp<cls_string> text = lines.to_string();
        cls_sp<cls_string> copy(glued);
        copy = text;
        cls_sp<cls_string> null_pointer;
        cls_sp<cls_string> null_copy(null_pointer);
        cls_sp<element_t> array(OZGI_NEW_ARRAY(element_t, 4));
        cls_sp<char> buffer(static_cast<char*>(cls_mem_mgr::alloc_buf(100, __FILE__, __func__, __LINE__)));

        cls_tree<node_data_t> tree;
        tree.set_root_data(node_data_t("root"));
        cls_tree<node_data_t>::node_t* a = tree.add_last_child(tree.root(), node_data_t("a"));
        tree.add_last_child(a, node_data_t("a1"));
        tree.add_last_child(tree.root(), node_data_t("b"));
        cls_sp<cls_string> drawing = tree.to_string();
        tree.remove_sub_tree(a);
        cls_tree<node_data_t> emptied;
        emptied.set_root_data(node_data_t("gone"));
        emptied.remove_sub_tree(emptied.root());
    }
    EXPECT_EQ(cls_mem_mgr::live_blocks(), before);
    // The framework's singletons live as long as the process; they are no leak.
    static const char data[] = "x";
    cls_rom_file_mgr::ins()->register_file("leak_test/x", data, 1);
    {
        cls_array<cls_string> args;
        for (int i = 0; i < 40; ++i) args.append("--arg");
        cls_input_args::ins()->set_args(args);
    }
    EXPECT_EQ(cls_mem_mgr::live_blocks(), before);
}

TEST(core_leak_child, leaks_one_block) {
    if (!is_child_for("leaks_one_block")) GTEST_SKIP() << "runs only as the leak check's child";
    leak_one_block();
    EXPECT_EQ(cls_mem_mgr::live_blocks(), cls_mem_mgr::is_tracking() ? 1 : 0);
}

TEST(core_leak_check, arrays_shared_pointers_and_trees_leave_no_live_block) {
    child_result_t r = run_child("creates_and_destroys", {"OZGI_MEM_REPORT=1"});
    EXPECT_EQ(r.exit_status, 0) << r.out << r.err;
    EXPECT_NE(r.out.find("[       OK ] core_leak_child.creates_and_destroys"), std::string::npos) << r.out;
    EXPECT_NE(r.err.find("ozgi: 0 live block(s) at exit\n"), std::string::npos) << r.err;
    EXPECT_EQ(r.err.find("ozgi: live block of"), std::string::npos) << r.err;
}

TEST(core_leak_check, a_leak_is_reported_with_its_tags) {
    child_result_t r = run_child("leaks_one_block", {"OZGI_MEM_REPORT=1"});
    EXPECT_EQ(r.exit_status, 0) << r.out << r.err;
    std::string expected = std::string("ozgi: live block of 24 bytes, type 0, allocated by leak_one_block at ") + __FILE__ +
                           ":" + std::to_string(LEAK_LINE) + "\n";
    EXPECT_NE(r.err.find(expected), std::string::npos) << r.err;
    EXPECT_NE(r.err.find("ozgi: 1 live block(s) at exit\n"), std::string::npos) << r.err;
}

TEST(core_leak_check, nothing_is_reported_without_the_variable) {
    child_result_t r = run_child("leaks_one_block", {});
    EXPECT_EQ(r.exit_status, 0) << r.out << r.err;
    EXPECT_NE(r.out.find("[       OK ] core_leak_child.leaks_one_block"), std::string::npos) << r.out;
    EXPECT_EQ(r.err.find("live block"), std::string::npos) << r.err;
}
