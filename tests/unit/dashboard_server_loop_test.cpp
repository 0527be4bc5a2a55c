// The check and loop callbacks of the running modules, cycle by cycle.
#include "core/dashboard_server.h"

#include "tests/unit/fake_modules.h"
#include "tests/unit/heard_messages.h"

#include <gmock/gmock.h>

#include <algorithm>

namespace dashboard::testing {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

constexpr int32_t sim = 10;

class ServerLoop : public ::testing::Test {
protected:
    ServerLoop() {
        let_all_rest();
        state.handle = store_handle;
        state.now = first_second;
    }
    std::vector<std::string> cycle() {
        dashboard_loop(state);
        state.now += 1;
        return modules.calls();
    }
    // The numbers, from 1, of those of the next cycles in which `call` was made.
    std::vector<int> cycles_with(const std::string& call, int cycles) {
        std::vector<int> found;
        for (int i = 1; i <= cycles; ++i) {
            const std::vector<std::string> calls = cycle();
            if (std::find(calls.begin(), calls.end(), call) != calls.end()) {
                found.push_back(i);
            }
        }
        return found;
    }

    listening_world world;
    fake_modules modules;
    server_state state;
};

TEST_F(ServerLoop, RunsTheRunningModulesInOrder) {
    let_run(sim);
    let_run(wan);
    let_run(lan);
    EXPECT_THAT(cycle(), ElementsAre("loop 2", "loop 4", "loop 10"));
    std::vector<std::string> all;
    for (int32_t i = 0; i < module_count; ++i) {
        let_run(i);
        all.push_back("loop " + std::to_string(i));
    }
    EXPECT_EQ(cycle(), all);
    EXPECT_THAT(world.messages(), IsEmpty());
}

TEST_F(ServerLoop, RunsAModuleOnlyWhileItIsInitialisedAndEnabledWithExactlyOne) {
    for (const int32_t initialised : {0, 1, 2}) {
        for (const int32_t enabled : {-1, 0, 1, 2}) {
            let_run(lan);
            reg_monitor_cb[lan].initialised = initialised;
            reg_monitor_cb[lan].enabled = enabled;
            const bool expected = initialised == 1 && enabled == 1;
            EXPECT_EQ(cycle().size(), expected ? 1u : 0u) << initialised << ' ' << enabled;
        }
    }
}

TEST_F(ServerLoop, ChecksInEveryTenthCycleBeforeTheLoop) {
    let_run(lan);
    for (int i = 1; i <= 30; ++i) {
        if (i % 10 == 0) {
            EXPECT_THAT(cycle(), ElementsAre("check 4", "loop 4")) << i;
        } else {
            EXPECT_THAT(cycle(), ElementsAre("loop 4")) << i;
        }
    }
}

TEST_F(ServerLoop, CountsTheCyclesOfEveryModuleByItself) {
    let_run(wan);
    EXPECT_THAT(cycles_with("check 2", 4), IsEmpty());
    let_run(lan);
    EXPECT_THAT(cycles_with("check 4", 12), ElementsAre(10));
    EXPECT_THAT(cycles_with("check 2", 8), ElementsAre(4));
}

TEST_F(ServerLoop, KeepsTheCountWhileAModuleRests) {
    let_run(lan);
    EXPECT_THAT(cycles_with("check 4", 6), IsEmpty());
    term_monitor_cb(store_handle, lan);
    EXPECT_THAT(cycles_with("check 4", 20), IsEmpty());
    EXPECT_EQ(reg_monitor_cb[lan].check_counter, 6);
    let_run(lan);
    EXPECT_THAT(cycles_with("check 4", 4), ElementsAre(4));
}

TEST_F(ServerLoop, ChecksAsOftenAsTheRowSays) {
    let_run(lan);
    reg_monitor_cb[lan].check_period = 1;
    EXPECT_THAT(cycles_with("check 4", 9), ElementsAre(3, 6, 9));
    reg_monitor_cb[lan].check_period = -1;
    EXPECT_THAT(cycles_with("check 4", 3), ElementsAre(1, 2, 3));
}

TEST_F(ServerLoop, TellsOfAFailedCheckAndRunsTheLoopAllTheSame) {
    let_run(lan);
    modules.answers[lan].check_answer = 0;
    reg_monitor_cb[lan].check_counter = 9;
    EXPECT_THAT(cycle(), ElementsAre("check 4", "loop 4"));
    EXPECT_THAT(world.messages(), ElementsAre("log[dashboard_loop]: check callback fail(4)"));
    EXPECT_EQ(reg_monitor_cb[lan].check_counter, 0);
}

TEST_F(ServerLoop, TellsOfAFailedLoopAndRunsItAgain) {
    let_run(sim);
    modules.answers[sim].loop_answer = 0;
    cycle();
    EXPECT_THAT(cycle(), ElementsAre("loop 10"));
    EXPECT_THAT(world.messages(), ElementsAre("log[dashboard_loop]: loop callback fail(10)",
                                              "log[dashboard_loop]: loop callback fail(10)"));
}

TEST_F(ServerLoop, TakesAnyAnswerButZeroForSuccess) {
    let_run(lan);
    for (const int answer : {-1, 2}) {
        modules.answers[lan].check_answer = answer;
        modules.answers[lan].loop_answer = answer;
        reg_monitor_cb[lan].check_counter = 9;
        EXPECT_THAT(cycle(), ElementsAre("check 4", "loop 4"));
    }
    EXPECT_THAT(world.messages(), IsEmpty());
}

TEST_F(ServerLoop, IsSkippedWhenTheCheckSwitchedTheModuleOff) {
    let_run(lan);
    modules.during_check = [](int i) { reg_monitor_cb[i].enabled = 0; };
    reg_monitor_cb[lan].check_counter = 9;
    EXPECT_THAT(cycle(), ElementsAre("check 4"));
    let_run(lan);
    modules.during_check = [](int i) { reg_monitor_cb[i].initialised = 0; };
    reg_monitor_cb[lan].check_counter = 9;
    EXPECT_THAT(cycle(), ElementsAre("check 4"));
    EXPECT_THAT(world.messages(), IsEmpty());
}

TEST_F(ServerLoop, SkipsEmptySlots) {
    let_run(lan);
    modules.sets[lan].check = nullptr;
    reg_monitor_cb[lan].check_counter = 9;
    EXPECT_THAT(cycle(), ElementsAre("loop 4"));
    EXPECT_EQ(reg_monitor_cb[lan].check_counter, 9);
    modules.sets[lan].loop = nullptr;
    EXPECT_THAT(cycle(), IsEmpty());
    EXPECT_THAT(world.messages(), IsEmpty());
}

class ServerViewer : public ServerLoop {
protected:
    // In how many cycles from now on the module sees a viewer.
    int watched_cycles(int limit) {
        int watched = 0;
        modules.during_loop = [&](int i) { watched += reg_monitor_cb[i].viewer_request > 0 ? 1 : 0; };
        for (int i = 0; i < limit; ++i) {
            cycle();
        }
        return watched;
    }
    void watch(int32_t module, int32_t timeout) {
        reg_monitor_cb[module].viewer_request = 1;
        *find_timeout_value(module) = timeout;
    }
};

TEST_F(ServerViewer, IsSeenFor61Cycles) {
    let_run(lan);
    watch(lan, state.now + 60);
    EXPECT_EQ(watched_cycles(200), 61);
    EXPECT_EQ(reg_monitor_cb[lan].viewer_request, 0);
}

TEST_F(ServerViewer, LeavesAtTheFirstCycleAfterTheTimeout) {
    let_run(lan);
    watch(lan, state.now);
    cycle();
    EXPECT_EQ(reg_monitor_cb[lan].viewer_request, 1);
    cycle();
    EXPECT_EQ(reg_monitor_cb[lan].viewer_request, 0);
}

TEST_F(ServerViewer, LeavesAModuleThatRestsToo) {
    watch(lan, state.now - 1);
    EXPECT_THAT(cycle(), IsEmpty());
    EXPECT_EQ(reg_monitor_cb[lan].viewer_request, 0);
}

TEST_F(ServerViewer, OfEveryModuleHasItsOwnTime) {
    watch(wan, state.now + 5);
    watch(lan, state.now - 5);
    cycle();
    EXPECT_EQ(reg_monitor_cb[wan].viewer_request, 1);
    EXPECT_EQ(reg_monitor_cb[lan].viewer_request, 0);
}

TEST_F(ServerViewer, IsGoneBeforeTheCheckOfTheSameCycle) {
    let_run(lan);
    watch(lan, state.now - 1);
    reg_monitor_cb[lan].check_counter = 9;
    modules.during_check = [](int i) { EXPECT_EQ(reg_monitor_cb[i].viewer_request, 0); };
    EXPECT_THAT(cycle(), ElementsAre("check 4", "loop 4"));
}

TEST_F(ServerViewer, IsCountedInSigned32Bits) {
    let_run(lan);
    state.now = INT32_MAX - 10;
    watch(lan, static_cast<int32_t>(static_cast<uint32_t>(state.now) + 60)); // wraps into the negative
    dashboard_loop(state);
    EXPECT_EQ(reg_monitor_cb[lan].viewer_request, 1);
    state.now = static_cast<int32_t>(static_cast<uint32_t>(INT32_MAX) + 51);
    dashboard_loop(state);
    EXPECT_EQ(reg_monitor_cb[lan].viewer_request, 0);
}

TEST_F(ServerViewer, StaysLongerWhenTheClockIsSetBack) {
    let_run(lan);
    watch(lan, state.now + 60);
    state.now -= 3600;
    EXPECT_EQ(watched_cycles(3600 + 60), 3600 + 60);
}

TEST_F(ServerViewer, MayBeChangedByTheModule) {
    let_run(lan);
    watch(lan, state.now + 60);
    modules.during_loop = [](int i) { reg_monitor_cb[i].viewer_request = 0; };
    cycle();
    EXPECT_EQ(reg_monitor_cb[lan].viewer_request, 0);
}

} // namespace
} // namespace dashboard::testing
