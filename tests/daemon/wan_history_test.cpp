// The WAN documents of a whole daemon over hours, every byte of them, against a model of their own.
#include "tests/daemon/daemon_fixture.h"
#include "tests/models/records.h"

#include <gmock/gmock.h>

#include <algorithm>
#include <memory>

namespace dashboard::testing {
namespace {

using ::testing::HasSubstr;
using ::testing::Not;

// Two WAN connections, on eth0 and eth1, watched all the time, beside a daemon that logs on the console.
class WanHistory : public daemon_test {
protected:
    WanHistory() {
        world.csman.keep_quiet();
        world.csman.set(wan_enable, 1);
        world.csman.set(wan_binding + 1, 99);
        world.csman.set_string(wan_name_99, "eth1");
        world.alive({"lo", "eth0", "eth1"});
        count_traffic();
    }

    // Starts the daemon and lets its first cycle pass, at the first second after the start.
    void start() {
        daemon = std::make_unique<daemon_process>(world);
        ASSERT_TRUE(daemon->run_for(0.5)); // the first term has cleared the request items
        world.csman.set(wan_view, 1);
        model = std::make_unique<history_model<traffic_record>>(first_second + 1);
        live_one_second();
    }

    // Gives the interfaces new counters and lets the daemon take them in the next second.
    void live_one_second() {
        count_traffic();
        ASSERT_TRUE(daemon->run_one_second());
        after_cycle();
    }

    // Sets the wall clock either way; the daemon starts a cycle at once.
    void step_clock(int64_t seconds) {
        count_traffic();
        world.clock.step_wall(seconds);
        ASSERT_TRUE(daemon->run_for(0.001));
        after_cycle();
    }

    void live(int64_t seconds) {
        for (int64_t i = 0; i < seconds && !HasFatalFailure(); ++i) {
            live_one_second();
        }
    }

    // The request is taken every sixth cycle and holds for the sixty seconds after that.
    void after_cycle() {
        const int64_t now = world.clock.now();
        watched = watched && now <= watched_until;
        if (cycles++ % 6 == 0) {
            watched = true;
            watched_until = now + 60;
        }
        const int64_t minutes = model->min.pushed;
        const int64_t hours = model->hour.pushed;
        wan.time = now;
        empty_roll_ups += model->feed(wan) ? 0 : 1;
        update(sec_document, watched, model->sec);
        update(min_document, watched && model->min.pushed > minutes, model->min);
        update(hour_document, model->hour.pushed > hours, model->hour);
        world.csman.set(wan_view, 1);
        ASSERT_EQ(world.read(wan_sec_path), sec_document);
        ASSERT_EQ(world.read(wan_min_path), min_document);
        ASSERT_EQ(world.read(wan_hour_path), hour_document);
    }

    static void update(std::string& document, bool written, const ring_model<traffic_record>& series) {
        if (written) {
            document = traffic_document("wan", {1, 2}, series.newest(72));
        }
    }

    // Uneven numbers of every size, so that an average that takes another sample or rounds otherwise shows.
    void count_traffic() {
        seconds_counted += 1;
        const uint64_t n = seconds_counted;
        const uint64_t rx0 = n * n * 977 + 11;
        const uint64_t tx0 = n * 1'000'003 + (n % 7) * (n % 7);
        const uint64_t rx1 = (uint64_t{1} << 60) + n * n * n;
        const uint64_t tx1 = ~uint64_t{0} - n * 31;
        world.netdev({{"lo", 5, 5}, {"eth0", rx0, tx0}, {"eth1", rx1, tx1}});
        wan = traffic_at(0, {{1, tx0, rx0}, {2, tx1, rx1}});
    }

    int64_t lines_saying(const std::string& text) const {
        const std::vector<std::string> lines = daemon->output_lines();
        return std::count(lines.begin(), lines.end(), text);
    }

    std::unique_ptr<daemon_process> daemon;
    std::unique_ptr<history_model<traffic_record>> model;
    traffic_record wan; // of this second
    std::string sec_document = datalist("");
    std::string min_document = datalist("");
    std::string hour_document = datalist("");
    int64_t empty_roll_ups = 0;
    uint64_t seconds_counted = 0;
    int64_t cycles = 0;
    int64_t watched_until = 0;
    bool watched = false;
};

// The sec ring wraps after two minutes, the min ring after two hours.
TEST_F(WanHistory, TwoHoursAndAQuarterOfEverySecondAndEveryRollUp) {
    start();
    live(8100);
    EXPECT_EQ(model->min.pushed, 135);
    EXPECT_EQ(model->hour.pushed, 2);
    EXPECT_THAT(daemon->output(), Not(HasSubstr("loop callback fail")));
    EXPECT_EQ(daemon->errors(), "");
}

TEST_F(WanHistory, SmallStepsOfTheClockChangeNothingButTheTimes) {
    start();
    live(200);
    step_clock(25);
    live(100);
    step_clock(-25);
    live(200);
    EXPECT_EQ(empty_roll_ups, 0);
    EXPECT_THAT(daemon->output(), Not(HasSubstr("CheckTimer")));
}

TEST_F(WanHistory, ForwardStepRollsUpAtOnce) {
    start();
    live(90);
    const int64_t before = model->min.pushed;
    step_clock(3600);
    EXPECT_EQ(model->min.pushed, before + 1);
    EXPECT_EQ(model->hour.pushed, 1);
    live(130);
}

TEST_F(WanHistory, BackwardStepOfHalfAnHourRollsUpTheHour) {
    start();
    live(90);
    step_clock(-1700);
    EXPECT_EQ(model->hour.pushed, 0);
    live(70);
    step_clock(-1800);
    EXPECT_EQ(model->hour.pushed, 1);
    live(130);
}

// Set back by a minute in the second after a roll-up: 119 samples later the ring has come round to where the roll-up
// stopped, and there is nothing to average, once.
TEST_F(WanHistory, RingComesRoundToAnEmptyRollUp) {
    start();
    while (model->min.pushed < 3) {
        live_one_second();
    }
    step_clock(-59);
    const int64_t roll_ups = model->min.pushed;
    while (model->min.pushed == roll_ups) {
        live_one_second();
    }
    EXPECT_EQ(empty_roll_ups, 1);
    EXPECT_EQ(lines_saying("log[wan_traffic_loop]: dashboard_wan"), 1);
    EXPECT_EQ(lines_saying("log[dashboard_loop]: loop callback fail(2)"), 1);
    live(130);
}

TEST_F(WanHistory, ClockThatIsFarOffIsFollowed) {
    start();
    live(70);
    step_clock(86'400 - first_second);
    live(70);
    step_clock(2'000'000'000);
    live(70);
    EXPECT_GE(model->min.pushed, 4);
}

} // namespace
} // namespace dashboard::testing
