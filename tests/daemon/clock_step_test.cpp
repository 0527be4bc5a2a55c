// Steps of the wall clock while the daemon starts and while it ends: those waits go by the monotonic clock.
#include "tests/daemon/daemon_fixture.h"

#include <gmock/gmock.h>

#include <csignal>

namespace dashboard::testing {
namespace {

using ::testing::ElementsAre;
using ::testing::EndsWith;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::Not;

class ClockStep : public daemon_test, public ::testing::WithParamInterface<int64_t> {
protected:
    // The step falls into the middle of `seconds` that pass.
    void pass_with_step(daemon_process& daemon, double seconds) {
        ASSERT_TRUE(daemon.run_for(seconds / 2));
        world.clock.step_wall(GetParam());
        ASSERT_TRUE(daemon.run_for(seconds / 2));
    }
};

INSTANTIATE_TEST_SUITE_P(By, ClockStep, ::testing::Values(-630'720'000, -7'200, -1, 1, 7'200, 630'720'000),
                         [](const auto& step) {
                             return (step.param < 0 ? "Minus" : "Plus") + std::to_string(std::abs(step.param));
                         });

TEST_P(ClockStep, DuringADelayedStartDelaysNothing) {
    daemon_process daemon(world, {"delaystart"});
    pass_with_step(daemon, 19.8);
    EXPECT_TRUE(world.exists(pid_file));
    EXPECT_EQ(daemon.time().tid(1), 0);
    ASSERT_TRUE(daemon.run_for(0.3));
    EXPECT_NE(daemon.time().tid(1), 0);
}

TEST_P(ClockStep, BetweenTheStartsOfTheThreadsDelaysNothing) {
    world.csman.set(wan_enable, 1);
    daemon_process daemon(world);
    pass_with_step(daemon, 0.9);
    ASSERT_NE(daemon.time().tid(1), 0);
    EXPECT_EQ(daemon.time().tid(2), 0);
    ASSERT_TRUE(daemon.run_for(0.2));
    EXPECT_NE(daemon.time().tid(2), 0);
    ASSERT_TRUE(daemon.run_for(8));
    world.csman.set(wan_view, 1);
    ASSERT_TRUE(daemon.run_for(8));
    EXPECT_THAT(world.read(wan_sec_path), HasSubstr("<time>"));
}

TEST_P(ClockStep, WhileTheStoreCannotBeOpenedChangesNoTimeOfTheEnd) {
    world.csman.fail_open(-1);
    daemon_process daemon(world);
    pass_with_step(daemon, 5.998);
    EXPECT_THAT(daemon.output(), Not(HasSubstr("timeout event")));
    ASSERT_TRUE(daemon.run_for(0.004));
    EXPECT_THAT(daemon.output(), HasSubstr("server thread timeout event!\n"));
    EXPECT_EQ(daemon.run_to_exit(4.1), 0);
    EXPECT_THAT(daemon.output(), EndsWith("Open CSMan For Thread Fail(1), do retry\n"));
}

// The watchdog notices after six seconds; two more for the workers to leave, two after the cancellation.
TEST_P(ClockStep, InBothGracePeriodsOfAShutdownChangesNoTimeOfTheEnd) {
    world.csman.block_open();
    daemon_process daemon(world);
    ASSERT_TRUE(daemon.run_for(6.01));
    EXPECT_THAT(daemon.output(), HasSubstr("server thread timeout event!\n"));
    pass_with_step(daemon, 1.98);
    EXPECT_THAT(world.calls("pthread_cancel"), IsEmpty());
    ASSERT_TRUE(daemon.run_for(0.02));
    EXPECT_THAT(world.calls("pthread_cancel"), ElementsAre("1"));
    pass_with_step(daemon, 1.98);
    EXPECT_EQ(daemon.run_to_exit(0.02), 0);
}

TEST_P(ClockStep, AfterASigtermLeavesItsStatus) {
    daemon_process daemon(world);
    ASSERT_TRUE(daemon.run_for(60));
    daemon.send_signal(SIGTERM);
    world.clock.step_wall(GetParam());
    EXPECT_EQ(daemon.wait_for_exit(), 255);
}

} // namespace
} // namespace dashboard::testing
