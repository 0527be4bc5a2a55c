// What the watchdog notices, and how the daemon shuts down.
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

using Watchdog = daemon_test;

constexpr char query_timeout[] = "warn[main]: error, query thread timeout event!\n";

TEST_F(Watchdog, LeavesWorkersThatWorkAlone) {
    daemon_process daemon(world);
    ASSERT_TRUE(daemon.run_for(600));
    EXPECT_THAT(daemon.output(), Not(HasSubstr("timeout event")));
    EXPECT_EQ(daemon.errors(), "");
}

// The retries take twelve seconds in which the server thread shows no life.
TEST_F(Watchdog, EndsTheDaemonWhenTheStoreCannotBeOpened) {
    world.csman.fail_open(-1);
    daemon_process daemon(world);
    ASSERT_TRUE(daemon.run_for(5.999));
    EXPECT_EQ(daemon.output(), "enable console debuging\n"
                               "warn[open_csman_retry]: Open CSMan For Thread Fail(3), do retry\n"
                               "warn[open_csman_retry]: Open CSMan For Thread Fail(2), do retry\n");
    ASSERT_TRUE(daemon.run_for(0.002));
    EXPECT_THAT(daemon.output(), HasSubstr(server_timeout));
    EXPECT_EQ(daemon.run_to_exit(4.1), 0);
    EXPECT_THAT(daemon.output(), EndsWith("Open CSMan For Thread Fail(1), do retry\n"));
    EXPECT_THAT(world.calls("csman"), ElementsAre("open 0 0", "open 0 0", "open 0 0"));
    EXPECT_TRUE(world.exists("/var/run/dashboard_daemon.pid"));
}

TEST_F(Watchdog, ToleratesAStoreThatOpensAtTheSecondAttempt) {
    world.csman.fail_open(1, -5);
    daemon_process daemon(world);
    ASSERT_TRUE(daemon.run_for(30));
    EXPECT_THAT(daemon.output(), HasSubstr("Open CSMan For Thread Fail(3), do retry\n"));
    EXPECT_THAT(daemon.output(), Not(HasSubstr("Fail(2)")));
}

TEST_F(Watchdog, CancelsAServerThreadThatTheStoreBlocks) {
    daemon_process daemon(world);
    ASSERT_TRUE(daemon.run_for(60));
    world.csman.block_reads(daemon_enable);
    EXPECT_EQ(daemon.run_to_exit(30), 0);
    EXPECT_THAT(daemon.output(), HasSubstr(server_timeout));
    EXPECT_THAT(world.calls("pthread_cancel"), ElementsAre("1"));
    EXPECT_EQ(world.calls("csman").back(), "close 7");
    EXPECT_EQ(daemon.errors(), "");
}

TEST_F(Watchdog, EndsTheDaemonWhenOpeningTheStoreBlocks) {
    world.csman.block_open();
    daemon_process daemon(world);
    EXPECT_EQ(daemon.run_to_exit(10.1), 0);
    EXPECT_EQ(daemon.output(), std::string("enable console debuging\n") + server_timeout);
    EXPECT_THAT(world.calls("csman"), ElementsAre("open 0 0"));
    EXPECT_THAT(world.calls("pthread_cancel"), ElementsAre("1"));
}

TEST_F(Watchdog, CancelsAQueryThreadWhoseToolHangs) {
    daemon_process daemon(world);
    ASSERT_TRUE(daemon.run_for(20));
    world.hanging_tool("mpstat", "Average:     CPU\n");
    EXPECT_EQ(daemon.run_to_exit(30), 0);
    EXPECT_THAT(daemon.output(), HasSubstr(query_timeout));
    EXPECT_THAT(daemon.output(), Not(HasSubstr(server_timeout)));
    EXPECT_THAT(world.calls("pthread_cancel"), ElementsAre("2"));
    EXPECT_EQ(daemon.errors(), "");
}

TEST_F(Watchdog, CancelsAServerThreadWhoseToolHangs) {
    daemon_process daemon(world);
    ASSERT_TRUE(daemon.run_for(20));
    world.hanging_tool("ifconfig");
    EXPECT_EQ(daemon.run_to_exit(40), 0);
    EXPECT_THAT(daemon.output(), HasSubstr(server_timeout));
    EXPECT_THAT(world.calls("pthread_cancel"), ElementsAre("1"));
}

// The server is looked at first; the query thread's standstill is then no longer reported.
TEST_F(Watchdog, ReportsTheServerWhenBothStandStill) {
    daemon_process daemon(world);
    ASSERT_TRUE(daemon.run_for(21));
    world.hanging_tool("mpstat");
    world.csman.block_reads(daemon_enable);
    EXPECT_EQ(daemon.run_to_exit(60), 0);
    const std::string output = daemon.output();
    EXPECT_NE(output.find("timeout event"), std::string::npos);
    EXPECT_EQ(output.find("timeout event"), output.rfind("timeout event"));
}

TEST_F(Watchdog, RestartsTheDaemonWhenMpstatPrintsNothing) {
    world.tool("mpstat", ":");
    daemon_process daemon(world);
    EXPECT_EQ(daemon.run_to_exit(60), 0);
    const std::string output = daemon.output();
    EXPECT_THAT(output, HasSubstr("warn[query_cpu]: error, popen returned null string, RESTART DAEMON!\n\n"));
    EXPECT_THAT(output, Not(HasSubstr("timeout event")));
    // Both workers saw their quit flags and left; nobody cancels a thread that has ended.
    EXPECT_THAT(world.calls("pthread_cancel"), IsEmpty());
    EXPECT_EQ(daemon.errors(), "");
}

TEST_F(Watchdog, RestartsTheDaemonWhenMpstatIsMissing) {
    world.no_tool("mpstat");
    daemon_process daemon(world);
    EXPECT_EQ(daemon.run_to_exit(60), 0);
    EXPECT_THAT(daemon.output(), HasSubstr("RESTART DAEMON!"));
}

// The watches are 6, 11, 16, ... seconds after the start. Two seconds for the workers to leave, two more after the
// cancellation.
TEST_F(Watchdog, TakesFourSecondsToShutDown) {
    daemon_process daemon(world, {"logc"});
    ASSERT_TRUE(daemon.run_for(16.5));
    world.csman.block_reads(daemon_enable); // next read 18.7 s after the start
    ASSERT_TRUE(daemon.run_for(9.4));
    EXPECT_THAT(daemon.output(), Not(HasSubstr("timeout event")));
    ASSERT_TRUE(daemon.run_for(0.2));
    EXPECT_THAT(daemon.output(), EndsWith(server_timeout));
    ASSERT_TRUE(daemon.run_for(1.8));
    EXPECT_THAT(world.calls("pthread_cancel"), IsEmpty());
    ASSERT_TRUE(daemon.run_for(0.2));
    EXPECT_THAT(world.calls("pthread_cancel"), ElementsAre("1"));
    EXPECT_THAT(world.calls("csman"), Not(::testing::Contains("close 7")));
    ASSERT_TRUE(daemon.run_for(1.8));
    EXPECT_EQ(daemon.run_to_exit(0.2), 0);
    EXPECT_EQ(world.calls("csman").back(), "close 7");
    EXPECT_THAT(daemon.output(), EndsWith(server_timeout));
}

TEST_F(Watchdog, ClosesTheStoreOnce) {
    daemon_process daemon(world);
    ASSERT_TRUE(daemon.run_for(10));
    world.tool("mpstat", ":");
    EXPECT_EQ(daemon.run_to_exit(60), 0);
    int closed = 0;
    for (const std::string& call : world.calls("csman")) {
        closed += call == "close 7" ? 1 : 0;
    }
    EXPECT_EQ(closed, 1);
}

TEST_F(Watchdog, SurvivesAStoreWhoseCloseBlocks) {
    world.csman.block_close();
    daemon_process daemon(world);
    ASSERT_TRUE(daemon.run_for(10));
    world.tool("mpstat", ":");
    EXPECT_EQ(daemon.run_to_exit(60), 0);
}

} // namespace
} // namespace dashboard::testing
