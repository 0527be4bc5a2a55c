// The SIM signal-quality module in a whole daemon.
#include "tests/daemon/module_fixture.h"
#include "tests/models/records.h"

#include <gmock/gmock.h>

namespace dashboard::testing {
namespace {

using ::testing::ElementsAre;

constexpr char sec_path[] = "/tmp/dashboard/sim_strquality_sec_0.xml";
constexpr char min_path[] = "/tmp/dashboard/sim_strquality_min_0.xml";
constexpr char hour_path[] = "/tmp/dashboard/sim_strquality_hour_0.xml";
constexpr char nothing_alive[] = "log[dashboard_loop]: loop callback fail(10)";
constexpr char first_is_dead[] = "log[get_sim_strquality_item]: 3G/4G-1 is dead";

class SimModule : public live_modules {
protected:
    SimModule() { switch_on(sim_module, 1); }

    // Slots are 0 and 1.
    void measure(uint32_t slot, const sim_measures& values) {
        for (size_t m = 0; m < values.size(); ++m) {
            world.csman.set(sim_measure_items[m] + slot, values[m]);
        }
    }
    void state(uint32_t slot, int32_t value) { world.csman.set(sim_state + slot, value); }

    size_t samples_shown() const {
        const std::string text = world.read(sec_path);
        size_t shown = 0;
        for (size_t at = text.find("<time>"); at != std::string::npos; at = text.find("<time>", at + 1)) {
            shown += 1;
        }
        return shown;
    }

    // Runs and answers in which cycles (from 1) a sample was taken.
    std::vector<int> cycles_with_sample(int cycles) {
        std::vector<int> found;
        for (int cycle = 1; cycle <= cycles; ++cycle) {
            const int64_t before = lines_saying(nothing_alive);
            live(1);
            if (lines_saying(nothing_alive) == before) {
                found.push_back(cycle);
            }
        }
        return found;
    }
};

// A slot that is off shows a minus sign before its zeros too.
TEST_F(SimModule, ShowsBothSlotsOneOfThemOff) {
    state(0, 1);
    measure(0, {75, 101, 12, -3, 80, 6});
    measure(1, {1, 2, 3, 4, 5, 6});
    start();
    live(1);
    EXPECT_EQ(world.read(sec_path), "<?xml version=\"1.0\" ?>\n"
                                    "<datalist>\n"
                                    "    <time>1700000001000</time>\n"
                                    "    <sim1_RSSI>-75</sim1_RSSI>\n"
                                    "    <sim1_RSRP>-101</sim1_RSRP>\n"
                                    "    <sim1_RSRQ>-12</sim1_RSRQ>\n"
                                    "    <sim1_SINR>-3</sim1_SINR>\n"
                                    "    <sim1_RSCP>-80</sim1_RSCP>\n"
                                    "    <sim1_EcIo>-6</sim1_EcIo>\n"
                                    "    <sim2_RSSI>-0</sim2_RSSI>\n"
                                    "    <sim2_RSRP>-0</sim2_RSRP>\n"
                                    "    <sim2_RSRQ>-0</sim2_RSRQ>\n"
                                    "    <sim2_SINR>0</sim2_SINR>\n"
                                    "    <sim2_RSCP>-0</sim2_RSCP>\n"
                                    "    <sim2_EcIo>-0</sim2_EcIo>\n"
                                    "</datalist>\n");
}

TEST_F(SimModule, ShowsNegativeMagnitudesBehindTwoMinusSigns) {
    state(1, 1);
    measure(1, {-75, 0, 2147483647, -2147483647 - 1, 5, 6});
    start();
    live(1);
    EXPECT_THAT(world.read(sec_path), ::testing::EndsWith("    <sim2_RSSI>--75</sim2_RSSI>\n"
                                                          "    <sim2_RSRP>-0</sim2_RSRP>\n"
                                                          "    <sim2_RSRQ>-2147483647</sim2_RSRQ>\n"
                                                          "    <sim2_SINR>-2147483648</sim2_SINR>\n"
                                                          "    <sim2_RSCP>-5</sim2_RSCP>\n"
                                                          "    <sim2_EcIo>-6</sim2_EcIo>\n"
                                                          "</datalist>\n"));
}

// A slot begins with a state of 1 only, but lives on with any state but 0 until the next check, in the tenth cycle.
TEST_F(SimModule, SlotThatTurnsToTwoLivesUntilTheNextCheck) {
    state(0, 1);
    start();
    live(1);
    state(0, 2);
    EXPECT_THAT(cycles_with_sample(12), ElementsAre(1, 2, 3, 4, 5, 6, 7, 8));
    state(0, 1);
    EXPECT_THAT(cycles_with_sample(10), ElementsAre(7, 8, 9, 10)); // the check of the twentieth cycle
    EXPECT_EQ(lines_saying(first_is_dead), 0);
}

TEST_F(SimModule, SlotInAnotherStateThanOneDoesNotBegin) {
    state(0, 2);
    state(1, -1);
    start();
    EXPECT_THAT(cycles_with_sample(25), ElementsAre());
    EXPECT_EQ(world.read(sec_path), datalist(""));
    EXPECT_EQ(lines_saying(first_is_dead), 0);
}

// Its fields are zero in the samples that the other slot gives; without another there are no samples.
TEST_F(SimModule, DeadSlotIsReportedEverySecondUntilTheNextCheck) {
    state(0, 1);
    state(1, 1);
    measure(0, {75, 101, 12, 3, 80, 6});
    measure(1, {60, 61, 62, 63, 64, 65});
    start();
    live(1);
    state(0, 0);
    live(3);
    EXPECT_EQ(lines_saying(first_is_dead), 3);
    EXPECT_EQ(lines_saying(nothing_alive), 0);
    EXPECT_EQ(samples_shown(), 4u);
    const std::string newest = world.read(sec_path).substr(world.read(sec_path).rfind("    <time>"));
    EXPECT_EQ(newest.substr(0, newest.find("    <sim2")),
              time_line(first_cycle + 3) + "    <sim1_RSSI>-0</sim1_RSSI>\n    <sim1_RSRP>-0</sim1_RSRP>\n"
                                           "    <sim1_RSRQ>-0</sim1_RSRQ>\n    <sim1_SINR>0</sim1_SINR>\n"
                                           "    <sim1_RSCP>-0</sim1_RSCP>\n    <sim1_EcIo>-0</sim1_EcIo>\n");
    state(1, 0);
    live(2);
    EXPECT_EQ(lines_saying(first_is_dead), 5);
    EXPECT_EQ(lines_saying("log[get_sim_strquality_item]: 3G/4G-2 is dead"), 2);
    EXPECT_EQ(lines_saying(nothing_alive), 2);
    EXPECT_EQ(samples_shown(), 4u);
    live(10); // the check disables both: nothing to report any more but that there is no sample
    EXPECT_EQ(lines_saying(first_is_dead), 8);
    EXPECT_EQ(lines_saying(nothing_alive), 12);
}

// Averages are signed and cut towards zero.
TEST_F(SimModule, RollsUpItsMinutesAndItsHour) {
    state(0, 1);
    state(1, 1);
    history_model<sim_record> model{first_cycle};
    const auto change = [&](int64_t now) {
        const auto n = static_cast<int32_t>(now - first_cycle);
        const sim_measures first = {70 + n % 7, 100 + n % 13, n % 3, -n, 80, 6};
        const sim_measures second = {n, 2 * n, -n, 3 - n % 11, -1, n % 2};
        measure(0, first);
        measure(1, second);
        EXPECT_TRUE(model.feed(sim_at(now, first, second)));
    };
    start();
    live(60, change);
    EXPECT_EQ(world.read(min_path), datalist(""));
    live(130, change);
    ASSERT_EQ(model.min.held.size(), 3u);
    EXPECT_EQ(world.read(sec_path), sim_document(model.sec.newest(72)));
    EXPECT_EQ(world.read(min_path), sim_document(model.min.newest(72)));
    request(sim_module, 0);
    live(62, change);
    const std::string minutes = world.read(min_path);
    step_clock(3400, change);
    ASSERT_EQ(model.hour.held.size(), 1u);
    EXPECT_EQ(world.read(hour_path), sim_document(model.hour.newest(72)));
    EXPECT_EQ(world.read(min_path), minutes); // nobody looks
}

} // namespace
} // namespace dashboard::testing
