// Wi-Fi traffic of both bands: init and term, the documents over hours, failures.
#include "tests/unit/wifi_band.h"

#include <cerrno>
#include <random>
#include <string>

namespace dashboard::testing {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

class WifiLife : public wifi_fixture, public ::testing::WithParamInterface<wifi_band_case> {
protected:
    const wifi_band_case& band = GetParam();
    const monitor_cb& module = *band.module;
    history_model<wifi_model_sample> model{t0};
    uint64_t sent = UINT64_MAX - 40'000; // wraps on its way
    uint64_t received = 17;

    std::string document(const std::string& series) const { return band.stem + "_" + series; }
    std::string link(const std::string& series) const { return "/usr/www/" + document(series) + "_0.xml"; }

    std::string span_of(const ring_model<wifi_model_sample>& ring) const {
        return wifi_document(band, ring.newest(72));
    }

    // Moves the counters, runs the loop at `second` and tells the model. Both must agree on the result.
    void live_at(int64_t second, int32_t viewer = 0) {
        sent += 1001;
        received += 7;
        counters({{"ra1", received, sent}, {"ra6", 2 * received, 3}});
        const bool fed = model.feed(wifi_sample_of(band, second, {{1, sent, received}, {6, 3, 2 * received}}));
        ASSERT_EQ(loop_at(module, second, viewer), fed ? 1 : 0) << "at " << second - t0;
    }

    void begin() {
        world.csman.keep_quiet();
        start(band);
        alive({"ra1", "ra6"});
    }
};

INSTANTIATE_TEST_SUITE_P(, WifiLife, ::testing::ValuesIn(wifi_bands), name_of_band);

// ---- init and term

TEST_P(WifiLife, FillsTheSlotsOfItsCallbackSet) {
    EXPECT_NE(module.check, nullptr);
    EXPECT_NE(module.data_export, nullptr);
    EXPECT_EQ(module.unused_7, nullptr);
    EXPECT_EQ(module.unused_8, nullptr);
    EXPECT_EQ(module.unused_10, nullptr);
    EXPECT_EQ(module.unused_11, nullptr);
}

TEST_P(WifiLife, InitPublishesThreeEmptyDocumentsAndLinksThem) {
    start(band);
    std::vector<asked_command> links;
    for (const std::string series : {"sec", "min", "hour"}) {
        expect_document(document(series), "<?xml version=\"1.0\" ?>\n<datalist>\n</datalist>\n");
        EXPECT_EQ(world.link_target(link(series)), published(document(series)));
        EXPECT_EQ(world.mode(published(document(series))), 0644u);
        links.push_back({band.source, "xml_wifi_traffic_" + series,
                         "ln -sf /tmp/dashboard/" + document(series) + "_0.xml " + link(series)});
    }
    EXPECT_EQ(new_commands(), links);
    EXPECT_THAT(world.list("/tmp/dashboard"),
                ElementsAre(document("hour") + "_0.xml", document("min") + "_0.xml", document("sec") + "_0.xml"));
    EXPECT_THAT(world.messages(), IsEmpty());
}

TEST_P(WifiLife, WritesUnderATemporaryNameAndMovesItOnto) {
    start(band);
    std::vector<std::string> removed;
    std::vector<std::string> moved;
    for (const std::string series : {"sec", "min", "hour"}) {
        const std::string path = "/tmp/dashboard/" + document(series) + "_0";
        removed.push_back(path + ".xml");
        moved.push_back(path + "_tmp.xml " + path + ".xml");
    }
    EXPECT_EQ(world.calls("remove"), removed);
    EXPECT_EQ(world.calls("rename"), moved);
}

TEST_P(WifiLife, ADocumentThatIsLinkedIsNotLinkedAgain) {
    start(band);
    new_commands();
    interfaces({{"ra0", 1, 2}});
    ASSERT_EQ(loop(module, 1), 1);
    EXPECT_THAT(new_commands(), IsEmpty());
    world.remove(link("sec"));
    ASSERT_EQ(loop_at(module, t0 + 1, 1), 1);
    EXPECT_THAT(new_commands(), ElementsAre(asked_command{band.source, "xml_wifi_traffic_sec",
                                                          "ln -sf " + published(document("sec")) + " " + link("sec")}));
}

TEST_P(WifiLife, InitWritesItsStartMarkerUnless99Stands) {
    ASSERT_EQ(init(module), 1);
    EXPECT_EQ(world.csman.get(start_marker_item), band.start_marker);
    for (const int32_t other : {0, 98, 100, -99}) {
        world.csman.set(start_marker_item, other);
        ASSERT_EQ(init(module), 1);
        EXPECT_EQ(world.csman.get(start_marker_item), band.start_marker);
    }
    world.csman.set(start_marker_item, 99);
    ASSERT_EQ(init(module), 1);
    EXPECT_EQ(world.csman.get(start_marker_item), 99);
}

TEST_P(WifiLife, InitFailsWithAWarningWithoutMemory) {
    // A sample is a time and 26 counters, 216 bytes; a series 16 bytes and 120 samples; three of them.
    world.fail_allocation(77808);
    EXPECT_EQ(init(module), 0);
    EXPECT_THAT(world.messages(), ElementsAre("warn[wifi_traffic_init]: malloc fail,size(77808)"));
    EXPECT_THAT(world.list("/tmp/dashboard"), IsEmpty());
    EXPECT_FALSE(world.csman.has(start_marker_item));
    world.fail_no_more();
    EXPECT_EQ(init(module), 1);
}

TEST_P(WifiLife, WithoutAStoreEverythingButTermAnswers0AndDoesNothing) {
    interfaces({{"ra0", 1, 2}});
    world.csman.set_string(band.interface_item, "ra0");
    const int32_t selector = 0;
    EXPECT_EQ(loop(module, 1), 0);
    EXPECT_EQ(check(module), 0);
    EXPECT_EQ(module.write_sec(csman_handle_of_tests, nullptr), 0);
    EXPECT_EQ(module.write_min(csman_handle_of_tests, nullptr), 0);
    EXPECT_EQ(module.write_hour(csman_handle_of_tests, nullptr), 0);
    EXPECT_EQ(module.data_export(csman_handle_of_tests, &selector), 0);
    EXPECT_EQ(term(module), 1);
    EXPECT_THAT(world.list("/tmp/dashboard"), IsEmpty());
    EXPECT_THAT(new_csman_calls(), IsEmpty());
    EXPECT_THAT(world.messages(), IsEmpty());
}

TEST_P(WifiLife, TermTriesToUnlinkLiteralPatternsSoThatTheFilesStay) {
    start(band);
    world.forget_calls();
    EXPECT_EQ(term(module), 1);
    EXPECT_THAT(world.calls("unlink"), ElementsAre("/usr/www/" + band.stem + "*", "/tmp/dashboard/" + band.stem + "*"));
    EXPECT_EQ(world.list("/tmp/dashboard").size(), 3u);
    EXPECT_EQ(world.list("/usr/www").size(), 3u);
    interfaces({{"ra0", 1, 2}});
    EXPECT_EQ(loop(module, 1), 0);
}

TEST_P(WifiLife, InitAgainStartsFromEmptySeries) {
    for (const bool term_between : {false, true}) {
        start(band);
        interfaces({{"ra0", 1, 2}});
        run(module, 3, 1);
        if (term_between) {
            term(module);
        }
        start(band);
        expect_document(document("sec"), datalist(""));
        ASSERT_EQ(loop(module, 1), 1);
        expect_document(document("sec"), wifi_document(band, {wifi_sample_of(band, world.clock.now(), {{0, 2, 1}})}));
    }
}

// ---- documents

TEST_P(WifiLife, TheWritersOfTheCallbackSetWriteTheirSeries) {
    begin();
    for (int64_t i = 1; i <= 61; ++i) {
        live_at(t0 + 60 * i);
    }
    expect_document(document("sec"), datalist(""));
    EXPECT_EQ(module.write_sec(csman_handle_of_tests, nullptr), 1);
    EXPECT_EQ(module.write_min(csman_handle_of_tests, nullptr), 1);
    world.remove(published(document("hour")));
    EXPECT_EQ(module.write_hour(csman_handle_of_tests, nullptr), 1);
    ASSERT_EQ(model.min.held.size(), 61u);
    ASSERT_EQ(model.hour.held.size(), 1u);
    expect_document(document("sec"), span_of(model.sec));
    expect_document(document("min"), span_of(model.min));
    expect_document(document("hour"), span_of(model.hour));
}

TEST_P(WifiLife, OnlyAPositiveViewerRequestPublishesTheSeconds) {
    begin();
    live_at(t0 + 1, 0);
    live_at(t0 + 2, -5);
    ASSERT_EQ(module.loop(csman_handle_of_tests, nullptr, &module), 1);
    model.feed(model.sec.held.back());
    expect_document(document("sec"), datalist(""));
    live_at(t0 + 3, 3);
    expect_document(document("sec"), span_of(model.sec));
    ASSERT_EQ(model.sec.held.size(), 4u);
}

TEST_P(WifiLife, ADocumentShowsTheNewest72Samples) {
    begin();
    for (int i = 1; i <= 121; ++i) {
        live_at(t0 + i, 1);
        if (i == 71 || i == 72 || i == 73 || i >= 119) {
            expect_document(document("sec"), span_of(model.sec));
        }
    }
    const std::string text = read_published(document("sec"));
    EXPECT_EQ(text.find("    <time>1700000050000</time>\n"), datalist("").find("</datalist>"));
}

TEST_P(WifiLife, AMinuteIsTheTruncatedMeanOfEveryCounter) {
    start(band);
    interfaces({{"ra0", 10, 20}, {"ra1", 5, 1}});
    ASSERT_EQ(loop_at(module, t0 + 1), 1);
    interfaces({{"ra0", 11, 21}});
    ASSERT_EQ(loop_at(module, t0 + 59), 1);
    expect_document(document("min"), datalist(""));
    interfaces({{"ra0", 12, 23}});
    ASSERT_EQ(loop_at(module, t0 + 60, 1), 1);
    wifi_model_sample mean;
    mean.time = t0 + 60;
    mean.value[0] = (21 + 21 + 23) / 3;
    mean.value[1] = band.total_counts_received ? (15 + 11 + 12) / 3 : (21 + 21 + 23) / 3;
    mean.value[2] = (20 + 21 + 23) / 3;
    mean.value[10] = (10 + 11 + 12) / 3;
    mean.value[18] = (30 + 32 + 35) / 3;
    mean.value[3] = 0; // 1 of 3
    mean.value[11] = 5 / 3;
    mean.value[19] = 6 / 3;
    expect_document(document("min"), wifi_document(band, {mean}));
    expect_document(document("hour"), datalist(""));
}

TEST_P(WifiLife, FollowsTheModelThroughAnHour) {
    begin();
    for (int64_t i = 1; i <= 370; ++i) {
        live_at(t0 + 10 * i, 1);
    }
    ASSERT_EQ(model.hour.held.size(), 1u);
    expect_document(document("sec"), span_of(model.sec));
    expect_document(document("min"), span_of(model.min));
    expect_document(document("hour"), span_of(model.hour));
    EXPECT_THAT(world.messages(), IsEmpty());
}

TEST_P(WifiLife, DocumentsOfEverySeriesShowTheNewestAlsoWhenTheirRingHasWrapped) {
    begin();
    for (int i = 1; i <= 130; ++i) { // hour after hour, each a sample of every series
        live_at(t0 + 3600 * i, 1);
        if (is_turning_point(i, 72)) {
            expect_document(document("sec"), span_of(model.sec));
            expect_document(document("min"), span_of(model.min));
            expect_document(document("hour"), span_of(model.hour));
        }
    }
    EXPECT_EQ(model.hour.held.size(), 119u);
    EXPECT_GT(model.hour.held.front().time, t0 + 3600);
}

TEST_P(WifiLife, WithoutAViewerOnlyTheHourIsPublished) {
    begin();
    for (int64_t i = 1; i <= 60; ++i) {
        live_at(t0 + 60 * i);
    }
    ASSERT_EQ(model.hour.held.size(), 1u);
    expect_document(document("sec"), datalist(""));
    expect_document(document("min"), datalist(""));
    expect_document(document("hour"), span_of(model.hour));
}

TEST_P(WifiLife, FollowsTheModelUnderAWildClock) {
    begin();
    std::mt19937 random(band.interface_item);
    const int64_t jumps[] = {1, 1, 1, 1, 2, 58, 59, 60, 61, 1799, 1800, 3599, 3600, 90000};
    int64_t now = t0;
    for (int i = 0; i < 400; ++i) {
        const int64_t jump = jumps[random() % std::size(jumps)];
        now += random() % 3 == 0 ? -jump : jump;
        live_at(now, 1);
    }
    ASSERT_GT(model.hour.held.size(), 10u);
    expect_document(document("sec"), span_of(model.sec));
    expect_document(document("min"), span_of(model.min));
    expect_document(document("hour"), span_of(model.hour));
}

// ---- failures

TEST_P(WifiLife, AnEmptyRollUpIsLoggedUnderTheLoopsNameAndTriedAgain) {
    begin();
    for (int i = 1; i <= 60; ++i) {
        live_at(t0 + i); // a minute ends at slot 60
    }
    for (int i = 1; i <= 119; ++i) {
        live_at(t0 + i); // set back by a minute: the tolerance lasts until the ring has come round
    }
    world.messages();
    live_at(t0 + 120, 1);
    ASSERT_EQ(model.sec.end, 60);
    EXPECT_THAT(world.messages(), ElementsAre(std::string("log[wifi_traffic_loop]: ") + band.source));
    EXPECT_EQ(model.min.held.size(), 1u);
    live_at(t0 + 121, 1);
    EXPECT_EQ(model.min.held.size(), 2u);
    expect_document(document("min"), span_of(model.min));
}

TEST_P(WifiLife, ADocumentThatCannotBeOpenedIsReportedAndLeavesTheLoopAlone) {
    begin();
    for (const std::string series : {"sec", "min", "hour"}) {
        world.fail("open", EACCES, document(series) + "_0_tmp.xml");
    }
    live_at(t0 + 3600, 1);
    std::vector<std::string> warnings;
    for (const std::string series : {"sec", "min", "hour"}) {
        warnings.push_back("warn[xml_wifi_traffic_" + series + "]: open file(/tmp/dashboard/" + document(series) +
                           "_0_tmp.xml) error(Permission denied)!");
        expect_document(document(series), datalist(""));
    }
    EXPECT_EQ(world.messages(), warnings);
    live_at(t0 + 7200, 1);
    expect_document(document("hour"), span_of(model.hour));
    ASSERT_EQ(model.hour.held.size(), 2u);
}

TEST_P(WifiLife, AWriterWhoseFileCannotBeOpenedAnswers0) {
    begin();
    world.fail("open", ENOSPC, "_tmp.xml", 3);
    EXPECT_EQ(module.write_sec(csman_handle_of_tests, nullptr), 0);
    EXPECT_EQ(module.write_min(csman_handle_of_tests, nullptr), 0);
    EXPECT_EQ(module.write_hour(csman_handle_of_tests, nullptr), 0);
}

TEST_P(WifiLife, ATemporaryFileLeftBehindIsNotCutShort) {
    const std::string old(60, '#');
    world.file("/tmp/dashboard/" + document("sec") + "_0_tmp.xml", old);
    start(band);
    expect_file(published(document("sec")), datalist("") + old.substr(datalist("").size()));
}

} // namespace
} // namespace dashboard::testing
