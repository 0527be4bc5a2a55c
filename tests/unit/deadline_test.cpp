// When a process that is stuck ends by itself.
#include "core/deadline.h"

#include "tests/support/world.h"
#include "tests/unit/own_process.h"

#include <gmock/gmock.h>

#include <csignal>
#include <sys/time.h>

namespace dashboard::testing {
namespace {

// Seconds until this process is ended; 0 when it is not.
double time_left() {
    itimerval timer{};
    getitimer(ITIMER_REAL, &timer);
    return static_cast<double>(timer.it_value.tv_sec) + static_cast<double>(timer.it_value.tv_usec) / 1e6;
}

void (*action_of_alarm())(int) {
    struct sigaction action {};
    sigaction(SIGALRM, nullptr, &action);
    return action.sa_handler;
}

void block_alarm() {
    sigset_t alarm_only;
    sigemptyset(&alarm_only);
    sigaddset(&alarm_only, SIGALRM);
    pthread_sigmask(SIG_BLOCK, &alarm_only, nullptr);
}

bool alarm_is_blocked() {
    sigset_t mask;
    pthread_sigmask(SIG_SETMASK, nullptr, &mask);
    return sigismember(&mask, SIGALRM) == 1;
}

TEST(Deadline, IsTheEarliestOfThoseThatWereSet) {
    in_own_process([] {
        end_within(200);
        EXPECT_GT(time_left(), 150);
        end_within(100);
        EXPECT_LE(time_left(), 100);
        end_within(300);
        EXPECT_LE(time_left(), 100);
        lift_deadline();
        EXPECT_EQ(time_left(), 0);
    });
}

TEST(Deadline, LeavesTheAlarmAsItWas) {
    in_own_process([] {
        const auto nothing = [](int) {};
        signal(SIGALRM, nothing);
        block_alarm();
        lift_deadline();
        for (int i = 0; i < 2; ++i) {
            end_within(100);
            end_within(90);
            EXPECT_NE(action_of_alarm(), +nothing);
            EXPECT_FALSE(alarm_is_blocked());
            lift_deadline();
            EXPECT_EQ(action_of_alarm(), +nothing);
            EXPECT_TRUE(alarm_is_blocked());
        }
    });
}

TEST(Deadline, EndsTheProcessWithZero) {
    EXPECT_EQ(status_of_child([] {
                  block_alarm();
                  end_within(100);
                  raise(SIGALRM);
                  _exit(42);
              }),
              0);
}

// One may have waited behind the mask of whoever started us.
TEST(Deadline, IsNotPassedByAnAlarmFromBefore) {
    EXPECT_EQ(status_of_child([] {
                  block_alarm();
                  raise(SIGALRM);
                  end_within(100);
                  _exit(42);
              }),
              42);
}

TEST(Deadline, OfASignalIsTwoSecondsAt255AndStays) {
    in_own_process([] {
        end_within(100);
        end_by_signal_soon();
        EXPECT_LE(time_left(), 2);
        EXPECT_GT(time_left(), 1);
        lift_deadline();
        end_within(100);
        EXPECT_LE(time_left(), 2);
        EXPECT_GT(time_left(), 1);
    });
    EXPECT_EQ(status_of_child([] {
                  end_by_signal_soon();
                  end_within(100);
                  raise(SIGALRM);
                  _exit(42);
              }),
              255);
}

TEST(Deadline, OfASignalIsNotLaterThanTheOneBefore) {
    in_own_process([] {
        end_within(1);
        end_by_signal_soon();
        EXPECT_LE(time_left(), 1);
        const double before = time_left();
        for (int i = 0; i < 1000; ++i) {
            end_by_signal_soon();
        }
        EXPECT_LE(time_left(), before);
    });
}

TEST(Deadline, ReallyComes) {
    EXPECT_EQ(status_of_child([] {
                  end_within(1);
                  for (;;) {
                      pause();
                  }
              }),
              0);
}

} // namespace
} // namespace dashboard::testing
