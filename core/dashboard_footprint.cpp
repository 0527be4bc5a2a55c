#include "core/dashboard_footprint.h"

#include <cstddef>
#include <cstdint>
#include <link.h>
#include <sys/mman.h>
#include <unistd.h>

namespace dashboard {

namespace {

/// Stretches of memory that a file backs and nobody writes to.
struct file_pages {
    static constexpr size_t limit = 32; // an object has two or three
    struct {
        uintptr_t begin, end;
    } stretch[limit];
    size_t count = 0;

    void add(uintptr_t begin, uintptr_t end) {
        if (count < limit) {
            stretch[count++] = {begin, end};
        }
    }
};

/// The loader tells addresses as numbers.
template <class T>
T* at_address(uintptr_t address) {
    return reinterpret_cast<T*>(address); // NOLINT(performance-no-int-to-ptr)
}

bool says_patched(const ElfW(Dyn) & entry) {
    return entry.d_tag == DT_TEXTREL || (entry.d_tag == DT_FLAGS && (entry.d_un.d_val & DF_TEXTREL) != 0);
}

/// Code that the loader had to patch is not what its file says any more.
bool has_patched_code(const dl_phdr_info& object) {
    for (int i = 0; i < object.dlpi_phnum; ++i) {
        if (object.dlpi_phdr[i].p_type != PT_DYNAMIC) {
            continue;
        }
        const auto* entry = at_address<const ElfW(Dyn)>(object.dlpi_addr + object.dlpi_phdr[i].p_vaddr);
        for (; entry->d_tag != DT_NULL; ++entry) {
            if (says_patched(*entry)) {
                return true;
            }
        }
    }
    return false;
}

int collect(dl_phdr_info* object, size_t /*size*/, void* pages) {
    if (has_patched_code(*object)) {
        return 0;
    }
    for (int i = 0; i < object->dlpi_phnum; ++i) {
        const auto& segment = object->dlpi_phdr[i];
        if (segment.p_type == PT_LOAD && (segment.p_flags & PF_W) == 0) {
            const uintptr_t begin = object->dlpi_addr + segment.p_vaddr;
            static_cast<file_pages*>(pages)->add(begin, begin + segment.p_memsz);
        }
    }
    return 0;
}

} // namespace

void forget_start() {
    // First the list, then the deed: going through the list of objects touches them all.
    file_pages pages;
    dl_iterate_phdr(collect, &pages);
    const uintptr_t page = static_cast<uintptr_t>(sysconf(_SC_PAGESIZE));
    for (size_t i = 0; i < pages.count; ++i) {
        const uintptr_t begin = pages.stretch[i].begin - pages.stretch[i].begin % page;
        madvise(at_address<void>(begin), pages.stretch[i].end - begin, MADV_DONTNEED);
    }
}

} // namespace dashboard
