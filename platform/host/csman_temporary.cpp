#include "platform/host/csman_temporary.h"

#include "platform/host/csman_text.h"

#include <atomic>
#include <cerrno>
#include <cstdint>
#include <cstring>
#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

namespace dashboard {

namespace {

/// A temporary file: this, the csid's name, the writer's pid and a number of its own, as in ".tmp-0x00150785-123-4".
constexpr char temporary_prefix[] = ".tmp-";

std::atomic<uint32_t> next_temporary{0};

/// What the kernel's directory call returns; the C library's readdir would need the heap.
struct directory_entry {
    uint64_t inode;
    int64_t offset;
    uint16_t size;
    uint8_t type;
    char name[1];
};
constexpr size_t entry_header = offsetof(directory_entry, name);

bool is_temporary(const char* name) {
    return strncmp(name, temporary_prefix, strlen(temporary_prefix)) == 0;
}

/// A writer holds a lock on its temporary file for as long as it lives, so a file that can be locked has lost its
/// writer: a pid would not tell, since it may be another process's by now or belong to another container. A writer that
/// has not come to locking its new file yet notices the loss and starts again.
void sweep_temporary(int store, const char* name) {
    const int fd = open_at(store, name, O_RDONLY);
    if (fd < 0) {
        return;
    }
    struct stat status;
    if (fstat(fd, &status) == 0 && S_ISREG(status.st_mode) && flock(fd, LOCK_EX | LOCK_NB) == 0) {
        unlinkat(store, name, 0);
    }
    close(fd);
}

size_t append(char* out, size_t at, const char* text) {
    const size_t length = strlen(text);
    memcpy(out + at, text, length);
    return at + length;
}

} // namespace

int open_at(int store, const char* name, int flags, mode_t mode) {
    int fd;
    do {
        fd = openat(store, name, flags | O_CLOEXEC | O_NOFOLLOW | O_NOCTTY | O_NONBLOCK, mode);
    } while (fd < 0 && errno == EINTR);
    return fd < 0 ? -errno : fd;
}

void temporary_name(const char* item_name, char (&name)[temporary_name_size]) {
    size_t at = append(name, 0, temporary_prefix);
    at = append(name, at, item_name);
    name[at++] = '-';
    at += format_decimal(getpid(), name + at);
    name[at++] = '-';
    at += format_decimal(next_temporary.fetch_add(1, std::memory_order_relaxed), name + at);
    name[at] = '\0';
}

void remove_orphans(int store) {
    alignas(directory_entry) char buffer[4096];
    for (;;) {
        const long filled = syscall(SYS_getdents64, store, buffer, sizeof buffer);
        if (filled <= 0) {
            return;
        }
        uint16_t size = 0;
        for (long at = 0; at < filled; at += size) {
            memcpy(&size, buffer + at + offsetof(directory_entry, size), sizeof size);
            const char* name = buffer + at + entry_header;
            if (is_temporary(name)) {
                sweep_temporary(store, name);
            }
        }
    }
}

} // namespace dashboard
