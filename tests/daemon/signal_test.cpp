// Signals, in every state that the daemon can be in.
#include "tests/daemon/daemon_fixture.h"

#include <gmock/gmock.h>

#include <algorithm>
#include <csignal>
#include <fcntl.h>
#include <fstream>
#include <poll.h>
#include <sys/ioctl.h>
#include <unistd.h>

namespace dashboard::testing {
namespace {

using ::testing::HasSubstr;
using ::testing::Not;

using signals = daemon_test;

constexpr char hangup[] = "warn[signal_handler]: Received SIGHUP signal.";

int64_t count_of(const std::vector<std::string>& lines, const std::string& line) {
    return std::count(lines.begin(), lines.end(), line);
}

TEST_F(signals, TermEndsItWithStatus255) {
    daemon_process daemon(world);
    ASSERT_TRUE(daemon.run_for(60));
    daemon.signal(SIGTERM);
    EXPECT_EQ(daemon.wait_for_exit(), 255);
    EXPECT_EQ(daemon.output_lines().back(), "warn[signal_handler]: Daemon exiting");
    EXPECT_EQ(world.calls("csman").back(), "close 7");
    EXPECT_EQ(world.calls("closelog").size(), 1u);
    EXPECT_TRUE(world.exists("/var/run/dashboard_daemon.pid"));
    EXPECT_EQ(daemon.errors(), "");
}

TEST_F(signals, IntEndsItWithStatus255) {
    daemon_process daemon(world, {"logs"});
    ASSERT_TRUE(daemon.run_for(60));
    daemon.signal(SIGINT);
    EXPECT_EQ(daemon.wait_for_exit(), 255);
    EXPECT_EQ(without_line_numbers(world.syslog_lines().back()), "warn[signal_handler]: Daemon exiting");
}

TEST_F(signals, TermOnAWorkerEndsTheWholeDaemon) {
    for (const uint32_t thread : {1u, 2u}) {
        test_world own(nullptr);
        own.usual_inputs();
        own.csman.set(daemon_enable, 1);
        daemon_process daemon(own);
        ASSERT_TRUE(daemon.run_for(60));
        daemon.signal(SIGTERM, thread);
        EXPECT_EQ(daemon.wait_for_exit(), 255);
        EXPECT_THAT(daemon.output(), HasSubstr("warn[signal_handler]: Daemon exiting\n"));
    }
}

TEST_F(signals, TermEndsItBetweenTheStartsOfTheThreads) {
    daemon_process daemon(world);
    ASSERT_TRUE(daemon.run_for(0.5));
    daemon.signal(SIGTERM);
    EXPECT_EQ(daemon.wait_for_exit(), 255);
}

TEST_F(signals, TermEndsItDuringADelayedStart) {
    daemon_process daemon(world, {"delaystart"});
    ASSERT_TRUE(daemon.run_for(10));
    daemon.signal(SIGTERM);
    EXPECT_EQ(daemon.wait_for_exit(), 255);
}

TEST_F(signals, TermEndsItWhileTheStoreBlocks) {
    daemon_process daemon(world);
    ASSERT_TRUE(daemon.run_for(60));
    world.csman.block_reads(daemon_enable);
    while (!daemon.time().stalled(1)) {
        ASSERT_TRUE(daemon.run_one_second());
    }
    daemon.signal(SIGTERM);
    EXPECT_EQ(daemon.wait_for_exit(), 255);
}

TEST_F(signals, TermEndsItWhileAToolHangs) {
    daemon_process daemon(world);
    ASSERT_TRUE(daemon.run_for(20));
    world.hanging_tool("mpstat");
    while (!daemon.time().stalled(2)) {
        ASSERT_TRUE(daemon.run_one_second());
    }
    daemon.signal(SIGTERM);
    EXPECT_EQ(daemon.wait_for_exit(), 255);
}

TEST_F(signals, TermEndsItInBothGracePeriods) {
    for (const double into_shutdown : {1.0, 3.0}) {
        test_world own(nullptr);
        own.usual_inputs();
        own.csman.set(daemon_enable, 1);
        own.csman.block_open();
        daemon_process daemon(own);
        ASSERT_TRUE(daemon.run_for(6 + into_shutdown));
        EXPECT_THAT(daemon.output(), HasSubstr("server thread timeout event!"));
        daemon.signal(SIGTERM);
        EXPECT_EQ(daemon.wait_for_exit(), 255);
    }
}

// The console's reader has stopped reading: a worker sleeps in the middle of a line and holds the lock of the output.
TEST_F(signals, TermEndsItWhileAWorkerHoldsTheConsole) {
#ifdef __SANITIZE_THREAD__
    GTEST_SKIP() << "the thread sanitizer keeps the signal back from a thread that waits for the console's lock";
#endif
    daemon_process daemon(world, {"logc"}, console::pipe);
    fcntl(daemon.output_pipe(), F_SETPIPE_SZ, 4096);
    world.csman.set(wan_enable, 1);
    world.alive({"lo"}); // "eth0 is dead" and "loop callback fail(2)" every second
    daemon.time().allow_blocked_writer(true);
    while (!daemon.time().writer_blocked()) {
        ASSERT_TRUE(daemon.run_one_second());
    }
    daemon.send_signal(SIGTERM);
    EXPECT_EQ(daemon.wait_for_exit(), 255);
}

TEST_F(signals, HangupOnlyLogs) {
    daemon_process daemon(world);
    ASSERT_TRUE(daemon.run_for(10));
    for (const uint32_t thread : {0u, 1u, 2u}) {
        daemon.signal(SIGHUP, thread);
    }
    ASSERT_TRUE(daemon.run_for(60));
    EXPECT_EQ(count_of(daemon.output_lines(), hangup), 3);
    EXPECT_THAT(daemon.output(), Not(HasSubstr("timeout event")));
    EXPECT_THAT(world.syslog_lines(), ::testing::IsEmpty());
}

// A hundred a second for a quarter of a minute, on all threads in turn.
TEST_F(signals, StormOfHangupsShortensNothing) {
    world.csman.set(wan_enable, 1);
    daemon_process daemon(world);
    ASSERT_TRUE(daemon.run_for(5));
    const auto before = world.calls("popen").size();
    for (uint32_t i = 0; i < 1500; ++i) {
        daemon.signal(SIGHUP, i % 3);
        ASSERT_TRUE(daemon.run_for(0.01));
    }
    EXPECT_EQ(count_of(daemon.output_lines(), hangup), 1500);
    EXPECT_THAT(daemon.output(), Not(HasSubstr("timeout event")));
    EXPECT_THAT(daemon.output(), Not(HasSubstr("is dead")));
    // mpstat every four seconds and ifconfig every eleven, no more and no less than without the storm.
    const auto tools = world.calls("popen").size() - before;
    EXPECT_GE(tools, 4u);
    EXPECT_LE(tools, 6u);
    daemon.signal(SIGTERM);
    EXPECT_EQ(daemon.wait_for_exit(), 255);
}

// Signals reach the thread that waits for the rest of a tool's output: every line arrives.
TEST_F(signals, HangupsLoseNoLineOfAToolsOutput) {
    world.csman.set(wan_enable, 1);
    const std::string go = world.folder_of("go");
    world.tool("ifconfig", "echo 'lo Link encap:Local'\nwhile ! [ -e " + go + " ]; do sleep 0.01; done\n" +
                               "echo 'eth0 Link encap:Ethernet'");
    daemon_process daemon(world);
    ASSERT_TRUE(daemon.run_for(0.5));
    daemon.time().wake_next(); // the server thread, into its first cycle, up to its pause after starting the tool
    ASSERT_TRUE(daemon.settle());
    daemon.time().wake_next();
    for (int i = 0; i < 20; ++i) {
        for (int ms = 0; !daemon.time().in_tool(1); ++ms) { // at first, and again after each signal
            ASSERT_LT(ms, 20000);
            usleep(1000);
        }
        daemon.signal(SIGHUP, 1);
    }
    std::ofstream(go) << "go";
    ASSERT_TRUE(daemon.run_for(10));
    EXPECT_EQ(count_of(daemon.output_lines(), hangup), 20);
    EXPECT_THAT(daemon.output(), Not(HasSubstr("is dead")));
    EXPECT_THAT(daemon.output(), Not(HasSubstr("SOMETHING ERROR")));
}

} // namespace
} // namespace dashboard::testing
