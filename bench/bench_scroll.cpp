// Scrolling a long menu: the root menu page of 10,000 tests is dragged from its
// top to its bottom by the automation script (swipes of press, moves of 120
// pixels, release, until a swipe no longer moves the page), the whole GUI
// headless in this process. The script is fed line by line through standard
// input, so the time from handing out one line to the request for the next is
// the time of one command with its repaint: one frame per move. Frame times are
// reported (mean, 99th percentile, worst; by the clock and in the GUI thread's
// CPU time) for the moves that scrolled the page,
// with how many items a repaint of the whole screen looks at (worked out here
// from the items' subtree bounds, the way the painting walk passes by subtrees
// off the screen), and the page is checked to have reached its bottom.
//
// Run: build-rel/bench/bench_scroll
#include <benchmark/benchmark.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <ctime>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <streambuf>
#include <string>
#include <vector>

#include "bench_menu.h"
#include "devices/cls_vesk_device.h"
#include "ozgi/cls_input_args.h"
#include "ozgi/cls_ozgi_gui.h"
#include "ozgi/cls_page.h"
#include "ozgi/cls_rect.h"
#include "ozgi/cls_root_container.h"

namespace {

const int TESTS = std::getenv("VESK_SCROLL_TESTS") ? std::atoi(std::getenv("VESK_SCROLL_TESTS")) : 10000;
// A swipe that ends where it began means the bottom; this many are the most tried.
const int MAX_SWIPES = 100000;

double now_s() {
    return std::chrono::duration<double>(std::chrono::steady_clock::now().time_since_epoch()).count();
}

// The GUI thread's CPU time: frame costs that other work on a loaded machine
// does not stretch (wall-clock frames there take the scheduler's slices too).
double cpu_s() {
    struct timespec ts;
    ::clock_gettime(CLOCK_THREAD_CPUTIME_ID, &ts);
    return static_cast<double>(ts.tv_sec) + static_cast<double>(ts.tv_nsec) * 1e-9;
}

ozgi::cls_page* top_page() {
    ozgi::cls_root_container* root = ozgi::cls_root_container::ins();
    return root ? root->top_page() : nullptr;
}

// The items a painting walk over `rect` reaches below `item` (itself counted):
// a subtree whose bounds miss the rectangle is not entered, and in a row of
// children running from top to bottom only those meeting it are looked at.
long count_reached(const ozgi::cls_event_handler* item, const ozgi::cls_rect& rect, int scroll) {
    if (!item->shown_by_itself()) return 1;
    const ozgi::cls_event_handler::subtree_bounds_t& b = item->subtree_bounds();
    if (!item->is_page() && !b.holds_page &&
        !(b.x0 < rect.right() && b.x1 > rect.x && b.y0 - scroll < rect.bottom() && b.y1 - scroll > rect.y))
        return 1;
    int child_scroll = item->is_page() ? static_cast<const ozgi::cls_page*>(item)->scroll_y() : scroll;
    int first = 0, end = item->child_count();
    if (end >= 16 && b.children_ordered) {
        while (first < end && item->child(first)->subtree_bounds().y1 - child_scroll <= rect.y) ++first;
        while (end > first && item->child(end - 1)->subtree_bounds().y0 - child_scroll >= rect.bottom()) --end;
    }
    long n = 1;
    for (int i = first; i < end; ++i) n += count_reached(item->child(i), rect, child_scroll);
    return n;
}

// Hands out one script line each time the GUI asks for more, noting the time of
// each request and of each line handed out: the GUI asks only once it has
// finished the previous command. Swipes go on until one leaves the page where
// it was.
class timed_lines_t : public std::streambuf {
public:
    std::vector<std::string> lines;
    std::vector<double> asked, given, asked_cpu, given_cpu;
    // The page's scroll when each line was asked for (after the line before it).
    std::vector<int> scroll_at_ask;
    // Items a repaint of the whole screen reaches, after each line.
    std::vector<long> reached;
    int final_scroll = -1;
    int max_scroll = -2;

protected:
    int_type underflow() override {
        asked.push_back(now_s());
        asked_cpu.push_back(cpu_s());
        ozgi::cls_page* page = top_page();
        int scroll = page ? page->scroll_y() : -1;
        scroll_at_ask.push_back(scroll);
        if (page && !lines.empty())
            reached.push_back(count_reached(page, ozgi::cls_rect{0, 0, 640, 800}, 0));
        if (m_step == 0) {
            // A swipe is over (or none began): another one, unless the last moved nothing.
            if (m_swipes > 0 && scroll == m_swipe_start_scroll) return end(page);
            if (m_swipes >= MAX_SWIPES || !page) return end(page);
            ++m_swipes;
            m_swipe_start_scroll = scroll;
        }
        std::string line;
        if (m_step == 0) line = "press 320 760";
        else if (m_step <= 5) line = "move 320 " + std::to_string(760 - 120 * m_step);
        else line = "release 320 160";
        m_step = m_step == 6 ? 0 : m_step + 1;
        lines.push_back(line);
        m_current = line + "\n";
        setg(&m_current[0], &m_current[0], &m_current[0] + m_current.size());
        given_cpu.push_back(cpu_s());
        given.push_back(now_s());
        return traits_type::to_int_type(m_current[0]);
    }

private:
    int_type end(ozgi::cls_page* page) {
        // The script's end: where the page stands now, before the GUI ends.
        if (page && final_scroll < 0) {
            final_scroll = page->scroll_y();
            max_scroll = page->max_scroll_y();
        }
        given_cpu.push_back(cpu_s());
        given.push_back(now_s());
        return traits_type::eof();
    }

    int m_step = 0;
    int m_swipes = 0;
    int m_swipe_start_scroll = -1;
    std::string m_current;
};


void BM_drag_10000_entries_top_to_bottom(benchmark::State& state) {
    bench::menu_dir_t menu(TESTS, "vesk_bench_scroll");
    std::vector<double> frames, frames_cpu;
    std::vector<long> reached;
    int final_scroll = 0, max_scroll = -1, moves = 0;
    for (auto _ : state) {
        bench::prepare_gui(menu.root, "-");
        timed_lines_t feed;
        std::streambuf* saved = std::cin.rdbuf(&feed);
        ozgi::cls_ozgi_gui::ins()->start_gui();
        std::cin.rdbuf(saved);
        // Request i + 1 ends command i; the moves that scrolled are the frames of the drag.
        for (size_t i = 0; i < feed.lines.size() && i + 1 < feed.asked.size(); ++i) {
            if (feed.lines[i].compare(0, 5, "move ") != 0) continue;
            ++moves;
            if (feed.scroll_at_ask[i + 1] == feed.scroll_at_ask[i]) continue;
            frames.push_back(feed.asked[i + 1] - feed.given[i]);
            frames_cpu.push_back(feed.asked_cpu[i + 1] - feed.given_cpu[i]);
            if (i < feed.reached.size()) reached.push_back(feed.reached[i]);
        }
        final_scroll = feed.final_scroll;
        max_scroll = feed.max_scroll;
    }
    std::sort(frames.begin(), frames.end());
    std::sort(frames_cpu.begin(), frames_cpu.end());
    double sum = 0, sum_cpu = 0;
    for (double f : frames) sum += f;
    for (double f : frames_cpu) sum_cpu += f;
    long reached_sum = 0, reached_max = 0;
    for (long r : reached) {
        reached_sum += r;
        reached_max = std::max(reached_max, r);
    }
    if (final_scroll != max_scroll) std::fprintf(stderr, "scroll %d of %d\n", final_scroll, max_scroll);
    state.counters["scroll_end_px"] = final_scroll;
    state.counters["scroll_max_px"] = max_scroll;
    state.counters["moves"] = moves;
    state.counters["frames"] = static_cast<double>(frames.size());
    state.counters["frame_mean_ms"] = frames.empty() ? 0 : sum / frames.size() * 1000;
    state.counters["frame_p99_ms"] = frames.empty() ? 0 : frames[frames.size() * 99 / 100] * 1000;
    state.counters["frame_max_ms"] = frames.empty() ? 0 : frames.back() * 1000;
    state.counters["frame_cpu_mean_ms"] = frames_cpu.empty() ? 0 : sum_cpu / frames_cpu.size() * 1000;
    state.counters["frame_cpu_p99_ms"] = frames_cpu.empty() ? 0 : frames_cpu[frames_cpu.size() * 99 / 100] * 1000;
    state.counters["frame_cpu_max_ms"] = frames_cpu.empty() ? 0 : frames_cpu.back() * 1000;
    state.counters["items_reached_mean"] = reached.empty() ? 0 : static_cast<double>(reached_sum) / reached.size();
    state.counters["items_reached_max"] = static_cast<double>(reached_max);
}
BENCHMARK(BM_drag_10000_entries_top_to_bottom)->Iterations(1)->Unit(benchmark::kMillisecond);

} // namespace

BENCHMARK_MAIN();
