// A process that stands there for a test to be looked at.
#ifndef TESTS_CTL_STANDING_PROCESS_H
#define TESTS_CTL_STANDING_PROCESS_H

#include <gtest/gtest.h>

#include <csignal>
#include <sys/wait.h>
#include <unistd.h>

namespace dashboard {

// A child that has prepared itself, and waits until it is ended.
class standing_process {
public:
    // `prepare` is called in the child; it answers whether all is as it should be.
    template <class preparation>
    explicit standing_process(const preparation& prepare) {
        int ready[2];
        EXPECT_EQ(pipe(ready), 0);
        child = fork();
        if (child == 0) {
            const char answer = prepare() ? '1' : '0';
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
    standing_process(const standing_process&) = delete;
    standing_process& operator=(const standing_process&) = delete;
    ~standing_process() { end(); }

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
