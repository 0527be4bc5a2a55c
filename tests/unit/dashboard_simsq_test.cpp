// Signal quality of the SIM slots: which slots count, what is read, shown and averaged.
#include "tests/models/records.h"
#include "tests/unit/monitor_fixture.h"

#include <string>

namespace dashboard::testing {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

class Sim : public monitor_fixture {
protected:
    const monitor_cb& module = sim_strquality_monitor;

    // `sim` is 1 or 2.
    void state(int sim, int32_t value) { world.csman.set(sim_state + static_cast<uint32_t>(sim) - 1, value); }
    void measures(int sim, const sim_measures& values) {
        for (size_t i = 0; i < 6; ++i) {
            world.csman.set(sim_measure_items[i] + static_cast<uint32_t>(sim) - 1, values[i]);
        }
    }

    // Ready, both slots enabled.
    void start() {
        state(1, 1);
        state(2, 1);
        ASSERT_EQ(init(module), 1);
    }

    // Sets the measures and runs the loop at `second`.
    void measure_at(int64_t second, const sim_measures& first, const sim_measures& second_slot, int32_t viewer = 0) {
        measures(1, first);
        measures(2, second_slot);
        ASSERT_EQ(loop_at(module, second, viewer), 1);
    }

    void expect_sec(const std::vector<sim_record>& samples) {
        expect_document("sim_strquality_sec", sim_document(samples));
    }
};

constexpr sim_measures none = {0, 0, 0, 0, 0, 0};
constexpr sim_measures some = {75, 101, 11, 9, 88, 6};
constexpr sim_measures others = {51, 80, 10, -3, 70, 5};

TEST_F(Sim, ShowsMagnitudesBehindAMinusAndSinrWithItsOwnSign) {
    start();
    measures(1, some);
    measures(2, others);
    ASSERT_EQ(loop(module, 1), 1);
    expect_document("sim_strquality_sec", "<?xml version=\"1.0\" ?>\n"
                                          "<datalist>\n"
                                          "    <time>1700000000000</time>\n"
                                          "    <sim1_RSSI>-75</sim1_RSSI>\n"
                                          "    <sim1_RSRP>-101</sim1_RSRP>\n"
                                          "    <sim1_RSRQ>-11</sim1_RSRQ>\n"
                                          "    <sim1_SINR>9</sim1_SINR>\n"
                                          "    <sim1_RSCP>-88</sim1_RSCP>\n"
                                          "    <sim1_EcIo>-6</sim1_EcIo>\n"
                                          "    <sim2_RSSI>-51</sim2_RSSI>\n"
                                          "    <sim2_RSRP>-80</sim2_RSRP>\n"
                                          "    <sim2_RSRQ>-10</sim2_RSRQ>\n"
                                          "    <sim2_SINR>-3</sim2_SINR>\n"
                                          "    <sim2_RSCP>-70</sim2_RSCP>\n"
                                          "    <sim2_EcIo>-5</sim2_EcIo>\n"
                                          "</datalist>\n");
}

TEST_F(Sim, ADisabledSlotIsShownAsMinusZero) {
    state(1, 1);
    state(2, 0);
    ASSERT_EQ(init(module), 1);
    measures(1, some);
    measures(2, others);
    ASSERT_EQ(loop(module, 1), 1);
    EXPECT_THAT(world.messages(), IsEmpty()) << "a disabled slot is no news";
    expect_sec({sim_at(t0, some, none)});
    const std::string text = world.read(published("sim_strquality_sec"));
    EXPECT_NE(text.find("    <sim2_RSSI>-0</sim2_RSSI>\n"
                        "    <sim2_RSRP>-0</sim2_RSRP>\n"
                        "    <sim2_RSRQ>-0</sim2_RSRQ>\n"
                        "    <sim2_SINR>0</sim2_SINR>\n"
                        "    <sim2_RSCP>-0</sim2_RSCP>\n"
                        "    <sim2_EcIo>-0</sim2_EcIo>\n"),
              std::string::npos);
}

TEST_F(Sim, ANegativeMagnitudeHasTwoMinuses) {
    start();
    const sim_measures extreme = {-75, INT32_MAX, INT32_MIN, INT32_MIN, -1, 0};
    measures(1, extreme);
    measures(2, others);
    ASSERT_EQ(loop(module, 1), 1);
    expect_sec({sim_at(t0, extreme, others)});
    const std::string text = world.read(published("sim_strquality_sec"));
    EXPECT_NE(text.find("<sim1_RSSI>--75<"), std::string::npos);
    EXPECT_NE(text.find("<sim1_RSRP>-2147483647<"), std::string::npos);
    EXPECT_NE(text.find("<sim1_RSRQ>--2147483648<"), std::string::npos);
    EXPECT_NE(text.find("<sim1_SINR>-2147483648<"), std::string::npos);
}

TEST_F(Sim, EveryMeasureHasAnItemOfItsOwn) {
    start();
    measures(1, some);
    measures(2, others);
    for (size_t i = 0; i < 6; ++i) {
        for (const uint32_t sim : {0u, 1u}) {
            sim_measures first = some;
            sim_measures second = others;
            (sim == 0 ? first : second)[i] = 1234;
            world.csman.set(sim_measure_items[i] + sim, 1234);
            ASSERT_EQ(module.init(csman_handle_of_tests, 0), 1);
            ASSERT_EQ(loop(module, 1), 1);
            expect_sec({sim_at(t0, first, second)});
            world.csman.set(sim_measure_items[i] + sim, sim == 0 ? some[i] : others[i]);
        }
    }
}

TEST_F(Sim, ReadsStateAndMeasuresOfOneSlotAndThenOfTheOther) {
    start();
    new_csman_calls();
    ASSERT_EQ(loop(module), 1);
    EXPECT_THAT(new_csman_calls(),
                ElementsAre("read_int 7 0x801e5020", "read_int 7 0x801e5f00", "read_int 7 0x801e8860",
                            "read_int 7 0x801e7e20", "read_int 7 0x801e2be0", "read_int 7 0x801e7c20",
                            "read_int 7 0x801e5e00", "read_int 7 0x801e5021", "read_int 7 0x801e5f01",
                            "read_int 7 0x801e8861", "read_int 7 0x801e7e21", "read_int 7 0x801e2be1",
                            "read_int 7 0x801e7c21", "read_int 7 0x801e5e01"));
}

TEST_F(Sim, AMeasureThatCannotBeReadCountsZero) {
    start();
    measures(1, some);
    measures(2, others);
    ASSERT_EQ(loop(module), 1);
    world.csman.fail_reads(sim_measure_items[1], 1);
    world.csman.unset(sim_measure_items[5] + 1);
    ASSERT_EQ(loop_at(module, t0 + 1, 1), 1);
    expect_sec({sim_at(t0, some, others), sim_at(t0 + 1, {75, 0, 11, 9, 88, 6}, {51, 80, 10, -3, 70, 0})});
}

// ---- the two tests of the state

TEST_F(Sim, ADeadSlotIsReportedEverySecondAndCountsZero) {
    start();
    measures(1, some);
    measures(2, others);
    state(1, 0);
    ASSERT_EQ(loop(module), 1);
    EXPECT_THAT(world.messages(), ElementsAre("log[get_sim_strquality_item]: 3G/4G-1 is dead"));
    state(1, 1);
    state(2, 0);
    ASSERT_EQ(loop_at(module, t0 + 1, 1), 1);
    EXPECT_THAT(world.messages(), ElementsAre("log[get_sim_strquality_item]: 3G/4G-2 is dead"));
    expect_sec({sim_at(t0, none, others), sim_at(t0 + 1, some, none)});
}

TEST_F(Sim, AStateThatCannotBeReadIsADeadOne) {
    start();
    measures(1, some);
    measures(2, others);
    world.csman.fail_reads(sim_state, 1);
    ASSERT_EQ(loop(module, 1), 1);
    EXPECT_THAT(world.messages(), ElementsAre("log[get_sim_strquality_item]: 3G/4G-1 is dead"));
    expect_sec({sim_at(t0, none, others)});
}

TEST_F(Sim, WithBothSlotsDeadThereIsNoSample) {
    start();
    state(1, 0);
    state(2, 0);
    EXPECT_EQ(loop_at(module, t0 + 3600, 1), 0);
    EXPECT_THAT(world.messages(), ElementsAre("log[get_sim_strquality_item]: 3G/4G-1 is dead",
                                              "log[get_sim_strquality_item]: 3G/4G-2 is dead"));
    expect_sec({});
}

TEST_F(Sim, WithBothSlotsDisabledThereIsNoSampleAndNoMessage) {
    ASSERT_EQ(init(module), 1);
    state(1, 1);
    state(2, 1);
    new_csman_calls();
    EXPECT_EQ(loop_at(module, t0 + 3600, 1), 0);
    EXPECT_THAT(new_csman_calls(), IsEmpty());
    EXPECT_THAT(world.messages(), IsEmpty());
    expect_sec({});
}

TEST_F(Sim, OnlyAStateOfOneEnablesASlot) {
    measures(1, some);
    measures(2, others);
    for (const int32_t value : {0, 2, -1, 100}) {
        state(1, value);
        state(2, 1);
        ASSERT_EQ(init(module), 1);
        ASSERT_EQ(loop(module, 1), 1);
        expect_sec({sim_at(t0, none, others)});
        EXPECT_EQ(check(module), 1);
        ASSERT_EQ(loop_at(module, t0, 1), 1);
        expect_sec({sim_at(t0, none, others), sim_at(t0, none, others)});
    }
    EXPECT_THAT(world.messages(), IsEmpty());
}

TEST_F(Sim, AnEnabledSlotLivesOnWithAnyStateButZeroUntilTheNextCheck) {
    start();
    measures(1, some);
    measures(2, others);
    state(1, 2);
    state(2, -1);
    ASSERT_EQ(loop(module, 1), 1);
    expect_sec({sim_at(t0, some, others)});
    EXPECT_EQ(check(module), 1);
    EXPECT_EQ(loop_at(module, t0 + 1, 1), 0);
    expect_sec({sim_at(t0, some, others)});
    EXPECT_THAT(world.messages(), IsEmpty());
}

TEST_F(Sim, ACheckEnablesASlotThatHasComeToLife) {
    state(1, 0);
    state(2, 1);
    ASSERT_EQ(init(module), 1);
    measures(1, some);
    measures(2, others);
    state(1, 1);
    ASSERT_EQ(loop(module, 1), 1);
    expect_sec({sim_at(t0, none, others)});
    new_csman_calls();
    const std::vector<std::string> files = world.list("/tmp/dashboard");
    EXPECT_EQ(check(module), 1);
    EXPECT_THAT(new_csman_calls(), ElementsAre("read_int 7 0x801e5020", "read_int 7 0x801e5021"));
    EXPECT_EQ(world.list("/tmp/dashboard"), files);
    ASSERT_EQ(loop_at(module, t0 + 1, 1), 1);
    expect_sec({sim_at(t0, none, others), sim_at(t0 + 1, some, others)});
    EXPECT_THAT(world.messages(), IsEmpty());
}

TEST_F(Sim, ACheckThatCannotReadTheStateDisablesTheSlot) {
    start();
    world.csman.fail_reads(sim_state + 1, 1);
    EXPECT_EQ(check(module), 1);
    measures(1, some);
    measures(2, others);
    ASSERT_EQ(loop(module, 1), 1);
    expect_sec({sim_at(t0, some, none)});
    EXPECT_THAT(world.messages(), IsEmpty());
}

// ---- averages and exports

TEST_F(Sim, AveragesAreSignedAndCutTowardsZero) {
    start();
    measure_at(t0 + 1, {7, 70, -7, -3, 1, 0}, {INT32_MAX, INT32_MIN, 1, -1, 100, 2});
    measure_at(t0 + 60, {8, 71, -8, -4, 0, 0}, {1, -1, 0, 0, 101, 3}, 1);
    // Sums of 32 bits: 2^31 - 1 + 1 wraps to -2^31, -2^31 - 1 to 2^31 - 1.
    expect_document("sim_strquality_min",
                    sim_document({sim_at(t0 + 60, {7, 70, -7, -3, 0, 0}, {-1073741824, 1073741823, 0, 0, 100, 2})}));
}

TEST_F(Sim, SamplesOfADeadSlotTakePartWithTheirZeros) {
    start();
    measure_at(t0 + 1, {60, 90, 12, 9, 30, 6}, {50, 50, 50, 50, 50, 50});
    state(1, 0);
    measure_at(t0 + 2, none, {50, 50, 50, 50, 50, 50});
    measure_at(t0 + 60, none, {50, 50, 50, 50, 50, 50}, 1);
    expect_document("sim_strquality_min",
                    sim_document({sim_at(t0 + 60, {20, 30, 4, 3, 10, 2}, {50, 50, 50, 50, 50, 50})}));
}

TEST_F(Sim, AsCsvShowsTheSamplesOwnValuesTwoRowsANumber) {
    start();
    measure_at(t0, {75, 101, 11, 9, 88, 6}, none);
    measure_at(t0 + 1, {-75, 0, 1, -9, 2, 3}, {51, 80, 10, -3, 70, 5});
    const int32_t seconds = 0;
    EXPECT_EQ(module.data_export(csman_handle_of_tests, &seconds), 1);
    expect_file("/tmp/dashboard/sim_strquality_sec_0.csv", "count,index,RSSI,RSRP,RSRQ,SINR,RSCP,EcIo\n"
                                                           "1,1,-75,-101,-11,9,-88,-6\n"
                                                           "1,2,-0,-0,-0,0,-0,-0\n"
                                                           "2,1,--75,-0,-1,-9,-2,-3\n"
                                                           "2,2,-51,-80,-10,-3,-70,-5\n");
}

TEST_F(Sim, CheckWithoutAStoreWarns) {
    EXPECT_EQ(check(module), 0);
    EXPECT_THAT(world.messages(), ElementsAre("warn[sim_strquality_check]: can't do check function"));
}

} // namespace
} // namespace dashboard::testing
