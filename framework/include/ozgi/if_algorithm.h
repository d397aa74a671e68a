#pragma once
#include <cstddef>

namespace ozgi {

/// Answers whether the element at `a` is less than the one at `b`.
typedef bool (*comp_func_t)(const void* a, const void* b, void* context);

/// Compares two T with T's operator<; the context is ignored.
template <typename T>
bool comp_func_with_less_operator(const void* a, const void* b, void* /*context*/) {
    return *static_cast<const T*>(a) < *static_cast<const T*>(b);
}

class if_algorithm {
public:
    /// Sorts `count` elements of `element_size` bytes at `base` in place, moving
    /// them bytewise. Not stable. Worst case O(n log n) (it falls back to heap sort).
    static void quick_sort(void* base, int count, size_t element_size, void* context, comp_func_t less);
};

} // namespace ozgi
