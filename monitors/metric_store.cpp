#include "monitors/metric_store.h"

#include "platform/csman.h"
#include "probes/uncancellable.h"

#include <cstdlib>
#include <malloc.h>

namespace dashboard {

namespace {

constexpr uint32_t start_marker_csid = 0x8015043e;
constexpr int32_t marker_to_keep = 99;
constexpr int mmap_threshold = 128 * 1024; // bytes: larger blocks come from the kernel, zeroed and untouched

} // namespace

void* allocate_zeroed(size_t size) {
    uncancellable section;
    // Said once more before every store: glibc raises the threshold when a large block is freed, and would then take
    // the next one from the heap and clear it, which makes every page of it resident.
    mallopt(M_MMAP_THRESHOLD, mmap_threshold);
    return calloc(1, size);
}

void give_back(void* block) {
    uncancellable section;
    free(block);
}

void mark_start(int handle, int32_t code) {
    int marker = 0;
    read_csman_int(handle, start_marker_csid, &marker);
    if (marker != marker_to_keep) {
        write_csman_int(handle, start_marker_csid, code);
    }
}

} // namespace dashboard
