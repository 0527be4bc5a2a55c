// Gauges: their units, their signs, and what stands for "not known".
#include "router_documents.h"

#include <gmock/gmock.h>

namespace dashboard::testing {
namespace {

using ::testing::Contains;
using ::testing::Key;
using ::testing::Not;
using ::testing::Pair;

using samples = std::map<std::string, std::string>;

samples said_of(const std::string& name, const element_list& elements) {
    router_documents documents;
    documents.put(name, elements);
    return samples_of(exposed(documents));
}

samples said_of_current(const std::string& lines) {
    router_documents documents;
    documents.files["current_traffic_sec_0.xml"].text = document_of(lines);
    return samples_of(exposed(documents));
}

TEST(Values, OfProcessorsAreRatios) {
    const samples all = said_of(
        "cpu_usage_sec_0.xml",
        {{"cpu_usage", "12"}, {"cpu_usage0", "25"}, {"cpu_usage1", "-1"}, {"cpu_usage2", "100"}, {"cpu_usage3", "0"}});
    EXPECT_THAT(all, Contains(Pair("dashboard_cpu_utilization_ratio", "0.12")));
    EXPECT_THAT(all, Contains(Pair("dashboard_cpu_core_utilization_ratio{cpu=\"0\"}", "0.25")));
    EXPECT_THAT(all, Not(Contains(Key("dashboard_cpu_core_utilization_ratio{cpu=\"1\"}"))));
    EXPECT_THAT(all, Contains(Pair("dashboard_cpu_core_utilization_ratio{cpu=\"2\"}", "1.00")));
    EXPECT_THAT(all, Contains(Pair("dashboard_cpu_core_utilization_ratio{cpu=\"3\"}", "0.00")));
    EXPECT_THAT(all, Contains(Pair(rejected("cpu_usage"), "0")));
}

TEST(Values, OfMemoryAreBytes) {
    EXPECT_THAT(said_of("mem_usage_sec_0.xml", {{"mem_usage", "4294967295"}}),
                Contains(Pair("dashboard_memory_used_bytes", "4398046510080")));
}

TEST(Values, OfCurrentTrafficThatAreNoneAreRejected) {
    for (const char* usage : {"", "1", "1|2", "1|101|3", "1|2|x", "1|2|3|4", "1|-2|3"}) {
        EXPECT_THAT(said_of_current(" <usage>" + std::string(usage) + "</usage>\n"),
                    Contains(Pair(rejected("current_traffic"), "1")))
            << usage;
    }
    EXPECT_THAT(said_of_current(" <port_power>1</port_power>\n <port_power>2</port_power>\n"
                                " <port_wifi2g>2147483648</port_wifi2g>\n"
                                " <item name=\"tx_0\">1</item>\n <item name=\"tx_0\">2</item>\n"
                                " <item name=\"device_0\">eth0</item>\n <item name=\"rx_0\">-1</item>\n"),
                Contains(Pair(rejected("current_traffic"), "4")));
}

TEST(Values, OfSimSlotsKeepTheirSigns) {
    const samples all = said_of("sim_strquality_sec_0.xml", {{"sim1_RSSI", "-75"},
                                                             {"sim1_RSRP", "-104"},
                                                             {"sim1_RSRQ", "-11"},
                                                             {"sim1_SINR", "13"},
                                                             {"sim1_RSCP", "-0"},
                                                             {"sim1_EcIo", "-8"},
                                                             {"sim2_RSSI", "-0"},
                                                             {"sim2_RSRP", "-0"},
                                                             {"sim2_RSRQ", "-0"},
                                                             {"sim2_SINR", "0"},
                                                             {"sim2_RSCP", "-0"},
                                                             {"sim2_EcIo", "-0"}});
    EXPECT_THAT(all, Contains(Pair("dashboard_sim_rssi_dbm{slot=\"1\"}", "-75")));
    EXPECT_THAT(all, Contains(Pair("dashboard_sim_rsrp_dbm{slot=\"1\"}", "-104")));
    EXPECT_THAT(all, Contains(Pair("dashboard_sim_rsrq_db{slot=\"1\"}", "-11")));
    EXPECT_THAT(all, Contains(Pair("dashboard_sim_sinr_db{slot=\"1\"}", "13")));
    EXPECT_THAT(all, Contains(Pair("dashboard_sim_ecio_db{slot=\"1\"}", "-8")));
    EXPECT_THAT(all, Not(Contains(Key("dashboard_sim_rscp_dbm{slot=\"1\"}"))));
    EXPECT_THAT(all, Not(Contains(Key("dashboard_sim_sinr_db{slot=\"2\"}"))));
    EXPECT_THAT(all, Contains(Pair("dashboard_sim_reporting{slot=\"1\"}", "1")));
    EXPECT_THAT(all, Contains(Pair("dashboard_sim_reporting{slot=\"2\"}", "0")));
    EXPECT_THAT(all, Contains(Pair(rejected("sim_strquality"), "0")));
}

TEST(Values, OfSinrMayBeZeroAndNegative) {
    const samples all =
        said_of("sim_strquality_sec_0.xml", {{"sim1_RSRP", "-90"}, {"sim1_SINR", "0"}, {"sim2_SINR", "-3"}});
    EXPECT_THAT(all, Contains(Pair("dashboard_sim_sinr_db{slot=\"1\"}", "0")));
    EXPECT_THAT(all, Contains(Pair("dashboard_sim_sinr_db{slot=\"2\"}", "-3")));
}

// A magnitude that is negative itself shows two signs: which of the two readings was meant is not known.
TEST(Values, WithTwoSignsAreRejected) {
    const samples all =
        said_of("sim_strquality_sec_0.xml",
                {{"sim1_RSRP", "--90"}, {"sim1_RSSI", "-2147483648"}, {"sim1_RSRQ", "11"}, {"sim1_EcIo", "-201"}});
    EXPECT_THAT(all, Contains(Pair(rejected("sim_strquality"), "4")));
    EXPECT_THAT(all, Contains(Pair("dashboard_sim_reporting{slot=\"1\"}", "0")));
}

TEST(Values, OfCurrentTrafficAreTakenByNumber) {
    router_documents documents;
    documents.put_file(SAMPLES "/current_traffic_sec_0.xml");
    const samples all = samples_of(exposed(documents));
    EXPECT_THAT(all, Contains(Pair("dashboard_memory_utilization_ratio", "0.63")));
    EXPECT_THAT(all, Contains(Pair("dashboard_connection_table_utilization_ratio", "0.00")));
    EXPECT_THAT(all, Not(Contains(Key("dashboard_cpu_utilization_ratio"))));
    EXPECT_THAT(all, Contains(Pair("dashboard_port_state{port=\"eth1\"}", "1")));
    EXPECT_THAT(all, Contains(Pair("dashboard_port_state{port=\"power\"}", "-1")));
    EXPECT_THAT(all, Contains(Pair("dashboard_port_use{port=\"3g16\"}", "0")));
    EXPECT_THAT(all, Contains(Pair("dashboard_traffic_bytes_total{kind=\"current\",interface=\"eth0\",direction="
                                   "\"receive\"}",
                                   "118551211")));
    EXPECT_THAT(all, Contains(Pair(rejected("current_traffic"), "0")));
}

TEST(Values, OfCurrentTrafficBeforeTheFirstSampleAreNone) {
    const samples all = said_of_current("");
    EXPECT_THAT(all, Contains(Pair("dashboard_document_readable{document=\"current_traffic\"}", "1")));
    EXPECT_THAT(all, Contains(Pair(rejected("current_traffic"), "0")));
    EXPECT_THAT(all, Not(Contains(Key("dashboard_memory_utilization_ratio"))));
}

TEST(Values, OfMemoryThatCouldNotBeReadAreLeftOut) {
    router_documents documents;
    documents.files["current_traffic_sec_0.xml"].text = document_of(" <usage>0|-1|7</usage>\n");
    const samples all = samples_of(exposed(documents));
    EXPECT_THAT(all, Not(Contains(Key("dashboard_memory_utilization_ratio"))));
    EXPECT_THAT(all, Contains(Pair("dashboard_connection_table_utilization_ratio", "0.07")));
    EXPECT_THAT(all, Contains(Pair(rejected("current_traffic"), "0")));
}

TEST(Values, OfCountersGoUpToTheLargest) {
    EXPECT_THAT(said_of("lan_traffic_sec_0.xml", {{"lan1_tx", "18446744073709551615"}, {"lan1_rx", "1"}}),
                Contains(Pair("dashboard_traffic_bytes_total{kind=\"lan\",interface=\"br0\",direction=\"transmit\"}",
                              "18446744073709551615")));
}

} // namespace
} // namespace dashboard::testing
