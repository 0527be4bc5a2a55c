// The bond module in a whole daemon: bonds that come and go, and who sees them.
#include "tests/daemon/bond_fixture.h"

#include <gmock/gmock.h>

#include <utility>

namespace dashboard::testing {
namespace {

using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::Not;

TEST_F(BondModule, ShowTheirNamesAndTheBytesOfTheirSlaves) {
    enable(1);
    slaves(1, "0:eth0\n3:eth2\n");
    request(bond_module, 2);
    start();
    live(1);
    EXPECT_EQ(world.read(path(1)), datalist("    <namemap_bond></namemap_bond>\n")); // not up yet
    EXPECT_FALSE(world.csman.has(start_marker));
    live_through_check();
    EXPECT_EQ(world.read(path(1)), "<?xml version=\"1.0\" ?>\n"
                                   "<datalist>\n"
                                   "    <namemap_bond>office</namemap_bond>\n"
                                   "    <namemap_slave0>WAN-1(slave1)</namemap_slave0>\n"
                                   "    <namemap_slave1>WAN-4(slave2)</namemap_slave1>\n"
                                   "    <time>1700000010000</time>\n"
                                   "    <bond1_txrx>55</bond1_txrx>\n"
                                   "    <slave0_txrx>11</slave0_txrx>\n"
                                   "    <slave1_txrx>33</slave1_txrx>\n"
                                   "</datalist>\n");
    EXPECT_EQ(world.csman.get(start_marker), 41);
    EXPECT_EQ(world.link_target("/usr/www/" + name(1)), path(1));
    EXPECT_THAT(daemon->output(), Not(HasSubstr("dashboard-bond")));
}

// Its start writes a document, the slave list that opens right after it takes it away again.
TEST_F(BondModule, DocumentOfAStartIsRemovedAtOnceUntilSomebodyLooks) {
    slaves(2, "0:eth0\n");
    start();
    live_through_check();
    EXPECT_THAT(world.list("/tmp/dashboard"), IsEmpty());
    enable(2);
    live_through_check();
    EXPECT_EQ(lines_saying("log[bond_traffic_check]: dashboard-bond2 start"), 1);
    EXPECT_EQ(recorded("rename", "/tmp/dashboard/bond_traffic_sec_2_tmp.xml " + path(2)), 1);
    EXPECT_EQ(world.calls("remove").back(), path(2));
    EXPECT_THAT(world.list("/tmp/dashboard"), IsEmpty());
    EXPECT_EQ(world.csman.get(start_marker), 42);
    live(5);
    EXPECT_THAT(world.list("/tmp/dashboard"), IsEmpty());
    request(bond_module, 3);
    live(6);
    EXPECT_THAT(world.list("/tmp/dashboard"), ElementsAre(name(2)));
    EXPECT_THAT(world.read(path(2)), HasSubstr(second(first_second + 20, 2, 66, {11}))); // taken unseen
}

TEST_F(BondModule, StartMarkOf99IsLeftAlone) {
    world.csman.set(start_marker, 99);
    enable(0);
    slaves(0, "0:eth0\n");
    start();
    live_through_check();
    EXPECT_EQ(world.csman.get(start_marker), 99);
}

TEST_F(BondModule, BondWithoutASlaveListGivesNoSamples) {
    enable(0);
    request(bond_module, 1);
    start();
    live(25);
    EXPECT_EQ(world.read(path(0)), datalist("    <namemap_bond></namemap_bond>\n"));
    slaves(0, "");
    live_through_check();
    EXPECT_EQ(world.read(path(0)), datalist(names("office", {}) + second(first_second + 30, 0, 44, {})));
}

TEST_F(BondModule, BondThatIsSwitchedOffIsRemoved) {
    enable(1);
    slaves(1, "0:eth0\n");
    request(bond_module, 2);
    start();
    live(15);
    EXPECT_TRUE(world.exists(path(1)));
    enable(1, 0);
    live(4);
    EXPECT_TRUE(world.exists(path(1)));
    live(1); // the check
    EXPECT_EQ(lines_saying("log[bond_traffic_check]: dashboard-bond1 stop"), 1);
    EXPECT_FALSE(world.exists(path(1)));
    live(30);
    EXPECT_FALSE(world.exists(path(1)));
    EXPECT_EQ(lines_saying("log[bond_traffic_check]: dashboard-bond1 stop"), 1);
    enable(1);
    live_through_check();
    EXPECT_EQ(lines_saying("log[bond_traffic_check]: dashboard-bond1 start"), 1);
    EXPECT_EQ(world.read(path(1)),
              datalist(names("office", {"WAN-1(slave1)"}) + second(first_second + 60, 1, 55, {11})));
}

TEST_F(BondModule, OnlyAOneStartsABondAndOnlyAZeroStopsIt) {
    slaves(0, "0:eth0\n");
    start();
    live(1);
    const auto starts_and_stops_after = [this](int32_t value) {
        enable(0, value);
        live(20);
        return std::pair(lines_saying("log[bond_traffic_check]: dashboard-bond0 start"),
                         lines_saying("log[bond_traffic_check]: dashboard-bond0 stop"));
    };
    EXPECT_EQ(starts_and_stops_after(2), std::pair(int64_t{0}, int64_t{0}));
    EXPECT_EQ(starts_and_stops_after(1), std::pair(int64_t{1}, int64_t{0}));
    EXPECT_EQ(starts_and_stops_after(-1), std::pair(int64_t{1}, int64_t{0}));
    EXPECT_EQ(starts_and_stops_after(0), std::pair(int64_t{1}, int64_t{1}));
}

TEST_F(BondModule, RequestSelectsOneBond) {
    for (int bond = 0; bond < 3; ++bond) {
        enable(bond);
        slaves(bond, "0:eth0\n");
    }
    request(bond_module, 2);
    start();
    live_through_check();
    EXPECT_THAT(world.list("/tmp/dashboard"), ElementsAre(name(1)));
    request(bond_module, 4);
    live(6);
    const std::string before = world.read(path(1));
    live(20);
    EXPECT_THAT(world.list("/tmp/dashboard"), ElementsAre(name(1)));
    EXPECT_EQ(world.read(path(1)), before);
    request(bond_module, 3);
    live(6);
    EXPECT_THAT(world.list("/tmp/dashboard"), ElementsAre(name(1), name(2)));
    EXPECT_EQ(world.read(path(1)), before);
}

TEST_F(BondModule, AllShowTheOneNameMap) {
    world.csman.set_string(bond_name_map, "both uplinks of the office");
    for (int bond = 0; bond < 3; ++bond) {
        enable(bond);
        slaves(bond, "0:eth0\n");
    }
    start();
    for (int bond = 0; bond < 3; ++bond) {
        request(bond_module, bond + 1);
        live(10);
        EXPECT_EQ(head(bond), names("both uplinks of the office", {"WAN-1(slave1)"}));
    }
}

// It is published as it is, though that is no XML.
TEST_F(BondModule, NameMapIsNotEscaped) {
    world.csman.set_string(bond_name_map, "R&D <2>");
    enable(0);
    slaves(0, "0:eth0\n");
    request(bond_module, 1);
    start();
    daemon->documents().expect_refused(name(0));
    live_through_check();
    EXPECT_EQ(head(0), names("R&D <2>", {"WAN-1(slave1)"}));
}

} // namespace
} // namespace dashboard::testing
