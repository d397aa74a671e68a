#include "ozgi/cls_mem_mgr.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <mutex>

#include "ozgi/cls_log.h"

namespace ozgi {
namespace {

// Sits right before every block. The size keeps the user data 16-byte aligned.
struct alignas(16) header_t {
    const char* file;
    const char* function;
    header_t* prev;
    header_t* next;
    size_t size;
    size_t count;  // element count of a MEM_ARRAY block
    int line;
    int type;
    unsigned magic;
};
constexpr unsigned MAGIC = 0x6f7a6769;

struct tracker_t {
    std::mutex lock;
    header_t* head = nullptr;
    long live = 0;
    int enabled = -1;  // -1: not decided yet
};

tracker_t& tracker() {
    static tracker_t* t = new tracker_t();  // never destroyed: blocks may outlive static destructors
    return *t;
}

void report_at_exit() { cls_mem_mgr::report_live_blocks(); }

bool tracking() {
    tracker_t& t = tracker();
    if (t.enabled < 0) {
        t.enabled = std::getenv("OZGI_MEM_REPORT") != nullptr;
        if (t.enabled) std::atexit(report_at_exit);
    }
    return t.enabled != 0;
}

header_t* header_of(const void* block) {
    return reinterpret_cast<header_t*>(const_cast<char*>(static_cast<const char*>(block)) - sizeof(header_t));
}

void link(header_t* h) {
    if (!tracking()) return;
    tracker_t& t = tracker();
    std::lock_guard<std::mutex> g(t.lock);
    h->prev = nullptr;
    h->next = t.head;
    if (t.head) t.head->prev = h;
    t.head = h;
    ++t.live;
}

void unlink(header_t* h) {
    if (!tracking()) return;
    tracker_t& t = tracker();
    std::lock_guard<std::mutex> g(t.lock);
    if (h->prev) h->prev->next = h->next;
    else t.head = h->next;
    if (h->next) h->next->prev = h->prev;
    --t.live;
}

} // namespace

void* cls_mem_mgr::alloc_buf(size_t size, const char* file, const char* function, int line, int type) {
    header_t* h = static_cast<header_t*>(std::malloc(sizeof(header_t) + size));
    if (!h) OZGI_FATAL("Out of memory allocating %zu bytes for %s (%s:%d).", size, function, file, line);
    h->file = file;
    h->function = function;
    h->line = line;
    h->type = type;
    h->size = size;
    h->count = 0;
    h->magic = MAGIC;
    link(h);
    return h + 1;
}

void* cls_mem_mgr::do_realloc(void* block, size_t size, const char* file, const char* function, int line) {
    if (!block) return alloc_buf(size, file, function, line);
    header_t* h = header_of(block);
    unlink(h);
    header_t* n = static_cast<header_t*>(std::realloc(h, sizeof(header_t) + size));
    if (!n) OZGI_FATAL("Out of memory growing a block to %zu bytes for %s (%s:%d).", size, function, file, line);
    n->file = file;
    n->function = function;
    n->line = line;
    n->size = size;
    link(n);
    return n + 1;
}

void cls_mem_mgr::release_buf(void* block) {
    if (!block) return;
    header_t* h = header_of(block);
    if (h->magic != MAGIC) OZGI_FATAL("Releasing a block that the memory manager did not allocate.");
    h->magic = 0;
    unlink(h);
    std::free(h);
}

int cls_mem_mgr::mem_type(const void* block) { return header_of(block)->type; }

size_t cls_mem_mgr::array_count(const void* block) { return header_of(block)->count; }

void cls_mem_mgr::set_array_count(void* block, size_t count) { header_of(block)->count = count; }

long cls_mem_mgr::live_blocks() {
    tracker_t& t = tracker();
    std::lock_guard<std::mutex> g(t.lock);
    return t.live;
}

void cls_mem_mgr::report_live_blocks() {
    if (!tracking()) return;
    tracker_t& t = tracker();
    std::lock_guard<std::mutex> g(t.lock);
    for (header_t* h = t.head; h; h = h->next)
        std::fprintf(stderr, "ozgi: live block of %zu bytes, type %d, allocated by %s at %s:%d\n", h->size, h->type,
                     h->function, h->file, h->line);
    std::fprintf(stderr, "ozgi: %ld live block(s) at exit\n", t.live);
}

} // namespace ozgi
