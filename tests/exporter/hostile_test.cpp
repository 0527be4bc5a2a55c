// Documents that no daemon writes, and names that somebody else chose.
#include "router_documents.h"

#include <gmock/gmock.h>

namespace dashboard::testing {
namespace {

using ::testing::Contains;
using ::testing::Key;
using ::testing::Not;
using ::testing::Pair;

using samples = std::map<std::string, std::string>;

std::string readable(const std::string& document) {
    return "dashboard_document_readable{document=\"" + document + "\"}";
}

std::string device_lines(unsigned k, const std::string& name) {
    const std::string place = std::to_string(k) + "\">";
    return " <item name=\"device_" + place + name + "</item>\n <item name=\"type_" + place + "Ethernet</item>\n" +
           " <item name=\"tx_" + place + "1</item>\n <item name=\"rx_" + place + "2</item>\n";
}

std::string interface_sample(const std::string& shown) {
    return "dashboard_traffic_bytes_total{kind=\"current\",interface=\"" + shown + "\",direction=\"receive\"}";
}

samples said_of_names(const std::vector<std::string>& names) {
    router_documents documents;
    std::string lines;
    for (unsigned k = 0; k < names.size(); ++k) {
        lines += device_lines(k, names[k]);
    }
    documents.files["current_traffic_sec_0.xml"].text = document_of(lines);
    return samples_of(exposed(documents));
}

TEST(HostileNames, AreEscaped) {
    const std::vector<std::pair<std::string, std::string>> names = {
        {"a\"b", "a\\\"b"},
        {"a\\b", "a\\\\x5cb"},
        {"</item>", "</item>"},
        {"<a&b>", "<a&b>"},
        {"a\x01\x7f", "a\\\\x01\\\\x7f"},
        {"\xff\xc3\xa4", "\\\\xff\xc3\xa4"},
        {"\xed\xa0\x80", "\\\\xed\\\\xa0\\\\x80"},
        {"\xf4\x90\x80\x80", "\\\\xf4\\\\x90\\\\x80\\\\x80"},
        {"\xc0\xaf", "\\\\xc0\\\\xaf"},
        {"\xe2\x82", "\\\\xe2\\\\x82"},
        {"\xc3(", "\\\\xc3("},
        {"}{,=", "}{,="},
        {"\\xff", "\\\\x5cxff"}};
    for (const auto& [name, shown] : names) {
        const samples all = said_of_names({name});
        EXPECT_THAT(all, Contains(Pair(interface_sample(shown), "2"))) << shown;
        EXPECT_THAT(all, Contains(Pair(rejected("current_traffic"), "0"))) << shown;
    }
}

TEST(HostileNames, StayApart) {
    const samples all = said_of_names({"\xff", "\\xff", "\\x5cxff", "\x5c"});
    EXPECT_THAT(all, Contains(Pair(rejected("current_traffic"), "0")));
    EXPECT_THAT(all, Contains(Key(interface_sample("\\\\xff"))));
    EXPECT_THAT(all, Contains(Key(interface_sample("\\\\x5cxff"))));
}

TEST(HostileNames, ThatComeTwiceCountOnce) {
    const samples all = said_of_names({"eth0", "eth1", "eth0"});
    EXPECT_THAT(all, Contains(Key(interface_sample("eth0"))));
    EXPECT_THAT(all, Contains(Key(interface_sample("eth1"))));
    EXPECT_THAT(all, Contains(Pair(rejected("current_traffic"), "1")));
}

TEST(HostileNames, ThatAreTooLongOrMissingAreRejected) {
    samples all = said_of_names({"0123456789abcdef", ""});
    EXPECT_THAT(all, Not(Contains(Key(interface_sample("0123456789abcdef")))));
    EXPECT_THAT(all, Contains(Pair(rejected("current_traffic"), "4"))); // two names, two devices without one
}

TEST(HostileDocuments, MakeNoSeriesBeyondTheLimits) {
    router_documents documents;
    std::string lines;
    for (unsigned k = 0; k < 300; ++k) {
        lines += device_lines(k, "eth" + std::to_string(k));
    }
    documents.files["current_traffic_sec_0.xml"].text = document_of(lines);
    documents.put("wan_traffic_sec_0.xml", {{"wan0_tx", "1"},
                                            {"wan17_tx", "1"},
                                            {"wan01_tx", "1"},
                                            {"wan_tx", "1"},
                                            {"wan4294967297_tx", "1"},
                                            {"wan99999999999999999999_tx", "1"}});
    documents.put("aptraffic_sec_128.xml", {{"VAP1_24_TxRx", "1"}});
    documents.put("bond_traffic_sec_3.xml", {{"bond3_txrx", "1"}});
    documents.put("bond_traffic_sec_0.xml", {{"bond1_txrx", "1"}});
    const samples all = samples_of(exposed(documents));
    EXPECT_THAT(all, Contains(Key(interface_sample("eth74"))));
    EXPECT_THAT(all, Not(Contains(Key(interface_sample("eth75")))));
    EXPECT_THAT(all, Contains(Pair(rejected("current_traffic"), std::to_string(225 * 4))));
    EXPECT_THAT(all, Contains(Pair(rejected("wan_traffic"), "6")));
    EXPECT_THAT(all, Contains(Pair(rejected("bond_traffic_0"), "1")));
    EXPECT_THAT(all, Not(Contains(Key(readable("aptraffic_128")))));
    EXPECT_THAT(all, Not(Contains(Key(readable("bond_traffic_3")))));
}

TEST(HostileDocuments, MakeNoSampleOfWhatIsNoNumber) {
    for (const char* text : {"", "-1", "+1", "01", "1.0", "1e3", "0x1", " 1", "1 ", "18446744073709551616", "NaN",
                             "99999999999999999999999", "1\n2", "<b>1</b>"}) {
        router_documents documents;
        documents.put("wan_traffic_sec_0.xml", {{"wan1_tx", text}, {"wan1_rx", "7"}});
        const samples all = samples_of(exposed(documents));
        EXPECT_THAT(all, Not(Contains(Key("dashboard_traffic_bytes_total{kind=\"wan\",interface=\"wan1\","
                                          "direction=\"transmit\"}"))))
            << text;
        EXPECT_THAT(all, Contains(Key("dashboard_traffic_bytes_total{kind=\"wan\",interface=\"wan1\","
                                      "direction=\"receive\"}")))
            << text;
        EXPECT_THAT(all, Not(Contains(Pair(rejected("wan_traffic"), "0")))) << text;
    }
}

TEST(HostileDocuments, MakeNoSampleTwice) {
    router_documents documents;
    documents.put("mem_usage_sec_0.xml", {{"mem_usage", "1"}, {"mem_usage", "2"}});
    documents.put("lan_traffic_sec_0.xml", {{"lan1_tx", "1"}, {"lan1_tx", "2"}});
    const samples all = samples_of(exposed(documents));
    EXPECT_THAT(all, Contains(Pair("dashboard_memory_used_bytes", "1024")));
    EXPECT_THAT(all, Contains(Pair(rejected("mem_usage"), "1")));
    EXPECT_THAT(all, Contains(Pair(rejected("lan_traffic"), "1")));
}

TEST(HostileDocuments, WithATimeThatIsNoneAreMalformed) {
    for (const char* time :
         {"", "x", "1</time><time>2", "1795233703", "1795233703500", "99999999999999000", "-0", "--1000"}) {
        router_documents documents;
        documents.files["mem_usage_sec_0.xml"].text =
            document_of("    <time>" + std::string(time) + "</time>\n    <mem_usage>1</mem_usage>\n");
        const samples all = samples_of(exposed(documents));
        EXPECT_THAT(all, Contains(Pair(readable("mem_usage"), "0"))) << time;
        EXPECT_THAT(all, Not(Contains(Key("dashboard_memory_used_bytes")))) << time;
    }
}

TEST(HostileDocuments, WithATimeThatDoesNotEndAreMalformed) {
    router_documents documents;
    documents.files["mem_usage_sec_0.xml"].text =
        document_of("    <time>1795233702000</tim>\n    <mem_usage>1</mem_usage>\n");
    EXPECT_THAT(samples_of(exposed(documents)), Contains(Pair(readable("mem_usage"), "0")));
}

TEST(HostileDocuments, ThatAreLongerThanAnyAreMalformed) {
    router_documents documents;
    const std::string filler(longest_end, 'x');
    documents.files["current_traffic_sec_0.xml"].text = document_of(" <usage>1|2|3</usage>\n" + filler + "\n");
    documents.files["mem_usage_sec_0.xml"].text =
        document_of("    <time>1795233702000</time>\n    <mem_usage>1</mem_usage>\n" + filler + "\n");
    const samples all = samples_of(exposed(documents));
    EXPECT_THAT(all, Contains(Pair(readable("current_traffic"), "0")));
    EXPECT_THAT(all, Contains(Pair(readable("mem_usage"), "0")));
}

TEST(HostileDocuments, AreReadLineByLine) {
    router_documents documents;
    documents.put("mem_usage_sec_0.xml", {{"mem_usage", "1"}});
    std::string& text = documents.files["mem_usage_sec_0.xml"].text;
    text.insert(text.find("</datalist>"),
                "    <open>\n<>x</>\n    <a b=\"c\">1</a>\nno element\n\n    <item name=>1</item>\n");
    const samples all = samples_of(exposed(documents));
    EXPECT_THAT(all, Contains(Pair("dashboard_memory_used_bytes", "1024")));
    EXPECT_THAT(all, Contains(Pair(rejected("mem_usage"), "6")));
}

} // namespace
} // namespace dashboard::testing
