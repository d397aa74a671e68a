// A hostile menu walked headless through the automation script: ten thousand
// tests in one directory, an unreadable directory, symbolic link loops, names with blanks, newlines,
// printf directives and bytes that are not UTF-8, a very long name, tests
// printing NUL bytes and broken UTF-8, a test closing its output early and a help
// text of 10 MB. Nothing may crash, every dump must be valid JSON, and no process
// or descriptor may be left behind.
#include <gtest/gtest.h>
#include <signal.h>

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <set>

#include "exec_test_util.h"

using namespace exec_test;

namespace {

// How many of the files `paths` python3's strict parser rejects as UTF-8 JSON
// (each is named on standard error); -1 when python3 could not run.
int strict_json_failures(const std::vector<std::string>& paths) {
    std::string cmd = "python3 -c 'import json,sys\n"
                      "bad = 0\n"
                      "for p in sys.argv[1:]:\n"
                      "    try:\n"
                      "        json.loads(open(p, \"rb\").read().decode(\"utf-8\", \"strict\"))\n"
                      "    except Exception as e:\n"
                      "        bad += 1; print(p, e, file=sys.stderr)\n"
                      "sys.exit(bad)'";
    for (const std::string& p : paths) cmd += " '" + p + "'";
    int status = std::system(cmd.c_str());
    return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

// Texts of the buttons the menu page lists (their label's key), in order.
std::vector<std::string> menu_names(const json_t& page) {
    std::vector<std::string> out;
    for (const json_t* b : page_buttons(page)) {
        std::vector<const json_t*> labels = all(*b, [](const json_t& i) { return i.cls() == "cls_label"; });
        if (!labels.empty()) out.push_back(labels.front()->text());
    }
    return out;
}

bool contains(const std::vector<std::string>& v, const std::string& s) {
    return std::find(v.begin(), v.end(), s) != v.end();
}

// The offset just past the `n`th newline of `text` from `from` (its size when fewer).
size_t nth_line_end(const std::string& text, size_t from, int n) {
    for (int i = 0; i < n && from < text.size(); ++i) {
        size_t nl = text.find('\n', from);
        from = nl == std::string::npos ? text.size() : nl + 1;
    }
    return from;
}

const std::string PID_LINE = "echo $$ >> \"$VESK_HOSTILE_PIDS\"\n";

class HostileMenu : public ::testing::Test {
public:
    menu_dir m;
    std::string pids;

    void SetUp() override {
        // The program may run as an ordinary user (see live_vesk): it must reach the
        // menu and write its records.
        std::filesystem::permissions(std::filesystem::path(m.root()).parent_path(), std::filesystem::perms::all);
        std::filesystem::permissions(m.root(), std::filesystem::perms::all);
        std::filesystem::permissions(std::filesystem::path(m.work("x")).parent_path(), std::filesystem::perms::all);
        pids = m.work("pids");
        write_file(pids, "", 0666);
        ::setenv("VESK_HOSTILE_PIDS", pids.c_str(), 1);
    }
    void TearDown() override {
        ::unsetenv("VESK_HOSTILE_PIDS");
        // Readable again, so that the menu can be removed by any user.
        ::chmod((m.root() + "/locked").c_str(), 0755);
    }

    void test_script(const std::string& rel, const std::string& body) const { m.script(rel, PID_LINE + body); }

    std::vector<std::string> dump_files;

    /// Dumps the pages, keeps the dump for the strict check at the end, and parses it.
    json_t checked_dump(live_vesk* vesk) {
        std::string text = vesk->dump();
        dump_files.push_back(m.work("dump" + std::to_string(dump_files.size()) + ".json"));
        write_file(dump_files.back(), text);
        return parse_json(text);
    }
};

TEST_F(HostileMenu, EverythingIsScannedWalkedAndDumpedAndNothingIsLeftBehind) {
    const std::string quiet = "[ \"$1\" = \"--help\" ] && exit 1\necho ran\nexit 0\n";
    // Ten thousand tests in one directory. Opening such a page is left out of the
    // walk (a page of 10,000 buttons is a matter of speed of its own); the scan
    // and the button that leads to it are part of it.
    // Hard links of one script: quick to make, and each is a test of its own.
    write_file(m.work("one_test"), "#!/bin/sh\nexit 0\n", 0755);
    std::filesystem::create_directories(m.root() + "/many");
    for (int i = 0; i < 10000; ++i) {
        char name[32];
        std::snprintf(name, sizeof name, "/many/t%05d", i);
        ASSERT_EQ(::link(m.work("one_test").c_str(), (m.root() + name).c_str()), 0);
    }
    // A directory of 200 tests that the walk does open.
    std::filesystem::create_directories(m.root() + "/some");
    for (int i = 0; i < 200; ++i) {
        char name[32];
        std::snprintf(name, sizeof name, "/some/s%03d", i);
        ASSERT_EQ(::link(m.work("one_test").c_str(), (m.root() + name).c_str()), 0);
    }
    // A directory the program may not read (it runs as an ordinary user).
    test_script("locked/t", quiet);
    ::chmod((m.root() + "/locked").c_str(), 0);
    // Symbolic link loops: two links to the menu root itself and, deeper down, a
    // link to an ancestor. Each leads to a directory already on the scan's path and
    // is left out as an empty directory is.
    std::filesystem::create_directory_symlink(".", m.root() + "/loop_a");
    std::filesystem::create_directory_symlink(".", m.root() + "/loop_b");
    std::filesystem::create_directory_symlink("..", m.root() + "/some/up");

    const std::string newline_name = "new\nline";
    const std::string bad_utf8_name = "bad\xFF\xFE\xC0name";
    // A file name has at most 255 bytes; the 300 characters are reached by a test
    // with the longest name and by a path of more than 300 below the root.
    const std::string long_name = std::string(255, 'L');
    const std::string long_dir = std::string(200, 'D');
    const std::string long_test = std::string(120, 'T');
    test_script(long_dir + "/" + long_test, quiet);
    const std::vector<std::string> names = {"with space", "%n%s%d%n", bad_utf8_name, long_name};
    for (const std::string& n : names) test_script(n, quiet);
    test_script(newline_name, quiet);
    test_script("nul_printer", "[ \"$1\" = \"--help\" ] && exit 1\nprintf 'a\\000b\\377\\376c\\342\\202\\n\\000end\\n'\nexit 0\n");
    test_script("close_early", "[ \"$1\" = \"--help\" ] && exit 1\necho before\nexec >&-\nsleep 0.3\nexit 0\n");
    // A valid help text of 10 MB: free text, then one argument.
    std::string help = "Usage: big_help [--n <1-9>]\n";
    std::string filler = std::string(99, 'h') + "\n";
    while (help.size() < 10 * 1024 * 1024) help += filler;
    help += "Arguments:\n--n <1-9>: Default=3, A number\n";
    write_file(m.work("big_help.txt"), help, 0644);
    test_script("big_help", "[ \"$1\" = \"--help\" ] && { cat '" + m.work("big_help.txt") + "'; exit 0; }\necho big ran\nexit 0\n");
    // Two tests whose help texts are the first and the last 200 lines of it: their
    // help pages show what the big one's must show at its start and at its end.
    const size_t head_end = nth_line_end(help, 0, 200);
    size_t tail_start = help.size();
    for (int i = 0; i <= 200; ++i) tail_start = help.rfind('\n', tail_start - 1);
    write_file(m.work("head_help.txt"), help.substr(0, head_end), 0644);
    write_file(m.work("tail_help.txt"), "Usage: tail\n" + help.substr(tail_start + 1), 0644);
    for (const std::string end : {"head", "tail"})
        test_script("ends/" + end, "[ \"$1\" = \"--help\" ] && { cat '" + m.work(end + "_help.txt") + "'; exit 0; }\nexit 0\n");

#ifdef VESK_EMULATOR
    // The program is the emulator's wrapper script, which can't be copied out of
    // the tree as the program itself can.
    if (::getuid() == 0 && !nobody_can_reach(VESK_PROGRAM))
        GTEST_SKIP() << "user 65534 can't reach the build tree, and the emulator's wrapper runs the program there";
#endif
    live_vesk vesk({"--dir=" + m.root(), "--serial-id=LOCAL_DEVICE"}, true);
    json_t root = checked_dump(&vesk);
    ASSERT_EQ(top_page(root).cls(), "cls_vesk_page");
    const int fds_before = count_fds(vesk.pid());
    ASSERT_GT(fds_before, 0);
    std::vector<std::string> listed = menu_names(top_page(root));
    EXPECT_TRUE(contains(listed, "many"));
    EXPECT_TRUE(contains(listed, "some"));
    EXPECT_FALSE(contains(listed, "locked"));
    EXPECT_FALSE(contains(listed, "loop_a"));
    EXPECT_FALSE(contains(listed, "loop_b"));
    for (const std::string& n : names) EXPECT_TRUE(contains(listed, n)) << n;
    EXPECT_TRUE(contains(listed, newline_name));
    EXPECT_TRUE(contains(listed, long_dir));

    vesk.send("tap_text some\n");
    json_t some = checked_dump(&vesk);
    std::vector<std::string> some_names = menu_names(top_page(some));
    EXPECT_EQ(some_names.size(), 200u);
    EXPECT_FALSE(contains(some_names, "up"));
    vesk.send("key Escape\n");

    // Every test of the root: open it, run it, dump, go back.
    auto run_test = [&](const std::string& open_commands, const std::string& title, const std::string& output) {
        vesk.send(open_commands);
        json_t opened = checked_dump(&vesk);
        ASSERT_EQ(top_page(opened).cls(), "cls_vesk_exec_page") << title;
        EXPECT_EQ(label_text(top_page(opened), "TITLE_LABEL"), title);
        vesk.send("tap_text Execute test\nwait_text Exit code:0 10000\n");
        json_t ran = checked_dump(&vesk);
        ASSERT_FALSE(pages(ran).empty()) << title;
        EXPECT_EQ(label_text(named(top_page(ran), "EXEC_RESULT"), "LABEL"), "Exit code:0") << title;
        EXPECT_EQ(label_text(named(top_page(ran), "OUTPUT_BUTTON"), "LABEL"), output) << title;
        vesk.send("key Escape\n");
    };
    for (const std::string& n : names) run_test("tap_text " + n + "\n", n, "ran\n");
    run_test("tap_text nul_printer\n", "nul_printer", std::string("a\0b\xFF\xFE" "c\xE2\x82\n\0end\n", 14));
    run_test("tap_text close_early\n", "close_early", "before\n");
    // A name with a newline cannot be written in a script line: the focus, left on
    // close_early, moves on to the next name in order.
    run_test("key Down\nkey Return\n", newline_name, "ran\n");

    vesk.send("tap_text " + long_dir + "\n");
    run_test("tap_text " + long_test + "\n", long_test, "ran\n");
    vesk.send("key Escape\n");

    // The 10 MB help text gives its argument and the help button, and its help page
    // shows all of it: the start at first, the end when scrolled there.
    vesk.send("tap_text big_help\n");
    json_t big = checked_dump(&vesk);
    const json_t& big_page = top_page(big);
    EXPECT_EQ(arg_buttons(big_page).size(), 1u);
    ASSERT_TRUE(named(big_page, "HELP_BUTTON").visible());
    const std::string help_tap = tap_at(named(big_page, "HELP_BUTTON"));
    // Opens the help page (from an execution page), screenshots it at rest and
    // scrolled to its end, and goes back to the execution page.
    auto help_page_shots = [&](const std::string& name, const std::string& expected_text) {
        vesk.send(help_tap);
        json_t shown = checked_dump(&vesk);
        ASSERT_EQ(top_page(shown).cls(), "cls_vesk_help_page") << name;
        const json_t& label = named(top_page(shown), "HELP_LABEL");
        // Compared as a whole without printing 10 MB when they differ.
        EXPECT_TRUE(label.text() == expected_text) << name << ": " << label.text().size() << " bytes shown";
        vesk.send("screenshot " + m.work(name + "_start.png") + "\n");
        vesk.send("wheel " + std::to_string(label.x() + label.w() / 2) + " " +
                  std::to_string(label.y() + label.h() / 2) + " -1000000\n");
        vesk.send("screenshot " + m.work(name + "_end.png") + "\n");
        vesk.send("key Escape\n");
        EXPECT_EQ(top_page(checked_dump(&vesk)).cls(), "cls_vesk_exec_page") << name;
    };
    help_page_shots("big", help);
    vesk.send("key Escape\n");
    vesk.send("tap_text ends\ntap_text head\n");
    help_page_shots("head", read_file(m.work("head_help.txt")));
    vesk.send("key Escape\ntap_text tail\n");
    help_page_shots("tail", read_file(m.work("tail_help.txt")));
    vesk.send("key Escape\nkey Escape\n");
    EXPECT_TRUE(read_file(m.work("big_start.png")) == read_file(m.work("head_start.png")));
    EXPECT_TRUE(read_file(m.work("big_end.png")) == read_file(m.work("tail_end.png")));
    EXPECT_FALSE(read_file(m.work("big_start.png")) == read_file(m.work("big_end.png")));

    json_t end = checked_dump(&vesk);
    ASSERT_EQ(pages(end).size(), 1u);
    EXPECT_EQ(top_page(end).cls(), "cls_vesk_page");
    EXPECT_EQ(count_fds(vesk.pid()), fds_before);
    EXPECT_EQ(count_children(vesk.pid()), 0);
    EXPECT_EQ(vesk.finish(), 0);
    EXPECT_EQ(strict_json_failures(dump_files), 0);

    // Every test process has ended.
    std::istringstream started(read_file(pids));
    std::set<int> seen;
    for (int pid; started >> pid;) seen.insert(pid);
    EXPECT_GE(seen.size(), 8u);
    for (int pid : seen) EXPECT_TRUE(::kill(pid, 0) != 0 && errno == ESRCH) << "process " << pid << " is still there";
}

} // namespace
