// What differs between C libraries and between kernels: the page for whoever brings the daemon to another platform.
//
// Each entry says what it is needed for and what happens without it. Nothing else in the daemon asks where it runs.
#ifndef BASE_PORTABILITY_H
#define BASE_PORTABILITY_H

#include <csignal>
#include <cstddef>
#include <cstdio>
#include <cstring>
#include <dlfcn.h>
#include <fcntl.h>
#include <sys/mman.h>
#include <sys/prctl.h>
#include <sys/syscall.h>
#include <unistd.h>

namespace dashboard {

/// The unwinder. glibc and uClibc load it at the first cancellation of a thread and abort the process where it is
/// missing, as it may be on a router; musl has none and needs none. Without it a stalled worker is left to exit().
inline bool can_cancel_threads() {
#if defined(__GLIBC__) || defined(__UCLIBC__)
    return dlopen("libgcc_s.so.1", RTLD_NOW) != nullptr;
#else
    return true;
#endif
}

/// The signal that cancels a thread: the kernel's first real-time signal in glibc and uClibc, which both leave it out
/// of every mask that a program sets, so that the kernel is asked directly. Their handlers do not ask whether
/// cancellation is switched off; musl's does, and another signal is held there for nothing.
struct cancel_signal_hold {
    static constexpr size_t mask_bytes = size_t{(_NSIG - 1 + 63) / 64} * 8; // as the kernel counts: 16 on MIPS, else 8
    static constexpr int cancel_signal = 32;

    unsigned long before[mask_bytes / sizeof(unsigned long)];

    void take() { change(SIG_BLOCK, before); }
    void release() const { syscall(SYS_rt_sigprocmask, SIG_SETMASK, before, nullptr, mask_bytes); }

    /// A new thread has its creator's mask. glibc takes the signal out of it; uClibc does not, and a thread that was
    /// made inside a guard could never be cancelled.
    static void admit() { change(SIG_UNBLOCK, nullptr); }

private:
    static void change(int how, unsigned long* old_mask) {
        constexpr unsigned bit = cancel_signal - 1;
        constexpr unsigned word_bits = 8 * sizeof(unsigned long);
        unsigned long mask[mask_bytes / sizeof(unsigned long)] = {};
        mask[bit / word_bits] = 1UL << bit % word_bits;
        syscall(SYS_rt_sigprocmask, how, mask, old_mask, mask_bytes);
    }
};

/// Process ids as the kernel knows them. getpid of glibc before 2.25 remembers its answer, also for a child of vfork,
/// which shares the memory: its signals would then be taken for the daemon's.
inline pid_t process_id() {
    return static_cast<pid_t>(syscall(SYS_getpid));
}

/// Thread ids. No function for them in uClibc, nor in glibc before 2.30. The handler of a signal hands it to the main
/// thread by its id; without that it would work in the middle of whatever a worker is doing.
inline bool on_main_thread() {
    return syscall(SYS_gettid) == process_id();
}
inline void send_to_main_thread(int signal_number) {
    syscall(SYS_tgkill, process_id(), process_id(), signal_number);
}

/// Timer slack: Linux since 2.6.28. How late the kernel may wake this thread, in ns; 0 is the system's default. Where
/// it is not known nothing happens, and a wait for the next second wakes 2,000 times instead of a few.
inline void set_timer_slack(unsigned long ns) {
    prctl(PR_SET_TIMERSLACK, ns, 0, 0, 0);
}

/// A tool whose output is read through a pipe that no other tool inherits. glibc and musl know the mode "re"; uClibc
/// ignores its "e", hence the second step. Without it a tool keeps the pipe of another open, which then never ends.
inline FILE* open_pipe(const char* command) {
    FILE* const pipe = popen(command, "re");
    if (pipe != nullptr) {
        fcntl(fileno(pipe), F_SETFD, FD_CLOEXEC);
    }
    return pipe;
}

/// The words for an error number, as `error_text(errno).words`; they live in the object. uClibc's strerror has one
/// buffer for all threads: the words of one worker would appear in the message of another.
struct error_text {
    explicit error_text(int error) : words(found(strerror_r(error, buffer, sizeof buffer))) {}
    error_text(const error_text&) = delete;
    error_text& operator=(const error_text&) = delete;

    char buffer[64]; // filled before `words` is known
    const char* words;

private:
    // strerror_r is GNU's, which answers the words, or POSIX's, which answers a number and always fills the buffer.
    static const char* found(const char* gnu) { return gnu; }
    const char* found(int) const { return buffer; }
};

/// Large pages. Where the kernel hands them out unasked, one would hold the blocks of many access points, and all
/// their memory would be taken for one of them. Kernels without them refuse the advice.
inline void keep_pages_small([[maybe_unused]] void* block, [[maybe_unused]] size_t size) {
#if defined(MADV_NOHUGEPAGE)
    madvise(block, size, MADV_NOHUGEPAGE);
#endif
}

} // namespace dashboard

#endif
