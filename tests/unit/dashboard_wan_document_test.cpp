// WAN traffic: what its documents show, compared whole.
#include "tests/models/records.h"
#include "tests/unit/wan_fixture.h"

#include <cstdint>

namespace dashboard::testing {
namespace {

using WanDocument = wan_fixture;

TEST_F(WanDocument, ShowsTheSlotsThatAreInUseWhenItIsWritten) {
    interfaces({{"eth0", 10, 20}, {"eth1", 30, 40}});
    bind(0, "eth0");
    ASSERT_EQ(init_it(), 1);
    ASSERT_EQ(loop_it(), 1);
    bind(15, "eth1");
    ASSERT_EQ(check_it(), 1);
    world.clock.set(t0 + 1);
    ASSERT_EQ(loop_it(), 1);
    expect_document("wan_traffic_sec", R"(<?xml version="1.0" ?>
<datalist>
    <time>1700000000000</time>
    <wan1_tx>20</wan1_tx>
    <wan1_rx>10</wan1_rx>
    <wan1_txrx>30</wan1_txrx>
    <wan16_tx>0</wan16_tx>
    <wan16_rx>0</wan16_rx>
    <wan16_txrx>0</wan16_txrx>
    <time>1700000001000</time>
    <wan1_tx>20</wan1_tx>
    <wan1_rx>10</wan1_rx>
    <wan1_txrx>30</wan1_txrx>
    <wan16_tx>40</wan16_tx>
    <wan16_rx>30</wan16_rx>
    <wan16_txrx>70</wan16_txrx>
</datalist>
)");
}

TEST_F(WanDocument, ShowsAllSixteenSlotsInOrder) {
    std::vector<interface_bytes> all;
    std::vector<entity_bytes> entities;
    std::vector<size_t> in_use;
    for (uint32_t slot = 0; slot < 16; ++slot) {
        const std::string name = "wan-" + std::string(1, static_cast<char>('a' + slot));
        bind(slot, name);
        all.push_back({name, 100 + slot, 200 + slot});
        entities.push_back({slot + 1, 200 + slot, 100 + slot});
        in_use.push_back(slot + 1);
    }
    interfaces(all);
    ASSERT_EQ(init_it(), 1);
    ASSERT_EQ(loop_it(), 1);
    expect_document("wan_traffic_sec", traffic_document("wan", in_use, {traffic_at(t0, entities)}));
}

TEST_F(WanDocument, SumsWrapAtTwoToThe64) {
    bind(0, "eth0");
    interfaces({{"eth0", 18446744073709551615u, 18446744073709551614u}});
    ASSERT_EQ(init_it(), 1);
    ASSERT_EQ(loop_it(), 1);
    counters({{"eth0", 5, 4}});
    world.clock.set(t0 + 60);
    ASSERT_EQ(loop_it(), 1);
    expect_document("wan_traffic_sec", R"(<?xml version="1.0" ?>
<datalist>
    <time>1700000000000</time>
    <wan1_tx>18446744073709551614</wan1_tx>
    <wan1_rx>18446744073709551615</wan1_rx>
    <wan1_txrx>18446744073709551613</wan1_txrx>
    <time>1700000060000</time>
    <wan1_tx>4</wan1_tx>
    <wan1_rx>5</wan1_rx>
    <wan1_txrx>9</wan1_txrx>
</datalist>
)");
    // The averages: (2^64 - 2 + 4) / 2 = 1, (2^64 - 1 + 5) / 2 = 2, (2^64 - 3 + 9) / 2 = 3.
    expect_document("wan_traffic_min", R"(<?xml version="1.0" ?>
<datalist>
    <time>1700000060000</time>
    <wan1_tx>1</wan1_tx>
    <wan1_rx>2</wan1_rx>
    <wan1_txrx>3</wan1_txrx>
</datalist>
)");
}

TEST_F(WanDocument, MinuteAveragesCountTheSecondsInWhichASlotWasDown) {
    bind(0, "eth0");
    bind(1, "eth1");
    interfaces({{"eth0", 100, 100}, {"eth1", 100, 200}});
    ASSERT_EQ(init_it(), 1);
    ASSERT_EQ(loop_it(0), 1);
    alive({"eth0"});
    ASSERT_EQ(loop_at(wan_traffic_monitor, t0 + 1), 1);
    ASSERT_EQ(loop_at(wan_traffic_monitor, t0 + 2), 1);
    alive({"eth0", "eth1"});
    ASSERT_EQ(loop_at(wan_traffic_monitor, t0 + 60, 1), 1);
    expect_document("wan_traffic_min", R"(<?xml version="1.0" ?>
<datalist>
    <time>1700000060000</time>
    <wan1_tx>100</wan1_tx>
    <wan1_rx>100</wan1_rx>
    <wan1_txrx>200</wan1_txrx>
    <wan2_tx>100</wan2_tx>
    <wan2_rx>50</wan2_rx>
    <wan2_txrx>150</wan2_txrx>
</datalist>
)");
}

TEST_F(WanDocument, AsCsvNumbersSamplesAndSlotsFromOne) {
    bind(0, "eth0");
    bind(2, "eth1");
    interfaces({{"eth0", 0, 0}, {"eth1", 0, 0}});
    ASSERT_EQ(init_it(), 1);
    for (const uint64_t moved : {0u, 1u, 4u}) {
        counters({{"eth0", moved, 7 * moved + 1}, {"eth1", UINT64_MAX - moved, 3}});
        ASSERT_EQ(loop_it(), 1);
    }
    const int32_t seconds = 0;
    ASSERT_EQ(wan_traffic_monitor.data_export(csman_handle_of_tests, &seconds), 1);
    expect_file("/tmp/dashboard/wan_traffic_sec_0.csv", R"(count,index,tx,rx,txrx
1,1,7,1,8
1,3,0,18446744073709551615,18446744073709551615
2,1,21,3,24
2,3,0,18446744073709551613,18446744073709551613
)");
}

} // namespace
} // namespace dashboard::testing
