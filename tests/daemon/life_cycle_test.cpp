// How the daemon starts, lives and ends.
#include "tests/daemon/daemon_fixture.h"

#include <gmock/gmock.h>

#include <csignal>

namespace dashboard::testing {
namespace {

using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;

using life_cycle = daemon_test;

TEST_F(life_cycle, WritesItsProcessIdIntoThePidFileAndEndsItsParentWithZero) {
    daemon_process daemon(world, {});
    ASSERT_TRUE(daemon.run_for(3));
    EXPECT_EQ(daemon.parent_status(), 0);
    EXPECT_NE(daemon.pid(), daemon.parent_pid());
    EXPECT_EQ(world.read("/var/run/dashboard_daemon.pid"), std::to_string(daemon.pid()) + "\n");
    EXPECT_EQ(world.mode("/var/run/dashboard_daemon.pid"), 0600u);
    EXPECT_EQ(daemon.output(), "");
    EXPECT_EQ(daemon.errors(), "");
}

TEST_F(life_cycle, TermEndsItWithStatus255) {
    daemon_process daemon(world);
    ASSERT_TRUE(daemon.run_for(60));
    daemon.signal(SIGTERM);
    EXPECT_EQ(daemon.wait_for_exit(), 255);
    EXPECT_THAT(daemon.output(), HasSubstr("warn[signal_handler]: Daemon exiting\n"));
}

} // namespace
} // namespace dashboard::testing
