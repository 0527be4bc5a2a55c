// WAN traffic: which interfaces are followed, and what a second's sample says of them.
#include "tests/unit/wan_fixture.h"

#include <cstdint>

namespace dashboard::testing {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

class WanNames : public wan_fixture {};

TEST_F(WanNames, ComeFromTheItemThatTheBindingChooses) {
    const struct {
        int32_t binding;
        const char* read; // the call that reads the name; empty: none
    } cases[] = {{99, "read 7 0x8001000b 16 4"},
                 {1, "read 7 0x80010190 16 4"},
                 {2, "read 7 0x80010191 16 4"},
                 {15, "read 7 0x8001019e 16 4"},
                 {16, "read 7 0x8001019f 16 4"},
                 {0, ""},
                 {17, ""},
                 {98, ""},
                 {100, ""},
                 {-1, ""},
                 {INT32_MIN, ""},
                 {INT32_MAX, ""}};
    for (const auto& one : cases) {
        world.csman.set(wan_binding, one.binding);
        world.forget_calls();
        ASSERT_EQ(init_it(), 1);
        const std::vector<std::string> calls = world.calls("csman");
        EXPECT_EQ(calls[0], "read_int 7 0x10600");
        EXPECT_EQ(calls[1], one.read[0] != '\0' ? one.read : "read_int 7 0x10601") << one.binding;
    }
}

TEST_F(WanNames, AreReadForAllSixteenSlotsInOrder) {
    std::vector<std::string> expected;
    for (const char* digit : {"0", "1", "2", "3", "4", "5", "6", "7", "8", "9", "a", "b", "c", "d", "e", "f"}) {
        expected.push_back(std::string("read_int 7 0x1060") + digit);
        expected.push_back(std::string("read 7 0x8001019") + digit + " 16 4");
    }
    for (uint32_t slot = 0; slot < 16; ++slot) {
        bind(slot, "eth" + std::to_string(slot));
    }
    ASSERT_EQ(init_it(), 1);
    std::vector<std::string> at_init = expected;
    at_init.emplace_back("read_int 7 0x8015043e");
    at_init.emplace_back("write_int 7 0x8015043e 3");
    EXPECT_EQ(world.calls("csman"), at_init);
    world.forget_calls();
    ASSERT_EQ(check_it(), 1);
    EXPECT_EQ(world.calls("csman"), expected);
}

TEST_F(WanNames, AreAnnouncedAtInitCountedFromZero) {
    world.csman.set(wan_binding, 99);
    world.csman.set_string(wan_name_99, "ppp0");
    bind(15, "usbnet0");
    ASSERT_EQ(init_it(), 1);
    EXPECT_THAT(world.messages(),
                ElementsAre("log[wan_traffic_init]: Add WAN0:(ppp0)", "log[wan_traffic_init]: Add WAN15:(usbnet0)"));
}

TEST_F(WanNames, OfSixteenCharactersAreKeptWholeAndBesideTheirNeighbours) {
    bind(0, "sixteen-chars-xy");
    bind(1, "fifteen-chars-x");
    ASSERT_EQ(init_it(), 1);
    EXPECT_THAT(world.messages(), ElementsAre("log[wan_traffic_init]: Add WAN0:(sixteen-chars-xy)",
                                              "log[wan_traffic_init]: Add WAN1:(fifteen-chars-x)"));
    interfaces({{"fifteen-chars-x", 1, 2}});
    EXPECT_EQ(loop_it(), 1);
    EXPECT_THAT(world.messages(), ElementsAre("log[get_wan_traffic_item]: sixteen-chars-xy is dead"));
}

TEST_F(WanNames, ThatCannotBeReadLeaveTheSlotEmpty) {
    bind(0, "eth0");
    bind(1, "eth1");
    world.csman.fail_reads(wan_binding, 1);
    world.csman.fail_reads(wan_name + 2, 1);
    ASSERT_EQ(init_it(), 1);
    EXPECT_THAT(world.messages(), IsEmpty());
    interfaces({{"eth0", 1, 2}, {"eth1", 3, 4}});
    EXPECT_EQ(loop_it(), 0);
}

TEST_F(WanNames, CheckTakesUpNewAndChangedOnesSilently) {
    bind(0, "eth0");
    ASSERT_EQ(init_it(), 1);
    world.messages();
    world.csman.set_string(wan_name + 1, "eth7");
    bind(2, "eth2");
    ASSERT_EQ(check_it(), 1);
    EXPECT_THAT(world.messages(), IsEmpty());
    EXPECT_EQ(loop_it(), 0);
    EXPECT_THAT(world.messages(),
                ElementsAre("log[get_wan_traffic_item]: eth7 is dead", "log[get_wan_traffic_item]: eth2 is dead"));
}

TEST_F(WanNames, CheckKeepsOneWhoseBindingWasClearedOrCannotBeRead) {
    bind(0, "eth0");
    bind(1, "eth1");
    bind(2, "eth2");
    ASSERT_EQ(init_it(), 1);
    world.messages();
    world.csman.set(wan_binding, 0);
    world.csman.fail_reads(wan_binding + 1, -1);
    world.csman.fail_reads(wan_name + 3, -1);
    ASSERT_EQ(check_it(), 1);
    EXPECT_EQ(loop_it(), 0);
    EXPECT_THAT(world.messages(),
                ElementsAre("log[get_wan_traffic_item]: eth0 is dead", "log[get_wan_traffic_item]: eth1 is dead",
                            "log[get_wan_traffic_item]: eth2 is dead"));
    ASSERT_EQ(init_it(), 1);
    EXPECT_THAT(world.messages(), IsEmpty()) << "a new start forgets them";
}

TEST_F(WanNames, CheckWithoutAStoreWarns) {
    EXPECT_EQ(check_it(), 0);
    EXPECT_THAT(world.messages(), ElementsAre("warn[wan_traffic_check]: can't do check function"));
    EXPECT_THAT(world.calls("csman"), IsEmpty());
}

class WanSample : public wan_fixture {};

TEST_F(WanSample, IsNotTakenWhileNoSlotIsInUse) {
    interfaces({{"eth0", 1, 2}});
    ASSERT_EQ(init_it(), 1);
    EXPECT_EQ(loop_it(), 0);
    EXPECT_THAT(world.messages(), IsEmpty());
    expect_document("wan_traffic_sec", datalist(""));
    expect_document("wan_traffic_min", datalist(""));
    expect_document("wan_traffic_hour", datalist(""));
}

TEST_F(WanSample, ReportsADeadInterfaceEverySecond) {
    counters({{"eth0", 1, 2}});
    bind(0, "eth0");
    ASSERT_EQ(init_it(), 1);
    world.messages();
    for (int i = 0; i < 3; ++i) {
        EXPECT_EQ(loop_it(), 0);
        EXPECT_THAT(world.messages(), ElementsAre("log[get_wan_traffic_item]: eth0 is dead"));
    }
    expect_document("wan_traffic_sec", datalist(""));
}

TEST_F(WanSample, ReportsALivingInterfaceWithoutCounters) {
    alive({"eth0"});
    bind(0, "eth0");
    ASSERT_EQ(init_it(), 1);
    world.messages();
    EXPECT_EQ(loop_it(), 0);
    EXPECT_THAT(world.messages(), ElementsAre("log[get_wan_traffic_item]: can not find netdev(eth0)"));
}

TEST_F(WanSample, NeverFollowsTheLoopback) {
    interfaces({{"lo", 1, 2}});
    bind(0, "lo");
    ASSERT_EQ(init_it(), 1);
    world.messages();
    EXPECT_EQ(loop_it(), 0);
    EXPECT_THAT(world.messages(), ElementsAre("log[get_wan_traffic_item]: lo is dead"));
}

TEST_F(WanSample, TakesTheFirstInterfaceThatBeginsWithTheName) {
    interfaces({{"eth0.2", 1, 2}, {"eth0", 30, 40}});
    bind(0, "eth0");
    ASSERT_EQ(init_it(), 1);
    ASSERT_EQ(loop_it(), 1);
    expect_document("wan_traffic_sec", R"(<?xml version="1.0" ?>
<datalist>
    <time>1700000000000</time>
    <wan1_tx>2</wan1_tx>
    <wan1_rx>1</wan1_rx>
    <wan1_txrx>3</wan1_txrx>
</datalist>
)");
}

TEST_F(WanSample, ServesTwoSlotsFromOneInterface) {
    interfaces({{"eth0", 1000, 2000}});
    world.csman.set(wan_binding, 99);
    world.csman.set_string(wan_name_99, "eth0");
    world.csman.set(wan_binding + 1, 1);
    world.csman.set_string(wan_name + 1, "eth0");
    ASSERT_EQ(init_it(), 1);
    ASSERT_EQ(loop_it(), 1);
    expect_document("wan_traffic_sec", R"(<?xml version="1.0" ?>
<datalist>
    <time>1700000000000</time>
    <wan1_tx>2000</wan1_tx>
    <wan1_rx>1000</wan1_rx>
    <wan1_txrx>3000</wan1_txrx>
    <wan2_tx>2000</wan2_tx>
    <wan2_rx>1000</wan2_rx>
    <wan2_txrx>3000</wan2_txrx>
</datalist>
)");
}

TEST_F(WanSample, HoldsZeroForTheSlotThatIsDown) {
    interfaces({{"eth0", 1000, 2000}, {"eth1", 5, 6}});
    bind(0, "eth0");
    bind(1, "eth1");
    ASSERT_EQ(init_it(), 1);
    ASSERT_EQ(loop_it(), 1);
    alive({"eth0"});
    world.clock.set(t0 + 1);
    ASSERT_EQ(loop_it(), 1) << "one living slot is enough";
    expect_document("wan_traffic_sec", R"(<?xml version="1.0" ?>
<datalist>
    <time>1700000000000</time>
    <wan1_tx>2000</wan1_tx>
    <wan1_rx>1000</wan1_rx>
    <wan1_txrx>3000</wan1_txrx>
    <wan2_tx>6</wan2_tx>
    <wan2_rx>5</wan2_rx>
    <wan2_txrx>11</wan2_txrx>
    <time>1700000001000</time>
    <wan1_tx>2000</wan1_tx>
    <wan1_rx>1000</wan1_rx>
    <wan1_txrx>3000</wan1_txrx>
    <wan2_tx>0</wan2_tx>
    <wan2_rx>0</wan2_rx>
    <wan2_txrx>0</wan2_txrx>
</datalist>
)");
}

TEST_F(WanSample, LooksAtEverySlotAlsoAfterADeadOne) {
    interfaces({{"eth1", 5, 6}});
    bind(0, "eth0");
    bind(1, "eth1");
    bind(2, "eth2");
    ASSERT_EQ(init_it(), 1);
    world.messages();
    ASSERT_EQ(loop_it(), 1);
    EXPECT_THAT(world.messages(),
                ElementsAre("log[get_wan_traffic_item]: eth0 is dead", "log[get_wan_traffic_item]: eth2 is dead"));
}

} // namespace
} // namespace dashboard::testing
