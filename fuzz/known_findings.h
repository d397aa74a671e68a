#pragma once
// Inputs that reach a problem already known and being fixed elsewhere. Each
// filter keeps the fuzzer from reporting that problem again and again until the
// fix is merged; its reproducer is in fuzz/findings/<target>/. Remove a filter
// (and fuzz/known_findings.ignorelist entries) once its fix is in.
#include <cstddef>
#include <climits>
#include <cstdint>

namespace vesk_fuzz {

/// Layout expressions have no nesting limit yet: deep parentheses or long runs of
/// unary minus overflow the stack (fuzz/findings/layout_expr/).
inline bool expr_nesting_too_deep(const uint8_t* data, size_t size) {
    size_t nesting = 0;
    for (size_t i = 0; i < size; ++i)
        if (data[i] == '(' || data[i] == '-') ++nesting;
    return nesting > 200;
}

} // namespace vesk_fuzz

namespace vesk_fuzz {

/// The lowest 64-bit mantissa prints as a text its own parser rejects
/// (fuzz/findings/fixed_point/).
inline bool fixed_point_round_trip_known_to_fail(long long mantissa) { return mantissa == LLONG_MIN; }

} // namespace vesk_fuzz
