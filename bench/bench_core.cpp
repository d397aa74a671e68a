// Appending is what the devices do most: every line of command output and every
// directory entry goes through cls_array::append and cls_string's +=.
#include <benchmark/benchmark.h>

#include "ozgi/cls_array.h"
#include "ozgi/cls_string.h"

using namespace ozgi;

static void bm_array_append_int(benchmark::State& state) {
    const int n = static_cast<int>(state.range(0));
    for (auto _ : state) {
        cls_array<int> a;
        for (int i = 0; i < n; ++i) a.append(i);
        benchmark::DoNotOptimize(a.count());
    }
    state.SetItemsProcessed(state.iterations() * n);
}
BENCHMARK(bm_array_append_int)->Arg(256)->Arg(65536);

static void bm_array_append_string(benchmark::State& state) {
    const int n = static_cast<int>(state.range(0));
    const cls_string line("Arguments: --loops <1-1000> default 10");
    for (auto _ : state) {
        cls_array<cls_string> a(cls_array<cls_string>::INITIAL_SLOTS);
        for (int i = 0; i < n; ++i) a.append(line);
        benchmark::DoNotOptimize(a.count());
    }
    state.SetItemsProcessed(state.iterations() * n);
}
BENCHMARK(bm_array_append_string)->Arg(256)->Arg(65536);

static void bm_string_append_char(benchmark::State& state) {
    const int n = static_cast<int>(state.range(0));
    for (auto _ : state) {
        cls_string s;
        for (int i = 0; i < n; ++i) s += 'x';
        benchmark::DoNotOptimize(s.length());
    }
    state.SetBytesProcessed(state.iterations() * n);
}
BENCHMARK(bm_string_append_char)->Arg(4096)->Arg(1 << 20);

static void bm_string_append_line(benchmark::State& state) {
    const int n = static_cast<int>(state.range(0));
    const char* line = "test output line 0123456789\n";
    for (auto _ : state) {
        cls_string s;
        for (int i = 0; i < n; ++i) s += line;
        benchmark::DoNotOptimize(s.length());
    }
    state.SetItemsProcessed(state.iterations() * n);
}
BENCHMARK(bm_string_append_line)->Arg(256)->Arg(65536);

BENCHMARK_MAIN();
