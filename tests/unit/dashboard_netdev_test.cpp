// The netdev table: its limits, its failures, looking interfaces up.
#include "probes/dashboard_netdev.h"

#include "tests/unit/heard_messages.h"

#include <gmock/gmock.h>

#include <cerrno>

namespace dashboard::testing {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

std::vector<interface_bytes> numbered_interfaces(int32_t count) {
    std::vector<interface_bytes> interfaces;
    for (int32_t i = 0; i < count; ++i) {
        interfaces.push_back({"if" + std::to_string(i), 100u + static_cast<uint64_t>(i), 200});
    }
    return interfaces;
}

std::vector<std::string> found_names(const char* pattern) {
    std::vector<std::string> names;
    const netdev_entry* entry = nullptr;
    for (int32_t i = netdev_found(0, pattern, &entry); i != -1;
         i = netdev_found(static_cast<uint32_t>(i) + 1, pattern, &entry)) {
        names.emplace_back(entry->name);
    }
    return names;
}

class Netdev : public ::testing::Test {
protected:
    void table(const std::vector<std::string>& names) {
        std::vector<interface_bytes> interfaces;
        for (const std::string& name : names) {
            interfaces.push_back({name, 1, 2});
        }
        world.netdev(interfaces);
        main_netdev_info();
    }

    listening_world world;
    const netdev_entry* entry = nullptr;
};

TEST_F(Netdev, TableHoldsTheInterfacesInTheOrderOfTheFile) {
    table({"lo", "eth0", "br0"});
    EXPECT_THAT(found_names("*"), ElementsAre("lo", "eth0", "br0"));
    EXPECT_THAT(world.messages(), IsEmpty());
}

TEST_F(Netdev, TableIsMadeAnewEveryTime) {
    table({"lo", "eth0", "br0"});
    table({"eth1"});
    EXPECT_THAT(found_names("*"), ElementsAre("eth1"));
}

TEST_F(Netdev, TableStaysAsItWasWhenTheFileCannotBeOpened) {
    table({"lo", "eth0"});
    world.remove("/proc/net/dev");
    main_netdev_info();
    EXPECT_THAT(found_names("*"), ElementsAre("lo", "eth0"));
    EXPECT_THAT(world.messages(),
                ElementsAre("warn[main_netdev_info]: fopen(/proc/net/dev) failed(No such file or directory)!"));
    world.netdev({{"br0", 1, 1}});
    world.fail("open", EMFILE, "/proc/net/dev");
    main_netdev_info();
    EXPECT_THAT(found_names("*"), ElementsAre("lo", "eth0"));
    EXPECT_THAT(world.messages(),
                ElementsAre("warn[main_netdev_info]: fopen(/proc/net/dev) failed(Too many open files)!"));
}

TEST_F(Netdev, TableIsEmptyWhenAHeaderLineIsMissing) {
    for (const char* text : {"", "one header\n", "one header without its newline"}) {
        table({"lo"});
        world.file("/proc/net/dev", text);
        main_netdev_info();
        EXPECT_THAT(found_names("*"), IsEmpty()) << text;
        EXPECT_THAT(world.messages(), ElementsAre("warn[main_netdev_info]: SOMETHING ERROR")) << text;
    }
}

TEST_F(Netdev, TableWithoutAnyInterfaceIsReported) {
    table({});
    EXPECT_THAT(found_names("*"), IsEmpty());
    EXPECT_THAT(world.messages(), ElementsAre("warn[main_netdev_info]: SOMETHING ERROR"));
}

TEST_F(Netdev, TableDropsTheTwoHeaderLinesWhateverTheySay) {
    world.file("/proc/net/dev", "eth8: 1 2 3 4 5 6 7 8 9 10 11 12 13 14 15 16\n"
                                "eth9: 1 2 3 4 5 6 7 8 9 10 11 12 13 14 15 16\n"
                                "eth0: 1 2 3 4 5 6 7 8 9 10 11 12 13 14 15 16\n");
    main_netdev_info();
    EXPECT_THAT(found_names("*"), ElementsAre("eth0"));
}

TEST_F(Netdev, TableHolds75InterfacesWithoutAWord) {
    world.netdev(numbered_interfaces(75));
    main_netdev_info();
    EXPECT_EQ(found_names("*").size(), 75u);
    EXPECT_EQ(netdev_found(74, "*", &entry), 74);
    EXPECT_STREQ(entry->name, "if74");
    EXPECT_EQ(entry->rx_bytes, 174u);
    EXPECT_THAT(world.messages(), IsEmpty());
}

TEST_F(Netdev, TableDropsThe76thInterfaceEveryTimeWithOneWarning) {
    for (const int32_t count : {76, 77, 200}) {
        world.netdev(numbered_interfaces(count));
        main_netdev_info();
        EXPECT_EQ(found_names("*").size(), 75u);
        EXPECT_EQ(netdev_found(0, "if75", &entry), -1);
        EXPECT_THAT(world.messages(), ElementsAre("warn[main_netdev_info]: record overflow: idx(75)"));
    }
}

TEST_F(Netdev, TableTellsAboutTheOverflowBeforeItLooksAtTheLine) {
    world.netdev(numbered_interfaces(75));
    world.file("/proc/net/dev", world.read("/proc/net/dev") + "not an interface\nnor this\n");
    main_netdev_info();
    EXPECT_THAT(world.messages(), ElementsAre("warn[main_netdev_info]: record overflow: idx(75)"));
}

TEST_F(Netdev, TableSurvivesReadsThatSignalsInterrupt) {
    world.netdev(numbered_interfaces(3));
    world.fail("read", EINTR, "", 4);
    main_netdev_info();
    EXPECT_EQ(found_names("*").size(), 3u);
}

TEST_F(Netdev, FoundMatchesByPrefixUpToTheFirstStar) {
    table({"eth0.2", "eth0", "eth10", "br0"});
    EXPECT_THAT(found_names("eth*"), ElementsAre("eth0.2", "eth0", "eth10"));
    EXPECT_THAT(found_names("eth"), ElementsAre("eth0.2", "eth0", "eth10"));
    EXPECT_THAT(found_names("eth0"), ElementsAre("eth0.2", "eth0"));
    EXPECT_THAT(found_names("eth1*"), ElementsAre("eth10"));
    EXPECT_THAT(found_names("e*h*9"), ElementsAre("eth0.2", "eth0", "eth10"));
    EXPECT_THAT(found_names("eth0.2.3"), IsEmpty());
    EXPECT_THAT(found_names("ETH"), IsEmpty());
    EXPECT_THAT(found_names("th0"), IsEmpty());
}

TEST_F(Netdev, FoundMatchesEverythingWithAnEmptyPatternOrAStar) {
    table({"lo", "eth0"});
    EXPECT_THAT(found_names("*"), ElementsAre("lo", "eth0"));
    EXPECT_THAT(found_names(""), ElementsAre("lo", "eth0"));
    EXPECT_THAT(found_names("*eth"), ElementsAre("lo", "eth0"));
}

TEST_F(Netdev, FoundBeginsAtItsStart) {
    table({"eth0", "br0", "eth1"});
    EXPECT_EQ(netdev_found(0, "eth", &entry), 0);
    EXPECT_EQ(netdev_found(1, "eth", &entry), 2);
    EXPECT_STREQ(entry->name, "eth1");
    EXPECT_EQ(netdev_found(2, "eth", &entry), 2);
    EXPECT_EQ(netdev_found(1, "br", &entry), 1);
    EXPECT_EQ(netdev_found(2, "br", &entry), -1);
    EXPECT_EQ(entry, nullptr);
}

TEST_F(Netdev, FoundEndsAtTheFirstEmptyEntryAndAtTheEndOfTheTable) {
    table({"eth0", "eth1"});
    for (const uint32_t start : {2u, 3u, 74u, 75u, 76u, 0x7fffffffu, 0x80000000u, UINT32_MAX}) {
        netdev_entry other{};
        entry = &other;
        EXPECT_EQ(netdev_found(start, "*", &entry), -1) << start;
        EXPECT_EQ(entry, nullptr) << start;
    }
    world.netdev(numbered_interfaces(75));
    main_netdev_info();
    EXPECT_EQ(netdev_found(74, "if", &entry), 74);
    for (const uint32_t start : {75u, 76u, UINT32_MAX}) {
        EXPECT_EQ(netdev_found(start, "*", &entry), -1) << start;
        EXPECT_EQ(entry, nullptr) << start;
    }
    EXPECT_EQ(netdev_found(0, "nobody", &entry), -1);
}

TEST_F(Netdev, FoundNothingInAnEmptyTable) {
    table({});
    netdev_entry other{};
    entry = &other;
    EXPECT_EQ(netdev_found(0, "*", &entry), -1);
    EXPECT_EQ(entry, nullptr);
}

TEST_F(Netdev, FoundListPrintsEveryName) {
    table({"lo", "eth0"});
    netdev_found_list();
    EXPECT_THAT(world.messages(), ElementsAre("log[netdev_found_list]: lo", "log[netdev_found_list]: eth0"));
}

TEST_F(Netdev, AFullTableIsListedToItsEnd) {
    world.netdev(numbered_interfaces(75));
    main_netdev_info();
    netdev_found_list();
    const std::vector<std::string> lines = world.messages();
    ASSERT_EQ(lines.size(), 75u);
    EXPECT_EQ(lines.front(), "log[netdev_found_list]: if0");
    EXPECT_EQ(lines.back(), "log[netdev_found_list]: if74");
}

} // namespace
} // namespace dashboard::testing
