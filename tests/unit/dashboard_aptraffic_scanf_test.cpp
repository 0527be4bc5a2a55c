// The reader of access points' records against sscanf itself, over lines that are right, nearly right and wrong.
#include "probes/dashboard_aptraffic.h"
#include "tests/models/ap_records.h"
#include "tests/unit/heard_messages.h"

#include <gmock/gmock.h>

#include <cstdio>
#include <random>
#include <string>

namespace dashboard::testing {
namespace {

#define GROUP "%llu,%llu,%llu@"
#define EIGHT_GROUPS GROUP GROUP GROUP GROUP GROUP GROUP GROUP GROUP
#define THREE(i) &v[i], &v[(i) + 1], &v[(i) + 2]
#define NINE(i) THREE(i), THREE((i) + 3), THREE((i) + 6)

// What sscanf makes of the first line of `text`.
int scanned(const std::string& text, unsigned long long (&v)[ap_counters]) {
    const std::string line = text.substr(0, text.find('\n'));
    return sscanf(line.c_str(), "APMgnt_Info_Traffic_@" GROUP "_@" EIGHT_GROUPS "_@" EIGHT_GROUPS, NINE(0), NINE(9),
                  NINE(18), NINE(27), NINE(36), THREE(45), THREE(48));
}

class ApTrafficLikeScanf : public ::testing::Test {
protected:
    listening_world world;
    std::mt19937 random{20};
    int complete = 0; // lines of which all counters were read

    size_t below(size_t limit) { return random() % limit; }

    std::string number() {
        static const char* const odd[] = {"0",   "18446744073709551615",  "18446744073709551616",   "-1", "+0", "", "-",
                                          "007", "-18446744073709551617", "99999999999999999999999"};
        std::string text = below(12) == 0 ? odd[below(std::size(odd))] : std::to_string(random() >> below(32));
        while (below(12) == 0) {
            text.insert(text.begin(), " \t\v\f\r+-"[below(7)]);
        }
        return text;
    }

    std::string line() {
        std::array<std::string, ap_counters> texts;
        const bool plain = below(2) == 0;
        for (std::string& text : texts) {
            text = plain ? std::to_string(random()) : number();
        }
        return ap_line_of(texts);
    }

    void spoil(std::string& text) {
        static constexpr char letters[] = "0123456789,@_ \t\r\n\0+-xA";
        const size_t at = below(text.size());
        const char letter = letters[below(sizeof letters - 1)];
        switch (below(5)) {
        case 0:
            text.erase(at, 1 + below(3));
            break;
        case 1:
            text.insert(at, 1, letter);
            break;
        case 2:
            text[at] = letter;
            break;
        case 3:
            text.resize(at);
            break;
        default:
            text.insert(below(text.size()), text.substr(at, below(20)));
        }
        text += text.empty() ? "A" : "";
    }

    // The whole message, or nothing.
    std::string said() {
        std::string all;
        for (const std::string& message : world.messages()) {
            all += message;
        }
        world.forget_calls();
        return all;
    }

    void compare(const std::string& text) {
        unsigned long long expected[ap_counters] = {};
        const int count = scanned(text, expected);
        ap_traffic_record record{};
        world.file(ap_file(0), text);
        ASSERT_EQ(read_access_point(0, &record), count == ap_counters ? 1 : 0);
        const unsigned long long* own[] = {&record.ap_first, &record.ap_second, &record.ap_txrx};
        for (size_t i = 0; i < 3; ++i) {
            ASSERT_EQ(*own[i], expected[i]);
        }
        for (size_t k = 0; k < 8; ++k) {
            ASSERT_EQ(record.vap24_first[k], expected[3 + 3 * k]);
            ASSERT_EQ(record.vap24_second[k], expected[4 + 3 * k]);
            ASSERT_EQ(record.vap24_txrx[k], expected[5 + 3 * k]);
            ASSERT_EQ(record.vap50_first[k], expected[27 + 3 * k]);
            ASSERT_EQ(record.vap50_second[k], expected[28 + 3 * k]);
            ASSERT_EQ(record.vap50_txrx[k], expected[29 + 3 * k]);
        }
        const std::string warning =
            "warn[get_ap_traffic_info]: sscanf rturn " + std::to_string(count) + ", should be 17*3";
        ASSERT_EQ(said(), count == ap_counters ? "" : warning);
        complete += count == ap_counters ? 1 : 0;
    }
};

TEST_F(ApTrafficLikeScanf, OnLinesOfEveryKind) {
    for (int i = 0; i < 1500; ++i) {
        std::string text = line();
        for (size_t spoilt = below(4); spoilt > 0; --spoilt) {
            spoil(text);
        }
        text += below(2) == 0 ? "\n" : "";
        SCOPED_TRACE(text);
        ASSERT_NO_FATAL_FAILURE(compare(text));
    }
    EXPECT_GT(complete, 100);
}

TEST_F(ApTrafficLikeScanf, OnALineCutAtEveryPlace) {
    const std::string whole = ap_line(counted_from(90)) + "\n";
    for (size_t length = 1; length <= whole.size(); ++length) {
        SCOPED_TRACE(length);
        ASSERT_NO_FATAL_FAILURE(compare(whole.substr(0, length)));
    }
}

TEST_F(ApTrafficLikeScanf, OnALineWithAWrongLetterAtEveryPlace) {
    const std::string whole = ap_line(counted_from(90)) + "\n";
    for (const char letter : {'?', ' ', '-', '\0', '\n'}) {
        for (size_t at = 0; at < whole.size(); ++at) {
            SCOPED_TRACE(at);
            std::string text = whole;
            text[at] = letter;
            ASSERT_NO_FATAL_FAILURE(compare(text));
        }
    }
}

TEST_F(ApTrafficLikeScanf, OnALineCutBehindASignAtEveryPlace) {
    const std::string whole = ap_line(counted_from(90));
    for (size_t length = 20; length <= whole.size(); ++length) {
        for (const char* end : {"-", "+", " ", "- ", "-1", "+-"}) {
            SCOPED_TRACE(whole.substr(0, length) + end);
            ASSERT_NO_FATAL_FAILURE(compare(whole.substr(0, length) + end));
        }
    }
}

} // namespace
} // namespace dashboard::testing
