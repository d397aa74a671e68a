// Rendering speed: a full-screen repaint against the bare cost of copying a frame,
// and the cost of long output labels.
#include <benchmark/benchmark.h>

#include <cstdio>
#include <cstring>
#include <vector>

#include "ozgi/cls_canvas.h"
#include "ozgi/cls_text_layout.h"

using namespace ozgi;

namespace {

constexpr int SCREEN_W = 640;
constexpr int SCREEN_H = 800;

// The physical floor of a repaint: copying one 640x800 ARGB frame.
void BM_frame_memcpy(benchmark::State& state) {
    std::vector<uint32_t> from(SCREEN_W * SCREEN_H, 0xFF336699u);
    std::vector<uint32_t> to(SCREEN_W * SCREEN_H);
    for (auto _ : state) {
        std::memcpy(to.data(), from.data(), from.size() * sizeof(uint32_t));
        benchmark::DoNotOptimize(to.data());
        benchmark::ClobberMemory();
    }
}
BENCHMARK(BM_frame_memcpy);

// A page as the menu shows it: background, title bar with its title, and 12
// white 64-pixel buttons with their labels, repainted whole every frame.
void BM_full_repaint_12_buttons(benchmark::State& state) {
    cls_canvas canvas(SCREEN_W, SCREEN_H);
    cls_text_layout title;
    title.set_pixel_size(24);
    title.set_text("Diagnostic");
    std::vector<cls_text_layout> labels(12);
    for (int i = 0; i < 12; ++i) {
        char text[64];
        std::snprintf(text, sizeof(text), i % 2 ? "测试项目 %d" : "Memory test %d", i + 1);
        labels[i].set_pixel_size(18);
        labels[i].set_text(text);
    }
    for (auto _ : state) {
        canvas.set_clip(cls_rect{0, 0, SCREEN_W, SCREEN_H});
        canvas.fill_rect(cls_rect{0, 0, SCREEN_W, SCREEN_H}, cls_color{239, 239, 244, 255});
        canvas.fill_rect(cls_rect{0, 0, SCREEN_W, 96}, cls_color{247, 247, 247, 255});
        title.draw(&canvas, cls_rect{SCREEN_W / 3, 0, 300, 96}, 0, 1, cls_color{0, 0, 0, 255}, 0);
        for (int i = 0; i < 12; ++i) {
            cls_rect button{0, 96 + 5 + i * 69, SCREEN_W, 64};
            canvas.set_clip(button.intersect(cls_rect{0, 0, SCREEN_W, SCREEN_H}));
            canvas.fill_rect(button, cls_color{255, 255, 255, 255});
            labels[i].draw(&canvas, cls_rect{button.x + 20, button.y, 500, 64}, 0, 1, cls_color{0, 0, 0, 255}, 0);
        }
        benchmark::DoNotOptimize(canvas.pixels());
        benchmark::ClobberMemory();
    }
}
BENCHMARK(BM_full_repaint_12_buttons);

// The output page's label (black, white text 20, bottom-aligned) repainted with
// state.range(0) lines of output in it.
void BM_output_label_repaint(benchmark::State& state) {
    cls_canvas canvas(SCREEN_W, SCREEN_H);
    cls_text_layout label;
    label.set_pixel_size(20);
    label.set_multi_line(true);
    label.set_width(SCREEN_W - 8);
    std::string text;
    char line[96];
    for (long i = 0; i < state.range(0); ++i) {
        std::snprintf(line, sizeof(line), "[%07ld] reading sensor block %03ld: value 0x%08lx ok\n", i, i % 977, i * 2654435761u);
        text += line;
    }
    label.set_text(cls_string(text.c_str(), static_cast<int>(text.size())));
    cls_rect box{4, 100, SCREEN_W - 8, SCREEN_H - 108};
    for (auto _ : state) {
        canvas.fill_rect(box, cls_color{0, 0, 0, 255});
        label.draw(&canvas, box, 0, 2, cls_color{255, 255, 255, 255}, 0);
        benchmark::DoNotOptimize(canvas.pixels());
        benchmark::ClobberMemory();
    }
    state.counters["lines"] = static_cast<double>(label.line_count());
}
BENCHMARK(BM_output_label_repaint)->Arg(100)->Arg(1000000)->Unit(benchmark::kMicrosecond);

// One status-timer tick of the execution page: 100 KB of new output appended to
// a label already holding state.range(0) MB, then the label repainted.
void BM_append_100kb_tick(benchmark::State& state) {
    cls_canvas canvas(SCREEN_W, SCREEN_H);
    cls_text_layout label;
    label.set_pixel_size(20);
    label.set_multi_line(true);
    label.set_width(SCREEN_W - 24);
    std::string chunk;
    char line[96];
    for (int i = 0; chunk.size() < 100 * 1024; ++i) {
        std::snprintf(line, sizeof(line), "step %6d: checking register bank %3d ... pass\n", i, i % 256);
        chunk += line;
    }
    cls_string piece(chunk.c_str(), static_cast<int>(chunk.size()));
    long long held = state.range(0) * 1024LL * 1024LL;
    cls_string start;
    start.reserve(static_cast<int>(held + 64 * 1024 * 1024));
    while (start.length() < held) start += piece;
    label.set_text(start);
    cls_rect box{12, 400, SCREEN_W - 24, 380};
    for (auto _ : state) {
        label.append_text(piece);
        canvas.fill_rect(box, cls_color{0, 0, 0, 255});
        label.draw(&canvas, box, 0, 2, cls_color{255, 255, 255, 255}, 0);
        benchmark::DoNotOptimize(canvas.pixels());
    }
    state.counters["MB_held"] = static_cast<double>(label.text().length()) / (1024.0 * 1024.0);
}
BENCHMARK(BM_append_100kb_tick)->Arg(0)->Arg(50)->Iterations(100)->Unit(benchmark::kMicrosecond);

} // namespace

BENCHMARK_MAIN();
