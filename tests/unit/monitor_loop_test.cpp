// What the loop and the writers of every framed monitor have in common.
#include "tests/unit/framed_monitors.h"

#include <cerrno>
#include <sys/stat.h>

namespace dashboard::testing {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

class MonitorLoop : public framed_monitor_fixture {
protected:
    MonitorLoop() {
        EXPECT_EQ(init_it(), 1);
        world.messages();
    }
};
INSTANTIATE_TEST_SUITE_P(Of, MonitorLoop, ::testing::ValuesIn(framed_monitors), name_of_monitor);

TEST_P(MonitorLoop, PublishesItsSampleWhileWatched) {
    EXPECT_EQ(loop_it(1), 1);
    expect_series("sec", sample_at(t0));
    EXPECT_EQ(loop_it_at(t0 + 1, 3), 1);
    expect_series("sec", sample_at(t0) + sample_at(t0 + 1));
    expect_series("min", "");
    expect_series("hour", "");
    EXPECT_THAT(world.messages(), IsEmpty());
}

TEST_P(MonitorLoop, UnwatchedKeepsItsSamplesForALaterViewer) {
    EXPECT_EQ(loop_it(0), 1);
    EXPECT_EQ(loop_it_at(t0 + 1, -5), 1);
    world.clock.set(t0 + 2);
    EXPECT_EQ(module().loop(csman_handle_of_tests, nullptr, &module()), 1) << "no viewer value at all";
    expect_series("sec", "");
    EXPECT_EQ(loop_it_at(t0 + 3, 1), 1);
    expect_series("sec", sample_at(t0) + sample_at(t0 + 1) + sample_at(t0 + 2) + sample_at(t0 + 3));
}

TEST_P(MonitorLoop, WritersShowTheirOwnSeries) {
    ASSERT_EQ(loop_it_at(t0 + 60), 1);
    for (const char* series : {"sec", "min", "hour"}) {
        expect_series(series, "");
    }
    EXPECT_EQ(module().write_sec(csman_handle_of_tests, nullptr), 1);
    EXPECT_EQ(module().write_min(csman_handle_of_tests, nullptr), 1);
    EXPECT_EQ(module().write_hour(csman_handle_of_tests, nullptr), 1);
    expect_series("sec", sample_at(t0 + 60));
    expect_series("min", sample_at(t0 + 60));
    expect_series("hour", "");
    ASSERT_EQ(loop_it_at(t0 + 3600), 1);
    expect_series("hour", sample_at(t0 + 3600));
}

TEST_P(MonitorLoop, WritersReportAFileThatCannotBeOpenedAndReturn0) {
    for (const char* series : {"sec", "min", "hour"}) {
        world.fail("open", EACCES, temporary(series));
    }
    EXPECT_EQ(module().write_sec(csman_handle_of_tests, nullptr), 0);
    EXPECT_EQ(module().write_min(csman_handle_of_tests, nullptr), 0);
    EXPECT_EQ(module().write_hour(csman_handle_of_tests, nullptr), 0);
    EXPECT_THAT(world.messages(),
                ElementsAre(open_warning("sec", "Permission denied"), open_warning("min", "Permission denied"),
                            open_warning("hour", "Permission denied")));
}

TEST_P(MonitorLoop, GoesOnWhenItsFilesCannotBeOpened) {
    world.remove("/tmp/dashboard");
    EXPECT_EQ(loop_it_at(t0 + 3600, 1), 1);
    EXPECT_THAT(world.messages(), ElementsAre(open_warning("sec", "No such file or directory"),
                                              open_warning("min", "No such file or directory"),
                                              open_warning("hour", "No such file or directory")));
    world.folder("/tmp/dashboard");
    EXPECT_EQ(loop_it_at(t0 + 3601, 1), 1);
    expect_series("sec", sample_at(t0 + 3600) + sample_at(t0 + 3601));
    EXPECT_EQ(module().write_hour(csman_handle_of_tests, nullptr), 1);
    expect_series("hour", sample_at(t0 + 3600));
}

TEST_P(MonitorLoop, DoesNotWriteThroughAPlantedLink) {
    world.file("/tmp/dashboard/victim", "precious");
    world.link("/tmp/dashboard/victim", temporary("sec"));
    EXPECT_EQ(loop_it(1), 1);
    EXPECT_THAT(world.messages(), ElementsAre(open_warning("sec", "Too many levels of symbolic links")));
    EXPECT_EQ(world.read("/tmp/dashboard/victim"), "precious");
    expect_series("sec", "");
}

TEST_P(MonitorLoop, StaleLongerTemporaryFileKeepsItsTail) {
    const std::string golden = datalist(sample_at(t0));
    world.file(temporary("sec"), std::string(golden.size() + 10, '~'));
    EXPECT_EQ(loop_it(1), 1);
    expect_file(published(document("sec")), golden + "~~~~~~~~~~");
}

TEST_P(MonitorLoop, FilesAreCreatedWithMode0644LessTheUmask) {
    const mode_t before = umask(027);
    EXPECT_EQ(loop_it(1), 1);
    EXPECT_EQ(world.mode(published(document("sec"))), 0640u);
    umask(0);
    EXPECT_EQ(loop_it(1), 1);
    EXPECT_EQ(world.mode(published(document("sec"))), 0644u);
    umask(before);
}

TEST_P(MonitorLoop, UnwatchedForOverAnHourRewritesTheHourDocumentOnly) {
    for (int64_t second = t0; second <= t0 + 3600; second += 20) {
        ASSERT_EQ(loop_it_at(second), 1);
    }
    expect_series("sec", "");
    expect_series("min", "");
    expect_series("hour", sample_at(t0 + 3600));
    for (int64_t second = t0 + 3620; second <= t0 + 7200; second += 20) {
        ASSERT_EQ(loop_it_at(second), 1);
    }
    expect_series("hour", sample_at(t0 + 3600) + sample_at(t0 + 7200));
    EXPECT_THAT(world.messages(), IsEmpty());
}

TEST_P(MonitorLoop, ClockSetBackTwoMinutesEndsAMinuteAtOnce) {
    ASSERT_EQ(loop_it_at(t0 + 1), 1);
    EXPECT_EQ(loop_it_at(t0 - 119, 1), 1);
    expect_series("min", sample_at(t0 - 119));
    expect_series("hour", "");
}

TEST_P(MonitorLoop, ClockSetBackHalfAnHourEndsAnHourAtOnce) {
    EXPECT_EQ(loop_it_at(t0 - 1799), 1);
    expect_series("hour", "");
    EXPECT_EQ(init_it(), 1); // begins at t0 - 1799
    EXPECT_EQ(loop_it_at(t0 - 1799 - 1800), 1);
    expect_series("hour", sample_at(t0 - 1799 - 1800));
}

TEST_P(MonitorLoop, AnEmptyRollUpIsLoggedWithTheSourceNameAndTriedAgain) {
    for (int i = 0; i <= 60; ++i) {
        ASSERT_EQ(loop_it_at(t0 + i), 1);
    }
    for (int i = 0; i < 119; ++i) {
        ASSERT_EQ(loop_it_at(t0 + 1 + i), 1); // set back by 60 s one second after the roll-up
    }
    EXPECT_THAT(world.messages(), IsEmpty());
    EXPECT_EQ(loop_it_at(t0 + 120, 1), 0);
    EXPECT_THAT(world.messages(), ElementsAre("log[" + GetParam().stem + "_loop]: " + GetParam().source));
    expect_series("min", "");
    EXPECT_EQ(loop_it_at(t0 + 121, 1), 1);
    EXPECT_THAT(world.messages(), IsEmpty());
    expect_series("min", sample_at(t0 + 60) + sample_at(t0 + 121));
}

TEST_P(MonitorLoop, LinksNothingAnewWhilePublishing) {
    world.forget_calls();
    ASSERT_EQ(loop_it_at(t0 + 3600, 1), 1);
    EXPECT_THAT(links_made(), IsEmpty());
    EXPECT_THAT(world.calls("rename"), ElementsAre(temporary("sec") + " " + published(document("sec")),
                                                   temporary("min") + " " + published(document("min")),
                                                   temporary("hour") + " " + published(document("hour"))));
    EXPECT_THAT(world.calls("remove"),
                ElementsAre(published(document("sec")), published(document("min")), published(document("hour"))));
}

TEST_P(MonitorLoop, SamplesBeyondTheSpanLeaveTheDocumentOldestFirst) {
    const int64_t span = GetParam().start_marker <= 2 ? 60 : 72; // CPU and memory show a minute, traffic a little more
    for (int i = 0; i < 200; ++i) {
        ASSERT_EQ(loop_it_at(t0 + i, i == 199 ? 1 : 0), 1);
    }
    std::string body;
    for (int64_t second = t0 + 200 - span; second < t0 + 200; ++second) {
        body += sample_at(second);
    }
    expect_series("sec", body);
}

} // namespace
} // namespace dashboard::testing
