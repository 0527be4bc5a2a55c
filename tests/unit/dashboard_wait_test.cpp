// Whole seconds of sleep, and the next second of the wall clock at little cost.
#include "base/dashboard_wait.h"

#include "base/wall_clock.h"
#include "tests/support/world.h"

#include <gmock/gmock.h>

#include <cerrno>
#include <cstdio>
#include <ctime>

namespace dashboard::testing {
namespace {

using ::testing::Each;
using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::SizeIs;

TEST(SleepFully, LastsItsSeconds) {
    test_world world;
    const int64_t before = world.clock.monotonic_ns();
    sleep_fully(5);
    EXPECT_EQ(world.clock.monotonic_ns() - before, 5 * ns_per_second);
}

TEST(SleepFully, IsNotShortenedBySignals) {
    test_world world;
    const int64_t before = world.clock.monotonic_ns();
    world.fail("sleep", EINTR, "", 6);
    sleep_fully(5);
    EXPECT_EQ(world.clock.monotonic_ns() - before, 5 * ns_per_second);
}

TEST(SleepFully, SleepsTheRestHoweverLateASignalComes) {
    test_world world;
    world.clock.advance(0.4); // the deadline is no whole second
    int interruptions = 4;
    world.fail("sleep", EINTR, "", interruptions);
    world.on_sleep([&] {
        if (interruptions-- > 0) {
            world.clock.advance(0.7);
        }
    });
    const int64_t before = world.clock.monotonic_ns();
    sleep_fully(3);
    EXPECT_EQ(world.clock.monotonic_ns() - before, 3 * ns_per_second);
    EXPECT_THAT(world.calls("clock_nanosleep"),
                ElementsAre("1 0 3000000000", "1 0 2300000000", "1 0 1600000000", "1 0 900000000", "1 0 200000000"));
}

TEST(SleepFully, IsOverWhenASignalComesTooLate) {
    for (const double lateness : {3.1, 4.0, 5.0}) {
        test_world world;
        world.fail("sleep", EINTR);
        world.on_sleep([&] { world.clock.advance(lateness); });
        sleep_fully(3);
        EXPECT_THAT(world.calls("clock_nanosleep"), SizeIs(1)) << lateness;
    }
}

TEST(SleepFully, GoesByTheMonotonicClock) {
    test_world world;
    world.fail("sleep", EINTR, "", 2);
    sleep_fully(3);
    const std::string clock = std::to_string(CLOCK_MONOTONIC) + " ";
    EXPECT_THAT(world.calls("clock_nanosleep"), SizeIs(3));
    EXPECT_THAT(world.calls("clock_nanosleep"), Each(::testing::StartsWith(clock)));
    world.clock.step_wall(-3600);
    const int64_t before = world.clock.monotonic_ns();
    sleep_fully(1);
    EXPECT_EQ(world.clock.monotonic_ns() - before, ns_per_second);
}

TEST(SleepFully, OfZeroSecondsIsOverAtOnce) {
    test_world world;
    sleep_fully(0);
    EXPECT_EQ(world.clock.monotonic_ns(), 1000 * ns_per_second);
}

// Follows a wait sleep by sleep.
class NextSecond : public ::testing::Test {
protected:
    NextSecond() {
        world.on_sleep([this] { after_sleep(); });
    }
    // Waits from the current second on; returns what the wait returned, in seconds from the start.
    int64_t wait() { return wait_for_next_second(wall_seconds(), watch) - first_second; }
    // Two waits after which the watch trusts the machine's seconds.
    void settle() {
        wait();
        wait();
        forget();
    }
    void forget() {
        sleeps = 0;
        slack = 0;
        slacks.clear();
        world.forget_calls();
    }
    void read_slack() {
        for (const std::string& call : world.calls("prctl")) {
            ASSERT_EQ(sscanf(call.c_str(), "timerslack %lld", &slack), 1) << call;
            slacks.push_back(slack);
        }
        world.forget_calls();
    }
    void after_sleep() {
        read_slack();
        ++sleeps;
        if (slack > 0) {
            const int64_t punctual = world.clock.wall_ns();    // the end of a sleep that the kernel did not prolong
            const int64_t coarse = punctual - 500'000 - delay; // what time() went by when the sleep began
            const int64_t turn = (coarse / ns_per_second + 1) * ns_per_second + delay;
            EXPECT_LE(punctual + slack, turn - 500'000) << "a late wake-up would come too close to the next second";
            EXPECT_LE(slack, 100'000'000);
        }
        if (kernel_uses_slack) {
            world.clock.advance(static_cast<double>(slack) / 1e9);
        }
        during_sleep();
    }
    int64_t into_second() { return world.clock.wall_ns() % ns_per_second; }
    // From now on `time` turns so late; not at a moment at which that would turn it back.
    void turn_late(int64_t ns) {
        world.clock.advance(0.1);
        delay = ns;
        world.clock.delay_time(ns);
    }
    int64_t past_turn() { return into_second() - delay; }

    test_world world;
    second_watch watch;
    bool kernel_uses_slack = false;
    std::function<void()> during_sleep = [] {};
    int64_t delay = 0; // ns
    int sleeps = 0;
    long long slack = 0;           // in force
    std::vector<long long> slacks; // asked for, in order
};

TEST_F(NextSecond, IsThereAtOnceWhenTheSecondIsOver) {
    EXPECT_EQ(wait_for_next_second(static_cast<int32_t>(first_second) - 1, watch), first_second);
    EXPECT_EQ(wait_for_next_second(static_cast<int32_t>(first_second) + 1, watch), first_second);
    EXPECT_EQ(sleeps, 0);
    EXPECT_THAT(world.calls("prctl"), IsEmpty());
}

TEST_F(NextSecond, IsPolledEvery500Microseconds) {
    world.clock.set(first_second, 999'000'000);
    world.on_sleep([] {});
    EXPECT_EQ(wait(), 1);
    EXPECT_THAT(world.calls("usleep"), ElementsAre("500", "500"));
}

TEST_F(NextSecond, IsMetWithinOnePoll) {
    for (int64_t second = 1; second <= 5; ++second) {
        EXPECT_EQ(wait(), second);
        EXPECT_LT(into_second(), 500'000 + 1);
    }
}

TEST_F(NextSecond, IsAnyOtherSecondThatTheClockShows) {
    during_sleep = [this] { sleeps == 10 ? world.clock.step_wall(-60) : void(); };
    EXPECT_EQ(wait(), -60);
    EXPECT_EQ(sleeps, 10);
    during_sleep = [this] { sleeps == 20 ? world.clock.step_wall(3600) : void(); };
    EXPECT_EQ(wait(), 3540);
    EXPECT_EQ(sleeps, 20);
}

TEST_F(NextSecond, AllowsTheKernelNoSlackBeforeOneSecondWasSeenToLast) {
    wait();
    read_slack();
    EXPECT_THAT(slacks, IsEmpty());
}

TEST_F(NextSecond, AllowsUpToATenthOfASecondFarFromTheTurn) {
    settle();
    wait();
    read_slack();
    ASSERT_FALSE(slacks.empty());
    EXPECT_EQ(slacks.front(), 100'000'000);
}

TEST_F(NextSecond, AllowsWhatIsLeftOfTheSecondButAMillisecond) {
    const struct {
        int64_t into_second; // ns
        long long allowed;
    } cases[] = {{950'000'000, 49'000'000}, {998'999'999, 1}, {999'000'000, 0}};
    settle();
    for (const auto& one : cases) {
        watch.steady = true;
        world.clock.set(world.clock.now(), one.into_second);
        forget();
        wait();
        read_slack();
        EXPECT_EQ(slacks.empty() ? 0 : slacks.front(), one.allowed) << one.into_second;
    }
}

TEST_F(NextSecond, TakesTheSlackBackBeforeTheTurnAndLeavesNone) {
    settle();
    during_sleep = [this] {
        if (into_second() > 999'600'000) {
            EXPECT_EQ(slack, 0);
        }
    };
    wait();
    read_slack();
    ASSERT_FALSE(slacks.empty());
    EXPECT_EQ(slacks.back(), 0);
    EXPECT_EQ(watch.slack, 0u);
}

TEST_F(NextSecond, IsMetAsPunctuallyWhenTheKernelUsesEverySlack) {
    kernel_uses_slack = true;
    settle();
    for (int i = 0; i < 10; ++i) {
        sleeps = 0;
        wait();
        EXPECT_LT(into_second(), 500'000 + 1);
        EXPECT_LT(sleeps, 60);
    }
}

TEST_F(NextSecond, IsMetWithinOnePollOfALateTurnWithFewWakeUps) {
    kernel_uses_slack = true;
    for (const int64_t late : {1'000'000, 3'700'000, 9'999'999}) {
        turn_late(late);
        settle();
        for (int i = 0; i < 10; ++i) {
            sleeps = 0;
            wait();
            EXPECT_GE(past_turn(), 0);
            EXPECT_LT(past_turn(), 500'000 + 1) << late;
            EXPECT_LE(sleeps, 14) << late;
        }
    }
}

TEST_F(NextSecond, IsMetWithinOnePollWhenItTurnsLaterThanTheLastOne) {
    kernel_uses_slack = true;
    settle();
    for (const int64_t late : {1'000'000, 4'000'000, 4'100'000, 15'000'000}) {
        turn_late(late);
        wait();
        EXPECT_LT(past_turn(), 500'000 + 1) << late;
    }
}

TEST_F(NextSecond, IsMetWithinOnePollAgainAfterATurnThatCameEarlierThanTheLastOne) {
    kernel_uses_slack = true;
    turn_late(9'000'000);
    settle();
    world.clock.advance(0.1);
    world.clock.delay_time(2'000'000);
    wait(); // which cannot know
    EXPECT_LT(into_second(), 9'000'000);
    turn_late(2'000'000);
    for (int i = 0; i < 3; ++i) {
        wait();
        EXPECT_LT(past_turn(), 500'000 + 1);
    }
}

TEST_F(NextSecond, IsPolledCloselyFromItsBeginningWhenNoCoarseClockTurnsSoLate) {
    turn_late(30'000'000);
    settle();
    during_sleep = [this] {
        if (into_second() < 30'000'000) {
            EXPECT_EQ(slack, 0);
        }
    };
    wait();
    EXPECT_LT(past_turn(), 500'000 + 1);
}

TEST_F(NextSecond, AllowsNoSlackWhenTheClocksDisagree) {
    for (const int64_t seconds : {-2, -1, 2, 1000}) {
        world.clock.delay_time(seconds * ns_per_second);
        for (int i = 0; i < 3; ++i) {
            const int32_t shown = wall_seconds();
            slacks.clear();
            EXPECT_EQ(wait_for_next_second(shown, watch), shown + 1);
            read_slack();
            EXPECT_THAT(slacks, IsEmpty()) << seconds;
        }
    }
}

TEST_F(NextSecond, LeavesNoSlackWhenTheClockJumpsInTheMiddle) {
    settle();
    during_sleep = [this] { sleeps == 10 ? world.clock.step_wall(60) : void(); };
    wait();
    read_slack();
    EXPECT_THAT(slacks, ElementsAre(100'000'000, 0));
}

TEST_F(NextSecond, AllowsNoSlackAfterASecondThatWasTooShort) {
    settle();
    during_sleep = [this] { sleeps == 1700 ? world.clock.step_wall(1) : void(); }; // after 0.85 s
    wait();
    forget();
    during_sleep = [] {};
    wait(); // 0.15 s
    wait();
    read_slack();
    EXPECT_THAT(slacks, IsEmpty());
    wait();
    read_slack();
    EXPECT_FALSE(slacks.empty()) << "the second before was whole again";
}

TEST_F(NextSecond, AllowsSlackAfterASecondThatWasAlmostWhole) {
    settle();
    during_sleep = [this] { sleeps == 1800 ? world.clock.step_wall(1) : void(); }; // after 0.9 s, just enough
    wait();
    forget();
    during_sleep = [] {};
    wait();
    read_slack();
    EXPECT_FALSE(slacks.empty());
}

TEST_F(NextSecond, AllowsSlackAfterACycleThatWorkedForAWhile) {
    settle();
    world.clock.advance(0.4);
    wait();
    read_slack();
    ASSERT_FALSE(slacks.empty());
    EXPECT_EQ(slacks.front(), 100'000'000);
}

TEST_F(NextSecond, AsksTheKernelOnlyForChanges) {
    settle();
    wait();
    read_slack();
    for (size_t i = 1; i < slacks.size(); ++i) {
        EXPECT_NE(slacks[i], slacks[i - 1]);
    }
}

} // namespace
} // namespace dashboard::testing
