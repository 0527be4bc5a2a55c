// What Debian's unwinder asks of the GNU C library, for uClibc: which loaded object holds an address, and where that
// object's unwind tables are. The structure is the unwinder's, field by field.
#define _GNU_SOURCE
#include <link.h>
#include <stddef.h>
#include <string.h>

struct found_object {
    unsigned long long flags;
    void* map_start;
    void* map_end;
    struct link_map* link_map;
    void* eh_frame;
    unsigned long long reserved[7];
};

struct search {
    ElfW(Addr) address;
    struct found_object* found;
};

int _dl_find_object(void* address, struct found_object* found);

static int holds(const ElfW(Phdr) * segment, ElfW(Addr) start, ElfW(Addr) address) {
    return segment->p_type == PT_LOAD && address >= start && address - start < segment->p_memsz;
}

// One loaded object: 1 ends the walk.
static int look(struct dl_phdr_info* object, size_t size, void* argument) {
    (void)size;
    struct search* search = argument;
    struct found_object found;
    memset(&found, 0, sizeof found);
    for (int i = 0; i < object->dlpi_phnum; ++i) {
        const ElfW(Phdr)* segment = &object->dlpi_phdr[i];
        const ElfW(Addr) start = object->dlpi_addr + segment->p_vaddr;
        if (segment->p_type == PT_GNU_EH_FRAME) {
            found.eh_frame = (void*)start;
        } else if (holds(segment, start, search->address)) {
            found.map_start = (void*)start;
            found.map_end = (void*)(start + segment->p_memsz);
        }
    }
    if (found.map_start == NULL || found.eh_frame == NULL) {
        return 0;
    }
    *search->found = found;
    return 1;
}

int _dl_find_object(void* address, struct found_object* found) {
    struct search search = {(ElfW(Addr))address, found};
    return dl_iterate_phdr(look, &search) == 1 ? 0 : -1;
}
