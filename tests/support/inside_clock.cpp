// The clock of the world: two times that only the test, or a sleep, moves.
#undef _FILE_OFFSET_BITS
#undef _TIME_BITS
#undef _FORTIFY_SOURCE
#include "tests/support/inside.h"

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <ctime>
#include <linux/futex.h>
#include <sys/prctl.h>
#include <sys/syscall.h>
#include <sys/time.h>
#include <sys/times.h>
#include <unistd.h>

namespace dashboard::testing {

namespace {

void (*sleep_hook)(void*);
void* sleep_hook_argument;

// Polls shorter than this (a tool's 10 microseconds) really take their time; longer ones wait for the next second.
constexpr int64_t shortest_poll = 100'000;
constexpr int64_t longest_poll = 1'000'000;

int64_t monotonic_now(world_state* world) {
    const world_lock lock(world);
    return world->monotonic;
}

int64_t wall_now(world_state* world) {
    const world_lock lock(world);
    return world->monotonic + world->wall_offset;
}

// What time() goes by.
int64_t coarse_now(world_state* world) {
    const world_lock lock(world);
    return world->monotonic + world->wall_offset - world->time_lag;
}

int64_t nanoseconds(const timespec& time) {
    return int64_t{time.tv_sec} * ns_per_second + time.tv_nsec;
}

void set_timespec(timespec* out, int64_t ns) {
    out->tv_sec = static_cast<time_t>(ns / ns_per_second);
    out->tv_nsec = static_cast<long>(ns % ns_per_second);
}

int64_t next_wall_second(const world_state* world) {
    const int64_t wall = world->monotonic + world->wall_offset;
    return (wall / ns_per_second + 1) * ns_per_second - world->wall_offset;
}

void call_sleep_hook() {
    if (sleep_hook != nullptr) {
        sleep_hook(sleep_hook_argument);
    }
}

// Moves the clock by itself: the way of a world without a driver. An interrupted sleep leaves that to the hook.
int sleep_alone(world_state* world, int64_t deadline, int64_t* rest) {
    if (must_fail("sleep")) {
        call_sleep_hook();
        *rest = std::max<int64_t>(0, deadline - monotonic_now(world));
        return EINTR;
    }
    {
        const world_lock lock(world);
        if (deadline > world->monotonic) {
            world->monotonic = deadline;
        }
    }
    call_sleep_hook();
    return 0;
}

uint32_t park(world_state* world, thread_row* row, int64_t deadline, bool polling) {
    const world_lock lock(world);
    row->deadline = polling ? next_wall_second(world) : deadline;
    row->polling = polling ? 1 : 0;
    row->state = thread_parked;
    announce_activity(world);
    return row->word;
}

enum class wake { sleep_on, released, interrupted };

// Looks, after the futex came back, whether the sleep is over. `waited` says that nothing woke it for a real while: a
// signal that was announced and has not come by then is one that this thread does not take.
wake look_around(world_state* world, thread_row* row, bool waited, int64_t* rest) {
    const world_lock lock(world);
    if (row->state == thread_running) {
        return wake::released;
    }
    if (row->state == thread_interrupted) {
        row->state = thread_running;
        *rest = row->deadline > world->monotonic ? row->deadline - world->monotonic : 0;
        return wake::interrupted;
    }
    if (row->state == thread_signalled && waited) {
        row->state = thread_parked;
        announce_activity(world);
    }
    return wake::sleep_on;
}

// A daemon whose test was killed must not stay behind.
void end_without_driver(const world_state* world) {
    if (world->driver != 0 && kill(static_cast<pid_t>(world->driver), 0) != 0) {
        _exit(97);
    }
}

// The only place where a thread of a driven world rests: a bare system call, open to signals and to cancellation.
// Returns true when nothing woke it for a real while.
bool rest_on(uint32_t* word, uint32_t value) {
    const timespec while_real = {0, 200'000'000};
    if (syscall(SYS_futex, word, FUTEX_WAIT, value, &while_real, nullptr, 0) == 0) {
        return false;
    }
    if (errno == EINTR) {
        let_signals_in();
        return false;
    }
    return errno == ETIMEDOUT;
}

// Seconds and clock of a clock_nanosleep as one deadline on the monotonic clock.
int64_t as_deadline(world_state* world, clockid_t clock, int flags, int64_t ns) {
    if ((flags & TIMER_ABSTIME) == 0) {
        return monotonic_now(world) + ns;
    }
    if (clock != CLOCK_REALTIME) {
        return ns;
    }
    const world_lock lock(world);
    return ns - world->wall_offset;
}

int sleep_for(world_state* world, int64_t ns, int64_t* rest) {
    const bool polling = ns >= shortest_poll && ns <= longest_poll;
    return sleep_until(world, monotonic_now(world) + ns, polling, rest);
}

} // namespace

void let_signals_in() {
    REAL(int (*)(useconds_t), usleep)(0);
}

int sleep_until(world_state* world, int64_t deadline, bool polling, int64_t* rest) {
    if (world->driven == 0) {
        return sleep_alone(world, deadline, rest);
    }
    thread_row* row = own_row();
    if (row == nullptr) {
        return 0;
    }
    const uint32_t value = park(world, row, deadline, polling);
    wake how = wake::sleep_on;
    while (how == wake::sleep_on) {
        const bool waited = rest_on(&row->word, value);
        if (waited) {
            end_without_driver(world);
        }
        how = look_around(world, row, waited, rest);
    }
    return how == wake::interrupted ? EINTR : 0;
}

void take_time(world_state* world, int64_t ns) {
    const int64_t deadline = monotonic_now(world) + ns;
    int64_t rest = 0;
    while (sleep_until(world, deadline, false, &rest) != 0) {
    }
}

} // namespace dashboard::testing

using namespace dashboard::testing;

void world_on_sleep(void (*hook)(void*), void* argument) {
    sleep_hook = hook;
    sleep_hook_argument = argument;
}

INTERPOSE(time_t, time, time_t* out) {
    world_state* world = current_world();
    if (world == nullptr) {
        return REAL(time_t(*)(time_t*), time)(out);
    }
    const auto now = static_cast<time_t>(coarse_now(world) / ns_per_second);
    if (out != nullptr) {
        *out = now;
    }
    return now;
}

INTERPOSE(int, clock_gettime, clockid_t clock, timespec* out) {
    world_state* world = current_world();
    if (world != nullptr && (clock == CLOCK_REALTIME || clock == CLOCK_REALTIME_COARSE)) {
        set_timespec(out, wall_now(world));
        return 0;
    }
    const bool monotonic = clock == CLOCK_MONOTONIC || clock == CLOCK_MONOTONIC_COARSE ||
                           clock == CLOCK_MONOTONIC_RAW || clock == CLOCK_BOOTTIME;
    if (world != nullptr && monotonic) {
        set_timespec(out, monotonic_now(world));
        return 0;
    }
    return REAL(int (*)(clockid_t, timespec*), clock_gettime)(clock, out);
}

// A hundred ticks a second of the monotonic clock.
INTERPOSE(clock_t, times, tms* out) {
    world_state* world = current_world();
    const clock_t real_ticks = REAL(clock_t(*)(tms*), times)(out);
    return world == nullptr ? real_ticks : static_cast<clock_t>(monotonic_now(world) / (ns_per_second / 100));
}

INTERPOSE(int, usleep, useconds_t microseconds) {
    world_state* world = current_world();
    if (world == nullptr) {
        return REAL(int (*)(useconds_t), usleep)(microseconds);
    }
    if (world->driven == 0) {
        record("usleep", "%u", microseconds);
    }
    int64_t rest = 0;
    const int error = sleep_for(world, int64_t{microseconds} * 1000, &rest);
    if (error != 0) {
        errno = error;
    }
    return error == 0 ? 0 : -1;
}

// What a signal cut off is told in whole seconds.
INTERPOSE(unsigned, sleep, unsigned seconds) {
    world_state* world = current_world();
    if (world == nullptr) {
        return REAL(unsigned (*)(unsigned), sleep)(seconds);
    }
    int64_t rest = 0;
    const int error = sleep_for(world, int64_t{seconds} * ns_per_second, &rest);
    return error == 0 ? 0 : static_cast<unsigned>((rest + ns_per_second - 1) / ns_per_second);
}

INTERPOSE(int, clock_nanosleep, clockid_t clock, int flags, const timespec* request, timespec* remaining) {
    world_state* world = current_world();
    if (world == nullptr) {
        return REAL(int (*)(clockid_t, int, const timespec*, timespec*), clock_nanosleep)(clock, flags, request,
                                                                                          remaining);
    }
    if (request->tv_sec < 0 || request->tv_nsec < 0 || request->tv_nsec >= ns_per_second) {
        return EINVAL;
    }
    const int64_t ns = nanoseconds(*request);
    record("clock_nanosleep", "%d %d %lld", static_cast<int>(clock), flags, static_cast<long long>(ns));
    const int64_t deadline = as_deadline(world, clock, flags, ns);
    if (deadline <= monotonic_now(world)) {
        return 0;
    }
    const bool polling = (flags & TIMER_ABSTIME) == 0 && ns >= shortest_poll && ns <= longest_poll;
    int64_t rest = 0;
    const int error = sleep_until(world, deadline, polling, &rest);
    if (error != 0 && remaining != nullptr && (flags & TIMER_ABSTIME) == 0) {
        set_timespec(remaining, rest);
    }
    return error;
}

// The slack of a timer changes nothing that this clock could show.
INTERPOSE(int, prctl, int option, unsigned long a, unsigned long b, unsigned long c, unsigned long d) {
    if (current_world() != nullptr && option == PR_SET_TIMERSLACK) {
        record("prctl", "timerslack %lu", a);
        return 0;
    }
    return REAL(int (*)(int, unsigned long, unsigned long, unsigned long, unsigned long), prctl)(option, a, b, c, d);
}
