// The stand-in of the outside world, tested from inside one process.
#include "tests/support/world.h"

#include "platform/csman.h"
#include "platform/utils.h"

#include <gmock/gmock.h>

#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <fcntl.h>
#include <pthread.h>
#include <sys/mman.h>
#include <sys/prctl.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/time.h>
#include <sys/times.h>
#include <syslog.h>
#include <unistd.h>

namespace dashboard::testing {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

std::string first_line_of(const char* command) {
    FILE* const pipe = popen(command, "re");
    char line[256] = "";
    const ssize_t got = read(fileno(pipe), line, sizeof line - 1);
    pclose(pipe);
    return got < 0 ? "" : line;
}

TEST(World, HasItsOwnRootForThePathsOfTheDaemon) {
    test_world world;
    world.file("/proc/net/dev", "nothing\n");
    FILE* const in = fopen("/proc/net/dev", "r");
    ASSERT_NE(in, nullptr);
    char line[32] = "";
    ASSERT_NE(fgets(line, sizeof line, in), nullptr);
    fclose(in);
    EXPECT_STREQ(line, "nothing\n");
}

TEST(World, KeepsFilesThatTheProcessMakesAndTakesThemAwayAtItsEnd) {
    std::string place;
    {
        test_world world;
        place = world.real_path("/tmp/dashboard");
        world.folder("/tmp/dashboard");
        const int fd = open("/tmp/dashboard/a", O_WRONLY | O_CREAT | O_EXCL, 0640);
        ASSERT_EQ(write(fd, "text", 4), 4);
        close(fd);
        EXPECT_EQ(world.read("/tmp/dashboard/a"), "text");
        EXPECT_EQ(world.mode("/tmp/dashboard/a"), 0640u);
        ASSERT_EQ(rename("/tmp/dashboard/a", "/tmp/dashboard/b"), 0);
        EXPECT_THAT(world.list("/tmp/dashboard"), ElementsAre("b"));
        EXPECT_EQ(remove("/tmp/dashboard/b"), 0);
        EXPECT_FALSE(world.exists("/tmp/dashboard/b"));
        EXPECT_EQ(access(place.c_str(), F_OK), 0);
    }
    EXPECT_NE(access(place.c_str(), F_OK), 0);
}

TEST(World, LeavesOtherPathsAlone) {
    test_world world;
    EXPECT_EQ(access("/bin/sh", F_OK), 0);
    struct stat about {};
    EXPECT_EQ(stat("/usr", &about), 0);
}

TEST(World, WritesDownTheLiteralNamesOfUnlink) {
    test_world world;
    EXPECT_EQ(unlink("/usr/www/wan_traffic*"), -1);
    EXPECT_EQ(errno, ENOENT);
    EXPECT_THAT(world.calls("unlink"), ElementsAre("/usr/www/wan_traffic*"));
    world.forget_calls();
    EXPECT_THAT(world.calls("unlink"), IsEmpty());
}

TEST(World, SaysInWhichOrderCallsOfSeveralNamesCame) {
    test_world world;
    unlink("/tmp/a");
    rename("/tmp/b", "/tmp/c");
    remove("/tmp/d");
    unlink("/tmp/e");
    EXPECT_THAT(world.calls_in_turn({"rename", "unlink"}),
                ElementsAre("unlink /tmp/a", "rename /tmp/b /tmp/c", "unlink /tmp/e"));
}

TEST(World, ClockStandsStillUntilSomebodySleeps) {
    test_world world;
    EXPECT_EQ(time(nullptr), first_second);
    EXPECT_EQ(time(nullptr), first_second);
    timespec before{};
    clock_gettime(CLOCK_MONOTONIC, &before);
    const clock_t ticks = times(nullptr);
    EXPECT_EQ(usleep(2'000'000), 0);
    timespec after{};
    clock_gettime(CLOCK_MONOTONIC, &after);
    EXPECT_EQ(after.tv_sec - before.tv_sec, 2);
    EXPECT_EQ(after.tv_nsec, before.tv_nsec);
    EXPECT_EQ(times(nullptr) - ticks, 200);
    EXPECT_EQ(time(nullptr), first_second + 2);
    EXPECT_THAT(world.calls("usleep"), ElementsAre("2000000"));
}

TEST(World, WallClockIsSetWithoutTheMonotonicOne) {
    test_world world;
    const int64_t monotonic = world.clock.monotonic_ns();
    world.clock.set(1'000'000, 500'000'000);
    EXPECT_EQ(time(nullptr), 1'000'000);
    world.clock.step_wall(-60);
    EXPECT_EQ(time(nullptr), 999'940);
    timespec now{};
    clock_gettime(CLOCK_REALTIME, &now);
    EXPECT_EQ(now.tv_nsec, 500'000'000);
    EXPECT_EQ(world.clock.monotonic_ns(), monotonic);
    world.clock.advance(0.5);
    EXPECT_EQ(time(nullptr), 999'941);
}

TEST(World, SleepToAnAbsoluteDeadlineEndsThere) {
    test_world world;
    timespec deadline{};
    clock_gettime(CLOCK_MONOTONIC, &deadline);
    deadline.tv_sec += 5;
    EXPECT_EQ(clock_nanosleep(CLOCK_MONOTONIC, TIMER_ABSTIME, &deadline, nullptr), 0);
    EXPECT_EQ(time(nullptr), first_second + 5);
    EXPECT_EQ(clock_nanosleep(CLOCK_MONOTONIC, TIMER_ABSTIME, &deadline, nullptr), 0);
    EXPECT_EQ(time(nullptr), first_second + 5);
}

TEST(World, SleepCanBeInterruptedOnRequest) {
    test_world world;
    world.fail("sleep", EINTR);
    EXPECT_EQ(usleep(500), -1);
    EXPECT_EQ(errno, EINTR);
    EXPECT_EQ(usleep(500), 0);
}

TEST(World, HookSeesEverySleep) {
    test_world world;
    int sleeps = 0;
    world.on_sleep([&] { ++sleeps; });
    usleep(500);
    usleep(1'000'000);
    EXPECT_EQ(sleeps, 2);
}

TEST(World, TimerSlackIsWrittenDownAndHarmless) {
    test_world world;
    EXPECT_EQ(prctl(PR_SET_TIMERSLACK, 5UL, 0UL, 0UL, 0UL), 0);
    EXPECT_THAT(world.calls("prctl"), ElementsAre("timerslack 5"));
}

TEST(World, ToolsAreTheTestsOwn) {
    test_world world;
    world.tool("mpstat", "printf 'first\\n'");
    EXPECT_EQ(first_line_of("mpstat -P ALL 1 2"), "first\n");
    EXPECT_THAT(world.calls("popen"), ElementsAre("re mpstat -P ALL 1 2"));
    world.alive({"lo", "eth0"});
    EXPECT_EQ(first_line_of("ifconfig | awk '/Link encap/{print $1}'"), "lo\neth0\n");
}

TEST(World, SlowToolTakesVirtualTime) {
    test_world world;
    world.tool("mpstat", "printf 'first\\n'");
    world.slow("mpstat", 2);
    first_line_of("mpstat");
    EXPECT_EQ(time(nullptr), first_second + 2);
}

TEST(World, CallsFailOnRequest) {
    test_world world;
    world.file("/proc/meminfo", "x");
    world.fail("open", EMFILE, "/proc/meminfo", 1, 1);
    const int first = open("/proc/meminfo", O_RDONLY);
    EXPECT_GE(first, 0);
    close(first);
    EXPECT_EQ(open("/proc/meminfo", O_RDONLY), -1);
    EXPECT_EQ(errno, EMFILE);
    const int third = open("/proc/meminfo", O_RDONLY);
    EXPECT_GE(third, 0);
    close(third);
    world.fail("popen", EAGAIN, "mpstat");
    EXPECT_EQ(popen("mpstat -P ALL 1 2", "re"), nullptr);
    EXPECT_EQ(errno, EAGAIN);
    world.fail("fork", EAGAIN);
    EXPECT_EQ(fork(), -1);
    world.fail("setsid", EPERM);
    EXPECT_EQ(setsid(), -1);
    pthread_mutex_t mutex;
    world.fail("pthread_mutex_init", ENOMEM);
    EXPECT_EQ(pthread_mutex_init(&mutex, nullptr), ENOMEM);
    struct sigaction action {};
    world.fail("sigaction", EINVAL, strsignal(SIGTERM));
    EXPECT_EQ(sigaction(SIGTERM, &action, nullptr), -1);
    EXPECT_EQ(errno, EINVAL);
}

TEST(World, MemoryOfTheKernelRunsOutOnRequest) {
    test_world world;
    const auto map = [](size_t size) {
        return mmap(nullptr, size, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    };
    world.fail_allocation(100'000);
    void* const small = map(99'999);
    EXPECT_NE(small, MAP_FAILED);
    EXPECT_EQ(map(100'000), MAP_FAILED);
    EXPECT_EQ(errno, ENOMEM);
    void* const again = map(100'000);
    EXPECT_NE(again, MAP_FAILED);
    munmap(small, 99'999);
    munmap(again, 100'000);
}

TEST(World, SystemLogIsTheTests) {
    test_world world;
    setlogmask(127);
    openlog("Dashboard", 0, LOG_USER);
    syslog(LOG_NOTICE, "%s", "a line");
    EXPECT_THAT(world.calls("openlog"), ElementsAre("Dashboard 0 8"));
    EXPECT_THAT(world.calls("setlogmask"), ElementsAre("127"));
    EXPECT_THAT(world.calls("syslog"), ElementsAre("5 a line"));
    EXPECT_THAT(world.syslog_lines(), ElementsAre("a line"));
}

TEST(World, SystemLogMayQueueWhatNobodyTakes) {
    test_world world;
    world.idle_system_log(SOCK_DGRAM);
    syslog(LOG_NOTICE, "%s", "first");
    syslog(LOG_NOTICE, "%s", "second");
    EXPECT_THAT(world.syslog_lines(), ElementsAre("first", "second"));
    EXPECT_THAT(world.read_system_log(), ElementsAre("first", "second"));
    EXPECT_THAT(world.read_system_log(), ::testing::IsEmpty());
}

TEST(World, StoreMayTakeItsTimeToClose) {
    test_world world;
    const int64_t before = world.clock.monotonic_ns();
    world.csman.slow_close(1.5);
    EXPECT_EQ(close_csman(open_csman(0, 0)), 0);
    EXPECT_EQ(world.clock.monotonic_ns() - before, 1'500'000'000);
}

volatile sig_atomic_t hangups = 0;

TEST(World, SignalHandlersRunAndAreReadBackAsTheyWereSet) {
    test_world world;
    struct sigaction action {};
    struct sigaction old {};
    action.sa_handler = [](int) { hangups = hangups + 1; };
    ASSERT_EQ(sigaction(SIGHUP, &action, nullptr), 0);
    raise(SIGHUP);
    EXPECT_EQ(hangups, 1);
    EXPECT_EQ(world.state().signals_handled, 1u);
    const auto handler = action.sa_handler;
    action.sa_handler = SIG_DFL;
    EXPECT_EQ(sigaction(SIGHUP, &action, &old), 0);
    EXPECT_EQ(old.sa_handler, handler);
}

TEST(World, ParentIsWhoTheTestSays) {
    test_world world;
    EXPECT_EQ(getppid(), 4242);
    world.parent_id(1);
    EXPECT_EQ(getppid(), 1);
}

TEST(CsmanDouble, ServesItemsAndFailsForUnsetOnes) {
    test_world world;
    world.csman.set(0x150780, 1);
    const int handle = open_csman(0, 0);
    int value = -7;
    EXPECT_EQ(read_csman_int(handle, 0x150780, &value), 0);
    EXPECT_EQ(value, 1);
    EXPECT_LT(read_csman_int(handle, 0x150781, &value), 0);
    EXPECT_EQ(value, 1);
    EXPECT_EQ(write_csman_int(handle, 0x8015043e, 3), 0);
    EXPECT_EQ(world.csman.get(0x8015043e), 3);
    EXPECT_EQ(close_csman(handle), 0);
    EXPECT_THAT(world.calls("csman"), ElementsAre("open 0 0", "read_int 7 0x150780", "read_int 7 0x150781",
                                                  "write_int 7 0x8015043e 3", "close 7"));
}

TEST(CsmanDouble, TerminatesStringsThatFit) {
    test_world world;
    world.csman.set_string(0x8001000b, "eth0");
    char buffer[6];
    memset(buffer, 'x', sizeof buffer);
    EXPECT_EQ(read_csman(7, 0x8001000b, buffer, 5, csman_type_string), 0);
    EXPECT_STREQ(buffer, "eth0");
    EXPECT_EQ(buffer[5], 'x');
    world.csman.set_string(0x8001000b, "longer");
    EXPECT_EQ(read_csman(7, 0x8001000b, buffer, 5, csman_type_string), 0);
    EXPECT_EQ(std::string(buffer, 6), "longex");
}

TEST(CsmanDouble, FailsOnRequest) {
    test_world world;
    world.csman.fail_open(2, -3);
    EXPECT_EQ(open_csman(0, 0), -3);
    EXPECT_EQ(open_csman(0, 0), -3);
    EXPECT_EQ(open_csman(0, 0), 7);
    world.csman.set(5, 1);
    world.csman.fail_reads(5, 1);
    int value = 0;
    EXPECT_LT(read_csman_int(7, 5, &value), 0);
    EXPECT_EQ(read_csman_int(7, 5, &value), 0);
    EXPECT_LT(read_csman_int(8, 5, &value), 0);
}

TEST(UtilsDouble, DoesLinksAndFoldersAndOnlyWritesTheRestDown) {
    test_world world;
    _exec_cmd(12, "dashboard_main", "main", 34, "mkdir -p %s", "/tmp/dashboard/");
    _exec_cmd(12, "dashboard_wan", "xml_wan_traffic_sec", 56, "ln -sf %s %s", "/tmp/dashboard/a", "/usr/www/a");
    _exec_cmd(12, "dashboard_mem", "memory_usage_loop", 78, "freemem &");
    EXPECT_TRUE(world.exists("/tmp/dashboard"));
    EXPECT_EQ(world.link_target("/usr/www/a"), "/tmp/dashboard/a");
    EXPECT_NE(access("/usr/www/a", F_OK), 0);
    world.file("/tmp/dashboard/a", "");
    EXPECT_EQ(access("/usr/www/a", F_OK), 0);
    ASSERT_EQ(world.commands().size(), 3u);
    const runner_command last = world.commands().back();
    EXPECT_EQ(last.pid, 12);
    EXPECT_EQ(last.file, "dashboard_mem");
    EXPECT_EQ(last.func, "memory_usage_loop");
    EXPECT_EQ(last.line, 78);
    EXPECT_EQ(last.command, "freemem &");
}

} // namespace
} // namespace dashboard::testing
