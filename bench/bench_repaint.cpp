// Repaint cost: a focus move (which repaints its two buttons) against a full
// repaint (a page scroll by one wheel step, which repaints the whole screen),
// on the root menu page of a menu of 30 tests, the whole GUI headless in this
// process. Each is 200 changes from an automation script; a script of 200 keys
// that change nothing is the fixed part taken off both. The goal: a focus move
// costs at most 0.1x a full repaint.
//
// Run: build-rel/bench/bench_repaint
#include <benchmark/benchmark.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

#include "bench_menu.h"
#include "devices/cls_vesk_device.h"
#include "ozgi/cls_input_args.h"
#include "ozgi/cls_ozgi_gui.h"

namespace {

const int CHANGES = 200;


double cpu_now() {
    struct timespec ts;
    ::clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &ts);
    return static_cast<double>(ts.tv_sec) + static_cast<double>(ts.tv_nsec) * 1e-9;
}

// CPU seconds of one GUI run of `script` on the menu; the best of `runs`.
double run_script(const bench::menu_dir_t& menu, const std::string& script, int runs) {
    std::string path = menu.root + ".ozs";
    std::ofstream(path) << script;
    double best = 1e9;
    for (int i = 0; i < runs; ++i) {
        bench::prepare_gui(menu.root, path);
        double start = cpu_now();
        ozgi::cls_ozgi_gui::ins()->start_gui();
        double t = cpu_now() - start;
        if (t < best) best = t;
    }
    std::remove(path.c_str());
    return best;
}

std::string repeat(const std::string& lines, int times) {
    std::string out;
    for (int i = 0; i < times; ++i) out += lines;
    return out;
}

void BM_focus_move_vs_full_repaint(benchmark::State& state) {
    bench::menu_dir_t menu(30, "vesk_bench_repaint");
    double base = 0, focus = 0, full = 0;
    for (auto _ : state) {
        base = run_script(menu, repeat("key F1\n", CHANGES), 5);
        focus = run_script(menu, repeat("key Down\nkey Up\n", CHANGES / 2), 5);
        full = run_script(menu, repeat("wheel 320 400 -1\nwheel 320 400 1\n", CHANGES / 2), 5);
    }
    state.counters["focus_move_us"] = (focus - base) * 1e6 / CHANGES;
    state.counters["full_repaint_us"] = (full - base) * 1e6 / CHANGES;
    state.counters["ratio"] = (focus - base) / (full - base);
}
BENCHMARK(BM_focus_move_vs_full_repaint)->Iterations(1)->Unit(benchmark::kMillisecond);

} // namespace

BENCHMARK_MAIN();
