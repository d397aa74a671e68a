#pragma once
// Very large buffers, such as a string holding a test's output, are mapped
// directly from the kernel instead of the C heap:
//  - they grow by moving their pages (mremap), never by copying their bytes;
//  - they are backed by huge pages where the kernel offers them. Faulting in
//    fresh memory 4 KiB at a time costs more than the copy that fills it, so a
//    large output captured into ordinary pages runs several times slower than
//    the pipe it comes from.
#include <cstddef>

namespace ozgi {

/// Whether a buffer of `size` bytes is a large block (mapped by large_block_*).
bool is_large_block(size_t size);

/// Grows `block` (`old_size` bytes, null when there is none yet) to `new_size`
/// bytes, which is a large size, keeping its contents. A block that was small
/// until now came from malloc and is freed here. Returns null when out of memory,
/// leaving `block` as it was.
void* large_block_grow(void* block, size_t old_size, size_t new_size);

/// Releases a large block of `size` bytes.
void large_block_release(void* block, size_t size);

} // namespace ozgi
