// Worker threads: how they start, and who may be cancelled.
#include "core/dashboard_worker.h"

#include "tests/unit/heard_messages.h"
#include "tests/unit/own_process.h"

#include <gmock/gmock.h>

#include <atomic>
#include <cerrno>
#include <csignal>
#include <semaphore.h>

namespace dashboard::testing {
namespace {

using ::testing::IsEmpty;
using ::testing::SizeIs;

sem_t started;
sem_t finish;
sem_t gone;
std::atomic<int> runs{0};
std::atomic<int> cancel_type{-1};
std::atomic<bool> is_detached{false};
std::atomic<bool> blocks_hangups{false};
std::atomic<bool> blocks_terms{false};

void wait_for(sem_t& semaphore) {
    while (sem_wait(&semaphore) != 0 && errno == EINTR) {
    }
}

bool is_dead(worker& w) {
    scoped_lock lock(w.life);
    return !w.alive;
}

// Runs when a thread that set it leaves, whichever way.
void tell_gone(void* /*value*/) {
    sem_post(&gone);
}

pthread_key_t leaving() {
    static pthread_key_t key;
    static const bool made = pthread_key_create(&key, tell_gone) == 0;
    EXPECT_TRUE(made);
    return key;
}

void look_at_myself() {
    runs += 1;
    int type = -1;
    pthread_setcanceltype(PTHREAD_CANCEL_ASYNCHRONOUS, &type);
    cancel_type = type;
    pthread_attr_t attributes;
    pthread_getattr_np(pthread_self(), &attributes);
    int state = -1;
    pthread_attr_getdetachstate(&attributes, &state);
    pthread_attr_destroy(&attributes);
    is_detached = state == PTHREAD_CREATE_DETACHED;
    sigset_t mask;
    pthread_sigmask(SIG_SETMASK, nullptr, &mask);
    blocks_hangups = sigismember(&mask, SIGHUP) == 1;
    blocks_terms = sigismember(&mask, SIGTERM) == 1;
}

// Has nothing that an unwind would have to stop at, like all code of the daemon: not even the thread sanitizer's.
__attribute__((no_sanitize("thread"))) void compute_for_ever() {
    pthread_setspecific(leaving(), &gone);
    sem_post(&started);
    for (volatile unsigned turns = 0;; turns = turns + 1) {
    }
}

class Worker : public ::testing::Test {
protected:
    Worker() {
        sem_init(&started, 0, 0);
        sem_init(&finish, 0, 0);
        sem_init(&gone, 0, 0);
        leaving();
    }
    test_world world;
};

TEST_F(Worker, RunsItsWorkOnceDetachedCancellableAtAnyInstruction) {
    in_own_process([] {
        worker w([] {
            look_at_myself();
            sem_post(&started);
        });
        start_worker(w);
        wait_for(started);
        EXPECT_EQ(runs, 1);
        EXPECT_EQ(cancel_type, PTHREAD_CANCEL_ASYNCHRONOUS);
        EXPECT_TRUE(is_detached);
        while (!is_dead(w)) {
            sched_yield();
        }
    });
}

// A daemon of init leaves to init which signals are blocked.
TEST_F(Worker, BlocksTheSignalsThatItsStarterBlocks) {
    in_own_process([] {
        sigset_t held;
        sigemptyset(&held);
        sigaddset(&held, SIGHUP);
        pthread_sigmask(SIG_SETMASK, &held, nullptr);
        worker w([] {
            look_at_myself();
            sem_post(&started);
        });
        start_worker(w);
        wait_for(started);
        EXPECT_TRUE(blocks_hangups);
        EXPECT_FALSE(blocks_terms);
        while (!is_dead(w)) {
            sched_yield();
        }
    });
}

TEST_F(Worker, ThatStandsStillIsCancelled) {
    in_own_process([this] {
        worker w([] {
            pthread_setspecific(leaving(), &gone);
            sem_post(&started);
            for (;;) {
                pause();
            }
        });
        start_worker(w);
        wait_for(started);
        EXPECT_FALSE(is_dead(w));
        cancel_worker(w);
        wait_for(gone);
        EXPECT_THAT(world.calls("pthread_cancel"), SizeIs(1));
    });
}

TEST_F(Worker, ThatComputesWithoutAnyCallIsCancelled) {
    in_own_process([this] {
        worker w(compute_for_ever);
        start_worker(w);
        wait_for(started);
        cancel_worker(w);
        wait_for(gone);
        EXPECT_THAT(world.calls("pthread_cancel"), SizeIs(1));
    });
}

TEST_F(Worker, ThatHasEndedIsLeftAlone) {
    in_own_process([this] {
        worker w([] { runs += 1; });
        start_worker(w);
        while (!is_dead(w)) {
            sched_yield();
        }
        cancel_worker(w);
        EXPECT_THAT(world.calls("pthread_cancel"), IsEmpty());
        EXPECT_EQ(runs, 1);
    });
}

TEST_F(Worker, ThatNeverStartedIsLeftAlone) {
    worker w([] { runs += 1; });
    cancel_worker(w);
    EXPECT_THAT(world.calls("pthread_cancel"), IsEmpty());
}

TEST_F(Worker, ThatTheSystemRefusesIsNotAlive) {
    worker w([] { runs += 1; });
    const int before = runs;
    world.fail("pthread_create", EAGAIN);
    start_worker(w);
    EXPECT_TRUE(is_dead(w));
    cancel_worker(w);
    EXPECT_THAT(world.calls("pthread_cancel"), IsEmpty());
    EXPECT_EQ(runs, before);
}

} // namespace
} // namespace dashboard::testing
