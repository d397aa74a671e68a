#pragma once
// A growable array. Elements are moved bytewise when the block grows, so T
// must tolerate that (the framework's string and the system's records do).
#include <cstring>
#include <new>
#include <type_traits>
#include "ozgi/cls_log.h"
#include "ozgi/cls_mem_mgr.h"
#include "ozgi/cls_string.h"
#include "ozgi/if_algorithm.h"
#include "ozgi/if_to_string.h"
#include "ozgi/size_math.h"

namespace ozgi {

template <typename T>
class cls_array : public if_to_string {
public:
    /// Slots of the preallocated form used by work arrays.
    static constexpr int INITIAL_SLOTS = 1 << 8;

    /// An empty array with no buffer.
    cls_array() : m_buf(nullptr), m_count(0), m_capacity(0) {}
    /// An empty array with room for `initial_capacity` elements (INITIAL_SLOTS for work arrays).
    explicit cls_array(int initial_capacity) : m_buf(nullptr), m_count(0), m_capacity(0) {
        if (initial_capacity > 0) {
            m_buf = static_cast<T*>(cls_mem_mgr::alloc_buf(size_math::bytes(static_cast<size_t>(initial_capacity), sizeof(T), 0),
                                                          __FILE__, "cls_array", __LINE__));
            m_capacity = initial_capacity;
        }
    }
    /// A copy of every element of `other` (grown from empty, so the capacity is the
    /// power of two that fits).
    cls_array(const cls_array& other) : m_buf(nullptr), m_count(0), m_capacity(0) {
        for (int i = 0; i < other.m_count; ++i) append(other.m_buf[i]);
    }
    /// Replaces the elements with copies of those of `other`; the buffer is reused.
    cls_array& operator=(const cls_array& other) {
        if (this == &other) return *this;
        clear();
        for (int i = 0; i < other.m_count; ++i) append(other.m_buf[i]);
        return *this;
    }
    /// Destroys the elements in index order and frees the buffer.
    ~cls_array() override {
        clear();
        cls_mem_mgr::release_buf(m_buf);
    }

    /// Number of elements.
    int count() const { return m_count; }
    /// Number of element slots allocated.
    int capacity() const { return m_capacity; }
    /// True when there are no elements.
    bool is_empty() const { return m_count == 0; }

    /// Makes room for at least `capacity` elements, so that appends up to that
    /// count do not move the block.
    void reserve(int capacity) {
        if (capacity > m_capacity) expand_array_to(capacity);
    }
    /// Appends a copy of `item`; returns the array so appends can be chained.
    cls_array& append(const T& item) {
        if (m_count + 1 > m_capacity) expand_array_to(size_math::add(m_count, 1, ARRAY));
        new (m_buf + m_count) T(item);
        ++m_count;
        return *this;
    }
    /// Inserts a copy of `item` before `index` (count: at the end).
    void insert(int index, const T& item) {
        if (index < 0 || index > m_count) OZGI_FATAL("Can't insert at %d, there are only %d elements.", index, m_count);
        if (m_count + 1 > m_capacity) expand_array_to(size_math::add(m_count, 1, ARRAY));
        std::memmove(static_cast<void*>(m_buf + index + 1), static_cast<const void*>(m_buf + index), sizeof(T) * (m_count - index));
        new (m_buf + index) T(item);
        ++m_count;
    }
    /// Destroys the element at `index` and closes the gap.
    void remove_at(int index) {
        check_index(index);
        m_buf[index].~T();
        std::memmove(static_cast<void*>(m_buf + index), static_cast<const void*>(m_buf + index + 1), sizeof(T) * (m_count - index - 1));
        --m_count;
    }
    /// Destroys every element in index order; the buffer is kept.
    void clear() {
        for (int i = 0; i < m_count; ++i) m_buf[i].~T();
        m_count = 0;
    }

    /// The element at `index`; an index outside 0..count-1 is fatal.
    T& operator[](int index) { check_index(index); return m_buf[index]; }
    /// The element at `index`; an index outside 0..count-1 is fatal.
    const T& operator[](int index) const { check_index(index); return m_buf[index]; }
    /// The element at `index`; an index outside 0..count-1 is fatal.
    T& get(int index) { check_index(index); return m_buf[index]; }
    /// The element at `index`; an index outside 0..count-1 is fatal.
    const T& get(int index) const { check_index(index); return m_buf[index]; }
    /// The first element; an empty array is fatal.
    T& first() const {
        if (m_count == 0) OZGI_FATAL("Can't get the first element from an empty array.");
        return m_buf[0];
    }
    /// The last element; an empty array is fatal.
    T& last() const {
        if (m_count == 0) OZGI_FATAL("Can't get the last element from an empty array.");
        return m_buf[m_count - 1];
    }

    /// The first element's address, for range-for loops.
    T* begin() { return m_buf; }
    /// One past the last element.
    T* end() { return m_buf + m_count; }
    /// The first element's address, for range-for loops.
    const T* begin() const { return m_buf; }
    /// One past the last element.
    const T* end() const { return m_buf + m_count; }

    /// Sorts `count` elements from `from` (-1: to the end) with T's operator<. A count
    /// of 1 or less does nothing; a range past the end is fatal.
    void sort(int from = 0, int count = -1) {
        if (count == -1) count = m_count - from;
        if (count <= 1) return;
        if (from >= m_count) OZGI_FATAL("Can't sort from %d, there are only %d items.", from, m_count);
        // The values go out as from, count although the text names count first.
        if (from < 0 || count > m_count - from) OZGI_FATAL("Can't sort %d items from %d, there are only %d items.", from, count, m_count);
        if_algorithm::quick_sort(m_buf + from, count, sizeof(T), nullptr, comp_func_with_less_operator<T>);
    }

    /// The elements' texts joined with `separator`.
    cls_sp<cls_string> glue(const cls_string& separator) const {
        cls_string* out = OZGI_NEW(cls_string)();
        cls_string item;
        for (int i = 0; i < m_count; ++i) {
            element_text(m_buf[i], &item);
            *out += item;
            if (i + 1 < m_count) *out += separator;
        }
        return cls_sp<cls_string>(out);
    }

    /// One line "[i]: text" per element, separated by "\n", none after the last.
    cls_sp<cls_string> to_string() const override {
        cls_string* out = OZGI_NEW(cls_string)();
        cls_string item;
        for (int i = 0; i < m_count; ++i) {
            element_text(m_buf[i], &item);
            cls_string line;
            line.print("[%d]: ", i);
            *out += line;
            *out += item;
            if (i + 1 < m_count) *out += "\n";
        }
        return cls_sp<cls_string>(out);
    }

private:
    // The text of one element through cls_string::to_str. A pointer element is shown
    // as the address it holds, not as the address of its slot.
    static void element_text(const T& element, cls_string* text) {
        if constexpr (std::is_pointer<T>::value) text->to_str(static_cast<const void*>(element));
        else text->to_str(&element);
    }
    void check_index(int index) const {
        if (index < 0 || index >= m_count)
            OZGI_FATAL("Can't get the %dth element, there are only %d elements.", index, m_count);
    }
    void expand_array_to(int needed) {
        // Doubling (capped at the largest count) keeps appends amortised O(1).
        int capacity = m_capacity == 0 ? 1 : m_capacity;
        while (capacity < needed) capacity = capacity > size_math::MAX_COUNT / 2 ? size_math::MAX_COUNT : capacity * 2;
        size_t size = size_math::bytes(static_cast<size_t>(capacity), sizeof(T), 0);
        if (m_buf == nullptr)
            m_buf = static_cast<T*>(cls_mem_mgr::alloc_buf(size, __FILE__, "expand_array_to", __LINE__));
        else
            m_buf = static_cast<T*>(cls_mem_mgr::do_realloc(m_buf, size, __FILE__, "expand_array_to", __LINE__));
        m_capacity = capacity;
    }

    // What the size checks call an array in their messages.
    static constexpr const char* ARRAY = "an array";

    T* m_buf;
    int m_count;
    int m_capacity;
};

} // namespace ozgi
