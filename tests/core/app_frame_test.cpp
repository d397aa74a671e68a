#include <gtest/gtest.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

#include "fatal_matcher.h"
#include "ozgi/cls_app_data.h"
#include "ozgi/cls_input_args.h"
#include "ozgi/cls_log.h"
#include "ozgi/cls_rom_file_mgr.h"
#include "ozgi/cls_singleton_mgr.h"
#include "ozgi/if_algorithm.h"
#include "ozgi/if_main.h"
#include "ozgi/if_system.h"

using namespace ozgi;
using core_test::fatal_line;
using testing::ExitedWithCode;

namespace {

std::vector<int> g_released;

void release_tag(void* object) { g_released.push_back(*static_cast<int*>(object)); }

int g_tags[] = {1, 2, 3, 4};

// Restores the process's arguments after a test replaced them.
class args_guard_t {
public:
    args_guard_t() : m_saved(cls_input_args::ins()->args()) {}
    ~args_guard_t() { cls_input_args::ins()->set_args(m_saved); }

private:
    cls_array<cls_string> m_saved;
};

void set_args(std::initializer_list<const char*> items) {
    cls_array<cls_string> args;
    for (const char* s : items) args.append(s);
    cls_input_args::ins()->set_args(args);
}

int main_registering_a_release() {
    cls_singleton_mgr::register_singleton_release(release_tag, &g_tags[3]);
    // The release must not have run yet while the main function is still running.
    return g_released.empty() ? 42 : -1;
}

int main_returning_minus_one() { return -1; }

bool int_less(const void* a, const void* b, void* context) {
    if (context) ++*static_cast<int*>(context);
    return *static_cast<const int*>(a) < *static_cast<const int*>(b);
}

struct wide_t {
    int key;
    char payload[300];
};

bool wide_less(const void* a, const void* b, void*) {
    return static_cast<const wide_t*>(a)->key < static_cast<const wide_t*>(b)->key;
}

} // namespace

TEST(core_log, log_fatal_writes_one_line_and_exits_with_status_one) {
    EXPECT_EXIT(cls_log::log_fatal("some_file.cpp", 7, "value %d and %s", 5, "text"), ExitedWithCode(1),
                testing::Eq(std::string("FATAL some_file.cpp:7: value 5 and text\n")));
}

TEST(core_log, ozgi_fatal_names_the_calling_line) {
    const int line = __LINE__ + 1;
    EXPECT_EXIT(OZGI_FATAL("Unrecognized device: %s", "usb"), ExitedWithCode(1),
                testing::Eq(std::string("FATAL ") + __FILE__ + ":" + std::to_string(line) + ": Unrecognized device: usb\n"));
}

TEST(core_log, message_is_written_verbatim) {
    EXPECT_EXIT(OZGI_FATAL("Can't read stdout, test is not started yet."), ExitedWithCode(1),
                fatal_line("app_frame_test.cpp", "Can't read stdout, test is not started yet."));
}

TEST(core_log, warning_goes_on) {
    testing::internal::CaptureStderr();
    cls_log::log_warning("careful %d", 3);
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "WARNING: careful 3\n");
}

TEST(core_singleton_mgr, releases_run_once_in_reverse_order) {
    g_released.clear();
    cls_singleton_mgr::register_singleton_release(release_tag, &g_tags[0]);
    cls_singleton_mgr::register_singleton_release(release_tag, &g_tags[1]);
    cls_singleton_mgr::register_singleton_release(release_tag, &g_tags[2]);
    EXPECT_TRUE(g_released.empty());
    cls_singleton_mgr::release_all();
    EXPECT_EQ(g_released, (std::vector<int>{3, 2, 1}));
    cls_singleton_mgr::release_all();
    EXPECT_EQ(g_released, (std::vector<int>{3, 2, 1}));
}

namespace {
void release_registering_another(void*) {
    g_released.push_back(10);
    cls_singleton_mgr::register_singleton_release(release_tag, &g_tags[0]);
}
} // namespace

TEST(core_singleton_mgr, a_release_may_register_another) {
    g_released.clear();
    cls_singleton_mgr::register_singleton_release(release_tag, &g_tags[1]);
    cls_singleton_mgr::register_singleton_release(release_registering_another, nullptr);
    cls_singleton_mgr::release_all();
    EXPECT_EQ(g_released, (std::vector<int>{10, 1, 2}));
}

TEST(core_main_func, returns_the_function_value_and_runs_the_releases) {
    g_released.clear();
    EXPECT_EQ(if_main::main_func(main_registering_a_release), 42);
    EXPECT_EQ(g_released, (std::vector<int>{4}));
    EXPECT_EQ(if_main::main_func(main_returning_minus_one), -1);
    EXPECT_EQ(g_released, (std::vector<int>{4}));
}

TEST(core_input_args, are_read_from_the_process_command_line) {
    std::vector<std::string> expected;
    FILE* f = std::fopen("/proc/self/cmdline", "rb");
    ASSERT_NE(f, nullptr);
    std::string all;
    int c;
    while ((c = std::fgetc(f)) != EOF) all += static_cast<char>(c);
    std::fclose(f);
    size_t start = all.find('\0') + 1;  // skip the program name
    while (start < all.size()) {
        size_t end = all.find('\0', start);
        expected.push_back(all.substr(start, end - start));
        start = end + 1;
    }
    const cls_array<cls_string>& args = cls_input_args::ins()->args();
    ASSERT_EQ(args.count(), static_cast<int>(expected.size()));
    for (int i = 0; i < args.count(); ++i) EXPECT_EQ(std::string(args[i].c_str()), expected[i]);
}

TEST(core_input_args, has_arg_whole_matches_only_the_whole_argument) {
    args_guard_t guard;
    set_args({"--device=adb", "-h", "--dir=/x"});
    EXPECT_TRUE(cls_input_args::ins()->has_arg("-h", true));
    EXPECT_TRUE(cls_input_args::ins()->has_arg("--device=adb", true));
    EXPECT_FALSE(cls_input_args::ins()->has_arg("--device", true));
    EXPECT_FALSE(cls_input_args::ins()->has_arg("--help", true));
    EXPECT_FALSE(cls_input_args::ins()->has_arg("-", true));
}

TEST(core_input_args, has_arg_prefix_gives_the_rest) {
    args_guard_t guard;
    set_args({"--device=adb", "--serial-id=", "--dir=/a", "--dir=/b"});
    cls_string value("untouched");
    EXPECT_TRUE(cls_input_args::ins()->has_arg("--device=", false, &value));
    EXPECT_STREQ(value.c_str(), "adb");
    EXPECT_TRUE(cls_input_args::ins()->has_arg("--dev", false, &value));
    EXPECT_STREQ(value.c_str(), "ice=adb");
    EXPECT_TRUE(cls_input_args::ins()->has_arg("--serial-id=", false, &value));
    EXPECT_STREQ(value.c_str(), "");
    EXPECT_TRUE(cls_input_args::ins()->has_arg("--dir=", false, &value));
    EXPECT_STREQ(value.c_str(), "/a");
    EXPECT_TRUE(cls_input_args::ins()->has_arg("--dir=", false));
    value = "untouched";
    EXPECT_FALSE(cls_input_args::ins()->has_arg("--back-key=", false, &value));
    EXPECT_STREQ(value.c_str(), "untouched");
}

TEST(core_input_args, no_arguments) {
    args_guard_t guard;
    set_args({});
    EXPECT_FALSE(cls_input_args::ins()->has_arg("", true));
    EXPECT_FALSE(cls_input_args::ins()->has_arg("", false));
    EXPECT_EQ(cls_input_args::ins()->args().count(), 0);
}

TEST(core_app_data, language_defaults_to_en_us) {
    cls_sp<cls_string> language = cls_app_data::ins()->get_data("language");
    ASSERT_TRUE(language.is_not_null());
    EXPECT_STREQ(language->c_str(), "en_US");
}

TEST(core_app_data, set_and_get) {
    cls_sp<cls_string> unset = cls_app_data::ins()->get_data("never set here");
    ASSERT_TRUE(unset.is_not_null());
    EXPECT_STREQ(unset->c_str(), "");
    cls_app_data::ins()->set_data("output", "line 1\nline 2");
    cls_sp<cls_string> output = cls_app_data::ins()->get_data("output");
    EXPECT_STREQ(output->c_str(), "line 1\nline 2");
    cls_app_data::ins()->set_data("output", "");
    EXPECT_STREQ(output->c_str(), "line 1\nline 2");  // a copy, not a view
    EXPECT_STREQ(cls_app_data::ins()->get_data("output")->c_str(), "");
    EXPECT_EQ(cls_app_data::ins(), cls_app_data::ins());
}

TEST(core_system, env_is_null_when_unset) {
    ::unsetenv("VESK_CORE_TEST_UNSET_VARIABLE");
    EXPECT_TRUE(if_system::env("VESK_CORE_TEST_UNSET_VARIABLE").is_null());
}

TEST(core_system, env_gives_the_value) {
    ::setenv("VESK_CORE_TEST_VARIABLE", "serial-123", 1);
    cls_sp<cls_string> value = if_system::env("VESK_CORE_TEST_VARIABLE");
    ASSERT_TRUE(value.is_not_null());
    EXPECT_STREQ(value->c_str(), "serial-123");
    ::setenv("VESK_CORE_TEST_VARIABLE", "", 1);
    value = if_system::env("VESK_CORE_TEST_VARIABLE");
    ASSERT_TRUE(value.is_not_null());
    EXPECT_STREQ(value->c_str(), "");
    ::unsetenv("VESK_CORE_TEST_VARIABLE");
}

TEST(core_algorithm, quick_sort_sorts_and_passes_the_context) {
    std::vector<int> v;
    unsigned seed = 12345;
    for (int i = 0; i < 5000; ++i) {
        seed = seed * 1103515245u + 12345u;
        v.push_back(static_cast<int>((seed >> 8) % 1000));
    }
    std::vector<int> expected = v;
    std::sort(expected.begin(), expected.end());
    int calls = 0;
    if_algorithm::quick_sort(v.data(), static_cast<int>(v.size()), sizeof(int), &calls, int_less);
    EXPECT_EQ(v, expected);
    EXPECT_GT(calls, 0);
}

TEST(core_algorithm, quick_sort_of_ordered_reversed_and_equal_inputs) {
    for (int kind = 0; kind < 4; ++kind) {
        std::vector<int> v;
        for (int i = 0; i < 3000; ++i) v.push_back(kind == 0 ? i : kind == 1 ? 3000 - i : kind == 2 ? 7 : (i % 2 ? i : -i));
        std::vector<int> expected = v;
        std::sort(expected.begin(), expected.end());
        if_algorithm::quick_sort(v.data(), static_cast<int>(v.size()), sizeof(int), nullptr, int_less);
        EXPECT_EQ(v, expected) << "kind " << kind;
    }
}

TEST(core_algorithm, quick_sort_of_zero_and_one_element) {
    int one = 5;
    int calls = 0;
    if_algorithm::quick_sort(&one, 1, sizeof(int), &calls, int_less);
    if_algorithm::quick_sort(nullptr, 0, sizeof(int), &calls, int_less);
    EXPECT_EQ(one, 5);
    EXPECT_EQ(calls, 0);
}

TEST(core_algorithm, quick_sort_of_wide_elements) {
    std::vector<wide_t> v(100);
    for (int i = 0; i < 100; ++i) {
        v[i].key = (i * 37) % 100;
        v[i].payload[299] = static_cast<char>(v[i].key);
    }
    if_algorithm::quick_sort(v.data(), 100, sizeof(wide_t), nullptr, wide_less);
    for (int i = 0; i < 100; ++i) {
        EXPECT_EQ(v[i].key, i);
        EXPECT_EQ(v[i].payload[299], static_cast<char>(i));
    }
}

TEST(core_algorithm, comp_func_with_less_operator_ignores_the_context) {
    cls_string a("B"), b("a");
    EXPECT_TRUE(comp_func_with_less_operator<cls_string>(&a, &b, nullptr));
    EXPECT_FALSE(comp_func_with_less_operator<cls_string>(&b, &a, &a));
    EXPECT_FALSE(comp_func_with_less_operator<cls_string>(&a, &a, nullptr));
}

TEST(core_rom_file_mgr, registered_files_are_found_by_name) {
    static const char data[] = "<ui_text_dict/>";
    static const char newer[] = "<x/>";
    cls_rom_file_mgr* rom = cls_rom_file_mgr::ins();
    rom->register_file("core_test/dict.xml", data, sizeof(data) - 1);
    EXPECT_TRUE(rom->has("core_test/dict.xml"));
    EXPECT_FALSE(rom->has("core_test/absent.xml"));
    const void* found = nullptr;
    long long size = 0;
    ASSERT_TRUE(rom->find("core_test/dict.xml", &found, &size));
    EXPECT_EQ(found, static_cast<const void*>(data));
    EXPECT_EQ(size, 15);
    EXPECT_FALSE(rom->find("core_test/absent.xml", &found, &size));
    rom->register_file("core_test/dict.xml", newer, 4);
    ASSERT_TRUE(rom->find("core_test/dict.xml", &found, &size));
    EXPECT_EQ(found, static_cast<const void*>(newer));
    cls_array<cls_string> names = rom->names();
    int seen = 0;
    for (const cls_string& n : names)
        if (n == "core_test/dict.xml") ++seen;
    EXPECT_EQ(seen, 1);
}
