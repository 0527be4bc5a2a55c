// Wi-Fi traffic of both bands: which interfaces count, and what a sample shows.
#include "tests/models/records.h"
#include "tests/unit/monitor_fixture.h"

#include <string>

namespace dashboard::testing {
namespace {

using ::testing::IsEmpty;

// What tells one band from the other.
struct wifi_band_case {
    const char* name;
    const monitor_cb* module;
    std::string stem;
    std::string band; // in element names
    uint32_t interface_item;
    const char* interface_read; // the call that reads it
};

const wifi_band_case wifi_bands[] = {
    {"Band24", &wifi_24g_traffic_monitor, "wifi_24g_traffic", "24", wifi_24g_interface, "read 7 0x8000f391 26 4"},
    {"Band50", &wifi_5g_traffic_monitor, "wifi_5g_traffic", "50", wifi_5g_interface, "read 7 0x8000f392 26 4"},
};

void PrintTo(const wifi_band_case& band, std::ostream* out) {
    *out << band.name;
}

std::string name_of_band(const ::testing::TestParamInfo<wifi_band_case>& info) {
    return info.param.name;
}

wifi_record sample_of(const wifi_band_case& band, int64_t time, const std::vector<vap_bytes>& vaps) {
    return wifi_at(band.band, time, vaps);
}

class wifi_fixture : public monitor_fixture {
protected:
    // The band's VAPs are ra0 to ra7 from now on, the module ready.
    void start(const wifi_band_case& band, const std::string& main_interface = "ra0") {
        world.csman.set_string(band.interface_item, main_interface);
        ASSERT_EQ(init(*band.module), 1);
    }

    void expect_band(const wifi_band_case& band, const std::vector<wifi_record>& samples) {
        expect_document(band.stem + "_sec", wifi_document(band.band, samples));
    }
};

class WifiTraffic : public wifi_fixture, public ::testing::WithParamInterface<wifi_band_case> {
protected:
    const wifi_band_case& band = GetParam();
    const monitor_cb& module = *band.module;

    // What one watched second publishes with these VAPs.
    void expect_sample(const std::vector<vap_bytes>& vaps) {
        ASSERT_EQ(loop(module, 1), 1);
        expect_band(band, {sample_of(band, world.clock.now(), vaps)});
    }
    void expect_no_sample() {
        EXPECT_EQ(loop(module, 1), 0);
        expect_document(band.stem + "_sec", datalist(""));
    }
};

INSTANTIATE_TEST_SUITE_P(, WifiTraffic, ::testing::ValuesIn(wifi_bands), name_of_band);

class WifiBand24 : public wifi_fixture {};
class WifiBand50 : public wifi_fixture {};

TEST_F(WifiBand24, CountsSentPlusReceivedAsTheBandsTotal) {
    start(wifi_bands[0]);
    interfaces({{"ra0", 1000, 20}, {"eth0", 7, 7}, {"ra2", 5, 600}});
    ASSERT_EQ(loop(wifi_24g_traffic_monitor, 1), 1);
    expect_document("wifi_24g_traffic_sec", "<?xml version=\"1.0\" ?>\n"
                                            "<datalist>\n"
                                            "    <time>1700000000000</time>\n"
                                            "    <wifi_24_txrx>1625</wifi_24_txrx>\n"
                                            "    <VAP1_24_Tx>20</VAP1_24_Tx>\n"
                                            "    <VAP1_24_Rx>1000</VAP1_24_Rx>\n"
                                            "    <VAP1_24_TxRx>1020</VAP1_24_TxRx>\n"
                                            "    <VAP2_24_Tx>0</VAP2_24_Tx>\n"
                                            "    <VAP2_24_Rx>0</VAP2_24_Rx>\n"
                                            "    <VAP2_24_TxRx>0</VAP2_24_TxRx>\n"
                                            "    <VAP3_24_Tx>600</VAP3_24_Tx>\n"
                                            "    <VAP3_24_Rx>5</VAP3_24_Rx>\n"
                                            "    <VAP3_24_TxRx>605</VAP3_24_TxRx>\n"
                                            "    <VAP4_24_Tx>0</VAP4_24_Tx>\n"
                                            "    <VAP4_24_Rx>0</VAP4_24_Rx>\n"
                                            "    <VAP4_24_TxRx>0</VAP4_24_TxRx>\n"
                                            "    <VAP5_24_Tx>0</VAP5_24_Tx>\n"
                                            "    <VAP5_24_Rx>0</VAP5_24_Rx>\n"
                                            "    <VAP5_24_TxRx>0</VAP5_24_TxRx>\n"
                                            "    <VAP6_24_Tx>0</VAP6_24_Tx>\n"
                                            "    <VAP6_24_Rx>0</VAP6_24_Rx>\n"
                                            "    <VAP6_24_TxRx>0</VAP6_24_TxRx>\n"
                                            "    <VAP7_24_Tx>0</VAP7_24_Tx>\n"
                                            "    <VAP7_24_Rx>0</VAP7_24_Rx>\n"
                                            "    <VAP7_24_TxRx>0</VAP7_24_TxRx>\n"
                                            "    <VAP8_24_Tx>0</VAP8_24_Tx>\n"
                                            "    <VAP8_24_Rx>0</VAP8_24_Rx>\n"
                                            "    <VAP8_24_TxRx>0</VAP8_24_TxRx>\n"
                                            "</datalist>\n");
}

TEST_F(WifiBand50, CountsWhatWasSentTwiceAsTheBandsTotal) {
    start(wifi_bands[1]);
    interfaces({{"ra0", 1000, 20}, {"eth0", 7, 7}, {"ra7", 5, 600}});
    ASSERT_EQ(loop(wifi_5g_traffic_monitor, 1), 1);
    expect_document("wifi_5g_traffic_sec", "<?xml version=\"1.0\" ?>\n"
                                           "<datalist>\n"
                                           "    <time>1700000000000</time>\n"
                                           "    <wifi_50_txrx>1240</wifi_50_txrx>\n"
                                           "    <VAP1_50_Tx>20</VAP1_50_Tx>\n"
                                           "    <VAP1_50_Rx>1000</VAP1_50_Rx>\n"
                                           "    <VAP1_50_TxRx>1020</VAP1_50_TxRx>\n"
                                           "    <VAP2_50_Tx>0</VAP2_50_Tx>\n"
                                           "    <VAP2_50_Rx>0</VAP2_50_Rx>\n"
                                           "    <VAP2_50_TxRx>0</VAP2_50_TxRx>\n"
                                           "    <VAP3_50_Tx>0</VAP3_50_Tx>\n"
                                           "    <VAP3_50_Rx>0</VAP3_50_Rx>\n"
                                           "    <VAP3_50_TxRx>0</VAP3_50_TxRx>\n"
                                           "    <VAP4_50_Tx>0</VAP4_50_Tx>\n"
                                           "    <VAP4_50_Rx>0</VAP4_50_Rx>\n"
                                           "    <VAP4_50_TxRx>0</VAP4_50_TxRx>\n"
                                           "    <VAP5_50_Tx>0</VAP5_50_Tx>\n"
                                           "    <VAP5_50_Rx>0</VAP5_50_Rx>\n"
                                           "    <VAP5_50_TxRx>0</VAP5_50_TxRx>\n"
                                           "    <VAP6_50_Tx>0</VAP6_50_Tx>\n"
                                           "    <VAP6_50_Rx>0</VAP6_50_Rx>\n"
                                           "    <VAP6_50_TxRx>0</VAP6_50_TxRx>\n"
                                           "    <VAP7_50_Tx>0</VAP7_50_Tx>\n"
                                           "    <VAP7_50_Rx>0</VAP7_50_Rx>\n"
                                           "    <VAP7_50_TxRx>0</VAP7_50_TxRx>\n"
                                           "    <VAP8_50_Tx>600</VAP8_50_Tx>\n"
                                           "    <VAP8_50_Rx>5</VAP8_50_Rx>\n"
                                           "    <VAP8_50_TxRx>605</VAP8_50_TxRx>\n"
                                           "</datalist>\n");
}

TEST_P(WifiTraffic, TakesTheRaFamilyWhenTheMainInterfaceIsRa0) {
    start(band, "ra0");
    interfaces({{"rai0", 1, 2}, {"ra0", 30, 40}, {"rai3", 5, 6}, {"ra3", 70, 80}});
    expect_sample({{0, 40, 30}, {3, 80, 70}});
}

TEST_P(WifiTraffic, TakesTheRaiFamilyWhenTheMainInterfaceIsRai0) {
    start(band, "rai0");
    interfaces({{"ra0", 30, 40}, {"rai0", 1, 2}, {"ra3", 70, 80}, {"rai3", 5, 6}});
    expect_sample({{0, 2, 1}, {3, 6, 5}});
}

TEST_P(WifiTraffic, CountsAllEightSlotsInAnyOrder) {
    start(band);
    std::vector<interface_bytes> all;
    std::vector<vap_bytes> vaps;
    for (size_t slot = 8; slot-- > 0;) {
        all.push_back({"ra" + std::to_string(slot), 1000 + slot, 2000 + slot});
        vaps.push_back({slot, 2000 + slot, 1000 + slot});
    }
    interfaces(all);
    expect_sample(vaps);
}

TEST_P(WifiTraffic, LeavesOutWhatIsNoneOfTheEightSlots) {
    start(band);
    interfaces({{"ra8", 1, 1},
                {"ra10", 1, 1},
                {"ra9", 1, 1},
                {"ra", 1, 1},
                {"ra00", 1, 1},
                {"ra01", 1, 1},
                {"ra1.5", 1, 1},
                {"ra-1", 1, 1},
                {"ra%d", 1, 1},
                {"bra1", 1, 1},
                {"RA1", 1, 1},
                {"rax1", 1, 1}});
    expect_no_sample();
    interfaces({{"ra8", 1, 1}, {"ra7", 300, 400}, {"ra10", 1, 1}});
    expect_sample({{7, 400, 300}});
}

TEST_P(WifiTraffic, SkipsAnInterfaceThatIsNotAlive) {
    start(band);
    counters({{"ra0", 1, 2}, {"ra1", 30, 40}});
    alive({"ra1", "ra5"});
    expect_sample({{1, 40, 30}});
}

TEST_P(WifiTraffic, StoresNothingInASecondWithoutAVap) {
    start(band);
    counters({{"ra0", 1, 2}});
    alive({});
    expect_no_sample();
    world.clock.advance(60);
    world.messages();
    expect_no_sample();
    EXPECT_THAT(world.messages(), IsEmpty()) << "not even a roll-up is looked at";
}

TEST_P(WifiTraffic, AVapThatLeavesAndReturnsCountsZeroMeanwhile) {
    start(band);
    interfaces({{"ra0", 1, 2}, {"ra1", 3, 4}});
    ASSERT_EQ(loop(module), 1);
    interfaces({{"ra1", 5, 6}});
    ASSERT_EQ(loop_at(module, t0 + 1), 1);
    interfaces({{"ra0", 7, 8}, {"ra1", 9, 10}});
    ASSERT_EQ(loop_at(module, t0 + 2, 1), 1);
    expect_band(band, {sample_of(band, t0, {{0, 2, 1}, {1, 4, 3}}), sample_of(band, t0 + 1, {{1, 6, 5}}),
                       sample_of(band, t0 + 2, {{0, 8, 7}, {1, 10, 9}})});
}

TEST_P(WifiTraffic, SumsWrapAt64Bits) {
    start(band);
    interfaces({{"ra0", UINT64_MAX, UINT64_MAX - 1}, {"ra1", 3, UINT64_MAX}});
    expect_sample({{0, UINT64_MAX - 1, UINT64_MAX}, {1, UINT64_MAX, 3}});
    const std::string text = world.read(published(band.stem + "_sec"));
    EXPECT_NE(text.find("_TxRx>18446744073709551613<"), std::string::npos) << "(2^64 - 2) + (2^64 - 1)";
    EXPECT_NE(text.find("_TxRx>2<"), std::string::npos) << "(2^64 - 1) + 3";
}

// ---- averages and exports

TEST_P(WifiTraffic, AMinuteIsTheTruncatedMeanOfEveryCounter) {
    start(band);
    interfaces({{"ra0", 10, 20}, {"ra1", 5, 1}});
    ASSERT_EQ(loop_at(module, t0 + 1), 1);
    interfaces({{"ra0", 11, 21}});
    ASSERT_EQ(loop_at(module, t0 + 59), 1);
    expect_document(band.stem + "_min", datalist(""));
    interfaces({{"ra0", 12, 23}});
    ASSERT_EQ(loop_at(module, t0 + 60, 1), 1);
    wifi_record mean;
    mean.time = t0 + 60;
    mean.value[0] = (21 + 21 + 23) / 3;
    mean.value[1] = band.band == "24" ? (15 + 11 + 12) / 3 : (21 + 21 + 23) / 3;
    mean.value[2] = (20 + 21 + 23) / 3;
    mean.value[10] = (10 + 11 + 12) / 3;
    mean.value[18] = (30 + 32 + 35) / 3;
    mean.value[3] = 0; // 1 of 3
    mean.value[11] = 5 / 3;
    mean.value[19] = 6 / 3;
    expect_document(band.stem + "_min", wifi_document(band.band, {mean}));
    expect_document(band.stem + "_hour", datalist(""));
}

TEST_P(WifiTraffic, AsCsvShowsTheDifferencesOfAllEightSlots) {
    start(band);
    interfaces({{"ra0", 100, 10}, {"ra2", 5, 5}});
    ASSERT_EQ(loop(module), 1);
    interfaces({{"ra0", 150, 11}, {"ra2", 4, 5}});
    ASSERT_EQ(loop_at(module, t0 + 1), 1);
    const int32_t seconds = 0;
    EXPECT_EQ(module.data_export(csman_handle_of_tests, &seconds), 1);
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

// ---- the main interface's name

TEST_P(WifiTraffic, AnyOtherMainInterfaceMeansNoVaps) {
    interfaces({{"ra0", 1, 2}, {"rai0", 3, 4}, {"ra1", 1, 2}});
    for (const std::string& name :
         {std::string(), std::string("ra"), std::string("ra1"), std::string("ra00"), std::string("rai"),
          std::string("rai1"), std::string("rai00"), std::string("RA0"), std::string("ra0 "), std::string(" ra0"),
          std::string("ra%d"), std::string("rai%d"), std::string("apcli0"), std::string("ra0") + std::string(22, 'x'),
          std::string("ra0") + std::string(23, '0'), std::string("rai0") + std::string(22, '0'),
          std::string("rai0") + std::string(59, 'y')}) {
        SCOPED_TRACE(name);
        start(band, name);
        expect_no_sample();
    }
}

TEST_P(WifiTraffic, InitReadsTheNameAs26CharactersOfText) {
    new_csman_calls();
    start(band);
    EXPECT_EQ(new_csman_calls()[0], band.interface_read);
}

TEST_P(WifiTraffic, ANameThatIsMissingAtInitIsFoundByALaterCheck) {
    interfaces({{"ra0", 1, 2}, {"rai0", 3, 4}});
    ASSERT_EQ(init(module), 1);
    expect_no_sample();
    EXPECT_EQ(check(module), 1);
    expect_no_sample();
    world.csman.set_string(band.interface_item, "rai0");
    expect_no_sample();
    EXPECT_EQ(check(module), 1);
    expect_sample({{0, 4, 3}});
}

TEST_P(WifiTraffic, AFailingReadLeavesTheNameUnknownUntilOneWorks) {
    interfaces({{"ra0", 1, 2}});
    world.csman.fail_reads(band.interface_item, 2);
    start(band);
    EXPECT_EQ(check(module), 1);
    expect_no_sample();
    EXPECT_EQ(check(module), 1);
    expect_sample({{0, 2, 1}});
}

TEST_P(WifiTraffic, AKnownNameIsNotReadAgainByChecks) {
    interfaces({{"ra0", 1, 2}, {"rai0", 3, 4}});
    start(band, "ra0");
    world.csman.set_string(band.interface_item, "rai0");
    new_csman_calls();
    EXPECT_EQ(check(module), 1);
    EXPECT_THAT(new_csman_calls(), IsEmpty());
    expect_sample({{0, 2, 1}});
}

TEST_P(WifiTraffic, InitForgetsTheNameItKnew) {
    interfaces({{"ra0", 1, 2}, {"rai0", 3, 4}});
    start(band, "ra0");
    world.csman.set_string(band.interface_item, "rai0");
    ASSERT_EQ(init(module), 1);
    expect_sample({{0, 4, 3}});
    world.csman.fail_reads(band.interface_item, 1);
    ASSERT_EQ(init(module), 1);
    expect_no_sample();
}

TEST_P(WifiTraffic, CheckWithoutAStoreFailsSilentlyAndAsksNothing) {
    world.csman.set_string(band.interface_item, "ra0");
    EXPECT_EQ(check(module), 0);
    EXPECT_THAT(world.messages(), IsEmpty());
    EXPECT_THAT(new_csman_calls(), IsEmpty());
}

TEST_P(WifiTraffic, TheOtherBandsNameDoesNotMatter) {
    const wifi_band_case& other = wifi_bands[band.band == "24" ? 1 : 0];
    world.csman.set_string(other.interface_item, "ra0");
    interfaces({{"ra0", 1, 2}});
    ASSERT_EQ(init(module), 1);
    expect_no_sample();
}

TEST_F(WifiBand24, AndTheOtherBandKeepApart) {
    start(wifi_bands[0], "ra0");
    start(wifi_bands[1], "rai0");
    interfaces({{"ra0", 1, 2}, {"rai0", 30, 40}});
    ASSERT_EQ(loop(wifi_24g_traffic_monitor, 1), 1);
    expect_document("wifi_5g_traffic_sec", datalist(""));
    ASSERT_EQ(loop(wifi_5g_traffic_monitor, 1), 1);
    term(wifi_24g_traffic_monitor);
    ASSERT_EQ(loop_at(wifi_5g_traffic_monitor, t0 + 1, 1), 1);
    expect_band(wifi_bands[0], {sample_of(wifi_bands[0], t0, {{0, 2, 1}})});
    expect_band(wifi_bands[1],
                {sample_of(wifi_bands[1], t0, {{0, 40, 30}}), sample_of(wifi_bands[1], t0 + 1, {{0, 40, 30}})});
}

} // namespace
} // namespace dashboard::testing
