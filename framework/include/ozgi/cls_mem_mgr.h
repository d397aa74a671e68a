#pragma once
// Tracked allocation. Every block carries a small header with the caller's
// source position and how it was allocated, so that shared pointers can release
// a block the way it was made and a leak report can name the line that made it.
#include <cstddef>
#include <new>
#include <type_traits>
#include "ozgi/size_math.h"

namespace ozgi {

class cls_mem_mgr {
public:
    /// How a block was allocated; decides how it is released.
    enum mem_type_t { MEM_BUFFER = 0, MEM_OBJECT = 1, MEM_ARRAY = 2 };

    /// Allocates `size` bytes tagged with the caller's position. Never returns null
    /// (running out of memory is fatal).
    static void* alloc_buf(size_t size, const char* file, const char* function, int line, int type = MEM_BUFFER);
    /// Resizes a block made by alloc_buf (null allocates). The tags are replaced by the new ones.
    static void* do_realloc(void* block, size_t size, const char* file, const char* function, int line);
    /// Frees a block made by alloc_buf; null is ignored.
    static void release_buf(void* block);
    /// The type the block was allocated with (MEM_BUFFER, MEM_OBJECT or MEM_ARRAY).
    static int mem_type(const void* block);
    /// Element count stored with a MEM_ARRAY block.
    static size_t array_count(const void* block);
    /// Stores the element count of a MEM_ARRAY block.
    static void set_array_count(void* block, size_t count);
    /// Number of blocks alive now, not counting blocks made in a permanent_scope_t
    /// (counted only while OZGI_MEM_REPORT is set; 0 otherwise).
    static long live_blocks();
    /// True when the environment variable OZGI_MEM_REPORT was set at start-up, so that
    /// live blocks are listed and counted.
    static bool is_tracking();
    /// Prints every live block with its tags to standard error, one line each, then the
    /// line "ozgi: N live block(s) at exit". Runs at exit when OZGI_MEM_REPORT is set.
    static void report_live_blocks();

    /// While an object of this type exists, blocks that the current thread allocates are
    /// marked as held for the whole life of the process (the framework's singletons, which
    /// are never destroyed). Such blocks stay so when they are reallocated later, and they
    /// are left out of the leak report and of live_blocks().
    class permanent_scope_t {
    public:
        /// Opens the scope on the current thread; scopes nest.
        permanent_scope_t();
        /// Closes the scope.
        ~permanent_scope_t();
        permanent_scope_t(const permanent_scope_t&) = delete;
        permanent_scope_t& operator=(const permanent_scope_t&) = delete;
    };
};

/// Destroys an object made with OZGI_NEW and frees its block.
template <typename T>
void ozgi_delete(T* p) {
    if (!p) return;
    // The block starts at the most derived object, which a base pointer may not point at.
    const void* start;
    if constexpr (std::is_polymorphic<T>::value) {
        start = dynamic_cast<const void*>(p);
    } else {
        start = static_cast<const void*>(p);
    }
    p->~T();
    cls_mem_mgr::release_buf(const_cast<void*>(start));
}

/// Makes an array of `count` default-constructed T with a leading element count.
template <typename T>
T* ozgi_new_array(size_t count, const char* file, const char* function, int line) {
    T* p = static_cast<T*>(cls_mem_mgr::alloc_buf(size_math::bytes(count ? count : 1, sizeof(T), 0), file, function, line, cls_mem_mgr::MEM_ARRAY));
    cls_mem_mgr::set_array_count(p, count);
    for (size_t i = 0; i < count; ++i) new (p + i) T();
    return p;
}

/// Destroys the elements of an array made by ozgi_new_array, last first, and frees it.
template <typename T>
void ozgi_delete_array(T* p) {
    if (!p) return;
    size_t n = cls_mem_mgr::array_count(p);
    while (n > 0) p[--n].~T();
    cls_mem_mgr::release_buf(const_cast<void*>(static_cast<const void*>(p)));
}

} // namespace ozgi

/// `OZGI_NEW(T)(args...)` constructs a T in a tracked single-object block.
#define OZGI_NEW(T) new (::ozgi::cls_mem_mgr::alloc_buf(sizeof(T), __FILE__, __func__, __LINE__, ::ozgi::cls_mem_mgr::MEM_OBJECT)) T
/// `OZGI_NEW_ARRAY(T, n)` makes n default-constructed T with a leading count.
#define OZGI_NEW_ARRAY(T, n) ::ozgi::ozgi_new_array<T>((n), __FILE__, __func__, __LINE__)
