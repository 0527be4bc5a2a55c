// The module of each access point in a whole daemon.
#include "tests/daemon/module_fixture.h"
#include "tests/models/records.h"

#include <gmock/gmock.h>

#include <algorithm>

namespace dashboard::testing {
namespace {

using ::testing::Contains;
using ::testing::ElementsAre;
using ::testing::HasSubstr;

std::string sec_document(int ap) {
    return "aptraffic_sec_" + std::to_string(ap) + ".xml";
}

class ApModule : public live_modules {
protected:
    ApModule() { switch_on(ap_module); }

    void report(int ap, const ap_values& values) { world.file(ap_file(ap), ap_line(values) + "\n"); }
    std::string read(const std::string& document) const { return world.read("/tmp/dashboard/" + document); }
    std::vector<std::string> published() const { return world.list("/tmp/dashboard"); }
};

TEST_F(ApModule, ShowsTheCombinedCountsOfItsVaps) {
    report(2, counted_from(1000));
    request(ap_module, 3);
    start();
    live(1);
    EXPECT_EQ(read("aptraffic_sec_2.xml"), "<?xml version=\"1.0\" ?>\n"
                                           "<datalist>\n"
                                           "    <time>1700000001000</time>\n"
                                           "    <VAP1_24_TxRx>1005</VAP1_24_TxRx>\n"
                                           "    <VAP2_24_TxRx>1008</VAP2_24_TxRx>\n"
                                           "    <VAP3_24_TxRx>1011</VAP3_24_TxRx>\n"
                                           "    <VAP4_24_TxRx>1014</VAP4_24_TxRx>\n"
                                           "    <VAP5_24_TxRx>1017</VAP5_24_TxRx>\n"
                                           "    <VAP6_24_TxRx>1020</VAP6_24_TxRx>\n"
                                           "    <VAP7_24_TxRx>1023</VAP7_24_TxRx>\n"
                                           "    <VAP8_24_TxRx>1026</VAP8_24_TxRx>\n"
                                           "    <VAP1_50_TxRx>1029</VAP1_50_TxRx>\n"
                                           "    <VAP2_50_TxRx>1032</VAP2_50_TxRx>\n"
                                           "    <VAP3_50_TxRx>1035</VAP3_50_TxRx>\n"
                                           "    <VAP4_50_TxRx>1038</VAP4_50_TxRx>\n"
                                           "    <VAP5_50_TxRx>1041</VAP5_50_TxRx>\n"
                                           "    <VAP6_50_TxRx>1044</VAP6_50_TxRx>\n"
                                           "    <VAP7_50_TxRx>1047</VAP7_50_TxRx>\n"
                                           "    <VAP8_50_TxRx>1050</VAP8_50_TxRx>\n"
                                           "</datalist>\n");
    EXPECT_EQ(world.link_target("/usr/www/aptraffic_sec_2.xml"), "/tmp/dashboard/aptraffic_sec_2.xml");
}

// The number itself selects, for as long as it holds: it is more than a flag.
TEST_F(ApModule, RequestSelectsTheApBeforeItsNumberAndNoOther) {
    for (const int ap : {0, 1, 2, 3, 127}) {
        report(ap, counted_from(1));
    }
    request(ap_module, 3);
    start();
    live(60);
    EXPECT_THAT(published(), ElementsAre("aptraffic_sec_2.xml"));
    live(1);
    EXPECT_THAT(published(), ElementsAre("aptraffic_min_2.xml", "aptraffic_sec_2.xml"));
    request(ap_module, 128);
    live(6);
    EXPECT_THAT(published(), Contains("aptraffic_sec_127.xml"));
    const std::string before = read("aptraffic_sec_2.xml");
    live(6);
    EXPECT_EQ(read("aptraffic_sec_2.xml"), before);
    request(ap_module, 129);
    live(70);
    EXPECT_THAT(published(), ElementsAre("aptraffic_min_2.xml", "aptraffic_sec_127.xml", "aptraffic_sec_2.xml"));
}

TEST_F(ApModule, RollsUpItsMinutesAndEveryApsHour) {
    history_model<ap_record> model{first_cycle};
    const auto count_traffic = [&](int64_t now) {
        const auto n = static_cast<uint64_t>(now - first_cycle);
        ap_record sample;
        sample.time = now;
        for (size_t i = 0; i < ap_counters; ++i) {
            sample.value[i] = i * 1'000'003 + n * n * (i + 1) + n % 7;
        }
        report(5, sample.value);
        report(6, counted_from(9));
        EXPECT_TRUE(model.feed(sample));
    };
    request(ap_module, 6);
    start();
    live(190, count_traffic);
    ASSERT_EQ(model.min.held.size(), 3u);
    EXPECT_EQ(read("aptraffic_sec_5.xml"), ap_document(model.sec.newest(60)));
    EXPECT_EQ(read("aptraffic_min_5.xml"), ap_document(model.min.newest(60)));
    request(ap_module, 0);
    live(62, count_traffic);
    step_clock(3400, count_traffic);
    ASSERT_EQ(model.hour.held.size(), 1u);
    EXPECT_EQ(read("aptraffic_hour_5.xml"), ap_document(model.hour.newest(60)));
    EXPECT_THAT(published(), ElementsAre("aptraffic_hour_5.xml", "aptraffic_hour_6.xml", "aptraffic_min_5.xml",
                                         "aptraffic_sec_5.xml"));
    EXPECT_THAT(world.list("/usr/www"), ElementsAre("aptraffic_hour_5.xml", "aptraffic_hour_6.xml",
                                                    "aptraffic_min_5.xml", "aptraffic_sec_5.xml"));
}

TEST_F(ApModule, SecondsWithoutARecordAreMissingAndTheRestStays) {
    request(ap_module, 1);
    start();
    report(0, counted_from(1));
    live(2);
    world.file(ap_file(0), "APMgnt_Info_Traffic_@1,2,3@_@4,5,x@");
    live(2);
    EXPECT_EQ(lines_saying("warn[get_ap_traffic_info]: sscanf rturn 5, should be 17*3"), 2);
    world.remove(ap_file(0));
    live(2);
    report(0, counted_from(1));
    live(1);
    const std::string text = read(sec_document(0));
    for (const int64_t second : {0, 1, 6}) {
        EXPECT_THAT(text, HasSubstr(time_line(first_cycle + second)));
    }
    EXPECT_EQ(std::count(text.begin(), text.end(), '\n'), 3 + 3 * 17);
    EXPECT_EQ(lines_saying("log[dashboard_loop]: loop callback fail(7)"), 0);
}

} // namespace
} // namespace dashboard::testing
