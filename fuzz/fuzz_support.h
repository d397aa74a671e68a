#pragma once
// Shared by the harnesses. In the fuzzing build a fatal report throws
// ozgi::cls_fatal_error instead of ending the process; the program's answer to
// bad input is then exactly that report, so a harness takes it as a normal end
// of the run. Only sanitizer reports, signals, hangs and running out of memory
// (and the harnesses' own checks, which abort) are findings.
#include <cstdio>
#include <cstdlib>

#include "ozgi/cls_fatal_error.h"

namespace vesk_fuzz {

/// Runs `body`; returns false when it ended in a fatal report. Set FUZZ_SHOW_FATAL
/// to see the reports (for instance while replaying a corpus by hand).
template <typename F>
bool run_allowing_fatal(F body) {
    try {
        body();
        return true;
    } catch (const ozgi::cls_fatal_error& e) {
        if (std::getenv("FUZZ_SHOW_FATAL")) std::fprintf(stderr, "fatal: %s\n", e.what());
        return false;
    }
}

/// Stops the run as a finding when `ok` is false: a harness check that failed.
inline void check(bool ok, const char* what) {
    if (ok) return;
    std::fprintf(stderr, "harness check failed: %s\n", what);
    std::abort();
}

} // namespace vesk_fuzz
