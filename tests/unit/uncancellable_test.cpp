// The guard against cancellation, with threads that are cancelled at any instruction of it.
#include "base/uncancellable.h"

#include "tests/unit/guarded_thread.h"

#include <gtest/gtest.h>

#include <fstream>
#include <pthread.h>
#include <sched.h>
#include <string>

namespace dashboard::testing {
namespace {

#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__) || defined(__mips__)
constexpr int cancellations = 1'000; // each takes many times as long
#else
constexpr int cancellations = 20'000;
#endif

// Waits until the thread has ended. One cancellation is enough on a processor. An emulated MIPS may lose what a signal
// handler wrote between a load-linked and its store-conditional, and with it a cancellation, so it is asked again.
void wait_for_end(pthread_t thread) {
#if defined(__mips__)
    while (pthread_tryjoin_np(thread, nullptr) != 0) {
        pthread_cancel(thread);
        sched_yield();
    }
#else
    EXPECT_EQ(pthread_join(thread, nullptr), 0);
#endif
}

// Cancels one thread after `delay` turns of a loop. Returns whether it was struck inside the guard.
bool struck_inside(int delay) {
    guarded_thread seen;
    pthread_t thread{};
    EXPECT_EQ(pthread_create(&thread, nullptr, stay_guarded, &seen), 0);
    while (!seen.running) {
        sched_yield();
    }
    for (volatile int i = 0; i < delay; i = i + 1) {
    }
    EXPECT_EQ(pthread_cancel(thread), 0);
    wait_for_end(thread);
    return seen.inside;
}

TEST(Uncancellable, IsNeverStruckInside) {
    int struck = 0;
    for (int i = 0; i < cancellations; ++i) {
        struck += struck_inside(i * 7 % 3000) ? 1 : 0;
    }
    EXPECT_EQ(struck, 0) << "of " << cancellations;
}

// Switched off or on; whether the cancelling signal is held.
struct cancellation {
    int state = -1;
    bool signal_held = false;

    cancellation() {
        pthread_setcancelstate(PTHREAD_CANCEL_DISABLE, &state);
        pthread_setcancelstate(state, nullptr);
        std::ifstream status("/proc/thread-self/status");
        for (std::string word; status >> word;) {
            if (word == "SigBlk:" && status >> word) {
                signal_held = (std::stoull(word.substr(word.size() - 16), nullptr, 16) >> 31 & 1) != 0;
            }
        }
    }
};

TEST(Uncancellable, LeavesCancellationAsItWasAlsoInsideAnother) {
    {
        const uncancellable outer;
        { const uncancellable inner; }
        EXPECT_EQ(cancellation().state, PTHREAD_CANCEL_DISABLE);
#if !defined(__mips__) // an emulator holds signals in its own way
        EXPECT_TRUE(cancellation().signal_held);
#endif
    }
    EXPECT_EQ(cancellation().state, PTHREAD_CANCEL_ENABLE);
    EXPECT_FALSE(cancellation().signal_held);
}

// uClibc's new threads begin with their creator's mask: one that was made inside a guard could not be cancelled.
TEST(Uncancellable, SignalThatACreatorHoldsIsAdmitted) {
    cancel_signal_hold held;
    held.take();
    cancel_signal_hold::admit();
    EXPECT_FALSE(cancellation().signal_held);
    held.release();
}

} // namespace
} // namespace dashboard::testing
