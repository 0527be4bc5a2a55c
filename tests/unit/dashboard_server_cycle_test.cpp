// Whole cycles of the server: what is refreshed when, the daemon's own items.
#include "core/dashboard_server.h"

#include "base/dashboard_log.h"
#include "base/wall_clock.h"
#include "core/dashboard_flags.h"
#include "probes/dashboard_netdev.h"
#include "tests/support/items.h"
#include "tests/unit/fake_modules.h"
#include "tests/unit/heard_messages.h"
#include "tests/unit/own_process.h"

#include <gmock/gmock.h>

#include <algorithm>

namespace dashboard::testing {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

class ServerCycle : public ::testing::Test {
protected:
    ServerCycle() {
        world.usual_inputs();
        world.csman.set(daemon_enable, 1);
        let_all_rest();
        state.handle = store_handle;
    }
    std::vector<std::string> cycle() {
        world.clock.advance(1);
        state.now = wall_seconds();
        EXPECT_TRUE(server_cycle(state));
        return modules.calls();
    }
    void cycles(int count) {
        for (int i = 0; i < count; ++i) {
            cycle();
        }
    }
    bool reads(const std::string& csid) {
        const std::vector<std::string> calls = world.calls("csman");
        return std::find(calls.begin(), calls.end(), "read_int 7 " + csid) != calls.end();
    }

    listening_world world;
    fake_modules modules;
    server_state state;
};

TEST_F(ServerCycle, ReadsTheEnableItemsInTheFirstCycleAndEverySixth) {
    std::vector<int> found;
    for (int i = 1; i <= 20; ++i) {
        world.forget_calls();
        cycle();
        if (reads("0x150780")) {
            found.push_back(i);
        }
    }
    EXPECT_THAT(found, ElementsAre(1, 7, 13, 19));
}

TEST_F(ServerCycle, BuildsTheAliveListInTheFirstCycleAndEveryEleventh) {
    std::vector<int> found;
    for (int i = 1; i <= 35; ++i) {
        world.forget_calls();
        cycle();
        if (!world.calls("popen").empty()) {
            found.push_back(i);
        }
    }
    EXPECT_THAT(found, ElementsAre(1, 12, 23, 34));
}

TEST_F(ServerCycle, RefreshesTheInterfacesInEveryCycleBeforeTheModulesRun) {
    let_run(wan);
    world.csman.set(find_en_csid(wan), 1);
    uint64_t seen = 0;
    modules.during_loop = [&](int) {
        const netdev_entry* entry = nullptr;
        netdev_found(0, "eth0", &entry);
        seen = entry == nullptr ? 0 : entry->rx_bytes;
    };
    for (const uint64_t bytes : {111u, 222u, 333u}) {
        world.netdev({{"eth0", bytes, 1}});
        cycle();
        EXPECT_EQ(seen, bytes);
    }
    EXPECT_EQ(netdev_alive("eth0"), 1);
}

TEST_F(ServerCycle, ReadsTheDaemonItemThenEveryModulesThenTheLogMode) {
    cycle();
    std::vector<std::string> expected = {store_call("read_int", daemon_enable)};
    for (const module_items& module : all_modules) {
        expected.push_back(store_call("read_int", module.enable));
        expected.push_back(store_call("read_int", module.view));
    }
    expected.push_back(store_call("read_int", log_mode));
    EXPECT_EQ(world.calls("csman"), expected);
}

TEST_F(ServerCycle, RunsAModuleInTheCycleThatTurnsItOn) {
    world.csman.set(find_en_csid(wan), 1);
    EXPECT_THAT(cycle(), ElementsAre("init 2", "loop 2"));
    world.csman.set(find_en_csid(wan), 0);
    for (int i = 2; i <= 6; ++i) {
        EXPECT_THAT(cycle(), ElementsAre("loop 2"));
    }
    EXPECT_THAT(cycle(), ElementsAre("term 2"));
}

TEST_F(ServerCycle, NeverRunsAModuleThatIsEnabledWithTwo) {
    world.csman.set(find_en_csid(wan), 1);
    cycles(6);
    world.csman.set(find_en_csid(wan), 2);
    EXPECT_THAT(cycle(), ElementsAre("init 2"));
    EXPECT_THAT(cycle(), IsEmpty());
}

TEST_F(ServerCycle, TerminatesEverythingWhileTheDaemonIsNotEnabledWithOne) {
    for (const int32_t value : {0, 2, -1}) {
        let_run(wan);
        let_run(lan);
        world.csman.set(daemon_enable, value);
        state.enable_check_counter = 6;
        world.forget_calls();
        EXPECT_THAT(cycle(), ElementsAre("term 2", "term 4")) << value;
        EXPECT_THAT(world.calls("csman"),
                    ElementsAre("read_int 7 0x150780", "write_int 7 0x80150433 0", "write_int 7 0x80150435 0"));
    }
}

TEST_F(ServerCycle, TakesADaemonItemThatWasNeverReadForZero) {
    world.csman.unset(daemon_enable);
    let_run(wan);
    EXPECT_THAT(cycle(), ElementsAre("term 2"));
}

TEST_F(ServerCycle, KeepsTheLastDaemonItemWhenItCannotBeRead) {
    world.csman.set(find_en_csid(wan), 1);
    cycles(6);
    world.csman.fail_reads(daemon_enable, 1);
    EXPECT_THAT(cycle(), ElementsAre("loop 2"));
}

TEST_F(ServerCycle, DoesNotWakeAModuleWhoseItemStayedOnWhileTheDaemonWasDisabled) {
    world.csman.set(find_en_csid(wan), 1);
    world.csman.set(find_en_csid(lan), 1);
    cycles(6);
    world.csman.set(daemon_enable, 0);
    EXPECT_THAT(cycle(), ElementsAre("term 2", "term 4"));
    cycles(5);
    EXPECT_EQ(reg_monitor_cb[wan].enabled, 1);
    EXPECT_EQ(reg_monitor_cb[wan].previous_enabled, 1);
    world.csman.set(daemon_enable, 1);
    EXPECT_THAT(cycle(), IsEmpty());
    cycles(5);
    world.csman.set(find_en_csid(wan), 0);
    EXPECT_THAT(cycle(), IsEmpty());
    cycles(5);
    world.csman.set(find_en_csid(wan), 1);
    EXPECT_THAT(cycle(), ElementsAre("init 2", "loop 2"));
}

TEST_F(ServerCycle, LetsAViewerWatchFor61Cycles) {
    world.csman.set(find_en_csid(wan), 1);
    world.csman.set(find_rd_csid(wan), 1);
    int watched = 0;
    modules.during_loop = [&](int i) { watched += reg_monitor_cb[i].viewer_request > 0 ? 1 : 0; };
    cycles(120);
    EXPECT_EQ(watched, 61);
}

struct log_mode_case {
    int32_t mode;
    int32_t console;
    int32_t syslog;
};

TEST_F(ServerCycle, SwitchesTheLogAsTheModeSays) {
    for (const log_mode_case& one : {log_mode_case{2, 1, 0}, {3, 0, 1}, {1, 0, 0}, {4, 0, 0}, {-1, 0, 0}}) {
        const captured_output console(1);
        for (const int32_t before : {0, 1}) {
            log2console = before;
            log2syslog = before;
            world.csman.set(log_mode, one.mode);
            state.enable_check_counter = 6;
            cycle();
            EXPECT_EQ(log2console, one.console) << one.mode;
            EXPECT_EQ(log2syslog, one.syslog) << one.mode;
        }
    }
}

TEST_F(ServerCycle, LeavesTheLogAloneInModeZero) {
    world.csman.set(log_mode, 0);
    log2console = 5;
    log2syslog = 6;
    cycle();
    EXPECT_EQ(log2console, 5);
    EXPECT_EQ(log2syslog, 6);
}

TEST_F(ServerCycle, DoesNotReadTheLogModeWhileTheDaemonIsDisabled) {
    world.csman.set(daemon_enable, 0);
    world.csman.set(log_mode, 1);
    cycle();
    EXPECT_EQ(log2syslog, 1);
    EXPECT_FALSE(reads("0x150781"));
}

TEST_F(ServerCycle, KeepsTheLastLogModeWhenItCannotBeRead) {
    world.csman.set(log_mode, 1);
    cycle();
    log2syslog = 1;
    world.csman.fail_reads(log_mode, 1);
    state.enable_check_counter = 6;
    cycle();
    EXPECT_EQ(log2syslog, 0);
}

TEST_F(ServerCycle, CountsAsAlive) {
    const int32_t before = get_server_kal_counter();
    cycles(3);
    EXPECT_EQ(get_server_kal_counter(), before + 3);
}

TEST_F(ServerCycle, DoesNothingOnceTheThreadIsToldToLeave) {
    in_own_process([this] {
        let_run(wan);
        set_server_quit_flag();
        EXPECT_FALSE(server_cycle(state));
        EXPECT_THAT(modules.calls(), IsEmpty());
        EXPECT_THAT(world.calls("csman"), IsEmpty());
        EXPECT_THAT(world.calls("popen"), IsEmpty());
    });
}

} // namespace
} // namespace dashboard::testing
