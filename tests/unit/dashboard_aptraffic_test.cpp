// The record that another process writes for each access point.
#include "probes/dashboard_aptraffic.h"
#include "tests/models/ap_records.h"
#include "tests/unit/heard_messages.h"
#include "tests/unit/open_descriptors.h"

#include <gmock/gmock.h>

#include <cerrno>
#include <string>
#include <sys/stat.h>

namespace dashboard::testing {
namespace {

using ::testing::ElementsAre;
using ::testing::ElementsAreArray;
using ::testing::IsEmpty;

constexpr char path[] = "/tmp/aptraffic/APTraffic_5";

class ApTraffic : public ::testing::Test {
protected:
    listening_world world;
    ap_traffic_record record{};

    int read(const std::string& text) {
        world.file(path, text);
        return get_ap_traffic_info(path, &record);
    }

    // The record's counters in the order of the line.
    ap_values values() const {
        ap_values out{record.ap_first, record.ap_second, record.ap_txrx};
        for (size_t k = 0; k < 8; ++k) {
            out[3 + 3 * k] = record.vap24_first[k];
            out[4 + 3 * k] = record.vap24_second[k];
            out[5 + 3 * k] = record.vap24_txrx[k];
            out[27 + 3 * k] = record.vap50_first[k];
            out[28 + 3 * k] = record.vap50_second[k];
            out[29 + 3 * k] = record.vap50_txrx[k];
        }
        return out;
    }

    void expect_read(const std::string& text, const ap_values& expected) {
        record = {};
        EXPECT_EQ(read(text), 1);
        EXPECT_THAT(values(), ElementsAreArray(expected));
        EXPECT_THAT(world.messages(), IsEmpty());
    }
    void expect_refused(const std::string& text, int count) {
        EXPECT_EQ(read(text), 0);
        EXPECT_THAT(world.messages(), ElementsAre("warn[get_ap_traffic_info]: sscanf rturn " + std::to_string(count) +
                                                  ", should be 17*3"));
    }
};

TEST_F(ApTraffic, KeepsTheApsGroupTogetherAndTheVapsInColumns) {
    record.time = 77;
    ASSERT_EQ(
        read("APMgnt_Info_Traffic_@1,2,3@_@"
             "11,12,13@21,22,23@31,32,33@41,42,43@51,52,53@61,62,63@71,72,73@81,82,83@_@"
             "111,112,113@121,122,123@131,132,133@141,142,143@151,152,153@161,162,163@171,172,173@181,182,183@\n"),
        1);
    EXPECT_EQ(record.ap_first, 1u);
    EXPECT_EQ(record.ap_second, 2u);
    EXPECT_EQ(record.ap_txrx, 3u);
    EXPECT_THAT(record.vap24_first, ElementsAre(11, 21, 31, 41, 51, 61, 71, 81));
    EXPECT_THAT(record.vap24_second, ElementsAre(12, 22, 32, 42, 52, 62, 72, 82));
    EXPECT_THAT(record.vap24_txrx, ElementsAre(13, 23, 33, 43, 53, 63, 73, 83));
    EXPECT_THAT(record.vap50_first, ElementsAre(111, 121, 131, 141, 151, 161, 171, 181));
    EXPECT_THAT(record.vap50_second, ElementsAre(112, 122, 132, 142, 152, 162, 172, 182));
    EXPECT_THAT(record.vap50_txrx, ElementsAre(113, 123, 133, 143, 153, 163, 173, 183));
    EXPECT_EQ(record.time, 77) << "the caller's business";
}

TEST_F(ApTraffic, ReadsTheSameWithAndWithoutANewline) {
    expect_read(ap_line(counted_from(100)), counted_from(100));
    expect_read(ap_line(counted_from(200)) + "\n", counted_from(200));
}

TEST_F(ApTraffic, OnlyTheFirstLineCounts) {
    const std::string line = ap_line(counted_from(1));
    expect_read(line + "\n" + ap_line(counted_from(500)) + "\n", counted_from(1));
    record = {};
    expect_refused("\n" + line + "\n", -1);
    const size_t seventh = line.find("7,8,9@");
    expect_refused(line.substr(0, seventh) + "\n" + line.substr(seventh), 6);
}

TEST_F(ApTraffic, IgnoresTextAfterTheLastSeparator) {
    for (const char* tail : {"x", " ", "@", "_@1,2,3@", "\r", "APMgnt_Info_Traffic_@"}) {
        expect_read(ap_line(counted_from(9)) + tail + "\n", counted_from(9));
    }
}

TEST_F(ApTraffic, DoesWithoutTheLastSeparator) {
    std::string line = ap_line(counted_from(9));
    line.pop_back();
    expect_read(line, counted_from(9));
    expect_read(line + "\n", counted_from(9));
    expect_read(line + ";", counted_from(9));
}

TEST_F(ApTraffic, TakesWhiteSpaceBeforeANumberAndOnlyThere) {
    auto texts = texts_of(counted_from(60));
    for (size_t i = 0; i < ap_counters; ++i) {
        texts[i] = std::string(" \t\v\f\r").substr(i % 5) + texts[i];
    }
    expect_read(ap_line_of(texts), counted_from(60));
    texts = texts_of(counted_from(60));
    texts[1] += " ";
    expect_refused(ap_line_of(texts), 2);
    expect_refused(" " + ap_line(counted_from(60)), 0);
}

TEST_F(ApTraffic, TakesSigns) {
    auto texts = texts_of(counted_from(1));
    ap_values expected = counted_from(1);
    texts[0] = "-1";
    expected[0] = UINT64_MAX;
    texts[1] = "+17";
    expected[1] = 17;
    texts[2] = "-0";
    expected[2] = 0;
    texts[50] = "  -18446744073709551615";
    expected[50] = 1;
    expect_read(ap_line_of(texts), expected);
    texts[3] = "--1";
    expect_refused(ap_line_of(texts), 3);
    texts[3] = "- 1";
    expect_refused(ap_line_of(texts), 3);
}

TEST_F(ApTraffic, TakesNumbersOfAnySize) {
    auto texts = texts_of(counted_from(1));
    ap_values expected = counted_from(1);
    texts[0] = "18446744073709551615";
    texts[1] = "18446744073709551616";
    texts[2] = std::string(400, '9');
    texts[3] = "-18446744073709551616";
    expected[0] = expected[1] = expected[2] = expected[3] = UINT64_MAX;
    texts[4] = "000000000000000000000000000000000008";
    expected[4] = 8;
    expect_read(ap_line_of(texts), expected);
    texts[4] = "0x8";
    expect_refused(ap_line_of(texts), 5);
}

TEST_F(ApTraffic, AnswersWithTheCountersBeforeTheMismatchInTheRecord) {
    const ap_values fresh = counted_from(1000);
    for (size_t count = 1; count < ap_counters; ++count) {
        auto texts = texts_of(fresh);
        texts[count] = "?";
        record = {};
        ASSERT_EQ(read(ap_line(counted_from(7))), 1); // what was there before
        expect_refused(ap_line_of(texts), static_cast<int>(count));
        ap_values expected = counted_from(7);
        std::copy_n(fresh.begin(), count, expected.begin());
        EXPECT_THAT(values(), ElementsAreArray(expected));
    }
}

TEST_F(ApTraffic, ALineThatEndsAfterTheFirstBandHas27Counters) {
    expect_refused(
        "APMgnt_Info_Traffic_@1,2,3@_@4,5,6@7,8,9@10,11,12@13,14,15@16,17,18@19,20,21@22,23,24@25,26,27@_@\n", 27);
    EXPECT_THAT(record.vap24_txrx, ElementsAre(6, 9, 12, 15, 18, 21, 24, 27));
    EXPECT_THAT(record.vap50_txrx, ElementsAre(0, 0, 0, 0, 0, 0, 0, 0));
}

TEST_F(ApTraffic, AnotherPrefixHasNoCounters) {
    for (const char* text :
         {"apmgnt_info_traffic_@1,2,3@", "APMGNT_INFO_TRAFFIC_@1,2,3@", "x", "APMgnt_Info_Traffic_1,2,3@", "1,2,3@",
          "APMgnt_Info_Traffic@1,2,3@", "APMgnt_Info_Traffic_@,2,3@", "APMgnt_Info_Traffic_@x",
          "APMgnt_Info_Traffic_@-", "APMgnt_Info_Traffic_@ +", "APMgnt_Info_Traffic_@-,1,2@"}) {
        expect_refused(text, 0);
        EXPECT_THAT(values(), ElementsAreArray(ap_values{}));
    }
}

TEST_F(ApTraffic, ALineThatEndsBeforeTheFirstCounterCountsMinusOneAsScanfHasIt) {
    for (const char* text : {"\n", "A", "APMgnt_Info_Traffic_", "APMgnt_Info_Traffic_@", "APMgnt_Info_Traffic_@ \t",
                             "APMgnt_Info_Traffic_@\n1,2,3@"}) {
        expect_refused(text, -1);
    }
}

TEST_F(ApTraffic, ANulEndsTheLine) {
    std::string line = ap_line(counted_from(3));
    expect_read(line + std::string(1, '\0') + "x\n", counted_from(3));
    line[line.find("9,10,11@")] = '\0';
    expect_refused(line, 6);
    expect_refused(std::string(1, '\0') + line, -1);
}

// ---- long lines

TEST_F(ApTraffic, ATailOfAMegabyteDoesNotMatter) {
    expect_read(ap_line(counted_from(3)) + std::string(1 << 20, 'x'), counted_from(3));
    expect_read(ap_line(counted_from(3)) + std::string(1 << 20, '9') + "\n" + ap_line(counted_from(5)),
                counted_from(3));
}

TEST_F(ApTraffic, NumbersLieBehindAnyNumberOfBlanksAndZeros) {
    auto texts = texts_of(counted_from(3));
    texts[0] = std::string(100'000, ' ') + "3";
    texts[26] = std::string(100'000, '0') + "29";
    texts[50] = std::string(100'000, '\t') + "+" + std::string(100'000, '0') + "53";
    expect_read(ap_line_of(texts) + "\n", counted_from(3));
}

TEST_F(ApTraffic, AMegabyteOfDigitsIsTheLargestNumber) {
    auto texts = texts_of(counted_from(3));
    ap_values expected = counted_from(3);
    texts[7] = std::string(1 << 20, '1');
    expected[7] = UINT64_MAX;
    expect_read(ap_line_of(texts), expected);
}

TEST_F(ApTraffic, ReadsOnWhereverAPieceOfTheFileEnds) {
    // Pieces of 16384 characters: the border passes through every place of the record.
    const size_t length = ap_line(counted_from(1'000'000)).size();
    for (size_t shift = 0; shift < length; ++shift) {
        auto texts = texts_of(counted_from(1'000'000));
        texts[0] = std::string(16384 - 21 - shift, ' ') + texts[0];
        record = {};
        ASSERT_EQ(read(ap_line_of(texts) + "\n"), 1) << shift;
        ASSERT_THAT(values(), ElementsAreArray(counted_from(1'000'000))) << shift;
    }
}

// ---- files

TEST_F(ApTraffic, AMissingOrUnreadableFileIsNoMatterForAMessage) {
    record.ap_first = 5;
    const int before = open_descriptors();
    EXPECT_EQ(get_ap_traffic_info(path, &record), 0);
    world.file(path, ap_line(counted_from(1)));
    world.fail("open", EACCES, path);
    EXPECT_EQ(get_ap_traffic_info(path, &record), 0);
    EXPECT_EQ(record.ap_first, 5u);
    EXPECT_EQ(open_descriptors(), before);
    EXPECT_THAT(world.messages(), IsEmpty());
}

TEST_F(ApTraffic, AnEmptyFileStaysOpen) {
    const int before = open_descriptors();
    for (int i = 1; i <= 3; ++i) {
        EXPECT_EQ(read(""), 0);
        EXPECT_EQ(open_descriptors(), before + i);
    }
    EXPECT_THAT(world.messages(), IsEmpty());
    EXPECT_THAT(values(), ElementsAreArray(ap_values{}));
}

TEST_F(ApTraffic, SoDoesOneWhoseFirstReadFails) {
    const int before = open_descriptors();
    world.folder(path); // a folder opens, but cannot be read
    EXPECT_EQ(get_ap_traffic_info(path, &record), 0);
    EXPECT_EQ(open_descriptors(), before + 1);
    world.remove(path);
    world.fail("read", EIO);
    EXPECT_EQ(read(ap_line(counted_from(1))), 0);
    EXPECT_EQ(open_descriptors(), before + 2);
    EXPECT_THAT(world.messages(), IsEmpty());
}

TEST_F(ApTraffic, APipeInItsPlaceIsUnreadableAndHoldsNobodyUp) {
    world.folder("/tmp/aptraffic");
    ASSERT_EQ(mkfifo(world.real_path(path).c_str(), 0600), 0);
    const int before = open_descriptors();
    EXPECT_EQ(get_ap_traffic_info(path, &record), 0);
    EXPECT_EQ(open_descriptors(), before);
    EXPECT_THAT(world.messages(), IsEmpty());
}

TEST_F(ApTraffic, EveryOtherFileIsClosed) {
    const int before = open_descriptors();
    EXPECT_EQ(read(ap_line(counted_from(1))), 1);
    EXPECT_EQ(read("x"), 0);
    EXPECT_EQ(read("\n"), 0);
    EXPECT_EQ(read(std::string(1, '\0')), 0);
    EXPECT_EQ(read(ap_line(counted_from(1)).substr(0, 100)), 0);
    EXPECT_EQ(open_descriptors(), before);
}

TEST_F(ApTraffic, AnInterruptedReadIsTakenUpAgain) {
    world.fail("read", EINTR, "", 3);
    expect_read(ap_line(counted_from(1)), counted_from(1));
}

TEST_F(ApTraffic, EveryAccessPointHasAFileOfItsOwn) {
    for (const int ap : {0, 1, 9, 10, 99, 100, 127}) {
        EXPECT_EQ(read_access_point(ap, &record), 0);
        world.file("/tmp/aptraffic/APTraffic_" + std::to_string(ap), ap_line(counted_from(static_cast<uint64_t>(ap))));
        EXPECT_EQ(read_access_point(ap, &record), 1);
        EXPECT_EQ(record.ap_first, static_cast<uint64_t>(ap));
    }
}

} // namespace
} // namespace dashboard::testing
