// Glyph cache memory: 20,000 distinct Chinese characters drawn one after the
// other at one size. Resident memory is read once the cache has reached its
// bound and again at the end; the goal is that it stays flat in between.
//
// Run: build-rel/bench/bench_glyph_cache
#include <benchmark/benchmark.h>
#include <unistd.h>

#include <cstdio>

#include "ozgi/cls_canvas.h"
#include "ozgi/cls_font_mgr.h"

namespace {

const int CHARACTERS = 20000;
const uint32_t FIRST_CJK = 0x4E00;

long resident_kb() {
    long pages = 0, resident = 0;
    FILE* f = std::fopen("/proc/self/statm", "r");
    if (!f) return 0;
    if (std::fscanf(f, "%ld %ld", &pages, &resident) != 2) resident = 0;
    std::fclose(f);
    return resident * (::sysconf(_SC_PAGESIZE) / 1024);
}

void BM_glyph_cache_20000_cjk(benchmark::State& state) {
    ozgi::cls_font_mgr* fonts = ozgi::cls_font_mgr::ins();
    ozgi::cls_canvas canvas(640, 800);
    const int px = 18;
    long at_bound = 0, at_end = 0, at_start = 0;
    for (auto _ : state) {
        at_start = resident_kb();
        for (int i = 0; i < CHARACTERS; ++i) {
            // Drawn as a label draws it: the glyph's mask blended into the canvas.
            char text[8];
            uint32_t cp = FIRST_CJK + static_cast<uint32_t>(i);
            text[0] = static_cast<char>(0xE0 | (cp >> 12));
            text[1] = static_cast<char>(0x80 | ((cp >> 6) & 0x3F));
            text[2] = static_cast<char>(0x80 | (cp & 0x3F));
            fonts->draw_text(&canvas, text, 3, (i % 30) * 20, 100 + (i / 30 % 30) * 20, ozgi::cls_color{0, 0, 0, 255}, px);
            // Read a little after the bound, once the allocator has settled on it.
            if (i == ozgi::cls_font_mgr::max_glyphs_per_size() + 1000) at_bound = resident_kb();
        }
        at_end = resident_kb();
    }
    state.counters["rss_start_kb"] = static_cast<double>(at_start);
    state.counters["rss_at_bound_kb"] = static_cast<double>(at_bound);
    state.counters["rss_end_kb"] = static_cast<double>(at_end);
    state.counters["growth_after_bound_kb"] = static_cast<double>(at_end - at_bound);
    state.counters["glyphs_held"] = fonts->cached_glyph_count();
}
BENCHMARK(BM_glyph_cache_20000_cjk)->Iterations(1)->Unit(benchmark::kMillisecond);

} // namespace

BENCHMARK_MAIN();
