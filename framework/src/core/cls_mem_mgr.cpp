#include "ozgi/cls_mem_mgr.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <mutex>

#include "ozgi/cls_log.h"
#include "ozgi/size_math.h"

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
    // A permanent block belongs to something that lives as long as the process; it is
    // never linked into the live list. Linked blocks are the ones the report lists.
    bool permanent;
    bool linked;
};
constexpr unsigned MAGIC = 0x6f7a6769;

struct tracker_t {
    std::mutex lock;
    header_t* head = nullptr;
    long live = 0;
};

tracker_t& tracker() {
    static tracker_t* t = new tracker_t();  // never destroyed: blocks may outlive static destructors
    return *t;
}

void report_at_exit() { cls_mem_mgr::report_live_blocks(); }

// Decided once, on first use, from the environment. The report is registered with
// atexit at that moment, so it runs after the destructors of every static object
// constructed later.
bool tracking() {
    static const bool enabled = [] {
        bool on = std::getenv("OZGI_MEM_REPORT") != nullptr;
        if (on) std::atexit(report_at_exit);
        return on;
    }();
    return enabled;
}

// Decide as early as static initialisation allows, so that most static objects are
// destroyed before the report is printed.
[[maybe_unused]] const bool g_tracking_decided = tracking();

thread_local int t_permanent_depth = 0;

header_t* header_of(const void* block) {
    header_t* h = reinterpret_cast<header_t*>(const_cast<char*>(static_cast<const char*>(block)) - sizeof(header_t));
    if (h->magic != MAGIC) OZGI_FATAL("The block at %p was not allocated by the memory manager.", block);
    return h;
}

void link(header_t* h) {
    h->linked = false;
    if (h->permanent || !tracking()) return;
    tracker_t& t = tracker();
    std::lock_guard<std::mutex> g(t.lock);
    h->prev = nullptr;
    h->next = t.head;
    if (t.head) t.head->prev = h;
    t.head = h;
    h->linked = true;
    ++t.live;
}

void unlink(header_t* h) {
    if (!h->linked) return;
    tracker_t& t = tracker();
    std::lock_guard<std::mutex> g(t.lock);
    if (h->prev) h->prev->next = h->next;
    else t.head = h->next;
    if (h->next) h->next->prev = h->prev;
    h->linked = false;
    --t.live;
}

} // namespace

void* cls_mem_mgr::alloc_buf(size_t size, const char* file, const char* function, int line, int type) {
    header_t* h = static_cast<header_t*>(std::malloc(size_math::bytes(size, 1, sizeof(header_t))));
    if (!h) OZGI_FATAL("Out of memory allocating %zu bytes for %s (%s:%d).", size, function, file, line);
    h->file = file;
    h->function = function;
    h->line = line;
    h->type = type;
    h->size = size;
    h->count = 0;
    h->magic = MAGIC;
    h->permanent = t_permanent_depth > 0;
    link(h);
    return h + 1;
}

void* cls_mem_mgr::do_realloc(void* block, size_t size, const char* file, const char* function, int line) {
    if (!block) return alloc_buf(size, file, function, line);
    header_t* h = header_of(block);
    // The list must not point at the old place while realloc may move the block.
    unlink(h);
    header_t* n = static_cast<header_t*>(std::realloc(h, size_math::bytes(size, 1, sizeof(header_t))));
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
    unlink(h);
    // Clearing the mark makes a second release of the same block fatal instead of silent.
    h->magic = 0;
    std::free(h);
}

int cls_mem_mgr::mem_type(const void* block) { return header_of(block)->type; }

size_t cls_mem_mgr::array_count(const void* block) { return header_of(block)->count; }

void cls_mem_mgr::set_array_count(void* block, size_t count) { header_of(block)->count = count; }

long cls_mem_mgr::live_blocks() {
    if (!tracking()) return 0;
    tracker_t& t = tracker();
    std::lock_guard<std::mutex> g(t.lock);
    return t.live;
}

bool cls_mem_mgr::is_tracking() { return tracking(); }

void cls_mem_mgr::report_live_blocks() {
    if (!tracking()) return;
    tracker_t& t = tracker();
    std::lock_guard<std::mutex> g(t.lock);
    for (header_t* h = t.head; h; h = h->next)
        std::fprintf(stderr, "ozgi: live block of %zu bytes, type %d, allocated by %s at %s:%d\n", h->size, h->type,
                     h->function, h->file, h->line);
    std::fprintf(stderr, "ozgi: %ld live block(s) at exit\n", t.live);
    std::fflush(stderr);
}

cls_mem_mgr::permanent_scope_t::permanent_scope_t() { ++t_permanent_depth; }

cls_mem_mgr::permanent_scope_t::~permanent_scope_t() { --t_permanent_depth; }

} // namespace ozgi
