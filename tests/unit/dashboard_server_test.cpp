// Switching modules on and off, and their viewer requests.
#include "core/dashboard_server.h"

#include "core/dashboard_flags.h"
#include "tests/support/items.h"
#include "tests/unit/fake_modules.h"
#include "tests/unit/heard_messages.h"
#include "tests/unit/own_process.h"

#include <gmock/gmock.h>

namespace dashboard::testing {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

class Server : public ::testing::Test {
protected:
    void check_items(int32_t module) { chk_dashboard_csid(store_handle, module); }
    void enable(int32_t module, int32_t value) {
        world.csman.set(find_en_csid(module), value);
        check_items(module);
    }
    void request(int32_t module, int32_t value) { world.csman.set(find_rd_csid(module), value); }

    listening_world world;
    fake_modules modules;
};

using ServerTerm = Server;

TEST_F(ServerTerm, EndsEveryModuleInOrderAndForgetsItsViewers) {
    for (int32_t i = 0; i < module_count; ++i) {
        *find_timeout_value(i) = 1000 + i;
    }
    EXPECT_EQ(term_monitor_cb(store_handle, every_module), 1);
    std::vector<std::string> ended;
    std::vector<std::string> withdrawn;
    std::vector<std::string> said;
    for (const module_items& module : all_modules) {
        const std::string index = std::to_string(module.index);
        ended.push_back("term " + index);
        withdrawn.push_back(store_call("write_int", module.view) + " 0");
        said.push_back("log[term_monitor_cb]: term_mc idx=" + index);
    }
    EXPECT_EQ(modules.calls(), ended);
    EXPECT_EQ(world.calls("csman"), withdrawn);
    EXPECT_EQ(world.messages(), said);
    for (int32_t i = 0; i < module_count; ++i) {
        EXPECT_EQ(*find_timeout_value(i), 0) << i;
        EXPECT_EQ(reg_monitor_cb[i].initialised, 0) << i;
    }
}

TEST_F(ServerTerm, HasNothingToDoTheSecondTime) {
    term_monitor_cb(store_handle, every_module);
    modules.calls();
    world.forget_calls();
    EXPECT_EQ(term_monitor_cb(store_handle, every_module), 0);
    EXPECT_THAT(modules.calls(), IsEmpty());
    EXPECT_THAT(world.calls("csman"), IsEmpty());
}

TEST_F(ServerTerm, EndsOneModuleAlone) {
    EXPECT_EQ(term_monitor_cb(store_handle, lan), 1);
    EXPECT_THAT(modules.calls(), ElementsAre("term 4"));
    EXPECT_EQ(reg_monitor_cb[wan].initialised, 1);
    EXPECT_EQ(reg_monitor_cb[lan].initialised, 0);
    EXPECT_EQ(term_monitor_cb(store_handle, lan), 0);
    for (const int32_t nobody : {-1, every_module + 1}) {
        EXPECT_EQ(term_monitor_cb(store_handle, nobody), 0);
    }
    EXPECT_THAT(modules.calls(), IsEmpty());
}

TEST_F(ServerTerm, GoesByTheModuleIndexOfARowAndTellsTheRow) {
    reg_monitor_cb[8].module_index = lan;
    EXPECT_EQ(term_monitor_cb(store_handle, lan), 1);
    EXPECT_THAT(modules.calls(), ElementsAre("term 4", "term 8"));
    EXPECT_THAT(world.messages(),
                ElementsAre("log[term_monitor_cb]: term_mc idx=4", "log[term_monitor_cb]: term_mc idx=8"));
}

TEST_F(ServerTerm, LeavesAModuleThatDoesNotAnswerOneAsItIs) {
    *find_timeout_value(lan) = 1000;
    for (const int answer : {0, 2, -1}) {
        modules.answers[lan].term_answer = answer;
        EXPECT_EQ(term_monitor_cb(store_handle, lan), 0) << answer;
        EXPECT_EQ(reg_monitor_cb[lan].initialised, 1) << answer;
        EXPECT_EQ(*find_timeout_value(lan), 1000) << answer;
    }
    EXPECT_THAT(world.calls("csman"), IsEmpty());
    EXPECT_THAT(world.messages(), IsEmpty());
}

TEST_F(ServerTerm, SkipsAnEmptySlotAndARowThatIsNotExactlyInitialised) {
    modules.sets[lan].term = nullptr;
    EXPECT_EQ(term_monitor_cb(store_handle, lan), 0);
    EXPECT_EQ(reg_monitor_cb[lan].initialised, 1);
    reg_monitor_cb[wan].initialised = 2;
    EXPECT_EQ(term_monitor_cb(store_handle, wan), 0);
    EXPECT_THAT(modules.calls(), IsEmpty());
}

TEST_F(ServerTerm, DoesNotMindThatTheRequestCannotBeWithdrawn) {
    world.csman.fail_writes(find_rd_csid(lan), -1);
    EXPECT_EQ(term_monitor_cb(store_handle, lan), 1);
    EXPECT_EQ(reg_monitor_cb[lan].initialised, 0);
}

class ServerEnable : public Server {
protected:
    ServerEnable() { let_all_rest(); }
};

TEST_F(ServerEnable, ReadsTheEnableItemThenTheRequest) {
    check_items(lan);
    EXPECT_THAT(world.calls("csman"), ElementsAre("read_int 7 0x150787", "read_int 7 0x80150435"));
    EXPECT_THAT(modules.calls(), IsEmpty());
}

TEST_F(ServerEnable, InitialisesAModuleThatIsTurnedOn) {
    enable(lan, 1);
    EXPECT_THAT(modules.calls(), ElementsAre("init 4"));
    EXPECT_EQ(reg_monitor_cb[lan].initialised, 1);
    EXPECT_EQ(reg_monitor_cb[lan].enabled, 1);
    EXPECT_EQ(reg_monitor_cb[lan].previous_enabled, 1);
    EXPECT_THAT(world.messages(), ElementsAre("log[init_monitor_cb]: init_mc idx=4"));
    check_items(lan);
    EXPECT_THAT(modules.calls(), IsEmpty());
}

TEST_F(ServerEnable, TerminatesAModuleThatIsTurnedOff) {
    enable(lan, 1);
    modules.calls();
    enable(lan, 0);
    EXPECT_THAT(modules.calls(), ElementsAre("term 4"));
    EXPECT_EQ(reg_monitor_cb[lan].initialised, 0);
    EXPECT_EQ(reg_monitor_cb[lan].previous_enabled, 0);
    check_items(lan);
    EXPECT_THAT(modules.calls(), IsEmpty());
}

TEST_F(ServerEnable, InitialisesAgainAtEveryChangeToAnotherValueThanZero) {
    enable(lan, 1);
    enable(lan, 2);
    enable(lan, -1);
    EXPECT_THAT(modules.calls(), ElementsAre("init 4", "init 4", "init 4"));
    EXPECT_EQ(reg_monitor_cb[lan].previous_enabled, -1);
}

TEST_F(ServerEnable, TriesAFailedInitAgainOnlyWhenTheItemWentOffAndOn) {
    for (const int answer : {0, 2, -1}) {
        modules.answers[lan].init_answer = answer;
        enable(lan, 1);
        check_items(lan);
        EXPECT_THAT(modules.calls(), ElementsAre("init 4")) << answer;
        EXPECT_EQ(reg_monitor_cb[lan].initialised, 0) << answer;
        EXPECT_EQ(reg_monitor_cb[lan].previous_enabled, 1) << answer;
        enable(lan, 0);
        EXPECT_THAT(modules.calls(), IsEmpty()) << answer;
    }
    EXPECT_THAT(world.messages(), IsEmpty());
    modules.answers[lan].init_answer = 1;
    enable(lan, 1);
    EXPECT_EQ(reg_monitor_cb[lan].initialised, 1);
}

TEST_F(ServerEnable, GoesByTheModuleIndexOfARow) {
    reg_monitor_cb[8].module_index = lan;
    enable(lan, 1);
    EXPECT_THAT(modules.calls(), ElementsAre("init 4", "init 8"));
    EXPECT_EQ(reg_monitor_cb[8].initialised, 1);
    EXPECT_THAT(world.messages(),
                ElementsAre("log[init_monitor_cb]: init_mc idx=4", "log[init_monitor_cb]: init_mc idx=8"));
}

TEST_F(ServerEnable, SkipsAnEmptyInitSlot) {
    modules.sets[lan].init = nullptr;
    enable(lan, 1);
    EXPECT_EQ(reg_monitor_cb[lan].initialised, 0);
    EXPECT_EQ(reg_monitor_cb[lan].previous_enabled, 1);
}

TEST_F(ServerEnable, KeepsWhatAFailedReadLeaves) {
    enable(lan, 1);
    modules.calls();
    world.csman.set(find_en_csid(lan), 0);
    world.csman.fail_reads(find_en_csid(lan), 1);
    check_items(lan);
    EXPECT_THAT(modules.calls(), IsEmpty());
    check_items(lan);
    EXPECT_THAT(modules.calls(), ElementsAre("term 4"));
}

TEST_F(ServerEnable, OfAnUnknownModuleIsFatal) {
    for (const int32_t unknown : {-1, module_count}) {
        in_own_process([&] {
            chk_dashboard_csid(store_handle, unknown);
            EXPECT_EQ(get_main_quit_flag(), -1);
            EXPECT_THAT(world.messages(), ElementsAre("warn[chk_dashboard_csid]: unknow csid"));
            EXPECT_THAT(world.calls("csman"), IsEmpty());
            world.forget_calls();
        });
    }
}

using ServerRequest = ServerEnable;

TEST_F(ServerRequest, IsKeptAsItsNumberForSixtySecondsAndTakenOutOfTheStore) {
    enable(lan, 1);
    world.clock.set(1'700'000'500);
    request(lan, 3);
    world.forget_calls();
    check_items(lan);
    EXPECT_EQ(reg_monitor_cb[lan].viewer_request, 3);
    EXPECT_EQ(*find_timeout_value(lan), 1'700'000'560);
    EXPECT_THAT(world.calls("csman"),
                ElementsAre("read_int 7 0x150787", "read_int 7 0x80150435", "write_int 7 0x80150435 0"));
    EXPECT_EQ(*find_timeout_value(wan), 0);
}

TEST_F(ServerRequest, IsTakenInTheCycleThatTurnsTheModuleOnEvenIfItsInitFails) {
    modules.answers[lan].init_answer = 0;
    request(lan, 1);
    enable(lan, 1);
    EXPECT_EQ(reg_monitor_cb[lan].viewer_request, 1);
    EXPECT_EQ(world.csman.get(find_rd_csid(lan)), 0);
}

TEST_F(ServerRequest, IsIgnoredWhenItIsNotPositive) {
    enable(lan, 1);
    for (const int32_t value : {-5, 0, INT32_MIN}) {
        request(lan, value);
        world.forget_calls();
        check_items(lan);
        EXPECT_EQ(reg_monitor_cb[lan].viewer_request, 0) << value;
        EXPECT_EQ(*find_timeout_value(lan), 0) << value;
        EXPECT_EQ(world.csman.get(find_rd_csid(lan)), value);
        EXPECT_EQ(world.calls("csman").size(), 2u);
    }
}

TEST_F(ServerRequest, WaitsInTheStoreUntilTheModuleIsEnabledWithOne) {
    for (const int32_t value : {0, 2, -1}) {
        request(mem, 5);
        enable(mem, value);
        EXPECT_EQ(reg_monitor_cb[mem].viewer_request, 0) << value;
        EXPECT_EQ(world.csman.get(find_rd_csid(mem)), 5) << value;
    }
    enable(mem, 1);
    EXPECT_EQ(reg_monitor_cb[mem].viewer_request, 5);
}

TEST_F(ServerRequest, ThatCannotBeReadIsNone) {
    enable(lan, 1);
    request(lan, 4);
    world.csman.fail_reads(find_rd_csid(lan), 1);
    check_items(lan);
    EXPECT_EQ(reg_monitor_cb[lan].viewer_request, 0);
    check_items(lan);
    EXPECT_EQ(reg_monitor_cb[lan].viewer_request, 4);
}

TEST_F(ServerRequest, IsRenewedByAnother) {
    enable(lan, 1);
    request(lan, 4);
    check_items(lan);
    world.clock.advance(30);
    request(lan, 9);
    check_items(lan);
    EXPECT_EQ(reg_monitor_cb[lan].viewer_request, 9);
    EXPECT_EQ(*find_timeout_value(lan), first_second + 90);
}

} // namespace
} // namespace dashboard::testing
