// CPU usage: the cores that are shown, and signed averages.
#include "core/dashboard_flags.h"
#include "core/dashboard_query.h"
#include "monitors/monitors.h"
#include "probes/dashboard_cpuinfo.h"
#include "tests/models/records.h"
#include "tests/unit/monitor_fixture.h"
#include "tests/unit/own_process.h"

#include <cstdint>

namespace dashboard::testing {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

class Cpu : public monitor_fixture {
protected:
    void cores(int count) {
        std::string text = "cpu  1 2 3 4\n";
        for (int i = 0; i < count; ++i) {
            text += "cpu" + std::to_string(i) + " 1 2 3 4\n";
        }
        world.file("/proc/stat", text + "intr 5\n");
    }
    void start(int core_count) {
        cores(core_count);
        ASSERT_EQ(init(cpu_usage_monitor), 1);
    }
    int loop_it(int32_t viewer = 1) { return loop(cpu_usage_monitor, viewer); }
    // A minute that averages exactly these measurements, each given in idle percent.
    void minute_of(const std::vector<std::vector<std::string>>& measurements) {
        world.clock.set(t0);
        for (size_t i = 0; i < measurements.size(); ++i) {
            cpu(measurements[i]);
            world.clock.set(t0 + static_cast<int64_t>(i + 1 == measurements.size() ? 60 : i));
            ASSERT_EQ(loop_it(), 1);
        }
    }
};

TEST_F(Cpu, IsPublishedForAllCoresAndEachOne) {
    start(2);
    cpu({"90.10", "80.20", "99.75"});
    ASSERT_EQ(loop_it(), 1);
    expect_document("cpu_usage_sec", R"(<?xml version="1.0" ?>
<datalist>
    <time>1700000000000</time>
    <cpu_usage>10</cpu_usage>
    <cpu_usage0>20</cpu_usage0>
    <cpu_usage1>1</cpu_usage1>
</datalist>
)");
    EXPECT_THAT(world.messages(), IsEmpty());
}

TEST_F(Cpu, RepeatsTheLatestMeasurementUnderFreshTimesAndKeepsOlderSamples) {
    start(1);
    cpu({"90.00", "90.00"});
    ASSERT_EQ(loop_it(0), 1);
    world.clock.set(t0 + 1);
    ASSERT_EQ(loop_it(0), 1);
    cpu({"50.00", "40.00"});
    world.clock.set(t0 + 2);
    ASSERT_EQ(loop_it(), 1);
    expect_document("cpu_usage_sec", R"(<?xml version="1.0" ?>
<datalist>
    <time>1700000000000</time>
    <cpu_usage>10</cpu_usage>
    <cpu_usage0>10</cpu_usage0>
    <time>1700000001000</time>
    <cpu_usage>10</cpu_usage>
    <cpu_usage0>10</cpu_usage0>
    <time>1700000002000</time>
    <cpu_usage>50</cpu_usage>
    <cpu_usage0>60</cpu_usage0>
</datalist>
)");
}

TEST_F(Cpu, BeforeTheFirstMeasurementKeepsNothing) {
    start(2);
    in_own_process([this] {
        set_query_quit_flag();
        query(); // a query thread that has come and gone: nothing measured is left
        for (int i = 0; i < 100; ++i) {
            world.clock.set(t0 + i);
            EXPECT_EQ(loop_it(), 0);
        }
        expect_document("cpu_usage_sec", datalist(""));
        EXPECT_EQ(cpu_usage_monitor.write_sec(csman_handle_of_tests, nullptr), 1);
        expect_document("cpu_usage_sec", datalist(""));
    });
    EXPECT_THAT(world.messages(), IsEmpty());
}

TEST_F(Cpu, ShowsAsManyCoresAsTheMachineHas) {
    cpu({"99.00", "98.00", "97.00", "96.00", "95.00"});
    for (const int count : {0, 1, 2, 3, 4, 8}) {
        start(count);
        ASSERT_EQ(loop_it(), 1);
        const size_t shown = count > 4 ? 4 : static_cast<size_t>(count);
        expect_document("cpu_usage_sec", cpu_document(shown, {{t0, {1, 2, 3, 4, 5}}}));
    }
}

TEST_F(Cpu, WithoutAStatisticsFileShowsTheTotalOnly) {
    cpu({"99.00", "98.00"});
    world.remove("/proc/stat");
    ASSERT_EQ(init(cpu_usage_monitor), 1);
    EXPECT_THAT(world.messages(),
                ElementsAre("warn[get_proc_cpu_nr]: Cannot open /proc/stat: No such file or directory"));
    ASSERT_EQ(loop_it(), 1);
    expect_document("cpu_usage_sec", R"(<?xml version="1.0" ?>
<datalist>
    <time>1700000000000</time>
    <cpu_usage>1</cpu_usage>
</datalist>
)");
}

TEST_F(Cpu, CountsTheCoresAtInitOnly) {
    start(1);
    cores(4);
    cpu({"99.00", "98.00", "97.00", "96.00", "95.00"});
    ASSERT_EQ(loop_it(), 1);
    expect_document("cpu_usage_sec", cpu_document(1, {{t0, {1, 2}}}));
    ASSERT_EQ(init(cpu_usage_monitor), 1);
    ASSERT_EQ(loop_it(), 1);
    expect_document("cpu_usage_sec", cpu_document(4, {{t0, {1, 2, 3, 4, 5}}}));
}

TEST_F(Cpu, ACoreThatWasNotReportedIsMinusOneAlsoOnAverage) {
    start(4);
    minute_of({{"90.00", "80.00"}, {"70.00", "60.00"}, {"80.00", "70.00"}});
    expect_document("cpu_usage_min", R"(<?xml version="1.0" ?>
<datalist>
    <time>1700000060000</time>
    <cpu_usage>20</cpu_usage>
    <cpu_usage0>30</cpu_usage0>
    <cpu_usage1>-1</cpu_usage1>
    <cpu_usage2>-1</cpu_usage2>
    <cpu_usage3>-1</cpu_usage3>
</datalist>
)");
}

TEST_F(Cpu, NegativeAveragesAreCutTowardsZero) {
    start(2);
    // -1 and -2 make -3 / 2 = -1; 0 and -1 make -1 / 2 = 0; 1 and -4 make -3 / 2 = -1.
    minute_of({{"101.00", "100.00", "99.00"}, {"102.00", "101.00", "104.00"}});
    expect_document("cpu_usage_min", R"(<?xml version="1.0" ?>
<datalist>
    <time>1700000060000</time>
    <cpu_usage>-1</cpu_usage>
    <cpu_usage0>0</cpu_usage0>
    <cpu_usage1>-1</cpu_usage1>
</datalist>
)");
}

TEST_F(Cpu, SumsWrapInThirtyTwoSignedBits) {
    start(1);
    // 2^31 - 1 twice makes -2, halved -1; -(2^31 - 101) twice makes 202, halved 101.
    minute_of({{"-2147483547.00", "2147483647.00"}, {"-2147483547.00", "2147483647.00"}});
    expect_document("cpu_usage_sec",
                    cpu_document(1, {{t0, {2147483647, -2147483547}}, {t0 + 60, {2147483647, -2147483547}}}));
    expect_document("cpu_usage_min", cpu_document(1, {{t0 + 60, {-1, 101}}}));
}

} // namespace
} // namespace dashboard::testing
