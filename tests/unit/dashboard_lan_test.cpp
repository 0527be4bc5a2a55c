// LAN traffic: which bridges are followed, what a second's sample says of them, and what its documents show.
#include "monitors/monitors.h"
#include "tests/models/records.h"
#include "tests/unit/monitor_fixture.h"

#include <cstdint>

namespace dashboard::testing {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

class Lan : public monitor_fixture {
protected:
    int init_it() { return init(lan_traffic_monitor); }
    int check_it() { return check(lan_traffic_monitor); }
    int loop_it(int32_t viewer = 1) { return loop(lan_traffic_monitor, viewer); }
    void expect_sec(const std::vector<size_t>& in_use, const std::vector<traffic_record>& samples) {
        expect_document("lan_traffic_sec", traffic_document("lan", in_use, samples));
    }
};

using LanBridges = Lan;

TEST_F(LanBridges, AreBr0ToBr4AndShownAsLan1ToLan5) {
    interfaces({{"br0", 1, 2}, {"br1", 3, 4}, {"br2", 5, 6}, {"br3", 7, 8}, {"br4", 9, 10}, {"br5", 11, 12}});
    ASSERT_EQ(init_it(), 1);
    ASSERT_EQ(loop_it(), 1);
    expect_document("lan_traffic_sec", R"(<?xml version="1.0" ?>
<datalist>
    <time>1700000000000</time>
    <lan1_tx>2</lan1_tx>
    <lan1_rx>1</lan1_rx>
    <lan1_txrx>3</lan1_txrx>
    <lan2_tx>4</lan2_tx>
    <lan2_rx>3</lan2_rx>
    <lan2_txrx>7</lan2_txrx>
    <lan3_tx>6</lan3_tx>
    <lan3_rx>5</lan3_rx>
    <lan3_txrx>11</lan3_txrx>
    <lan4_tx>8</lan4_tx>
    <lan4_rx>7</lan4_rx>
    <lan4_txrx>15</lan4_txrx>
    <lan5_tx>10</lan5_tx>
    <lan5_rx>9</lan5_rx>
    <lan5_txrx>19</lan5_txrx>
</datalist>
)");
    EXPECT_THAT(world.messages(), IsEmpty());
}

TEST_F(LanBridges, ReadNothingOfTheConfigurationButTheStartMarker) {
    interfaces({{"br0", 1, 2}});
    ASSERT_EQ(init_it(), 1);
    ASSERT_EQ(check_it(), 1);
    ASSERT_EQ(loop_it(), 1);
    EXPECT_THAT(world.calls("csman"), ElementsAre("read_int 7 0x8015043e", "write_int 7 0x8015043e 5"));
}

TEST_F(LanBridges, WithoutOneTheLoopFailsSilently) {
    interfaces({{"eth0", 1, 2}, {"br5", 3, 4}, {"br", 5, 6}});
    ASSERT_EQ(init_it(), 1);
    ASSERT_EQ(check_it(), 1);
    EXPECT_EQ(loop_it(), 0);
    EXPECT_THAT(world.messages(), IsEmpty());
    for (const char* series : {"sec", "min", "hour"}) {
        expect_document(std::string("lan_traffic_") + series, datalist(""));
    }
}

TEST_F(LanBridges, ThatComeUpAreShownFromTheNextCheckOnWithZerosBefore) {
    interfaces({{"br0", 10, 20}});
    ASSERT_EQ(init_it(), 1);
    ASSERT_EQ(loop_it(), 1);
    interfaces({{"br0", 10, 20}, {"br1", 30, 40}});
    world.clock.set(t0 + 1);
    ASSERT_EQ(loop_it(), 1);
    expect_sec({1}, {traffic_at(t0, {{1, 20, 10}}), traffic_at(t0 + 1, {{1, 20, 10}})});
    ASSERT_EQ(check_it(), 1);
    world.clock.set(t0 + 2);
    ASSERT_EQ(loop_it(), 1);
    expect_document("lan_traffic_sec", R"(<?xml version="1.0" ?>
<datalist>
    <time>1700000000000</time>
    <lan1_tx>20</lan1_tx>
    <lan1_rx>10</lan1_rx>
    <lan1_txrx>30</lan1_txrx>
    <lan2_tx>0</lan2_tx>
    <lan2_rx>0</lan2_rx>
    <lan2_txrx>0</lan2_txrx>
    <time>1700000001000</time>
    <lan1_tx>20</lan1_tx>
    <lan1_rx>10</lan1_rx>
    <lan1_txrx>30</lan1_txrx>
    <lan2_tx>0</lan2_tx>
    <lan2_rx>0</lan2_rx>
    <lan2_txrx>0</lan2_txrx>
    <time>1700000002000</time>
    <lan1_tx>20</lan1_tx>
    <lan1_rx>10</lan1_rx>
    <lan1_txrx>30</lan1_txrx>
    <lan2_tx>40</lan2_tx>
    <lan2_rx>30</lan2_rx>
    <lan2_txrx>70</lan2_txrx>
</datalist>
)");
}

TEST_F(LanBridges, ThatGoAwayAreReportedEverySecondAndShowZero) {
    interfaces({{"br0", 10, 20}, {"br2", 1, 1}});
    ASSERT_EQ(init_it(), 1);
    ASSERT_EQ(loop_it(), 1);
    alive({"br2"});
    ASSERT_EQ(check_it(), 1) << "a check never clears a flag";
    for (int i = 1; i <= 2; ++i) {
        world.clock.set(t0 + i);
        ASSERT_EQ(loop_it(), 1);
        EXPECT_THAT(world.messages(), ElementsAre("log[get_lan_traffic_item]: netdev(br0) is not alive"));
    }
    expect_sec({1, 3}, {traffic_at(t0, {{1, 20, 10}, {3, 1, 1}}), traffic_at(t0 + 1, {{3, 1, 1}}),
                        traffic_at(t0 + 2, {{3, 1, 1}})});
}

TEST_F(LanBridges, TheLastOfWhichIsGoneStillGiveASample) {
    interfaces({{"br0", 10, 20}, {"br2", 1, 1}});
    ASSERT_EQ(init_it(), 1);
    alive({"br0"});
    ASSERT_EQ(loop_it(), 1);
    expect_sec({1, 3}, {traffic_at(t0, {{1, 20, 10}})});
}

TEST_F(LanBridges, AreLookedForAfreshByInit) {
    interfaces({{"br0", 10, 20}, {"br1", 1, 1}});
    ASSERT_EQ(init_it(), 1);
    alive({"br1"});
    ASSERT_EQ(init_it(), 1) << "a start may clear flags";
    ASSERT_EQ(loop_it(), 1);
    EXPECT_THAT(world.messages(), IsEmpty());
    expect_sec({2}, {traffic_at(t0, {{2, 1, 1}})});
}

TEST_F(LanBridges, ThatAllWentAwayLeaveNothingToSample) {
    interfaces({{"br0", 10, 20}});
    ASSERT_EQ(init_it(), 1);
    alive({});
    world.messages();
    EXPECT_EQ(loop_it(), 0);
    EXPECT_THAT(world.messages(), ElementsAre("log[get_lan_traffic_item]: netdev(br0) is not alive"));
    expect_sec({1}, {});
}

TEST_F(LanBridges, WithoutCountersAreReported) {
    interfaces({{"br0", 10, 20}});
    ASSERT_EQ(init_it(), 1);
    counters({{"eth0", 1, 2}});
    EXPECT_EQ(loop_it(), 0);
    EXPECT_THAT(world.messages(), ElementsAre("log[get_lan_traffic_item]: can not find netdev(br0)"));
}

TEST_F(LanBridges, AreFoundByPrefix) {
    interfaces({{"br0.7", 1, 2}, {"br0", 30, 40}});
    ASSERT_EQ(init_it(), 1);
    ASSERT_EQ(loop_it(), 1);
    expect_sec({1}, {traffic_at(t0, {{1, 2, 1}})});
}

TEST_F(LanBridges, CheckWithoutAStoreFailsSilently) {
    EXPECT_EQ(check_it(), 0);
    EXPECT_THAT(world.messages(), IsEmpty());
}

using LanDocument = Lan;

TEST_F(LanDocument, CountersNearTwoToThe64WrapInSumsAndAverages) {
    interfaces({{"br0", 18446744073709551615u, 18446744073709551615u}});
    ASSERT_EQ(init_it(), 1);
    ASSERT_EQ(loop_it(0), 1);
    counters({{"br0", 2, 4}});
    ASSERT_EQ(loop_at(lan_traffic_monitor, t0 + 60, 1), 1);
    expect_sec({1}, {traffic_at(t0, {{1, UINT64_MAX, UINT64_MAX}}), traffic_at(t0 + 60, {{1, 4, 2}})});
    expect_document("lan_traffic_min", R"(<?xml version="1.0" ?>
<datalist>
    <time>1700000060000</time>
    <lan1_tx>1</lan1_tx>
    <lan1_rx>0</lan1_rx>
    <lan1_txrx>2</lan1_txrx>
</datalist>
)");
}

int export_it(int32_t selector) {
    return lan_traffic_monitor.data_export(csman_handle_of_tests, &selector);
}

TEST_F(LanDocument, AsCsvShowsTheBridgesThatAreFollowedWhenItIsWritten) {
    interfaces({{"br0", 10, 20}});
    ASSERT_EQ(init_it(), 1);
    ASSERT_EQ(loop_it(0), 1);
    EXPECT_EQ(export_it(0), 0) << "one sample only";
    interfaces({{"br0", 15, 20}, {"br1", 1, 2}});
    ASSERT_EQ(check_it(), 1);
    ASSERT_EQ(loop_it(0), 1);
    counters({{"br0", 14, 21}, {"br1", 1, 2}});
    ASSERT_EQ(loop_it(0), 1);
    ASSERT_EQ(export_it(0), 1);
    expect_file("/tmp/dashboard/lan_traffic_sec_0.csv", R"(count,index,tx,rx,txrx
1,1,0,5,5
1,2,2,1,3
2,1,1,18446744073709551615,0
2,2,0,0,0
)");
}

} // namespace
} // namespace dashboard::testing
