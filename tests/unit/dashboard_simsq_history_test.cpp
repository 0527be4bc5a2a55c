// Signal quality of the SIM slots: averages, documents over hours, exports, failures.
#include "tests/unit/sim_fixture.h"

#include <algorithm>
#include <cerrno>
#include <random>
#include <string>

namespace dashboard::testing {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

constexpr sim_measures none = {0, 0, 0, 0, 0, 0};

class SimHistory : public sim_fixture {
protected:
    std::mt19937 random{10};

    SimHistory() { world.csman.keep_quiet(); }

    sim_measures any() {
        sim_measures measures;
        for (int32_t& measure : measures) {
            measure = static_cast<int32_t>(random() % 241) - 120;
        }
        return measures;
    }

    void expect_series() {
        ASSERT_EQ(module.write_sec(csman_handle_of_tests, nullptr), 1);
        ASSERT_EQ(module.write_min(csman_handle_of_tests, nullptr), 1);
        ASSERT_EQ(module.write_hour(csman_handle_of_tests, nullptr), 1);
        expect_document("sim_strquality_sec", sim_document(model.sec.newest(72)));
        expect_document("sim_strquality_min", sim_document(model.min.newest(72)));
        expect_document("sim_strquality_hour", sim_document(model.hour.newest(72)));
    }
};

TEST_F(SimHistory, AveragesAreSignedAndCutTowardsZero) {
    start();
    live_at(t0 + 1, {7, 70, -7, -3, 1, 0}, {INT32_MAX, INT32_MIN, 1, -1, 100, 2});
    live_at(t0 + 60, {8, 71, -8, -4, 0, 0}, {1, -1, 0, 0, 101, 3}, 1);
    // Sums of 32 bits: 2^31 - 1 + 1 wraps to -2^31, -2^31 - 1 to 2^31 - 1.
    expect_document("sim_strquality_min", sim_document({sim_sample_of(t0 + 60, {7, 70, -7, -3, 0, 0},
                                                                      {-1073741824, 1073741823, 0, 0, 100, 2})}));
}

TEST_F(SimHistory, SamplesOfADeadSlotTakePartWithTheirZeros) {
    start();
    live_at(t0 + 1, {60, 90, 12, 9, 30, 6}, {50, 50, 50, 50, 50, 50});
    state(1, 0);
    live_at(t0 + 2, none, {50, 50, 50, 50, 50, 50});
    live_at(t0 + 60, none, {50, 50, 50, 50, 50, 50}, 1);
    expect_document("sim_strquality_min",
                    sim_document({sim_sample_of(t0 + 60, {20, 30, 4, 3, 10, 2}, {50, 50, 50, 50, 50, 50})}));
}

TEST_F(SimHistory, OnlyAPositiveViewerRequestPublishesTheSeconds) {
    start();
    live_at(t0 + 1, any(), any(), 0);
    live_at(t0 + 2, any(), any(), -5);
    ASSERT_EQ(module.loop(csman_handle_of_tests, nullptr, &module), 1);
    model.feed(model.sec.held.back());
    expect_document("sim_strquality_sec", datalist(""));
    live_at(t0 + 3, any(), any(), 3);
    expect_document("sim_strquality_sec", sim_document(model.sec.newest(72)));
}

TEST_F(SimHistory, ADocumentShowsTheNewest72Samples) {
    start();
    for (int i = 1; i <= 121; ++i) {
        live_at(t0 + i, any(), any(), 1);
        if (i == 71 || i == 72 || i == 73 || i == 100 || i >= 119) {
            expect_document("sim_strquality_sec", sim_document(model.sec.newest(72)));
        }
    }
}

TEST_F(SimHistory, FollowsTheModelThroughAnHour) {
    start();
    for (int64_t i = 1; i <= 740; ++i) {
        live_at(t0 + 5 * i, any(), any());
    }
    ASSERT_EQ(model.hour.held.size(), 1u);
    expect_document("sim_strquality_sec", datalist(""));
    expect_document("sim_strquality_min", datalist(""));
    expect_document("sim_strquality_hour", sim_document(model.hour.newest(72)));
    expect_series();
    EXPECT_THAT(world.messages(), IsEmpty());
}

TEST_F(SimHistory, DocumentsOfEverySeriesShowTheNewestAlsoWhenTheirRingHasWrapped) {
    start();
    for (int i = 1; i <= 130; ++i) { // hour after hour, each a sample of every series
        live_at(t0 + 3600 * i, any(), any(), 1);
        if (is_turning_point(i, 72)) {
            expect_series();
        }
    }
    EXPECT_EQ(model.hour.held.size(), 119u);
    EXPECT_GT(model.hour.held.front().time, t0 + 3600);
}

TEST_F(SimHistory, FollowsTheModelUnderAWildClock) {
    start();
    const int64_t jumps[] = {1, 1, 1, 2, 58, 59, 60, 61, 1799, 1800, 3599, 3600};
    int64_t now = t0;
    for (int i = 0; i < 400; ++i) {
        const int64_t jump = jumps[random() % std::size(jumps)];
        now += random() % 3 == 0 ? -jump : jump;
        live_at(now, any(), any(), 1);
    }
    ASSERT_GT(model.hour.held.size(), 10u);
    expect_series();
    EXPECT_EQ(world.messages(), std::vector<std::string>(static_cast<size_t>(found_nothing),
                                                         "log[sim_strquality_loop]: dashboard_simsq"));
}

TEST_F(SimHistory, AnEmptyRollUpIsLoggedUnderTheLoopsNameAndTriedAgain) {
    start();
    for (int i = 1; i <= 60; ++i) {
        live_at(t0 + i, any(), any()); // a minute ends at slot 60
    }
    for (int i = 1; i <= 119; ++i) {
        live_at(t0 + i, any(), any()); // set back by a minute
    }
    ASSERT_THAT(world.messages(), IsEmpty());
    live_at(t0 + 120, any(), any());
    EXPECT_THAT(world.messages(), ElementsAre("log[sim_strquality_loop]: dashboard_simsq"));
    live_at(t0 + 121, any(), any());
    EXPECT_EQ(model.min.held.size(), 2u);
    expect_series();
}

TEST_F(SimHistory, InitAgainStartsFromEmptySeries) {
    for (const bool term_between : {false, true}) {
        start();
        measures(1, any());
        ASSERT_EQ(loop(module, 1), 1);
        if (term_between) {
            ASSERT_EQ(term(module), 1);
        }
        ASSERT_EQ(init(module), 1);
        expect_document("sim_strquality_sec", datalist(""));
        EXPECT_EQ(module.write_sec(csman_handle_of_tests, nullptr), 1);
        expect_document("sim_strquality_sec", datalist(""));
    }
}

TEST_F(SimHistory, ADocumentThatCannotBeOpenedIsReportedAndLeavesTheLoopAlone) {
    start();
    std::vector<std::string> warnings;
    for (const std::string series : {"sec", "min", "hour"}) {
        const std::string temporary = "/tmp/dashboard/sim_strquality_" + series + "_0_tmp.xml";
        world.fail("open", ENOSPC, temporary);
        warnings.push_back("warn[xml_sim_strquality_" + series + "]: open file(" + temporary +
                           ") error(No space left on device)!");
    }
    live_at(t0 + 3600, any(), any(), 1);
    EXPECT_EQ(world.messages(), warnings);
    expect_document("sim_strquality_hour", datalist(""));
    world.fail("open", ENOSPC, "_tmp.xml", 3);
    EXPECT_EQ(module.write_sec(csman_handle_of_tests, nullptr), 0);
    EXPECT_EQ(module.write_min(csman_handle_of_tests, nullptr), 0);
    EXPECT_EQ(module.write_hour(csman_handle_of_tests, nullptr), 0);
    expect_series();
}

// ---- exports

class SimExport : public SimHistory {
protected:
    static constexpr int64_t step[] = {1, 60, 3600}; // seconds between two samples of each series
    static constexpr const char* series_names[] = {"sec", "min", "hour"};

    static std::string base(int selector) { return std::string("sim_strquality_") + series_names[selector] + "_0"; }
    static std::string file(int selector) { return "/tmp/dashboard/" + base(selector) + ".csv"; }
    static std::string temporary(int selector) { return "/tmp/dashboard/" + base(selector) + "_tmp.csv"; }
    static std::string link(int selector) { return "/usr/www/" + base(selector) + ".csv"; }

    int data_export(int32_t selector) { return module.data_export(csman_handle_of_tests, &selector); }

    // Ready, with `count` samples in the series that `selector` names.
    void fill(int selector, int count) {
        model = history_model<sim_model_sample>(world.clock.now());
        start();
        for (int i = 1; i <= count; ++i) {
            const int64_t next = (selector == 0 ? world.clock.now() : model.last_minute) + step[selector];
            live_at(next, any(), any());
        }
    }
};

TEST_F(SimExport, ShowsTheSamplesOwnValuesTwoRowsANumber) {
    start();
    live_at(t0, {75, 101, 11, 9, 88, 6}, none);
    live_at(t0 + 1, {-75, 0, 1, -9, 2, 3}, {51, 80, 10, -3, 70, 5});
    EXPECT_EQ(data_export(0), 1);
    expect_file("/tmp/dashboard/sim_strquality_sec_0.csv", "count,index,RSSI,RSRP,RSRQ,SINR,RSCP,EcIo\n"
                                                           "1,1,-75,-101,-11,9,-88,-6\n"
                                                           "1,2,-0,-0,-0,0,-0,-0\n"
                                                           "2,1,--75,-0,-1,-9,-2,-3\n"
                                                           "2,2,-51,-80,-10,-3,-70,-5\n");
}

TEST_F(SimExport, ShowsTheNewest72SamplesOfTheSelectedSeriesHoweverFew) {
    for (int selector = 0; selector < 3; ++selector) {
        for (const int count : {0, 1, 2, 71, 72, 73, 100, 119, 121}) {
            SCOPED_TRACE(series_names[selector] + (" " + std::to_string(count)));
            fill(selector, count);
            ASSERT_EQ(model.series(selector).held.size(), std::min<size_t>(static_cast<size_t>(count), 119));
            const int before = open_descriptors();
            EXPECT_EQ(data_export(selector), 1);
            EXPECT_EQ(open_descriptors(), before);
            expect_file(file(selector), sim_csv(model.series(selector).newest(72)));
            EXPECT_FALSE(world.exists(temporary(selector)));
        }
    }
}

TEST_F(SimExport, RefusesOtherSelectorsAndNone) {
    fill(0, 3);
    const std::vector<std::string> before = world.list("/tmp/dashboard");
    for (const int32_t selector : {3, -1, 99, INT32_MAX, INT32_MIN}) {
        EXPECT_EQ(data_export(selector), 0) << selector;
    }
    EXPECT_EQ(module.data_export(csman_handle_of_tests, nullptr), 0);
    EXPECT_EQ(world.list("/tmp/dashboard"), before);
}

TEST_F(SimExport, IsWrittenAsideMovedOntoItsNameAndLinkedOnce) {
    fill(0, 1);
    for (int selector = 0; selector < 3; ++selector) {
        world.forget_calls();
        ASSERT_EQ(data_export(selector), 1);
        EXPECT_THAT(world.calls("remove"), ElementsAre(file(selector)));
        EXPECT_THAT(world.calls("rename"), ElementsAre(temporary(selector) + " " + file(selector)));
        EXPECT_EQ(world.mode(file(selector)), 0644u);
        const std::vector<runner_command> asked = world.commands();
        ASSERT_EQ(asked.size(), 1u);
        EXPECT_EQ(asked[0].file, "dashboard_simsq");
        EXPECT_EQ(asked[0].func, std::string("data_export_sim_strquality_") + series_names[selector]);
        EXPECT_EQ(asked[0].command, "ln -sf " + file(selector) + " " + link(selector));
        ASSERT_EQ(data_export(selector), 1);
        EXPECT_EQ(world.commands().size(), 1u);
    }
}

TEST_F(SimExport, ThatCannotBeOpenedIsReportedUnderItsOwnName) {
    fill(0, 1);
    for (int selector = 0; selector < 3; ++selector) {
        world.fail("open", EROFS, temporary(selector));
        EXPECT_EQ(data_export(selector), 0);
        EXPECT_THAT(world.messages(),
                    ElementsAre("warn[data_export_sim_strquality_" + std::string(series_names[selector]) +
                                "]: open file(" + temporary(selector) + ") error(Read-only file system)!"));
        EXPECT_FALSE(world.exists(file(selector)));
    }
}

TEST_F(SimExport, TheLoopNeverExports) {
    fill(2, 3);
    for (const std::string& name : world.list("/tmp/dashboard")) {
        EXPECT_EQ(name.find(".csv"), std::string::npos) << name;
    }
}

} // namespace
} // namespace dashboard::testing
