// How a whole daemon enters its world: this file is only in libworld.so, which the test preloads.
#include "tests/support/inside.h"

#include <cstdio>
#include <cstdlib>
#include <fcntl.h>
#include <sys/mman.h>
#include <unistd.h>

extern "C" void world_count_main_thread(dashboard::testing::world_state* world);

namespace {

using dashboard::testing::world_magic;
using dashboard::testing::world_state;

world_state* map_world(const char* path) {
    const int descriptor = open(path, O_RDWR | O_CLOEXEC);
    void* memory = mmap(nullptr, sizeof(world_state), PROT_READ | PROT_WRITE, MAP_SHARED, descriptor, 0);
    close(descriptor);
    if (memory == MAP_FAILED || static_cast<world_state*>(memory)->magic != world_magic) {
        fprintf(stderr, "libworld: no world in %s\n", path);
        _exit(99);
    }
    return static_cast<world_state*>(memory);
}

void note_exit(int status, void*) {
    world_state* world = dashboard::testing::current_world();
    if (world != nullptr && world->pid == static_cast<uint32_t>(getpid())) { // not the parent of the fork
        world->exit_noted = 1u + static_cast<uint32_t>(status & 0xff);
    }
}

__attribute__((constructor)) void enter_world() {
    const char* path = getenv("WORLD_STATE");
    if (path == nullptr) {
        return;
    }
    world_state* world = map_world(path);
    // The tools that the daemon runs live in the ordinary world.
    unsetenv("WORLD_STATE");
    unsetenv("LD_PRELOAD");
    unsetenv("LD_LIBRARY_PATH");
    world_count_main_thread(world);
    world_attach(world);
    on_exit(note_exit, nullptr);
}

} // namespace

INTERPOSE(void, _exit, int status) {
    note_exit(status, nullptr);
    REAL(void (*)(int), _exit)(status);
}
