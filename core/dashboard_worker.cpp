#include "core/dashboard_worker.h"

#include "core/dashboard_daemon.h"

#include <dlfcn.h>

namespace dashboard {

namespace {

void* run_worker(void* argument) {
    worker& w = *static_cast<worker*>(argument);
    pthread_detach(pthread_self());
    pthread_setcanceltype(PTHREAD_CANCEL_ASYNCHRONOUS, nullptr);
    accept_signals();
    w.work();
    pthread_setcancelstate(PTHREAD_CANCEL_DISABLE, nullptr); // for good: from here the handle may die at any moment
    scoped_lock lock(w.life);
    w.alive = false;
    return nullptr;
}

/// glibc and uClibc load the unwinder at the first cancellation and abort the process when it is missing.
bool can_cancel() {
    return dlopen("libgcc_s.so.1", RTLD_NOW) != nullptr;
}

} // namespace

void start_worker(worker& w) {
    scoped_lock lock(w.life);
    w.alive = pthread_create(&w.thread, nullptr, run_worker, &w) == 0;
}

void cancel_worker(worker& w) {
    scoped_lock lock(w.life); // the worker cannot end before we are through
    if (w.alive && can_cancel()) {
        pthread_cancel(w.thread);
    }
}

} // namespace dashboard
