// A thousand runs of a short test through execution pages: descriptors, child
// processes and memory must come back to where they were. A run cannot take less
// than one tick of the page's 200 ms status timer, so the runs are shared by four
// programs running side by side, each of them checked on its own.
#include <gtest/gtest.h>

#include <cstdio>
#include <memory>
#include <vector>

#include "exec_test_util.h"

using namespace exec_test;

namespace {

/// One program doing its share of the runs.
struct soak_run_t {
    std::unique_ptr<live_vesk> vesk;
    int fds_before = 0;
    int children_before = 0;
    long rss_warm = 0;
};

TEST(Soak, AThousandRunsLeaveDescriptorsChildrenAndMemoryWhereTheyWere) {
    menu_dir m;
    m.script("short", "[ \"$1\" = \"--help\" ] && exit 1\necho ok\nexit 0\n");
    const int programs = 4;
    const int runs = 250;  // per program
    const int warm_up = 25;
    std::vector<soak_run_t> soak(programs);
    for (soak_run_t& s : soak) {
        s.vesk.reset(new live_vesk({"--dir=" + m.root(), "--serial-id=LOCAL_DEVICE"}));
        s.vesk->send("tap_text short\n");
        std::string opened = s.vesk->dump();
        ASSERT_NE(opened.find("cls_vesk_exec_page"), std::string::npos) << opened;
        s.fds_before = count_fds(s.vesk->pid());
        s.children_before = count_children(s.vesk->pid());
        ASSERT_GT(s.fds_before, 0);
    }
    // Every program gets its next run started before any is waited for, so the
    // programs wait for their timers at the same time.
    for (int run = 1; run <= runs; ++run) {
        for (soak_run_t& s : soak) s.vesk->send("tap_text Execute test\nwait_text Exit code:0 5000\n");
        for (soak_run_t& s : soak) {
            // The dump comes only after the wait_text before it has succeeded (a
            // failed one ends the program, and the dump is then empty).
            std::string d = s.vesk->dump();
            ASSERT_NE(d.find("\"text\": \"Exit code:0\""), std::string::npos) << "run " << run << ": " << d;
            // The page holds only the last run's output.
            ASSERT_NE(d.find("\"text\": \"ok\\n\""), std::string::npos) << "run " << run;
            if (run == warm_up) s.rss_warm = rss_kb(s.vesk->pid());
        }
    }
    for (soak_run_t& s : soak) {
        const int fds_after = count_fds(s.vesk->pid());
        const int children_after = count_children(s.vesk->pid());
        const long rss_end = rss_kb(s.vesk->pid());
        EXPECT_EQ(fds_after, s.fds_before);
        EXPECT_EQ(s.children_before, 0);
        EXPECT_EQ(children_after, 0);
        // The output held is three bytes; allow for allocator rounding, not for a
        // leak per run (225 runs after warming up).
        EXPECT_LE(rss_end - s.rss_warm, 256) << "RSS after warm-up " << s.rss_warm << " kB, at the end " << rss_end
                                             << " kB";
        std::printf("soak: %d runs, fds %d -> %d, RSS %ld kB -> %ld kB\n", runs, s.fds_before, fds_after, s.rss_warm,
                    rss_end);
        EXPECT_EQ(s.vesk->finish(), 0);
    }
}

} // namespace
