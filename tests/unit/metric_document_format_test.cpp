// The documents' own formatting against the C library's.
#include "monitors/metric_document.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <climits>
#include <cstdio>
#include <random>
#include <string>

namespace dashboard::testing {
namespace {

// Both results of one call: the document's and the C library's.
#define COMPARE(...)                                                                                                   \
    do {                                                                                                               \
        char expected[longest_text];                                                                                   \
        const int length = snprintf(expected, sizeof expected, __VA_ARGS__);                                           \
        metric_document document;                                                                                      \
        document_printf(document, __VA_ARGS__);                                                                        \
        const std::string written(document.buffer, document.used);                                                     \
        ASSERT_EQ(written, length < static_cast<int>(longest_text) ? std::string(expected) : "");                      \
    } while (false)

std::string formatted_text(size_t length) {
    metric_document document;
    document_printf(document, "<%s>", std::string(length - 2, 'x').c_str());
    return {document.buffer, document.used};
}

TEST(DocumentFormat, PrintsIntegersLikeTheCLibrary) {
    for (const int value : {0, 1, -1, 9, 10, -10, 99, 100, 2147483646, INT_MAX, INT_MIN, INT_MIN + 1}) {
        COMPARE("    <cpu>%d</cpu>\n", value);
        COMPARE("%u", static_cast<unsigned>(value));
        COMPARE("%ld000", static_cast<long>(value));
    }
    COMPARE("%ld %ld", LONG_MIN, LONG_MAX);
    COMPARE("%u %u", UINT_MAX, 0u);
}

TEST(DocumentFormat, PrintsCountersLikeTheCLibrary) {
    for (const unsigned long long value :
         {0ull, 9ull, 10ull, 4294967295ull, 4294967296ull, 4294967297ull, 42949672949ull, 42949672950ull,
          42949672960ull, 10000000000ull, 9999999999999999999ull, 10000000000000000000ull, ULLONG_MAX - 1,
          ULLONG_MAX}) {
        COMPARE("    <wan%d_tx>%llu</wan%d_tx>\n", 16, value, 16);
    }
}

TEST(DocumentFormat, PrintsAnyNumberLikeTheCLibrary) {
    std::mt19937_64 random(7); // NOLINT(cert-msc51-cpp): the same numbers every time
    for (int i = 0; i < 20000; ++i) {
        const unsigned long long value = random() >> (random() % 64);
        COMPARE("%llu,%d,%u,%ld", value, static_cast<int>(value), static_cast<unsigned>(value),
                static_cast<long>(value));
    }
}

TEST(DocumentFormat, TakesArgumentsOfEveryKindInTurn) {
    COMPARE("%d%llu%s%ld%u%.64s%d%llu", -1, ULLONG_MAX, "a", -2L, 3u, "b", INT_MIN, 1ull);
    COMPARE("%s%d", "", 5);
    COMPARE("plain");
}

TEST(DocumentFormat, CutsATextOfLimitedLengthAndReadsNoFurther) {
    char unterminated[64];
    std::fill(std::begin(unterminated), std::end(unterminated), 'm');
    COMPARE("<%.64s>", unterminated);
    COMPARE("<%.64s>", std::string(63, 'm').c_str());
    COMPARE("<%.64s>", std::string(65, 'm').c_str());
    COMPARE("<%.64s>", "");
}

TEST(DocumentFormat, LeavesOutATextOf384CharactersWhateverItEndsWith) {
    EXPECT_EQ(formatted_text(383), "<" + std::string(381, 'x') + ">");
    EXPECT_EQ(formatted_text(384), "");
    EXPECT_EQ(formatted_text(1000), "");
    const std::string text(380, 'x');
    COMPARE("%s%d", text.c_str(), 123);
    COMPARE("%s%d", text.c_str(), 1234);
    COMPARE("%s%d", text.c_str(), -123);
    COMPARE("%s%llu%s", text.c_str(), 12345ull, "");
}

TEST(DocumentFormat, LeavesOutACounterThatDoesNotFitWhereverItIsCut) {
    for (size_t before = 362; before <= 383; ++before) { // twenty digits, the last eight of them put at once
        const std::string text(before, 'x');
        COMPARE("%s%llu", text.c_str(), ULLONG_MAX);
        COMPARE("%s%llu", text.c_str(), 10000000000ull);
        COMPARE("%s%ld", text.c_str(), LONG_MIN);
    }
}

TEST(DocumentFormat, WritesNothingBehindItsBufferOfATextThatIsLeftOut) {
    struct {
        metric_document document;
        char behind[longest_text];
    } watched;
    std::fill(std::begin(watched.behind), std::end(watched.behind), 'b');
    for (int i = 0; i < 37; ++i) {
        document_text(watched.document, std::string(100, 'x').c_str()); // 396 bytes are left
    }
    const std::string most(380, 'x');
    document_printf(watched.document, "%s%s", most.c_str(), most.c_str());
    document_printf(watched.document, "%sliteral text that is longer than the room that is left", most.c_str());
    EXPECT_EQ(std::string(watched.behind, sizeof watched.behind), std::string(sizeof watched.behind, 'b'));
}

TEST(DocumentFormat, LeavesOutATextWithAnotherConversion) {
    metric_document document;
    document_printf(document, "kept %d,", 1);
    document_printf(document, "left out %x %d", 2u, 3);
    document_printf(document, "left out %.3s", "abc");
    document_printf(document, "left out %lx", 5ul);
    document_printf(document, "kept %d", 4);
    EXPECT_EQ(std::string(document.buffer, document.used), "kept 1,kept 4");
}

} // namespace
} // namespace dashboard::testing
