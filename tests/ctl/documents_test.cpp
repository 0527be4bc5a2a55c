#include "ctl/documents.h"

#include "ctl/ctl_text.h"
#include "tests/support/world.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <sys/stat.h>
#include <utime.h>

namespace dashboard {
namespace {

using ::testing::ElementsAre;
using testing::first_second;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using testing::test_world;

constexpr char two_samples[] = "<?xml version=\"1.0\" ?>\n<datalist>\n"
                               "    <time>1700000001000</time>\n    <mem_usage>1</mem_usage>\n"
                               "    <time>1700000002000</time>\n    <mem_usage>2</mem_usage>\n</datalist>\n";

TEST(FindDocument, KnowsEveryModulesNames) {
    size_t module = 0;
    series_kind series = series_kind::sec;
    ASSERT_TRUE(find_document("wan_traffic_min_0.xml", module, series));
    EXPECT_STREQ(module_table[module].items, "wan");
    EXPECT_EQ(series, series_kind::min);
    ASSERT_TRUE(find_document("aptraffic_hour_127.xml", module, series));
    EXPECT_STREQ(module_table[module].items, "ap");
    ASSERT_TRUE(find_document("aptraffic_allap_sec.xml", module, series));
    EXPECT_STREQ(module_table[module].items, "allap");
}

TEST(FindDocument, LeavesTemporaryAndOtherFilesAlone) {
    size_t module = 0;
    series_kind series = series_kind::sec;
    for (const char* const name : {"wan_traffic_sec_tmp.xml", "aptraffic_sec_3_tmp.xml", "aptraffic_allap_sec_tmp.xml",
                                   "current_traffic_sec_0_tmp.xml", "wan_traffic_sec_0.csv", "wan_traffic_sec_.xml"}) {
        EXPECT_FALSE(find_document(name, module, series)) << name;
    }
}

TEST(ReadDocument, FindsEverySampleTime) {
    const document_content content = read_document(two_samples);
    EXPECT_EQ(content.fault, "");
    EXPECT_THAT(content.times, ElementsAre(1700000001, 1700000002));
}

TEST(ReadDocument, FindsNoFaultInTheSamplesOfTheDocuments) {
    const std::vector<std::string> names = names_in(SAMPLES);
    ASSERT_GE(names.size(), 10U);
    for (const std::string& name : names) {
        std::string text;
        ASSERT_TRUE(read_file(std::string(SAMPLES) + "/" + name, text)) << name;
        EXPECT_EQ(read_document(text).fault, "") << name;
    }
}

TEST(ReadDocument, NamesWhatIsWrong) {
    const std::string whole = two_samples;
    EXPECT_EQ(read_document("").fault, "empty: the file system is or was full");
    EXPECT_EQ(read_document("<html>\n").fault, "does not begin as a document");
    EXPECT_EQ(read_document(whole.substr(0, whole.size() - 12)).fault, "cut short");
    EXPECT_EQ(read_document(whole + "    <time>1</time>\n").fault, "goes on behind its end");
    for (const char* const line : {"no element", "    <mem_usage", "    < >1</>"}) {
        std::string other = whole;
        other.insert(other.find("</datalist>"), std::string(line) + "\n");
        EXPECT_THAT(read_document(other).fault, HasSubstr(std::string("is no element: ") + line));
    }
    std::string torn = whole;
    torn.replace(torn.find("</mem_usage>"), 12, "</mem>");
    EXPECT_THAT(read_document(torn).fault, HasSubstr("is no element:     <mem_usage>1</mem>"));
}

TEST(LostSeconds, CountsTheHolesOfTheLastMinute) {
    EXPECT_EQ(lost_seconds({}), 0);
    EXPECT_EQ(lost_seconds({100}), 0);
    EXPECT_EQ(lost_seconds({100, 101, 102}), 0);
    EXPECT_EQ(lost_seconds({100, 102, 103, 106}), 3);
    EXPECT_EQ(lost_seconds({100, 100, 101}), 0);
}

TEST(LostSeconds, LooksAtSixtySecondsOnly) {
    EXPECT_EQ(lost_seconds({100, 200, 201}), 58);
    EXPECT_EQ(lost_seconds({100, 110, 111, 170}), 58);
    EXPECT_EQ(lost_seconds({100, 110, 170}), 59);
}

TEST(LostSeconds, BeginsAnewWhereTheClockWasSetBack) {
    EXPECT_EQ(lost_seconds({100, 105, 50, 51, 53}), 1);
}

// A document is removed and renamed into place: for a moment there is none.
TEST(LookAtDocuments, WaitsForOneThatIsBeingReplaced) {
    test_world world;
    world.file("/tmp/dashboard/mem_usage_sec_0.xml", two_samples);
    world.fail("stat", ENOENT, "mem_usage_sec_0.xml", 2);
    EXPECT_EQ(look_at_documents().size(), 1U);
    EXPECT_THAT(world.calls("usleep"), ElementsAre("20000", "20000"));
    world.fail("stat", ENOENT, "mem_usage_sec_0.xml", 3);
    EXPECT_THAT(look_at_documents(), IsEmpty());
}

TEST(LookAtDocuments, TellsSizeAgeAndLink) {
    test_world world;
    world.file("/tmp/dashboard/mem_usage_sec_0.xml", two_samples);
    world.file("/tmp/dashboard/mem_usage_sec_tmp.xml", "half");
    world.file("/tmp/dashboard/wan_traffic_sec_0.xml", "");
    world.link("/tmp/dashboard/wan_traffic_sec_0.xml", "/usr/www/wan_traffic_sec_0.xml");
    const utimbuf written = {first_second - 7, first_second - 7};
    ASSERT_EQ(utime(world.real_path("/tmp/dashboard/mem_usage_sec_0.xml").c_str(), &written), 0);

    const std::vector<document_state> documents = look_at_documents();
    ASSERT_EQ(documents.size(), 2U);
    EXPECT_EQ(documents[0].name, "mem_usage_sec_0.xml");
    EXPECT_EQ(documents[0].size, static_cast<int64_t>(sizeof two_samples - 1));
    EXPECT_EQ(documents[0].age, 7);
    EXPECT_FALSE(documents[0].linked);
    EXPECT_THAT(documents[0].content.fault, IsEmpty());
    EXPECT_TRUE(documents[1].linked);
    EXPECT_THAT(documents[1].content.fault, HasSubstr("full"));
}

} // namespace
} // namespace dashboard
