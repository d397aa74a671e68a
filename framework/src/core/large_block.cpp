#include "core/large_block.h"

#include <cstdlib>
#include <cstring>
#include <sys/mman.h>
#include <unistd.h>

namespace ozgi {
namespace {

// Below this a block has at most one whole huge page inside it, and malloc
// serves it well.
constexpr size_t LARGE_MIN = 4u << 20;

size_t page_size() {
    static const size_t size = static_cast<size_t>(::sysconf(_SC_PAGESIZE));
    return size;
}

size_t mapped_size(size_t size) { return (size + page_size() - 1) / page_size() * page_size(); }

// The whole mapping is advised, never a part of it: a mapping split into parts
// with different advice could no longer be moved as one by mremap.
void advise_huge_pages(void* block, size_t size) {
#ifdef MADV_HUGEPAGE
    // A refusal (no transparent huge pages in this kernel) changes nothing.
    ::madvise(block, mapped_size(size), MADV_HUGEPAGE);
#else
    (void)block;
    (void)size;
#endif
}

} // namespace

bool is_large_block(size_t size) { return size >= LARGE_MIN; }

void* large_block_grow(void* block, size_t old_size, size_t new_size) {
    void* grown = nullptr;
    if (block && is_large_block(old_size)) {
        grown = ::mremap(block, mapped_size(old_size), mapped_size(new_size), MREMAP_MAYMOVE);
        if (grown == MAP_FAILED) return nullptr;
    } else {
        grown = ::mmap(nullptr, mapped_size(new_size), PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
        if (grown == MAP_FAILED) return nullptr;
        if (block) {
            std::memcpy(grown, block, old_size);
            std::free(block);
        }
    }
    advise_huge_pages(grown, new_size);
    return grown;
}

void large_block_release(void* block, size_t size) {
    if (block) ::munmap(block, mapped_size(size));
}

} // namespace ozgi
