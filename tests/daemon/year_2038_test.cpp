// The second in which the documents' 32 bits of time turn negative: life goes on, only the label is an old one.
#include "tests/daemon/module_fixture.h"

#include <gmock/gmock.h>

#include <csignal>
#include <cstdint>
#include <regex>

namespace dashboard::testing {
namespace {

using ::testing::HasSubstr;
using ::testing::Not;

constexpr int64_t last_positive = INT32_MAX; // 2038-01-19 03:14:07 UTC

std::vector<int64_t> times_in(const std::string& document) {
    static const std::regex time("<time>(-?[0-9]+)000</time>");
    std::vector<int64_t> found;
    for (std::sregex_iterator at(document.begin(), document.end(), time), end; at != end; ++at) {
        found.push_back(std::stoll((*at)[1]));
    }
    return found;
}

class Year2038 : public live_modules {
protected:
    Year2038() {
        world.clock.set(last_positive - 130, 300'000'000);
        switch_on(wan_module, 1);
    }

    // Every label, and by how much each is later than the one before, in the 32 bits that they have.
    void expect_steps(const std::string& path, int32_t step) const {
        const std::vector<int64_t> times = times_in(world.read(path));
        ASSERT_GE(times.size(), 3u);
        EXPECT_GT(times.front(), 0);
        EXPECT_LT(times.back(), 0);
        for (size_t i = 1; i < times.size(); ++i) {
            EXPECT_EQ(static_cast<uint32_t>(times[i]) - static_cast<uint32_t>(times[i - 1]),
                      static_cast<uint32_t>(step));
        }
    }
};

TEST_F(Year2038, SecondsAndMinutesGoOnWithoutAGap) {
    start();
    live(180);
    EXPECT_EQ(times_in(world.read(wan_sec_path)).back(), world.clock.now() - (int64_t{1} << 32));
    expect_steps(wan_sec_path, 1);
    live(120);
    expect_steps("/tmp/dashboard/wan_traffic_min_0.xml", 60);
    EXPECT_THAT(daemon->output(), Not(HasSubstr("sys time was changed")));
    EXPECT_THAT(daemon->output(), Not(HasSubstr("timeout event")));
    EXPECT_EQ(recorded("csman", "open 0 0"), 1);
}

// A viewer of just before is looked after for his 60 seconds and no longer.
TEST_F(Year2038, ViewersAreForgottenInTime) {
    start();
    live(126);
    request(wan_module, 0);
    live(90);
    const std::vector<int64_t> times = times_in(world.read(wan_sec_path));
    EXPECT_LT(times.back(), 0);
    const int64_t stale = world.clock.now() - (int64_t{1} << 32) - times.back();
    EXPECT_GE(stale, 90 - 61 - 6);
    EXPECT_LE(stale, 90 - 61 + 6);
}

TEST_F(Year2038, SignalsWorkAfterIt) {
    start();
    live(150);
    daemon->signal(SIGHUP);
    EXPECT_EQ(lines_saying("warn[signal_handler]: Received SIGHUP signal."), 1);
    daemon->signal(SIGTERM);
    EXPECT_EQ(daemon->wait_for_exit(), 255);
}

} // namespace
} // namespace dashboard::testing
