// A child process for what a process cannot take back: quit flags, a fork into the background, an exit.
#ifndef TESTS_UNIT_OWN_PROCESS_H
#define TESTS_UNIT_OWN_PROCESS_H

#include <gtest/gtest.h>

#include <cerrno>
#include <cstdio>
#include <sys/wait.h>
#include <unistd.h>

// There where lines are counted: a process that ends without exit() must write its counts itself.
extern "C" void __gcov_dump() __attribute__((weak)); // NOLINT(readability-identifier-naming): not ours

namespace dashboard::testing {

inline constexpr int expectation_failed = 99;

// Runs `body` in a child and returns the child's exit status, or minus the number of the signal that ended it. A body
// that returns ends with 0, or with `expectation_failed`. A world made before lives in the child as well, with the
// same records; one that the body makes is gone with the body.
template <class Body>
int status_of_child(Body body) {
    fflush(nullptr);
    const pid_t child = fork();
    if (child == 0) {
        body();
        fflush(nullptr);
        if (__gcov_dump != nullptr) {
            __gcov_dump();
        }
        _exit(::testing::Test::HasFailure() ? expectation_failed : 0);
    }
    int status = 0;
    while (waitpid(child, &status, 0) < 0 && errno == EINTR) {
    }
    return WIFEXITED(status) ? WEXITSTATUS(status) : -WTERMSIG(status);
}

// Runs expectations in a child; they print there, and the test fails here.
template <class Body>
void in_own_process(Body body) {
    EXPECT_EQ(status_of_child(body), 0) << "what failed was printed by the child process";
}

} // namespace dashboard::testing

#endif
