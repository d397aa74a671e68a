// Menu scan speed: building the menu tree of a generated directory tree with the
// local device, against `find ROOT -type f -perm -u+x` listing the same
// executables, timed in the same iterations and reported as a ratio (the goal:
// a ratio of at most 1.0, one query per entry as find makes).
#include <benchmark/benchmark.h>
#include <sys/stat.h>

#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

#include "devices/cls_local_vesk_device.h"
#include "ozgi/cls_process.h"

namespace {

// 10 top directories, each with 9 sub-directories, each with 10 leaves: 1,000
// directories, every one holding 10 executables: 10,000 tests.
const int TOP = 10;
const int MID = 9;
const int LEAF = 10;
const int EXECS_PER_DIR = 10;

void fill_dir(const std::string& dir) {
    std::filesystem::create_directories(dir);
    for (int i = 0; i < EXECS_PER_DIR; ++i) {
        std::string path = dir + "/test_" + std::to_string(i);
        std::ofstream(path) << "#!/bin/sh\nexit 0\n";
        ::chmod(path.c_str(), 0755);
    }
}

std::string make_tree() {
    std::string pattern = (std::filesystem::temp_directory_path() / "vesk_bench_scan_XXXXXX").string();
    std::vector<char> buf(pattern.begin(), pattern.end());
    buf.push_back('\0');
    if (::mkdtemp(buf.data()) == nullptr) std::abort();
    std::string root = buf.data();
    for (int t = 0; t < TOP; ++t) {
        std::string top = root + "/top_" + std::to_string(t);
        fill_dir(top);
        for (int m = 0; m < MID; ++m) {
            std::string mid = top + "/mid_" + std::to_string(m);
            fill_dir(mid);
            for (int l = 0; l < LEAF; ++l) fill_dir(mid + "/leaf_" + std::to_string(l));
        }
    }
    return root;
}

double scan_seconds(const std::string& root, int* execs) {
    auto start = std::chrono::steady_clock::now();
    cls_local_vesk_device device;
    if_vesk_device::menu_tree_t tree;
    device.build_menu_tree(root.c_str(), &tree);
    auto end = std::chrono::steady_clock::now();
    // Counted outside the timed part, as a check that the whole tree was read.
    int count = 0;
    ozgi::cls_array<const if_vesk_device::menu_tree_node_t*> stack;
    stack.append(tree.root());
    while (!stack.is_empty()) {
        const if_vesk_device::menu_tree_node_t* node = stack.last();
        stack.remove_at(stack.count() - 1);
        if (node->data.is_exec) ++count;
        for (const auto* c = node->first_child; c; c = c->next_sibling) stack.append(c);
    }
    *execs = count;
    return std::chrono::duration<double>(end - start).count();
}

double find_seconds(const std::string& root, int* lines) {
    auto start = std::chrono::steady_clock::now();
    ozgi::cls_sp<ozgi::cls_string> out =
        ozgi::cls_process::execute_cmd(ozgi::cls_string(("find " + root + " -type f -perm -u+x").c_str()));
    auto end = std::chrono::steady_clock::now();
    int count = 0;
    for (int i = 0; i < out->length(); ++i) count += (*out)[i] == '\n';
    *lines = count;
    return std::chrono::duration<double>(end - start).count();
}

// The generated tree, removed again when the program ends.
struct generated_tree_t {
    std::string root = make_tree();
    ~generated_tree_t() {
        std::error_code ec;
        std::filesystem::remove_all(root, ec);
    }
};

void BM_menu_scan_vs_find(benchmark::State& state) {
    static const generated_tree_t tree;
    const std::string& root = tree.root;
    int execs = 0;
    int lines = 0;
    // One untimed pass of each, so both start from a warm directory cache.
    scan_seconds(root, &execs);
    find_seconds(root, &lines);
    double scan_total = 0;
    double find_total = 0;
    for (auto _ : state) {
        double scan = scan_seconds(root, &execs);
        double find = find_seconds(root, &lines);
        scan_total += scan;
        find_total += find;
        state.SetIterationTime(scan);
    }
    if (execs != TOP * (1 + MID * (1 + LEAF)) * EXECS_PER_DIR || lines != execs) state.SkipWithError("tree mismatch");
    state.counters["scan_ms"] = benchmark::Counter(scan_total * 1000 / state.iterations());
    state.counters["find_ms"] = benchmark::Counter(find_total * 1000 / state.iterations());
    state.counters["ratio"] = benchmark::Counter(scan_total / find_total);
    state.counters["execs"] = benchmark::Counter(execs);
}
BENCHMARK(BM_menu_scan_vs_find)->UseManualTime()->Unit(benchmark::kMillisecond)->Iterations(10);

} // namespace

BENCHMARK_MAIN();
