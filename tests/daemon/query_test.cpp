// The thread that measures the CPU, and the wall clock's jumps.
#include "tests/daemon/daemon_fixture.h"

#include <gmock/gmock.h>

#include <algorithm>
#include <cerrno>

namespace dashboard::testing {
namespace {

using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::Not;

constexpr char mpstat_command[] = "re mpstat -P ALL 1 2";

class QueryThread : public daemon_test {
protected:
    size_t measurements() const {
        const std::vector<std::string> commands = world.calls("popen");
        return static_cast<size_t>(std::count(commands.begin(), commands.end(), mpstat_command));
    }

    // Runs for that many whole seconds; the seconds (from 1) in which a measurement began.
    std::vector<int> seconds_with_measurement(daemon_process& daemon, int seconds) {
        std::vector<int> found;
        for (int second = 1; second <= seconds; ++second) {
            const size_t before = measurements();
            EXPECT_TRUE(daemon.run_for(1));
            if (measurements() != before) {
                found.push_back(second);
            }
        }
        return found;
    }
};

// It starts a second after the server thread, looks every second, and measures when more than two seconds have passed,
// then more than three since the last measurement began; a real mpstat takes two of them.
TEST_F(QueryThread, MeasuresAboutEveryFourSeconds) {
    world.slow("mpstat", 2);
    daemon_process daemon(world);
    ASSERT_TRUE(daemon.run_for(1.5));
    EXPECT_THAT(seconds_with_measurement(daemon, 16), ElementsAre(3, 7, 11, 15));
    EXPECT_THAT(daemon.output(), Not(HasSubstr("timeout event")));
}

TEST_F(QueryThread, ReportsAJumpOfTheClockAndMeasuresFourSecondsLater) {
    daemon_process daemon(world);
    ASSERT_TRUE(daemon.run_for(20.5));
    while (measurements() == 0 || seconds_with_measurement(daemon, 1).empty()) {
    }
    const int64_t now = world.clock.now();
    world.clock.step_wall(60);
    EXPECT_THAT(seconds_with_measurement(daemon, 6), ElementsAre(5));
    EXPECT_THAT(daemon.output(),
                HasSubstr("log[CheckTimer]: maybe sys time was changed??, now(" + std::to_string(now + 61) +
                          "), last(" + std::to_string(now) + "), diff(61)\n"));
}

TEST_F(QueryThread, ReportsAJumpBackwards) {
    daemon_process daemon(world);
    ASSERT_TRUE(daemon.run_for(20.5));
    world.clock.step_wall(-3600);
    ASSERT_TRUE(daemon.run_for(20));
    const std::string output = daemon.output();
    const size_t first = output.find("maybe sys time was changed??");
    ASSERT_NE(first, std::string::npos);
    EXPECT_EQ(output.find("maybe sys time was changed??", first + 1), std::string::npos);
}

TEST_F(QueryThread, TriesAgainAfterAFailedStart) {
    world.fail("popen", EAGAIN, "mpstat");
    daemon_process daemon(world);
    ASSERT_TRUE(daemon.run_for(30));
    const std::string output = daemon.output();
    EXPECT_THAT(output,
                HasSubstr("warn[query_cpu]: popen(mpstat -P ALL 1 2) failed(Resource temporarily unavailable)!\n"));
    EXPECT_GE(measurements(), 5u);
}

TEST_F(QueryThread, IgnoresGarbage) {
    world.tool("mpstat", "printf 'garbage\\nAverage: x\\nAverage:     CPU\\n'");
    daemon_process daemon(world);
    ASSERT_TRUE(daemon.run_for(5));
    EXPECT_THAT(daemon.output(), HasSubstr("warn[find_cpu_info]: sscanf (Average: x), rturn 1, should be 11\n"));
    ASSERT_TRUE(daemon.run_for(60));
}

} // namespace
} // namespace dashboard::testing
