#pragma once
// Size arithmetic of the framework's growing buffers (strings, arrays, text
// layouts). Lengths and counts are ints; every sum, doubling and byte count goes
// through these helpers, so a size that cannot be represented ends the program
// with a clear message instead of wrapping around and writing past a buffer.
#include <climits>
#include <cstddef>
#include <cstdint>
#include "ozgi/cls_log.h"

namespace ozgi {
namespace size_math {

/// The largest length or count a string or an array can have.
constexpr int MAX_COUNT = INT_MAX;

/// `current` + `more` as a length or count of `what` ("a string", "an array").
/// A negative `more` or a sum above MAX_COUNT is fatal.
inline int add(int current, long long more, const char* what) {
    long long sum = static_cast<long long>(current) + more;
    if (more < 0 || sum > MAX_COUNT)
        OZGI_FATAL("Size overflow: %s can't grow from %d by %lld.", what, current, more);
    return static_cast<int>(sum);
}

/// A length measured with strlen (or any size_t) as an int; fatal above MAX_COUNT.
inline int length_of(size_t length, const char* what) {
    if (length > static_cast<size_t>(MAX_COUNT))
        OZGI_FATAL("Size overflow: %s can't hold %zu bytes.", what, length);
    return static_cast<int>(length);
}

/// The capacity to grow to when `needed` (<= MAX_COUNT) elements must fit and
/// `current` are allocated: at least twice `current` plus one, so appends stay
/// amortised O(1), capped at MAX_COUNT.
inline int grown_capacity(int current, int needed) {
    int cap = current;
    while (cap < needed) cap = cap > (MAX_COUNT - 1) / 2 ? MAX_COUNT : cap * 2 + 1;
    return cap;
}

/// `count` elements of `size` bytes plus `extra` bytes, in bytes; fatal when that
/// does not fit size_t (which matters on 32-bit boards).
inline size_t bytes(size_t count, size_t size, size_t extra) {
    size_t total;
    if (__builtin_mul_overflow(count, size, &total) || __builtin_add_overflow(total, extra, &total))
        OZGI_FATAL("Size overflow: %zu elements of %zu bytes can't be allocated.", count, size);
    return total;
}

} // namespace size_math
} // namespace ozgi
