#pragma once
// Inputs that reach a problem already known and being fixed elsewhere. Each
// filter keeps the fuzzer from reporting that problem again and again until the
// fix is merged; its reproducer is in fuzz/findings/<target>/. Remove a filter
// (and its entry in fuzz/known_findings.ignorelist) once its fix is in. Setting
// FUZZ_NO_KNOWN_FILTERS turns every filter off, to check a fix by hand:
//   FUZZ_NO_KNOWN_FILTERS=1 build-fuzz/fuzz/fuzz_layout_expr fuzz/findings/layout_expr/*
#include <climits>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>

namespace vesk_fuzz {

/// Whether the filters below are on (FUZZ_NO_KNOWN_FILTERS unset).
inline bool known_filters_on() {
    static const bool on = std::getenv("FUZZ_NO_KNOWN_FILTERS") == nullptr;
    return on;
}

/// Layout expressions have no nesting limit yet: deep parentheses or long runs of
/// unary minus overflow the stack (fuzz/findings/layout_expr/).
inline bool expr_nesting_too_deep(const uint8_t* data, size_t size) {
    if (!known_filters_on()) return false;
    size_t nesting = 0;
    for (size_t i = 0; i < size; ++i)
        if (data[i] == '(' || data[i] == '-') ++nesting;
    return nesting > 200;
}

/// Member-item name patterns take exponential time in the number of "*"
/// (fuzz/findings/layout/).
inline bool member_pattern_too_costly(const char* path) {
    if (!known_filters_on()) return false;
    int stars = 0;
    for (const char* p = path; *p; ++p)
        if (*p == '*') ++stars;
    return stars > 3;
}

/// The lowest 64-bit mantissa prints as a text its own parser rejects
/// (fuzz/findings/fixed_point/).
inline bool fixed_point_round_trip_known_to_fail(long long mantissa) {
    return known_filters_on() && mantissa == LLONG_MIN;
}

} // namespace vesk_fuzz
