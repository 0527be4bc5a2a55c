// The current-traffic snapshot: its interfaces, their kinds and their rates.
#include "tests/unit/current_fixture.h"

#include <cstdint>

namespace dashboard::testing {
namespace {

class CurrentDevices : public current_fixture {
protected:
    CurrentDevices() { start_quietly(); }
};

TEST_F(CurrentDevices, ArePublishedWhole) {
    interfaces({{"lo", 9, 9}, {"eth0", 1000, 2000}, {"rai0", 5, 6}});
    world.csman.set(eth_port_count, 2);
    world.csman.set(eth_port, 1);
    world.csman.set(eth_port + 1, 0);
    world.csman.set(cellular_port, 4);
    world.csman.set(cellular_port + 15, 5);
    world.csman.set(cellular_port_use, 6);
    world.csman.set(cellular_port_use + 15, -7);
    world.csman.set(wifi_2g_port, 8);
    world.csman.set(wifi_5g_port, 9);
    world.csman.set(power_port, 10);
    snapshot();
    expect_document("current_traffic_sec", R"(<?xml version="1.0" ?>
<datalist>
 <item name="device_0">eth0</item>
 <item name="type_0">Ethernet</item>
 <item name="tx_0">2000</item>
 <item name="rx_0">1000</item>
 <item name="txrate_0">0</item>
 <item name="rxrate_0">0</item>
 <item name="device_1">rai0</item>
 <item name="type_1">Wireless LAN</item>
 <item name="tx_1">6</item>
 <item name="rx_1">5</item>
 <item name="txrate_1">0</item>
 <item name="rxrate_1">0</item>
 <usage>10|50|1</usage>
  <port_eth1>1</port_eth1>
  <port_eth2>0</port_eth2>
  <port_3g1>4</port_3g1>
  <port_3g2>0</port_3g2>
  <port_3g3>0</port_3g3>
  <port_3g4>0</port_3g4>
  <port_3g5>0</port_3g5>
  <port_3g6>0</port_3g6>
  <port_3g7>0</port_3g7>
  <port_3g8>0</port_3g8>
  <port_3g9>0</port_3g9>
  <port_3g10>0</port_3g10>
  <port_3g11>0</port_3g11>
  <port_3g12>0</port_3g12>
  <port_3g13>0</port_3g13>
  <port_3g14>0</port_3g14>
  <port_3g15>0</port_3g15>
  <port_3g16>5</port_3g16>
  <port_use3g1>6</port_use3g1>
  <port_use3g2>0</port_use3g2>
  <port_use3g3>0</port_use3g3>
  <port_use3g4>0</port_use3g4>
  <port_use3g5>0</port_use3g5>
  <port_use3g6>0</port_use3g6>
  <port_use3g7>0</port_use3g7>
  <port_use3g8>0</port_use3g8>
  <port_use3g9>0</port_use3g9>
  <port_use3g10>0</port_use3g10>
  <port_use3g11>0</port_use3g11>
  <port_use3g12>0</port_use3g12>
  <port_use3g13>0</port_use3g13>
  <port_use3g14>0</port_use3g14>
  <port_use3g15>0</port_use3g15>
  <port_use3g16>-7</port_use3g16>
  <port_wifi2g>8</port_wifi2g>
  <port_wifi5g>9</port_wifi5g>
  <port_power>10</port_power>
</datalist>
)");
}

TEST_F(CurrentDevices, AreOfTheKindThatTheirNameBeginsWith) {
    const struct {
        const char* name;
        const char* type;
    } cases[] = {{"ra0", "Wireless LAN"}, {"rai0", "Wireless LAN"}, {"ra", "Wireless LAN"}, {"usbnet0", "Cellular"},
                 {"apcl", "WiFi"},        {"apcli0", "WiFi"},       {"eth0.2", "Ethernet"}, {"br0", "Ethernet"},
                 {"usbne0", "Ethernet"},  {"apc0", "Ethernet"},     {"r0", "Ethernet"},     {"xra0", "Ethernet"},
                 {"Ra0", "Ethernet"}};
    std::vector<interface_bytes> all;
    std::vector<shown_device> shown;
    for (const auto& one : cases) {
        all.push_back({one.name, 1, 2});
        shown.push_back({one.name, one.type, 2, 1, 0, 0});
    }
    interfaces(all);
    snapshot();
    expect_devices(shown);
}

TEST_F(CurrentDevices, AreThoseThatAreAliveInTheOrderOfTheTable) {
    counters({{"lo", 1, 1}, {"eth2", 20, 21}, {"eth1", 10, 11}, {"eth0", 0, 1}});
    alive({"eth0", "lo", "eth2", "ghost"});
    snapshot();
    expect_devices({{"eth2", "Ethernet", 21, 20, 0, 0}, {"eth0", "Ethernet", 1, 0, 0, 0}});
}

TEST_F(CurrentDevices, MayBeSeventyFiveWithNamesOfFifteenCharacters) {
    std::vector<interface_bytes> all;
    std::vector<shown_device> shown;
    for (unsigned i = 0; i < 75; ++i) {
        std::string name = "if" + std::to_string(i);
        name.resize(15, '-');
        all.push_back({name, i, 1000 + i});
        shown.push_back({name, "Ethernet", 1000 + i, i, 0, 0});
    }
    interfaces(all);
    snapshot();
    expect_devices(shown);
}

TEST_F(CurrentDevices, KeepANameThatXmlWouldRefuse) {
    interfaces({{"a&b<c", 1, 2}});
    snapshot();
    const std::string text = world.read(published("current_traffic_sec"));
    EXPECT_NE(text.find(" <item name=\"device_0\">a&b<c</item>\n"), std::string::npos) << text;
}

TEST_F(CurrentDevices, HaveRatesFromTheSecondSnapshotOn) {
    interfaces({{"eth0", 1000, 2000}});
    snapshot();
    expect_devices({{"eth0", "Ethernet", 2000, 1000, 0, 0}});
    counters({{"eth0", 1300, 2605}});
    snapshot_at(t0 + 3);
    expect_devices({{"eth0", "Ethernet", 2605, 1300, 201, 100}}); // 605 / 3, 300 / 3
    counters({{"eth0", 1302, 2605}});
    snapshot_at(t0 + 6);
    expect_devices({{"eth0", "Ethernet", 2605, 1302, 0, 0}}); // 2 / 3
}

TEST_F(CurrentDevices, HaveNoRatesWhenTheClockStoodStillOrWentBack) {
    interfaces({{"eth0", 1000, 2000}});
    snapshot();
    counters({{"eth0", 2000, 4000}});
    snapshot();
    expect_devices({{"eth0", "Ethernet", 4000, 2000, 0, 0}});
    snapshot_at(t0 - 100);
    expect_devices({{"eth0", "Ethernet", 4000, 2000, 0, 0}});
    counters({{"eth0", 2500, 4000}});
    snapshot_at(t0 - 95);
    expect_devices({{"eth0", "Ethernet", 4000, 2500, 0, 100}});
}

TEST_F(CurrentDevices, RatesWrapWhenACounterFalls) {
    interfaces({{"eth0", 1000, 18446744073709551615u}});
    snapshot();
    counters({{"eth0", 999, 2}});
    snapshot_at(t0 + 1);
    expect_devices({{"eth0", "Ethernet", 2, 999, 3, 18446744073709551615u}});
    counters({{"eth0", 997, 2}});
    snapshot_at(t0 + 3);
    expect_devices({{"eth0", "Ethernet", 2, 997, 0, 9223372036854775807u}}); // (2^64 - 2) / 2
}

TEST_F(CurrentDevices, RatesGoByPositionAndNotByName) {
    interfaces({{"eth0", 100, 200}, {"eth1", 1000, 2000}});
    snapshot();
    alive({"eth1"});
    snapshot_at(t0 + 2);
    expect_devices({{"eth1", "Ethernet", 2000, 1000, 900, 450}}); // against eth0
    alive({"eth0", "eth1"});
    snapshot_at(t0 + 3);
    expect_devices({{"eth0", "Ethernet", 200, 100, UINT64_MAX - 1800 + 1, UINT64_MAX - 900 + 1}, // against eth1
                    {"eth1", "Ethernet", 2000, 1000, 2000, 1000}});                              // against nobody
}

TEST_F(CurrentDevices, RatesCountFromTheTimeAtWhichTheSampleBeforeWasStored) {
    interfaces({{"eth0", 0, 0}});
    world.slow("netstat", 2);
    snapshot_at(t0); // stored at t0 + 2
    counters({{"eth0", 300, 600}});
    snapshot_at(t0 + 5);
    expect_devices({{"eth0", "Ethernet", 600, 300, 200, 100}}); // over three seconds, not five
}

TEST_F(CurrentDevices, RatesStayRightWhenTheRingOfTenHasWrapped) {
    for (unsigned i = 0; i < 25; ++i) {
        interfaces({{"eth0", uint64_t{i} * i * 30, i * 60}});
        snapshot_at(t0 + 3 * i);
        const uint64_t rate = i == 0 ? 0 : 10 * (2 * i - 1);
        expect_devices({{"eth0", "Ethernet", i * 60, uint64_t{i} * i * 30, i == 0 ? 0u : 20u, rate}});
    }
}

} // namespace
} // namespace dashboard::testing
