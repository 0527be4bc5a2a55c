// Memory usage: the measurement and its time, 32-bit averages, the tool that every start launches.
#include "monitors/monitors.h"
#include "tests/models/records.h"
#include "tests/unit/monitor_fixture.h"

#include <cstdint>
#include <fcntl.h>
#include <sys/stat.h>
#include <thread>
#include <unistd.h>

namespace dashboard::testing {
namespace {

using ::testing::ElementsAre;

class Mem : public monitor_fixture {
protected:
    Mem() { world.meminfo(131072, 65536); }

    int init_it() { return init(mem_usage_monitor); }
    int loop_it(int32_t viewer = 1) { return loop(mem_usage_monitor, viewer); }
    // A minute that averages exactly these measurements, in kB.
    void minute_of(const std::vector<uint32_t>& measurements) {
        ASSERT_EQ(init_it(), 1);
        for (size_t i = 0; i < measurements.size(); ++i) {
            world.meminfo(uint64_t{measurements[i]} + 1, 1);
            world.clock.set(t0 + static_cast<int64_t>(i + 1 == measurements.size() ? 60 : i));
            ASSERT_EQ(loop_it(), 1);
        }
    }
};

TEST_F(Mem, IsTotalLessFreeInKilobytes) {
    ASSERT_EQ(init_it(), 1);
    world.file("/proc/meminfo", "MemTotal:      1000 kB\nMemFree:        300 kB\nBuffers: 200 kB\nCached: 100 kB\n");
    ASSERT_EQ(loop_it(), 1);
    expect_document("mem_usage_sec", R"(<?xml version="1.0" ?>
<datalist>
    <time>1700000000000</time>
    <mem_usage>700</mem_usage>
</datalist>
)");
}

TEST_F(Mem, MayBeZero) {
    ASSERT_EQ(init_it(), 1);
    world.meminfo(1000, 1000);
    ASSERT_EQ(loop_it(), 1);
    expect_document("mem_usage_sec", mem_document({{t0, {0}}}));
}

TEST_F(Mem, EveryInitStartsFreememInTheBackgroundBeforeItPublishes) {
    for (int i = 0; i < 2; ++i) {
        world.forget_calls();
        ASSERT_EQ(init_it(), 1);
        ASSERT_FALSE(world.commands().empty());
        const runner_command first = world.commands().front();
        EXPECT_EQ(first.command, "freemem &");
        EXPECT_EQ(first.file, "dashboard_mem");
        EXPECT_EQ(first.func, "mem_usage_init");
        EXPECT_EQ(first.pid, getpid());
        EXPECT_GT(first.line, 0);
        EXPECT_EQ(world.commands().size(), i == 0 ? 4u : 1u) << "three links, made once";
    }
    term(mem_usage_monitor);
    world.forget_calls();
    ASSERT_EQ(init_it(), 1);
    EXPECT_EQ(world.commands().front().command, "freemem &");
}

TEST_F(Mem, InitDoesNotCareWhetherFreememCouldBeStarted) {
    world.fail("exec", ENOENT, "freemem");
    EXPECT_EQ(init_it(), 1);
}

TEST_F(Mem, WithoutAMeasurementKeepsNothing) {
    ASSERT_EQ(init_it(), 1);
    const struct {
        const char* text;
        const char* warning;
    } cases[] = {
        {"MemTotal: 1000 kB\n", "warn[get_mem_usage]: Can not get MemTotal & MemFree"},
        {"MemTotal: 1000 kB\nMemFree: 0 kB\n", "warn[get_mem_usage]: Can not get MemTotal & MemFree"},
        {"MemTotal: 1000 kB\nMemAvailable: 5 kB\nMemFree: 5 kB\n",
         "warn[get_mem_usage]: Can not get MemTotal & MemFree"},
        {"MemTotal: 1000 kB\nMemFree: 1001 kB\n", "warn[get_mem_usage]: Error: mem_total(1000kB),mem_remain(-1)"},
    };
    for (const auto& one : cases) {
        world.file("/proc/meminfo", one.text);
        EXPECT_EQ(loop_it(), 0);
        EXPECT_THAT(world.messages(), ElementsAre(one.warning));
    }
    world.remove("/proc/meminfo");
    EXPECT_EQ(loop_it(), 0);
    EXPECT_THAT(world.messages(),
                ElementsAre("warn[get_mem_usage]: Cannot open /proc/meminfo: No such file or directory"));
    expect_document("mem_usage_sec", datalist(""));
    world.meminfo(10, 1);
    ASSERT_EQ(loop_it(), 1);
    expect_document("mem_usage_sec", mem_document({{t0, {9}}}));
}

TEST_F(Mem, TimeIsTakenBeforeTheMeasurement) {
    ASSERT_EQ(init_it(), 1);
    world.remove("/proc/meminfo");
    const std::string pipe = world.real_path("/proc/meminfo");
    ASSERT_EQ(mkfifo(pipe.c_str(), 0600), 0);
    std::thread kernel([&] {
        const int fd = open(pipe.c_str(), O_WRONLY | O_CLOEXEC); // waits for the reader
        world.clock.advance(5);
        const char text[] = "MemTotal: 1000 kB\nMemFree: 300 kB\n";
        EXPECT_EQ(write(fd, text, sizeof text - 1), static_cast<ssize_t>(sizeof text - 1));
        close(fd);
    });
    EXPECT_EQ(loop_it(), 1);
    kernel.join();
    EXPECT_EQ(world.clock.now(), t0 + 5);
    expect_document("mem_usage_sec", mem_document({{t0, {700}}}));
}

TEST_F(Mem, AveragesTruncate) {
    minute_of({1, 1, 3});
    expect_document("mem_usage_min", mem_document({{t0 + 60, {1}}}));
}

TEST_F(Mem, SumsWrapInThirtyTwoBitsAndAreDividedAsSigned) {
    minute_of({2147483647, 2147483647}); // the sum is -2, the mean -1, which shows as the largest number
    expect_document("mem_usage_min", R"(<?xml version="1.0" ?>
<datalist>
    <time>1700000060000</time>
    <mem_usage>4294967295</mem_usage>
</datalist>
)");
}

TEST_F(Mem, SumsThatWrapAllTheWayRoundLookSmall) {
    minute_of({1500000000, 1500000000, 1500000000}); // 4,500,000,000 less 2^32, divided by three
    expect_document("mem_usage_min", R"(<?xml version="1.0" ?>
<datalist>
    <time>1700000060000</time>
    <mem_usage>68344234</mem_usage>
</datalist>
)");
}

} // namespace
} // namespace dashboard::testing
