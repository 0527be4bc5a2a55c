// Slaves of bonds in a whole daemon: lists that shrink, grow, hold garbage, go and come back; interfaces that are down.
#include "tests/daemon/bond_fixture.h"

#include <gmock/gmock.h>

namespace dashboard::testing {
namespace {

using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::Not;

class BondSlaves : public BondModule {
protected:
    BondSlaves() {
        enable(0);
        request(bond_module, 1);
    }

    // Gives the bond this list and lets the next check read it.
    void read_list(const std::string& text) {
        slaves(0, text);
        if (daemon == nullptr) {
            start();
        }
        live_through_check();
    }

    std::string newest_second(const std::vector<uint64_t>& slave_bytes) const {
        return second(world.clock.now(), 0, 44, slave_bytes);
    }
};

// The third keeps its name, its lines and its place.
TEST_F(BondSlaves, ListThatShrinksLeavesTheRestStanding) {
    read_list("0:eth0\n1:eth1\n2:eth2\n");
    EXPECT_EQ(head(0), names("office", {"WAN-1(slave1)", "WAN-2(slave2)", "WAN-3(slave3)"}));
    EXPECT_EQ(newest(0), newest_second({11, 22, 33}));
    read_list("5:eth1\n0:eth0\n");
    EXPECT_EQ(head(0), names("office", {"WAN-6(slave1)", "WAN-1(slave2)", "WAN-3(slave3)"}));
    EXPECT_EQ(newest(0), newest_second({22, 11, 33}));
    read_list("");
    EXPECT_EQ(head(0), names("office", {"WAN-6(slave1)", "WAN-1(slave2)", "WAN-3(slave3)"}));
}

TEST_F(BondSlaves, ListThatGrowsStopsAtFour) {
    read_list("0:eth0\n");
    EXPECT_EQ(newest(0), newest_second({11}));
    read_list("0:eth0 1:eth1 2:eth2 3:bond1 4:bond2\n");
    EXPECT_EQ(head(0), names("office", {"WAN-1(slave1)", "WAN-2(slave2)", "WAN-3(slave3)", "WAN-4(slave4)"}));
    EXPECT_EQ(newest(0), newest_second({11, 22, 33, 55}));
}

// Reading stops where an entry is none; what stood there before stays.
TEST_F(BondSlaves, GarbageEndsAList) {
    read_list("rubbish\n0:eth0\n");
    EXPECT_EQ(head(0), names("office", {}));
    EXPECT_EQ(newest(0), newest_second({}));
    read_list("0:eth0\neth1:1\n2:eth2\n");
    EXPECT_EQ(head(0), names("office", {"WAN-1(slave1)"}));
    EXPECT_EQ(newest(0), newest_second({11}));
    read_list("1:eth1 2;eth2");
    EXPECT_EQ(head(0), names("office", {"WAN-2(slave1)"}));
    read_list("\n\n  -1:eth0\n");
    EXPECT_EQ(head(0), names("office", {"WAN-0(slave1)"}));
    EXPECT_EQ(newest(0), newest_second({11}));
}

TEST_F(BondSlaves, ListThatComesBackBeginsAnew) {
    read_list("0:eth0\n1:eth1\n");
    live(5);
    world.remove(slave_list(0));
    live_through_check();
    const std::string before = world.read(path(0));
    live(5); // not up: no samples, no document
    EXPECT_EQ(world.read(path(0)), before);
    world.csman.unset(start_marker);
    read_list("2:eth2\n");
    EXPECT_EQ(world.read(path(0)),
              datalist(names("office", {"WAN-3(slave1)"}) + second(world.clock.now(), 0, 44, {33})));
    EXPECT_EQ(world.csman.get(start_marker), 40);
    EXPECT_THAT(daemon->output(), Not(HasSubstr("dashboard-bond")));
}

TEST_F(BondSlaves, SlaveThatIsDownOrGoneShowsZero) {
    read_list("0:eth0\n1:eth1\n2:ppp0\n");
    EXPECT_EQ(newest(0), newest_second({11, 22, 0}));
    world.alive({"lo", "eth0", "bond0"});
    live(11); // the alive list is read again
    EXPECT_EQ(newest(0), newest_second({11, 0, 0}));
    EXPECT_THAT(daemon->output(), Not(HasSubstr("eth1")));
}

TEST_F(BondSlaves, BondThatIsDownGivesNoSampleAndSaysSo) {
    world.alive({"lo", "eth0"});
    read_list("0:eth0\n");
    EXPECT_EQ(lines_saying("log[get_bond_traffic_item]: netdev(bond0) is not alive"), 1);
    live(5);
    EXPECT_EQ(lines_saying("log[get_bond_traffic_item]: netdev(bond0) is not alive"), 6);
    world.alive({"lo", "eth0", "bond0"});
    world.netdev({{"eth0", 1, 1}});
    live(11);
    EXPECT_GT(lines_saying("log[get_bond_traffic_item]: can not find netdev(bond0)"), 0);
    EXPECT_FALSE(world.exists(path(0)));
    EXPECT_EQ(lines_saying("log[dashboard_loop]: loop callback fail(3)"), 0);
}

// Nothing is rolled up; an hour leaves the newest sixty seconds.
TEST_F(BondSlaves, NeitherMinutesNorHoursAreWritten) {
    read_list("0:eth0\n");
    live(150);
    step_clock(3600);
    live(10);
    EXPECT_THAT(world.list("/tmp/dashboard"), ElementsAre(name(0)));
    const std::string text = world.read(path(0));
    EXPECT_EQ(std::count(text.begin(), text.end(), '\n'), 3 + 2 + 60 * 3);
    EXPECT_EQ(newest(0), newest_second({11}));
}

} // namespace
} // namespace dashboard::testing
