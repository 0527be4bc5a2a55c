// What init and term of every framed monitor have in common.
#include "tests/unit/framed_monitors.h"

#include <algorithm>

namespace dashboard::testing {
namespace {

using ::testing::Contains;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

class MonitorInit : public framed_monitor_fixture {};
INSTANTIATE_TEST_SUITE_P(Of, MonitorInit, ::testing::ValuesIn(framed_monitors), name_of_monitor);

TEST_P(MonitorInit, PublishesThreeEmptyDocumentsAndLinksThem) {
    ASSERT_EQ(init_it(), 1);
    for (const char* series : {"sec", "min", "hour"}) {
        expect_series(series, "");
        EXPECT_FALSE(world.exists(temporary(series)));
        EXPECT_EQ(world.link_target(link(series)), published(document(series)));
    }
    std::vector<std::string> expected;
    for (const std::string series : {"sec", "min", "hour"}) {
        expected.push_back("xml_" + document(series) + ": ln -sf " + published(document(series)) + " " + link(series));
    }
    EXPECT_EQ(links_made(), expected);
}

TEST_P(MonitorInit, MakesNoLinkThatIsThereAlready) {
    ASSERT_EQ(init_it(), 1);
    world.forget_calls();
    ASSERT_EQ(init_it(), 1);
    EXPECT_THAT(links_made(), IsEmpty());
}

TEST_P(MonitorInit, MakesALinkAgainThatPointsNowhere) {
    world.link("/tmp/dashboard/gone", link("min"));
    ASSERT_EQ(init_it(), 1);
    EXPECT_EQ(links_made().size(), 3u);
    EXPECT_EQ(world.link_target(link("min")), published(document("min")));
}

TEST_P(MonitorInit, LeavesAFileInTheLinksPlace) {
    world.file(link("sec"), "old page");
    ASSERT_EQ(init_it(), 1);
    EXPECT_EQ(links_made().size(), 2u);
    EXPECT_EQ(world.read(link("sec")), "old page");
}

TEST_P(MonitorInit, WritesItsCodeIntoTheStartMarker) {
    const std::string code = std::to_string(GetParam().start_marker);
    for (const int32_t held : {0, 1, 98, 100, -99}) {
        world.csman.set(start_marker_item, held);
        world.forget_calls();
        ASSERT_EQ(init_it(), 1);
        EXPECT_EQ(world.csman.get(start_marker_item), GetParam().start_marker) << held;
        EXPECT_THAT(world.calls("csman"), Contains("read_int 7 0x8015043e"));
        EXPECT_EQ(world.calls("csman").back(), "write_int 7 0x8015043e " + code);
    }
}

TEST_P(MonitorInit, LeavesAStartMarkerOf99) {
    world.csman.set(start_marker_item, 99);
    ASSERT_EQ(init_it(), 1);
    EXPECT_EQ(world.csman.get(start_marker_item), 99);
    EXPECT_EQ(world.calls("csman").back(), "read_int 7 0x8015043e") << "nothing is written";
}

TEST_P(MonitorInit, SucceedsAlsoWhenTheMarkerCannotBeReadOrWritten) {
    world.csman.set(start_marker_item, 99);
    world.csman.fail_reads(start_marker_item, 1);
    ASSERT_EQ(init_it(), 1);
    EXPECT_EQ(world.csman.get(start_marker_item), GetParam().start_marker) << "a marker that is not read is not 99";
    world.csman.set(start_marker_item, 0);
    world.csman.fail_writes(start_marker_item, 1);
    EXPECT_EQ(init_it(), 1);
}

TEST_P(MonitorInit, WithoutMemoryFailsWithTheSizeAndTouchesNothing) {
    world.fail_allocation(static_cast<uint64_t>(GetParam().store_bytes));
    EXPECT_EQ(init_it(), 0);
    EXPECT_THAT(world.messages(), ElementsAre("warn[" + GetParam().stem + "_init]: malloc fail,size(" +
                                              std::to_string(GetParam().store_bytes) + ")"));
    EXPECT_THAT(world.list("/tmp/dashboard"), IsEmpty());
    EXPECT_THAT(world.calls("csman"), IsEmpty());
    EXPECT_THAT(world.commands(), IsEmpty());
    EXPECT_EQ(loop_it(), 0);
    world.fail_no_more();
    EXPECT_EQ(init_it(), 1);
}

TEST_P(MonitorInit, AllocatesExactlyTheDocumentedSize) {
    world.fail_allocation(static_cast<uint64_t>(GetParam().store_bytes) + 1);
    EXPECT_EQ(init_it(), 1);
}

TEST_P(MonitorInit, OnALiveStoreStartsAllSeriesAfresh) {
    ASSERT_EQ(init_it(), 1);
    ASSERT_EQ(loop_it_at(t0 + 60, 1), 1);
    ASSERT_EQ(loop_it_at(t0 + 3600, 1), 1);
    world.fail_allocation(1000); // nothing is allocated again
    world.clock.set(t0 + 4000);
    ASSERT_EQ(init_it(), 1);
    for (const char* series : {"sec", "min", "hour"}) {
        expect_series(series, "");
    }
    ASSERT_EQ(loop_it_at(t0 + 4059, 1), 1);
    expect_series("min", "");
    ASSERT_EQ(loop_it_at(t0 + 4060, 1), 1);
    expect_series("min", sample_at(t0 + 4060));
    expect_series("hour", "");
}

TEST_P(MonitorInit, ReportsEveryFileThatCannotBeOpenedAndSucceeds) {
    world.remove("/tmp/dashboard");
    EXPECT_EQ(init_it(), 1);
    std::vector<std::string> expected;
    for (const char* series : {"sec", "min", "hour"}) {
        expected.push_back(open_warning(series, "No such file or directory"));
    }
    std::vector<std::string> heard = world.messages();
    heard.erase(std::remove(heard.begin(), heard.end(), "log[wan_traffic_init]: Add WAN0:(eth0)"), heard.end());
    EXPECT_EQ(heard, expected);
    EXPECT_EQ(world.csman.get(start_marker_item), GetParam().start_marker);
}

TEST_P(MonitorInit, TermFreesTheStoreAndUnlinksTwoLiteralNames) {
    ASSERT_EQ(init_it(), 1);
    ASSERT_EQ(loop_it(1), 1);
    world.forget_calls();
    EXPECT_EQ(term(module()), 1);
    EXPECT_THAT(world.calls("unlink"),
                ElementsAre("/usr/www/" + GetParam().stem + "*", "/tmp/dashboard/" + GetParam().stem + "*"));
    for (const char* series : {"sec", "min", "hour"}) {
        EXPECT_TRUE(world.exists(published(document(series))));
        EXPECT_TRUE(world.exists(link(series)));
    }
    EXPECT_EQ(loop_it(1), 0);
}

TEST_P(MonitorInit, TermUnlinksAFileOfThatLiteralNameOnly) {
    const std::string literal = "/tmp/dashboard/" + GetParam().stem + "*";
    world.file(literal, "odd");
    EXPECT_EQ(term(module()), 1);
    EXPECT_FALSE(world.exists(literal));
}

TEST_P(MonitorInit, TermWithoutAStoreSucceedsToo) {
    EXPECT_EQ(term(module()), 1);
    EXPECT_EQ(world.calls("unlink").size(), 2u);
    EXPECT_THAT(world.messages(), IsEmpty());
}

TEST_P(MonitorInit, AfterTermBeginsWithEmptySeries) {
    ASSERT_EQ(init_it(), 1);
    ASSERT_EQ(loop_it(1), 1);
    ASSERT_EQ(term(module()), 1);
    ASSERT_EQ(init_it(), 1);
    expect_series("sec", "");
    ASSERT_EQ(loop_it(1), 1);
    expect_series("sec", sample_at(t0));
}

TEST_P(MonitorInit, NothingWorksWithoutAStore) {
    const int32_t selector = 0;
    EXPECT_EQ(module().write_sec(csman_handle_of_tests, nullptr), 0);
    EXPECT_EQ(module().write_min(csman_handle_of_tests, nullptr), 0);
    EXPECT_EQ(module().write_hour(csman_handle_of_tests, nullptr), 0);
    EXPECT_EQ(loop_it(1), 0);
    EXPECT_EQ(module().loop(csman_handle_of_tests, nullptr, &module()), 0);
    if (module().data_export != nullptr) {
        EXPECT_EQ(module().data_export(csman_handle_of_tests, &selector), 0);
    }
    EXPECT_THAT(world.list("/tmp/dashboard"), IsEmpty());
    EXPECT_THAT(world.messages(), IsEmpty());
}

TEST_P(MonitorInit, FillsTheSlotsThatItsKindFills) {
    const monitor_cb& callbacks = module();
    const bool traffic = &callbacks == &wan_traffic_monitor || &callbacks == &lan_traffic_monitor;
    EXPECT_NE(callbacks.init, nullptr);
    EXPECT_EQ(callbacks.check != nullptr, traffic);
    EXPECT_NE(callbacks.term, nullptr);
    EXPECT_NE(callbacks.loop, nullptr);
    EXPECT_NE(callbacks.write_sec, nullptr);
    EXPECT_NE(callbacks.write_min, nullptr);
    EXPECT_NE(callbacks.write_hour, nullptr);
    EXPECT_EQ(callbacks.data_export != nullptr, traffic);
    for (const auto empty : {callbacks.unused_7, callbacks.unused_8, callbacks.unused_10, callbacks.unused_11}) {
        EXPECT_EQ(empty, nullptr);
    }
}

} // namespace
} // namespace dashboard::testing
