// Traffic of all access points together: its documents over hours, out of rings of 128 slots.
#include "tests/unit/ap_monitor_fixture.h"

#include <random>
#include <string>

namespace dashboard::testing {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

// What a second holds as far as documents show it: the first 32 access points that were present.
struct allap_model_sample {
    int64_t time = 0;
    std::vector<std::pair<int, uint64_t>> present;

    // An average knows no access point as present.
    static allap_model_sample mean(const std::vector<allap_model_sample>&, int64_t now) { return {now, {}}; }
};

using ring_of_128 = ring_model<allap_model_sample, 128>;

std::string allap_document(const std::vector<allap_model_sample>& samples) {
    std::string body;
    for (const allap_model_sample& sample : samples) {
        body += "    <time>" + std::to_string(sample.time) + "000</time>\n";
        for (const auto& [ap, count] : sample.present) {
            const std::string tag = "ap_" + std::to_string(ap) + "_TxRx";
            body += "    <" + tag + ">" + std::to_string(count) + "</" + tag + ">\n";
        }
    }
    return datalist(body);
}

class AllApHistory : public ap_monitor_fixture {
protected:
    const monitor_cb& module = allap_traffic_monitor;
    history_model<allap_model_sample, ring_of_128> model{t0};
    int found_nothing = 0;

    AllApHistory() {
        world.csman.keep_quiet();
        EXPECT_EQ(init(module), 1);
    }

    void live_at(int64_t second, int32_t viewer = 0) {
        ap_values values = counted_from(static_cast<uint64_t>(second));
        report(5, values);
        const bool fed = model.feed({second, {{5, values[txrx_of_group(0)]}}});
        found_nothing += fed ? 0 : 1;
        ASSERT_EQ(loop_at(module, second, viewer), fed ? 1 : 0) << "at " << second - t0;
    }

    void expect_series() {
        ASSERT_EQ(module.write_sec(csman_handle_of_tests, nullptr), 1);
        ASSERT_EQ(module.write_min(csman_handle_of_tests, nullptr), 1);
        ASSERT_EQ(module.write_hour(csman_handle_of_tests, nullptr), 1);
        expect_published("/tmp/dashboard/aptraffic_allap_sec.xml", allap_document(model.sec.newest(60)));
        expect_published("/tmp/dashboard/aptraffic_allap_min.xml", allap_document(model.min.newest(60)));
        expect_published("/tmp/dashboard/aptraffic_allap_hour.xml", allap_document(model.hour.newest(60)));
    }
};

TEST_F(AllApHistory, ADocumentShowsTheNewest60Samples) {
    for (int i = 1; i <= 130; ++i) {
        live_at(t0 + i, 1);
        if (i == 1 || i == 59 || i == 60 || i == 61 || (i >= 118 && i <= 121) || i >= 126) {
            expect_published("/tmp/dashboard/aptraffic_allap_sec.xml", allap_document(model.sec.newest(60)));
        }
    }
}

TEST_F(AllApHistory, TheRingComesRoundAfter128Samples) {
    // With the clock set back by a minute after every roll-up, the next one is due only when this many have gone by.
    for (int i = 1; i <= 60; ++i) {
        live_at(t0 + i); // a minute ends at slot 60
    }
    for (int i = 1; i <= 127; ++i) {
        live_at(t0 + i < t0 + 119 ? t0 + i : t0 + 118); // within the tolerance of a minute
    }
    ASSERT_EQ(model.sec.end, 59);
    ASSERT_THAT(world.messages(), IsEmpty());
    live_at(t0 + 120, 1);
    ASSERT_EQ(model.sec.end, 60);
    EXPECT_THAT(world.messages(), ElementsAre("log[allap_traffic_loop]: dashboard_allap"));
    EXPECT_EQ(model.min.held.size(), 1u);
    live_at(t0 + 121, 1);
    EXPECT_EQ(model.min.held.size(), 2u);
    expect_series();
}

TEST_F(AllApHistory, FollowsTheModelThroughAnHour) {
    for (int64_t i = 1; i <= 185; ++i) {
        live_at(t0 + 20 * i, 1);
    }
    ASSERT_EQ(model.hour.held.size(), 1u);
    expect_series();
    EXPECT_THAT(world.messages(), IsEmpty());
}

TEST_F(AllApHistory, DocumentsOfEverySeriesShowTheNewestAlsoWhenTheirRingHasWrapped) {
    for (int i = 1; i <= 140; ++i) { // hour after hour, each a sample of every series
        live_at(t0 + 3600 * i, 1);
        if (is_turning_point(i, 60) || (i >= 126 && i <= 130)) {
            expect_series();
        }
    }
    EXPECT_EQ(model.hour.held.size(), 127u);
    EXPECT_GT(model.hour.held.front().time, t0 + 3600);
}

TEST_F(AllApHistory, FollowsTheModelUnderAWildClock) {
    std::mt19937 random(8);
    const int64_t jumps[] = {1, 1, 1, 2, 58, 59, 60, 61, 1799, 1800, 3599, 3600};
    int64_t now = t0;
    for (int i = 0; i < 200; ++i) {
        const int64_t jump = jumps[random() % std::size(jumps)];
        now += random() % 3 == 0 ? -jump : jump;
        live_at(now);
    }
    ASSERT_GT(model.hour.held.size(), 5u);
    expect_series();
    EXPECT_EQ(world.messages(),
              std::vector<std::string>(static_cast<size_t>(found_nothing), "log[allap_traffic_loop]: dashboard_allap"));
}

} // namespace
} // namespace dashboard::testing
