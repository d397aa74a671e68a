// Two hundred runs of a short test through one execution page in one process:
// descriptors, child processes and memory must come back to where they were.
#include <gtest/gtest.h>

#include <dirent.h>

#include <cstdio>

#include "exec_test_util.h"

using namespace exec_test;

namespace {

/// The program with its automation script fed through a pipe and "dump -" read
/// back from its standard output, so that the test can look at the live process.
class live_vesk {
public:
    explicit live_vesk(const std::vector<std::string>& args) {
        int in[2], out[2];
        if (::pipe(in) != 0 || ::pipe(out) != 0) throw std::runtime_error("pipe failed");
        std::vector<std::string> argv_s = {VESK_PROGRAM, "--ozgi-video=headless", "--ozgi-script=-"};
        argv_s.insert(argv_s.end(), args.begin(), args.end());
        m_pid = ::fork();
        if (m_pid == 0) {
            ::dup2(in[0], 0);
            ::dup2(out[1], 1);
            ::close(in[0]);
            ::close(in[1]);
            ::close(out[0]);
            ::close(out[1]);
            ::alarm(280);
            std::vector<char*> argv;
            for (std::string& a : argv_s) argv.push_back(&a[0]);
            argv.push_back(nullptr);
            ::execv(argv[0], argv.data());
            ::_exit(127);
        }
        ::close(in[0]);
        ::close(out[1]);
        m_in = ::fdopen(in[1], "w");
        m_out = ::fdopen(out[0], "r");
    }
    ~live_vesk() {
        if (m_in) std::fclose(m_in);
        if (m_out) std::fclose(m_out);
        if (m_pid > 0) ::waitpid(m_pid, nullptr, 0);
    }
    live_vesk(const live_vesk&) = delete;
    live_vesk& operator=(const live_vesk&) = delete;

    pid_t pid() const { return m_pid; }

    /// Sends script lines.
    void send(const std::string& lines) {
        std::fputs(lines.c_str(), m_in);
        std::fflush(m_in);
    }
    /// Dumps the pages now and returns the JSON text (empty when the program is gone).
    std::string dump() {
        send("dump -\n");
        std::string text;
        char buf[4096];
        while (std::fgets(buf, sizeof buf, m_out)) {
            text += buf;
            // The dump's last line closes the page list at the left margin.
            if (std::string(buf) == "]}\n") break;
        }
        return text;
    }
    /// Ends the script and returns the exit status.
    int finish() {
        send("quit\n");
        std::fclose(m_in);
        m_in = nullptr;
        int ws = 0;
        ::waitpid(m_pid, &ws, 0);
        m_pid = -1;
        return WIFEXITED(ws) ? WEXITSTATUS(ws) : 128 + WTERMSIG(ws);
    }

private:
    pid_t m_pid;
    FILE* m_in;
    FILE* m_out;
};

int count_fds(pid_t pid) {
    int n = 0;
    DIR* dir = ::opendir(("/proc/" + std::to_string(pid) + "/fd").c_str());
    if (!dir) return -1;
    while (dirent* e = ::readdir(dir))
        if (e->d_name[0] != '.') ++n;
    ::closedir(dir);
    return n;
}

/// Processes whose parent is `pid`, zombies included.
int count_children(pid_t pid) {
    int n = 0;
    DIR* dir = ::opendir("/proc");
    while (dirent* e = ::readdir(dir)) {
        if (e->d_name[0] < '0' || e->d_name[0] > '9') continue;
        std::string stat = read_file(std::string("/proc/") + e->d_name + "/stat");
        // The parent id is the second field after the parenthesised command name.
        size_t close = stat.rfind(')');
        if (close == std::string::npos) continue;
        int ppid = 0;
        char state = 0;
        if (std::sscanf(stat.c_str() + close + 1, " %c %d", &state, &ppid) == 2 && ppid == pid) ++n;
    }
    ::closedir(dir);
    return n;
}

long rss_kb(pid_t pid) {
    std::string status = read_file("/proc/" + std::to_string(pid) + "/status");
    size_t at = status.find("VmRSS:");
    return at == std::string::npos ? -1 : std::stol(status.substr(at + 6));
}

TEST(Soak, TwoHundredRunsLeaveDescriptorsChildrenAndMemoryWhereTheyWere) {
    menu_dir m;
    m.script("short", "[ \"$1\" = \"--help\" ] && exit 1\necho ok\nexit 0\n");
    live_vesk vesk({"--dir=" + m.root(), "--serial-id=LOCAL_DEVICE"});
    vesk.send("tap_text short\n");
    std::string opened = vesk.dump();
    ASSERT_NE(opened.find("cls_vesk_exec_page"), std::string::npos) << opened;

    const int fds_before = count_fds(vesk.pid());
    const int children_before = count_children(vesk.pid());
    ASSERT_GT(fds_before, 0);
    long rss_warm = 0;
    const int runs = 200;
    const int warm_up = 20;
    for (int run = 1; run <= runs; ++run) {
        vesk.send("tap_text Execute test\n");
        std::string d;
        // Poll until the run has ended; the result text replaces "Executing...".
        for (int poll = 0; poll < 100; ++poll) {
            vesk.send("wait 50\n");
            d = vesk.dump();
            if (d.find("\"text\": \"Exit code:0\"") != std::string::npos) break;
        }
        ASSERT_NE(d.find("\"text\": \"Exit code:0\""), std::string::npos) << "run " << run;
        // The page holds only the last run's output.
        ASSERT_NE(d.find("\"text\": \"ok\\n\""), std::string::npos) << "run " << run;
        if (run == warm_up) rss_warm = rss_kb(vesk.pid());
    }
    const int fds_after = count_fds(vesk.pid());
    const int children_after = count_children(vesk.pid());
    const long rss_end = rss_kb(vesk.pid());
    EXPECT_EQ(fds_after, fds_before);
    EXPECT_EQ(children_before, 0);
    EXPECT_EQ(children_after, 0);
    // The output held is three bytes; allow for allocator rounding, not for a leak
    // per run (180 runs after warming up).
    EXPECT_LE(rss_end - rss_warm, 256) << "RSS after warm-up " << rss_warm << " kB, at the end " << rss_end << " kB";
    std::printf("soak: fds %d -> %d, RSS %ld kB -> %ld kB\n", fds_before, fds_after, rss_warm, rss_end);
    EXPECT_EQ(vesk.finish(), 0);
}

} // namespace
