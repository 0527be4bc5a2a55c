// A thread to be cancelled, which tells what it was doing.
#ifndef TESTS_UNIT_GUARDED_THREAD_H
#define TESTS_UNIT_GUARDED_THREAD_H

#include <atomic>

namespace dashboard::testing {

struct guarded_thread {
    std::atomic<bool> running{false};
    std::atomic<bool> inside{false}; // within the guard
};

// The thread function; takes a guarded_thread and runs until it is cancelled.
void* stay_guarded(void* argument);

} // namespace dashboard::testing

#endif
