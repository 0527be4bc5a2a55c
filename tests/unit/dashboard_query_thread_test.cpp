// When the query thread measures, and how it meets a clock that jumps.
#include "core/dashboard_query.h"
#include "probes/dashboard_cpuinfo.h"

#include "base/wall_clock.h"
#include "core/dashboard_flags.h"
#include "tests/unit/heard_messages.h"
#include "tests/unit/own_process.h"

#include <gmock/gmock.h>

#include <algorithm>
#include <cerrno>
#include <functional>

namespace dashboard::testing {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

std::string jump(int64_t now, int64_t last) {
    return "log[CheckTimer]: maybe sys time was changed??, now(" + std::to_string(now) + "), last(" +
           std::to_string(last) + "), diff(" + std::to_string(now - last) + ")";
}

class QueryStep : public ::testing::Test {
protected:
    QueryStep() { world.mpstat({"90.00"}); }
    bool measures() {
        world.forget_calls();
        query_step(state);
        return !world.calls("popen").empty();
    }

    listening_world world;
    query_state state{static_cast<int32_t>(first_second), static_cast<int32_t>(first_second + 1000)};
};

TEST_F(QueryStep, MeasuresOnlyAfterTheSecondThatIsDue) {
    in_own_process([this] {
        state.next = static_cast<int32_t>(first_second) + 1;
        EXPECT_FALSE(measures());
        state.next = static_cast<int32_t>(first_second);
        EXPECT_FALSE(measures());
        state.next = static_cast<int32_t>(first_second) - 1;
        EXPECT_TRUE(measures());
        EXPECT_EQ(state.next, first_second + 3);
        EXPECT_EQ(state.last, first_second);
    });
}

TEST_F(QueryStep, CountsTheGapFromTheStartOfAMeasurement) {
    in_own_process([this] {
        world.slow("mpstat", 2);
        state.next = static_cast<int32_t>(first_second) - 1;
        EXPECT_TRUE(measures());
        EXPECT_EQ(world.clock.now(), first_second + 2);
        EXPECT_EQ(state.next, first_second + 3);
        EXPECT_EQ(state.last, first_second);
    });
}

TEST_F(QueryStep, LetsTheClockMoveByThirtySecondsEitherWay) {
    for (const int32_t diff : {-30, -29, 0, 29, 30}) {
        state.last = static_cast<int32_t>(first_second) - diff;
        query_step(state);
        EXPECT_EQ(state.last, first_second - diff);
        EXPECT_EQ(state.next, first_second + 1000);
    }
    EXPECT_THAT(world.messages(), IsEmpty());
}

TEST_F(QueryStep, TellsOfALargerMoveAndStartsAgain) {
    for (const int32_t diff : {-31, 31, -3600, 86400, 1'700'000'000}) {
        state.last = static_cast<int32_t>(first_second) - diff;
        state.next = static_cast<int32_t>(first_second) - 1;
        query_step(state);
        EXPECT_THAT(world.messages(), ElementsAre(jump(first_second, first_second - diff)));
        EXPECT_EQ(state.last, first_second);
        EXPECT_EQ(state.next, first_second + 3);
    }
    EXPECT_THAT(world.calls("popen"), IsEmpty()) << "not measured in the same second";
}

// A query thread that runs in this process until `last`.
class QueryThread : public ::testing::Test {
protected:
    QueryThread() {
        world.mpstat({"90.00", "80.00"});
        world.slow("mpstat", 2);
        world.on_sleep([this] { look(); });
    }
    void look() {
        if (world.calls("popen").size() > starts.size()) {
            starts.push_back(world.clock.now() - first_second); // in the ten microseconds before it is read
        }
        if (world.clock.now() >= first_second + last) {
            set_query_quit_flag();
        }
        every_sleep();
    }

    listening_world world;
    int64_t last = 20;
    std::vector<int64_t> starts; // of measurements, seconds from the start
    std::function<void()> every_sleep = [] {};
};

TEST_F(QueryThread, MeasuresThreeSecondsAfterItsStartAndThenEveryFour) {
    in_own_process([this] {
        query();
        EXPECT_THAT(starts, ElementsAre(3, 7, 11, 15, 19));
        EXPECT_THAT(world.messages(), IsEmpty());
        EXPECT_EQ(get_main_quit_flag(), 0);
    });
}

TEST_F(QueryThread, CountsAsAliveAfterEveryPauseAndThreeSecondsApartAtMost) {
    in_own_process([this] {
        std::vector<int64_t> pauses_end;
        int64_t longest = 0;
        every_sleep = [&] {
            if (world.calls("clock_nanosleep").size() == pauses_end.size()) {
                return; // it was another sleep
            }
            pauses_end.push_back(world.clock.now());
            if (pauses_end.size() > 1) {
                longest = std::max(longest, pauses_end.back() - *(pauses_end.end() - 2));
            }
        };
        const int32_t before = get_query_kal_counter();
        query();
        EXPECT_EQ(longest, 3);
        EXPECT_GE(pauses_end.size(), 10u);
        EXPECT_EQ(get_query_kal_counter() - before, static_cast<int32_t>(pauses_end.size()));
    });
}

TEST_F(QueryThread, PublishesWhileItRunsAndForgetsWhenItLeaves) {
    in_own_process([this] {
        cpu_info info{};
        int published = 0;
        every_sleep = [&] { published += query_cpu_info(&info); };
        query();
        EXPECT_GT(published, 0);
        EXPECT_EQ(info.all, 10);
        EXPECT_EQ(query_cpu_info(&info), 0);
    });
}

TEST_F(QueryThread, TellsOnceOfAClockThatWasSetAndMeasuresFourSecondsLater) {
    in_own_process([this] {
        bool stepped = false;
        every_sleep = [&] {
            if (!stepped && world.clock.now() == first_second + 6) {
                stepped = true;
                world.clock.step_wall(60);
            }
        };
        last = 76;
        query();
        EXPECT_THAT(starts, ElementsAre(3, 70, 74));
        EXPECT_THAT(world.messages(), ElementsAre(jump(first_second + 66, first_second + 3)));
    });
}

TEST_F(QueryThread, LeavesBeforeItsFirstMeasurementWhenItIsToldTo) {
    in_own_process([this] {
        set_query_quit_flag();
        const int32_t before = get_query_kal_counter();
        query();
        EXPECT_THAT(starts, IsEmpty());
        EXPECT_EQ(get_query_kal_counter(), before + 1);
        EXPECT_EQ(world.clock.now(), first_second + 1);
    });
}

TEST_F(QueryThread, SleepsInFullWhateverSignalsArrive) {
    in_own_process([this] {
        world.fail("sleep", EINTR, "", 30);
        query();
        EXPECT_THAT(starts, ElementsAre(3, 7, 11, 15, 19));
    });
}

TEST_F(QueryThread, EndsTheDaemonWhenItsMutexCannotBeMade) {
    in_own_process([this] {
        world.fail("pthread_mutex_init", ENOMEM);
        const int32_t before = get_query_kal_counter();
        query();
        EXPECT_THAT(world.messages(), ElementsAre("warn[query]: Mutex initiation error!"));
        EXPECT_EQ(get_main_quit_flag(), -1);
        EXPECT_EQ(get_query_kal_counter(), before);
        EXPECT_EQ(world.clock.now(), first_second);
    });
}

} // namespace
} // namespace dashboard::testing
