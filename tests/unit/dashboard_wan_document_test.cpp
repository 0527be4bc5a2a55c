// WAN traffic: its documents and exports, compared whole.
#include "tests/unit/traffic_model.h"
#include "tests/unit/wan_fixture.h"

#include <cerrno>
#include <cstdint>

namespace dashboard::testing {
namespace {

using ::testing::ElementsAre;

class WanDocument : public wan_fixture {
protected:
    // WAN 1 is eth0, WAN 3 is eth1.
    void start() {
        bind(0, "eth0");
        bind(2, "eth1");
        interfaces({{"eth0", 0, 0}, {"eth1", 0, 0}});
        ASSERT_EQ(init_it(), 1);
        world.messages();
    }
    // One second, both in the world and in the model. Counters move every second at first, later every twentieth.
    void live(int i, int32_t viewer) {
        const int moved = i < 130 ? i : i - i % 20;
        const uint64_t base = static_cast<uint64_t>(moved) * static_cast<uint64_t>(moved);
        if (moved == i) {
            counters({{"eth0", base, 7 * base + 1}, {"eth1", UINT64_MAX - base, 3}});
        }
        EXPECT_TRUE(model.feed(traffic_at(t0 + i, {{1, 7 * base + 1, base}, {3, 3, UINT64_MAX - base}})));
        ASSERT_EQ(loop_at(wan_traffic_monitor, t0 + i, viewer), 1) << i;
    }
    void live_through(int first, int last) {
        for (int i = first; i <= last; ++i) {
            live(i, i == last ? 1 : 0);
        }
    }
    void expect_model(const std::string& series, const ring_model<traffic_model_sample>& ring) {
        expect_document("wan_traffic_" + series, traffic_document("wan", {1, 3}, ring.newest(72)));
    }

    history_model<traffic_model_sample> model{t0};
};

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

TEST_F(WanDocument, ShowsAFullSpan) {
    start();
    live_through(0, 71);
    expect_model("sec", model.sec);
    ASSERT_EQ(model.sec.held.size(), 72u);
}

TEST_F(WanDocument, ShowsTheNewestOfAWrappedRing) {
    start();
    live_through(0, 299);
    expect_model("sec", model.sec);
    EXPECT_EQ(wan_traffic_monitor.write_min(csman_handle_of_tests, nullptr), 1);
    expect_model("min", model.min);
    EXPECT_EQ(model.min.held.size(), 4u);
}

TEST_F(WanDocument, ShowsAnHourOfRollUps) {
    start();
    live_through(0, 3660);
    expect_model("sec", model.sec);
    expect_model("min", model.min);
    expect_model("hour", model.hour);
    EXPECT_EQ(model.min.held.size(), 61u);
    EXPECT_EQ(model.hour.held.size(), 1u);
}

TEST_F(WanDocument, OfEverySeriesShowsTheNewestAlsoWhenItsRingHasWrapped) {
    start();
    for (int i = 1; i <= 130; ++i) { // hour after hour, each a sample of every series
        const uint64_t sent = UINT64_MAX - 7000 + 100 * static_cast<uint64_t>(i); // wraps on its way
        counters({{"eth0", 5, sent}, {"eth1", 2 * sent, 3}});
        const bool fed = model.feed(traffic_at(t0 + 3600 * i, {{1, sent, 5}, {3, 3, 2 * sent}}));
        ASSERT_EQ(loop_at(wan_traffic_monitor, t0 + 3600 * i, 1), fed ? 1 : 0) << i;
        if (is_turning_point(i, 72)) {
            expect_model("sec", model.sec);
            expect_model("min", model.min);
            expect_model("hour", model.hour);
        }
    }
    EXPECT_EQ(model.hour.held.size(), 119u);
    EXPECT_GT(model.hour.held.front().time, t0 + 3600);
}

class WanExport : public WanDocument {
protected:
    static int export_it(int32_t selector) { return wan_traffic_monitor.data_export(csman_handle_of_tests, &selector); }
    static std::string csv(const std::string& series) { return "/tmp/dashboard/wan_traffic_" + series + "_0.csv"; }
};

TEST_F(WanExport, WritesTheSeriesThatIsSelected) {
    start();
    live_through(0, 7300);
    ASSERT_EQ(model.hour.held.size(), 2u);
    const ring_model<traffic_model_sample>* rings[] = {&model.sec, &model.min, &model.hour};
    const char* const names[] = {"sec", "min", "hour"};
    for (int32_t selector = 0; selector < 3; ++selector) {
        ASSERT_EQ(export_it(selector), 1) << selector;
        expect_file(csv(names[selector]), traffic_export({1, 3}, rings[selector]->newest(72)));
        EXPECT_EQ(world.link_target(std::string("/usr/www/wan_traffic_") + names[selector] + "_0.csv"),
                  csv(names[selector]));
        EXPECT_FALSE(world.exists(std::string("/tmp/dashboard/wan_traffic_") + names[selector] + "_0_tmp.csv"));
        EXPECT_EQ(world.commands().back().file, "dashboard_wan");
        EXPECT_EQ(world.commands().back().func, std::string("data_export_wan_traffic_") + names[selector]);
    }
}

TEST_F(WanExport, NumbersSamplesAndSlotsFromOne) {
    start();
    live_through(0, 2);
    ASSERT_EQ(export_it(0), 1);
    expect_file(csv("sec"), R"(count,index,tx,rx,txrx
1,1,7,1,8
1,3,0,18446744073709551615,18446744073709551615
2,1,21,3,24
2,3,0,18446744073709551613,18446744073709551613
)");
}

TEST_F(WanExport, ReportsATemporaryFileThatCannotBeOpened) {
    start();
    live_through(0, 2);
    const char* const names[] = {"sec", "min", "hour"};
    for (int32_t selector = 0; selector < 3; ++selector) {
        const std::string name = std::string("wan_traffic_") + names[selector];
        world.fail("open", ENOSPC, name + "_0_tmp.csv");
        EXPECT_EQ(export_it(selector), 0);
        EXPECT_THAT(world.messages(), ElementsAre("warn[data_export_" + name + "]: open file(/tmp/dashboard/" + name +
                                                  "_0_tmp.csv) error(No space left on device)!"));
    }
}

} // namespace
} // namespace dashboard::testing
