// Memory for the modules' stores, straight from the kernel.
#ifndef BASE_ZEROED_MEMORY_H
#define BASE_ZEROED_MEMORY_H

#include <cstddef>

namespace dashboard {

/// A block of `size` bytes, all zero, whose pages take memory only once they are written to. Null when there is none.
/// No heap is involved, so a thread may be cancelled at any instruction of it.
void* allocate_zeroed(size_t size);

/// Gives a block of that size back whole; null is no block.
void free_block(void* block, size_t size);

} // namespace dashboard

#endif
