// Bond traffic: samples, documents, init and term.
#include "tests/unit/bond_fixture.h"

#include <cerrno>
#include <string>

namespace dashboard::testing {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

class Bond : public bond_fixture {};

TEST_F(Bond, ShowsTheBytesOfTheBondAndOfItsSlavesBothWaysTogether) {
    bring_up();
    interfaces({{"eth0", 10, 1}, {"eth1", 20, 2}, {"bond0", 300, 40}, {"eth2", 9, 9}});
    ASSERT_EQ(loop(module), 1);
    interfaces({{"eth0", 11, 1}, {"eth1", 20, 4}, {"bond0", 301, 43}});
    ASSERT_EQ(loop_at(module, t0 + 1, 1), 1);
    expect_published("/tmp/dashboard/bond_traffic_sec_0.xml", "<?xml version=\"1.0\" ?>\n"
                                                              "<datalist>\n"
                                                              "    <namemap_bond>office</namemap_bond>\n"
                                                              "    <namemap_slave0>WAN-1(slave1)</namemap_slave0>\n"
                                                              "    <namemap_slave1>WAN-2(slave2)</namemap_slave1>\n"
                                                              "    <time>1700000000000</time>\n"
                                                              "    <bond0_txrx>340</bond0_txrx>\n"
                                                              "    <slave0_txrx>11</slave0_txrx>\n"
                                                              "    <slave1_txrx>22</slave1_txrx>\n"
                                                              "    <time>1700000001000</time>\n"
                                                              "    <bond0_txrx>344</bond0_txrx>\n"
                                                              "    <slave0_txrx>12</slave0_txrx>\n"
                                                              "    <slave1_txrx>24</slave1_txrx>\n"
                                                              "</datalist>\n");
    EXPECT_THAT(world.messages(), IsEmpty());
}

TEST_F(Bond, ASlaveThatIsDownOrUnknownCountsZero) {
    enable(0);
    slaves(0, "0:eth0 1:eth1 2:eth2 3:lo");
    ASSERT_EQ(init(module), 1);
    ASSERT_EQ(check(module), 1);
    counters({{"lo", 7, 7}, {"bond0", 1, 2}, {"eth0", 3, 4}, {"eth2", 5, 6}});
    alive({"bond0", "eth0", "eth1", "lo"}); // eth1 has no counters, eth2 is down
    world.messages();
    ASSERT_EQ(loop(module, 1), 1);
    expect_state(0, slave_list(0), {"WAN-1(slave1)", "WAN-2(slave2)", "WAN-3(slave3)", "WAN-4(slave4)"},
                 {{t0, 3, {7, 0, 0, 0}}});
    EXPECT_THAT(world.messages(), IsEmpty());
}

TEST_F(Bond, SumsWrapAt64Bits) {
    bring_up();
    interfaces({{"bond0", UINT64_MAX, 3}, {"eth0", UINT64_MAX, UINT64_MAX}, {"eth1", UINT64_MAX, 0}});
    ASSERT_EQ(loop(module, 1), 1);
    expect_published(file(0), document(0, "office", two_slaves, {{t0, 2, {UINT64_MAX - 1, UINT64_MAX}}}));
}

TEST_F(Bond, FindsInterfacesByTheFirstNameThatBeginsSo) {
    bring_up();
    counters({{"bond0.7", 1000, 1}, {"bond0", 1, 2}, {"eth0.2", 2000, 2}, {"eth0", 3, 4}, {"eth1", 5, 6}});
    alive({"bond0", "eth0", "eth1"});
    ASSERT_EQ(loop(module, 1), 1);
    expect_published(file(0), document(0, "office", two_slaves, {{t0, 1001, {2002, 11}}}));
}

TEST_F(Bond, ABondThatIsDownIsReportedAndLeavesNoSample) {
    bring_up(1);
    counters({{"bond1", 1, 2}});
    alive({"eth0"});
    for (int i = 0; i < 2; ++i) {
        EXPECT_EQ(loop(module, 2), 1);
        EXPECT_THAT(world.messages(), ElementsAre("log[get_bond_traffic_item]: netdev(bond1) is not alive"));
    }
    counters({{"eth0", 1, 2}});
    alive({"bond1"});
    world.messages();
    EXPECT_EQ(loop(module, 2), 1);
    EXPECT_THAT(world.messages(), ElementsAre("log[get_bond_traffic_item]: can not find netdev(bond1)"));
    EXPECT_FALSE(world.exists(file(1)));
    expect_state(1, "office", two_slaves);
}

TEST_F(Bond, OneThatIsDownDoesNotHoldUpTheNext) {
    for (int bond = 0; bond < 3; ++bond) {
        enable(bond);
        slaves(bond, "");
    }
    ASSERT_EQ(init(module), 1);
    ASSERT_EQ(check(module), 1);
    interfaces({{"bond0", 1, 1}, {"bond2", 2, 2}});
    world.messages();
    ASSERT_EQ(loop(module), 1);
    EXPECT_THAT(world.messages(), ElementsAre("log[get_bond_traffic_item]: netdev(bond1) is not alive"));
    expect_state(0, slave_list(0), {}, {{t0, 2, {}}});
    expect_state(1, slave_list(1), {});
    expect_state(2, slave_list(2), {}, {{t0, 4, {}}});
}

TEST_F(Bond, TheViewersNumberPicksTheBondBeforeIt) {
    for (int bond = 0; bond < 3; ++bond) {
        enable(bond);
        slaves(bond, "");
    }
    ASSERT_EQ(init(module), 1);
    ASSERT_EQ(check(module), 1);
    interfaces({{"bond0", 0, 1}, {"bond1", 0, 2}, {"bond2", 0, 3}});
    for (const int32_t viewer : {0, -1, 4, 5, 99}) {
        ASSERT_EQ(loop(module, viewer), 1);
        EXPECT_THAT(world.list("/tmp/dashboard"), IsEmpty()) << viewer;
    }
    ASSERT_EQ(module.loop(csman_handle_of_tests, nullptr, &module), 1);
    EXPECT_THAT(world.list("/tmp/dashboard"), IsEmpty());
    for (int32_t bond = 0; bond < 3; ++bond) {
        ASSERT_EQ(loop(module, bond + 1), 1);
        EXPECT_THAT(world.list("/tmp/dashboard"), ElementsAre("bond_traffic_sec_" + std::to_string(bond) + ".xml"));
        world.remove(file(bond));
    }
}

TEST_F(Bond, ADocumentShowsTheNewest60Samples) {
    bring_up();
    interfaces({{"bond0", 5, 6}});
    std::vector<bond_second> all;
    for (int i = 0; i < 125; ++i) {
        all.push_back({t0 + i, 11, {0, 0}});
        ASSERT_EQ(loop_at(module, t0 + i, 1), 1);
        if (i == 0 || i == 58 || i == 59 || i == 60 || i >= 118) {
            const size_t first = all.size() < 60 ? 0 : all.size() - 60;
            const std::vector<bond_second> newest(all.begin() + static_cast<std::ptrdiff_t>(first), all.end());
            expect_published(file(0), document(0, "office", two_slaves, newest));
        }
    }
}

TEST_F(Bond, NothingIsEverRolledUp) {
    bring_up();
    interfaces({{"bond0", 5, 6}});
    for (int64_t i = 1; i <= 3; ++i) {
        ASSERT_EQ(loop_at(module, t0 + 3600 * i, 1), 1);
    }
    EXPECT_THAT(world.list("/tmp/dashboard"), ElementsAre("bond_traffic_sec_0.xml"));
    EXPECT_EQ(write_min(0), 1);
    EXPECT_EQ(write_hour(0), 1);
    expect_published(file(0, "min"), document(0, "office", two_slaves, {}));
    expect_published(file(0, "hour"), document(0, "office", two_slaves, {}));
    EXPECT_THAT(world.messages(), IsEmpty());
}

// ---- the writers of the callback set

TEST_F(Bond, AWriterTakesTheIndexOfABondAndNoneForTheFirst) {
    bring_up(0);
    for (int32_t bond = 0; bond < 3; ++bond) {
        EXPECT_EQ(write_sec(bond), 1);
        EXPECT_EQ(write_min(bond), 1);
        EXPECT_EQ(write_hour(bond), 1);
        for (const char* series : {"sec", "min", "hour"}) {
            expect_published(file(bond, series),
                             bond == 0 ? document(0, "office", two_slaves, {}) : document(bond, "", {}, {}));
        }
    }
    world.remove("/tmp/dashboard");
    world.folder("/tmp/dashboard");
    EXPECT_EQ(module.write_sec(csman_handle_of_tests, nullptr), 1);
    EXPECT_EQ(module.write_min(csman_handle_of_tests, nullptr), 1);
    EXPECT_EQ(module.write_hour(csman_handle_of_tests, nullptr), 1);
    EXPECT_THAT(world.list("/tmp/dashboard"),
                ElementsAre("bond_traffic_hour_0.xml", "bond_traffic_min_0.xml", "bond_traffic_sec_0.xml"));
}

TEST_F(Bond, AWriterRefusesAnIndexThatIsNoBond) {
    bring_up();
    const std::vector<std::string> before = world.list("/tmp/dashboard");
    for (const int32_t index : {3, 4, 100, INT32_MAX, -1, INT32_MIN}) {
        EXPECT_EQ(write_sec(index), 0) << index;
        EXPECT_EQ(write_min(index), 0) << index;
        EXPECT_EQ(write_hour(index), 0) << index;
    }
    EXPECT_EQ(world.list("/tmp/dashboard"), before);
}

TEST_F(Bond, EveryDocumentHasItsTemporaryNameItsNameAndItsLink) {
    bring_up();
    world.remove("/tmp/dashboard");
    world.remove("/usr/www");
    world.folder("/tmp/dashboard");
    world.folder("/usr/www");
    for (int32_t bond = 0; bond < 3; ++bond) {
        for (const std::string series : {"sec", "min", "hour"}) {
            const std::string name = "bond_traffic_" + series + "_" + std::to_string(bond);
            const std::string path = "/tmp/dashboard/" + name;
            world.forget_calls();
            EXPECT_EQ((series == "sec" ? write_sec(bond) : series == "min" ? write_min(bond) : write_hour(bond)), 1);
            EXPECT_THAT(world.calls("remove"), ElementsAre(path + ".xml"));
            EXPECT_THAT(world.calls("rename"), ElementsAre(path + "_tmp.xml " + path + ".xml"));
            EXPECT_EQ(world.mode(path + ".xml"), 0644u);
            const std::vector<runner_command> asked = world.commands();
            ASSERT_EQ(asked.size(), 1u);
            EXPECT_EQ(asked[0].file, "dashboard_bond");
            EXPECT_EQ(asked[0].func, "xml_bond_traffic_" + series);
            EXPECT_EQ(asked[0].command, "ln -sf " + path + ".xml /usr/www/" + name + ".xml");
            EXPECT_EQ(world.link_target("/usr/www/" + name + ".xml"), path + ".xml");
        }
    }
    world.forget_calls();
    EXPECT_EQ(write_sec(0), 1);
    EXPECT_THAT(world.commands(), IsEmpty()) << "linked already";
}

TEST_F(Bond, AFileThatCannotBeOpenedIsReportedAndLeavesTheLoopAlone) {
    bring_up(2);
    interfaces({{"bond2", 1, 1}});
    for (const std::string series : {"sec", "min", "hour"}) {
        const std::string temporary = "/tmp/dashboard/bond_traffic_" + series + "_2_tmp.xml";
        const std::string warning =
            "warn[xml_bond_traffic_" + series + "]: open file(" + temporary + ") error(Permission denied)!";
        world.fail("open", EACCES, temporary);
        EXPECT_EQ((series == "sec" ? write_sec(2) : series == "min" ? write_min(2) : write_hour(2)), 0);
        EXPECT_THAT(world.messages(), ElementsAre(warning));
    }
    world.fail("open", EACCES, "bond_traffic_sec_2_tmp");
    EXPECT_EQ(loop(module, 3), 1);
    EXPECT_EQ(world.messages().size(), 1u);
    EXPECT_EQ(loop_at(module, t0 + 1, 3), 1);
    expect_published(file(2), document(2, "office", two_slaves, {{t0, 2, {0, 0}}, {t0 + 1, 2, {0, 0}}}));
}

// ---- init and term

TEST_F(Bond, FillsTheSlotsOfItsCallbackSet) {
    EXPECT_NE(module.check, nullptr);
    EXPECT_EQ(module.data_export, nullptr);
    EXPECT_EQ(module.unused_7, nullptr);
    EXPECT_EQ(module.unused_8, nullptr);
    EXPECT_EQ(module.unused_10, nullptr);
    EXPECT_EQ(module.unused_11, nullptr);
}

TEST_F(Bond, InitReadsTheEnableItemsAndPublishesTheActiveBonds) {
    enable(0, 0);
    enable(1);
    ASSERT_EQ(init(module), 1);
    EXPECT_THAT(new_csman_calls(), ElementsAre("read_int 7 0xb20070", "read_int 7 0xb20071", "read_int 7 0xb20072"))
        << "and no start marker yet";
    EXPECT_THAT(world.list("/tmp/dashboard"), ElementsAre("bond_traffic_sec_1.xml"));
    expect_published(file(1), "<?xml version=\"1.0\" ?>\n"
                              "<datalist>\n"
                              "    <namemap_bond></namemap_bond>\n"
                              "</datalist>\n");
    EXPECT_THAT(world.messages(), IsEmpty()) << "no start is reported";
}

TEST_F(Bond, InitFailsWithAWarningWithoutMemory) {
    // A sample is a time and five counters, 48 bytes; three series of 16 bytes and 120 samples, five names of 16, five
    // of 64 and two flags make a bond.
    static_assert(3 * (3 * (16 + 120 * 48) + 5 * 16 + 5 * 64 + 2 * 4) == 53'208);
    world.fail_allocation(53'208);
    enable(0);
    EXPECT_EQ(init(module), 0);
    EXPECT_THAT(world.messages(), ElementsAre("warn[bond_traffic_init]: malloc fail,size(53208)"));
    EXPECT_THAT(world.list("/tmp/dashboard"), IsEmpty());
    world.fail_no_more();
    EXPECT_EQ(init(module), 1);
}

TEST_F(Bond, WithoutAStoreEverythingButTermAnswers0) {
    EXPECT_EQ(loop(module, 1), 0);
    EXPECT_THAT(world.messages(), IsEmpty());
    EXPECT_EQ(check(module), 0);
    EXPECT_THAT(world.messages(), ElementsAre("warn[bond_traffic_check]: can't do checkfunction"));
    EXPECT_EQ(write_sec(0), 0);
    EXPECT_EQ(write_min(0), 0);
    EXPECT_EQ(write_hour(0), 0);
    EXPECT_EQ(module.write_sec(csman_handle_of_tests, nullptr), 0);
    EXPECT_EQ(term(module), 1);
    EXPECT_THAT(world.list("/tmp/dashboard"), IsEmpty());
}

TEST_F(Bond, TermTriesToUnlinkLiteralPatternsSoThatTheFilesStay) {
    bring_up();
    ASSERT_EQ(write_sec(0), 1);
    world.forget_calls();
    EXPECT_EQ(term(module), 1);
    EXPECT_THAT(world.calls("unlink"), ElementsAre("/usr/www/bond_traffic*", "/tmp/dashboard/bond_traffic*"));
    EXPECT_TRUE(world.exists(file(0)));
    EXPECT_EQ(loop(module, 1), 0);
}

TEST_F(Bond, InitAgainForgetsSamplesNamesAndSlaves) {
    for (const bool term_between : {false, true}) {
        bring_up();
        interfaces({{"bond0", 1, 1}});
        ASSERT_EQ(loop(module), 1);
        if (term_between) {
            ASSERT_EQ(term(module), 1);
        }
        ASSERT_EQ(init(module), 1);
        expect_published(file(0), document(0, "", {}, {}));
        ASSERT_EQ(loop(module, 1), 1);
        expect_published(file(0), document(0, "", {}, {}));
    }
}

} // namespace
} // namespace dashboard::testing
