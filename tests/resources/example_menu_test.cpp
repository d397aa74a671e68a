// Checks the bundled example menu: that it offers every kind of test the pages
// need to be seen, that each test speaks the help protocol (or deliberately
// does not), and that its dictionary names every sub-menu and test.
#include <gtest/gtest.h>

#include <sys/stat.h>
#include <sys/wait.h>

#include <cstdio>
#include <filesystem>
#include <map>
#include <regex>
#include <set>
#include <sstream>
#include <string>
#include <vector>

#include <pugixml.hpp>

namespace {

namespace fs = std::filesystem;

const fs::path k_menu_dir = fs::path(VESK_SOURCE_DIR) / "examples" / "menu";
const std::string k_direct_prefix = "direct_exec.";

bool is_executable_file(const fs::path& p) {
    struct stat st;
    return ::stat(p.c_str(), &st) == 0 && S_ISREG(st.st_mode) && (st.st_mode & S_IXUSR) != 0;
}

/// What a test printed and how it ended.
struct run_result_t {
    std::string output;
    int exit_code = -1;
};

/// Runs `path` with the given arguments (plain words, no quoting needed) and collects its output.
run_result_t run(const fs::path& path, const std::string& args) {
    run_result_t r;
    const std::string command = "'" + path.string() + "' " + args + " 2>/dev/null";
    FILE* pipe = ::popen(command.c_str(), "r");
    EXPECT_NE(pipe, nullptr) << command;
    if (!pipe) return r;
    char buf[4096];
    size_t n;
    while ((n = std::fread(buf, 1, sizeof buf, pipe)) > 0) r.output.append(buf, n);
    const int status = ::pclose(pipe);
    r.exit_code = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    return r;
}

std::vector<std::string> split_lines(const std::string& text) {
    std::vector<std::string> lines;
    std::stringstream in(text);
    std::string line;
    while (std::getline(in, line)) lines.push_back(line);
    return lines;
}

/// One argument as the menu's help parser would read it.
struct arg_t {
    std::string name;
    bool is_list = false;
    std::vector<std::string> values;
    std::string default_value;
    std::string step;
};

/// The argument line syntax, in ECMAScript form; a line must match it as a whole.
const std::regex k_arg_line(
    "[ \\t]*--((?:-|[_a-zA-Z0-9])+)[ \\t]*(?:<([0-9.]+)-([0-9.]+)>|\\{([^|]+(?:[|][^|]+)*)\\}):"
    "[ \\t]*(?:Default=([^,]+),)?[ \\t]*(?:[Ss]tep=([^,]+),)?[ \\t]*(.*)");

/// The tests of the menu, by path below the menu root.
std::map<std::string, fs::path> find_tests() {
    std::map<std::string, fs::path> tests;
    for (const fs::directory_entry& e : fs::recursive_directory_iterator(k_menu_dir)) {
        if (is_executable_file(e.path())) tests[fs::relative(e.path(), k_menu_dir).string()] = e.path();
    }
    return tests;
}

TEST(example_menu, has_every_kind_of_entry) {
    const std::map<std::string, fs::path> tests = find_tests();
    EXPECT_GE(tests.size(), 8u);
    int direct = 0, nested = 0;
    for (const auto& [rel, path] : tests) {
        if (path.filename().string().rfind(k_direct_prefix, 0) == 0) ++direct;
        if (std::count(rel.begin(), rel.end(), '/') >= 2) ++nested;
    }
    EXPECT_EQ(direct, 1);
    EXPECT_GE(nested, 1) << "no test in a nested sub-menu";

    int plain_files = 0, empty_dirs = 0;
    for (const fs::directory_entry& e : fs::recursive_directory_iterator(k_menu_dir)) {
        if (e.is_regular_file() && !is_executable_file(e.path()) && e.path().filename() != "dict.xml") ++plain_files;
        if (e.is_directory()) {
            bool holds_test = false;
            for (const fs::directory_entry& inner : fs::recursive_directory_iterator(e.path())) {
                if (is_executable_file(inner.path())) holds_test = true;
            }
            if (!holds_test) ++empty_dirs;
        }
    }
    EXPECT_GE(plain_files, 1) << "no plain data file for the menu to ignore";
    EXPECT_GE(empty_dirs, 1) << "no directory without tests for the menu to prune";
}

TEST(example_menu, tests_print_help_in_the_argument_syntax) {
    int valid = 0, invalid = 0;
    std::vector<arg_t> args;
    for (const auto& [rel, path] : find_tests()) {
        if (path.filename().string().rfind(k_direct_prefix, 0) == 0) continue;  // never asked for help
        SCOPED_TRACE(rel);
        const run_result_t help = run(path, "--help");
        if (help.exit_code != 0 || help.output.rfind("Usage:", 0) != 0) {
            ++invalid;
            continue;
        }
        ++valid;
        const std::vector<std::string> lines = split_lines(help.output);
        auto first = std::find(lines.begin(), lines.end(), "Arguments:");
        ASSERT_NE(first, lines.end()) << "no Arguments: line";
        ASSERT_NE(first + 1, lines.end()) << "no argument after Arguments:";
        for (auto it = first + 1; it != lines.end(); ++it) {
            std::smatch m;
            ASSERT_TRUE(std::regex_match(*it, m, k_arg_line)) << "not an argument line: " << *it;
            arg_t a;
            a.name = m[1];
            a.is_list = m[4].matched;
            if (a.is_list) {
                std::stringstream items(m[4].str());
                std::string item;
                while (std::getline(items, item, '|')) a.values.push_back(item);
            } else {
                a.values = {m[2], m[3]};
            }
            a.default_value = m[5].matched ? m[5].str() : a.values.front();
            a.step = m[6];
            EXPECT_FALSE(std::string(m[7]).empty()) << a.name << " has no description";
            if (a.is_list) {
                EXPECT_NE(std::find(a.values.begin(), a.values.end(), a.default_value), a.values.end()) << a.name;
            }
            args.push_back(a);
        }
    }
    EXPECT_GE(valid, 6);
    EXPECT_GE(invalid, 1) << "no test without a valid help text";

    bool stepped = false, unstepped = false, decimal_step = false, list = false;
    for (const arg_t& a : args) {
        if (a.is_list) list = true;
        else if (a.step.empty()) unstepped = true;
        else if (a.step.find('.') != std::string::npos) decimal_step = true;
        else stepped = true;
    }
    EXPECT_TRUE(stepped);
    EXPECT_TRUE(unstepped);
    EXPECT_TRUE(decimal_step);
    EXPECT_TRUE(list);
}

TEST(example_menu, tests_accept_their_arguments_and_report_an_exit_status) {
    std::set<int> exit_codes;
    for (const auto& [rel, path] : find_tests()) {
        SCOPED_TRACE(rel);
        // The slow test is left out here; it takes eight seconds by design.
        if (rel == "audio/microphone_test") continue;
        const run_result_t r = run(path, "");
        EXPECT_FALSE(r.output.empty());
        exit_codes.insert(r.exit_code);
    }
    EXPECT_EQ(exit_codes.count(0), 1u);
    EXPECT_EQ(exit_codes.count(3), 1u) << "no test failing with exit code 3";
    // A direct test is handed the arguments of whatever test was opened before it.
    for (const auto& [rel, path] : find_tests()) {
        if (path.filename().string().rfind(k_direct_prefix, 0) != 0) continue;
        EXPECT_EQ(run(path, "--freq 500 --channel both").exit_code, 0) << rel;
    }
    // A changed value reaches the test as the word after its option.
    const run_result_t r = run(k_menu_dir / "audio" / "speaker_test", "--freq 1230 --volume 7 --channel left");
    EXPECT_EQ(r.exit_code, 0);
    EXPECT_NE(r.output.find("1230 Hz"), std::string::npos) << r.output;
    EXPECT_NE(r.output.find("7%"), std::string::npos) << r.output;
    EXPECT_NE(r.output.find("left"), std::string::npos) << r.output;
}

TEST(example_menu, dictionary_names_every_sub_menu_and_test) {
    pugi::xml_document doc;
    ASSERT_TRUE(doc.load_file((k_menu_dir / "dict.xml").c_str()));
    EXPECT_STREQ(doc.document_element().name(), "ui_text_dict");
    std::map<std::string, std::string> entries;
    for (pugi::xml_node e : doc.document_element().children("dict_entry")) {
        entries[e.attribute("en_US").value()] = e.attribute("zh_CN").value();
    }
    std::set<std::string> shown;
    for (const auto& [rel, path] : find_tests()) {
        std::string name = path.filename().string();
        if (name.rfind(k_direct_prefix, 0) == 0) name = name.substr(k_direct_prefix.size());
        shown.insert(name);
        for (fs::path dir = fs::path(rel).parent_path(); !dir.empty(); dir = dir.parent_path()) {
            shown.insert(dir.filename().string());
        }
    }
    for (const std::string& name : shown) {
        auto it = entries.find(name);
        ASSERT_NE(it, entries.end()) << name << " has no Chinese name";
        EXPECT_FALSE(it->second.empty()) << name;
        EXPECT_NE(it->second, name) << name;
    }
}

}  // namespace
