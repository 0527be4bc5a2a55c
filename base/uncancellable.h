// A stretch of code in which the calling thread is not cancelled: the one guard of the daemon, its stand-ins and tests.
#ifndef BASE_UNCANCELLABLE_H
#define BASE_UNCANCELLABLE_H

#include "base/portability.h"

#include <pthread.h>

/// A destructor that a forced unwind may pass must not be taken from a translation unit with exceptions, where it is
/// noexcept and would end the process.
#define always_inlined __attribute__((always_inline)) inline

namespace dashboard {

/// The workers are cancelled asynchronously, at any instruction. That must not happen while a lock is held or inside
/// the heap: the process would hang or die of it. A cancellation that comes meanwhile takes effect at the end of the
/// scope.
///
/// Switching cancellation off is not enough. The canceller that found it on has sent a signal, or is about to, and the
/// handler of glibc and uClibc looks at the type alone when it arrives: of 30,000 cancellations of a thread that did
/// little else, 2,154 struck inside (tests/unit/uncancellable_test.cpp). With the type deferred as well none of 100,000
/// did, but each call that is a cancellation point makes the type asynchronous while it lasts, and a canceller that is
/// held up sends its signal late. That has not been seen to strike; holding the signal itself rules it out.
class uncancellable {
public:
    uncancellable() {
        signal.take();
        pthread_setcancelstate(PTHREAD_CANCEL_DISABLE, &state);
    }
    always_inlined ~uncancellable() {
        pthread_setcancelstate(state, nullptr);
        signal.release();
    }
    uncancellable(const uncancellable&) = delete;
    uncancellable& operator=(const uncancellable&) = delete;

private:
    cancel_signal_hold signal;
    int state = PTHREAD_CANCEL_ENABLE;
};

} // namespace dashboard

#endif
