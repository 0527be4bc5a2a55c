// A worker thread and what main must know to end it.
#ifndef CORE_DASHBOARD_WORKER_H
#define CORE_DASHBOARD_WORKER_H

#include "base/dashboard_mutex.h"

#include <pthread.h>

namespace dashboard {

/// One worker. `work` is called once on the new thread, which detaches itself and may be cancelled at any instruction.
struct worker {
    void (*work)();
    mutex life;
    pthread_t thread guarded_by(life){};
    bool alive guarded_by(life) = false;

    constexpr explicit worker(void (*function)()) : work(function) {}
};

/// Starts the worker with default attributes. When the system refuses, the worker's keep-alive counter stands still
/// and the watchdog sees it.
void start_worker(worker& w);

/// Cancels the worker unless it has ended: the handle of a thread that ended is dead. Does nothing either where the
/// C library lacks what it needs to unwind a thread, since it would end the process instead.
void cancel_worker(worker& w);

} // namespace dashboard

#endif
