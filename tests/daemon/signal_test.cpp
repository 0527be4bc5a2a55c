// Signals, in every state that the daemon can be in.
#include "tests/daemon/daemon_fixture.h"

#include <gmock/gmock.h>

#include <algorithm>
#include <chrono>
#include <csignal>
#include <fstream>
#include <unistd.h>

namespace dashboard::testing {
namespace {

using ::testing::HasSubstr;
using ::testing::Not;

using Signals = daemon_test;

// Two seconds are promised, five were taken by the steps of a shutdown before. Between the two, since a busy machine
// adds to it, and the thread sanitizer sleeps a second before each end.
constexpr auto longest_farewell = std::chrono::milliseconds(4500);

constexpr char hangup[] = "warn[signal_handler]: Received SIGHUP signal.";

int64_t count_of(const std::vector<std::string>& lines, const std::string& line) {
    return std::count(lines.begin(), lines.end(), line);
}

TEST_F(Signals, TermEndsItWithStatus255) {
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

TEST_F(Signals, IntEndsItWithStatus255) {
    daemon_process daemon(world, {"logs"});
    ASSERT_TRUE(daemon.run_for(60));
    daemon.signal(SIGINT);
    EXPECT_EQ(daemon.wait_for_exit(), 255);
    EXPECT_EQ(without_line_numbers(world.syslog_lines().back()), "warn[signal_handler]: Daemon exiting");
}

TEST_F(Signals, TermOnAWorkerEndsTheWholeDaemon) {
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

TEST_F(Signals, TermEndsItBetweenTheStartsOfTheThreads) {
    daemon_process daemon(world);
    ASSERT_TRUE(daemon.run_for(0.5));
    daemon.signal(SIGTERM);
    EXPECT_EQ(daemon.wait_for_exit(), 255);
}

TEST_F(Signals, TermEndsItDuringADelayedStart) {
    daemon_process daemon(world, {"delaystart"});
    ASSERT_TRUE(daemon.run_for(10));
    daemon.signal(SIGTERM);
    EXPECT_EQ(daemon.wait_for_exit(), 255);
}

TEST_F(Signals, TermEndsItWhileTheStoreBlocks) {
    daemon_process daemon(world);
    ASSERT_TRUE(daemon.run_for(60));
    world.csman.block_reads(daemon_enable);
    while (!daemon.time().stalled(1)) {
        ASSERT_TRUE(daemon.run_one_second());
    }
    daemon.signal(SIGTERM);
    EXPECT_EQ(daemon.wait_for_exit(), 255);
}

TEST_F(Signals, TermEndsItWhileAToolHangs) {
    daemon_process daemon(world);
    ASSERT_TRUE(daemon.run_for(20));
    world.hanging_tool("mpstat");
    while (!daemon.time().stalled(2)) {
        ASSERT_TRUE(daemon.run_one_second());
    }
    daemon.signal(SIGTERM);
    EXPECT_EQ(daemon.wait_for_exit(), 255);
}

TEST_F(Signals, TermEndsItInBothGracePeriods) {
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

// Ends the daemon with SIGTERM while its main thread is stuck.
void expect_quick_end(daemon_process& daemon, int signal_number = SIGTERM) {
    const auto begin = std::chrono::steady_clock::now();
    daemon.send_signal(signal_number);
    EXPECT_EQ(daemon.wait_for_exit(), 255);
    EXPECT_LT(std::chrono::steady_clock::now() - begin, longest_farewell);
}

void wait_until_stuck(daemon_process& daemon, uint32_t thread) {
    while (!daemon.time().stalled(thread)) {
        usleep(1000);
    }
}

TEST_F(Signals, TermEndsItWhileTheReportOfAHangupIsStuck) {
    daemon_process daemon(world, {"logs"});
    ASSERT_TRUE(daemon.run_for(20));
    world.block_syslog();
    daemon.send_signal(SIGHUP);
    wait_until_stuck(daemon, 0);
    expect_quick_end(daemon);
}

#ifdef __SANITIZE_THREAD__
#define SKIP_WHERE_HANDLERS_DO_NOT_NEST()                                                                              \
    GTEST_SKIP() << "the thread sanitizer keeps a signal back from a thread that is in the handler of another"
#else
#define SKIP_WHERE_HANDLERS_DO_NOT_NEST()
#endif

// What comes while the main thread acts on another is noted, and has its turn as soon as that is done.
TEST_F(Signals, TermDuringTheReportOfAHangupHasItsTurnBehindIt) {
    SKIP_WHERE_HANDLERS_DO_NOT_NEST();
    daemon_process daemon(world, {"logs"});
    ASSERT_TRUE(daemon.run_for(20));
    world.block_syslog();
    daemon.send_signal(SIGHUP);
    wait_until_stuck(daemon, 0);
    daemon.signal(SIGTERM, 0);
    world.free_syslog();
    EXPECT_EQ(daemon.wait_for_exit(), 255);
    EXPECT_THAT(without_line_numbers(world.syslog_lines().back()), "warn[signal_handler]: Daemon exiting");
}

TEST_F(Signals, TermEndsItWhileAReportIsStuckAndThereIsNoWorkerYet) {
    SKIP_WHERE_HANDLERS_DO_NOT_NEST();
    daemon_process daemon(world, {"logs", "delaystart"});
    ASSERT_TRUE(daemon.run_for(5));
    world.block_syslog();
    daemon.send_signal(SIGHUP);
    wait_until_stuck(daemon, 0);
    expect_quick_end(daemon);
}

TEST_F(Signals, ManyTermsEndItNoLaterThanTheFirst) {
    daemon_process daemon(world, {"logs"});
    ASSERT_TRUE(daemon.run_for(20));
    world.block_syslog();
    daemon.send_signal(SIGHUP);
    wait_until_stuck(daemon, 0);
    const auto begin = std::chrono::steady_clock::now();
    while (!daemon.ended() && std::chrono::steady_clock::now() - begin < 2 * longest_farewell) {
        daemon.send_signal(SIGTERM);
        usleep(100'000);
    }
    EXPECT_EQ(daemon.wait_for_exit(), 255);
    EXPECT_LT(std::chrono::steady_clock::now() - begin, longest_farewell);
}

TEST_F(Signals, WorkersLiveOnWhileTheReportOfAHangupIsStuck) {
    world.csman.set(wan_enable, 1);
    daemon_process daemon(world, {"logs"});
    ASSERT_TRUE(daemon.run_for(20));
    world.block_syslog();
    daemon.send_signal(SIGHUP);
    wait_until_stuck(daemon, 0);
    world.csman.set(wan_view, 1);
    ASSERT_TRUE(daemon.run_for(60));
    EXPECT_THAT(world.read(wan_sec_path), HasSubstr("<time>" + std::to_string(world.clock.now()) + "000</time>"));
}

TEST_F(Signals, TermEndsItWhileTheWatchdogsReportIsStuck) {
    world.csman.block_open();
    daemon_process daemon(world, {"logs"});
    ASSERT_TRUE(daemon.run_for(5));
    world.block_syslog();
    ASSERT_TRUE(daemon.run_for(1.5));
    ASSERT_TRUE(daemon.time().stalled(0));
    expect_quick_end(daemon);
}

TEST_F(Signals, TermEndsItWhileTheStoreDoesNotClose) {
    world.csman.block_close();
    world.csman.block_reads(wan_enable);
    daemon_process daemon(world);
    ASSERT_TRUE(daemon.run_for(20));
    ASSERT_TRUE(daemon.time().stalled(0));
    EXPECT_EQ(world.calls("csman").back(), "close 7");
    expect_quick_end(daemon, SIGINT);
}

// The last step of an orderly shutdown, which would end with 0.
TEST_F(Signals, TermWhileTheStoreClosesIsNotForgotten) {
    world.csman.slow_close(1);
    world.csman.block_reads(wan_enable);
    daemon_process daemon(world);
    ASSERT_TRUE(daemon.run_for(10.5));
    ASSERT_EQ(world.calls("csman").back(), "close 7");
    daemon.signal(SIGTERM);
    EXPECT_EQ(daemon.run_to_exit(2), 255);
    EXPECT_EQ(daemon.output_lines().back(), "warn[signal_handler]: Daemon exiting");
}

TEST_F(Signals, HangupWhileTheStoreClosesChangesNothing) {
    world.csman.slow_close(1);
    world.csman.block_reads(wan_enable);
    daemon_process daemon(world);
    ASSERT_TRUE(daemon.run_for(10.5));
    ASSERT_EQ(world.calls("csman").back(), "close 7");
    daemon.signal(SIGHUP);
    EXPECT_EQ(daemon.run_to_exit(2), 0);
}

// One that nobody expects does what it does to any process.
TEST_F(Signals, AlarmIsAsBeforeAfterAHangup) {
    daemon_process daemon(world);
    ASSERT_TRUE(daemon.run_for(10));
    daemon.signal(SIGHUP);
    ASSERT_TRUE(daemon.run_for(10));
    daemon.send_signal(SIGALRM);
    EXPECT_EQ(daemon.wait_for_exit(), killed_by(SIGALRM));
}

TEST_F(Signals, AlarmIsAsBeforeInTheGracePeriodsOfAShutdown) {
    world.csman.block_open();
    daemon_process daemon(world);
    ASSERT_TRUE(daemon.run_for(7));
    ASSERT_THAT(daemon.output(), HasSubstr("server thread timeout event!"));
    daemon.send_signal(SIGALRM);
    EXPECT_EQ(daemon.wait_for_exit(), killed_by(SIGALRM));
}

TEST_F(Signals, HangupOnlyLogs) {
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
TEST_F(Signals, StormOfHangupsShortensNothing) {
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
TEST_F(Signals, HangupsLoseNoLineOfAToolsOutput) {
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
