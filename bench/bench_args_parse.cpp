// Argument-line parsing: lines per second for the framework's regular-expression
// engine with the argument-line pattern, against std::regex (ECMAScript) with an
// equivalent pattern on the same lines. After the runs the ratio is printed.
// Also times single 1 MiB lines, which must take well under a second each.
#include <benchmark/benchmark.h>

#include <cstdio>
#include <cstdlib>
#include <map>
#include <regex>
#include <string>
#include <vector>

#include "ozgi/cls_array.h"
#include "ozgi/cls_regex.h"

namespace {

// Every "\t" is one TAB character of the pattern.
const char* const ARG_LINE =
    "[ \t]*--<clr>(-|[_a-zA-Z0-9])+<arg_name>[ \t]*(\\<<clr>[0-9.]+<lower_bound>-<clr>[0-9.]+<higher_bound>\\>|"
    "{<clr>[^|]+<list_item>([|]<clr>[^|]+<list_item>)*}):[ \t]*(Default=<clr>[^,]+<default_value>,)?[ \t]*"
    "([Ss]tep=<clr>[^,]+<step>,)?[ \t]*<clr>.*<arg_desc>";

// The same language for std::regex. It can't return every list item, so the
// items after the first come back as one group.
const char* const STD_ARG_LINE =
    R"([ \t]*--((?:-|[_a-zA-Z0-9])+)[ \t]*(?:<([0-9.]+)-([0-9.]+)>|\{([^|]+)((?:\|[^|]+)*)\}):[ \t]*)"
    R"((?:Default=([^,]+),)?[ \t]*(?:[Ss]tep=([^,]+),)?[ \t]*(.*))";

const std::vector<std::string>& typical_lines() {
    static const std::vector<std::string> lines = {
        "--freq <100-2000>: Default=500, Step=10, Frequency in Hz",
        "--mode {fast|slow}: Test mode",
        "  --count <1-100>: Default=10, Number of loops",
        "--level\t<0.5-1.5>:\tstep=0.1,\tGain of the amplifier",
        "--pattern {walking ones|walking zeros|checkerboard|random}: Default=random, Memory test pattern",
        "--verbose {0|1}: Print details",
        "--timeout <0-3600>: Step=5, Seconds before the test gives up",
        "--dev-name {/dev/ttyS0|/dev/ttyS1|/dev/ttyUSB0}: Default=/dev/ttyS0, Serial port",
    };
    return lines;
}

/// Both engines must accept every line, or the comparison means nothing.
void check_lines() {
    static bool checked = false;
    if (checked) return;
    checked = true;
    ozgi::cls_regex ours(ARG_LINE);
    std::regex theirs(STD_ARG_LINE, std::regex::ECMAScript);
    for (const std::string& line : typical_lines()) {
        ozgi::cls_array<ozgi::name_val_t> caps;
        std::smatch m;
        if (!ours.match(ozgi::cls_string(line.c_str()), &caps) || !std::regex_match(line, m, theirs)) {
            std::fprintf(stderr, "The benchmark line does not match: %s\n", line.c_str());
            std::exit(1);
        }
    }
}

void bm_ozgi_regex(benchmark::State& state) {
    check_lines();
    ozgi::cls_regex re(ARG_LINE);
    std::vector<ozgi::cls_string> lines;
    for (const std::string& l : typical_lines()) lines.push_back(ozgi::cls_string(l.c_str()));
    size_t done = 0;
    for (auto _ : state) {
        for (const ozgi::cls_string& line : lines) {
            // A fresh result list per line, as the help-text parser uses it.
            ozgi::cls_array<ozgi::name_val_t> caps;
            bool ok = re.match(line, &caps);
            benchmark::DoNotOptimize(ok);
            benchmark::DoNotOptimize(caps.count());
        }
        done += lines.size();
    }
    state.SetItemsProcessed(static_cast<int64_t>(done));
}
BENCHMARK(bm_ozgi_regex);

// The same with plain backtracking: no memo and none of the other shortcuts, as
// the engine was before them. The arguments' pattern needs none of them on these
// lines, so this is what they may cost at most.
void bm_ozgi_regex_plain(benchmark::State& state) {
    check_lines();
    ozgi::cls_regex re(ARG_LINE);
    re.set_memoise(false);
    std::vector<ozgi::cls_string> lines;
    for (const std::string& l : typical_lines()) lines.push_back(ozgi::cls_string(l.c_str()));
    size_t done = 0;
    for (auto _ : state) {
        for (const ozgi::cls_string& line : lines) {
            ozgi::cls_array<ozgi::name_val_t> caps;
            bool ok = re.match(line, &caps);
            benchmark::DoNotOptimize(ok);
            benchmark::DoNotOptimize(caps.count());
        }
        done += lines.size();
    }
    state.SetItemsProcessed(static_cast<int64_t>(done));
}
BENCHMARK(bm_ozgi_regex_plain);

void bm_std_regex(benchmark::State& state) {
    check_lines();
    std::regex re(STD_ARG_LINE, std::regex::ECMAScript);
    const std::vector<std::string>& lines = typical_lines();
    size_t done = 0;
    for (auto _ : state) {
        for (const std::string& line : lines) {
            std::smatch m;
            bool ok = std::regex_match(line, m, re);
            // Copy the groups out, as our engine hands out its captures as strings.
            std::vector<std::string> groups;
            for (size_t i = 1; i < m.size(); ++i)
                if (m[i].matched) groups.push_back(m[i].str());
            benchmark::DoNotOptimize(ok);
            benchmark::DoNotOptimize(groups.size());
        }
        done += lines.size();
    }
    state.SetItemsProcessed(static_cast<int64_t>(done));
}
BENCHMARK(bm_std_regex);

/// One 1 MiB line per iteration: `kind` 0 is a long description that matches,
/// 1 a long run of blanks that fails, 2 an unterminated list of 500,000 items,
/// 3 a default without a comma running to the end of the line.
void bm_ozgi_regex_1mib_line(benchmark::State& state) {
    ozgi::cls_regex re(ARG_LINE);
    const int mib = 1 << 20;
    std::string text;
    switch (state.range(0)) {
    case 0: text = "--a <1-2>: " + std::string(mib, 'd'); break;
    case 1: text = std::string(mib, ' ') + "x"; break;
    case 2:
        text = "--a {";
        while (static_cast<int>(text.size()) < mib) text += "a|";
        break;
    default: text = "--a <1-2>: Default=" + std::string(mib, '5'); break;
    }
    ozgi::cls_string line(text.c_str(), static_cast<int>(text.size()));
    for (auto _ : state) {
        ozgi::cls_array<ozgi::name_val_t> caps;
        bool ok = re.match(line, &caps);
        benchmark::DoNotOptimize(ok);
    }
    state.SetBytesProcessed(static_cast<int64_t>(state.iterations()) * static_cast<int64_t>(text.size()));
}
BENCHMARK(bm_ozgi_regex_1mib_line)->DenseRange(0, 3)->Unit(benchmark::kMillisecond);

/// Prints as usual and keeps the line rates for the closing comparison.
class rate_reporter : public benchmark::ConsoleReporter {
public:
    void ReportRuns(const std::vector<Run>& runs) override {
        ConsoleReporter::ReportRuns(runs);
        for (const Run& run : runs) {
            auto it = run.counters.find("items_per_second");
            if (it != run.counters.end() && run.run_type == Run::RT_Iteration)
                m_rates[run.benchmark_name()] = it->second.value;
        }
    }
    std::map<std::string, double> m_rates;
};

} // namespace

int main(int argc, char** argv) {
    benchmark::Initialize(&argc, argv);
    if (benchmark::ReportUnrecognizedArguments(argc, argv)) return 1;
    rate_reporter reporter;
    benchmark::RunSpecifiedBenchmarks(&reporter);
    benchmark::Shutdown();
    auto ours = reporter.m_rates.find("bm_ozgi_regex");
    auto theirs = reporter.m_rates.find("bm_std_regex");
    if (ours != reporter.m_rates.end() && theirs != reporter.m_rates.end() && theirs->second > 0) {
        std::printf("cls_regex: %.0f lines/s (goal >= 500000); std::regex: %.0f lines/s; ratio %.1fx (goal >= 5x)\n",
                    ours->second, theirs->second, ours->second / theirs->second);
    }
    return 0;
}
