// Making cancellation wait while a call holds what a dead thread would leave behind: a descriptor, a file.
#ifndef PLATFORM_HOST_CANCELLATION_H
#define PLATFORM_HOST_CANCELLATION_H

#include <csignal>
#include <cstddef>
#include <pthread.h>
#include <sys/syscall.h>
#include <unistd.h>

namespace dashboard {

// As the kernel counts signals: 16 bytes on MIPS, 8 elsewhere.
constexpr size_t kernel_mask_size = size_t{(_NSIG - 1 + 63) / 64} * 8;

struct held_cancellation {
    unsigned char mask[kernel_mask_size];
    int state;
};

// No cancellation acts on this thread, and no signal handler runs on it, until it is released. Switching cancellation
// off is not enough: the signal of a canceller that found it on may still be under way, and glibc's handler then ends a
// thread that may be cancelled at any instruction all the same (one cancellation in some four thousand). The C
// library's own calls leave that signal out of every mask, so the kernel is asked directly.
inline held_cancellation hold_cancellation() {
    held_cancellation held = {};
    unsigned char every[kernel_mask_size];
    for (unsigned char& bits : every)
        bits = 0xff;
    syscall(SYS_rt_sigprocmask, SIG_SETMASK, every, held.mask, kernel_mask_size);
    pthread_setcancelstate(PTHREAD_CANCEL_DISABLE, &held.state);
    return held;
}

// A function, not a destructor: a cancellation that has waited ends the thread in here.
inline void release_cancellation(const held_cancellation& held) {
    pthread_setcancelstate(held.state, nullptr);
    syscall(SYS_rt_sigprocmask, SIG_SETMASK, held.mask, nullptr, kernel_mask_size);
}

} // namespace dashboard

#endif
