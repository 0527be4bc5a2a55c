// Into the background: fork, session, PID lock.
#include "core/dashboard_daemon.h"

#include "core/dashboard_flags.h"
#include "core/dashboard_signal.h"
#include "tests/unit/heard_messages.h"
#include "tests/unit/own_process.h"

#include <gmock/gmock.h>

#include <algorithm>
#include <cerrno>
#include <climits>
#include <csignal>
#include <cstdlib>
#include <fcntl.h>
#include <sys/stat.h>

namespace dashboard::testing {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

constexpr char pid_file[] = "/var/run/dashboard_daemon.pid";

struct statuses {
    int caller;      // how the process that called daemonize ended
    int daemon = -1; // how its child ended; -1 when there was none
};

pid_t caller;
int report;

// The caller's last act, inside its exit: waits for the daemon, which it could not do once it is gone.
void report_on_daemon() {
    int status = 0;
    if (getpid() != caller || wait(&status) < 0) {
        return;
    }
    status = WIFEXITED(status) ? WEXITSTATUS(status) : -WTERMSIG(status);
    [[maybe_unused]] const ssize_t written = write(report, &status, sizeof status);
}

class Daemonize : public ::testing::Test {
protected:
    // Calls daemonize in a child of the test; `body` runs in what becomes of it.
    template <class Body>
    statuses daemonized(Body body) {
        int ends[2];
        EXPECT_EQ(pipe2(ends, O_CLOEXEC | O_NONBLOCK), 0);
        report = ends[1];
        statuses result{status_of_child([&] {
            caller = getpid();
            atexit(report_on_daemon);
            daemonize("/tmp/", pid_file);
            body();
        })};
        int status = 0;
        if (read(ends[0], &status, sizeof status) == sizeof status) {
            result.daemon = status;
        }
        close(ends[0]);
        close(ends[1]);
        return result;
    }
    template <class Body>
    void in_daemon(Body body) {
        const statuses result = daemonized(body);
        EXPECT_EQ(result.caller, 0);
        EXPECT_EQ(result.daemon, 0) << "what failed was printed by the daemon";
    }

    listening_world world;
};

bool is_blocked(const sigset_t& mask, std::initializer_list<int> signals) {
    for (const int signal_number : signals) {
        if (sigismember(&mask, signal_number) != 1) {
            return false;
        }
    }
    return true;
}

TEST_F(Daemonize, LeavesItsParentAndLeadsASessionInTheWorkingFolder) {
    const pid_t test = getpid();
    in_daemon([&] {
        EXPECT_NE(getpid(), test);
        EXPECT_EQ(getsid(0), getpid());
        EXPECT_EQ(getpgid(0), getpid());
        EXPECT_EQ(umask(0), 027u);
        char folder[PATH_MAX] = "";
        char expected[PATH_MAX] = "";
        EXPECT_STREQ(getcwd(folder, sizeof folder), realpath(world.real_path("/tmp").c_str(), expected));
        EXPECT_THAT(world.calls("chdir"), ElementsAre("/tmp/"));
        EXPECT_THAT(world.messages(), IsEmpty());
    });
}

// Asked from another process: one that closes any descriptor of the file gives its own lock up.
bool can_lock(const std::string& path) {
    const int status = status_of_child([&] {
        const int other = open(path.c_str(), O_RDWR | O_CLOEXEC);
        _exit(lockf(other, F_TLOCK, 0) == 0 ? 1 : 0);
    });
    return status == 1;
}

TEST_F(Daemonize, WritesItsNumberIntoTheLockFile) {
    in_daemon([&] {
        EXPECT_EQ(world.read(pid_file), std::to_string(getpid()) + "\n");
        EXPECT_EQ(world.mode(pid_file), 0600u);
        EXPECT_GE(pidFilehandle, 0);
        EXPECT_EQ(fcntl(pidFilehandle, F_GETFD) & FD_CLOEXEC, FD_CLOEXEC);
        EXPECT_EQ(fcntl(pidFilehandle, F_GETFL) & O_ACCMODE, O_RDWR);
    });
    EXPECT_TRUE(world.exists(pid_file));
}

TEST_F(Daemonize, HoldsTheLockUntilTheMainQuitFlagIsSet) {
    in_daemon([&] {
        EXPECT_THAT(world.calls("lockf"), ElementsAre(std::to_string(F_TLOCK) + " 0"));
        EXPECT_FALSE(can_lock(world.real_path(pid_file)));
        set_main_quit_flag();
        EXPECT_TRUE(can_lock(world.real_path(pid_file)));
    });
}

TEST_F(Daemonize, DoesNotTruncateTheLockFile) {
    world.file(pid_file, "an old text of some length\n");
    in_daemon([&] {
        const std::string number = std::to_string(getpid()) + "\n";
        EXPECT_EQ(world.read(pid_file), number + std::string("an old text of some length\n").substr(number.size()));
    });
}

// Descriptors behind the standard ones that lead to /dev/null.
std::vector<int> null_devices() {
    struct stat null_device {};
    stat("/dev/null", &null_device);
    std::vector<int> found;
    for (int fd = 3; fd < 256; ++fd) {
        struct stat about {};
        if (fstat(fd, &about) == 0 && S_ISCHR(about.st_mode) && about.st_rdev == null_device.st_rdev) {
            found.push_back(fd);
        }
    }
    return found;
}

TEST_F(Daemonize, AddsThreeNullDevicesThatToolsDoNotInherit) {
    const std::vector<int> before = null_devices();
    in_daemon([&before] {
        int added = 0;
        for (const int fd : null_devices()) {
            const bool is_new = std::find(before.begin(), before.end(), fd) == before.end();
            added += is_new && (fcntl(fd, F_GETFD) & FD_CLOEXEC) == FD_CLOEXEC ? 1 : 0;
        }
        EXPECT_EQ(added, 3);
    });
}

TEST_F(Daemonize, KeepsTheStandardDescriptors) {
    std::string heard;
    {
        const captured_output console(1);
        in_daemon([] { printf("still heard\n"); });
        heard = console.text();
    }
    EXPECT_EQ(heard, "still heard\n");
}

TEST_F(Daemonize, HandlesThreeSignalsAndBlocksThoseOfTheTerminal) {
    sigset_t before;
    sigset_t held;
    sigemptyset(&held);
    sigaddset(&held, SIGTERM); // as a careless parent may leave it
    pthread_sigmask(SIG_BLOCK, &held, &before);
    in_daemon([] {
        for (const int signal_number : {SIGHUP, SIGTERM, SIGINT}) {
            struct sigaction action {};
            sigaction(signal_number, nullptr, &action);
            EXPECT_EQ(action.sa_handler, signal_handler) << signal_number;
            EXPECT_EQ(static_cast<unsigned>(action.sa_flags) & (SA_RESTART | SA_SIGINFO | SA_RESETHAND), 0u)
                << signal_number;
        }
        sigset_t mask;
        pthread_sigmask(SIG_SETMASK, nullptr, &mask);
        EXPECT_TRUE(is_blocked(mask, {SIGCHLD, SIGTSTP, SIGTTOU, SIGTTIN}));
        EXPECT_FALSE(is_blocked(mask, {SIGHUP}));
        EXPECT_FALSE(is_blocked(mask, {SIGTERM}));
        EXPECT_FALSE(is_blocked(mask, {SIGINT}));
    });
    pthread_sigmask(SIG_SETMASK, &before, nullptr);
}

TEST_F(Daemonize, ActsOnASignalThatCameTooEarlyAsSoonAsItWaits) {
    in_daemon([&] {
        raise(SIGHUP);
        EXPECT_THAT(world.messages(), IsEmpty());
        wait_for_signals(1);
        EXPECT_THAT(world.messages(), ElementsAre("warn[signal_handler]: Received SIGHUP signal."));
    });
}

TEST_F(Daemonize, DoesNotForkWhenItIsToldToEndBefore) {
    const int status = status_of_child([] {
        sigset_t held;
        sigemptyset(&held);
        sigaddset(&held, SIGTERM);
        pthread_sigmask(SIG_BLOCK, &held, nullptr);
        raise(SIGTERM);
        daemonize("/tmp/", pid_file);
        _exit(42);
    });
    EXPECT_EQ(status, 255);
    EXPECT_FALSE(world.exists(pid_file));
    EXPECT_THAT(world.messages(), ElementsAre("warn[signal_handler]: Daemon exiting"));
}

TEST_F(Daemonize, SurvivesAConsoleThatGoesAwayAndLeavesToolsTheDefault) {
    in_daemon([] {
        raise(SIGPIPE);
        struct sigaction action {};
        sigaction(SIGPIPE, nullptr, &action);
        EXPECT_NE(action.sa_handler, SIG_IGN); // which tools would inherit
    });
}

TEST_F(Daemonize, GoesOnWithoutAHandlerThatCannotBeInstalled) {
    struct refused {
        int signal_number;
        const char* message;
    };
    for (const refused& one : {refused{SIGHUP, "warn[daemonize]: can't catch SIGHUP"},
                               {SIGTERM, "warn[daemonize]: can't catch SIGTERM"},
                               {SIGINT, "warn[daemonize]: can't catch SIGINT"}}) {
        world.fail("sigaction", EINVAL, strsignal(one.signal_number));
        in_daemon([] {});
        EXPECT_THAT(world.messages(), ElementsAre(one.message));
    }
}

TEST_F(Daemonize, TriesEveryHandlerInItsOrder) {
    world.fail("sigaction", EINVAL, "", -1);
    in_daemon([&] { world.fail_no_more(); });
    EXPECT_THAT(world.messages(),
                ElementsAre("warn[daemonize]: can't catch SIGHUP", "warn[daemonize]: can't catch SIGTERM",
                            "warn[daemonize]: can't catch SIGINT"));
}

TEST_F(Daemonize, EndsWithOneWhenItCannotFork) {
    const int status = status_of_child([&] {
        world.fail("fork", EAGAIN);
        daemonize("/tmp/", pid_file);
    });
    EXPECT_EQ(status, 1);
    EXPECT_FALSE(world.exists(pid_file));
    EXPECT_THAT(world.messages(), IsEmpty());
}

TEST_F(Daemonize, EndsWithOneWhenItCannotLeadASession) {
    world.fail("setsid", EPERM);
    const statuses result = daemonized([] {});
    EXPECT_EQ(result.caller, 0);
    EXPECT_EQ(result.daemon, 1);
    EXPECT_FALSE(world.exists(pid_file));
    EXPECT_THAT(world.messages(), IsEmpty());
}

TEST_F(Daemonize, EndsWithOneWhenTheLockFileCannotBeOpened) {
    const captured_output console(1);
    world.fail("open", EACCES, pid_file);
    const statuses result = daemonized([] {});
    EXPECT_EQ(result.caller, 0);
    EXPECT_EQ(result.daemon, 1);
    EXPECT_THAT(world.messages(), ElementsAre("fatal[daemonize]: Could not open PID lock file "
                                              "/var/run/dashboard_daemon.pid, exiting"));
    EXPECT_THAT(console.text(), ::testing::EndsWith("]: Could not open PID lock file /var/run/dashboard_daemon.pid, "
                                                    "exiting\n"));
}

TEST_F(Daemonize, EndsWithOneWhenAnotherHoldsTheLock) {
    const captured_output console(1);
    world.file(pid_file, "77\n");
    const int held = open(world.real_path(pid_file).c_str(), O_RDWR | O_CLOEXEC);
    ASSERT_EQ(lockf(held, F_TLOCK, 0), 0);
    const statuses result = daemonized([] {});
    EXPECT_EQ(result.caller, 0);
    EXPECT_EQ(result.daemon, 1);
    EXPECT_THAT(world.messages(), ElementsAre("fatal[daemonize]: Could not lock PID lock file "
                                              "/var/run/dashboard_daemon.pid, exiting"));
    EXPECT_EQ(world.read(pid_file), "77\n");
    close(held);
}

TEST_F(Daemonize, DoesNothingForAProcessThatInitStarted) {
    world.parent_id(1);
    in_own_process([&] {
        const pid_t before = getpid();
        const mode_t mask = umask(022);
        umask(mask);
        daemonize("/tmp/", pid_file);
        EXPECT_EQ(getpid(), before);
        EXPECT_EQ(umask(mask), mask);
        EXPECT_EQ(pidFilehandle, -1);
        struct sigaction action {};
        sigaction(SIGTERM, nullptr, &action);
        EXPECT_NE(action.sa_handler, signal_handler);
        EXPECT_THAT(world.calls("setsid"), IsEmpty());
        EXPECT_THAT(world.calls("chdir"), IsEmpty());
        EXPECT_FALSE(world.exists(pid_file));
    });
}

} // namespace
} // namespace dashboard::testing
