// The check of published documents itself: what it finds, and that it does find it.
#include "tests/daemon/document_check.h"

#include <gmock/gmock.h>

namespace dashboard::testing {
namespace {

using ::testing::AllOf;
using ::testing::HasSubstr;

constexpr char good[] = "<?xml version=\"1.0\" ?>\n"
                        "<datalist>\n"
                        "    <time>1700000000000</time>\n"
                        "    <mem_usage>65536</mem_usage>\n"
                        "</datalist>\n";
constexpr char without_time[] = "<?xml version=\"1.0\" ?>\n<datalist>\n    <mem_usage>1</mem_usage>\n</datalist>\n";
constexpr char not_xml[] = "<?xml version=\"1.0\" ?>\n<datalist>\n    <mem_usage>1 & 2</mem_usage>\n</datalist>\n";

class DocumentCheck : public ::testing::Test {
protected:
    void publish(const std::string& name, const std::string& text) {
        world.file("/tmp/dashboard/" + name, text);
        check.keep();
    }

    test_world world;
    document_check check{world};
};

TEST_F(DocumentCheck, AreFineWhenThereAreNone) {
    check.keep();
    EXPECT_EQ(check.complaints(), "");
}

TEST_F(DocumentCheck, AreFineWhenTheirSchemasSaySo) {
    publish("mem_usage_sec_0.xml", good);
    publish("mem_usage_hour_0.xml", good);
    EXPECT_EQ(check.complaints(), "");
}

TEST_F(DocumentCheck, AreReportedWithTheWordsOfTheirSchema) {
    publish("mem_usage_min_0.xml", good);
    publish("mem_usage_sec_0.xml", without_time);
    EXPECT_THAT(check.complaints(), AllOf(HasSubstr("mem_usage_sec_0.xml:3: "), HasSubstr("Expected is ( time )"),
                                          Not(HasSubstr("mem_usage_min_0.xml"))));
}

TEST_F(DocumentCheck, AreReportedWhenTheyAreNoXml) {
    publish("mem_usage_sec_0.xml", not_xml);
    EXPECT_THAT(check.complaints(), HasSubstr("parser error"));
}

TEST_F(DocumentCheck, AreReportedWhenAnotherHasTakenTheirPlaceSince) {
    publish("mem_usage_sec_0.xml", without_time);
    publish("mem_usage_sec_0.xml", good);
    EXPECT_THAT(check.complaints(), HasSubstr("mem_usage_sec_0.xml:3: "));
}

TEST_F(DocumentCheck, AreReportedWhenTheyHaveNoSchema) {
    publish("moon_phase_sec_0.xml", good);
    EXPECT_THAT(check.complaints(), HasSubstr("no schema moon_phase.xsd"));
}

TEST_F(DocumentCheck, AreLeftAloneUnderTheirTemporaryNames) {
    publish("mem_usage_sec_tmp.xml", not_xml);
    EXPECT_EQ(check.complaints(), "");
}

TEST_F(DocumentCheck, AreRefusedWhereThatIsExpected) {
    check.expect_refused("mem_usage_sec_0.xml");
    publish("mem_usage_sec_0.xml", good);
    EXPECT_EQ(check.complaints(), "no mem_usage_sec_0.xml was refused\n");
    publish("mem_usage_sec_0.xml", not_xml);
    EXPECT_EQ(check.complaints(), "");
    publish("mem_usage_hour_0.xml", not_xml);
    EXPECT_THAT(check.complaints(), HasSubstr("mem_usage_hour_0.xml:3: "));
}

} // namespace
} // namespace dashboard::testing
