// How the daemon starts: options, files, its lock, its parent; and what makes it end at once.
#include "tests/daemon/daemon_fixture.h"

#include <gmock/gmock.h>

#include <cerrno>
#include <csignal>
#include <cstring>
#include <fcntl.h>
#include <filesystem>
#include <fstream>

namespace dashboard::testing {
namespace {

using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::Not;

using LifeCycle = daemon_test;

std::vector<std::string> command_texts(const test_world& world) {
    std::vector<std::string> texts;
    for (const runner_command& one : world.commands()) {
        texts.push_back(one.file + " " + one.func + " " + one.command);
    }
    return texts;
}

// Signals that the process's main thread blocks, as a mask.
uint64_t blocked_signals(pid_t pid) {
    std::ifstream status("/proc/" + std::to_string(pid) + "/status");
    for (std::string line; std::getline(status, line);) {
        if (line.rfind("SigBlk:", 0) == 0) {
            return std::stoull(line.substr(7), nullptr, 16);
        }
    }
    return 0;
}

uint64_t bit(int signal) {
    return uint64_t{1} << (signal - 1);
}

TEST_F(LifeCycle, WritesItsProcessIdIntoThePidFileAndEndsItsParentWithZero) {
    daemon_process daemon(world, {});
    ASSERT_TRUE(daemon.run_for(3));
    EXPECT_EQ(daemon.parent_status(), 0);
    EXPECT_NE(daemon.pid(), daemon.parent_pid());
    EXPECT_EQ(world.read(pid_file), std::to_string(daemon.pid()) + "\n");
    EXPECT_EQ(world.mode(pid_file), 0600u);
    EXPECT_EQ(daemon.output(), "");
    EXPECT_EQ(daemon.errors(), "");
    EXPECT_THAT(world.calls("setsid"), ElementsAre(""));
    EXPECT_THAT(world.calls("chdir"), ElementsAre("/tmp/"));
}

// The file is neither truncated nor removed: what stood behind the number stays.
TEST_F(LifeCycle, WritesOverTheFrontOfAnOldPidFile) {
    world.file(pid_file, "12345678901234567890\nrest\n");
    daemon_process daemon(world, {});
    ASSERT_TRUE(daemon.run_for(1));
    const std::string number = std::to_string(daemon.pid()) + "\n";
    EXPECT_EQ(world.read(pid_file), number + std::string("12345678901234567890\nrest\n").substr(number.size()));
}

TEST_F(LifeCycle, MakesItsFolderThroughTheRunnerFirstOfAll) {
    daemon_process daemon(world, {});
    ASSERT_TRUE(daemon.run_for(1));
    EXPECT_THAT(command_texts(world), ElementsAre("dashboard_main main mkdir -p /tmp/dashboard/"));
    EXPECT_EQ(world.commands().at(0).pid, daemon.parent_pid());
    EXPECT_TRUE(world.exists("/tmp/dashboard"));
}

TEST_F(LifeCycle, MakesItsFolderOnceMoreWhenItIsStillMissing) {
    world.fail("exec", 0, "mkdir -p");
    daemon_process daemon(world, {});
    ASSERT_TRUE(daemon.run_for(1));
    EXPECT_THAT(command_texts(world), ElementsAre("dashboard_main main mkdir -p /tmp/dashboard/",
                                                  "dashboard_main main mkdir /tmp/dashboard/"));
    EXPECT_EQ(daemon.errors(), "");
}

TEST_F(LifeCycle, OpensTheSystemLogAsDashboard) {
    daemon_process daemon(world, {});
    ASSERT_TRUE(daemon.run_for(1));
    EXPECT_THAT(world.calls("setlogmask"), ElementsAre("127"));
    EXPECT_THAT(world.calls("openlog"), ElementsAre("Dashboard 0 8"));
}

TEST_F(LifeCycle, PublishesWithTheModesThatItsUmaskLeaves) {
    world.csman.set(wan_enable, 1);
    daemon_process daemon(world, {});
    ASSERT_TRUE(daemon.run_for(3));
    EXPECT_EQ(world.mode(wan_sec_path), 0640u);
}

TEST_F(LifeCycle, WorksInTmpAndBlocksTheTerminalsSignals) {
    if (std::strlen(DASHBOARD_EMULATOR) != 0) {
        GTEST_SKIP() << "the emulator's own process shows other signals";
    }
    daemon_process daemon(world, {});
    ASSERT_TRUE(daemon.run_for(3));
    EXPECT_EQ(std::filesystem::read_symlink("/proc/" + std::to_string(daemon.pid()) + "/cwd"), world.real_path("/tmp"));
    const uint64_t blocked = blocked_signals(daemon.pid());
    EXPECT_EQ(blocked, bit(SIGCHLD) | bit(SIGTSTP) | bit(SIGTTOU) | bit(SIGTTIN));
}

TEST_F(LifeCycle, LogcLogsOnTheConsole) {
    daemon_process daemon(world, {"logc"});
    ASSERT_TRUE(daemon.run_for(2));
    EXPECT_EQ(daemon.output().rfind("enable console debuging\nlog[term_monitor_cb]: term_mc idx=0\n", 0), 0u)
        << daemon.output();
    EXPECT_THAT(world.syslog_lines(), IsEmpty());
}

TEST_F(LifeCycle, LogsLogsToTheSystemLog) {
    daemon_process daemon(world, {"logs"});
    ASSERT_TRUE(daemon.run_for(2));
    EXPECT_EQ(daemon.output(), "enable syslog debuging\n");
    EXPECT_THAT(without_line_numbers(world.calls("syslog").at(0)), "5 log[term_monitor_cb]: term_mc idx=0");
}

TEST_F(LifeCycle, LastWordAboutTheLogWins) {
    daemon_process daemon(world, {"logc", "logs"});
    ASSERT_TRUE(daemon.run_for(2));
    EXPECT_EQ(daemon.output(), "enable console debuging\nenable syslog debuging\n");
    EXPECT_THAT(world.syslog_lines(), Not(IsEmpty()));
}

TEST_F(LifeCycle, ConsoleComesBackWhenItsWordIsLast) {
    daemon_process daemon(world, {"logs", "logc"});
    ASSERT_TRUE(daemon.run_for(2));
    EXPECT_THAT(daemon.output(), HasSubstr("term_mc idx=0"));
    EXPECT_THAT(world.syslog_lines(), IsEmpty());
}

TEST_F(LifeCycle, UnknownWordsAreIgnored) {
    daemon_process daemon(world, {"logC", "", "--help", "logc2", "delay"});
    ASSERT_TRUE(daemon.run_for(5));
    EXPECT_EQ(daemon.output(), "");
    EXPECT_EQ(daemon.errors(), "");
    EXPECT_THAT(world.syslog_lines(), IsEmpty());
    EXPECT_THAT(world.calls("csman"), Not(IsEmpty()));
}

TEST_F(LifeCycle, DelaystartWaitsTwentySecondsForTheThreads) {
    daemon_process daemon(world, {"delaystart"});
    ASSERT_TRUE(daemon.run_for(19.9));
    EXPECT_EQ(daemon.time().tid(1), 0);
    EXPECT_TRUE(world.exists(pid_file));
    ASSERT_TRUE(daemon.run_for(0.2));
    EXPECT_NE(daemon.time().tid(1), 0);
    EXPECT_EQ(daemon.time().tid(2), 0);
    ASSERT_TRUE(daemon.run_for(1));
    EXPECT_NE(daemon.time().tid(2), 0);
}

TEST_F(LifeCycle, SecondInstanceEndsAtTheLock) {
    daemon_process first(world, {});
    ASSERT_TRUE(first.run_for(2));
    const std::string pid_text = world.read(pid_file);
    test_world second_world(&world);
    {
        daemon_process second(second_world, {});
        EXPECT_EQ(second.wait_for_exit(), 1);
        EXPECT_EQ(second.parent_status(), 0);
        const std::string message =
            "fatal[daemonize]: Could not lock PID lock file /var/run/dashboard_daemon.pid, exiting";
        EXPECT_EQ(second.output(), message + "\n");
        EXPECT_EQ(without_line_numbers(second_world.syslog_lines().at(0)), message);
    }
    EXPECT_EQ(world.read(pid_file), pid_text);
    EXPECT_TRUE(first.run_for(20));
}

TEST_F(LifeCycle, LockIsFreeAgainWhenTheHolderHasEnded) {
    {
        daemon_process first(world, {});
        ASSERT_TRUE(first.run_for(2));
        first.signal(SIGTERM);
        ASSERT_EQ(first.wait_for_exit(), 255);
    }
    EXPECT_TRUE(world.exists(pid_file));
    test_world second_world(&world);
    second_world.usual_inputs();
    daemon_process second(second_world, {});
    EXPECT_TRUE(second.run_for(10));
}

TEST_F(LifeCycle, WithoutAPidFileItEndsWithAMessage) {
    world.remove("/var/run");
    daemon_process daemon(world, {});
    EXPECT_EQ(daemon.wait_for_exit(), 1);
    EXPECT_EQ(daemon.output(),
              "fatal[daemonize]: Could not open PID lock file /var/run/dashboard_daemon.pid, exiting\n");
    EXPECT_THAT(world.syslog_lines().size(), 1u);
}

TEST_F(LifeCycle, WithoutAMutexItEndsBeforeItForks) {
    world.fail("pthread_mutex_init", ENOMEM);
    daemon_process daemon(world, {});
    EXPECT_EQ(daemon.parent_status(), 1);
    EXPECT_EQ(daemon.pid(), daemon.parent_pid());
    EXPECT_EQ(daemon.output(), "fatal[main]: Mutex initiation error!\n");
    EXPECT_FALSE(world.exists(pid_file));
}

TEST_F(LifeCycle, FailedForkEndsIt) {
    world.fail("fork", EAGAIN);
    daemon_process daemon(world);
    EXPECT_EQ(daemon.parent_status(), 1);
    EXPECT_EQ(daemon.output(), "enable console debuging\n");
    EXPECT_FALSE(world.exists(pid_file));
}

TEST_F(LifeCycle, FailedSetsidEndsIt) {
    world.fail("setsid", EPERM);
    daemon_process daemon(world);
    EXPECT_EQ(daemon.wait_for_exit(), 1);
    EXPECT_EQ(daemon.parent_status(), 0);
    EXPECT_EQ(daemon.output(), "enable console debuging\n");
    EXPECT_FALSE(world.exists(pid_file));
}

TEST_F(LifeCycle, HandlersThatCannotBeInstalledAreReportedAndForgotten) {
    for (const int signal : {SIGHUP, SIGTERM, SIGINT}) {
        world.fail("sigaction", EINVAL, strsignal(signal));
    }
    daemon_process daemon(world);
    ASSERT_TRUE(daemon.run_for(10));
    EXPECT_EQ(daemon.output().rfind("enable console debuging\n"
                                    "warn[daemonize]: can't catch SIGHUP\n"
                                    "warn[daemonize]: can't catch SIGTERM\n"
                                    "warn[daemonize]: can't catch SIGINT\n",
                                    0),
              0u)
        << daemon.output();
    daemon.send_signal(SIGHUP);
    EXPECT_EQ(daemon.wait_for_exit(), killed_by(SIGHUP));
}

TEST_F(LifeCycle, ChildOfInitStaysInTheForegroundWithoutAPidFile) {
    world.parent_id(1);
    daemon_process daemon(world, {"logc"});
    ASSERT_TRUE(daemon.run_for(30));
    EXPECT_EQ(daemon.pid(), daemon.parent_pid());
    EXPECT_FALSE(world.exists(pid_file));
    EXPECT_THAT(world.calls("setsid"), IsEmpty());
    EXPECT_THAT(world.calls("chdir"), IsEmpty());
    EXPECT_THAT(daemon.output(), HasSubstr("term_mc idx=2\n"));
    EXPECT_THAT(world.calls("popen"), ::testing::Contains("re mpstat -P ALL 1 2"));
    daemon.send_signal(SIGTERM);
    EXPECT_EQ(daemon.wait_for_exit(), 1000 + SIGTERM);
}

} // namespace
} // namespace dashboard::testing
