// A mutex that names what it guards, checked by clang's thread-safety analysis, and a lock that survives cancellation.
#ifndef BASE_DASHBOARD_MUTEX_H
#define BASE_DASHBOARD_MUTEX_H

#include "base/uncancellable.h"

#include <pthread.h>

#if defined(__clang__)
#define dashboard_attribute(x) __attribute__((x))
#else
#define dashboard_attribute(x)
#endif
#define guarded_by(x) dashboard_attribute(guarded_by(x))

namespace dashboard {

/// Usable from process start without a call (constant initialisation), never destroyed by the language.
struct dashboard_attribute(capability("mutex")) mutex {
    pthread_mutex_t native = PTHREAD_MUTEX_INITIALIZER;

    /// Makes it anew with default attributes; nobody may hold it or wait for it. Returns false when that fails.
    bool init() {
        return pthread_mutex_init(&native, nullptr) == 0;
    }
    void destroy() {
        pthread_mutex_destroy(&native);
    }
};

/// Holds a mutex for a scope. The holder cannot be cancelled meanwhile, or the mutex would stay locked for ever.
class dashboard_attribute(scoped_lockable) scoped_lock {
public:
    explicit scoped_lock(mutex & m) dashboard_attribute(acquire_capability(m)) : locked(m.native) {
        pthread_mutex_lock(&locked);
    }
    always_inlined ~scoped_lock() dashboard_attribute(release_capability()) {
        pthread_mutex_unlock(&locked);
    }
    scoped_lock(const scoped_lock&) = delete;
    scoped_lock& operator=(const scoped_lock&) = delete;

private:
    uncancellable section; // first in, last out
    pthread_mutex_t& locked;
};

} // namespace dashboard

#endif
