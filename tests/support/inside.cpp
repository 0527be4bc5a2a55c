// The ground of the interposed calls: which world this process lives in, its lock, its records, its failures.
#include "tests/support/inside.h"

#include <cerrno>
#include <climits>
#include <csignal>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <dlfcn.h>
#include <fcntl.h>
#include <linux/futex.h>
#include <sched.h>
#include <sys/mman.h>
#include <sys/syscall.h>
#include <unistd.h>

namespace dashboard::testing {

namespace {

world_state* the_world; // read and written atomically

#ifdef __mips__
constexpr size_t kernel_sigset_bytes = 16;
#else
constexpr size_t kernel_sigset_bytes = 8;
#endif

bool starts_below(const char* path, const char* folder) {
    const size_t length = strlen(folder);
    return strncmp(path, folder, length) == 0 && (path[length] == '\0' || path[length] == '/');
}

bool belongs_to_world(const char* path) {
    static const char* const folders[] = {"/tmp/dashboard", "/tmp/aptraffic",     "/usr/www",
                                          "/sys/class/net", "/proc/net",          "/proc/sys/net",
                                          "/proc/meminfo",  "/proc/stat",         "/var/run",
                                          "/run/dashboard", "/dev/log",           "/tmp/dashboard-metrics.refused",
                                          "/var/log",       "/usr/lib/dashboard", "/usr/sbin/dashboard"};
    for (const char* folder : folders) {
        if (starts_below(path, folder)) {
            return true;
        }
    }
    return strcmp(path, "/tmp/") == 0 || strcmp(path, "/tmp") == 0;
}

bool rule_applies(const failure_rule& rule, const char* call, const char* about, uint64_t size) {
    return rule.times != 0 && strcmp(rule.call, call) == 0 && strstr(about, rule.about) != nullptr &&
           size >= rule.min_size;
}

} // namespace

world_state* current_world() {
    return __atomic_load_n(&the_world, __ATOMIC_ACQUIRE);
}

no_signals::no_signals() {
    unsigned long all[16 / sizeof(unsigned long)];
    // Not memset: a sanitizer's looks at marks that the frames of a cancelled thread have left on its stack.
    for (unsigned long& word : all) {
        word = ~0UL;
    }
    syscall(SYS_rt_sigprocmask, SIG_SETMASK, all, old_mask, kernel_sigset_bytes);
}

no_signals::~no_signals() {
    const int saved = errno;
    syscall(SYS_rt_sigprocmask, SIG_SETMASK, old_mask, nullptr, kernel_sigset_bytes);
    errno = saved;
}

world_lock::world_lock(world_state* world) : held(world) {
    uint32_t open = 0;
    while (!__atomic_compare_exchange_n(&held->lock, &open, 1, false, __ATOMIC_ACQUIRE, __ATOMIC_RELAXED)) {
        open = 0;
        sched_yield();
    }
}

world_lock::~world_lock() {
    __atomic_store_n(&held->lock, 0, __ATOMIC_RELEASE);
}

void* next_definition(void** slot, const char* name) {
    void* found = __atomic_load_n(slot, __ATOMIC_ACQUIRE);
    if (found == nullptr) {
        const no_signals quiet;
        found = dlsym(RTLD_NEXT, name);
        if (found == nullptr) {
            abort();
        }
        __atomic_store_n(slot, found, __ATOMIC_RELEASE);
    }
    return found;
}

const char* inside_path(const char* path, char (&buffer)[512]) {
    const world_state* world = current_world();
    if (world == nullptr || path == nullptr) {
        return path;
    }
    const bool lists_own_processes = world->own_processes != 0 && strcmp(path, "/proc") == 0;
    if (!belongs_to_world(path) && !lists_own_processes) {
        return path;
    }
    const size_t root_length = strlen(world->root);
    if (root_length + strlen(path) >= sizeof buffer) {
        return path;
    }
    memcpy(buffer, world->root, root_length);
    strcpy(buffer + root_length, path);
    return buffer;
}

void record(const char* call, const char* format, ...) {
    world_state* world = current_world();
    if (world == nullptr) {
        return;
    }
    const int saved = errno;
    char text[512];
    va_list arguments;
    va_start(arguments, format);
    vsnprintf(text, sizeof text, format, arguments);
    va_end(arguments);
    const size_t call_size = strlen(call) + 1;
    const size_t text_size = strlen(text) + 1;
    {
        const world_lock lock(world);
        if (world->record_used + call_size + text_size > record_bytes) {
            world->record_overflow = 1;
        } else {
            memcpy(world->records + world->record_used, call, call_size);
            memcpy(world->records + world->record_used + call_size, text, text_size);
            world->record_used += static_cast<uint32_t>(call_size + text_size);
        }
    }
    errno = saved;
}

bool must_fail(const char* call, const char* about, uint64_t size) {
    world_state* world = current_world();
    if (world == nullptr || about == nullptr) {
        return false;
    }
    const world_lock lock(world);
    for (failure_rule& rule : world->failures) {
        if (!rule_applies(rule, call, about, size)) {
            continue;
        }
        if (rule.skip > 0) {
            rule.skip -= 1;
            continue;
        }
        rule.times -= rule.times > 0 ? 1 : 0;
        errno = rule.error;
        return true;
    }
    return false;
}

void futex_wake(uint32_t* word) {
    syscall(SYS_futex, word, FUTEX_WAKE, INT_MAX, nullptr, nullptr, 0);
}

void announce_activity(world_state* world) {
    __atomic_add_fetch(&world->activity, 1, __ATOMIC_SEQ_CST);
    futex_wake(&world->activity);
}

} // namespace dashboard::testing

void world_attach(dashboard::testing::world_state* world) {
    __atomic_store_n(&dashboard::testing::the_world, world, __ATOMIC_RELEASE);
}
