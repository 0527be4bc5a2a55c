#include "base/zeroed_memory.h"

#include "base/portability.h"

#include <sys/mman.h>

namespace dashboard {

void* allocate_zeroed(size_t size) {
    void* const block = mmap(nullptr, size, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    if (block == MAP_FAILED) {
        return nullptr;
    }
    keep_pages_small(block, size);
    return block;
}

void free_block(void* block, size_t size) {
    if (block != nullptr) {
        munmap(block, size);
    }
}

} // namespace dashboard
