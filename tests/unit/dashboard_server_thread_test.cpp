// The server thread from its start to its end: opening the store, meeting the second, leaving.
#include "core/dashboard_server.h"

#include "base/wall_clock.h"
#include "core/dashboard_flags.h"
#include "tests/support/items.h"
#include "tests/unit/fake_modules.h"
#include "tests/unit/heard_messages.h"
#include "tests/unit/own_process.h"

#include <gmock/gmock.h>

#include <algorithm>
#include <cerrno>

namespace dashboard::testing {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

TEST(OpenCsmanRetry, ReturnsAHandleAtOnceWithoutAWord) {
    listening_world world;
    EXPECT_EQ(open_csman_retry(), store_handle);
    EXPECT_THAT(world.calls("csman"), ElementsAre("open 0 0"));
    EXPECT_THAT(world.messages(), IsEmpty());
    EXPECT_EQ(world.clock.now(), first_second);
}

TEST(OpenCsmanRetry, TakesAHandleOfZero) {
    listening_world world;
    world.csman.fail_open(1, 0);
    EXPECT_EQ(open_csman_retry(), 0);
    EXPECT_THAT(world.messages(), IsEmpty());
}

TEST(OpenCsmanRetry, TriesAgainEveryThreeSeconds) {
    listening_world world;
    world.csman.fail_open(2);
    EXPECT_EQ(open_csman_retry(), store_handle);
    EXPECT_THAT(world.messages(), ElementsAre("warn[open_csman_retry]: Open CSMan For Thread Fail(3), do retry",
                                              "warn[open_csman_retry]: Open CSMan For Thread Fail(2), do retry"));
    EXPECT_EQ(world.clock.now(), first_second + 6);
}

TEST(OpenCsmanRetry, MayStillSucceedTheFourthTime) {
    listening_world world;
    world.csman.fail_open(3);
    EXPECT_EQ(open_csman_retry(), store_handle);
    EXPECT_EQ(world.calls("csman").size(), 4u);
    EXPECT_EQ(world.clock.now(), first_second + 9);
}

TEST(OpenCsmanRetry, GivesUpAfterFourTimesAndTwelveSeconds) {
    listening_world world;
    world.csman.fail_open(-1, -3);
    EXPECT_EQ(open_csman_retry(), -3);
    EXPECT_THAT(world.messages(), ElementsAre("warn[open_csman_retry]: Open CSMan For Thread Fail(3), do retry",
                                              "warn[open_csman_retry]: Open CSMan For Thread Fail(2), do retry",
                                              "warn[open_csman_retry]: Open CSMan For Thread Fail(1), do retry",
                                              "warn[open_csman_retry]: Open CSMan For Thread Fail(0), do retry",
                                              "warn[open_csman_retry]: Open CSMan For Thread Fail"));
    EXPECT_THAT(world.calls("csman"), ElementsAre("open 0 0", "open 0 0", "open 0 0", "open 0 0"));
    EXPECT_EQ(world.clock.now(), first_second + 12);
}

TEST(OpenCsmanRetry, WaitsInFullWhateverSignalsArrive) {
    listening_world world;
    world.csman.fail_open(1);
    world.fail("sleep", EINTR, "", 10);
    open_csman_retry();
    EXPECT_EQ(world.clock.now(), first_second + 3);
}

// A server thread that runs in this process until `last`, with modules that only write down.
class ServerThread : public ::testing::Test {
protected:
    ServerThread() {
        world.usual_inputs();
        world.csman.set(daemon_enable, 1);
        world.on_sleep([this] { leave_when_over(); });
        modules.during_loop = [this](int i) {
            if (i == wan) {
                loops_at.push_back(world.clock.wall_ns());
            }
        };
    }
    void leave_when_over() {
        if (world.clock.now() >= last) {
            set_server_quit_flag();
        }
    }
    std::vector<int64_t> loop_seconds() const {
        std::vector<int64_t> seconds;
        for (const int64_t at : loops_at) {
            seconds.push_back(at / ns_per_second - first_second);
        }
        return seconds;
    }

    listening_world world;
    fake_modules modules;
    int64_t last = first_second + 4;
    std::vector<int64_t> loops_at;
};

TEST_F(ServerThread, GivesUpWhenTheStoreCannotBeOpened) {
    in_own_process([this] {
        world.csman.fail_open(-1);
        const int32_t alive_before = get_server_kal_counter();
        server();
        EXPECT_EQ(world.messages().back(), "warn[server]: open_csman_retry() failed!\n");
        EXPECT_EQ(get_main_quit_flag(), -1);
        EXPECT_LT(csman_handle, 0);
        EXPECT_THAT(modules.calls(), IsEmpty());
        EXPECT_EQ(get_server_kal_counter(), alive_before);
        EXPECT_EQ(world.calls("csman").size(), 4u);
    });
}

TEST_F(ServerThread, FirstClearsEveryModuleThenRunsThoseThatAreEnabled) {
    in_own_process([this] {
        world.csman.set(find_en_csid(wan), 1);
        server();
        std::vector<std::string> expected;
        for (int32_t i = 0; i < module_count; ++i) {
            expected.push_back("term " + std::to_string(i));
        }
        expected.insert(expected.end(), {"init 2", "loop 2", "loop 2", "loop 2"});
        EXPECT_EQ(modules.calls(), expected);
        EXPECT_EQ(get_main_quit_flag(), 0);
    });
}

TEST_F(ServerThread, PublishesItsHandleAndClosesTheStoreWhenItLeaves) {
    in_own_process([this] {
        world.csman.set(find_en_csid(wan), 1);
        modules.during_loop = [](int) { EXPECT_EQ(csman_handle, store_handle); };
        server();
        EXPECT_EQ(csman_handle, -1);
        EXPECT_EQ(world.calls("csman").back(), "close 7");
    });
}

TEST_F(ServerThread, StartsEveryCycleAtTheTurnOfASecond) {
    in_own_process([this] {
        world.csman.set(find_en_csid(wan), 1);
        last = first_second + 10;
        server();
        EXPECT_THAT(loop_seconds(), ElementsAre(1, 2, 3, 4, 5, 6, 7, 8, 9));
        for (const int64_t at : loops_at) {
            EXPECT_LE(at % ns_per_second, 600'000) << "polled every 500 microseconds";
        }
    });
}

TEST_F(ServerThread, StartsTheNextCycleAtOnceAfterALongOne) {
    in_own_process([this] {
        world.csman.set(find_en_csid(wan), 1);
        modules.during_loop = [this](int) {
            loops_at.push_back(world.clock.wall_ns());
            if (loops_at.size() == 2) {
                world.clock.advance(2.5);
            }
        };
        last = first_second + 7;
        server();
        EXPECT_THAT(loop_seconds(), ElementsAre(1, 2, 4, 5, 6));
        EXPECT_NEAR(static_cast<double>(loops_at[2] - loops_at[1]), 2.5e9, 1e6);
    });
}

TEST_F(ServerThread, StartsACycleWhenTheClockStepsBack) {
    in_own_process([this] {
        world.csman.set(find_en_csid(wan), 1);
        modules.during_loop = [this](int) {
            loops_at.push_back(world.clock.wall_ns());
            if (loops_at.size() == 2) {
                world.clock.step_wall(-100);
            }
            if (loops_at.size() == 4) {
                set_server_quit_flag();
            }
        };
        server();
        EXPECT_THAT(loop_seconds(), ElementsAre(1, 2, -98, -97));
    });
}

TEST_F(ServerThread, ForgetsTheRequestsOfAnEarlierRun) {
    in_own_process([this] {
        world.csman.set(find_en_csid(wan), 1);
        world.csman.set(find_rd_csid(wan), 1);
        modules.during_loop = [](int i) { EXPECT_EQ(reg_monitor_cb[i].viewer_request, 0); };
        server();
        EXPECT_EQ(world.csman.get(find_rd_csid(wan)), 0);
    });
}

TEST_F(ServerThread, LetsAViewerWatchFor61Seconds) {
    in_own_process([this] {
        world.csman.set(find_en_csid(wan), 1);
        int cycles = 0;
        int watched = 0;
        modules.during_loop = [&](int i) {
            if (++cycles == 1) {
                world.csman.set(find_rd_csid(wan), 1);
            }
            watched += reg_monitor_cb[i].viewer_request > 0 ? 1 : 0;
        };
        last = first_second + 80;
        server();
        EXPECT_EQ(watched, 61);
    });
}

} // namespace
} // namespace dashboard::testing
