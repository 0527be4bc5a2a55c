// A stand-in of a running daemon: what holds the lock is one.
#ifndef TESTS_CTL_LOCK_HOLDER_H
#define TESTS_CTL_LOCK_HOLDER_H

#include "beside/daemon_process.h"

#include <gtest/gtest.h>

#include <csignal>
#include <fcntl.h>
#include <sys/wait.h>
#include <unistd.h>

namespace dashboard {

// A process that holds the lock of the PID file until it is ended.
class lock_holder {
public:
    lock_holder() {
        int ready[2];
        EXPECT_EQ(pipe(ready), 0);
        child = fork();
        if (child == 0) {
            const int file = open(pid_lock_file, O_RDWR);
            const bool locked = file >= 0 && ::lockf(file, F_TLOCK, 0) == 0;
            const char answer = locked ? '1' : '0';
            (void)!write(ready[1], &answer, 1);
            for (;;) {
                pause();
            }
        }
        char answer = '0';
        EXPECT_EQ(read(ready[0], &answer, 1), 1);
        EXPECT_EQ(answer, '1');
        close(ready[0]);
        close(ready[1]);
    }
    ~lock_holder() { end(); }
    void end() {
        if (child > 0) {
            kill(child, SIGKILL);
            waitpid(child, nullptr, 0);
        }
        child = 0;
    }
    pid_t child = 0;
};

} // namespace dashboard

#endif
