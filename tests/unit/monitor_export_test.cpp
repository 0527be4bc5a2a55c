// What the CSV exports of the monitors have in common: how much history of each series they show, what is too little,
// their names, links and failures.
#include "tests/unit/framed_monitors.h"

#include <algorithm>
#include <cerrno>

namespace dashboard::testing {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

constexpr int64_t step_of_series[] = {1, 60, 3600}; // seconds between two samples of each

class MonitorExport : public framed_monitor_fixture {
protected:
    std::string base(int selector) const {
        const std::string file = row.published.substr(0, row.published.find('.'));
        return std::string(file).replace(file.find('%'), 1, series_names[static_cast<size_t>(selector)]);
    }
    std::string file(int selector) const { return "/tmp/dashboard/" + base(selector) + ".csv"; }
    std::string part(int selector) const { return "/tmp/dashboard/" + base(selector) + "_tmp.csv"; }
    std::string exporter(int selector) const {
        return "data_export_" + row.function + "_" + series_names[static_cast<size_t>(selector)];
    }
    bool shows_differences() const { return row.module != &sim_strquality_monitor; }

    int data_export(int32_t selector) { return module.data_export(csman_handle_of_tests, &selector); }

    // Ready, with `count` samples in the series that `selector` names.
    void fill(int selector, int count) {
        begin();
        const int64_t start = world.clock.now();
        for (int i = 1; i <= count; ++i) {
            live_at(start + i * step_of_series[selector]);
        }
        ASSERT_EQ(model->held(selector), std::min<size_t>(static_cast<size_t>(count), 119));
        world.messages();
        commands();
    }
};

INSTANTIATE_TEST_SUITE_P(Of, MonitorExport, ::testing::ValuesIn(exporting_monitors()), name_of_monitor);

TEST_P(MonitorExport, ShowsTheNewest72SamplesOfTheSelectedSeries) {
    for (int selector = 0; selector < 3; ++selector) {
        for (const int count : {0, 1, 2, 3, 71, 72, 73, 119, 121}) {
            SCOPED_TRACE(series_names[static_cast<size_t>(selector)] + " " + std::to_string(count));
            if (shows_differences() && count < 2) {
                continue;
            }
            fill(selector, count);
            const int before = open_descriptors();
            EXPECT_EQ(data_export(selector), 1);
            EXPECT_EQ(open_descriptors(), before);
            expect_file(file(selector), model->csv(selector));
            EXPECT_FALSE(world.exists(part(selector)));
        }
    }
}

TEST_P(MonitorExport, OfTooFewForADifferenceIsLeftOpenAndUnpublished) {
    for (int selector = 0; selector < 3 && shows_differences(); ++selector) {
        for (const int count : {0, 1}) {
            SCOPED_TRACE(series_names[static_cast<size_t>(selector)] + " " + std::to_string(count));
            fill(selector, count);
            world.remove(part(selector));
            const int before = open_descriptors();
            EXPECT_EQ(data_export(selector), 0);
            EXPECT_EQ(open_descriptors(), before + 1);
            EXPECT_EQ(world.read(part(selector)), "");
            EXPECT_EQ(world.mode(part(selector)), 0644u);
            EXPECT_FALSE(world.exists(file(selector)));
            EXPECT_THAT(commands(), IsEmpty());
            EXPECT_THAT(world.messages(), IsEmpty());
        }
    }
}

TEST_P(MonitorExport, AShortOneLeavesTheLastFileInPlace) {
    fill(0, 2);
    ASSERT_EQ(data_export(0), 1);
    const std::string before = world.read(file(0));
    fill(0, 1);
    EXPECT_EQ(data_export(0), shows_differences() ? 0 : 1);
    expect_file(file(0), shows_differences() ? before : model->csv(0));
}

TEST_P(MonitorExport, RefusesOtherSelectorsAndNoneAndOpensNothing) {
    fill(0, 3);
    const std::vector<std::string> files = world.list("/tmp/dashboard");
    const int before = open_descriptors();
    for (const int32_t selector : {3, -1, 99, INT32_MAX, INT32_MIN}) {
        EXPECT_EQ(data_export(selector), 0) << selector;
    }
    EXPECT_EQ(module.data_export(csman_handle_of_tests, nullptr), 0);
    ASSERT_EQ(term(module), 1);
    for (const int32_t selector : {0, 1, 2, 3}) {
        EXPECT_EQ(data_export(selector), 0) << "without a store";
    }
    EXPECT_EQ(module.data_export(csman_handle_of_tests, nullptr), 0);
    EXPECT_EQ(open_descriptors(), before);
    EXPECT_EQ(world.list("/tmp/dashboard"), files);
    EXPECT_THAT(world.messages(), IsEmpty());
}

TEST_P(MonitorExport, IsWrittenAsideMovedOntoItsNameAndLinkedOnce) {
    for (int selector = 0; selector < 3; ++selector) {
        fill(selector, 2);
        forget_calls();
        ASSERT_EQ(data_export(selector), 1);
        EXPECT_THAT(world.calls("remove"), ElementsAre(file(selector)));
        EXPECT_THAT(world.calls("rename"), ElementsAre(part(selector) + " " + file(selector)));
        EXPECT_EQ(world.mode(file(selector)), 0644u);
        const std::string target = "/usr/www/" + base(selector) + ".csv";
        EXPECT_THAT(commands(), ElementsAre(exporter(selector) + ": ln -sf " + file(selector) + " " + target));
        EXPECT_EQ(world.link_target(target), file(selector));
        ASSERT_EQ(data_export(selector), 1);
        EXPECT_THAT(commands(), IsEmpty());
    }
}

TEST_P(MonitorExport, ThatCannotBeOpenedIsReportedUnderItsOwnName) {
    fill(0, 2);
    for (int selector = 0; selector < 3; ++selector) {
        world.fail("open", EROFS, part(selector));
        EXPECT_EQ(data_export(selector), 0);
        EXPECT_THAT(world.messages(), ElementsAre("warn[" + exporter(selector) + "]: open file(" + part(selector) +
                                                  ") error(Read-only file system)!"));
        EXPECT_FALSE(world.exists(file(selector)));
    }
}

TEST_P(MonitorExport, DoesNotDisturbTheSeriesNorDoesTheLoopExport) {
    fill(2, 5);
    EXPECT_EQ(world.list("/tmp/dashboard").size(), 3u);
    ASSERT_EQ(data_export(0), 1);
    expect_written();
}

} // namespace
} // namespace dashboard::testing
