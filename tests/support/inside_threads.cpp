// The process under test: its threads, its signals, its fork. What the driver of the clock must know about them.
#undef _FILE_OFFSET_BITS
#undef _TIME_BITS
#undef _FORTIFY_SOURCE
#include "tests/support/inside.h"

#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <linux/futex.h>
#include <pthread.h>
#include <sys/syscall.h>
#include <unistd.h>

namespace dashboard::testing {

namespace {

thread_local thread_row* row_of_thread __attribute__((tls_model("initial-exec")));
pthread_key_t leaving_key;
pthread_once_t leaving_once = PTHREAD_ONCE_INIT;

// Runs when a counted thread ends, whichever way.
void leave(void* row) {
    world_state* world = current_world();
    if (world == nullptr) {
        return;
    }
    const world_lock lock(world);
    static_cast<thread_row*>(row)->state = thread_none;
    row_of_thread = nullptr;
    announce_activity(world);
}

void make_leaving_key() {
    pthread_key_create(&leaving_key, leave);
}

thread_row* new_row(world_state* world) {
    const world_lock lock(world);
    for (thread_row& row : world->threads) {
        if (row.state == thread_none) {
            row = thread_row{};
            row.state = thread_running;
            row.number = world->threads_started++;
            return &row;
        }
    }
    abort();
}

void settle_in(thread_row* row) {
    row->tid = static_cast<uint32_t>(syscall(SYS_gettid));
    row->handle = static_cast<uint64_t>(pthread_self());
    row_of_thread = row;
}

struct thread_start {
    void* (*function)(void*);
    void* argument;
    thread_row* row;
};

void* run_counted(void* argument) {
    const thread_start start = *static_cast<thread_start*>(argument);
    free(argument);
    pthread_setspecific(leaving_key, start.row);
    settle_in(start.row);
    return start.function(start.argument);
}

// Marks the row of thread `handle`, when it sleeps, with the reason for which it is about to wake.
void mark_sleeper(world_state* world, pthread_t handle, thread_state reason) {
    const world_lock lock(world);
    for (thread_row& row : world->threads) {
        const bool asleep = row.state == thread_parked || row.state == thread_signalled || row.state == thread_stalled;
        const bool reachable = row.state != thread_stalled || reason == thread_cancelled;
        if (row.handle == static_cast<uint64_t>(handle) && asleep && reachable) {
            row.state = reason;
        }
    }
}

uint32_t number_of(world_state* world, pthread_t handle) {
    const world_lock lock(world);
    for (const thread_row& row : world->threads) {
        if (row.state != thread_none && row.handle == static_cast<uint64_t>(handle)) {
            return row.number;
        }
    }
    return UINT32_MAX;
}

struct sigaction users_action[NSIG];

// What the kernel calls in place of the program's handler: notes that the sleep of this thread is over, and counts.
void handle_signal(int signal, siginfo_t* info, void* context) {
    const int saved = errno;
    world_state* world = current_world();
    if (world != nullptr && row_of_thread != nullptr) {
        const world_lock lock(world);
        if (row_of_thread->state == thread_parked || row_of_thread->state == thread_signalled) {
            row_of_thread->state = thread_interrupted;
            row_of_thread->word += 1;
        }
    }
    const struct sigaction action = users_action[signal];
    errno = saved;
    if ((action.sa_flags & SA_SIGINFO) != 0) {
        action.sa_sigaction(signal, info, context);
    } else {
        action.sa_handler(signal);
    }
    if (world != nullptr) {
        const no_signals quiet;
        __atomic_add_fetch(&world->signals_handled, 1, __ATOMIC_SEQ_CST);
        announce_activity(world);
    }
}

bool is_followed(int signal, const struct sigaction* action) {
    const bool crash =
        signal == SIGSEGV || signal == SIGBUS || signal == SIGFPE || signal == SIGILL || signal == SIGABRT;
    return current_world() != nullptr && action != nullptr && !crash &&
           ((action->sa_flags & SA_SIGINFO) != 0 || (action->sa_handler != SIG_IGN && action->sa_handler != SIG_DFL));
}

using sigaction_function = int (*)(int, const struct sigaction*, struct sigaction*);

int install(int signal, const struct sigaction* action, struct sigaction* old) {
    if (signal <= 0 || signal >= NSIG) {
        return REAL(sigaction_function, sigaction)(signal, action, old);
    }
    const struct sigaction before = users_action[signal];
    struct sigaction ours = action == nullptr ? before : *action;
    const bool followed = is_followed(signal, action);
    if (followed) {
        users_action[signal] = *action;
        ours.sa_flags |= SA_SIGINFO;
        ours.sa_sigaction = handle_signal;
    }
    struct sigaction previous {};
    const int result = REAL(sigaction_function, sigaction)(signal, action == nullptr ? nullptr : &ours, &previous);
    if (result != 0) {
        users_action[signal] = before;
    } else if (old != nullptr) {
        const bool ours_before = (previous.sa_flags & SA_SIGINFO) != 0 && previous.sa_sigaction == handle_signal;
        *old = ours_before ? before : previous;
    }
    return result;
}

} // namespace

thread_row* own_row() {
    return row_of_thread;
}

void stall_while(const uint32_t* word, uint32_t value) {
    world_state* world = current_world();
    thread_row* row = row_of_thread;
    const auto note = [&](thread_state state) {
        if (world != nullptr && row != nullptr) {
            const world_lock lock(world);
            row->state = state;
            announce_activity(world);
        }
    };
    note(thread_stalled);
    while (__atomic_load_n(word, __ATOMIC_SEQ_CST) == value) {
        syscall(SYS_futex, word, FUTEX_WAIT, value, nullptr, nullptr, 0);
        let_signals_in();
    }
    note(thread_running);
}

void stall_for_ever() {
    const uint32_t word = 0;
    stall_while(&word, 0);
}

} // namespace dashboard::testing

using namespace dashboard::testing;

// Makes the calling thread the counted main thread of `world`.
extern "C" __attribute__((visibility("default"))) void world_count_main_thread(world_state* world) {
    world->pid = static_cast<uint32_t>(getpid());
    settle_in(new_row(world));
}

using start_function = void* (*)(void*);
using create_function = int (*)(pthread_t*, const pthread_attr_t*, start_function, void*);

INTERPOSE(int, pthread_create, pthread_t* thread, const pthread_attr_t* attributes, start_function function,
          void* argument) {
    world_state* world = current_world();
    const create_function real_create = REAL(create_function, pthread_create);
    if (must_fail("pthread_create")) {
        return errno;
    }
    if (world == nullptr || world->driven == 0) {
        return real_create(thread, attributes, function, argument);
    }
    pthread_once(&leaving_once, make_leaving_key);
    auto* start = static_cast<thread_start*>(malloc(sizeof(thread_start)));
    *start = thread_start{function, argument, new_row(world)};
    const int error = real_create(thread, attributes, run_counted, start);
    if (error != 0) {
        start->row->state = thread_none;
        free(start);
    }
    return error;
}

INTERPOSE(int, pthread_cancel, pthread_t thread) {
    world_state* world = current_world();
    if (world != nullptr) {
        record("pthread_cancel", "%d", static_cast<int>(number_of(world, thread)));
        mark_sleeper(world, thread, thread_cancelled);
    }
    return REAL(int (*)(pthread_t), pthread_cancel)(thread);
}

INTERPOSE(int, pthread_mutex_init, pthread_mutex_t* mutex, const pthread_mutexattr_t* attributes) {
    if (must_fail("pthread_mutex_init")) {
        return errno;
    }
    return REAL(int (*)(pthread_mutex_t*, const pthread_mutexattr_t*), pthread_mutex_init)(mutex, attributes);
}

INTERPOSE(int, sigaction, int signal, const struct sigaction* action, struct sigaction* old) {
    if (must_fail("sigaction", strsignal(signal))) {
        return -1;
    }
    return install(signal, action, old);
}

// The child goes on as the main thread of the process under test; the parent no longer counts.
INTERPOSE(pid_t, fork, void) {
    if (must_fail("fork")) {
        return -1;
    }
    const pid_t child = REAL(pid_t(*)(), fork)();
    world_state* world = current_world();
    if (world == nullptr || row_of_thread == nullptr || child < 0) {
        return child;
    }
    // Said by both, so that it is known before the parent can end.
    world->pid = static_cast<uint32_t>(child > 0 ? child : getpid());
    if (child > 0) {
        row_of_thread = nullptr;
        return child;
    }
    settle_in(row_of_thread);
    return child;
}

INTERPOSE(pid_t, setsid, void) {
    record("setsid", "%s", "");
    if (must_fail("setsid")) {
        return -1;
    }
    return REAL(pid_t(*)(), setsid)();
}

INTERPOSE(pid_t, getppid, void) {
    const world_state* world = current_world();
    return world == nullptr || world->parent_id == 0 ? REAL(pid_t(*)(), getppid)() : world->parent_id;
}
