// Bond traffic: the kernel's slave lists and the name map.
#include "tests/unit/bond_fixture.h"

#include <cstdio>
#include <cstring>
#include <random>
#include <string>

namespace dashboard::testing {
namespace {

class BondNames : public bond_fixture {
protected:
    // The bond is up with this slave list, and these display names follow from it.
    void expect_names(const std::string& list, const std::vector<std::string>& names) {
        SCOPED_TRACE(list);
        enable(0);
        world.csman.set_string(bond_name_map, "m");
        slaves(0, list);
        ASSERT_EQ(init(module), 1);
        ASSERT_EQ(check(module), 1);
        expect_state(0, "m", names);
    }
    // The same for the interfaces that stand behind the names, by what they count.
    void expect_counts(const std::vector<uint64_t>& counts) {
        ASSERT_EQ(loop(module, 1), 1);
        const std::string text = world.read(file(0));
        for (size_t k = 0; k < counts.size(); ++k) {
            const std::string slave = "slave" + std::to_string(k) + "_txrx>";
            EXPECT_NE(text.find("<" + slave + std::to_string(counts[k]) + "</" + slave), std::string::npos) << text;
        }
    }
};

TEST_F(BondNames, TheNumberPlusOneIsTheWanAndTheEntryIsTheSlave) {
    expect_names("0:eth0\n1:eth1\n", {"WAN-1(slave1)", "WAN-2(slave2)"});
    expect_names("7:eth0 3:eth1 15:ppp0 0:usb0", {"WAN-8(slave1)", "WAN-4(slave2)", "WAN-16(slave3)", "WAN-1(slave4)"});
}

TEST_F(BondNames, OnlyFourEntriesAreRead) {
    expect_names("0:p 1:q 2:r 3:s 4:t 5:u", {"WAN-1(slave1)", "WAN-2(slave2)", "WAN-3(slave3)", "WAN-4(slave4)"});
    interfaces({{"bond0", 0, 1}, {"p", 0, 10}, {"q", 0, 20}, {"r", 0, 30}, {"s", 0, 40}, {"t", 0, 50}});
    expect_counts({10, 20, 30, 40});
}

TEST_F(BondNames, AnEmptyListHasNoSlaves) {
    expect_names("", {});
    expect_names("\n", {});
    expect_names("   \n\t", {});
}

TEST_F(BondNames, WhiteSpaceStandsBeforeNumberAndNameAsScanfTakesIt) {
    expect_names(" \n\t 0:eth0\r\n\v+1: eth1 \f 2:\n\neth2", {"WAN-1(slave1)", "WAN-2(slave2)", "WAN-3(slave3)"});
    interfaces({{"bond0", 0, 1}, {"eth0", 0, 10}, {"eth1", 0, 20}, {"eth2", 0, 30}});
    expect_counts({10, 20, 30});
    expect_names("0:eth0 1 :eth1 2:eth2", {"WAN-1(slave1)"});
}

TEST_F(BondNames, ReadingStopsAtTheFirstEntryThatIsNone) {
    expect_names("eth0 eth1\n", {});
    expect_names(":eth0", {});
    expect_names("0 eth0", {});
    expect_names("0;eth0", {});
    expect_names("0:", {});
    expect_names("0:   ", {});
    expect_names("0:eth0 1:", {"WAN-1(slave1)"});
    expect_names("0:eth0 x 1:eth1", {"WAN-1(slave1)"});
    expect_names("0:eth0 -:eth1", {"WAN-1(slave1)"});
    expect_names("0:eth0 0x1:eth1", {"WAN-1(slave1)"});
    expect_names("0:eth0 1,eth1", {"WAN-1(slave1)"});
    expect_names(std::string(100'000, 'x') + " 0:eth0", {});
}

TEST_F(BondNames, NegativeAndHugeNumbersAreShownAsTheyAre) {
    expect_names("-1:a -5:b 2147483646:c -2147483648:d",
                 {"WAN-0(slave1)", "WAN--4(slave2)", "WAN-2147483647(slave3)", "WAN--2147483647(slave4)"});
    expect_names("00000000000000000000000000012:a", {"WAN-13(slave1)"});
}

TEST_F(BondNames, OfAnOverlongNameTheFirst15CharactersAreKept) {
    expect_names("0:abcdefghijklmnop 1:ABCDEFGHIJKLMNO 2:" + std::string(50'000, 'z') + " 3:eth3",
                 {"WAN-1(slave1)", "WAN-2(slave2)", "WAN-3(slave3)", "WAN-4(slave4)"});
    interfaces({{"bond0", 0, 1}, {"ABCDEFGHIJKLMNO", 0, 20}, {"abcdefghijklmno", 0, 10}, {"eth3", 0, 40}});
    expect_counts({10, 20, 0, 40});
}

TEST_F(BondNames, ASlaveNamesItsInterfaceAfterTheColon) {
    expect_names("0:1:eth0", {"WAN-1(slave1)"});
    interfaces({{"bond0", 0, 1}, {"eth0", 0, 10}});
    expect_counts({0});
}

TEST_F(BondNames, ANulIsNoEntry) {
    expect_names(std::string("0:eth0 \0 1:eth1", 15), {"WAN-1(slave1)"});
}

// What fscanf makes of a list with "%d:%s", four entries at most.
std::vector<std::string> scanned(std::string list) {
    std::vector<std::string> names;
    FILE* const file = fmemopen(list.data(), list.size(), "r");
    int number = 0;
    char name[256];
    while (names.size() < 4 && fscanf(file, "%d:%255s", &number, name) == 2) {
        names.push_back("WAN-" + std::to_string(number + 1) + "(slave" + std::to_string(names.size() + 1) + ")");
    }
    fclose(file);
    return names;
}

TEST_F(BondNames, AreReadLikeScanfDoes) {
    std::mt19937 random(310);
    for (int i = 0; i < 300; ++i) {
        std::string list;
        for (auto letters = 1 + random() % 40; letters > 0; --letters) {
            list += random() % 4 == 0 ? std::to_string(random() % 100) + ":e" : "";
            list += " \n\t01-+:ex"[random() % 10];
        }
        expect_names(list, scanned(list));
    }
}

// ---- lists that change

TEST_F(BondNames, AListThatShrinksKeepsTheFormerLastSlaves) {
    expect_names("0:eth0 1:eth1 2:eth2", {"WAN-1(slave1)", "WAN-2(slave2)", "WAN-3(slave3)"});
    slaves(0, "4:eth4 5:eth5");
    ASSERT_EQ(check(module), 1);
    expect_state(0, "m", {"WAN-5(slave1)", "WAN-6(slave2)", "WAN-3(slave3)"});
    interfaces({{"bond0", 0, 1}, {"eth2", 0, 30}, {"eth4", 0, 10}, {"eth5", 0, 20}});
    expect_counts({10, 20, 30});
    slaves(0, "");
    ASSERT_EQ(check(module), 1);
    slaves(0, "garbage");
    ASSERT_EQ(check(module), 1);
    expect_counts({10, 20, 30});
}

TEST_F(BondNames, AListThatGrowsAddsSlavesAndTheirOldSamplesReadZero) {
    expect_names("0:eth0", {"WAN-1(slave1)"});
    interfaces({{"bond0", 0, 1}, {"eth0", 0, 10}, {"eth1", 0, 20}});
    ASSERT_EQ(loop(module), 1);
    slaves(0, "0:eth0 1:eth1");
    ASSERT_EQ(check(module), 1);
    ASSERT_EQ(loop_at(module, t0 + 1), 1);
    expect_state(0, "m", two_slaves, {{t0, 1, {10, 0}}, {t0 + 1, 1, {10, 20}}});
}

TEST_F(BondNames, TheListIsClosedAfterEveryCheck) {
    expect_names("0:eth0", {"WAN-1(slave1)"});
    const int before = open_descriptors();
    for (int i = 0; i < 3; ++i) {
        ASSERT_EQ(check(module), 1);
    }
    EXPECT_EQ(open_descriptors(), before);
}

// ---- the map

TEST_F(BondNames, AllBondsShowTheOneMap) {
    for (int bond = 0; bond < 3; ++bond) {
        enable(bond);
        slaves(bond, "");
    }
    world.csman.set_string(bond_name_map, "bond0=Office;bond1=Home");
    ASSERT_EQ(init(module), 1);
    ASSERT_EQ(check(module), 1);
    for (int bond = 0; bond < 3; ++bond) {
        expect_state(bond, "bond0=Office;bond1=Home", {});
    }
}

TEST_F(BondNames, WithoutAMapTheListsPathIsShown) {
    enable(1);
    slaves(1, "");
    world.csman.fail_reads(bond_name_map, 1);
    world.csman.set_string(bond_name_map, "office");
    ASSERT_EQ(init(module), 1);
    ASSERT_EQ(check(module), 1);
    expect_state(1, "/sys/class/net/bond1/bonding/slaves", {});
    ASSERT_EQ(check(module), 1);
    expect_state(1, "office", {});
}

TEST_F(BondNames, AMapThatNamesAnInterfaceIsNoSlave) {
    enable(0);
    world.csman.set_string(bond_name_map, "eth4");
    slaves(0, "0:eth0 1:eth1 2:eth2 3:eth3 4:eth4");
    ASSERT_EQ(init(module), 1);
    ASSERT_EQ(check(module), 1);
    interfaces({{"bond0", 1, 1}, {"eth0", 2, 2}, {"eth1", 3, 3}, {"eth2", 4, 4}, {"eth3", 5, 5}, {"eth4", 6, 6}});
    ASSERT_EQ(loop(module), 1);
    expect_state(0, "eth4", {"WAN-1(slave1)", "WAN-2(slave2)", "WAN-3(slave3)", "WAN-4(slave4)"},
                 {{t0, 2, {4, 6, 8, 10}}});
}

TEST_F(BondNames, AnEmptyMapIsAnEmptyName) {
    enable(0);
    slaves(0, "");
    world.csman.set_string(bond_name_map, "");
    ASSERT_EQ(init(module), 1);
    ASSERT_EQ(check(module), 1);
    expect_state(0, "", {});
}

TEST_F(BondNames, AMapOf63CharactersIsShownWhole) {
    const std::string map = std::string(62, 'm') + "!";
    enable(0);
    slaves(0, "0:eth0");
    world.csman.set_string(bond_name_map, map);
    ASSERT_EQ(init(module), 1);
    ASSERT_EQ(check(module), 1);
    expect_state(0, map, {"WAN-1(slave1)"});
}

TEST_F(BondNames, AMapThatFillsItsBufferEndsThere) {
    enable(0);
    slaves(0, "0:eth0");
    world.csman.set_string(bond_name_map, "m");
    for (csman_row& row : world.state().csman.rows) {
        if (row.csid == bond_name_map) {
            memset(row.text, 'm', sizeof row.text); // 64 characters and no end
        }
    }
    ASSERT_EQ(init(module), 1);
    ASSERT_EQ(check(module), 1);
    expect_state(0, std::string(64, 'm'), {"WAN-1(slave1)"});
}

} // namespace
} // namespace dashboard::testing
