// Measurements with mpstat: lines, values, failures.
#include "core/dashboard_query.h"
#include "probes/dashboard_cpuinfo.h"

#include "base/wall_clock.h"
#include "core/dashboard_flags.h"
#include "tests/unit/heard_messages.h"
#include "tests/unit/open_descriptors.h"
#include "tests/unit/own_process.h"

#include <gmock/gmock.h>

#include <cerrno>
#include <pthread.h>
#include <sys/wait.h>

namespace dashboard::testing {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

constexpr char header[] =
    "Average:     CPU    %usr   %nice    %sys %iowait    %irq   %soft  %steal  %guest  %gnice   %idle\n";

std::string average(const std::string& name, const std::string& idle) {
    return "Average:     " + name + "    1.50    2.60    3.70    4.80    5.90    6.00    7.10    8.20    9.30   " +
           idle;
}

std::vector<int32_t> fields(const cpu_info& info) {
    return {info.valid, info.all, info.cpu[0], info.cpu[1], info.cpu[2], info.cpu[3]};
}

std::vector<int32_t> latest() {
    cpu_info info{-9, -9, {-9, -9, -9, -9}};
    EXPECT_EQ(query_cpu_info(&info), 1);
    return fields(info);
}

// What was measured stays in the process, so every test measures in one of its own.
class Query : public ::testing::Test {
protected:
    void prints(const std::string& text) { world.tool("mpstat", "cat <<'end'\n" + text + "end"); }
    // What another test of this process may have measured is gone when the thread has come and left.
    void forget_measurements() {
        set_query_quit_flag();
        query();
    }
    void measure() {
        query_state due{wall_seconds(), wall_seconds() - 1};
        query_step(due);
    }

    listening_world world;
};

TEST_F(Query, HasNothingBeforeTheFirstMeasurement) {
    in_own_process([this] {
        forget_measurements();
        cpu_info info{-9, -8, {-7, -6, -5, -4}};
        EXPECT_EQ(query_cpu_info(&info), 0);
        EXPECT_THAT(fields(info), ElementsAre(-9, -8, -7, -6, -5, -4));
    });
}

TEST_F(Query, LeavesNothingOpen) {
    in_own_process([this] {
        world.mpstat({"90.10", "80.20", "70.30", "0.00", "100.00"});
        measure();
        const int before = open_descriptors();
        measure();
        EXPECT_EQ(open_descriptors(), before);
        EXPECT_EQ(waitpid(-1, nullptr, WNOHANG), -1) << "a child is left";
        EXPECT_EQ(errno, ECHILD);
    });
}

TEST_F(Query, TakesTheUsageOfAllAndOfFourCores) {
    in_own_process([this] {
        world.mpstat({"90.10", "80.20", "70.30", "0.00", "100.00"});
        measure();
        EXPECT_THAT(latest(), ElementsAre(1, 10, 20, 30, 100, 0));
        EXPECT_THAT(world.calls("popen"), ElementsAre("re mpstat -P ALL 1 2"));
        EXPECT_THAT(world.calls("usleep"), ElementsAre("10"));
        EXPECT_THAT(world.messages(), IsEmpty());
    });
}

TEST_F(Query, CutsTheFractionOfIdle) {
    in_own_process([this] {
        world.mpstat({"99.75", "99.00", "0.99", "1.01"});
        measure();
        EXPECT_THAT(latest(), ElementsAre(1, 1, 1, 100, 99, -1));
    });
}

TEST_F(Query, SaysMinusOneForCoresThatAreNotReported) {
    in_own_process([this] {
        world.mpstat({"50.00", "50.00", "50.00", "50.00", "50.00"});
        measure();
        world.mpstat({"90.00", "80.00", "70.00"});
        measure();
        EXPECT_THAT(latest(), ElementsAre(1, 10, 20, 30, -1, -1));
    });
}

TEST_F(Query, IgnoresHeadersAndEverythingThatIsNoAverage) {
    in_own_process([this] {
        prints("Linux 5.10 (router)\n\n12:00:01     CPU    %usr\n12:00:02     all  1.00\n" + std::string(header) +
               average("all", "90.00") + "\n Average: 1\naverage: 2\n");
        measure();
        EXPECT_THAT(latest(), ElementsAre(1, 10, -1, -1, -1, -1));
        EXPECT_THAT(world.messages(), IsEmpty());
    });
}

TEST_F(Query, TakesALastLineWithoutANewline) {
    in_own_process([this] {
        world.tool("mpstat", "printf '%s' '" + average("all", "90.00") + "'");
        measure();
        EXPECT_THAT(latest(), ElementsAre(1, 10, -1, -1, -1, -1));
    });
}

TEST_F(Query, NamesAFifthCoreAndOtherUnknownOnes) {
    in_own_process([this] {
        prints(average("  0", "90.00") + "\n" + average("  4", "80.00") + "\n" + average("ALL", "80.00") + "\n" +
               average(" 00", "80.00") + "\n");
        measure();
        EXPECT_THAT(latest(), ElementsAre(1, -1, 10, -1, -1, -1));
        EXPECT_THAT(world.messages(), ElementsAre("warn[query_cpu]: unknow cpu-core index(4)",
                                                  "warn[query_cpu]: unknow cpu-core index(ALL)",
                                                  "warn[query_cpu]: unknow cpu-core index(00)"));
    });
}

TEST_F(Query, KeepsTheLastMeasurementWhenNoLineGivesAValue) {
    in_own_process([this] {
        world.mpstat({"90.00"});
        measure();
        for (const std::string& text : {std::string("garbage\n"), std::string(header), average("4", "80.00") + "\n",
                                        std::string("Average: all 1.00\n"), std::string("\n")}) {
            prints(text);
            measure();
            EXPECT_THAT(latest(), ElementsAre(1, 10, -1, -1, -1, -1)) << text;
        }
        EXPECT_EQ(get_main_quit_flag(), 0);
    });
}

TEST_F(Query, HasNothingWhenTheFirstMeasurementGivesNoValue) {
    in_own_process([this] {
        forget_measurements();
        prints("garbage\n");
        measure();
        cpu_info info{};
        EXPECT_EQ(query_cpu_info(&info), 0);
    });
}

TEST_F(Query, EndsTheDaemonWhenMpstatPrintsNothing) {
    for (const bool installed : {true, false}) {
        in_own_process([&] {
            const captured_output shell(2);
            if (installed) {
                world.tool("mpstat", ":");
            } else {
                world.no_tool("mpstat");
            }
            forget_measurements();
            world.forget_calls();
            measure();
            EXPECT_EQ(get_main_quit_flag(), -1);
            EXPECT_THAT(world.messages(),
                        ElementsAre("warn[query_cpu]: error, popen returned null string, RESTART DAEMON!\n"));
            cpu_info info{};
            EXPECT_EQ(query_cpu_info(&info), 0);
        });
        world.forget_calls();
    }
}

TEST_F(Query, SaysWhyMpstatCannotBeStartedAndTriesAgainWhenDue) {
    in_own_process([this] {
        world.mpstat({"90.00"});
        world.fail("popen", ENOMEM, "mpstat");
        query_state state{wall_seconds(), wall_seconds() - 1};
        query_step(state);
        EXPECT_THAT(world.messages(),
                    ElementsAre("warn[query_cpu]: popen(mpstat -P ALL 1 2) failed(Cannot allocate memory)!"));
        EXPECT_EQ(state.last, first_second);
        EXPECT_EQ(state.next, first_second + 3);
        EXPECT_EQ(get_main_quit_flag(), 0);
        world.clock.advance(3);
        query_step(state);
        EXPECT_EQ(world.calls("popen").size(), 1u);
        world.clock.advance(1);
        query_step(state);
        EXPECT_THAT(latest(), ElementsAre(1, 10, -1, -1, -1, -1));
    });
}

TEST_F(Query, LosesNoLineToSignals) {
    in_own_process([this] {
        world.mpstat({"90.00", "80.00"});
        world.fail("read", EINTR, "", 8);
        measure();
        EXPECT_THAT(latest(), ElementsAre(1, 10, 20, -1, -1, -1));
        EXPECT_EQ(get_main_quit_flag(), 0);
    });
}

TEST_F(Query, HandsOutWholeMeasurements) {
    in_own_process([this] {
        world.mpstat({"90.00", "90.00", "90.00", "90.00", "90.00"});
        measure();
        pthread_t reader;
        const auto read = [](void*) -> void* {
            for (int i = 0; i < 20000; ++i) {
                cpu_info info{};
                query_cpu_info(&info);
                const bool whole = info.all == info.cpu[0] && info.all == info.cpu[1] && info.all == info.cpu[2] &&
                                   info.all == info.cpu[3];
                EXPECT_TRUE(whole && (info.all == 10 || info.all == 20));
            }
            return nullptr;
        };
        ASSERT_EQ(pthread_create(&reader, nullptr, read, nullptr), 0);
        world.mpstat({"80.00", "80.00", "80.00", "80.00", "80.00"});
        for (int i = 0; i < 5; ++i) {
            measure();
        }
        pthread_join(reader, nullptr);
    });
}

class CpuLine : public ::testing::Test {
protected:
    listening_world world;
    cpu_line parsed{"old", {1, 1, 1, 1, 1, 1, 1, 1, 1, 1}};
};

TEST_F(CpuLine, GivesTheNameAndTheTenIntegerParts) {
    EXPECT_EQ(find_cpu_info(average("all", "61.95").c_str(), &parsed), 1);
    EXPECT_STREQ(parsed.name, "all");
    EXPECT_THAT(parsed.percent, ElementsAre(1, 2, 3, 4, 5, 6, 7, 8, 9, 61));
    EXPECT_THAT(world.messages(), IsEmpty());
}

TEST_F(CpuLine, SkipsAnyFirstWordAndHasANameOfUpToFourCharacters) {
    EXPECT_EQ(find_cpu_info("x 1234 0.1 0.1 0.1 0.1 0.1 0.1 0.1 0.1 0.1 42.", &parsed), 1);
    EXPECT_STREQ(parsed.name, "1234");
    EXPECT_EQ(parsed.percent[9], 42);
}

TEST_F(CpuLine, ThatIsIncompleteTellsHowFarItWent) {
    struct incomplete {
        const char* line;
        int count;
    };
    for (const incomplete& one : {
             incomplete{"", -1},
             {"Average:", -1},
             {"Average: all", 1},
             {"Average: abcde 1.0 1.0", 1},
             {"Average: all 1", 2},
             {"Average: all 1,00 2,00", 2},
             {"Average: all 1.00 2.00 x", 3},
             {"Average: all 1.00 2.00 3.00 4.00 5.00 6.00 7.00 8.00 9.00", 10},
             {" Average: all 1.00", 0},
         }) {
        EXPECT_EQ(find_cpu_info(one.line, &parsed), 0) << one.line;
        EXPECT_THAT(world.messages(), ElementsAre("warn[find_cpu_info]: sscanf (" + std::string(one.line) +
                                                  "), rturn " + std::to_string(one.count) + ", should be 11"));
    }
}

TEST_F(CpuLine, ClearsWhatWasThereBefore) {
    EXPECT_EQ(find_cpu_info("Average: x 7.00 ", &parsed), 0);
    EXPECT_STREQ(parsed.name, "x");
    EXPECT_THAT(parsed.percent, ElementsAre(7, 0, 0, 0, 0, 0, 0, 0, 0, 0));
}

} // namespace
} // namespace dashboard::testing
