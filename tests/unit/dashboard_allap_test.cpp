// Traffic of all access points together: samples, documents and links.
#include "tests/unit/ap_monitor_fixture.h"

#include <string>

namespace dashboard::testing {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

const std::string sec_name = "/tmp/dashboard/aptraffic_allap_sec.xml";
const std::string min_name = "/tmp/dashboard/aptraffic_allap_min.xml";
const std::string hour_name = "/tmp/dashboard/aptraffic_allap_hour.xml";

class AllApUnready : public ap_monitor_fixture {
protected:
    const monitor_cb& module = allap_traffic_monitor;
};

class AllAp : public AllApUnready {
protected:
    AllAp() { EXPECT_EQ(init(module), 1); }

    // An access point whose own combined count is `own`; nothing else of it is ever shown.
    void report_own(int ap, uint64_t own) {
        ap_values values = counted_from(500'000);
        values[txrx_of_group(0)] = own;
        report(ap, values);
    }
    void expect_sec(const std::string& body) { expect_published(sec_name, datalist(body)); }
};

TEST_F(AllAp, ListsThePresentApsByTheirIndexAndOwnCount) {
    world.file("/tmp/aptraffic/APTraffic_0",
               "APMgnt_Info_Traffic_@1,2,3@_@"
               "11,12,13@21,22,23@31,32,33@41,42,43@51,52,53@61,62,63@71,72,73@81,82,83@_@"
               "111,112,113@121,122,123@131,132,133@141,142,143@151,152,153@161,162,163@171,172,173@181,182,183@\n");
    report_own(7, 18446744073709551615u);
    report_own(31, 0);
    ASSERT_EQ(loop(module, 1), 1);
    expect_published("/tmp/dashboard/aptraffic_allap_sec.xml", "<?xml version=\"1.0\" ?>\n"
                                                               "<datalist>\n"
                                                               "    <time>1700000000000</time>\n"
                                                               "    <ap_0_TxRx>3</ap_0_TxRx>\n"
                                                               "    <ap_7_TxRx>18446744073709551615</ap_7_TxRx>\n"
                                                               "    <ap_31_TxRx>0</ap_31_TxRx>\n"
                                                               "</datalist>\n");
}

TEST_F(AllAp, ShowsTheFirst32Only) {
    std::string body = "    <time>1700000000000</time>\n";
    for (int ap = 0; ap < 128; ++ap) {
        report_own(ap, 1000 + static_cast<uint64_t>(ap));
        const std::string tag = "ap_" + std::to_string(ap) + "_TxRx";
        body += ap < 32 ? "    <" + tag + ">" + std::to_string(1000 + ap) + "</" + tag + ">\n" : "";
    }
    ASSERT_EQ(loop(module, 1), 1);
    expect_sec(body);
}

TEST_F(AllAp, OneBeyondThe32StillMakesASample) {
    report_own(127, 5);
    ASSERT_EQ(loop(module, 1), 1);
    expect_sec("    <time>1700000000000</time>\n");
    report_own(0, 6);
    report_own(40, 7);
    fall_silent(127);
    ASSERT_EQ(loop_at(module, t0 + 1, 1), 1);
    expect_sec("    <time>1700000000000</time>\n"
               "    <time>1700000001000</time>\n"
               "    <ap_0_TxRx>6</ap_0_TxRx>\n");
}

TEST_F(AllAp, TheLastOfThemIsThe128th) {
    report_own(128, 5);
    EXPECT_EQ(loop(module, 1), 0);
    report_own(127, 5);
    EXPECT_EQ(loop(module, 1), 1);
}

TEST_F(AllAp, ASecondWithoutAnyRecordLeavesNoSample) {
    EXPECT_EQ(loop(module, 1), 0);
    world.file(ap_file(0), "no record");
    world.file(ap_file(1), "APMgnt_Info_Traffic_@1,2,3@_@");
    EXPECT_EQ(loop_at(module, t0 + 3600, 1), 0);
    EXPECT_THAT(world.messages(), ElementsAre("warn[get_ap_traffic_info]: sscanf rturn 0, should be 17*3",
                                              "warn[get_ap_traffic_info]: sscanf rturn 3, should be 17*3"));
    expect_sec("");
    expect_published(min_name, datalist(""));
}

TEST_F(AllAp, AnApIsListedOnlyInTheSecondsInWhichItWasRead) {
    report_own(1, 10);
    report_own(2, 20);
    ASSERT_EQ(loop(module), 1);
    fall_silent(1);
    ASSERT_EQ(loop_at(module, t0 + 1), 1);
    report_own(1, 11);
    world.file(ap_file(2), "APMgnt_Info_Traffic_@1,2,3@_@"); // its partial counts do not show
    ASSERT_EQ(loop_at(module, t0 + 2, 1), 1);
    expect_sec("    <time>1700000000000</time>\n"
               "    <ap_1_TxRx>10</ap_1_TxRx>\n"
               "    <ap_2_TxRx>20</ap_2_TxRx>\n"
               "    <time>1700000001000</time>\n"
               "    <ap_2_TxRx>20</ap_2_TxRx>\n"
               "    <time>1700000002000</time>\n"
               "    <ap_1_TxRx>11</ap_1_TxRx>\n");
}

TEST_F(AllAp, MinutesAndHoursListTimesOnly) {
    report_own(0, 1000);
    for (int64_t i = 1; i <= 60; ++i) {
        ASSERT_EQ(loop_at(module, t0 + 60 * i, 1), 1);
    }
    std::string times;
    for (int64_t i = 1; i <= 60; ++i) {
        times += "    <time>" + std::to_string(t0 + 60 * i) + "000</time>\n";
    }
    expect_published(min_name, datalist(times));
    expect_published(hour_name, datalist("    <time>1700003600000</time>\n"));
}

// ---- links

TEST_F(AllApUnready, TheMinutesHaveNoLinkAndTheHoursAreLinkedToTheirTemporaryName) {
    ASSERT_EQ(init(module), 1);
    EXPECT_THAT(new_commands(), ElementsAre(asked_command{"dashboard_allap", "xml_allap_traffic_sec",
                                                          "ln -sf /tmp/dashboard/aptraffic_allap_sec.xml "
                                                          "/usr/www/aptraffic_allap_sec.xml"},
                                            asked_command{"dashboard_allap", "xml_allap_traffic_hour",
                                                          "ln -sf /tmp/dashboard/aptraffic_allap_hour_tmp.xml "
                                                          "/usr/www/aptraffic_allap_hour.xml"}));
    EXPECT_THAT(world.list("/usr/www"), ElementsAre("aptraffic_allap_hour.xml", "aptraffic_allap_sec.xml"));
    EXPECT_EQ(world.link_target("/usr/www/aptraffic_allap_sec.xml"), sec_name);
    EXPECT_EQ(world.link_target("/usr/www/aptraffic_allap_hour.xml"), "/tmp/dashboard/aptraffic_allap_hour_tmp.xml");
}

TEST_F(AllAp, TheMinuteWriterMakesTheSecondsLinkWhereThatIsMissing) {
    new_commands();
    EXPECT_EQ(module.write_min(csman_handle_of_tests, nullptr), 1);
    EXPECT_THAT(new_commands(), IsEmpty());
    world.remove("/usr/www/aptraffic_allap_sec.xml");
    EXPECT_EQ(module.write_min(csman_handle_of_tests, nullptr), 1);
    EXPECT_THAT(new_commands(), ElementsAre(asked_command{"dashboard_allap", "xml_allap_traffic_min",
                                                          "ln -sf /tmp/dashboard/aptraffic_allap_sec.xml "
                                                          "/usr/www/aptraffic_allap_sec.xml"}));
    EXPECT_FALSE(world.exists("/usr/www/aptraffic_allap_min.xml"));
}

TEST_F(AllAp, TheHoursLinkLeadsNowhereAndIsMadeAgainWithEveryHour) {
    new_commands();
    const asked_command made{"dashboard_allap", "xml_allap_traffic_hour",
                             "ln -sf /tmp/dashboard/aptraffic_allap_hour_tmp.xml /usr/www/aptraffic_allap_hour.xml"};
    EXPECT_EQ(module.write_hour(csman_handle_of_tests, nullptr), 1);
    EXPECT_EQ(module.write_hour(csman_handle_of_tests, nullptr), 1);
    EXPECT_THAT(new_commands(), ElementsAre(made, made));
    EXPECT_EQ(module.write_sec(csman_handle_of_tests, nullptr), 1);
    EXPECT_THAT(new_commands(), IsEmpty());
}

} // namespace
} // namespace dashboard::testing
