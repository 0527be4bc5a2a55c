// Tools that the process under test runs, and the rest of the calls that a test wants to see or spoil.
#undef _FILE_OFFSET_BITS
#undef _TIME_BITS
#undef _FORTIFY_SOURCE
#include "tests/support/inside.h"

#include <cerrno>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <poll.h>
#include <sys/mman.h>
#include <unistd.h>

using namespace dashboard::testing;

namespace {

// Descriptors of tools whose output must not be seen before some virtual time has passed.
constexpr int tracked_descriptors = 64;
uint32_t delay_of[tracked_descriptors]; // milliseconds
bool is_tool[tracked_descriptors];

uint32_t delay_for(const char* command) {
    world_state* world = current_world();
    const world_lock lock(world);
    for (const slow_tool& tool : world->slow_tools) {
        if (tool.word[0] != '\0' && strstr(command, tool.word) != nullptr) {
            return static_cast<uint32_t>(tool.ns / 1'000'000);
        }
    }
    return 0;
}

void wait_for_tool(world_state* world, int descriptor) {
    const uint32_t delay = __atomic_exchange_n(&delay_of[descriptor], 0, __ATOMIC_SEQ_CST);
    if (delay == 0) {
        return;
    }
    take_time(world, delay * int64_t{1'000'000});
}

void mark_reading(uint32_t value) {
    if (thread_row* row = own_row(); row != nullptr) {
        __atomic_store_n(&row->reading, value, __ATOMIC_SEQ_CST);
    }
}

bool tool_descriptor(int descriptor) {
    return current_world() != nullptr && descriptor >= 0 && descriptor < tracked_descriptors && is_tool[descriptor];
}

template <class Read>
ssize_t read_inside(Read read_on, int descriptor) {
    if (must_fail("read")) {
        return -1;
    }
    if (!tool_descriptor(descriptor)) {
        return read_on();
    }
    wait_for_tool(current_world(), descriptor);
    mark_reading(1);
    const ssize_t result = read_on();
    mark_reading(0);
    return result;
}

// Waiting for a tool's output is reading it.
template <class Poll>
int poll_inside(Poll poll_on, const pollfd* descriptors, nfds_t count, int timeout) {
    if (count != 1 || !tool_descriptor(descriptors[0].fd)) {
        return poll_on();
    }
    record("poll", "%d %d", descriptors[0].events, timeout);
    wait_for_tool(current_world(), descriptors[0].fd);
    mark_reading(1);
    const int result = poll_on();
    mark_reading(0);
    return result;
}

} // namespace

INTERPOSE(FILE*, popen, const char* command, const char* mode) {
    record("popen", "%s %s", mode, command);
    if (must_fail("popen", command)) {
        return nullptr;
    }
    FILE* pipe = REAL(FILE * (*)(const char*, const char*), popen)(command, mode);
    if (pipe == nullptr || current_world() == nullptr || fileno(pipe) >= tracked_descriptors) {
        return pipe;
    }
    is_tool[fileno(pipe)] = true;
    delay_of[fileno(pipe)] = delay_for(command);
    return pipe;
}

INTERPOSE(int, pclose, FILE* pipe) {
    if (const int descriptor = fileno(pipe); tool_descriptor(descriptor)) {
        is_tool[descriptor] = false;
    }
    mark_reading(1);
    const int status = REAL(int (*)(FILE*), pclose)(pipe);
    mark_reading(0);
    return status;
}

INTERPOSE(ssize_t, read, int descriptor, void* buffer, size_t size) {
    return read_inside([=] { return REAL(ssize_t(*)(int, void*, size_t), read)(descriptor, buffer, size); },
                       descriptor);
}

INTERPOSE(ssize_t, __read_chk, int descriptor, void* buffer, size_t size, size_t) {
    return read_inside([=] { return REAL(ssize_t(*)(int, void*, size_t), read)(descriptor, buffer, size); },
                       descriptor);
}

INTERPOSE(int, poll, pollfd* descriptors, nfds_t count, int timeout) {
    return poll_inside([=] { return REAL(int (*)(pollfd*, nfds_t, int), poll)(descriptors, count, timeout); },
                       descriptors, count, timeout);
}

INTERPOSE(int, __poll_chk, pollfd* descriptors, nfds_t count, int timeout, size_t) {
    return poll_inside([=] { return REAL(int (*)(pollfd*, nfds_t, int), poll)(descriptors, count, timeout); },
                       descriptors, count, timeout);
}

INTERPOSE(int, lockf, int descriptor, int command, off_t length) {
    record("lockf", "%d %ld", command, static_cast<long>(length));
    if (must_fail("lockf")) {
        return -1;
    }
    return REAL(int (*)(int, int, off_t), lockf)(descriptor, command, length);
}

INTERPOSE(int, lockf64, int descriptor, int command, long long length) {
    record("lockf", "%d %lld", command, length);
    if (must_fail("lockf")) {
        return -1;
    }
    return REAL(int (*)(int, int, long long), lockf64)(descriptor, command, length);
}

// The kernel's memory runs out on request, and the newest block of it is known: a module's store, of which no document
// shows all.
// Only the objects of a test program are linked so (--wrap): the sanitizers' own allocators stay where they are.
namespace {

void* newest_block;
size_t newest_size;

// The kernel's memory runs out on request; only anonymous mappings are of that.
bool out_of_memory(int flags, size_t size) {
    return (flags & MAP_ANONYMOUS) != 0 && must_fail("mmap", "", size);
}

void* noted(void* block, int flags, size_t size) {
    if ((flags & MAP_ANONYMOUS) != 0) {
        __atomic_store_n(&newest_block, block, __ATOMIC_SEQ_CST);
        __atomic_store_n(&newest_size, size, __ATOMIC_SEQ_CST);
    }
    return block;
}

} // namespace

extern "C" {
// A 32-bit program with 64-bit offsets calls mmap64.
void* __real_mmap(void*, size_t, int, int, int, off_t) __attribute__((weak));
void* __real_mmap64(void*, size_t, int, int, int, off64_t) __attribute__((weak));
void* __wrap_mmap(void* place, size_t size, int protection, int flags, int fd, off_t offset);
void* __wrap_mmap64(void* place, size_t size, int protection, int flags, int fd, off64_t offset);
void* world_newest_block(size_t size);

void* __wrap_mmap(void* place, size_t size, int protection, int flags, int fd, off_t offset) {
    return out_of_memory(flags, size) ? MAP_FAILED
                                      : noted(__real_mmap(place, size, protection, flags, fd, offset), flags, size);
}

void* __wrap_mmap64(void* place, size_t size, int protection, int flags, int fd, off64_t offset) {
    return out_of_memory(flags, size) ? MAP_FAILED
                                      : noted(__real_mmap64(place, size, protection, flags, fd, offset), flags, size);
}

// The newest anonymous mapping, if it has that size, else null. Its owner may have freed it since.
void* world_newest_block(size_t size) {
    const bool fits = __atomic_load_n(&newest_size, __ATOMIC_SEQ_CST) == size;
    return fits ? __atomic_load_n(&newest_block, __ATOMIC_SEQ_CST) : nullptr;
}
}
