// A stretch of code in which the calling thread is not cancelled.
#ifndef PROBES_UNCANCELLABLE_H
#define PROBES_UNCANCELLABLE_H

#include <pthread.h>

/// A destructor that a forced unwind may pass must not be taken from a translation unit with exceptions, where it is
/// noexcept and would end the process.
#define always_inlined __attribute__((always_inline)) inline

namespace dashboard {

/// The workers are cancelled asynchronously, at any instruction. That must not happen while a lock is held or inside
/// the heap: the process would hang or die of it. A cancellation that comes meanwhile takes effect at the end of the
/// scope.
class uncancellable {
public:
    uncancellable() { pthread_setcancelstate(PTHREAD_CANCEL_DISABLE, &before); }
    always_inlined ~uncancellable() { pthread_setcancelstate(before, nullptr); }
    uncancellable(const uncancellable&) = delete;
    uncancellable& operator=(const uncancellable&) = delete;

private:
    int before = PTHREAD_CANCEL_ENABLE;
};

} // namespace dashboard

#endif
