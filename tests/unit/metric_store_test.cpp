// The frame that all histories share: when a roll-up is due, what it keeps, what is written.
#include "monitors/metric_store.h"
#include "tests/models/history_model.h"
#include "tests/unit/heard_messages.h"
#include "tests/unit/numbers.h"

#include <gmock/gmock.h>

#include <climits>
#include <random>
#include <string>
#include <vector>

namespace dashboard::testing {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

constexpr int64_t start = first_second;

constexpr monitor_description about = {
    "dashboard_number",
    "number_init",
    "number_loop",
    xml_span{60},
    dashboard::start_marker{42},
    {
        {"xml_number_sec", "", "", ""},
        {"xml_number_min", "", "", ""},
        {"xml_number_hour", "", "", ""},
    },
    "",
    "",
};

// A history that began at `start`. What its frame writes is written down by the writer's name and the samples held.
class Frame : public ::testing::Test {
protected:
    Frame() { start_series(store, start); }

    auto writer() {
        return [this](series_id id) {
            written.push_back(std::string(about.documents[id].writer) + " of " +
                              std::to_string(series_count(store.series[id])));
        };
    }

    int feed(int64_t second, unsigned long long value, bool watched = false) {
        world.clock.set(second);
        number sample{static_cast<int32_t>(second), value};
        return metric_feed(store, sample, watched, about, writer());
    }

    static const number& newest(const metric_series<number>& series) {
        return *series_get(series_count(series) - 1, series);
    }

    listening_world world;
    metric_store<number> store{};
    std::vector<std::string> written;
};

TEST_F(Frame, BeginsWithAllThreeSeriesRolledUpNow) {
    EXPECT_EQ(store.series[sec].last_roll_up, start);
    EXPECT_EQ(store.series[min].last_roll_up, start);
    EXPECT_EQ(store.series[hour].last_roll_up, start);
}

struct distance {
    int64_t seconds; // from the last roll-up
    bool due;
};

void PrintTo(const distance& one, std::ostream* out) {
    *out << one.seconds << (one.due ? " due" : " not yet");
}

class MinuteTolerance : public Frame, public ::testing::WithParamInterface<distance> {};

TEST_P(MinuteTolerance, DecidesWhetherASampleEndsAMinute) {
    EXPECT_EQ(feed(start + GetParam().seconds, 5), 1);
    EXPECT_EQ(series_count(store.series[min]), GetParam().due ? 1 : 0);
    EXPECT_EQ(store.series[min].last_roll_up, GetParam().due ? start + GetParam().seconds : start);
    EXPECT_EQ(store.series[min].roll_up_index, GetParam().due ? 1 : 0);
}

INSTANTIATE_TEST_SUITE_P(Seconds, MinuteTolerance,
                         ::testing::Values(distance{-86400, true}, distance{-61, true}, distance{-60, true},
                                           distance{-59, false}, distance{-58, false}, distance{-1, false},
                                           distance{0, false}, distance{1, false}, distance{58, false},
                                           distance{59, false}, distance{60, true}, distance{61, true},
                                           distance{86400, true}));

class HourTolerance : public Frame, public ::testing::WithParamInterface<distance> {};

TEST_P(HourTolerance, DecidesWhetherAMinuteEndsAnHour) {
    store.series[hour].last_roll_up = static_cast<int32_t>(start + 60 - GetParam().seconds);
    EXPECT_EQ(feed(start + 60, 5), 1);
    ASSERT_EQ(series_count(store.series[min]), 1);
    EXPECT_EQ(series_count(store.series[hour]), GetParam().due ? 1 : 0);
    EXPECT_EQ(store.series[hour].last_roll_up, GetParam().due ? start + 60 : start + 60 - GetParam().seconds);
    EXPECT_EQ(store.series[hour].roll_up_index, GetParam().due ? 1 : 0);
    EXPECT_EQ(written.size(), GetParam().due ? 1u : 0u);
}

INSTANTIATE_TEST_SUITE_P(Seconds, HourTolerance,
                         ::testing::Values(distance{-86400, true}, distance{-1801, true}, distance{-1800, true},
                                           distance{-1799, false}, distance{-1798, false}, distance{0, false},
                                           distance{60, false}, distance{1800, false}, distance{3598, false},
                                           distance{3599, false}, distance{3600, true}, distance{3601, true},
                                           distance{86400, true}));

TEST(RollUpDue, CountsInThirtyTwoBits) {
    EXPECT_FALSE(minute_due(INT_MIN + 20, INT_MAX - 10)) << "31 s apart, over the end of the 32-bit clock";
    EXPECT_TRUE(minute_due(INT_MIN + 49, INT_MAX - 10));
    EXPECT_TRUE(minute_due(INT_MIN, 0));
    EXPECT_TRUE(minute_due(INT_MAX, 0));
    EXPECT_FALSE(hour_due(INT_MAX - 1798, INT_MIN));
    EXPECT_TRUE(hour_due(INT_MAX - 1799, INT_MIN));
}

TEST_F(Frame, AMinuteAveragesWhatCameSinceTheLastOne) {
    for (unsigned i = 0; i <= 120; ++i) {
        ASSERT_EQ(feed(start + i, i), 1);
    }
    ASSERT_EQ(series_count(store.series[min]), 2);
    EXPECT_EQ(series_get(0, store.series[min])->value, 30u) << "0 to 60";
    EXPECT_EQ(series_get(0, store.series[min])->time, start + 60);
    // 121 samples have been pushed, 2 to 120 are held, positions 61..118 and 0 are averaged: 63..120 and 2.
    EXPECT_EQ(series_get(1, store.series[min])->value, (58ull * (63 + 120) / 2 + 2) / 59);
    EXPECT_EQ(store.series[min].roll_up_index, 1);
    EXPECT_EQ(store.series[hour].roll_up_index, 0);
    EXPECT_EQ(store.series[sec].roll_up_index, 0);
    EXPECT_EQ(store.series[sec].last_roll_up, start);
}

TEST_F(Frame, RollUpTimesAreThoseOfTheAverageNotOfTheSample) {
    world.clock.set(start + 3602);
    number sample{static_cast<int32_t>(start + 60), 1}; // taken long before it was fed
    EXPECT_EQ(metric_feed(store, sample, false, about, writer()), 1);
    EXPECT_EQ(store.series[min].last_roll_up, start + 3602);
    EXPECT_EQ(store.series[hour].last_roll_up, start + 3602) << "due by the average's time";
    EXPECT_EQ(newest(store.series[sec]).time, start + 60);
    EXPECT_EQ(newest(store.series[min]).time, start + 3602);
}

TEST_F(Frame, AForwardJumpAveragesEverythingSinceTheLastRollUp) {
    for (unsigned i = 0; i < 5; ++i) {
        ASSERT_EQ(feed(start + i, 10 * i), 1);
    }
    EXPECT_EQ(feed(start + 86400, 60), 1);
    EXPECT_EQ(newest(store.series[min]).value, (0u + 10 + 20 + 30 + 40 + 60) / 6);
    EXPECT_EQ(newest(store.series[hour]).value, (0u + 10 + 20 + 30 + 40 + 60) / 6);
}

TEST_F(Frame, SecondsAndMinutesAreWrittenWhileWatchedHoursAlways) {
    feed(start, 1);
    feed(start + 60, 1);
    EXPECT_THAT(written, IsEmpty());
    feed(start + 61, 1, true);
    feed(start + 120, 1, true);
    EXPECT_THAT(written, ElementsAre("xml_number_sec of 3", "xml_number_sec of 4", "xml_number_min of 2"));
    written.clear();
    feed(start + 3600, 1);
    EXPECT_THAT(written, ElementsAre("xml_number_hour of 1"));
    written.clear();
    feed(start + 7200, 1, true);
    EXPECT_THAT(written, ElementsAre("xml_number_sec of 6", "xml_number_min of 4", "xml_number_hour of 2"));
}

TEST_F(Frame, AClockSetBackAMinuteAfterARollUpMeetsAnEmptyOneAndRecovers) {
    for (unsigned i = 0; i <= 60; ++i) {
        ASSERT_EQ(feed(start + i, i), 1);
    }
    const int64_t rolled_up = start + 60;
    ASSERT_EQ(store.series[min].roll_up_index, 61);
    for (unsigned i = 61; i < 61 + 119; ++i) {
        ASSERT_EQ(feed(rolled_up + i - 61 - 59, i), 1);
        ASSERT_EQ(series_count(store.series[min]), 1) << "within the tolerance";
    }
    EXPECT_EQ(feed(rolled_up + 60, 180), 0);
    EXPECT_EQ(store.series[sec].end, 61) << "back at the roll-up index";
    EXPECT_THAT(world.messages(), ElementsAre("log[number_loop]: dashboard_number"));
    EXPECT_EQ(series_count(store.series[min]), 1);
    EXPECT_EQ(store.series[min].last_roll_up, rolled_up);
    EXPECT_EQ(store.series[min].roll_up_index, 61);
    EXPECT_EQ(feed(rolled_up + 61, 181), 1);
    EXPECT_THAT(world.messages(), IsEmpty());
    ASSERT_EQ(series_count(store.series[min]), 2);
    EXPECT_EQ(newest(store.series[min]).value, 63u + 61u) << "position 61 of 63..181";
    EXPECT_EQ(store.series[min].last_roll_up, rolled_up + 61);
    EXPECT_EQ(store.series[min].roll_up_index, 62);
}

TEST_F(Frame, AnEmptyHourLeavesTheHourAloneAndIsTriedAgainAMinuteLater) {
    for (unsigned i = 0; i < 119; ++i) {
        ASSERT_EQ(feed(start + (i % 2 == 0 ? 60 : 0), i), 1); // the clock is set to and fro, a minute each time
    }
    ASSERT_EQ(series_count(store.series[min]), 119);
    ASSERT_EQ(series_count(store.series[hour]), 0);
    ASSERT_EQ(feed(start + 61, 6), 1); // position 119 alone would make an empty minute
    EXPECT_EQ(feed(start + 3660, 7, true), 0);
    EXPECT_EQ(store.series[min].end, 0) << "back at the hour's roll-up index";
    EXPECT_THAT(world.messages(), ElementsAre("log[number_loop]: dashboard_number"));
    EXPECT_THAT(written, ElementsAre("xml_number_sec of 119", "xml_number_min of 119"));
    EXPECT_EQ(store.series[hour].last_roll_up, start);
    EXPECT_EQ(store.series[hour].roll_up_index, 0);
    EXPECT_EQ(store.series[min].last_roll_up, start + 3660) << "the minute itself was in order";
    const unsigned long long oldest_then = series_get(1, store.series[min])->value;
    EXPECT_EQ(feed(start + 3720, 8), 1);
    ASSERT_EQ(series_count(store.series[hour]), 1);
    EXPECT_EQ(newest(store.series[hour]).value, oldest_then) << "the single position 0";
    EXPECT_EQ(store.series[hour].roll_up_index, 1);
}

TEST_F(Frame, AnEmptyMinuteAndAnEmptyHourSpeakFromDifferentLines) {
    for (unsigned i = 0; i < 119; ++i) {
        ASSERT_EQ(feed(start + (i % 2 == 0 ? 60 : 0), i), 1);
    }
    ASSERT_EQ(feed(start + 61, 6), 1);
    ASSERT_EQ(feed(start + 3660, 7), 0) << "an empty hour";
    ASSERT_EQ(feed(0, 5), 0) << "an empty minute";
    const std::vector<std::string> lines = world.syslog_lines();
    ASSERT_EQ(lines.size(), 2u);
    EXPECT_NE(lines[0], lines[1]) << "they differ by nothing but the number of the source line";
}

TEST_F(Frame, AnAverageTakenInSecondZeroCountsAsEmpty) {
    EXPECT_EQ(feed(0, 5), 0);
    EXPECT_THAT(world.messages(), ElementsAre("log[number_loop]: dashboard_number"));
    EXPECT_EQ(series_count(store.series[min]), 0);
}

// Compares a series with its model, sample by sample.
template <class Ring>
void expect_same(const metric_series<number>& series, const Ring& model) {
    ASSERT_EQ(series_count(series), static_cast<int32_t>(model.held.size()));
    ASSERT_EQ(series.end, model.end);
    for (size_t i = 0; i < model.held.size(); ++i) {
        const number* sample = series_get(static_cast<int32_t>(i), series);
        ASSERT_EQ(sample->time, model.held[i].time) << i;
        ASSERT_EQ(sample->value, model.held[i].value[0]) << i;
    }
}

TEST_F(Frame, AgreesWithThePlainModelWhateverTheClockDoes) {
    static constexpr int64_t steps[] = {1,  1,  1,  1,   1,   1,   1,    1,     0,     2,    30,
                                        59, 60, -1, -59, -60, -61, 1800, -1799, -1800, 3599, 3600};
    std::mt19937_64 random(20); // NOLINT(cert-msc51-cpp): the same walk every time
    history_model<plain_sample<uint64_t, 1>> model(start);
    int64_t second = start;
    int empty = 0;
    for (int i = 0; i < 6000; ++i) {
        // Long stretches of ordinary seconds, then a wild one.
        second += i % 700 < 500 ? 1 : steps[random() % std::size(steps)];
        plain_sample<uint64_t, 1> sample{second, {random()}};
        const int expected = model.feed(sample) ? 1 : 0;
        ASSERT_EQ(feed(second, sample.value[0]), expected) << "step " << i;
        empty += expected == 0 ? 1 : 0;
        if (i % 50 == 0 || expected == 0) {
            expect_same(store.series[sec], model.sec);
            expect_same(store.series[min], model.min);
            expect_same(store.series[hour], model.hour);
        }
    }
    EXPECT_GT(model.hour.held.size(), 20u);
    EXPECT_EQ(static_cast<int>(world.messages().size()), empty);
}

} // namespace
} // namespace dashboard::testing
