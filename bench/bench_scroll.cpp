// Scrolling a long menu: the root menu page of 10,000 tests is dragged from its
// top to its bottom by the automation script (swipes of press, moves of 120
// pixels, release), the whole GUI headless in this process. The script is fed
// line by line through standard input, so the time between two lines asked for
// is the time of one command with its repaint: one frame per move. Frame times
// are reported (mean, 99th percentile, worst), and the page is checked to have
// reached its bottom.
//
// Run: build-rel/bench/bench_scroll
#include <benchmark/benchmark.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <streambuf>
#include <string>
#include <vector>

#include "devices/cls_vesk_device.h"
#include "ozgi/cls_input_args.h"
#include "ozgi/cls_ozgi_gui.h"
#include "ozgi/cls_page.h"
#include "ozgi/cls_root_container.h"

namespace {

const int TESTS = std::getenv("VESK_SCROLL_TESTS") ? std::atoi(std::getenv("VESK_SCROLL_TESTS")) : 10000;

double now_s() {
    return std::chrono::duration<double>(std::chrono::steady_clock::now().time_since_epoch()).count();
}

// Hands out one script line each time the GUI asks for more, noting the time of
// each request: the GUI asks only once it has finished the previous command.
class timed_lines_t : public std::streambuf {
public:
    explicit timed_lines_t(std::vector<std::string> lines) : m_lines(std::move(lines)) {}
    std::vector<double> asked;
    int final_scroll = -1;
    int max_scroll = -2;
    bool ended = false;

protected:
    int_type underflow() override {
        asked.push_back(now_s());
        if (m_next >= m_lines.size()) {
            // The script's end: where the page stands now, before the GUI ends.
            ozgi::cls_root_container* root = ozgi::cls_root_container::ins();
            ozgi::cls_page* page = root ? root->top_page() : nullptr;
            if (page && !ended) {
                final_scroll = page->scroll_y();
                max_scroll = page->max_scroll_y();
            }
            ended = true;
            return traits_type::eof();
        }
        m_current = m_lines[m_next++] + "\n";
        setg(&m_current[0], &m_current[0], &m_current[0] + m_current.size());
        return traits_type::to_int_type(m_current[0]);
    }

private:
    std::vector<std::string> m_lines;
    size_t m_next = 0;
    std::string m_current;
};

struct menu_dir_t {
    std::string root;
    menu_dir_t() {
        std::string pattern = (std::filesystem::temp_directory_path() / "vesk_bench_scroll_XXXXXX").string();
        std::vector<char> buf(pattern.begin(), pattern.end());
        buf.push_back('\0');
        if (::mkdtemp(buf.data()) == nullptr) std::abort();
        root = buf.data();
        for (int i = 0; i < TESTS; ++i) {
            char name[32];
            std::snprintf(name, sizeof name, "/test_%05d", i);
            std::string path = root + name;
            std::ofstream(path) << "#!/bin/sh\nexit 0\n";
            ::chmod(path.c_str(), 0755);
        }
    }
    ~menu_dir_t() {
        std::error_code ec;
        std::filesystem::remove_all(root, ec);
    }
};

void BM_drag_10000_entries_top_to_bottom(benchmark::State& state) {
    menu_dir_t menu;
    // Each swipe moves the content up by 600 pixels; a button and its gap are
    // 69 pixels, so this many swipes pass the whole list.
    const int swipes = TESTS * 69 / 600 + 2;
    std::vector<std::string> lines;
    std::vector<bool> is_move;
    for (int s = 0; s < swipes; ++s) {
        lines.push_back("press 320 760");
        for (int y = 640; y >= 160; y -= 120) lines.push_back("move 320 " + std::to_string(y));
        lines.push_back("release 320 160");
    }
    std::vector<double> frames;
    int final_scroll = 0, max_scroll = -1;
    for (auto _ : state) {
        cls_vesk_device::release_func(cls_vesk_device::ins());
        cls_vesk_device::ins()->set_info("local", menu.root.c_str());
        cls_vesk_device::ins()->set_serial_id("LOCAL_DEVICE");
        ozgi::cls_array<ozgi::cls_string> args;
        args.append("--ozgi-video=headless");
        args.append("--ozgi-first-page=menu_page/first_page.xml");
        args.append("--ozgi-script=-");
        ozgi::cls_input_args::ins()->set_args(args);
        timed_lines_t feed(lines);
        std::streambuf* saved = std::cin.rdbuf(&feed);
        ozgi::cls_ozgi_gui::ins()->start_gui();
        std::cin.rdbuf(saved);
        // Request i + 1 ends command i; the moves are the frames of the drag.
        for (size_t i = 0; i + 1 < feed.asked.size() && i < lines.size(); ++i)
            if (lines[i].compare(0, 5, "move ") == 0) frames.push_back(feed.asked[i + 1] - feed.asked[i]);
        final_scroll = feed.final_scroll;
        max_scroll = feed.max_scroll;
    }
    std::sort(frames.begin(), frames.end());
    double sum = 0;
    for (double f : frames) sum += f;
    if (final_scroll != max_scroll) std::fprintf(stderr, "scroll %d of %d\n", final_scroll, max_scroll);
    state.counters["scroll_end_px"] = final_scroll;
    state.counters["frames"] = static_cast<double>(frames.size());
    state.counters["frame_mean_ms"] = frames.empty() ? 0 : sum / frames.size() * 1000;
    state.counters["frame_p99_ms"] = frames.empty() ? 0 : frames[frames.size() * 99 / 100] * 1000;
    state.counters["frame_max_ms"] = frames.empty() ? 0 : frames.back() * 1000;
}
BENCHMARK(BM_drag_10000_entries_top_to_bottom)->Iterations(1)->Unit(benchmark::kMillisecond);

} // namespace

BENCHMARK_MAIN();
