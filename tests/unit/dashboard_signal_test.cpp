// Signals, on the main thread and on a worker, in its busy moments and in a tool that is not one yet.
#include "core/dashboard_signal.h"

#include "core/dashboard_flags.h"
#include "tests/unit/heard_messages.h"
#include "tests/unit/own_process.h"

#include <gmock/gmock.h>

#include <atomic>
#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <fcntl.h>
#include <pthread.h>
#include <sys/syscall.h>
#include <sys/time.h>
#include <unistd.h>
#include <vector>

namespace dashboard::testing {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

void handle(int signal_number) {
    struct sigaction action {};
    action.sa_handler = signal_handler;
    sigaction(signal_number, &action, nullptr);
}

void (*action_of(int signal_number))(int) {
    struct sigaction action {};
    sigaction(signal_number, nullptr, &action);
    return action.sa_handler;
}

bool is_blocked(int signal_number) {
    sigset_t mask;
    pthread_sigmask(SIG_SETMASK, nullptr, &mask);
    return sigismember(&mask, signal_number) == 1;
}

TEST(SignalHandler, OnlyTellsOfSighup) {
    listening_world world;
    in_own_process([] {
        handle(SIGHUP);
        raise(SIGHUP);
        raise(SIGHUP);
        EXPECT_EQ(get_main_quit_flag(), 0);
    });
    EXPECT_THAT(world.messages(), ElementsAre("warn[signal_handler]: Received SIGHUP signal.",
                                              "warn[signal_handler]: Received SIGHUP signal."));
}

TEST(SignalHandler, NamesAnyOtherSignal) {
    listening_world world;
    in_own_process([] {
        handle(SIGUSR1);
        handle(SIGWINCH);
        raise(SIGUSR1);
        raise(SIGWINCH);
    });
    EXPECT_THAT(world.messages(), ElementsAre("warn[signal_handler]: Unhandled signal User defined signal 1",
                                              "warn[signal_handler]: Unhandled signal Window changed"));
}

TEST(SignalHandler, SetsNoDeadlineForAHangup) {
    listening_world world;
    in_own_process([] {
        handle(SIGHUP);
        raise(SIGHUP);
        EXPECT_EQ(alarm(0), 0u);
        EXPECT_EQ(action_of(SIGALRM), SIG_DFL);
    });
}

TEST(SignalHandler, LeavesErrnoToWhomItInterrupted) {
    listening_world world;
    in_own_process([] {
        handle(SIGHUP);
        errno = EINTR;
        raise(SIGHUP);
        EXPECT_EQ(errno, EINTR);
        handle(SIGUSR1);
        errno = ENOENT;
        raise(SIGUSR1);
        EXPECT_EQ(errno, ENOENT);
    });
}

TEST(SignalHandler, LeavesErrnoAloneAlsoWhenItsReportFails) {
    listening_world world;
    in_own_process([] {
        ASSERT_EQ(dup2(open("/dev/full", O_WRONLY | O_CLOEXEC), STDOUT_FILENO), STDOUT_FILENO);
        log2console = 1;
        handle(SIGHUP);
        errno = EINTR;
        raise(SIGHUP);
        EXPECT_EQ(errno, EINTR);
        EXPECT_LT(write(STDOUT_FILENO, "x", 1), 0);
        dup2(STDERR_FILENO, STDOUT_FILENO);
    });
}

TEST(SignalHandler, EndsTheProcessWith255) {
    for (const int signal_number : {SIGTERM, SIGINT}) {
        listening_world world;
        const int lock_file = open("/dev/null", O_RDWR | O_CLOEXEC);
        const int status = status_of_child([&] {
            pidFilehandle = lock_file;
            csman_handle = 7;
            signal_handler(signal_number);
        });
        close(lock_file);
        EXPECT_EQ(status, 255);
        EXPECT_THAT(world.messages(), ElementsAre("warn[signal_handler]: Daemon exiting"));
        EXPECT_THAT(world.calls("csman"), ElementsAre("close 7"));
        EXPECT_EQ(world.calls("closelog").size(), 1u);
    }
}

TEST(SignalHandler, SetsTheMainQuitFlagAndClosesThePidFileBeforeTheEnd) {
    listening_world world;
    const captured_output console(1);
    const int status = status_of_child([&] {
        pidFilehandle = open("/dev/null", O_RDWR | O_CLOEXEC);
        atexit([] {
            printf("%d %d %d\n", get_main_quit_flag(), pidFilehandle.load(), csman_handle.load());
            fflush(stdout);
        });
        csman_handle = 7;
        signal_handler(SIGTERM);
    });
    EXPECT_EQ(status, 255);
    EXPECT_EQ(console.text(), "-1 -1 -1\n");
}

TEST(SignalHandler, ClosesNoStoreThatIsNotOpen) {
    listening_world world;
    EXPECT_EQ(status_of_child([] { signal_handler(SIGINT); }), 255);
    EXPECT_THAT(world.calls("csman"), IsEmpty());
}

std::atomic<bool> handed_on_to_main{false};

TEST(SignalHandler, OnAWorkerHandsTheSignalToTheMainThread) {
    listening_world world;
    in_own_process([] {
        static const pthread_t main_thread = pthread_self();
        struct sigaction action {};
        action.sa_handler = [](int) { handed_on_to_main = pthread_equal(pthread_self(), main_thread) != 0; };
        sigaction(SIGHUP, &action, nullptr);
        sigaction(SIGTERM, &action, nullptr);
        for (const int signal_number : {SIGHUP, SIGTERM}) {
            handed_on_to_main = false;
            int number = signal_number;
            pthread_t worker;
            const auto work = [](void* argument) -> void* {
                signal_handler(*static_cast<int*>(argument));
                return nullptr;
            };
            ASSERT_EQ(pthread_create(&worker, nullptr, work, &number), 0);
            pthread_join(worker, nullptr);
            EXPECT_TRUE(handed_on_to_main) << signal_number;
        }
        EXPECT_EQ(get_main_quit_flag(), 0);
    });
    EXPECT_THAT(world.messages(), IsEmpty());
}

TEST(SignalHandler, HasTwoSecondsForTheEnd) {
    listening_world world;
    const int status = status_of_child([] {
        atexit([] {
            itimerval timer{};
            getitimer(ITIMER_REAL, &timer);
            _exit(timer.it_value.tv_sec == 1 && timer.it_value.tv_usec > 0 ? 200 : 201);
        });
        signal_handler(SIGTERM);
    });
    EXPECT_EQ(status, 200);
}

TEST(WaitForSignals, ActsOnThemWhileItSleepsAndOnlyThen) {
    listening_world world;
    in_own_process([&] {
        catch_signals();
        raise(SIGHUP);
        EXPECT_THAT(world.messages(), IsEmpty());
        size_t told_asleep = 0;
        world.on_sleep([&] {
            const size_t before = world.messages().size();
            raise(SIGHUP);
            told_asleep = before + world.messages().size();
        });
        wait_for_signals(5);
        EXPECT_EQ(told_asleep, 2u) << "the one from before, and the one from now";
        world.on_sleep([] {});
        raise(SIGHUP);
        EXPECT_THAT(world.messages(), IsEmpty());
        EXPECT_EQ(world.clock.monotonic_ns(), 1005 * ns_per_second);
    });
}

TEST(WaitForSignals, EndsTheProcessThatWasToldMeanwhile) {
    for (const int signal_number : {SIGTERM, SIGINT}) {
        listening_world world;
        EXPECT_EQ(status_of_child([&] {
                      catch_signals();
                      raise(SIGHUP);
                      raise(signal_number);
                      EXPECT_THAT(world.messages(), IsEmpty());
                      EXPECT_GT(alarm(0), 0u) << "a deadline runs meanwhile";
                      wait_for_signals(5);
                  }),
                  255);
        EXPECT_THAT(world.messages(), ElementsAre("warn[signal_handler]: Daemon exiting"));
    }
}

TEST(CatchSignals, LetsTheDeadlineComeWhateverMaskTheDaemonWasStartedWith) {
    for (const int signal_number : {SIGTERM, SIGINT}) {
        listening_world world;
        EXPECT_EQ(status_of_child([signal_number] {
                      sigset_t held;
                      sigfillset(&held);
                      pthread_sigmask(SIG_SETMASK, &held, nullptr);
                      catch_signals();
                      raise(signal_number);
                      raise(SIGALRM); // as the deadline does
                      _exit(42);
                  }),
                  255);
    }
}

TEST(WaitForSignals, LeavesTheMaskAndTheActionsAlone) {
    test_world world;
    in_own_process([&] {
        sigset_t held;
        sigemptyset(&held);
        sigaddset(&held, SIGHUP);
        sigaddset(&held, SIGTERM);
        pthread_sigmask(SIG_SETMASK, &held, nullptr);
        // Whoever started the tests may have had some ignored.
        const auto actions = [] {
            return std::vector{action_of(SIGHUP), action_of(SIGTERM), action_of(SIGINT), action_of(SIGPIPE),
                               action_of(SIGALRM)};
        };
        const auto before = actions();
        bool blocked_asleep = false;
        world.on_sleep([&] { blocked_asleep = is_blocked(SIGHUP) && is_blocked(SIGTERM) && !is_blocked(SIGINT); });
        wait_for_signals(5);
        EXPECT_TRUE(blocked_asleep);
        EXPECT_TRUE(is_blocked(SIGHUP) && is_blocked(SIGTERM) && !is_blocked(SIGINT));
        EXPECT_EQ(actions(), before);
    });
}

TEST(EndIfTold, EndsTheProcessOnceATermOrIntHasCome) {
    for (const int signal_number : {SIGTERM, SIGINT}) {
        listening_world world;
        EXPECT_EQ(status_of_child([signal_number] {
                      catch_signals();
                      end_if_told();
                      raise(SIGHUP);
                      end_if_told();
                      raise(signal_number);
                      end_if_told();
                  }),
                  255);
        EXPECT_THAT(world.messages(), ElementsAre("warn[signal_handler]: Daemon exiting"));
    }
}

// Called in both processes after a birth: a signal hits the child before its exec. Returns, in the parent, what ended
// the child.
int killed_at_birth(pid_t child, int signal_number) {
    if (child == 0) {
        kill(static_cast<pid_t>(syscall(SYS_getpid)), signal_number); // raise and getpid may remember the parent
        _exit(0);
    }
    int status = 0;
    waitpid(child, &status, 0);
    return WIFSIGNALED(status) ? WTERMSIG(status) : -WEXITSTATUS(status);
}

TEST(SignalHandler, LetsAToolThatIsNotOneYetDieLikeOne) {
    listening_world world;
    in_own_process([&] {
        csman_handle = 7;
        catch_signals();
        keep_signals_to_this_process();
        for (const int signal_number : {SIGHUP, SIGTERM, SIGINT}) {
            EXPECT_EQ(killed_at_birth(fork(), signal_number), signal_number);
            EXPECT_EQ(killed_at_birth(vfork(), signal_number), signal_number);
            EXPECT_EQ(action_of(signal_number), signal_handler);
        }
        EXPECT_EQ(alarm(0), 0u);
        wait_for_signals(1);
    });
    EXPECT_THAT(world.messages(), IsEmpty());
    EXPECT_THAT(world.calls("csman"), IsEmpty());
}

TEST(WaitForSignals, SleepsItsFullTimeHoweverManyArrive) {
    listening_world world;
    in_own_process([&] {
        handle(SIGHUP);
        world.fail("sleep", EINTR, "", 50);
        wait_for_signals(5);
        EXPECT_EQ(world.clock.monotonic_ns(), 1005 * ns_per_second);
    });
}

} // namespace
} // namespace dashboard::testing
