// The scanners of numbers, words and fixed text against the C library's own.
#include "probes/text_scan.h"

#include "probes/text_source.h"

#include <gtest/gtest.h>

#include <climits>
#include <cstdio>
#include <random>
#include <string>

namespace dashboard::testing {
namespace {

// What a scanner made of a text: whether it found something, the characters it consumed, the value.
template <class Value>
struct outcome {
    bool found = false;
    int consumed = -1;
    Value value{};

    friend bool operator==(const outcome& a, const outcome& b) {
        return a.found == b.found && a.value == b.value && (!a.found || a.consumed == b.consumed);
    }
    friend std::ostream& operator<<(std::ostream& out, const outcome& o) {
        return out << (o.found ? "found " : "missed ") << o.value << " after " << o.consumed << " characters";
    }
};

template <class Number>
outcome<Number> scanned(const std::string& text) {
    outcome<Number> result;
    result.value = 12345;
    string_source source{text.c_str()};
    result.found = scan_unsigned(source, result.value);
    result.consumed = static_cast<int>(source.at - text.c_str());
    return result;
}

outcome<unsigned long long> scanned_by_libc(const std::string& text, unsigned long long /*which*/) {
    outcome<unsigned long long> result;
    result.value = 12345;
    result.found = sscanf(text.c_str(), "%llu%n", &result.value, &result.consumed) == 1;
    return result;
}

outcome<unsigned long> scanned_by_libc(const std::string& text, unsigned long /*which*/) {
    outcome<unsigned long> result;
    result.value = 12345;
    result.found = sscanf(text.c_str(), "%lu%n", &result.value, &result.consumed) == 1;
    return result;
}

outcome<int32_t> scanned_integer(const std::string& text) {
    outcome<int32_t> result;
    result.value = 12345;
    string_source source{text.c_str()};
    result.found = scan_integer(source, result.value);
    result.consumed = static_cast<int>(source.at - text.c_str());
    return result;
}

outcome<int32_t> scanned_by_libc(const std::string& text, int32_t /*which*/) {
    outcome<int32_t> result;
    result.value = 12345;
    result.found = sscanf(text.c_str(), "%d%n", &result.value, &result.consumed) == 1;
    return result;
}

void expect_same_number(const std::string& text) {
    EXPECT_EQ(scanned_integer(text), scanned_by_libc(text, int32_t{0})) << '"' << text << '"';
    EXPECT_EQ(scanned<unsigned long long>(text), scanned_by_libc(text, 0ULL)) << '"' << text << '"';
    EXPECT_EQ(scanned<unsigned long>(text), scanned_by_libc(text, 0UL)) << '"' << text << '"';
}

std::string random_text(std::mt19937& random, const std::string& alphabet, size_t longest) {
    std::string text(random() % (longest + 1), ' ');
    for (char& letter : text) {
        letter = alphabet[random() % alphabet.size()];
    }
    return text;
}

TEST(ScanNumber, ReadsWhatTheCLibraryReads) {
    for (const char* text : {"",
                             " ",
                             "0",
                             "7",
                             "007",
                             "  42 ",
                             "\t\n\v\f\r9",
                             "+5",
                             "-5",
                             "-0",
                             "--5",
                             "+-5",
                             "- 5",
                             "-",
                             "+",
                             "x",
                             "12x",
                             "0x10",
                             "1.5",
                             "1e3",
                             "4294967295",
                             "4294967296",
                             "4294967297",
                             "-4294967295",
                             "-4294967296",
                             "18446744073709551614",
                             "18446744073709551615",
                             "18446744073709551616",
                             "18446744073709551620",
                             "-18446744073709551615",
                             "-18446744073709551616",
                             "99999999999999999999999999",
                             "-99999999999999999999999",
                             "00000000000000000000000000000000000000001",
                             "\2405",
                             "\xff"}) {
        expect_same_number(text);
    }
}

TEST(ScanNumber, ReadsWhatTheCLibraryReadsOfGeneratedTexts) {
    std::mt19937 random(20240607);
    for (int i = 0; i < 20000; ++i) {
        expect_same_number(random_text(random, "0123456789", 24));
        expect_same_number(random_text(random, " \t\n\v\f\r+-0123456789.x", 12));
    }
}

TEST(ScanNumber, ReadsWhatTheCLibraryReadsAroundTheLimits) {
    for (const unsigned long long limit : {1ULL << 31, 1ULL << 32, 1ULL << 63, ULLONG_MAX - 50}) {
        for (unsigned long long number = limit - 50; number < limit + 50; ++number) {
            expect_same_number(std::to_string(number));
            expect_same_number("-" + std::to_string(number));
        }
    }
}

TEST(ScanUnsigned, LeavesItsResultAloneWhenThereIsNoNumber) {
    for (const char* text : {"", "x", "-", " + 1"}) {
        string_source source{text};
        unsigned long value = 12345;
        EXPECT_FALSE(scan_unsigned(source, value)) << text;
        EXPECT_EQ(value, 12345u) << text;
    }
}

TEST(ScanUnsigned, ReadsNumbersAfterEachOther) {
    string_source source{" 1 -2\t+3"};
    uint32_t value = 0;
    EXPECT_TRUE(scan_unsigned(source, value));
    EXPECT_EQ(value, 1u);
    EXPECT_TRUE(scan_unsigned(source, value));
    EXPECT_EQ(value, UINT32_MAX - 1);
    EXPECT_TRUE(scan_unsigned(source, value));
    EXPECT_EQ(value, 3u);
    EXPECT_FALSE(scan_unsigned(source, value));
    EXPECT_EQ(source.peek(), -1);
}

outcome<std::string> scanned_word(const std::string& text) {
    outcome<std::string> result;
    char word[17] = "untouched";
    string_source source{text.c_str()};
    result.found = scan_word(source, word);
    result.consumed = static_cast<int>(source.at - text.c_str());
    result.value = result.found ? word : "";
    return result;
}

outcome<std::string> scanned_word_by_libc(const std::string& text) {
    outcome<std::string> result;
    char word[17] = "untouched";
    result.found = sscanf(text.c_str(), "%16s%n", word, &result.consumed) == 1;
    result.value = result.found ? word : "";
    return result;
}

TEST(ScanWord, StopsAtItsSizeOrAtWhiteSpaceAsTheCLibraryDoes) {
    for (const char* text : {"", "  ", "eth0:", "  eth0: 1", "fifteen_letters", "sixteen_letters:", "seventeen_letters",
                             "seventeen_letters: 12", "\vword\fnext", "\xe9\xa0 x"}) {
        EXPECT_EQ(scanned_word(text), scanned_word_by_libc(text)) << '"' << text << '"';
    }
    std::mt19937 random(7);
    for (int i = 0; i < 20000; ++i) {
        const std::string text = random_text(random, "aaaaaaaaa:: \t\n\v\f\r1", 24);
        EXPECT_EQ(scanned_word(text), scanned_word_by_libc(text)) << '"' << text << '"';
    }
}

TEST(ScanWord, IsEmptyWhenThereIsNone) {
    char word[5] = "old";
    string_source source{"  "};
    EXPECT_FALSE(scan_word(source, word));
    EXPECT_STREQ(word, "");
}

TEST(SkipWord, LeavesWhatFollowsTheWord) {
    char word[3];
    string_source source{" abcdef\t12"};
    EXPECT_TRUE(scan_word(source, word));
    EXPECT_STREQ(word, "ab");
    skip_word(source);
    EXPECT_STREQ(source.at, "\t12");
    skip_word(source);
    EXPECT_STREQ(source.at, "\t12");
}

TEST(ScanLiteral, ConsumesAsFarAsTheTextAgrees) {
    string_source source{"MemTotal: 5"};
    EXPECT_FALSE(scan_literal(source, "MemFree:"));
    EXPECT_STREQ(source.at, "Total: 5");
    EXPECT_TRUE(scan_literal(source, "Total:"));
    EXPECT_STREQ(source.at, " 5");
    EXPECT_TRUE(scan_literal(source, ""));
    EXPECT_FALSE(scan_literal(source, " 55"));
    EXPECT_EQ(source.peek(), -1);
}

TEST(ScanLiteral, KnowsBytesAbove127) {
    string_source source{"\xe9t\xe9"};
    EXPECT_TRUE(scan_literal(source, "\xe9t\xe9"));
}

TEST(ScanSpace, SkipsTheSixWhiteSpaceCharactersAndNothingElse) {
    for (int c = 1; c < 256; ++c) {
        const char text[] = {static_cast<char>(c), '\0'};
        string_source source{text};
        scan_space(source);
        const bool skipped = source.peek() == -1;
        EXPECT_EQ(skipped, std::string(" \t\n\v\f\r").find(text) != std::string::npos) << c;
    }
    EXPECT_FALSE(is_space(-1));
    EXPECT_FALSE(is_digit(-1));
}

} // namespace
} // namespace dashboard::testing
