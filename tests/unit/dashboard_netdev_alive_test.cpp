// The alive list: which interfaces ifconfig shows.
#include "probes/dashboard_netdev.h"

#include "tests/unit/heard_messages.h"

#include <gmock/gmock.h>

#include <cerrno>

namespace dashboard::testing {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

std::string lines_numbered(int32_t count) {
    std::string lines;
    for (int32_t i = 0; i < count; ++i) {
        lines += "if" + std::to_string(i) + "\n";
    }
    return lines;
}

class NetdevAlive : public ::testing::Test {
protected:
    void tool_prints(const std::string& text) {
        world.file("/tmp/alive", text);
        world.tool("ifconfig", ":");
        world.no_tool("awk");
        world.tool("awk", "cat " + world.real_path("/tmp/alive"));
    }

    listening_world world;
};

TEST_F(NetdevAlive, KnowsWhatIfconfigShows) {
    world.alive({"lo", "eth0", "br0"});
    main_netdev_alive();
    EXPECT_THAT(world.calls("popen"), ElementsAre("re ifconfig | awk '/Link encap/{print $1}'"));
    EXPECT_EQ(netdev_alive("eth0"), 1);
    EXPECT_EQ(netdev_alive("br0"), 1);
    EXPECT_EQ(netdev_alive("eth"), 0);
    EXPECT_EQ(netdev_alive("eth00"), 0);
    EXPECT_EQ(netdev_alive(""), 0);
    EXPECT_THAT(world.messages(), IsEmpty());
}

TEST_F(NetdevAlive, NeverKnowsTheLoopback) {
    world.alive({"lo", "lo1"});
    main_netdev_alive();
    EXPECT_EQ(netdev_alive("lo"), 0);
    EXPECT_EQ(netdev_alive("lo1"), 1);
}

TEST_F(NetdevAlive, IsAnotherQuestionThanFound) {
    world.netdev({{"eth0", 1, 2}, {"eth1", 1, 2}});
    main_netdev_info();
    const netdev_entry* entry = nullptr;
    world.alive({"eth0"});
    main_netdev_alive();
    EXPECT_EQ(netdev_found(0, "eth1", &entry), 1);
    EXPECT_EQ(netdev_alive("eth1"), 0);
}

TEST_F(NetdevAlive, LeavesAliasesOut) {
    world.alive({"eth0", "eth0:1", "eth1:", ":", "br0"});
    main_netdev_alive();
    netdev_alive_list();
    EXPECT_THAT(world.messages(), ElementsAre("log[netdev_alive_list]: eth0", "log[netdev_alive_list]: br0"));
}

TEST_F(NetdevAlive, CutsNamesAt15Characters) {
    tool_prints("fourteen_chars\nfifteen_letters\nsixteen_letters_\nseventeen_letters\n");
    main_netdev_alive();
    netdev_alive_list();
    EXPECT_THAT(world.messages(),
                ElementsAre("log[netdev_alive_list]: fourteen_chars", "log[netdev_alive_list]: fifteen_letters",
                            "log[netdev_alive_list]: sixteen_letters", "log[netdev_alive_list]: seventeen_lette"));
    EXPECT_EQ(netdev_alive("sixteen_letters"), 1);
    EXPECT_EQ(netdev_alive("sixteen_letters_"), 0);
}

TEST_F(NetdevAlive, KeepsTheLastNameWithoutANewline) {
    tool_prints("eth0\nbr0");
    main_netdev_alive();
    EXPECT_EQ(netdev_alive("br0"), 1);
}

TEST_F(NetdevAlive, EndsAtAnEmptyName) {
    tool_prints("eth0\n\nbr0\n");
    main_netdev_alive();
    EXPECT_EQ(netdev_alive("eth0"), 1);
    EXPECT_EQ(netdev_alive("br0"), 0);
    EXPECT_THAT(world.messages(), IsEmpty());
}

TEST_F(NetdevAlive, IsEmptyAndReportedWhenTheToolPrintsNothingOfUse) {
    for (const char* text : {"", "eth0:1\n"}) {
        world.alive({"eth0"});
        main_netdev_alive();
        EXPECT_EQ(netdev_alive("eth0"), 1);
        tool_prints(text);
        main_netdev_alive();
        EXPECT_EQ(netdev_alive("eth0"), 0);
        EXPECT_THAT(world.messages(), ElementsAre("warn[main_netdev_alive]: SOMETHING ERROR"));
        world.tool("awk", "while read -r name rest; do case \"$rest\" in 'Link encap'*) echo $name;; esac; done");
    }
}

TEST_F(NetdevAlive, IsReportedWhenTheToolIsMissing) {
    world.no_tool("ifconfig");
    const captured_output shell(2);
    main_netdev_alive();
    EXPECT_EQ(netdev_alive("eth0"), 0);
    EXPECT_THAT(world.messages(), ElementsAre("warn[main_netdev_alive]: SOMETHING ERROR"));
}

TEST_F(NetdevAlive, StaysAsItWasWhenTheCommandCannotBeStarted) {
    world.alive({"eth0"});
    main_netdev_alive();
    world.fail("popen", ENOMEM, "ifconfig");
    main_netdev_alive();
    EXPECT_EQ(netdev_alive("eth0"), 1);
    EXPECT_THAT(world.messages(), ElementsAre("warn[main_netdev_alive]: popen(ifconfig | awk '/Link encap/{print "
                                              "$1}') error(Cannot allocate memory)!"));
}

TEST_F(NetdevAlive, Holds75NamesAndDropsTheRest) {
    tool_prints(lines_numbered(75));
    main_netdev_alive();
    EXPECT_EQ(netdev_alive("if74"), 1);
    EXPECT_EQ(netdev_alive("nobody"), 0);
    EXPECT_THAT(world.messages(), IsEmpty());
    tool_prints(lines_numbered(78));
    main_netdev_alive();
    EXPECT_EQ(netdev_alive("if74"), 1);
    EXPECT_EQ(netdev_alive("if75"), 0);
    EXPECT_THAT(world.messages(), ElementsAre("warn[main_netdev_alive]: record overflow: idx(75)"));
    tool_prints(lines_numbered(75) + "eth0:1\n");
    main_netdev_alive();
    EXPECT_THAT(world.messages(), IsEmpty());
}

TEST_F(NetdevAlive, ListPrintsEveryNameButTheLoopback) {
    world.alive({"lo", "eth1", "br0"});
    main_netdev_alive();
    netdev_alive_list();
    EXPECT_THAT(world.messages(), ElementsAre("log[netdev_alive_list]: eth1", "log[netdev_alive_list]: br0"));
}

} // namespace
} // namespace dashboard::testing
