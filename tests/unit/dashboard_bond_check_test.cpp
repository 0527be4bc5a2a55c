// Bond traffic: how the check follows the configuration and the kernel.
#include "tests/unit/bond_fixture.h"
#include "tests/unit/kept_store.h"

#include <cerrno>
#include <string>

namespace dashboard::testing {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

class BondCheck : public bond_fixture {
protected:
    // Which bonds take samples: those that are active and have a name.
    std::string sampled() {
        interfaces({{"bond0", 1, 1}, {"bond1", 1, 1}, {"bond2", 1, 1}});
        std::string bonds;
        for (int bond = 0; bond < 3; ++bond) {
            const std::string before = text_of(bond);
            world.clock.advance(1);
            EXPECT_EQ(loop(module), 1);
            bonds += text_of(bond) != before ? std::to_string(bond) : "";
        }
        return bonds;
    }
    std::string text_of(int bond) {
        EXPECT_EQ(write_sec(bond), 1);
        return world.read(file(bond));
    }
    void forget_documents() {
        world.remove("/tmp/dashboard");
        world.folder("/tmp/dashboard");
    }
};

// ---- inactive

TEST_F(BondCheck, AnInactiveBondThatIsSwitchedOnIsStartedAndPublishedEmpty) {
    ASSERT_EQ(init(module), 1);
    enable(1);
    world.forget_calls();
    ASSERT_EQ(check(module), 1);
    EXPECT_THAT(world.messages(), ElementsAre("log[bond_traffic_check]: dashboard-bond1 start"));
    EXPECT_THAT(world.list("/tmp/dashboard"), ElementsAre("bond_traffic_sec_1.xml"));
    expect_published(file(1), document(1, "", {}, {}));
    EXPECT_EQ(sampled(), "") << "active, but without a name";
    EXPECT_FALSE(world.csman.has(start_marker));
}

TEST_F(BondCheck, ABondThatBeganWithAnotherValueIsFollowedAndNotStoppedBeforeItIsUp) {
    enable(0, 2);
    ASSERT_EQ(init(module), 1);
    expect_published(file(0), document(0, "", {}, {}));
    enable(0, 0);
    ASSERT_EQ(check(module), 1);
    EXPECT_THAT(world.messages(), IsEmpty());
    EXPECT_TRUE(world.exists(file(0)));
    slaves(0, "0:eth0\n");
    ASSERT_EQ(check(module), 1);
    enable(0, 0);
    ASSERT_EQ(check(module), 1);
    EXPECT_THAT(world.messages(), ElementsAre("log[bond_traffic_check]: dashboard-bond0 stop"));
}

TEST_F(BondCheck, AnInactiveBondStaysSoWithAnyOtherValue) {
    ASSERT_EQ(init(module), 1);
    slaves(0, "0:eth0");
    for (const int32_t value : {0, 2, -1, 99}) {
        enable(0, value);
        ASSERT_EQ(check(module), 1);
    }
    EXPECT_THAT(world.messages(), IsEmpty());
    EXPECT_THAT(world.list("/tmp/dashboard"), IsEmpty());
    EXPECT_EQ(sampled(), "");
}

// ---- active, unnamed

TEST_F(BondCheck, ABondWhoseSlaveListAppearsComesUp) {
    enable(2);
    world.csman.set_string(bond_name_map, "office");
    ASSERT_EQ(init(module), 1);
    ASSERT_EQ(check(module), 1);
    expect_published(file(2), document(2, "", {}, {}));
    EXPECT_EQ(sampled(), "") << "no slave list, no name";
    slaves(2, "0:eth0\n1:eth1\n");
    world.forget_calls();
    ASSERT_EQ(check(module), 1);
    EXPECT_THAT(world.calls("remove"), ElementsAre("/tmp/dashboard/bond_traffic_sec_2.xml"));
    EXPECT_FALSE(world.exists(file(2)));
    EXPECT_EQ(world.csman.get(start_marker), 42);
    EXPECT_EQ(sampled(), "2");
    EXPECT_THAT(world.messages(), IsEmpty());
}

TEST_F(BondCheck, AStartAndAComingUpInOneCheckWriteTheDocumentAndRemoveIt) {
    ASSERT_EQ(init(module), 1);
    enable(0);
    slaves(0, "0:eth0\n");
    world.forget_calls();
    ASSERT_EQ(check(module), 1);
    EXPECT_THAT(world.messages(), ElementsAre("log[bond_traffic_check]: dashboard-bond0 start"));
    EXPECT_THAT(world.calls("rename"), ::testing::Contains("/tmp/dashboard/bond_traffic_sec_0_tmp.xml "
                                                           "/tmp/dashboard/bond_traffic_sec_0.xml"));
    EXPECT_THAT(world.calls("remove"), ElementsAre(file(0), file(0))) << "before the move, and after it";
    EXPECT_FALSE(world.exists(file(0)));
    interfaces({{"bond0", 1, 1}});
    ASSERT_EQ(loop(module, 1), 1);
    expect_published(file(0), document(0, slave_list(0), {"WAN-1(slave1)"}, {{t0, 2, {0}}}));
}

TEST_F(BondCheck, EveryBondHasAStartMarkerOfItsOwn) {
    for (int bond = 0; bond < 3; ++bond) {
        enable(bond);
        slaves(bond, "");
        ASSERT_EQ(init(module), 1);
        ASSERT_EQ(check(module), 1);
        EXPECT_EQ(world.csman.get(start_marker), 40 + bond);
        enable(bond, 0);
    }
}

TEST_F(BondCheck, AStartMarkerOf99IsKept) {
    world.csman.set(start_marker, 99);
    bring_up(1);
    EXPECT_EQ(world.csman.get(start_marker), 99);
}

TEST_F(BondCheck, ComingUpForgetsTheOldSamples) {
    bring_up();
    interfaces({{"bond0", 1, 1}});
    ASSERT_EQ(loop(module), 1);
    world.remove(slave_list(0));
    ASSERT_EQ(check(module), 1);
    expect_state(0, "office", two_slaves, {{t0, 2, {0, 0}}});
    slaves(0, "3:eth3");
    ASSERT_EQ(check(module), 1);
    EXPECT_FALSE(world.exists(file(0)));
    expect_state(0, "office", {"WAN-4(slave1)"});
}

// ---- active, named

TEST_F(BondCheck, ANamedBondReadsItsNamesAgainAndKeepsItsSamples) {
    bring_up();
    interfaces({{"bond0", 1, 1}});
    ASSERT_EQ(loop(module, 1), 1);
    world.csman.set(start_marker, 5);
    world.csman.set_string(bond_name_map, "home");
    slaves(0, "4:ppp0\n2:eth1\n");
    ASSERT_EQ(check(module), 1);
    EXPECT_TRUE(world.exists(file(0))) << "nothing is removed";
    EXPECT_EQ(world.csman.get(start_marker), 5) << "nor marked";
    expect_state(0, "home", {"WAN-5(slave1)", "WAN-3(slave2)"}, {{t0, 2, {0, 0}}});
    EXPECT_THAT(world.messages(), IsEmpty());
}

TEST_F(BondCheck, ANamedBondWhoseListIsGoneTakesNoSamples) {
    bring_up();
    EXPECT_EQ(sampled(), "0");
    world.fail("open", EACCES, "bonding/slaves");
    ASSERT_EQ(check(module), 1);
    EXPECT_EQ(sampled(), "");
    EXPECT_THAT(world.messages(), IsEmpty());
    ASSERT_EQ(check(module), 1);
    EXPECT_EQ(sampled(), "0");
}

TEST_F(BondCheck, AnEnableItemOfAnotherValueChangesNothingAboutAnActiveBond) {
    bring_up();
    for (const int32_t value : {2, -1}) {
        enable(0, value);
        ASSERT_EQ(check(module), 1);
        EXPECT_EQ(sampled(), "0");
    }
    EXPECT_THAT(world.messages(), IsEmpty());
}

TEST_F(BondCheck, AnEnableItemThatCannotBeReadKeepsWhatItSaidLast) {
    bring_up();
    world.csman.fail_reads(bond_enable, 1);
    ASSERT_EQ(check(module), 1);
    EXPECT_THAT(world.messages(), IsEmpty());
    EXPECT_EQ(sampled(), "0");
}

// ---- stop

TEST_F(BondCheck, ANamedBondThatIsSwitchedOffIsStoppedAndItsDocumentRemoved) {
    bring_up(1);
    interfaces({{"bond1", 1, 1}});
    ASSERT_EQ(loop(module, 2), 1);
    ASSERT_TRUE(world.exists(file(1)));
    enable(1, 0);
    world.forget_calls();
    ASSERT_EQ(check(module), 1);
    EXPECT_THAT(world.messages(), ElementsAre("log[bond_traffic_check]: dashboard-bond1 stop"));
    EXPECT_THAT(world.calls("remove"), ElementsAre("/tmp/dashboard/bond_traffic_sec_1.xml"));
    EXPECT_FALSE(world.exists(file(1)));
    expect_state(1, "", {});
    EXPECT_EQ(sampled(), "");
    ASSERT_EQ(check(module), 1);
    EXPECT_THAT(world.messages(), IsEmpty()) << "stopped once";
}

TEST_F(BondCheck, SoIsOneThatWasNeverUp) {
    enable(1);
    ASSERT_EQ(init(module), 1);
    ASSERT_TRUE(world.exists(file(1)));
    enable(1, 0);
    ASSERT_EQ(check(module), 1);
    EXPECT_THAT(world.messages(), ElementsAre("log[bond_traffic_check]: dashboard-bond1 stop"));
    EXPECT_FALSE(world.exists(file(1)));
}

TEST_F(BondCheck, AStoppedBondStartsAgain) {
    bring_up();
    enable(0, 0);
    ASSERT_EQ(check(module), 1);
    enable(0);
    ASSERT_EQ(check(module), 1);
    EXPECT_THAT(world.messages(), ElementsAre("log[bond_traffic_check]: dashboard-bond0 stop",
                                              "log[bond_traffic_check]: dashboard-bond0 start"));
    expect_state(0, "office", two_slaves);
    EXPECT_EQ(sampled(), "0");
}

TEST_F(BondCheck, TheBondsAreFollowedEachByItself) {
    bring_up(0);
    enable(1);
    enable(2);
    slaves(2, "7:eth7");
    ASSERT_EQ(check(module), 1);
    EXPECT_THAT(world.messages(), ElementsAre("log[bond_traffic_check]: dashboard-bond1 start",
                                              "log[bond_traffic_check]: dashboard-bond2 start"));
    EXPECT_EQ(sampled(), "02");
    enable(0, 0);
    slaves(1, "");
    ASSERT_EQ(check(module), 1);
    EXPECT_EQ(sampled(), "12");
}

TEST_F(BondCheck, ReadsItsItemsInOrder) {
    enable(0);
    slaves(0, "");
    ASSERT_EQ(init(module), 1);
    new_csman_calls();
    ASSERT_EQ(check(module), 1);
    EXPECT_THAT(new_csman_calls(),
                ElementsAre("read_int 7 0xb20070", "read_int 7 0xb20071", "read_int 7 0xb20072",
                            "read_int 7 0x8015043e", "write_int 7 0x8015043e 40", "read 7 0xb200b0 64 4"));
}

// ---- what no document shows

struct kept_bond_sample {
    int32_t time;
    unsigned long long bond, slave[4];
};

struct kept_bond {
    kept_series<kept_bond_sample, 120> series[3];
    char interface[16];
    char slave[4][16];
    char map[64];
    char display[4][64];
    int32_t active, configured;
};

TEST_F(BondCheck, AHistoryBeginsWithTheModuleAndAnewWhenItsBondStartsAndComesUp) {
    ASSERT_EQ(init(module), 1);
    const auto* const bonds = newest_store<kept_bond>(3);
    ASSERT_NE(bonds, nullptr);
    const auto expect_begun = [bonds](int bond, int64_t second) {
        for (const auto& series : bonds[bond].series) {
            EXPECT_EQ(series.last_roll_up, second) << "bond" << bond;
        }
    };
    expect_begun(0, t0);
    expect_begun(1, t0);
    expect_begun(2, t0);
    enable(1);
    world.clock.set(t0 + 100);
    ASSERT_EQ(check(module), 1);
    expect_begun(1, t0 + 100);
    EXPECT_EQ(bonds[1].configured, 1);
    slaves(1, "0:eth0");
    world.clock.set(t0 + 200);
    ASSERT_EQ(check(module), 1);
    expect_begun(1, t0 + 200);
    EXPECT_STREQ(bonds[1].interface, "bond1");
    EXPECT_EQ(bonds[1].configured, 1);
    world.clock.set(t0 + 300);
    ASSERT_EQ(check(module), 1);
    expect_begun(1, t0 + 200);
    expect_begun(0, t0);
    expect_begun(2, t0);
}

} // namespace
} // namespace dashboard::testing
