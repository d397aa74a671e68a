#include "ozgi/if_algorithm.h"

#include <cstring>

namespace ozgi {
namespace {

struct sorter_t {
    char* base;
    size_t size;
    void* context;
    comp_func_t less;
    char* tmp;

    char* at(int i) const { return base + static_cast<size_t>(i) * size; }
    bool lt(int a, int b) const { return less(at(a), at(b), context); }
    void swap(int a, int b) const {
        if (a == b) return;
        std::memcpy(tmp, at(a), size);
        std::memcpy(at(a), at(b), size);
        std::memcpy(at(b), tmp, size);
    }

    void sift_down(int root, int count) const {
        for (;;) {
            int child = 2 * root + 1;
            if (child >= count) return;
            if (child + 1 < count && lt(child, child + 1)) ++child;
            if (!lt(root, child)) return;
            swap(root, child);
            root = child;
        }
    }
    void heap_sort(int lo, int count) const {
        sorter_t sub = *this;
        sub.base = at(lo);
        for (int i = count / 2 - 1; i >= 0; --i) sub.sift_down(i, count);
        for (int end = count - 1; end > 0; --end) {
            sub.swap(0, end);
            sub.sift_down(0, end);
        }
    }
    void insertion_sort(int lo, int hi) const {
        for (int i = lo + 1; i <= hi; ++i)
            for (int j = i; j > lo && lt(j, j - 1); --j) swap(j, j - 1);
    }
    // Introsort: quick sort with a median-of-three pivot, heap sort when the
    // recursion gets too deep, insertion sort for short ranges.
    void sort(int lo, int hi, int depth) const {
        while (hi - lo > 16) {
            if (depth-- == 0) {
                heap_sort(lo, hi - lo + 1);
                return;
            }
            int mid = lo + (hi - lo) / 2;
            if (lt(mid, lo)) swap(mid, lo);
            if (lt(hi, lo)) swap(hi, lo);
            if (lt(hi, mid)) swap(hi, mid);
            swap(mid, hi - 1);
            int pivot = hi - 1;
            int i = lo, j = hi - 1;
            for (;;) {
                while (lt(++i, pivot)) {}
                while (lt(pivot, --j)) {}
                if (i >= j) break;
                swap(i, j);
            }
            swap(i, hi - 1);
            // Recurse into the smaller side so the stack stays O(log n).
            if (i - lo < hi - i) {
                sort(lo, i - 1, depth);
                lo = i + 1;
            } else {
                sort(i + 1, hi, depth);
                hi = i - 1;
            }
        }
        insertion_sort(lo, hi);
    }
};

} // namespace

void if_algorithm::quick_sort(void* base, int count, size_t element_size, void* context, comp_func_t less) {
    if (count < 2 || element_size == 0) return;
    char stack_tmp[256];
    char* tmp = element_size <= sizeof(stack_tmp) ? stack_tmp : new char[element_size];
    sorter_t s{static_cast<char*>(base), element_size, context, less, tmp};
    int depth = 0;
    for (int n = count; n > 1; n >>= 1) depth += 2;
    s.sort(0, count - 1, depth);
    if (tmp != stack_tmp) delete[] tmp;
}

} // namespace ozgi
