#pragma once
// A counted shared pointer. The object must come from the tracked allocator
// (OZGI_NEW, OZGI_NEW_ARRAY or alloc_buf): it is released the way its block
// was allocated, as cls_mem_mgr::mem_type reports.
#include <type_traits>

#include "ozgi/cls_mem_mgr.h"

namespace ozgi {

template <typename T>
class cls_sp {
public:
    /// Adopts `p` (null included) with a new reference count of 1.
    cls_sp(T* p = nullptr) : m_ptr(p), m_count(new_count()) {}
    /// Shares the other pointer's object.
    cls_sp(const cls_sp& other) : m_ptr(other.m_ptr), m_count(other.m_count) { ++*m_count; }
    /// Drops this reference; the last one releases the object and the count cell.
    virtual ~cls_sp() { release(); }

    /// Drops the current reference, then shares the other pointer's object.
    cls_sp& operator=(const cls_sp& other) {
        if (this == &other || m_count == other.m_count) return *this;
        release();
        m_ptr = other.m_ptr;
        m_count = other.m_count;
        ++*m_count;
        return *this;
    }
    /// Releases the current object, then adopts `p` with a new count of 1.
    cls_sp& operator=(T* p) {
        release();
        m_ptr = p;
        m_count = new_count();
        return *this;
    }

    /// The object, null when there is none.
    T* get() const { return m_ptr; }
    /// The object's members (the pointer must not be null).
    T* operator->() const { return m_ptr; }
    /// The object (the pointer must not be null).
    T& operator*() const { return *m_ptr; }
    /// True when there is no object.
    bool is_null() const { return m_ptr == nullptr; }
    /// True when there is an object.
    bool is_not_null() const { return m_ptr != nullptr; }
    /// True when there is an object.
    explicit operator bool() const { return m_ptr != nullptr; }
    /// The number of pointers sharing the object.
    int ref_count() const { return *m_count; }

private:
    static int* new_count() {
        int* c = static_cast<int*>(cls_mem_mgr::alloc_buf(sizeof(int), __FILE__, "cls_sp", __LINE__));
        *c = 1;
        return c;
    }
    void release() {
        if (!m_count) return;
        if (m_ptr == nullptr) {
            // A null pointer never shares its count cell with an object.
            if (--*m_count == 0) cls_mem_mgr::release_buf(m_count);
            m_count = nullptr;
            return;
        }
        if (--*m_count == 0) {
            cls_mem_mgr::release_buf(m_count);
            switch (cls_mem_mgr::mem_type(dynamic_start(m_ptr))) {
            case cls_mem_mgr::MEM_OBJECT: ozgi_delete(m_ptr); break;
            case cls_mem_mgr::MEM_ARRAY: ozgi_delete_array(m_ptr); break;
            default: cls_mem_mgr::release_buf(const_cast<void*>(static_cast<const void*>(m_ptr))); break;
            }
        }
        m_ptr = nullptr;
        m_count = nullptr;
    }
    static const void* dynamic_start(T* p) {
        if constexpr (std::is_polymorphic<T>::value) return dynamic_cast<const void*>(p);
        else return p;
    }

    T* m_ptr;
    int* m_count;
};

} // namespace ozgi
