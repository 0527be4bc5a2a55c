// CSV exports of WAN and LAN traffic: how much history of each series they show, and how little is too little.
#include "monitors/monitors.h"
#include "tests/unit/open_descriptors.h"
#include "tests/unit/traffic_model.h"

#include <algorithm>
#include <string>

namespace dashboard::testing {
namespace {

using ::testing::IsEmpty;

constexpr int64_t step_of_series[] = {1, 60, 3600}; // seconds between two samples of each
const std::string series_names[] = {"sec", "min", "hour"};

struct traffic_export_case {
    const char* name;
    const monitor_cb* module;
    std::string stem;
    std::string interface[2]; // those that are in use
    size_t number[2];         // as exports number them
};

const traffic_export_case cases[] = {
    {"Wan", &wan_traffic_monitor, "wan_traffic", {"eth0", "eth1"}, {1, 16}},
    {"Lan", &lan_traffic_monitor, "lan_traffic", {"br0", "br4"}, {1, 5}},
};

void PrintTo(const traffic_export_case& one, std::ostream* out) {
    *out << one.name;
}

class TrafficExport : public monitor_fixture, public ::testing::WithParamInterface<traffic_export_case> {
protected:
    const traffic_export_case& about = GetParam();
    const monitor_cb& module = *about.module;
    history_model<traffic_model_sample> model{t0};

    TrafficExport() {
        world.csman.keep_quiet();
        world.csman.set(0x10600, 1);
        world.csman.set_string(0x80010190, "eth0");
        world.csman.set(0x1060f, 2);
        world.csman.set_string(0x80010191, "eth1");
        interfaces({{about.interface[0], 0, 0}, {about.interface[1], 0, 0}});
    }

    std::string file(int selector) const { return "/tmp/dashboard/" + base(selector) + ".csv"; }
    std::string temporary(int selector) const { return "/tmp/dashboard/" + base(selector) + "_tmp.csv"; }

    int data_export(int32_t selector) { return module.data_export(csman_handle_of_tests, &selector); }

    // Ready, with `count` samples in the series that `selector` names; the model holds the same.
    void fill(int selector, int count) {
        model = history_model<traffic_model_sample>(world.clock.now());
        ASSERT_EQ(init(module), 1);
        for (int i = 1; i <= count; ++i) {
            const int64_t before = selector == 0 ? world.clock.now() : model.last_minute;
            const int64_t second = before + step_of_series[selector];
            const uint64_t moved = static_cast<uint64_t>(i) * static_cast<uint64_t>(i);
            counters({{about.interface[0], moved, 7 * moved}, {about.interface[1], UINT64_MAX - 3 * moved, 11}});
            const entity_bytes first{about.number[0], 7 * moved, moved};
            const entity_bytes last{about.number[1], 11, UINT64_MAX - 3 * moved};
            const bool fed = model.feed(traffic_at(second, {first, last}));
            ASSERT_EQ(loop_at(module, second), fed ? 1 : 0);
        }
        ASSERT_EQ(model.series(selector).held.size(), std::min<size_t>(static_cast<size_t>(count), 119));
        world.messages();
    }

private:
    std::string base(int selector) const { return about.stem + "_" + series_names[selector] + "_0"; }
};

std::string name_of_case(const ::testing::TestParamInfo<traffic_export_case>& info) {
    return info.param.name;
}

INSTANTIATE_TEST_SUITE_P(, TrafficExport, ::testing::ValuesIn(cases), name_of_case);

TEST_P(TrafficExport, ShowsTheNewest72SamplesOfTheSelectedSeries) {
    for (int selector = 0; selector < 3; ++selector) {
        for (const int count : {2, 3, 71, 72, 73, 119, 121}) {
            SCOPED_TRACE(series_names[selector] + " " + std::to_string(count));
            fill(selector, count);
            const int before = open_descriptors();
            EXPECT_EQ(data_export(selector), 1);
            EXPECT_EQ(open_descriptors(), before);
            expect_file(file(selector),
                        traffic_export({about.number[0], about.number[1]}, model.series(selector).newest(72)));
            EXPECT_FALSE(world.exists(temporary(selector)));
        }
    }
}

TEST_P(TrafficExport, OfFewerThanTwoSamplesIsLeftOpenAndUnpublished) {
    for (int selector = 0; selector < 3; ++selector) {
        for (const int count : {0, 1}) {
            SCOPED_TRACE(series_names[selector] + " " + std::to_string(count));
            fill(selector, count);
            world.remove(temporary(selector));
            const size_t commands_before = world.commands().size();
            const int before = open_descriptors();
            EXPECT_EQ(data_export(selector), 0);
            EXPECT_EQ(open_descriptors(), before + 1);
            EXPECT_EQ(world.read(temporary(selector)), "");
            EXPECT_EQ(world.mode(temporary(selector)), 0644u);
            EXPECT_FALSE(world.exists(file(selector)));
            EXPECT_EQ(world.commands().size(), commands_before);
            EXPECT_THAT(world.messages(), IsEmpty());
        }
    }
}

TEST_P(TrafficExport, AShortOneLeavesTheLastFileInPlace) {
    fill(0, 2);
    ASSERT_EQ(data_export(0), 1);
    const std::string before = world.read(file(0));
    fill(0, 1);
    EXPECT_EQ(data_export(0), 0);
    expect_file(file(0), before);
}

TEST_P(TrafficExport, RefusesOtherSelectorsAndNoneAndOpensNothing) {
    fill(0, 3);
    const int before = open_descriptors();
    for (const int32_t selector : {3, -1, INT32_MAX, INT32_MIN}) {
        EXPECT_EQ(data_export(selector), 0) << selector;
    }
    EXPECT_EQ(module.data_export(csman_handle_of_tests, nullptr), 0);
    ASSERT_EQ(term(module), 1);
    for (const int32_t selector : {0, 1, 2, 3}) {
        EXPECT_EQ(data_export(selector), 0) << "without a store";
    }
    EXPECT_EQ(module.data_export(csman_handle_of_tests, nullptr), 0);
    EXPECT_EQ(open_descriptors(), before);
    for (int selector = 0; selector < 3; ++selector) {
        EXPECT_FALSE(world.exists(file(selector)));
        EXPECT_FALSE(world.exists(temporary(selector)));
    }
    EXPECT_THAT(world.messages(), IsEmpty());
}

} // namespace
} // namespace dashboard::testing
