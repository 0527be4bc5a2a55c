// Inside the process under test: what the interposed calls and the doubles share. Tests include world.h instead.
//
// Nothing here allocates, throws or needs the C++ library, since it runs below every call that the daemon makes, in
// signal handlers and in threads that may be cancelled at any instruction.
#ifndef TESTS_SUPPORT_INSIDE_H
#define TESTS_SUPPORT_INSIDE_H

#include "tests/support/world_state.h"

#include <cstddef>

// Defines the C library's function `name` over the C library's own. The assembler name keeps clear of the headers'
// declarations, whose attributes differ between libraries.
#define INTERPOSE(result, name, ...)                                                                                   \
    extern "C" __attribute__((visibility("default"))) result world_##name(__VA_ARGS__) __asm__(#name);                 \
    extern "C" result world_##name(__VA_ARGS__)

// The next definition of `name` after ours: the sanitizer's or the C library's. Names its type by an example.
#define REAL(type, name)                                                                                               \
    (reinterpret_cast<type>([]() -> void* {                                                                            \
        static void* slot;                                                                                             \
        return ::dashboard::testing::next_definition(&slot, #name);                                                    \
    }()))

namespace dashboard::testing {

// The world that this process lives in, or null: then every call goes straight to the C library.
world_state* current_world();

void* next_definition(void** slot, const char* name);

// While one lives, no signal reaches this thread, not even the one that cancels it.
class no_signals {
public:
    no_signals();
    ~no_signals();
    no_signals(const no_signals&) = delete;
    no_signals& operator=(const no_signals&) = delete;

private:
    unsigned long old_mask[16 / sizeof(unsigned long)];
};

// Holds the world's lock, without signals.
class world_lock {
public:
    explicit world_lock(world_state* world);
    ~world_lock();
    world_lock(const world_lock&) = delete;
    world_lock& operator=(const world_lock&) = delete;

private:
    no_signals quiet;
    world_state* held;
};

// Where `path` really lies: under the root for the paths that belong to the world, else `path` itself.
const char* inside_path(const char* path, char (&buffer)[512]);

// Writes down one call. `format` as printf's; at most 500 characters of text are kept.
void record(const char* call, const char* format, ...) __attribute__((format(printf, 2, 3)));

// True, with errno set, when a failure rule says that this call fails now.
bool must_fail(const char* call, const char* about = "", uint64_t size = 0);

// The row of the calling thread, or null when it does not count.
thread_row* own_row();

// Blocks the calling thread while `*word` is `value`, which whoever changes it ends with FUTEX_WAKE, or for ever (a
// signal does not end it, cancellation does). Nobody waits for it meanwhile.
void stall_while(const uint32_t* word, uint32_t value);
void stall_for_ever();

// Sleeps until `deadline` of the monotonic clock. Returns 0, or EINTR and the rest in `rest`.
int sleep_until(world_state* world, int64_t deadline, bool polling, int64_t* rest);

// Sleeps `ns` of virtual time from now in full, whatever signals come.
void take_time(world_state* world, int64_t ns);

// For a thread whose bare system call a signal has interrupted: the thread sanitizer keeps signals back until the next
// call that it knows.
void let_signals_in();

void futex_wake(uint32_t* word);

// Wakes whoever waits for the threads of this world to come to rest.
void announce_activity(world_state* world);

} // namespace dashboard::testing

extern "C" {
// Puts this process into a world (null: takes it out).
void world_attach(dashboard::testing::world_state* world);
// Called in every sleep of a world that is not driven, after the clock was moved.
void world_on_sleep(void (*hook)(void*), void* argument);
}

#endif
