// Traffic of each access point: who is followed, who is published, init and term.
#include "tests/unit/ap_monitor_fixture.h"

#include <string>

namespace dashboard::testing {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

class ApMonitor : public ap_monitor_fixture {
protected:
    const monitor_cb& module = ap_traffic_monitor;

    ApMonitor() { EXPECT_EQ(init(module), 1); }

    int write_sec() { return module.write_sec(csman_handle_of_tests, nullptr); }
    int write_min() { return module.write_min(csman_handle_of_tests, nullptr); }
    int write_hour() { return module.write_hour(csman_handle_of_tests, nullptr); }
};

class ApMonitorUnready : public ap_monitor_fixture {
protected:
    const monitor_cb& module = ap_traffic_monitor;
};

TEST_F(ApMonitor, PublishesTheCombinedCountsOfTheSixteenVaps) {
    world.file("/tmp/aptraffic/APTraffic_2",
               "APMgnt_Info_Traffic_@1,2,3@_@"
               "11,12,13@21,22,23@31,32,33@41,42,43@51,52,53@61,62,63@71,72,73@81,82,83@_@"
               "111,112,18446744073709551615@121,122,123@131,132,133@141,142,143@"
               "151,152,153@161,162,163@171,172,173@181,182,183@\n");
    ASSERT_EQ(loop(module, 3), 1);
    expect_published("/tmp/dashboard/aptraffic_sec_2.xml", "<?xml version=\"1.0\" ?>\n"
                                                           "<datalist>\n"
                                                           "    <time>1700000000000</time>\n"
                                                           "    <VAP1_24_TxRx>13</VAP1_24_TxRx>\n"
                                                           "    <VAP2_24_TxRx>23</VAP2_24_TxRx>\n"
                                                           "    <VAP3_24_TxRx>33</VAP3_24_TxRx>\n"
                                                           "    <VAP4_24_TxRx>43</VAP4_24_TxRx>\n"
                                                           "    <VAP5_24_TxRx>53</VAP5_24_TxRx>\n"
                                                           "    <VAP6_24_TxRx>63</VAP6_24_TxRx>\n"
                                                           "    <VAP7_24_TxRx>73</VAP7_24_TxRx>\n"
                                                           "    <VAP8_24_TxRx>83</VAP8_24_TxRx>\n"
                                                           "    <VAP1_50_TxRx>18446744073709551615</VAP1_50_TxRx>\n"
                                                           "    <VAP2_50_TxRx>123</VAP2_50_TxRx>\n"
                                                           "    <VAP3_50_TxRx>133</VAP3_50_TxRx>\n"
                                                           "    <VAP4_50_TxRx>143</VAP4_50_TxRx>\n"
                                                           "    <VAP5_50_TxRx>153</VAP5_50_TxRx>\n"
                                                           "    <VAP6_50_TxRx>163</VAP6_50_TxRx>\n"
                                                           "    <VAP7_50_TxRx>173</VAP7_50_TxRx>\n"
                                                           "    <VAP8_50_TxRx>183</VAP8_50_TxRx>\n"
                                                           "</datalist>\n");
}

// ---- who is published

TEST_F(ApMonitor, TheViewersNumberPicksTheApBeforeIt) {
    for (int ap = 0; ap < 128; ++ap) {
        report(ap, counted_from(static_cast<uint64_t>(ap) * 1000));
    }
    for (const int ap : {0, 2, 9, 31, 32, 100, 127}) {
        world.remove("/tmp/dashboard");
        world.folder("/tmp/dashboard");
        ASSERT_EQ(loop(module, ap + 1), 1);
        EXPECT_THAT(published_files(), ElementsAre("aptraffic_sec_" + std::to_string(ap) + ".xml"));
        const std::string vap1 = std::to_string(ap * 1000 + 5);
        EXPECT_NE(world.read(sec_file(ap)).find("<VAP1_24_TxRx>" + vap1 + "<"), std::string::npos);
    }
}

TEST_F(ApMonitor, NoOtherNumberPublishesSecondsOrMinutes) {
    report(0, counted_from(1));
    report(127, counted_from(2));
    int64_t now = t0;
    for (const int32_t viewer : {0, -1, 2, 127, 129, 1000}) {
        ASSERT_EQ(loop_at(module, now += 60, viewer), 1);
    }
    world.clock.advance(60);
    ASSERT_EQ(module.loop(csman_handle_of_tests, nullptr, &module), 1);
    EXPECT_THAT(published_files(), IsEmpty());
}

TEST_F(ApMonitor, TheLastOfThemIsThe128th) {
    report(128, counted_from(1));
    ASSERT_EQ(loop_at(module, t0 + 3600, 129), 1);
    EXPECT_EQ(write_sec(), 1);
    EXPECT_THAT(published_files(), IsEmpty());
}

TEST_F(ApMonitor, MinutesFollowTheViewerAndHoursDoNot) {
    for (const int ap : {0, 1, 40, 127}) {
        report(ap, counted_from(static_cast<uint64_t>(ap)));
    }
    ASSERT_EQ(loop_at(module, t0 + 60, 41), 1);
    EXPECT_THAT(published_files(), ElementsAre("aptraffic_min_40.xml", "aptraffic_sec_40.xml"));
    ASSERT_EQ(loop_at(module, t0 + 3600), 1);
    EXPECT_THAT(published_files(),
                ElementsAre("aptraffic_hour_0.xml", "aptraffic_hour_1.xml", "aptraffic_hour_127.xml",
                            "aptraffic_hour_40.xml", "aptraffic_min_40.xml", "aptraffic_sec_40.xml"));
}

TEST_F(ApMonitor, PassesASecondWithoutAnyAccessPoint) {
    EXPECT_EQ(loop(module, 1), 1);
    world.folder("/tmp/aptraffic");
    EXPECT_EQ(loop(module, 1), 1);
    EXPECT_THAT(published_files(), IsEmpty());
    EXPECT_THAT(world.messages(), IsEmpty());
}

TEST_F(ApMonitor, AnOddRecordIsReportedAndTakenForAnAbsentAp) {
    report(0, counted_from(1));
    world.file(ap_file(1), "APMgnt_Info_Traffic_@1,2,3@_@4,5,6");
    report(2, counted_from(3));
    ASSERT_EQ(loop(module, 2), 1);
    EXPECT_THAT(world.messages(), ElementsAre("warn[get_ap_traffic_info]: sscanf rturn 6, should be 17*3"));
    EXPECT_THAT(published_files(), IsEmpty());
    EXPECT_EQ(write_sec(), 1);
    EXPECT_THAT(published_files(), ElementsAre("aptraffic_sec_0.xml", "aptraffic_sec_2.xml"));
}

// ---- presence

TEST_F(ApMonitor, TheWritersOfTheCallbackSetWriteForThePresentOnly) {
    EXPECT_EQ(write_sec(), 1);
    EXPECT_EQ(write_min(), 1);
    EXPECT_EQ(write_hour(), 1);
    EXPECT_THAT(published_files(), IsEmpty());
    report(5, counted_from(50));
    report(127, counted_from(60));
    ASSERT_EQ(loop(module), 1);
    EXPECT_EQ(write_sec(), 1);
    EXPECT_EQ(write_min(), 1);
    EXPECT_EQ(write_hour(), 1);
    EXPECT_THAT(published_files(),
                ElementsAre("aptraffic_hour_127.xml", "aptraffic_hour_5.xml", "aptraffic_min_127.xml",
                            "aptraffic_min_5.xml", "aptraffic_sec_127.xml", "aptraffic_sec_5.xml"));
    expect_published(sec_file(5), ap_document({{t0, counted_from(50)}}));
    expect_published(min_file(5), datalist(""));
    expect_published(hour_file(127), datalist(""));
}

TEST_F(ApMonitor, AnApThatFallsSilentIsAbsentButKeepsItsSeries) {
    report(3, counted_from(1));
    ASSERT_EQ(loop(module), 1);
    fall_silent(3);
    ASSERT_EQ(loop_at(module, t0 + 1, 4), 1);
    EXPECT_EQ(write_sec(), 1);
    EXPECT_THAT(published_files(), IsEmpty());
    report(3, counted_from(9));
    ASSERT_EQ(loop_at(module, t0 + 2, 4), 1);
    expect_published(sec_file(3), ap_document({{t0, counted_from(1)}, {t0 + 2, counted_from(9)}}));
}

TEST_F(ApMonitor, AnApThatFirstSpeaksLateCountsItsTimeFromInit) {
    report(0, counted_from(0));
    ASSERT_EQ(loop_at(module, t0 + 59, 1), 1);
    EXPECT_FALSE(world.exists(min_file(0)));
    report(1, counted_from(7));
    ASSERT_EQ(loop_at(module, t0 + 3600, 2), 1);
    for (const std::string& path : {sec_file(1), min_file(1), hour_file(1)}) {
        expect_published(path, ap_document({{t0 + 3600, counted_from(7)}}));
    }
}

// ---- init and term

TEST_F(ApMonitorUnready, FillsTheSlotsOfItsCallbackSet) {
    EXPECT_EQ(module.check, nullptr);
    EXPECT_EQ(module.data_export, nullptr);
    EXPECT_EQ(module.unused_7, nullptr);
    EXPECT_EQ(module.unused_8, nullptr);
    EXPECT_EQ(module.unused_10, nullptr);
    EXPECT_EQ(module.unused_11, nullptr);
}

TEST_F(ApMonitorUnready, InitPublishesNothingAndWritesItsStartMarkerUnless99Stands) {
    ASSERT_EQ(init(module), 1);
    EXPECT_THAT(new_csman_calls(), ElementsAre("read_int 7 0x8015043e", "write_int 7 0x8015043e 8"));
    world.csman.set(start_marker, 99);
    ASSERT_EQ(init(module), 1);
    EXPECT_EQ(world.csman.get(start_marker), 99);
    EXPECT_THAT(published_files(), IsEmpty());
    EXPECT_THAT(new_commands(), IsEmpty());
    EXPECT_THAT(world.messages(), IsEmpty());
}

TEST_F(ApMonitorUnready, InitFailsWithAWarningWithoutMemory) {
    // A record is a time and 51 counters, 416 bytes; a series 16 bytes and 120 of them; a block a flag, its gap and
    // three series; there are 128 blocks.
    static_assert(128 * (8 + 3 * (16 + 120 * (8 + 51 * 8))) == 19'176'448);
    world.fail_allocation(19'176'448);
    EXPECT_EQ(init(module), 0);
    EXPECT_THAT(world.messages(), ElementsAre("warn[ap_traffic_init]: malloc fail,size(19176448)"));
    EXPECT_FALSE(world.csman.has(start_marker));
    EXPECT_EQ(loop(module, 1), 0);
    world.fail_no_more();
    EXPECT_EQ(init(module), 1);
}

TEST_F(ApMonitorUnready, WithoutAStoreEverythingButTermAnswers0) {
    report(0, counted_from(1));
    EXPECT_EQ(loop(module, 1), 0);
    EXPECT_EQ(module.write_sec(csman_handle_of_tests, nullptr), 0);
    EXPECT_EQ(module.write_min(csman_handle_of_tests, nullptr), 0);
    EXPECT_EQ(module.write_hour(csman_handle_of_tests, nullptr), 0);
    EXPECT_EQ(term(module), 1);
    EXPECT_THAT(published_files(), IsEmpty());
    EXPECT_THAT(world.messages(), IsEmpty());
}

TEST_F(ApMonitor, InitAgainClearsEverySeriesAndFlagAndBeginsTheTimeAnew) {
    for (const bool term_between : {false, true}) {
        report(0, counted_from(1));
        report(9, counted_from(2));
        run(module, 5, 1);
        fall_silent(9);
        world.clock.advance(5000);
        if (term_between) {
            ASSERT_EQ(term(module), 1);
        }
        ASSERT_EQ(init(module), 1);
        world.remove("/tmp/dashboard");
        world.folder("/tmp/dashboard");
        EXPECT_EQ(write_sec(), 1);
        EXPECT_THAT(published_files(), IsEmpty()) << "nobody is present";
        world.clock.advance(59);
        const int64_t now = world.clock.now();
        ASSERT_EQ(loop(module, 1), 1);
        expect_published(sec_file(0), ap_document({{now, counted_from(1)}}));
        EXPECT_THAT(published_files(), ElementsAre("aptraffic_sec_0.xml")) << "no roll-up is due";
    }
}

TEST_F(ApMonitor, TermTriesToUnlinkLiteralPatternsSoThatTheFilesStay) {
    report(0, counted_from(1));
    ASSERT_EQ(loop(module, 1), 1);
    world.forget_calls();
    EXPECT_EQ(term(module), 1);
    EXPECT_THAT(world.calls("unlink"), ElementsAre("/usr/www/aptraffic*", "/tmp/dashboard/aptraffic*"));
    EXPECT_THAT(published_files(), ElementsAre("aptraffic_sec_0.xml"));
    EXPECT_THAT(world.list("/usr/www"), ElementsAre("aptraffic_sec_0.xml"));
    EXPECT_EQ(loop(module, 1), 0);
}

} // namespace
} // namespace dashboard::testing
