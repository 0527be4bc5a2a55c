// The built program on a router of its own: its words, what it prints, and how it ends.
#include "base/dashboard_version.h"
#include "dashboardctl_program.h"
#include "lock_holder.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cerrno>
#include <cstdlib>
#include <fcntl.h>
#include <sys/ioctl.h>
#include <unistd.h>

namespace dashboard::testing {
namespace {

using namespace std::string_literals;
using ::testing::AllOf;
using ::testing::HasSubstr;
using ::testing::Not;
using ::testing::StartsWith;

constexpr int for_ever = -1;
constexpr uint32_t daemon_enable = 0x00150780;
const std::string sample = "<?xml version=\"1.0\" ?>\n<datalist>\n    <time>1700000000000</time>\n"
                           "    <mem_usage>1</mem_usage>\n</datalist>\n";

class Dashboardctl : public ::testing::Test {
protected:
    Dashboardctl() { world.csman.set(daemon_enable, 1); }

    program_result run(const std::vector<std::string>& words) const { return run_dashboardctl(world, words); }

    // Other daemons of this machine are not to be found.
    void hide_processes() { world.fail("open", EACCES, "/proc", for_ever); }

    void expect_refused(const std::vector<std::string>& words, const std::string& why) const {
        const program_result result = run(words);
        EXPECT_EQ(result.status, 3);
        EXPECT_EQ(result.output, "dashboardctl: " + why + "; see dashboardctl --help\n");
    }

    test_world world;
};

TEST_F(Dashboardctl, TellsItsWords) {
    for (const char* word : {"--help", "-h", "help"}) {
        const program_result result = run({word});
        EXPECT_EQ(result.status, 0);
        EXPECT_THAT(result.output, StartsWith("Usage: dashboardctl status [--json] [--watch]\n"));
    }
}

TEST_F(Dashboardctl, RefusesOtherWords) {
    expect_refused({}, "no command");
    expect_refused({"dance"}, "unknown command 'dance'");
    expect_refused({"status", "--dance"}, "unknown option '--dance'");
    expect_refused({"doctor", "now"}, "doctor takes no options");
    expect_refused({"version", "--json"}, "version takes no options");
}

TEST_F(Dashboardctl, ShowsADaemonThatIsNotWell) {
    world.file(pid_lock_file, "");
    world.file("/tmp/dashboard/mem_usage_sec_0.xml", sample);
    const lock_holder holder; // without the threads of a daemon
    const program_result result = run({"status"});
    EXPECT_EQ(result.status, 1);
    EXPECT_THAT(result.output, AllOf(HasSubstr(": degraded\n"), HasSubstr(std::to_string(holder.child) + ", up "),
                                     HasSubstr("lock       held (/var/run/dashboard_daemon.pid)\n"),
                                     HasSubstr("store      open, daemon switched on\n"),
                                     HasSubstr("documents  1 in /tmp/dashboard, "), Not(HasSubstr("\033"))));
    EXPECT_THAT(run({"status", "--json"}).output, StartsWith("{\"status\": \"degraded\", \"time\": "));
}

TEST_F(Dashboardctl, TellsThatNoDaemonRuns) {
    hide_processes();
    world.csman.fail_open(1);
    const program_result result = run({"status"});
    EXPECT_EQ(result.status, 2);
    EXPECT_EQ(result.output.substr(0, result.output.find("\nMODULE")),
              "dashboard: not running\n"
              "process    none\n"
              "lock       none\n"
              "store      cannot be opened\n"
              "documents  0 in /tmp/dashboard, 0 B, all whole\n"
              "warnings   no system log here that could be read\n");
}

TEST_F(Dashboardctl, ShowsTheLastWarningsOfTheSystemLog) {
    world.file("/var/log/messages", "Nov 21 13:02:12 r Dashboard: warn[main_netdev_alive:80]: SOMETHING ERROR\n");
    EXPECT_THAT(run({"status"}).output,
                HasSubstr("warnings   the last in /var/log/messages:\n"
                          "  Nov 21 13:02:12 r Dashboard: warn[main_netdev_alive:80]: SOMETHING ERROR\n"));
}

TEST_F(Dashboardctl, WatchesUntilNobodyReads) {
    world.file(pid_lock_file, "");
    const lock_holder holder;
    int ends[2];
    ASSERT_EQ(pipe2(ends, O_CLOEXEC), 0);
    const int64_t start = world.clock.now();
    const pid_t child = start_dashboardctl(world, {"status", "--watch"}, ends[1]);
    close(ends[1]);
    const std::string shown = read_until(ends[0], "\n\ndashboard", 2); // an empty line between two
    close(ends[0]);
    EXPECT_EQ(end_of(child), 1) << "the last verdict";
    EXPECT_THAT(shown, HasSubstr(": degraded\n"));
    EXPECT_GE(world.clock.now() - start, 4);
}

TEST_F(Dashboardctl, WatchesOnATerminal) {
    world.file(pid_lock_file, "");
    const lock_holder holder;
    const int terminal = posix_openpt(O_RDWR | O_NOCTTY | O_CLOEXEC);
    ASSERT_GE(terminal, 0);
    ASSERT_EQ(grantpt(terminal), 0);
    ASSERT_EQ(unlockpt(terminal), 0);
    winsize size = {};
    size.ws_col = 44;
    ASSERT_EQ(ioctl(terminal, TIOCSWINSZ, &size), 0);
    const int output = open(ptsname(terminal), O_RDWR | O_NOCTTY | O_CLOEXEC);
    ASSERT_GE(output, 0);
    const pid_t child = start_dashboardctl(world, {"status", "--watch"}, output, {"TERM=xterm"});
    close(output);
    const std::string shown = read_until(terminal, "\033[H\033[2J", 2);
    close(terminal);
    EXPECT_EQ(end_of(child), 1);
    EXPECT_THAT(shown, StartsWith("\033[H\033[2Jdashboard"));
    EXPECT_THAT(shown, AllOf(HasSubstr("\033[33mdegraded\033[0m"), Not(HasSubstr("SIZE"))));
}

TEST_F(Dashboardctl, KnowsTheVersions) {
    world.file(pid_lock_file, "");
    world.file("/usr/sbin/dashboard", "code@(#)dashboard 9.8.7\0more"s);
    const lock_holder holder;
    const program_result result = run({"version"});
    EXPECT_EQ(result.status, 0);
    EXPECT_THAT(result.output, StartsWith("dashboardctl "s + version_of_dashboard() + "\nrunning: dashboard "));
    EXPECT_THAT(result.output, HasSubstr("(process " + std::to_string(holder.child) +
                                         ")\n"
                                         "installed: dashboard 9.8.7 (/usr/sbin/dashboard)\n"));
    hide_processes();
    world.remove("/usr/sbin/dashboard");
    world.remove(pid_lock_file);
    EXPECT_EQ(run({"--version"}).output, "dashboardctl "s + version_of_dashboard() + "\n");
}

TEST_F(Dashboardctl, DoctorSaysWhatMendsIt) {
    hide_processes();
    world.file("/usr/lib/dashboard/bin/freemem", "");
    world.folder("/tmp/dashboard");
    const program_result result = run({"doctor"});
    EXPECT_EQ(result.status, 1);
    EXPECT_THAT(result.output, AllOf(StartsWith("WRONG no daemon runs\n      mend: /etc/init.d/dashboard start\n"),
                                     HasSubstr("ok    /tmp/dashboard is there and writable\n"),
                                     HasSubstr("note  no web server was found running")));
    EXPECT_THAT(result.output, ::testing::ContainsRegex("\n[0-9]+ of [0-9]+ wrong\n"));
}

TEST_F(Dashboardctl, DoctorCountsTheThreads) {
    world.file(pid_lock_file, "");
    const lock_holder holder;
    world.fail("open", EACCES, "environ", for_ever); // its tools are found as this program's are
    EXPECT_THAT(run({"doctor"}).output,
                AllOf(StartsWith("ok    the daemon runs: process " + std::to_string(holder.child) + "\n"),
                      HasSubstr(" of its threads live, there should be 3\n"),
                      HasSubstr("mend: wait ten seconds; then /etc/init.d/dashboard restart\n")));
}

} // namespace
} // namespace dashboard::testing
