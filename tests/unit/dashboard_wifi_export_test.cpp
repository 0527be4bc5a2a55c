// CSV exports of Wi-Fi traffic, for both bands.
#include "tests/unit/wifi_band.h"

#include <cerrno>
#include <string>

namespace dashboard::testing {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

constexpr int64_t step_of_series[] = {1, 60, 3600}; // seconds between two samples of each
const std::string series_names[] = {"sec", "min", "hour"};

class WifiExport : public wifi_fixture, public ::testing::WithParamInterface<wifi_band_case> {
protected:
    const wifi_band_case& band = GetParam();
    const monitor_cb& module = *band.module;

    std::string base(int selector) const { return band.stem + "_" + series_names[selector] + "_0"; }
    std::string file(int selector) const { return "/tmp/dashboard/" + base(selector) + ".csv"; }
    std::string temporary(int selector) const { return "/tmp/dashboard/" + base(selector) + "_tmp.csv"; }
    std::string link(int selector) const { return "/usr/www/" + base(selector) + ".csv"; }
    std::string exporter(int selector) const { return "data_export_wifi_traffic_" + series_names[selector]; }

    int data_export(int32_t selector) { return module.data_export(csman_handle_of_tests, &selector); }

    // Ready, with `count` samples in the series that `selector` names; the model holds the same.
    history_model<wifi_model_sample> filled(int selector, int count) {
        history_model<wifi_model_sample> model{world.clock.now()};
        start(band);
        alive({"ra0", "ra7"});
        uint64_t sent = 1000;
        uint64_t received = UINT64_MAX - 500; // wraps on its way
        for (int i = 1; i <= count; ++i) {
            const int64_t now = model.last_minute + step_of_series[selector];
            const int64_t second = selector == 0 ? world.clock.now() + 1 : now;
            sent += static_cast<uint64_t>(i) * 100;
            received += 11;
            counters({{"ra0", received, sent}, {"ra7", 7 * sent, i % 5 == 0 ? 0 : sent}});
            const vap_bytes first{0, sent, received};
            const vap_bytes last{7, i % 5 == 0 ? 0 : sent, 7 * sent};
            const bool fed = model.feed(wifi_sample_of(band, second, {first, last}));
            EXPECT_EQ(loop_at(module, second), fed ? 1 : 0);
        }
        return model;
    }

    static std::string csv(const std::vector<wifi_model_sample>& samples) {
        std::string text = "count,index,tx,rx,txrx\n";
        for (size_t k = 1; k < samples.size(); ++k) {
            for (size_t slot = 0; slot < 8; ++slot) {
                text += std::to_string(k) + "," + std::to_string(slot + 1);
                for (const size_t column : {2 + slot, 10 + slot, 18 + slot}) {
                    text += "," + std::to_string(samples[k].value[column] - samples[k - 1].value[column]);
                }
                text += "\n";
            }
        }
        return text;
    }
};

INSTANTIATE_TEST_SUITE_P(, WifiExport, ::testing::ValuesIn(wifi_bands), name_of_band);

TEST_P(WifiExport, ShowsTheDifferencesOfAllEightSlots) {
    start(band);
    interfaces({{"ra0", 100, 10}, {"ra2", 5, 5}});
    ASSERT_EQ(loop(module), 1);
    interfaces({{"ra0", 150, 11}, {"ra2", 4, 5}});
    ASSERT_EQ(loop_at(module, t0 + 1), 1);
    EXPECT_EQ(data_export(0), 1);
    expect_file("/tmp/dashboard/" + band.stem + "_sec_0.csv", "count,index,tx,rx,txrx\n"
                                                              "1,1,1,50,51\n"
                                                              "1,2,0,0,0\n"
                                                              "1,3,0,18446744073709551615,18446744073709551615\n"
                                                              "1,4,0,0,0\n"
                                                              "1,5,0,0,0\n"
                                                              "1,6,0,0,0\n"
                                                              "1,7,0,0,0\n"
                                                              "1,8,0,0,0\n");
}

TEST_P(WifiExport, ShowsTheNewest72SamplesOfTheSelectedSeries) {
    for (int selector = 0; selector < 3; ++selector) {
        for (const int count : {2, 3, 71, 72, 73, 119, 121}) {
            SCOPED_TRACE(series_names[selector] + " " + std::to_string(count));
            const auto model = filled(selector, count);
            ASSERT_EQ(model.series(selector).held.size(), std::min<size_t>(static_cast<size_t>(count), 119));
            EXPECT_EQ(data_export(selector), 1);
            expect_file(file(selector), csv(model.series(selector).newest(72)));
            EXPECT_FALSE(world.exists(temporary(selector)));
        }
    }
}

TEST_P(WifiExport, OfFewerThanTwoSamplesIsLeftOpenAndUnpublished) {
    for (int selector = 0; selector < 3; ++selector) {
        for (const int count : {0, 1}) {
            SCOPED_TRACE(series_names[selector] + " " + std::to_string(count));
            filled(selector, count);
            world.remove(temporary(selector));
            new_commands();
            const int before = open_descriptors();
            EXPECT_EQ(data_export(selector), 0);
            EXPECT_EQ(open_descriptors(), before + 1);
            EXPECT_EQ(world.read(temporary(selector)), "");
            EXPECT_EQ(world.mode(temporary(selector)), 0644u);
            EXPECT_FALSE(world.exists(file(selector)));
            EXPECT_THAT(new_commands(), IsEmpty());
            EXPECT_THAT(world.messages(), IsEmpty());
        }
    }
}

TEST_P(WifiExport, AShortOneLeavesTheLastFileInPlace) {
    filled(0, 2);
    ASSERT_EQ(data_export(0), 1);
    const std::string before = world.read(file(0));
    filled(0, 1);
    EXPECT_EQ(data_export(0), 0);
    expect_file(file(0), before);
}

TEST_P(WifiExport, RefusesOtherSelectorsAndNone) {
    filled(0, 3);
    const std::vector<std::string> before = world.list("/tmp/dashboard");
    for (const int32_t selector : {3, -1, 99, INT32_MAX, INT32_MIN}) {
        EXPECT_EQ(data_export(selector), 0) << selector;
    }
    EXPECT_EQ(module.data_export(csman_handle_of_tests, nullptr), 0);
    EXPECT_EQ(world.list("/tmp/dashboard"), before);
}

TEST_P(WifiExport, IsWrittenAsideMovedOntoItsNameAndLinkedOnce) {
    for (int selector = 0; selector < 3; ++selector) {
        filled(selector, 2);
        world.forget_calls();
        ASSERT_EQ(data_export(selector), 1);
        EXPECT_THAT(world.calls("remove"), ElementsAre(file(selector)));
        EXPECT_THAT(world.calls("rename"), ElementsAre(temporary(selector) + " " + file(selector)));
        const std::vector<runner_command> asked = world.commands();
        ASSERT_EQ(asked.size(), 1u);
        EXPECT_EQ(asked[0].file, band.source);
        EXPECT_EQ(asked[0].func, exporter(selector));
        EXPECT_EQ(asked[0].command, "ln -sf " + file(selector) + " " + link(selector));
        EXPECT_EQ(world.link_target(link(selector)), file(selector));
        ASSERT_EQ(data_export(selector), 1);
        EXPECT_EQ(world.commands().size(), 1u);
    }
}

TEST_P(WifiExport, ThatCannotBeOpenedIsReportedUnderItsOwnName) {
    filled(0, 2);
    for (int selector = 0; selector < 3; ++selector) {
        world.fail("open", EROFS, temporary(selector));
        EXPECT_EQ(data_export(selector), 0);
        EXPECT_THAT(world.messages(), ElementsAre("warn[" + exporter(selector) + "]: open file(" + temporary(selector) +
                                                  ") error(Read-only file system)!"));
        EXPECT_FALSE(world.exists(file(selector)));
    }
}

TEST_P(WifiExport, DoesNotDisturbTheSeries) {
    const auto model = filled(0, 5);
    ASSERT_EQ(data_export(0), 1);
    ASSERT_EQ(module.write_sec(csman_handle_of_tests, nullptr), 1);
    expect_document(band.stem + "_sec", wifi_document(band, model.sec.newest(72)));
}

} // namespace
} // namespace dashboard::testing
