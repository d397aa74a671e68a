// The run record that the result log and vesk-cli keep for every run: what
// keeping the first and last 4 KiB costs per piece of output (the execution
// page adds one piece per 200 ms tick), and what one JSON line costs at the end.
#include <benchmark/benchmark.h>

#include "devices/cls_vesk_run_record.h"

using ozgi::cls_array;
using ozgi::cls_string;

namespace {

// One tick's output of a chatty test: `bytes` of text lines.
cls_string piece_of(int bytes) {
    cls_string piece;
    while (piece.length() < bytes) piece += "Sample 17: -41 dB\n";
    return piece.sub_str(0, bytes);
}

void bm_add_output(benchmark::State& state) {
    cls_string piece = piece_of(static_cast<int>(state.range(0)));
    cls_vesk_run_record record;
    record.begin("local", "LOCAL_DEVICE", "audio/microphone_test", cls_array<cls_string>());
    for (auto _ : state) record.add_output(piece);
    state.SetBytesProcessed(static_cast<long long>(state.iterations()) * piece.length());
}
BENCHMARK(bm_add_output)->Arg(64)->Arg(4096)->Arg(64 * 1024)->Arg(1024 * 1024);

void bm_to_json(benchmark::State& state) {
    cls_vesk_run_record record;
    cls_array<cls_string> args;
    args.append("--freq").append("500");
    record.begin("local", "LOCAL_DEVICE", "audio/speaker_test", args);
    record.add_output(piece_of(1024 * 1024));
    record.finish(0, cls_vesk_run_record::RESULT_PASS);
    for (auto _ : state) benchmark::DoNotOptimize(record.to_json());
}
BENCHMARK(bm_to_json);

} // namespace

BENCHMARK_MAIN();
