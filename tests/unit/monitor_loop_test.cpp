// What the loop and the writers of every framed monitor have in common.
#include "tests/models/history_model.h"
#include "tests/unit/framed_monitors.h"

#include <cerrno>
#include <random>
#include <sys/stat.h>

namespace dashboard::testing {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

class MonitorLoop : public framed_monitor_fixture {
protected:
    MonitorLoop() {
        begin();
        commands();
    }
};
INSTANTIATE_TEST_SUITE_P(Of, MonitorLoop, ::testing::ValuesIn(framed_monitors()), name_of_monitor);

TEST_P(MonitorLoop, PublishesItsSampleWhileWatched) {
    live_at(t0, 1);
    expect_shown({"sec"});
    live_at(t0 + 1, 3);
    expect_shown({"sec"});
    expect_empty({"min", "hour"});
    EXPECT_THAT(world.messages(), IsEmpty());
}

TEST_P(MonitorLoop, UnwatchedKeepsItsSamplesForALaterViewer) {
    live_at(t0, 0);
    live_at(t0 + 1, -5);
    world.clock.set(t0 + 2);
    EXPECT_EQ(module.loop(csman_handle_of_tests, nullptr, &module), 1) << "no viewer value at all";
    model->feed(t0 + 2, row.module == &cpu_usage_monitor ? 0 : moment - 1);
    expect_empty({"sec"});
    live_at(t0 + 3, 1);
    expect_shown({"sec"});
    EXPECT_EQ(model->held(0), 4u);
}

TEST_P(MonitorLoop, WritersShowTheirOwnSeries) {
    live_at(t0 + 60);
    expect_empty(series_names);
    expect_written();
    expect_empty({"hour"});
    live_at(t0 + 3600);
    expect_shown({"hour"});
    world.remove(published("hour"));
    expect_written();
}

TEST_P(MonitorLoop, WritersReportAFileThatCannotBeOpenedAndReturn0) {
    std::vector<std::string> expected;
    for (const std::string& series : series_names) {
        world.fail("open", EACCES, temporary(series));
        EXPECT_EQ(write(series), 0);
        expected.push_back(open_warning(series, "Permission denied"));
    }
    EXPECT_EQ(world.messages(), expected);
    EXPECT_THAT(commands(), IsEmpty()) << "nothing is linked";
}

TEST_P(MonitorLoop, GoesOnWhenItsFilesCannotBeOpened) {
    world.remove("/tmp/dashboard");
    live_at(t0 + 3600, 1);
    std::vector<std::string> expected;
    for (const std::string& series : series_names) {
        expected.push_back(open_warning(series, "No such file or directory"));
    }
    EXPECT_EQ(world.messages(), expected);
    EXPECT_THAT(commands(), IsEmpty());
    world.folder("/tmp/dashboard");
    live_at(t0 + 3601, 1);
    expect_shown({"sec"});
    EXPECT_EQ(model->held(0), 2u);
    expect_written();
}

TEST_P(MonitorLoop, DoesNotWriteThroughAPlantedLink) {
    world.file("/tmp/dashboard/victim", "precious");
    world.link("/tmp/dashboard/victim", temporary("sec"));
    live_at(t0, 1);
    EXPECT_THAT(world.messages(), ElementsAre(open_warning("sec", "Too many levels of symbolic links")));
    EXPECT_EQ(world.read("/tmp/dashboard/victim"), "precious");
    expect_empty({"sec"});
}

TEST_P(MonitorLoop, StaleLongerTemporaryFileKeepsItsTail) {
    world.file(temporary("sec"), std::string(20'000, '~'));
    live_at(t0, 1);
    const std::string golden = model->document(0);
    expect_file(published("sec"), golden + std::string(20'000 - golden.size(), '~'));
}

TEST_P(MonitorLoop, FilesAreCreatedWithMode0644LessTheUmask) {
    const mode_t before = umask(027);
    live_at(t0, 1);
    EXPECT_EQ(world.mode(published("sec")), 0640u);
    umask(0);
    live_at(t0 + 1, 1);
    EXPECT_EQ(world.mode(published("sec")), 0644u);
    umask(before);
}

TEST_P(MonitorLoop, UnwatchedForTwoHoursRewritesTheHourDocumentOnly) {
    for (int64_t second = t0; second <= t0 + 7200; second += 20) {
        live_at(second);
        if (second == t0 + 3600) {
            expect_shown({"hour"});
        }
    }
    expect_empty({"sec", "min"});
    expect_shown({"hour"});
    EXPECT_EQ(model->held(2), 2u);
    EXPECT_THAT(world.messages(), IsEmpty());
    expect_written();
}

TEST_P(MonitorLoop, ClockSetBackTwoMinutesEndsAMinuteAtOnce) {
    live_at(t0 + 1, 1);
    live_at(t0 - 119, 1);
    EXPECT_EQ(model->held(1), 1u);
    expect_shown({"sec", "min"});
    expect_empty({"hour"});
}

TEST_P(MonitorLoop, ClockSetBackHalfAnHourEndsAnHourAtOnce) {
    live_at(t0 - 1799);
    expect_empty({"hour"});
    begin(); // at t0 - 1799
    live_at(t0 - 1799 - 1800);
    EXPECT_EQ(model->held(2), 1u);
    expect_shown({"hour"});
}

TEST_P(MonitorLoop, AnEmptyRollUpIsLoggedWithTheSourceNameAndTriedAgain) {
    for (int i = 1; i <= 60; ++i) {
        live_at(t0 + i); // a minute ends at slot 60
    }
    for (int i = 1; i < row.slots; ++i) {
        live_at(t0 + std::min(i, 119)); // set back by a minute: within the tolerance until the ring has come round
    }
    EXPECT_THAT(empty_roll_ups, IsEmpty());
    EXPECT_THAT(world.messages(), IsEmpty());
    live_at(t0 + 120, 1);
    EXPECT_EQ(empty_roll_ups.size(), 1u);
    EXPECT_EQ(world.messages(), empty_roll_ups);
    expect_empty({"min"});
    live_at(t0 + 121, 1);
    EXPECT_THAT(world.messages(), IsEmpty());
    EXPECT_EQ(model->held(1), 2u);
    expect_shown({"sec", "min"});
}

TEST_P(MonitorLoop, LinksNothingAnewWhilePublishingButWhatIsGone) {
    forget_calls();
    live_at(t0 + 3600, 1);
    EXPECT_EQ(commands(), odd_links() ? std::vector{link_command("hour")} : std::vector<std::string>{});
    std::vector<std::string> removed;
    std::vector<std::string> moved;
    for (const std::string& series : series_names) {
        removed.push_back(published(series));
        moved.push_back(temporary(series) + " " + published(series));
    }
    EXPECT_EQ(world.calls("remove"), removed);
    EXPECT_EQ(published_moves(), moved);
    world.remove(link("sec"));
    live_at(t0 + 3601, 1);
    EXPECT_THAT(commands(), ElementsAre(link_command("sec")));
}

TEST_P(MonitorLoop, ADocumentShowsTheNewestOldestFirst) {
    for (int i = 1; i <= row.slots + 10; ++i) {
        live_at(t0 + i, 1);
        if (is_turning_point(i, row.span, row.slots)) {
            expect_shown({"sec"});
        }
    }
}

TEST_P(MonitorLoop, EverySeriesShowsTheNewestAlsoWhenItsRingHasWrapped) {
    for (int i = 1; i <= row.slots + 10; ++i) { // hour after hour, each a sample of every series
        live_at(t0 + 3600 * i, 1);
        if (is_turning_point(i, row.span, row.slots)) {
            expect_shown(series_names);
        }
    }
    EXPECT_EQ(model->held(2), static_cast<size_t>(row.slots - 1));
}

TEST_P(MonitorLoop, FollowsTheModelUnderAWildClock) {
    std::mt19937 random(static_cast<uint32_t>(row.start_marker));
    const int64_t jumps[] = {1, 1, 1, 1, 2, 58, 59, 60, 61, 1799, 1800, 3599, 3600, 90000};
    int64_t now = t0;
    for (int i = 0; i < 400; ++i) {
        const int64_t jump = jumps[random() % std::size(jumps)];
        now += random() % 3 == 0 ? -jump : jump;
        live_at(now, 1);
    }
    ASSERT_GT(model->held(2), 10u);
    expect_shown(series_names);
    EXPECT_EQ(world.messages(), empty_roll_ups);
}

} // namespace
} // namespace dashboard::testing
