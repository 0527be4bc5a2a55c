// Modules going on and off as the configuration store says, and when the daemon looks.
#include "tests/daemon/module_fixture.h"

#include <gmock/gmock.h>

#include <csignal>

namespace dashboard::testing {
namespace {

using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::Not;

TEST_F(Modules, AreAllTerminatedOnceAtTheStart) {
    daemon_process daemon(world);
    ASSERT_TRUE(daemon.run_for(0.5));
    std::string expected = "enable console debuging\n";
    for (const module_items& module : all_modules) {
        expected += "log[term_monitor_cb]: term_mc idx=" + std::to_string(module.index) + "\n";
    }
    EXPECT_EQ(daemon.output(), expected);
    for (const module_items& module : all_modules) {
        EXPECT_EQ(world.csman.get(module.view), 0);
    }
    EXPECT_EQ(recorded("unlink", "/usr/www/wan_traffic*"), 1);
    EXPECT_EQ(recorded("unlink", "/tmp/dashboard/wan_traffic*"), 1);
}

TEST_F(Modules, LiveOnAConfigurationHandleOfZeroToo) {
    world.state().csman.handle = 0;
    world.csman.set(wan_enable, 1);
    daemon_process daemon(world);
    ASSERT_TRUE(daemon.run_for(3));
    EXPECT_EQ(count(daemon, "log[init_monitor_cb]: init_mc idx=2"), 1);
    EXPECT_GT(recorded("csman", "read_int 0 0x150785"), 0);
    daemon.signal(SIGTERM);
    EXPECT_EQ(daemon.wait_for_exit(), 255);
    EXPECT_EQ(recorded("csman", "close 0"), 1);
}

TEST_F(Modules, StayOffWhileTheDaemonIsNotEnabled) {
    world.csman.set(daemon_enable, 0);
    world.csman.set(wan_enable, 1);
    daemon_process daemon(world);
    ASSERT_TRUE(daemon.run_for(30));
    EXPECT_THAT(daemon.output(), Not(HasSubstr("init_mc")));
    EXPECT_EQ(recorded("csman", "read_int 7 0x150785"), 0);
    EXPECT_FALSE(world.exists(wan_sec_path));
}

TEST_F(Modules, StopAndStartWithTheirItem) {
    world.csman.set(wan_enable, 1);
    daemon_process daemon(world);
    ASSERT_TRUE(daemon.run_for(10));
    world.csman.set(wan_enable, 0);
    ASSERT_TRUE(daemon.run_for(6));
    EXPECT_EQ(count(daemon, "log[term_monitor_cb]: term_mc idx=2"), 2);
    EXPECT_EQ(recorded("unlink", "/usr/www/wan_traffic*"), 2);
    EXPECT_TRUE(world.exists(wan_sec_path)); // unlink takes the asterisk at its word
    world.csman.set(wan_enable, 1);
    ASSERT_TRUE(daemon.run_for(6));
    EXPECT_EQ(count(daemon, "log[init_monitor_cb]: init_mc idx=2"), 2);
}

// A module whose own item has not moved stays down when the daemon is enabled again.
TEST_F(Modules, StayDownAfterADisabledDaemonUntilTheirItemMoves) {
    world.csman.set(wan_enable, 1);
    daemon_process daemon(world);
    ASSERT_TRUE(daemon.run_for(10));
    world.csman.set(daemon_enable, 0);
    ASSERT_TRUE(daemon.run_for(6));
    EXPECT_EQ(count(daemon, "log[term_monitor_cb]: term_mc idx=2"), 2);
    world.csman.set(daemon_enable, 1);
    ASSERT_TRUE(daemon.run_for(60));
    EXPECT_EQ(count(daemon, "log[init_monitor_cb]: init_mc idx=2"), 1);
    world.csman.set(wan_enable, 0);
    ASSERT_TRUE(daemon.run_for(6));
    EXPECT_EQ(count(daemon, "log[term_monitor_cb]: term_mc idx=2"), 2);
    world.csman.set(wan_enable, 1);
    ASSERT_TRUE(daemon.run_for(6));
    EXPECT_EQ(count(daemon, "log[init_monitor_cb]: init_mc idx=2"), 2);
}

TEST_F(Modules, EnabledWithTwoAreStartedButNeverRun) {
    world.csman.set(wan_enable, 2);
    daemon_process daemon(world);
    ASSERT_TRUE(daemon.run_for(0.5));
    world.csman.set(wan_view, 1);
    ASSERT_TRUE(daemon.run_for(30));
    EXPECT_EQ(count(daemon, "log[init_monitor_cb]: init_mc idx=2"), 1);
    EXPECT_EQ(world.read(wan_sec_path), datalist(""));
    EXPECT_EQ(world.csman.get(wan_view), 1); // nobody took the request
}

TEST_F(Modules, GoingFromOneToTwoStopsTheirLoop) {
    world.csman.set(wan_enable, 1);
    world.alive({});
    daemon_process daemon(world);
    ASSERT_TRUE(daemon.run_for(10));
    EXPECT_GT(count(daemon, "log[dashboard_loop]: loop callback fail(2)"), 0);
    world.csman.set(wan_enable, 2);
    ASSERT_TRUE(daemon.run_for(6));
    EXPECT_EQ(count(daemon, "log[init_monitor_cb]: init_mc idx=2"), 2);
    const int64_t failures = count(daemon, "log[dashboard_loop]: loop callback fail(2)");
    ASSERT_TRUE(daemon.run_for(20));
    EXPECT_EQ(count(daemon, "log[dashboard_loop]: loop callback fail(2)"), failures);
}

TEST_F(Modules, FailedReadOfAnEnableItemKeepsItsLastValue) {
    world.csman.set(wan_enable, 1);
    daemon_process daemon(world);
    ASSERT_TRUE(daemon.run_for(10));
    world.csman.unset(wan_enable);
    world.csman.unset(daemon_enable);
    ASSERT_TRUE(daemon.run_for(20));
    EXPECT_EQ(count(daemon, "log[term_monitor_cb]: term_mc idx=2"), 1);
}

TEST_F(Modules, ItemsAreReadEverySixthCycleBeginningWithTheFirst) {
    daemon_process daemon(world);
    ASSERT_TRUE(daemon.run_for(0.5));
    EXPECT_THAT(cycles_with(daemon, 20, "csman", "read_int 7 0x150780"), ElementsAre(1, 7, 13, 19));
}

TEST_F(Modules, AliveListIsMadeEveryEleventhCycleBeginningWithTheFirst) {
    daemon_process daemon(world);
    ASSERT_TRUE(daemon.run_for(0.5));
    EXPECT_THAT(cycles_with(daemon, 36, "popen", "re ifconfig | awk '/Link encap/{print $1}'"),
                ElementsAre(1, 12, 23, 34));
}

TEST_F(Modules, SeventySixthInterfaceIsReportedEveryCycle) {
    std::vector<interface_bytes> interfaces;
    interfaces.reserve(76);
    for (int i = 0; i < 76; ++i) {
        interfaces.push_back({"veth" + std::to_string(i), 1, 1});
    }
    world.netdev(interfaces);
    daemon_process daemon(world);
    ASSERT_TRUE(daemon.run_for(0.5));
    for (int cycle = 1; cycle <= 5; ++cycle) {
        ASSERT_TRUE(daemon.run_one_second());
        EXPECT_EQ(count(daemon, "warn[main_netdev_info]: record overflow: idx(75)"), cycle);
    }
}

} // namespace
} // namespace dashboard::testing
