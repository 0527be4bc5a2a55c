// A thread that is inside a guard nearly all the time. Built like the daemon, without exceptions: with them a forced
// unwind that begins at any instruction would end the process.
#include "tests/unit/guarded_thread.h"

#include "base/uncancellable.h"

#include <pthread.h>
#include <unistd.h>

namespace dashboard::testing {

void* stay_guarded(void* argument) {
    auto& seen = *static_cast<guarded_thread*>(argument);
    pthread_setcanceltype(PTHREAD_CANCEL_ASYNCHRONOUS, nullptr);
    for (;;) {
        const uncancellable section;
        seen.running = true;
        seen.inside = true;
        for (volatile int i = 0; i < 20; i = i + 1) {
        }
        [[maybe_unused]] const ssize_t refused = write(-1, "", 0); // a cancellation point
        seen.inside = false;
    }
}

} // namespace dashboard::testing
