// Start to first frame: the whole program (build-rel/vesk next to this
// benchmark's directory, or VESK_START_PROGRAM) is started headless with an
// automation script whose first line dumps the first page into a FIFO; the time
// from the spawn until the dump has been read whole is the start. It is measured
// for an empty menu (the program's fixed start), the example menu and a menu of
// 10,000 tests in 1,000 directories; the scan of each menu alone is timed in
// this process. The goal: start <= 1.2 x (fixed start + scan alone).
//
// Run: build-rel/bench/bench_start
#include <benchmark/benchmark.h>
#include <fcntl.h>
#include <spawn.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

#include "bench_menu.h"
#include "devices/cls_local_vesk_device.h"

extern char** environ;

namespace {

double now_s() {
    return std::chrono::duration<double>(std::chrono::steady_clock::now().time_since_epoch()).count();
}


std::string make_temp_dir(const char* name) {
    std::string pattern = (std::filesystem::temp_directory_path() / name).string() + "_XXXXXX";
    std::vector<char> buf(pattern.begin(), pattern.end());
    buf.push_back('\0');
    if (::mkdtemp(buf.data()) == nullptr) std::abort();
    return buf.data();
}

void fill_dir(const std::string& dir, int count) {
    std::filesystem::create_directories(dir);
    for (int i = 0; i < count; ++i) {
        std::string path = dir + "/test_" + std::to_string(i);
        std::ofstream(path) << "#!/bin/sh\nexit 0\n";
        ::chmod(path.c_str(), 0755);
    }
}

// The scan benchmark's shape: 10 x (1 + 9 x (1 + 10)) directories of 10 tests.
std::string make_big_menu() {
    std::string root = make_temp_dir("vesk_bench_start_big");
    for (int t = 0; t < 10; ++t) {
        std::string top = root + "/top_" + std::to_string(t);
        fill_dir(top, 10);
        for (int m = 0; m < 9; ++m) {
            std::string mid = top + "/mid_" + std::to_string(m);
            fill_dir(mid, 10);
            for (int l = 0; l < 10; ++l) fill_dir(mid + "/leaf_" + std::to_string(l), 10);
        }
    }
    return root;
}

// Seconds from the spawn of the program on `menu` until its first dump has been read.
double start_seconds(const std::string& menu, const std::string& work) {
    std::string fifo = work + "/dump.fifo";
    std::string script = work + "/start.ozs";
    ::unlink(fifo.c_str());
    if (::mkfifo(fifo.c_str(), 0600) != 0) std::abort();
    std::ofstream(script) << "dump " << fifo << "\n";
    std::string program = bench::program_path("VESK_START_PROGRAM");
    std::string dir_arg = "--dir=" + menu;
    std::string script_arg = "--ozgi-script=" + script;
    char* argv[] = {const_cast<char*>(program.c_str()), const_cast<char*>("--ozgi-video=headless"),
                    const_cast<char*>(dir_arg.c_str()), const_cast<char*>(script_arg.c_str()), nullptr};
    double start = now_s();
    pid_t pid = 0;
    if (::posix_spawn(&pid, program.c_str(), nullptr, nullptr, argv, environ) != 0) std::abort();
    int fd = ::open(fifo.c_str(), O_RDONLY);
    char buf[65536];
    long total = 0;
    while (fd >= 0) {
        ssize_t n = ::read(fd, buf, sizeof buf);
        if (n <= 0) break;
        total += n;
    }
    double end = now_s();
    if (fd >= 0) ::close(fd);
    int status = 0;
    ::waitpid(pid, &status, 0);
    if (total == 0 || !WIFEXITED(status) || WEXITSTATUS(status) != 0) std::abort();
    return end - start;
}

double scan_seconds(const std::string& menu) {
    double start = now_s();
    cls_local_vesk_device device;
    if_vesk_device::menu_tree_t tree;
    device.build_menu_tree(menu.c_str(), &tree);
    return now_s() - start;
}

template <typename F>
double best_of(int runs, F f) {
    double best = 1e9;
    for (int i = 0; i < runs; ++i) {
        double t = f();
        if (t < best) best = t;
    }
    return best;
}

void BM_start_to_first_frame(benchmark::State& state) {
    std::string work = make_temp_dir("vesk_bench_start_work");
    std::string empty = make_temp_dir("vesk_bench_start_empty");
    std::string example = std::string(VESK_SOURCE_DIR) + "/examples/menu";
    std::string big = make_big_menu();
    double fixed = 0, example_start = 0, example_scan = 0, big_start = 0, big_scan = 0;
    for (auto _ : state) {
        // Warm runs first, so that every menu starts from the same cached state.
        start_seconds(big, work);
        fixed = best_of(7, [&] { return start_seconds(empty, work); });
        example_start = best_of(7, [&] { return start_seconds(example, work); });
        example_scan = best_of(7, [&] { return scan_seconds(example); });
        big_start = best_of(7, [&] { return start_seconds(big, work); });
        big_scan = best_of(7, [&] { return scan_seconds(big); });
    }
    state.counters["fixed_ms"] = fixed * 1000;
    state.counters["example_ms"] = example_start * 1000;
    state.counters["example_scan_ms"] = example_scan * 1000;
    state.counters["example_ratio"] = example_start / (fixed + example_scan);
    state.counters["big_ms"] = big_start * 1000;
    state.counters["big_scan_ms"] = big_scan * 1000;
    state.counters["big_ratio"] = big_start / (fixed + big_scan);
    std::error_code ec;
    for (const std::string& d : {work, empty, big}) std::filesystem::remove_all(d, ec);
}
BENCHMARK(BM_start_to_first_frame)->Iterations(1)->Unit(benchmark::kMillisecond);

} // namespace

BENCHMARK_MAIN();
