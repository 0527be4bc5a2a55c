#include "core/dashboard_worker.h"

#include "base/portability.h"

namespace dashboard {

namespace {

void* run_worker(void* argument) {
    worker& w = *static_cast<worker*>(argument);
    pthread_detach(pthread_self());
    cancel_signal_hold::admit(); // start_worker holds a lock
    pthread_setcanceltype(PTHREAD_CANCEL_ASYNCHRONOUS, nullptr);
    w.work();
    scoped_lock lock(w.life); // one that holds it may still cancel us
    w.alive = false;
    return nullptr;
}

} // namespace

void start_worker(worker& w) {
    scoped_lock lock(w.life);
    w.alive = pthread_create(&w.thread, nullptr, run_worker, &w) == 0;
}

void cancel_worker(worker& w) {
    scoped_lock lock(w.life); // the worker cannot end before we are through
    if (w.alive && can_cancel_threads()) {
        pthread_cancel(w.thread);
    }
}

} // namespace dashboard
