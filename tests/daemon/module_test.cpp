// Modules going on and off, viewers coming and going, the log mode: what the configuration store says while it runs.
#include "tests/daemon/daemon_fixture.h"

#include <gmock/gmock.h>

#include <algorithm>
#include <cerrno>
#include <csignal>

namespace dashboard::testing {
namespace {

using ::testing::ElementsAre;
using ::testing::EndsWith;
using ::testing::HasSubstr;
using ::testing::Not;

constexpr char sec_path[] = "/tmp/dashboard/wan_traffic_sec_0.xml";
constexpr char empty_document[] = "<?xml version=\"1.0\" ?>\n<datalist>\n</datalist>\n";

class modules : public daemon_test {
protected:
    int64_t count(const daemon_process& daemon, const std::string& line) const {
        const std::vector<std::string> lines = daemon.output_lines();
        return std::count(lines.begin(), lines.end(), line);
    }

    int64_t recorded(const std::string& call, const std::string& text) const {
        const std::vector<std::string> calls = world.calls(call);
        return std::count(calls.begin(), calls.end(), text);
    }

    // Runs `cycles` cycles and answers in which of them (1, 2, ...) a call with this text was made.
    std::vector<int> cycles_with(daemon_process& daemon, int cycles, const std::string& call, const std::string& text) {
        std::vector<int> found;
        for (int cycle = 1; cycle <= cycles; ++cycle) {
            const int64_t before = recorded(call, text);
            EXPECT_TRUE(daemon.run_one_second());
            if (recorded(call, text) != before) {
                found.push_back(cycle);
            }
        }
        return found;
    }
};

TEST_F(modules, AreAllTerminatedOnceAtTheStart) {
    daemon_process daemon(world);
    ASSERT_TRUE(daemon.run_for(0.5));
    std::string expected = "enable console debuging\n";
    for (int i = 0; i < 11; ++i) {
        expected += "log[term_monitor_cb]: term_mc idx=" + std::to_string(i) + "\n";
    }
    EXPECT_EQ(daemon.output(), expected);
    for (const uint32_t read_csid : {0x80150431u, 0x80150432u, 0x80150433u, 0x80150434u, 0x80150435u, 0x80150436u,
                                     0x80150437u, 0x80150438u, 0x80150439u, 0x80150430u, 0x8015043au}) {
        EXPECT_EQ(world.csman.get(read_csid), 0);
    }
    EXPECT_EQ(recorded("unlink", "/usr/www/wan_traffic*"), 1);
    EXPECT_EQ(recorded("unlink", "/tmp/dashboard/wan_traffic*"), 1);
}

TEST_F(modules, WanStartsWithThreeEmptyDocumentsAndItsMark) {
    world.csman.set(wan_enable, 1);
    world.netdev({});
    daemon_process daemon(world);
    ASSERT_TRUE(daemon.run_one_second());
    EXPECT_THAT(daemon.output(), HasSubstr("log[wan_traffic_init]: Add WAN0:(eth0)\n"
                                           "log[init_monitor_cb]: init_mc idx=2\n"));
    for (const char* series : {"sec", "min", "hour"}) {
        const std::string name = std::string("wan_traffic_") + series + "_0.xml";
        EXPECT_EQ(world.read("/tmp/dashboard/" + name), empty_document);
        EXPECT_EQ(world.link_target("/usr/www/" + name), "/tmp/dashboard/" + name);
    }
    EXPECT_EQ(world.csman.get(start_marker), 3);
}

TEST_F(modules, StartMarkOf99IsLeftAlone) {
    world.csman.set(wan_enable, 1);
    world.csman.set(start_marker, 99);
    daemon_process daemon(world);
    ASSERT_TRUE(daemon.run_for(3));
    EXPECT_EQ(world.csman.get(start_marker), 99);
}

TEST_F(modules, StayOffWhileTheDaemonIsNotEnabled) {
    world.csman.set(daemon_enable, 0);
    world.csman.set(wan_enable, 1);
    daemon_process daemon(world);
    ASSERT_TRUE(daemon.run_for(30));
    EXPECT_THAT(daemon.output(), Not(HasSubstr("init_mc")));
    EXPECT_EQ(recorded("csman", "read_int 7 0x150785"), 0);
    EXPECT_FALSE(world.exists(sec_path));
}

TEST_F(modules, StopAndStartWithTheirItem) {
    world.csman.set(wan_enable, 1);
    daemon_process daemon(world);
    ASSERT_TRUE(daemon.run_for(10));
    world.csman.set(wan_enable, 0);
    ASSERT_TRUE(daemon.run_for(6));
    EXPECT_EQ(count(daemon, "log[term_monitor_cb]: term_mc idx=2"), 2);
    EXPECT_EQ(recorded("unlink", "/usr/www/wan_traffic*"), 2);
    EXPECT_TRUE(world.exists(sec_path)); // unlink takes the asterisk at its word
    world.csman.set(wan_enable, 1);
    ASSERT_TRUE(daemon.run_for(6));
    EXPECT_EQ(count(daemon, "log[init_monitor_cb]: init_mc idx=2"), 2);
}

// A module whose own item has not moved stays down when the daemon is enabled again.
TEST_F(modules, StayDownAfterADisabledDaemonUntilTheirItemMoves) {
    world.csman.set(wan_enable, 1);
    daemon_process daemon(world);
    ASSERT_TRUE(daemon.run_for(10));
    world.csman.set(daemon_enable, 0);
    ASSERT_TRUE(daemon.run_for(6));
    EXPECT_EQ(count(daemon, "log[term_monitor_cb]: term_mc idx=2"), 2);
    world.csman.set(daemon_enable, 1);
    ASSERT_TRUE(daemon.run_for(60));
    EXPECT_EQ(count(daemon, "log[init_monitor_cb]: init_mc idx=2"), 1);
    world.csman.set(wan_enable, 0);
    ASSERT_TRUE(daemon.run_for(6));
    EXPECT_EQ(count(daemon, "log[term_monitor_cb]: term_mc idx=2"), 2);
    world.csman.set(wan_enable, 1);
    ASSERT_TRUE(daemon.run_for(6));
    EXPECT_EQ(count(daemon, "log[init_monitor_cb]: init_mc idx=2"), 2);
}

TEST_F(modules, EnabledWithTwoAreStartedButNeverRun) {
    world.csman.set(wan_enable, 2);
    daemon_process daemon(world);
    ASSERT_TRUE(daemon.run_for(0.5));
    world.csman.set(wan_view, 1);
    ASSERT_TRUE(daemon.run_for(30));
    EXPECT_EQ(count(daemon, "log[init_monitor_cb]: init_mc idx=2"), 1);
    EXPECT_EQ(world.read(sec_path), empty_document);
    EXPECT_EQ(world.csman.get(wan_view), 1); // nobody took the request
}

TEST_F(modules, GoingFromOneToTwoStopsTheirLoop) {
    world.csman.set(wan_enable, 1);
    world.alive({});
    daemon_process daemon(world);
    ASSERT_TRUE(daemon.run_for(10));
    EXPECT_GT(count(daemon, "log[dashboard_loop]: loop callback fail(2)"), 0);
    world.csman.set(wan_enable, 2);
    ASSERT_TRUE(daemon.run_for(6));
    EXPECT_EQ(count(daemon, "log[init_monitor_cb]: init_mc idx=2"), 2);
    const int64_t failures = count(daemon, "log[dashboard_loop]: loop callback fail(2)");
    ASSERT_TRUE(daemon.run_for(20));
    EXPECT_EQ(count(daemon, "log[dashboard_loop]: loop callback fail(2)"), failures);
}

TEST_F(modules, FailedReadOfAnEnableItemKeepsItsLastValue) {
    world.csman.set(wan_enable, 1);
    daemon_process daemon(world);
    ASSERT_TRUE(daemon.run_for(10));
    world.csman.unset(wan_enable);
    world.csman.unset(daemon_enable);
    ASSERT_TRUE(daemon.run_for(20));
    EXPECT_EQ(count(daemon, "log[term_monitor_cb]: term_mc idx=2"), 1);
}

TEST_F(modules, ItemsAreReadEverySixthCycleBeginningWithTheFirst) {
    daemon_process daemon(world);
    ASSERT_TRUE(daemon.run_for(0.5));
    EXPECT_THAT(cycles_with(daemon, 20, "csman", "read_int 7 0x150780"), ElementsAre(1, 7, 13, 19));
}

TEST_F(modules, AliveListIsMadeEveryEleventhCycleBeginningWithTheFirst) {
    daemon_process daemon(world);
    ASSERT_TRUE(daemon.run_for(0.5));
    EXPECT_THAT(cycles_with(daemon, 36, "popen", "re ifconfig | awk '/Link encap/{print $1}'"),
                ElementsAre(1, 12, 23, 34));
}

// The names are read by the start of the module in the first cycle, and then by its check.
TEST_F(modules, CheckRunsInTheTenthCycleOfEachTen) {
    world.csman.set(wan_enable, 1);
    daemon_process daemon(world);
    ASSERT_TRUE(daemon.run_for(0.5));
    EXPECT_THAT(cycles_with(daemon, 35, "csman", "read_int 7 0x10600"), ElementsAre(1, 10, 20, 30));
}

TEST_F(modules, CheckFindsAnInterfaceThatTheStoreNamesAnew) {
    world.csman.set(wan_enable, 1);
    world.netdev({{"eth0", 1, 2}, {"ppp0", 30, 40}});
    world.alive({"lo", "eth0", "ppp0"});
    daemon_process daemon(world);
    ASSERT_TRUE(daemon.run_for(0.5));
    world.csman.set(wan_view, 1);
    ASSERT_TRUE(daemon.run_for(8));
    EXPECT_THAT(world.read(sec_path), EndsWith("<wan1_rx>1</wan1_rx>\n    <wan1_txrx>3</wan1_txrx>\n</datalist>\n"));
    world.csman.set_string(wan_name + 1, "ppp0");
    ASSERT_TRUE(daemon.run_for(4));
    EXPECT_THAT(world.read(sec_path), EndsWith("<wan1_rx>30</wan1_rx>\n    <wan1_txrx>70</wan1_txrx>\n</datalist>\n"));
}

// 61 cycles: from the one that took the request through the one sixty seconds later.
TEST_F(modules, OneRequestShowsSixtyOneCycles) {
    world.csman.set(wan_enable, 1);
    daemon_process daemon(world);
    ASSERT_TRUE(daemon.run_one_second());
    world.csman.set(wan_view, 3);
    std::vector<int> cycles;
    std::string before = world.read(sec_path);
    for (int cycle = 2; cycle <= 100; ++cycle) {
        ASSERT_TRUE(daemon.run_one_second());
        const std::string now = world.read(sec_path);
        if (now != before) {
            cycles.push_back(cycle);
        }
        before = now;
    }
    ASSERT_EQ(cycles.size(), 61u);
    EXPECT_EQ(cycles.front(), 7);
    EXPECT_EQ(cycles.back(), 67);
    EXPECT_EQ(world.csman.get(wan_view), 0);
}

TEST_F(modules, NegativeRequestIsIgnoredAndNotWrittenBack) {
    world.csman.set(wan_enable, 1);
    daemon_process daemon(world);
    ASSERT_TRUE(daemon.run_one_second());
    world.csman.set(wan_view, -5);
    ASSERT_TRUE(daemon.run_for(30));
    EXPECT_EQ(world.csman.get(wan_view), -5);
    EXPECT_EQ(world.read(sec_path), empty_document);
}

TEST_F(modules, LinkIsMadeOnceAndAgainWhenItIsGone) {
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

TEST_F(modules, DocumentThatCannotBeOpenedIsReportedAndTheRestGoesOn) {
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

TEST_F(modules, DeadInterfaceIsReportedEverySecond) {
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

TEST_F(modules, SeventySixthInterfaceIsReportedEveryCycle) {
    std::vector<interface_bytes> interfaces;
    interfaces.reserve(76);
    for (int i = 0; i < 76; ++i) {
        interfaces.push_back({"veth" + std::to_string(i), 1, 1});
    }
    world.netdev(interfaces);
    daemon_process daemon(world);
    ASSERT_TRUE(daemon.run_for(0.5));
    for (int cycle = 1; cycle <= 5; ++cycle) {
        ASSERT_TRUE(daemon.run_one_second());
        EXPECT_EQ(count(daemon, "warn[main_netdev_info]: record overflow: idx(75)"), cycle);
    }
}

TEST_F(modules, LogModeSwitchesTheOutputs) {
    daemon_process daemon(world, {"logc"});
    world.alive({}); // "SOMETHING ERROR" whenever the alive list is made
    ASSERT_TRUE(daemon.run_for(0.5));
    const auto lines_after = [&](int32_t mode) {
        world.csman.set(log_mode, mode);
        EXPECT_TRUE(daemon.run_for(6)); // the mode is read
        const size_t console = daemon.output_lines().size();
        const size_t syslog = world.syslog_lines().size();
        EXPECT_TRUE(daemon.run_for(22)); // two lists are made
        return std::pair(daemon.output_lines().size() - console, world.syslog_lines().size() - syslog);
    };
    EXPECT_EQ(lines_after(3), std::pair(size_t{0}, size_t{2}));
    EXPECT_EQ(lines_after(0), std::pair(size_t{0}, size_t{2}));
    EXPECT_EQ(lines_after(2), std::pair(size_t{2}, size_t{0}));
    EXPECT_EQ(lines_after(0), std::pair(size_t{2}, size_t{0}));
    EXPECT_EQ(lines_after(1), std::pair(size_t{0}, size_t{0}));
    EXPECT_EQ(lines_after(0), std::pair(size_t{0}, size_t{0}));
    EXPECT_EQ(lines_after(3), std::pair(size_t{0}, size_t{2}));
    EXPECT_EQ(lines_after(-1), std::pair(size_t{0}, size_t{0}));
}

TEST_F(modules, LogModeIsNotReadWhileTheDaemonIsNotEnabled) {
    world.csman.set(daemon_enable, 0);
    world.csman.set(log_mode, 1);
    daemon_process daemon(world, {"logc"});
    world.alive({});
    ASSERT_TRUE(daemon.run_for(30));
    EXPECT_EQ(recorded("csman", "read_int 7 0x150781"), 0);
    EXPECT_EQ(count(daemon, "warn[main_netdev_alive]: SOMETHING ERROR"), 3);
}

// Every module at once, for an hour and a quarter: nothing but their own words.
TEST_F(modules, AllRunTogetherForMoreThanAnHour) {
    for (uint32_t csid = 0x150782; csid <= 0x15078c; ++csid) {
        world.csman.set(csid, 1);
    }
    world.csman.keep_quiet();
    daemon_process daemon(world);
    ASSERT_TRUE(daemon.run_for(0.5));
    for (int minute = 0; minute < 75; ++minute) {
        for (uint32_t csid = 0x80150430; csid <= 0x8015043a; ++csid) {
            world.csman.set(csid, 1);
        }
        ASSERT_TRUE(daemon.run_for(minute < 3 || minute > 72 ? 60 : 20));
        world.clock.step_wall(minute < 3 || minute > 72 ? 0 : 40);
    }
    for (int index = 0; index < 11; ++index) {
        EXPECT_EQ(count(daemon, "log[init_monitor_cb]: init_mc idx=" + std::to_string(index)), 1);
    }
    EXPECT_THAT(daemon.output(), Not(HasSubstr("timeout event")));
    EXPECT_EQ(daemon.errors(), "");
    daemon.signal(SIGTERM);
    EXPECT_EQ(daemon.wait_for_exit(), 255);
}

} // namespace
} // namespace dashboard::testing
