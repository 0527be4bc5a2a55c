// Signals, on the main thread and on a worker, and the deadline of a dying process.
#include "core/dashboard_daemon.h"

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

namespace dashboard::testing {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

void handle(int signal_number) {
    struct sigaction action {};
    action.sa_handler = signal_handler;
    sigaction(signal_number, &action, nullptr);
}

bool is_blocked(int signal_number) {
    sigset_t mask;
    pthread_sigmask(SIG_SETMASK, nullptr, &mask);
    return sigismember(&mask, signal_number) == 1;
}

void block_handled_signals() {
    sigset_t handled;
    sigemptyset(&handled);
    for (const int signal_number : {SIGHUP, SIGTERM, SIGINT}) {
        sigaddset(&handled, signal_number);
    }
    pthread_sigmask(SIG_BLOCK, &handled, nullptr);
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

TEST(SignalHandler, GivesALogThatHangsFiveSeconds) {
    listening_world world;
    in_own_process([] {
        handle(SIGHUP);
        raise(SIGHUP);
        EXPECT_EQ(alarm(0), 0u);
    });
    EXPECT_THAT(world.calls("alarm"), ElementsAre("5", "0", "0"));
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
        setvbuf(stdout, nullptr, _IONBF, 0);
        log2console = 1;
        handle(SIGHUP);
        errno = EINTR;
        raise(SIGHUP);
        EXPECT_EQ(errno, EINTR);
        EXPECT_NE(ferror(stdout), 0);
    });
}

bool blocked_while_reporting = false;

TEST(SignalHandler, BlocksTheOtherSignalsWhileItReports) {
    listening_world world;
    in_own_process([] {
        cookie_io_functions_t looking{};
        looking.write = [](void*, const char*, size_t size) {
            blocked_while_reporting = is_blocked(SIGHUP) && is_blocked(SIGTERM) && is_blocked(SIGINT);
            return static_cast<ssize_t>(size);
        };
        FILE* const before = stdout;
        stdout = fopencookie(nullptr, "w", looking);
        setvbuf(stdout, nullptr, _IONBF, 0);
        log2console = 1;
        handle(SIGHUP);
        raise(SIGHUP);
        fclose(stdout);
        stdout = before;
        EXPECT_TRUE(blocked_while_reporting);
        EXPECT_FALSE(is_blocked(SIGTERM) || is_blocked(SIGINT)) << "only until the handler returns";
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
        EXPECT_THAT(world.calls("alarm"), ElementsAre("2"));
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

TEST(WaitForSignals, LetsThemInWhileItSleepsAndOnlyThen) {
    test_world world;
    in_own_process([&] {
        bool open_while_asleep = false;
        block_handled_signals(); // as the daemon's main thread has them
        world.on_sleep([&] { open_while_asleep = !is_blocked(SIGHUP) && !is_blocked(SIGTERM) && !is_blocked(SIGINT); });
        wait_for_signals(5);
        EXPECT_TRUE(open_while_asleep);
        EXPECT_TRUE(is_blocked(SIGHUP) && is_blocked(SIGTERM) && is_blocked(SIGINT));
        EXPECT_EQ(world.clock.monotonic_ns(), 1005 * ns_per_second);
    });
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

TEST(EndWithin, SetsMovesAndTakesBackTheDeadline) {
    test_world world;
    in_own_process([&] {
        end_within(100, 3);
        end_within(200, 4);
        EXPECT_GT(alarm(300), 100u);
        end_within(0, 0);
        EXPECT_EQ(alarm(0), 0u);
        EXPECT_THAT(world.calls("alarm"), ElementsAre("100", "200", "300", "0", "0"));
    });
}

TEST(EndWithin, EndsTheProcessWithTheStatusOfTheLastCallAlsoWhenTheSignalWasBlocked) {
    for (const int status : {0, 255}) {
        test_world world;
        EXPECT_EQ(status_of_child([status] {
                      sigset_t alarm_only;
                      sigemptyset(&alarm_only);
                      sigaddset(&alarm_only, SIGALRM);
                      pthread_sigmask(SIG_BLOCK, &alarm_only, nullptr);
                      end_within(100, 17);
                      end_within(100, status);
                      raise(SIGALRM);
                      _exit(42);
                  }),
                  status);
    }
}

TEST(EndWithin, EndsWith255WhenAnEndingSignalWaits) {
    for (const int signal_number : {SIGTERM, SIGINT}) {
        test_world world;
        EXPECT_EQ(status_of_child([signal_number] {
                      sigset_t held;
                      sigemptyset(&held);
                      sigaddset(&held, signal_number);
                      pthread_sigmask(SIG_BLOCK, &held, nullptr);
                      end_within(100, 0);
                      raise(signal_number);
                      raise(SIGALRM);
                  }),
                  255);
    }
}

TEST(EndWithin, EndsWith255OnceAWorkerHandedAnEndingSignalOn) {
    test_world world;
    EXPECT_EQ(status_of_child([] {
                  struct sigaction nothing {};
                  nothing.sa_handler = [](int) {};
                  sigaction(SIGTERM, &nothing, nullptr);
                  end_within(100, 0);
                  pthread_t worker;
                  const auto work = [](void*) -> void* {
                      signal_handler(SIGTERM);
                      return nullptr;
                  };
                  pthread_create(&worker, nullptr, work, nullptr);
                  pthread_join(worker, nullptr);
                  raise(SIGALRM);
              }),
              255);
}

} // namespace
} // namespace dashboard::testing
