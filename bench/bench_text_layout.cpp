// Laying out long texts: 100 KB, 1 MB and 10 MB, as the help page shows a help
// text (lines of 99 characters, multi-line, 12 pixels, no wrap), and wrapped as
// running words and as Chinese. Each iteration lays the whole text out again;
// "ms_per_MB" should stay flat from 100 KB to 10 MB.
#include <benchmark/benchmark.h>

#include <chrono>
#include <string>

#include "ozgi/cls_string.h"
#include "ozgi/cls_text_layout.h"

using namespace ozgi;

namespace {

enum kind_t { HELP_LINES, WRAPPED_WORDS, WRAPPED_CHINESE };

// A text of `bytes` bytes (whole lines) of the kind.
cls_string make_text(kind_t kind, long bytes) {
    std::string line;
    if (kind == HELP_LINES) line = std::string(99, 'h') + "\n";
    else if (kind == WRAPPED_WORDS) {
        // One paragraph of about 1 KB per line, to be broken at the spaces.
        while (line.size() < 1000) line += "memory test passed at address 0x1234abcd ";
        line += "\n";
    } else {
        while (line.size() < 1000) line += "内存测试通过，地址正常。";
        line += "\n";
    }
    std::string text;
    text.reserve(static_cast<size_t>(bytes) + line.size());
    while (static_cast<long>(text.size()) + static_cast<long>(line.size()) <= bytes) text += line;
    return cls_string(text.c_str(), static_cast<int>(text.size()));
}

void lay_out(benchmark::State& state, kind_t kind) {
    const long bytes = state.range(0) * 1024;
    cls_string text = make_text(kind, bytes);
    cls_text_layout layout;
    layout.set_pixel_size(kind == HELP_LINES ? 12 : 20);
    layout.set_multi_line(true);
    layout.set_wrap(kind != HELP_LINES);
    layout.set_width(640);
    // Glyphs rendered once, outside the measure.
    layout.borrow_text(&text);
    double total_ms = 0;
    for (auto _ : state) {
        auto start = std::chrono::steady_clock::now();
        layout.borrow_text(&text);
        benchmark::DoNotOptimize(layout.line_count());
        total_ms += std::chrono::duration<double, std::milli>(std::chrono::steady_clock::now() - start).count();
    }
    const double mb = static_cast<double>(text.length()) / (1024.0 * 1024.0);
    const double ms = total_ms / static_cast<double>(state.iterations());
    state.counters["MB"] = mb;
    state.counters["lines"] = layout.line_count();
    state.counters["ms"] = ms;
    state.counters["ms_per_MB"] = ms / mb;
}

void BM_layout_help_lines(benchmark::State& state) { lay_out(state, HELP_LINES); }
void BM_layout_wrapped_words(benchmark::State& state) { lay_out(state, WRAPPED_WORDS); }
void BM_layout_wrapped_chinese(benchmark::State& state) { lay_out(state, WRAPPED_CHINESE); }

} // namespace

BENCHMARK(BM_layout_help_lines)->Arg(100)->Arg(1024)->Arg(10240)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_layout_wrapped_words)->Arg(100)->Arg(1024)->Arg(10240)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_layout_wrapped_chinese)->Arg(100)->Arg(1024)->Arg(10240)->Unit(benchmark::kMillisecond);

BENCHMARK_MAIN();
