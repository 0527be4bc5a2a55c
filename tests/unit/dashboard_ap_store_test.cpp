// What the access-point monitors keep and no document shows: the first and second counters, the sums of the bands, the
// all-AP averages. Read where they are kept, in the block that init allocates.
#include "tests/unit/ap_monitor_fixture.h"
#include "tests/unit/kept_store.h"

#include <string>

namespace dashboard::testing {
namespace {

using counter = unsigned long long;

struct kept_record {
    int32_t time;
    counter own[3];
    counter first24[8], second24[8], txrx24[8];
    counter first50[8], second50[8], txrx50[8];
};

struct kept_ap {
    int32_t present;
    kept_series<kept_record, 120> sec, min, hour;
};

struct kept_all {
    int32_t time;
    int32_t present[128];
    counter own[128], sum24[128], sum50[128];
};

struct kept_allap {
    kept_series<kept_all, 128> sec, min, hour;
};

// ---- per AP

class ApStore : public ap_monitor_fixture {
protected:
    const monitor_cb& module = ap_traffic_monitor;
    const kept_ap* aps = nullptr;

    ApStore() {
        EXPECT_EQ(init(module), 1);
        aps = newest_store<kept_ap>(128);
    }

    static void expect_record(const kept_record& record, int64_t time, const ap_values& values) {
        EXPECT_EQ(record.time, time);
        for (size_t i = 0; i < 3; ++i) {
            EXPECT_EQ(record.own[i], values[i]);
        }
        for (size_t k = 0; k < 8; ++k) {
            EXPECT_EQ(record.first24[k], values[3 + 3 * k]);
            EXPECT_EQ(record.second24[k], values[4 + 3 * k]);
            EXPECT_EQ(record.txrx24[k], values[5 + 3 * k]);
            EXPECT_EQ(record.first50[k], values[27 + 3 * k]);
            EXPECT_EQ(record.second50[k], values[28 + 3 * k]);
            EXPECT_EQ(record.txrx50[k], values[29 + 3 * k]);
        }
    }
};

TEST_F(ApStore, KeepsAll51CountersAndAveragesEachByItself) {
    report(127, counted_from(1000));
    ASSERT_EQ(loop_at(module, t0 + 1), 1);
    report(127, counted_from(2001));
    ASSERT_EQ(loop_at(module, t0 + 3600), 1);
    const kept_ap& ap = aps[127];
    EXPECT_EQ(ap.present, 1);
    EXPECT_EQ(ap.sec.last_roll_up, t0) << "when the module was made ready";
    expect_record(ap.sec.slot[0], t0 + 1, counted_from(1000));
    expect_record(ap.sec.slot[1], t0 + 3600, counted_from(2001));
    expect_record(ap.min.slot[0], t0 + 3600, counted_from(1500));
    expect_record(ap.hour.slot[0], t0 + 3600, counted_from(1500));
}

TEST_F(ApStore, SumsOfAnAverageWrapAt64Bits) {
    report(0, counted_from(UINT64_MAX - 50)); // the last counter is the largest number
    ASSERT_EQ(loop_at(module, t0 + 1), 1);
    report(0, counted_from(100));
    ASSERT_EQ(loop_at(module, t0 + 60), 1);
    ap_values expected;
    for (size_t i = 0; i < ap_counters; ++i) {
        expected[i] = (UINT64_MAX - 50 + i + 100 + i) / 2;
    }
    expect_record(aps[0].min.slot[0], t0 + 60, expected);
}

TEST_F(ApStore, TheFlagFollowsEachApAndPartialCountsAreDropped) {
    report(0, counted_from(1));
    report(1, counted_from(1));
    ASSERT_EQ(loop(module), 1);
    EXPECT_EQ(aps[0].present, 1);
    EXPECT_EQ(aps[1].present, 1);
    EXPECT_EQ(aps[2].present, 0);
    world.file(ap_file(1), "APMgnt_Info_Traffic_@1,2,3@_@");
    ASSERT_EQ(loop(module), 1);
    EXPECT_EQ(aps[0].present, 1);
    EXPECT_EQ(aps[1].present, 0);
    EXPECT_EQ(aps[0].sec.end, 2);
    EXPECT_EQ(aps[1].sec.end, 1);
}

// ---- all APs

class AllApStore : public ap_monitor_fixture {
protected:
    const monitor_cb& module = allap_traffic_monitor;
    const kept_allap* all = nullptr;

    AllApStore() {
        EXPECT_EQ(init(module), 1);
        all = newest_store<kept_allap>();
    }

    // All counters of this access point, the bands' sums and its own.
    void report_traffic(int ap, uint64_t own, uint64_t each24, uint64_t each50) {
        ap_values values = counted_from(77);
        values[2] = own;
        for (size_t vap = 0; vap < 8; ++vap) {
            values[txrx_of_group(1 + vap)] = each24 + vap;
            values[txrx_of_group(9 + vap)] = each50 + vap;
        }
        report(ap, values);
    }
};

TEST_F(AllApStore, KeepsTheOwnCountAndTheSumOfEitherBand) {
    report_traffic(0, 5, 100, 2000);
    report_traffic(127, 6, UINT64_MAX, 0);
    ASSERT_EQ(loop(module), 1);
    const kept_all& sample = all->sec.slot[0];
    EXPECT_EQ(sample.own[0], 5u);
    EXPECT_EQ(sample.sum24[0], 8u * 100 + 28);
    EXPECT_EQ(sample.sum50[0], 8u * 2000 + 28);
    EXPECT_EQ(sample.own[127], 6u);
    EXPECT_EQ(sample.sum24[127], 28u - 8) << "wraps at 64 bits";
    EXPECT_EQ(sample.sum50[127], 28u);
    for (int ap = 0; ap < 128; ++ap) {
        EXPECT_EQ(sample.present[ap], ap == 0 || ap == 127 ? 1 : 0);
        EXPECT_EQ(sample.own[ap] != 0, ap == 0 || ap == 127);
    }
}

TEST_F(AllApStore, AnOddRecordLeavesNothingInTheSample) {
    report_traffic(0, 5, 100, 2000);
    world.file(ap_file(1), "APMgnt_Info_Traffic_@1,2,3@_@4,5,6@");
    ASSERT_EQ(loop(module), 1);
    const kept_all& sample = all->sec.slot[0];
    EXPECT_EQ(sample.present[1], 0);
    EXPECT_EQ(sample.own[1], 0u);
    EXPECT_EQ(sample.sum24[1], 0u);
}

TEST_F(AllApStore, TheFirstApGetsItsMeanTheNextHalfOfItTheLastA128th) {
    for (int ap = 0; ap < 128; ++ap) {
        report_traffic(ap, 1'000'000, 10'000, 20'000);
    }
    ASSERT_EQ(loop_at(module, t0 + 1), 1);
    ASSERT_EQ(loop_at(module, t0 + 2), 1);
    ASSERT_EQ(loop_at(module, t0 + 60), 1);
    const kept_all& mean = all->min.slot[0];
    EXPECT_EQ(mean.time, t0 + 60);
    EXPECT_EQ(mean.own[0], 1'000'000u);
    EXPECT_EQ(mean.own[1], 500'000u);
    EXPECT_EQ(mean.own[2], 333'333u);
    EXPECT_EQ(mean.own[127], 7812u);
    for (uint64_t ap = 0; ap < 128; ++ap) {
        EXPECT_EQ(mean.own[ap], 3'000'000u / (3 * (ap + 1))) << ap;
        EXPECT_EQ(mean.sum24[ap], 3 * uint64_t{80'028} / (3 * (ap + 1))) << ap;
        EXPECT_EQ(mean.sum50[ap], 3 * uint64_t{160'028} / (3 * (ap + 1))) << ap;
        EXPECT_EQ(mean.present[ap], 0) << ap;
    }
}

TEST_F(AllApStore, AnHourDividesTheMinutesOnceMore) {
    for (int64_t i = 1; i <= 4; ++i) { // four minutes of one sample each, the last of them an hour's end
        for (int ap = 0; ap < 128; ++ap) {
            report_traffic(ap, 1'000'000 * static_cast<uint64_t>(i), 0, 0);
        }
        ASSERT_EQ(loop_at(module, i == 4 ? t0 + 3600 : t0 + 60 * i), 1);
    }
    const kept_all& mean = all->hour.slot[0];
    EXPECT_EQ(mean.time, t0 + 3600);
    for (uint64_t ap = 0; ap < 128; ++ap) {
        uint64_t minutes = 0;
        for (uint64_t i = 1; i <= 4; ++i) {
            minutes += 1'000'000 * i / (ap + 1);
        }
        EXPECT_EQ(mean.own[ap], minutes / (4 * (ap + 1))) << ap;
        EXPECT_EQ(mean.present[ap], 0) << ap;
    }
}

TEST_F(AllApStore, AnAbsentApCountsZeroInItsMean) {
    report_traffic(0, 600, 0, 0);
    report_traffic(1, 600, 0, 0);
    ASSERT_EQ(loop_at(module, t0 + 1), 1);
    fall_silent(0);
    ASSERT_EQ(loop_at(module, t0 + 2), 1);
    ASSERT_EQ(loop_at(module, t0 + 60), 1);
    EXPECT_EQ(all->min.slot[0].own[0], 600u / 3);
    EXPECT_EQ(all->min.slot[0].own[1], 3 * 600u / (2 * 3));
}

TEST_F(AllApStore, TheRingHolds127SamplesIn128Slots) {
    report_traffic(0, 1, 0, 0);
    for (int i = 0; i < 127; ++i) {
        ASSERT_EQ(loop(module), 1);
    }
    EXPECT_EQ(all->sec.start, 0);
    EXPECT_EQ(all->sec.end, 127);
    ASSERT_EQ(loop(module), 1);
    EXPECT_EQ(all->sec.start, 1) << "the oldest is dropped, one slot stays free";
    EXPECT_EQ(all->sec.end, 0);
    ASSERT_EQ(loop(module), 1);
    EXPECT_EQ(all->sec.start, 2);
    EXPECT_EQ(all->sec.end, 1);
}

} // namespace
} // namespace dashboard::testing
