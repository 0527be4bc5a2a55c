// The ring of samples and its average.
#include "monitors/metric_series.h"
#include "tests/support/world.h"
#include "tests/unit/numbers.h"

#include <gmock/gmock.h>

#include <climits>
#include <cstddef>
#include <string>

namespace dashboard::testing {
namespace {

using series_of_numbers = metric_series<number>;

// `count` pushes into an empty ring; the i-th (from 0) has time 1000 + i and value 10 * i.
template <class Series>
void push_numbers(Series& series, int32_t count) {
    for (int32_t i = 0; i < count; ++i) {
        series_push(number{1000 + i, 10ull * static_cast<unsigned>(i)}, series);
    }
}

number average(const series_of_numbers& series, int32_t from, int32_t to) {
    number out{-1, 77}; // what it held before must not matter
    series_average(out, to, from, series);
    return out;
}

class SeriesRing : public ::testing::TestWithParam<int32_t> {};

TEST_P(SeriesRing, HoldsTheNewest119OldestFirst) {
    const int32_t pushes = GetParam();
    const int32_t held = pushes < 119 ? pushes : 119;
    series_of_numbers series{};
    push_numbers(series, pushes);
    ASSERT_EQ(series_count(series), held);
    for (int32_t position = 0; position < held; ++position) {
        const number* sample = series_get(position, series);
        ASSERT_NE(sample, nullptr) << position;
        EXPECT_EQ(sample->time, 1000 + pushes - held + position);
    }
    EXPECT_EQ(series_get(held, series), nullptr);
}

TEST_P(SeriesRing, EndIsTheSlotOfTheNextPush) {
    const int32_t pushes = GetParam();
    series_of_numbers series{};
    push_numbers(series, pushes);
    EXPECT_EQ(series.end, pushes % 120);
    EXPECT_EQ(series.start, pushes < 120 ? 0 : (pushes + 1) % 120);
    EXPECT_EQ(series_push(number{}, series), (pushes + 1) % 120);
}

INSTANTIATE_TEST_SUITE_P(Pushes, SeriesRing,
                         ::testing::Values(0, 1, 2, 117, 118, 119, 120, 121, 200, 238, 239, 240, 241, 1000));

TEST(Series, OtherSizesFollowTheSameRules) {
    metric_series<number, 10> ten{};
    push_numbers(ten, 9);
    EXPECT_EQ(series_count(ten), 9);
    push_numbers(ten, 1);
    EXPECT_EQ(series_count(ten), 9);
    EXPECT_EQ(ten.start, 1);
    metric_series<number, 128> larger{};
    push_numbers(larger, 300);
    EXPECT_EQ(series_count(larger), 127);
    EXPECT_EQ(series_get(0, larger)->time, 1000 + 300 - 127);
}

TEST(Series, PositionsOutsideYieldNothing) {
    series_of_numbers series{};
    for (const int32_t position : {0, 1, -1, 119, 120, INT_MAX, INT_MIN}) {
        EXPECT_EQ(series_get(position, series), nullptr) << position;
    }
    push_numbers(series, 3);
    for (const int32_t position : {3, 4, -1, 119, 120, 123, INT_MAX, INT_MIN}) {
        EXPECT_EQ(series_get(position, series), nullptr) << position;
    }
    push_numbers(series, 300);
    EXPECT_NE(series_get(118, series), nullptr);
    for (const int32_t position : {119, 120, -1, INT_MAX, INT_MIN}) {
        EXPECT_EQ(series_get(position, series), nullptr) << position;
    }
}

TEST(Series, PushCopiesAndLeavesTheRollUpFieldsAlone) {
    series_of_numbers series{};
    series.last_roll_up = 5;
    series.roll_up_index = 6;
    number sample{1, 2};
    series_push(sample, series);
    sample.value = 3;
    EXPECT_EQ(series_get(0, series)->value, 2u);
    EXPECT_EQ(series.last_roll_up, 5);
    EXPECT_EQ(series.roll_up_index, 6);
}

TEST(Series, IsLaidOutAsFourNumbersAndThenItsSlots) {
    EXPECT_EQ(offsetof(series_of_numbers, start), 0u);
    EXPECT_EQ(offsetof(series_of_numbers, end), 4u);
    EXPECT_EQ(offsetof(series_of_numbers, last_roll_up), 8u);
    EXPECT_EQ(offsetof(series_of_numbers, roll_up_index), 12u);
    EXPECT_EQ(offsetof(series_of_numbers, slot), 16u);
    EXPECT_EQ(sizeof(series_of_numbers), 16u + 120u * 16u);
}

TEST(SeriesAverage, IsTheMeanOfWhatWasPushedSinceWhileTheRingHasNotWrapped) {
    const test_world world;
    series_of_numbers series{};
    push_numbers(series, 10);
    EXPECT_EQ(average(series, 0, 10).value, 45u);
    EXPECT_EQ(average(series, 4, 7).value, 50u);
    EXPECT_EQ(average(series, 9, 10).value, 90u);
}

TEST(SeriesAverage, CarriesTheTimeOfTheRollUpAndNotOfASample) {
    test_world world;
    series_of_numbers series{};
    push_numbers(series, 2);
    EXPECT_EQ(average(series, 0, 2).time, first_second);
    world.clock.set(12);
    EXPECT_EQ(average(series, 0, 2).time, 12);
}

TEST(SeriesAverage, OfAnEmptyRangeIsAllZero) {
    const test_world world;
    series_of_numbers series{};
    push_numbers(series, 10);
    for (const int32_t index : {0, 5, 10, 119}) {
        const number result = average(series, index, index);
        EXPECT_EQ(result.time, 0) << index;
        EXPECT_EQ(result.value, 0u) << index;
    }
}

TEST(SeriesAverage, OfPositionsThatHoldNothingIsAllZero) {
    const test_world world;
    series_of_numbers series{};
    push_numbers(series, 3);
    EXPECT_EQ(average(series, 3, 10).time, 0);
    EXPECT_EQ(average(series, 3, 10).value, 0u);
    EXPECT_EQ(average(series, 3, 0).time, 0);
}

TEST(SeriesAverage, CountsOnlyThePositionsThatHoldASample) {
    const test_world world;
    series_of_numbers series{};
    push_numbers(series, 3);
    EXPECT_EQ(average(series, 1, 60).value, 15u);
    EXPECT_EQ(average(series, 60, 2).value, 5u) << "from 60 over 119 to 0 and 1";
}

TEST(SeriesAverage, UsesLogicalPositionsOnceTheFinerRingHasWrapped) {
    const test_world world;
    series_of_numbers series{};
    push_numbers(series, 150); // position p holds push 31 + p; end is slot 30
    ASSERT_EQ(series.end, 30);
    EXPECT_EQ(average(series, 20, 30).value, 10u * (51 + 60) / 2) << "positions 20..29, not slots 20..29";
    EXPECT_EQ(average(series, 0, 1).value, 310u);
    EXPECT_EQ(average(series, 118, 119).value, 1490u);
}

TEST(SeriesAverage, Position119OfAFullRingYieldsNothingAndIsNotCounted) {
    const test_world world;
    series_of_numbers series{};
    push_numbers(series, 120); // position p holds push 1 + p
    EXPECT_EQ(average(series, 119, 0).time, 0);
    EXPECT_EQ(average(series, 118, 0).value, 1190u);
    EXPECT_EQ(average(series, 118, 1).value, (1190u + 10u) / 2);
}

TEST(SeriesAverage, GoesAllTheWayRoundButForTheStop) {
    const test_world world;
    series_of_numbers series{};
    push_numbers(series, 120);
    EXPECT_EQ(average(series, 60, 59).value, (10u * (1 + 119) * 119 / 2 - 10u * 60) / 118);
}

TEST(SeriesAverage, SumsInTheSamplesOwnArithmetic) {
    const test_world world;
    series_of_numbers series{};
    series_push(number{1, ULLONG_MAX}, series);
    series_push(number{2, 6}, series);
    EXPECT_EQ(average(series, 0, 2).value, 2u) << "2^64 - 1 + 6 wraps to 5";
}

TEST(SeriesAverage, Truncates) {
    const test_world world;
    series_of_numbers series{};
    for (const unsigned long long value : {1ull, 1ull, 3ull}) {
        series_push(number{1, value}, series);
    }
    EXPECT_EQ(average(series, 0, 3).value, 1u);
}

} // namespace
} // namespace dashboard::testing
