// The WAN module in a whole daemon: its start, its check, its viewers, its links, what it says when things go wrong.
#include "tests/daemon/module_fixture.h"

#include <gmock/gmock.h>

#include <cerrno>

namespace dashboard::testing {
namespace {

using ::testing::ElementsAre;
using ::testing::EndsWith;
using ::testing::HasSubstr;
using ::testing::Not;

using WanModule = Modules;

TEST_F(WanModule, WanStartsWithThreeEmptyDocumentsAndItsMark) {
    world.csman.set(wan_enable, 1);
    world.netdev({});
    daemon_process daemon(world);
    ASSERT_TRUE(daemon.run_one_second());
    EXPECT_THAT(daemon.output(), HasSubstr("log[wan_traffic_init]: Add WAN0:(eth0)\n"
                                           "log[init_monitor_cb]: init_mc idx=2\n"));
    for (const char* series : {"sec", "min", "hour"}) {
        const std::string name = std::string("wan_traffic_") + series + "_0.xml";
        EXPECT_EQ(world.read("/tmp/dashboard/" + name), datalist(""));
        EXPECT_EQ(world.link_target("/usr/www/" + name), "/tmp/dashboard/" + name);
    }
    EXPECT_EQ(world.csman.get(start_marker), 3);
}

TEST_F(WanModule, StartMarkOf99IsLeftAlone) {
    world.csman.set(wan_enable, 1);
    world.csman.set(start_marker, 99);
    daemon_process daemon(world);
    ASSERT_TRUE(daemon.run_for(3));
    EXPECT_EQ(world.csman.get(start_marker), 99);
}

// The names are read by the start of the module in the first cycle, and then by its check.
TEST_F(WanModule, CheckRunsInTheTenthCycleOfEachTen) {
    world.csman.set(wan_enable, 1);
    daemon_process daemon(world);
    ASSERT_TRUE(daemon.run_for(0.5));
    EXPECT_THAT(cycles_with(daemon, 35, "csman", "read_int 7 0x10600"), ElementsAre(1, 10, 20, 30));
}

TEST_F(WanModule, CheckFindsAnInterfaceThatTheStoreNamesAnew) {
    world.csman.set(wan_enable, 1);
    world.netdev({{"eth0", 1, 2}, {"ppp0", 30, 40}});
    world.alive({"lo", "eth0", "ppp0"});
    daemon_process daemon(world);
    ASSERT_TRUE(daemon.run_for(0.5));
    world.csman.set(wan_view, 1);
    ASSERT_TRUE(daemon.run_for(8));
    EXPECT_THAT(world.read(wan_sec_path),
                EndsWith("<wan1_rx>1</wan1_rx>\n    <wan1_txrx>3</wan1_txrx>\n</datalist>\n"));
    world.csman.set_string(wan_name + 1, "ppp0");
    ASSERT_TRUE(daemon.run_for(4));
    EXPECT_THAT(world.read(wan_sec_path),
                EndsWith("<wan1_rx>30</wan1_rx>\n    <wan1_txrx>70</wan1_txrx>\n</datalist>\n"));
}

TEST_F(WanModule, NegativeRequestIsIgnoredAndNotWrittenBack) {
    world.csman.set(wan_enable, 1);
    daemon_process daemon(world);
    ASSERT_TRUE(daemon.run_one_second());
    world.csman.set(wan_view, -5);
    ASSERT_TRUE(daemon.run_for(30));
    EXPECT_EQ(world.csman.get(wan_view), -5);
    EXPECT_EQ(world.read(wan_sec_path), datalist(""));
}

TEST_F(WanModule, LinkIsMadeOnceAndAgainWhenItIsGone) {
    world.csman.set(wan_enable, 1);
    daemon_process daemon(world);
    ASSERT_TRUE(daemon.run_for(0.5));
    world.csman.set(wan_view, 1);
    ASSERT_TRUE(daemon.run_for(40));
    std::vector<std::string> links;
    for (const runner_command& one : world.commands()) {
        if (one.command.rfind("ln ", 0) == 0) {
            EXPECT_EQ(one.pid, daemon.pid());
            links.push_back(one.file + " " + one.func + ": " + one.command);
        }
    }
    const auto link_of = [](const std::string& series) {
        const std::string name = "wan_traffic_" + series + "_0.xml";
        return "dashboard_wan xml_wan_traffic_" + series + ": ln -sf /tmp/dashboard/" + name + " /usr/www/" + name;
    };
    EXPECT_THAT(links, ElementsAre(link_of("sec"), link_of("min"), link_of("hour")));
    world.remove("/usr/www/wan_traffic_sec_0.xml");
    ASSERT_TRUE(daemon.run_one_second());
    EXPECT_TRUE(world.exists("/usr/www/wan_traffic_sec_0.xml"));
    EXPECT_EQ(world.commands().size(), 5u);
}

TEST_F(WanModule, DocumentThatCannotBeOpenedIsReportedAndTheRestGoesOn) {
    world.csman.set(wan_enable, 1);
    daemon_process daemon(world);
    ASSERT_TRUE(daemon.run_one_second());
    world.csman.set(wan_view, 1);
    world.fail("open", ENOSPC, "wan_traffic_sec_tmp", 1);
    ASSERT_TRUE(daemon.run_for(10));
    EXPECT_EQ(count(daemon, "warn[xml_wan_traffic_sec]: open file(/tmp/dashboard/wan_traffic_sec_tmp.xml) error(No "
                            "space left on device)!"),
              1);
    EXPECT_THAT(daemon.output(), Not(HasSubstr("loop callback fail")));
    EXPECT_THAT(world.list("/tmp/dashboard"),
                ElementsAre("wan_traffic_hour_0.xml", "wan_traffic_min_0.xml", "wan_traffic_sec_0.xml"));
}

TEST_F(WanModule, DeadInterfaceIsReportedEverySecond) {
    world.csman.set(wan_enable, 1);
    world.alive({"lo"});
    daemon_process daemon(world);
    ASSERT_TRUE(daemon.run_for(0.5));
    for (int cycle = 1; cycle <= 10; ++cycle) {
        ASSERT_TRUE(daemon.run_one_second());
        EXPECT_EQ(count(daemon, "log[get_wan_traffic_item]: eth0 is dead"), cycle);
        EXPECT_EQ(count(daemon, "log[dashboard_loop]: loop callback fail(2)"), cycle);
    }
}

} // namespace
} // namespace dashboard::testing
