// What a scrape says, by the documents that are there.
#include "router_documents.h"

#include <gmock/gmock.h>

namespace dashboard::testing {
namespace {

using ::testing::Contains;
using ::testing::EndsWith;
using ::testing::HasSubstr;
using ::testing::Key;
using ::testing::Not;
using ::testing::Pair;

using samples = std::map<std::string, std::string>;

size_t count_of(const samples& all, const std::string& start) {
    size_t count = 0;
    for (const auto& [name, value] : all) {
        count += name.compare(0, start.size(), start) == 0 ? 1 : 0;
    }
    return count;
}

std::string traffic(const std::string& kind, const std::string& name, const std::string& way) {
    return "dashboard_traffic_bytes_total{kind=\"" + kind + "\",interface=\"" + name + "\",direction=\"" + way + "\"}";
}

std::string of_document(const std::string& metric, const std::string& document) {
    return "dashboard_document_" + metric + "{document=\"" + document + "\"}";
}

TEST(Exposition, SaysWhatIsMissingWhenNothingIsThere) {
    router_documents none;
    router_facts facts = {};
    facts.version = "1.0.0";
    facts.now = router_now;
    facts.uptime = -1;
    const samples all = samples_of(exposed(none, facts));
    EXPECT_THAT(all, Contains(Pair("dashboard_up", "0")));
    EXPECT_THAT(all, Contains(Pair("dashboard_store_readable", "0")));
    EXPECT_THAT(all, Not(Contains(Key("dashboard_enabled"))));
    EXPECT_THAT(all, Not(Contains(Key("dashboard_daemon_uptime_seconds"))));
    EXPECT_EQ(count_of(all, "dashboard_document_readable"), 9u);
    EXPECT_THAT(all, Contains(Pair(of_document("readable", "wan_traffic"), "0")));
    EXPECT_THAT(all, Contains(Pair(of_document("stale", "wan_traffic"), "1")));
    EXPECT_EQ(count_of(all, "dashboard_document_age"), 0u);
    EXPECT_EQ(count_of(all, "dashboard_traffic"), 0u);
}

TEST(Exposition, ShowsTheNewestSampleAlone) {
    router_documents documents;
    documents.put("wan_traffic_sec_0.xml",
                  {{"wan1_tx", "94003"}, {"wan1_rx", "118551417"}, {"wan1_txrx", "118645420"}});
    const samples all = samples_of(exposed(documents));
    EXPECT_THAT(all, Contains(Pair(traffic("wan", "wan1", "transmit"), "94003")));
    EXPECT_THAT(all, Contains(Pair(traffic("wan", "wan1", "receive"), "118551417")));
    EXPECT_EQ(count_of(all, "dashboard_traffic"), 2u);
    EXPECT_THAT(all, Contains(Pair(of_document("readable", "wan_traffic"), "1")));
    EXPECT_THAT(all, Contains(Pair(of_document("stale", "wan_traffic"), "0")));
    EXPECT_THAT(all, Contains(Pair(of_document("age_seconds", "wan_traffic"), "1")));
    EXPECT_THAT(all, Contains(Pair(of_document("rejected_values", "wan_traffic"), "0")));
}

TEST(Exposition, NamesEveryKindOfTraffic) {
    router_documents documents;
    documents.put_limits(1);
    const samples all = samples_of(exposed(documents));
    EXPECT_EQ(count_of(all, "dashboard_traffic_bytes_total{kind=\"wan\""), 32u);
    EXPECT_EQ(count_of(all, "dashboard_traffic_bytes_total{kind=\"lan\""), 10u);
    EXPECT_EQ(count_of(all, "dashboard_traffic_bytes_total{kind=\"wifi_24\""), 16u);
    EXPECT_EQ(count_of(all, "dashboard_traffic_bytes_total{kind=\"wifi_50\""), 16u);
    EXPECT_EQ(count_of(all, "dashboard_traffic_bytes_total{kind=\"bond\""), 3u);
    EXPECT_EQ(count_of(all, "dashboard_traffic_bytes_total{kind=\"bond_slave\""), 12u);
    EXPECT_EQ(count_of(all, "dashboard_traffic_bytes_total{kind=\"ap\""), 32u);
    EXPECT_EQ(count_of(all, "dashboard_traffic_bytes_total{kind=\"ap_vap_24\""), 1024u);
    EXPECT_EQ(count_of(all, "dashboard_traffic_bytes_total{kind=\"ap_vap_50\""), 1024u);
    EXPECT_EQ(count_of(all, "dashboard_traffic_bytes_total{kind=\"current\""), 150u);
    EXPECT_THAT(all, Contains(Key(traffic("lan", "br4", "transmit"))));
    EXPECT_THAT(all, Contains(Key(traffic("wifi_50", "vap8", "receive"))));
    EXPECT_THAT(all, Contains(Key(traffic("bond_slave", "bond2_slave3", "both"))));
    EXPECT_THAT(all, Contains(Key(traffic("ap", "ap31", "both"))));
    EXPECT_THAT(all, Contains(Key(traffic("ap_vap_24", "ap127_vap8", "both"))));
    EXPECT_THAT(all, Contains(Key(traffic("current", "interface_10074", "receive"))));
}

// The table of metrics promises how many series there can be; the widest router has exactly so many.
TEST(Exposition, HasNoMoreSeriesThanTheTableSays) {
    router_documents documents;
    documents.put_limits(UINT64_MAX - 8000);
    router_facts facts = good_facts();
    facts.started = monotonic_now();
    const samples all = samples_of(exposed(documents, facts));
    size_t most = 0;
    for (const metric_row& metric : metric_table) {
        const std::string name = metric.name;
        most += static_cast<size_t>(metric.most);
        EXPECT_EQ(count_of(all, name + "{") + all.count(name), static_cast<size_t>(metric.most)) << name;
    }
    EXPECT_EQ(all.size(), most);
}

TEST(Exposition, TakesNoSampleOfADocumentThatIsNotWhole) {
    const std::string whole = document_of(sample_lines_of(router_now, {{"mem_usage", "5"}}));
    for (size_t length = 0; length < whole.size(); ++length) {
        router_documents documents;
        documents.files["mem_usage_sec_0.xml"].text = whole.substr(0, length);
        const samples all = samples_of(exposed(documents));
        EXPECT_THAT(all, Contains(Pair(of_document("readable", "mem_usage"), "0"))) << length;
        EXPECT_THAT(all, Not(Contains(Key("dashboard_memory_used_bytes")))) << length;
    }
}

TEST(Exposition, TakesNoDocumentWithTheRestOfAnOlderOne) {
    router_documents documents;
    const std::string whole = document_of(sample_lines_of(router_now, {{"mem_usage", "5"}}));
    documents.files["mem_usage_sec_0.xml"].text = whole + "    <mem_usage>7</mem_usage>\n</datalist>\n";
    EXPECT_THAT(samples_of(exposed(documents)), Contains(Pair(of_document("readable", "mem_usage"), "0")));
}

TEST(Exposition, GoesOnWithTheRestWhenADocumentCannotBeRead) {
    for (const document_fault fault : {document_fault::missing, document_fault::denied}) {
        router_documents documents;
        documents.put("mem_usage_sec_0.xml", {{"mem_usage", "5"}});
        documents.faults["wan_traffic_sec_0.xml"] = fault;
        const samples all = samples_of(exposed(documents));
        EXPECT_THAT(all, Contains(Pair(of_document("readable", "wan_traffic"), "0")));
        EXPECT_THAT(all, Contains(Pair("dashboard_memory_used_bytes", "5120")));
    }
}

TEST(Exposition, ShowsAnEmptyDocumentAsReadableAndStale) {
    router_documents documents;
    documents.files["mem_usage_sec_0.xml"].text = document_of("");
    const samples all = samples_of(exposed(documents));
    EXPECT_THAT(all, Contains(Pair(of_document("readable", "mem_usage"), "1")));
    EXPECT_THAT(all, Contains(Pair(of_document("stale", "mem_usage"), "1")));
    EXPECT_EQ(count_of(all, "dashboard_document_age"), 0u);
}

TEST(Exposition, LeavesOutValuesThatAreOld) {
    struct look {
        int64_t age;
        bool fresh;
    };
    for (const look& one : {look{0, true}, look{10, true}, look{11, false}, look{-10, true}, look{-11, false},
                            look{86400, false}, look{router_now + 5, false}}) {
        router_documents documents;
        documents.put("mem_usage_sec_0.xml", {{"mem_usage", "5"}}, router_now - one.age);
        documents.files["current_traffic_sec_0.xml"] = {document_of(" <usage>1|2|3</usage>\n"), router_now - one.age};
        const samples all = samples_of(exposed(documents));
        for (const char* document : {"mem_usage", "current_traffic"}) {
            EXPECT_THAT(all, Contains(Pair(of_document("stale", document), one.fresh ? "0" : "1"))) << one.age;
            EXPECT_THAT(all, Contains(Pair(of_document("age_seconds", document), std::to_string(one.age))));
        }
        EXPECT_EQ(all.count("dashboard_memory_used_bytes"), one.fresh ? 1u : 0u) << one.age;
        EXPECT_EQ(all.count("dashboard_memory_utilization_ratio"), one.fresh ? 1u : 0u) << one.age;
    }
}

TEST(Exposition, LivesThroughTheYear2038) {
    router_documents documents;
    documents.put("mem_usage_sec_0.xml", {{"mem_usage", "5"}}, INT32_MIN + 1LL);
    router_facts facts = good_facts();
    facts.now = INT32_MAX + 4LL;
    const samples all = samples_of(exposed(documents, facts));
    EXPECT_THAT(all, Contains(Pair(of_document("age_seconds", "mem_usage"), "2")));
    EXPECT_THAT(all, Contains(Pair("dashboard_memory_used_bytes", "5120")));
}

TEST(Exposition, LeavesOutCountersOfInterfacesThatAreDown) {
    router_documents documents;
    documents.put("wan_traffic_sec_0.xml", {{"wan1_tx", "0"}, {"wan1_rx", "0"}, {"wan2_tx", "5"}, {"wan2_rx", "0"}});
    const samples all = samples_of(exposed(documents));
    EXPECT_THAT(all, Contains(Pair("dashboard_interface_up{kind=\"wan\",interface=\"wan1\"}", "0")));
    EXPECT_THAT(all, Contains(Pair("dashboard_interface_up{kind=\"wan\",interface=\"wan2\"}", "1")));
    EXPECT_THAT(all, Contains(Pair(traffic("wan", "wan2", "receive"), "0")));
    EXPECT_EQ(count_of(all, "dashboard_traffic"), 2u);
}

// What an access point counts is its own report: it is left out of the document where it is not known.
TEST(Exposition, KeepsZerosOfAccessPointsAndBonds) {
    router_documents documents;
    documents.put("aptraffic_allap_sec.xml", {{"ap_0_TxRx", "0"}});
    documents.put("bond_traffic_sec_1.xml", {{"bond1_txrx", "0"}, {"slave0_txrx", "0"}});
    documents.put("aptraffic_sec_3.xml", {{"VAP1_24_TxRx", "0"}});
    const samples all = samples_of(exposed(documents));
    EXPECT_THAT(all, Contains(Pair(traffic("ap", "ap0", "both"), "0")));
    EXPECT_THAT(all, Contains(Pair(traffic("bond", "bond1", "both"), "0")));
    EXPECT_THAT(all, Contains(Pair(traffic("ap_vap_24", "ap3_vap1", "both"), "0")));
    EXPECT_THAT(all, Contains(Pair("dashboard_interface_up{kind=\"bond_slave\",interface=\"bond1_slave0\"}", "0")));
    EXPECT_EQ(count_of(all, "dashboard_traffic"), 3u);
}

TEST(Exposition, SpeaksOfABondThatIsConfiguredWithoutADocument) {
    router_documents documents;
    router_facts facts = good_facts();
    facts.bond_configured[2] = true;
    const samples all = samples_of(exposed(documents, facts));
    EXPECT_THAT(all, Contains(Pair(of_document("readable", "bond_traffic_2"), "0")));
    EXPECT_EQ(count_of(all, "dashboard_document_readable"), 10u);
}

TEST(Exposition, EndsAsOpenMetricsDo) {
    router_documents documents;
    documents.put_limits(1);
    const std::string text = exposed(documents, good_facts(), exposition_format::openmetrics);
    EXPECT_THAT(text, EndsWith("\n# EOF\n"));
    EXPECT_THAT(text, HasSubstr("# TYPE dashboard_traffic_bytes counter\n"));
    EXPECT_THAT(text, HasSubstr("# TYPE dashboard_exporter info\n"));
    EXPECT_THAT(text, HasSubstr("# UNIT dashboard_uptime_seconds seconds\n"));
    EXPECT_THAT(exposed(documents), Not(HasSubstr("# EOF")));
    EXPECT_THAT(exposed(documents), Not(HasSubstr("# UNIT")));
}

} // namespace
} // namespace dashboard::testing
