#include <gtest/gtest.h>

#include <cstdio>
#include <vector>

#include "fatal_matcher.h"
#include "ozgi/cls_mem_mgr.h"
#include "ozgi/cls_sp.h"
#include "ozgi/cls_string.h"

using namespace ozgi;
using core_test::fatal_line;
using testing::ExitedWithCode;

namespace {

int g_base_deleted = 0;
int g_derived_deleted = 0;
std::vector<int> g_element_order;

struct padding_t {
    virtual ~padding_t() {}
    long pad[3] = {1, 2, 3};
};

struct base_t {
    virtual ~base_t() { ++g_base_deleted; }
    int value = 5;
};

// The base_t part does not start the block, so releasing through a base_t pointer
// must find the block's real start.
struct derived_t : padding_t, base_t {
    ~derived_t() override { ++g_derived_deleted; }
};

struct element_t {
    int index = -1;
    ~element_t() { g_element_order.push_back(index); }
};

} // namespace

TEST(core_sp, object_is_deleted_through_its_virtual_destructor) {
    g_base_deleted = g_derived_deleted = 0;
    derived_t* d = OZGI_NEW(derived_t)();
    base_t* b = d;
    ASSERT_NE(static_cast<void*>(b), static_cast<void*>(d));
    EXPECT_EQ(cls_mem_mgr::mem_type(d), cls_mem_mgr::MEM_OBJECT);
    {
        cls_sp<base_t> sp(b);
        EXPECT_EQ(sp->value, 5);
        EXPECT_EQ((*sp).value, 5);
        EXPECT_EQ(sp.get(), b);
    }
    EXPECT_EQ(g_derived_deleted, 1);
    EXPECT_EQ(g_base_deleted, 1);
}

TEST(core_sp, array_elements_are_destroyed_last_first) {
    g_element_order.clear();
    element_t* elements = OZGI_NEW_ARRAY(element_t, 3);
    EXPECT_EQ(cls_mem_mgr::mem_type(elements), cls_mem_mgr::MEM_ARRAY);
    EXPECT_EQ(cls_mem_mgr::array_count(elements), 3u);
    for (int i = 0; i < 3; ++i) elements[i].index = i;
    {
        cls_sp<element_t> sp(elements);
        cls_sp<element_t> copy(sp);
        EXPECT_EQ(copy.get(), elements);
    }
    EXPECT_EQ(g_element_order, (std::vector<int>{2, 1, 0}));
}

TEST(core_sp, empty_array_is_released) {
    g_element_order.clear();
    {
        cls_sp<element_t> sp(OZGI_NEW_ARRAY(element_t, 0));
        EXPECT_TRUE(sp.is_not_null());
        EXPECT_EQ(cls_mem_mgr::array_count(sp.get()), 0u);
    }
    EXPECT_TRUE(g_element_order.empty());
}

TEST(core_sp, plain_buffer_is_freed_as_is) {
    char* buffer = static_cast<char*>(cls_mem_mgr::alloc_buf(16, __FILE__, __func__, __LINE__));
    EXPECT_EQ(cls_mem_mgr::mem_type(buffer), cls_mem_mgr::MEM_BUFFER);
    buffer[0] = 'k';
    cls_sp<char> sp(buffer);
    EXPECT_EQ(*sp, 'k');
    sp = static_cast<char*>(nullptr);
    EXPECT_TRUE(sp.is_null());
}

TEST(core_sp, copies_share_one_count) {
    cls_sp<cls_string> a(OZGI_NEW(cls_string)("shared"));
    EXPECT_EQ(a.ref_count(), 1);
    {
        cls_sp<cls_string> b(a);
        EXPECT_EQ(a.ref_count(), 2);
        EXPECT_EQ(b.ref_count(), 2);
        cls_sp<cls_string> c;
        c = b;
        EXPECT_EQ(a.ref_count(), 3);
        EXPECT_EQ(c.get(), a.get());
        const cls_sp<cls_string>& same = c;  // an alias: assigning to itself
        c = same;
        EXPECT_EQ(a.ref_count(), 3);
    }
    EXPECT_EQ(a.ref_count(), 1);
    EXPECT_STREQ(a->c_str(), "shared");
}

TEST(core_sp, assigning_a_raw_pointer_releases_then_adopts) {
    g_base_deleted = g_derived_deleted = 0;
    cls_sp<base_t> a(OZGI_NEW(base_t)());
    cls_sp<base_t> b(a);
    base_t* second = OZGI_NEW(base_t)();
    a = second;
    EXPECT_EQ(g_base_deleted, 0);  // b still holds the first object
    EXPECT_EQ(a.ref_count(), 1);
    EXPECT_EQ(b.ref_count(), 1);
    EXPECT_EQ(a.get(), second);
    b = static_cast<base_t*>(nullptr);
    EXPECT_EQ(g_base_deleted, 1);
    a = static_cast<base_t*>(nullptr);
    EXPECT_EQ(g_base_deleted, 2);
}

TEST(core_sp, assigning_another_pointer_releases_the_old_object) {
    g_base_deleted = 0;
    cls_sp<base_t> a(OZGI_NEW(base_t)());
    cls_sp<base_t> b(OZGI_NEW(base_t)());
    a = b;
    EXPECT_EQ(g_base_deleted, 1);
    EXPECT_EQ(b.ref_count(), 2);
}

TEST(core_sp, pointer_to_const_is_released) {
    g_base_deleted = g_derived_deleted = 0;
    {
        cls_sp<const base_t> object(OZGI_NEW(derived_t)());
        cls_sp<const cls_string> text(OZGI_NEW(cls_string)("constant"));
        cls_sp<const char> buffer(static_cast<const char*>(cls_mem_mgr::alloc_buf(8, __FILE__, __func__, __LINE__)));
        EXPECT_STREQ(text->c_str(), "constant");
        EXPECT_EQ(object->value, 5);
    }
    EXPECT_EQ(g_derived_deleted, 1);
}

TEST(core_sp, null_pointer) {
    cls_sp<cls_string> none;
    EXPECT_TRUE(none.is_null());
    EXPECT_FALSE(none.is_not_null());
    EXPECT_FALSE(static_cast<bool>(none));
    EXPECT_EQ(none.get(), nullptr);
    EXPECT_EQ(none.ref_count(), 1);
    cls_sp<cls_string> copy(none);
    EXPECT_EQ(none.ref_count(), 2);
    EXPECT_TRUE(copy.is_null());
    cls_sp<cls_string> explicit_null(nullptr);
    EXPECT_TRUE(explicit_null.is_null());
    cls_sp<cls_string> some(OZGI_NEW(cls_string)("x"));
    EXPECT_TRUE(static_cast<bool>(some));
}

TEST(core_sp, a_pointer_not_from_the_memory_manager_is_fatal) {
    // A block made with plain new has no tracking header in front of it; to keep the
    // check from reading outside any allocation, the object sits inside a larger one.
    struct holder_t {
        char room[64];
        cls_string inner;
    };
    holder_t* holder = OZGI_NEW(holder_t)();
    cls_string* inner = &holder->inner;
    char message[128];
    std::snprintf(message, sizeof(message), "The block at %p was not allocated by the memory manager.",
                  static_cast<const void*>(inner));
    EXPECT_EXIT(cls_mem_mgr::mem_type(inner), ExitedWithCode(1), fatal_line("cls_mem_mgr.cpp", message));
    ozgi_delete(holder);
}
