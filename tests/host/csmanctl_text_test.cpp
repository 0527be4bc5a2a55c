#include "platform/host/csmanctl_text.h"

#include <climits>
#include <cstring>

#include <gtest/gtest.h>

#include "platform/host/csman_text.h"

namespace dashboard {
namespace {

TEST(CsmanctlText, IntegersOfBothKindsAreRead) {
    const struct {
        const char* text;
        int value;
    } good[] = {{"0", 0},     {"-1", -1},   {"010", 10},        {"2147483647", INT_MAX}, {"-2147483648", INT_MIN},
                {"0x10", 16}, {"0X1f", 31}, {"0xFFFFFFFF", -1}, {"0x80000000", INT_MIN}};
    for (const auto& row : good) {
        int32_t value = 4711;
        EXPECT_TRUE(parse_integer(row.text, value)) << row.text;
        EXPECT_EQ(value, row.value) << row.text;
    }
}

TEST(CsmanctlText, WhatIsNoIntegerIsRefused) {
    for (const char* text : {"", "-", "+1", " 1", "1 ", "1a", "0x", "-0x1", "0x100000000", "2147483648", "-2147483649",
                             "1e3", "99999999999999999999", "--1", "0xg"}) {
        int32_t value = 4711;
        EXPECT_FALSE(parse_integer(text, value)) << text;
    }
}

TEST(CsmanctlText, UnsignedNumberAboveItsLimitIsRefused) {
    for (const unsigned long long limit : {0ull, 2ull, 9ull, 10ull, 128ull, ULLONG_MAX - 1}) {
        unsigned long long value = 0;
        EXPECT_TRUE(parse_unsigned(std::to_string(limit), limit, value)) << limit;
        EXPECT_EQ(value, limit);
        EXPECT_FALSE(parse_unsigned(std::to_string(limit + 1), limit, value)) << limit;
    }
    unsigned long long value = 0;
    EXPECT_FALSE(parse_unsigned("9", 2, value));
    EXPECT_FALSE(parse_unsigned("0xf", 2, value));
}

TEST(CsmanctlText, CsidIsANumberOrAName) {
    uint32_t csid = 0;
    EXPECT_TRUE(parse_csid("0x150785", csid));
    EXPECT_EQ(csid, 0x150785u);
    EXPECT_TRUE(parse_csid("1378181", csid));
    EXPECT_EQ(csid, 0x150785u);
    EXPECT_TRUE(parse_csid("0x8001000B", csid));
    EXPECT_EQ(csid, 0x8001000bu);
    EXPECT_TRUE(parse_csid("4294967295", csid));
    EXPECT_EQ(csid, 0xffffffffu);
    EXPECT_TRUE(parse_csid("wan.enable", csid));
    EXPECT_EQ(csid, 0x150785u);
    for (const char* text : {"", "0x", "-1", "4294967296", "0x100000000", "wan", "150785h"})
        EXPECT_FALSE(parse_csid(text, csid)) << text;
}

TEST(CsmanctlText, QuotingComesBackAsItWas) {
    std::string every;
    for (int byte = 1; byte < 256; byte++)
        every += static_cast<char>(byte);
    for (const std::string& text : {std::string(), std::string("eth0"), std::string(" \"\\\" "), every}) {
        const std::string quoted = quote(text);
        EXPECT_EQ(quoted.find('\n'), std::string::npos);
        std::string back = "#";
        EXPECT_TRUE(unquote(quoted, back)) << quoted;
        EXPECT_EQ(back, text);
    }
    EXPECT_EQ(quote("a\"b\\c\nd\te\x01\x7f"), "\"a\\\"b\\\\c\\nd\\te\\x01\\x7f\"");
}

TEST(CsmanctlText, WrongQuotingIsRefused) {
    for (const char* quoted : {"", "\"", "a", "a\"", "\"a", "\"a\"b", "\"a\" ", "\"\\\"", "\"\\q\"", "\"\\x\"",
                               "\"\\x1\"", "\"\\x1g\"", "\"\\x00\"", "\"a\"\""}) {
        std::string text;
        EXPECT_FALSE(unquote(quoted, text)) << quoted;
    }
}

TEST(CsmanctlText, LineIsANameAndARest) {
    std::string name;
    std::string value;
    split_line(" \twan.name.1\t  eth0 or so \r", name, value);
    EXPECT_EQ(name, "wan.name.1");
    EXPECT_EQ(value, "eth0 or so");
    split_line("wan.enable", name, value);
    EXPECT_EQ(name, "wan.enable");
    EXPECT_EQ(value, "");
    for (const char* line : {"", "  \t", "# wan.enable 1", "  # x"}) {
        split_line(line, name, value);
        EXPECT_EQ(name, "") << line;
    }
}

TEST(ItemText, NamesGoBothWays) {
    char name[store_name_size];
    for (const uint32_t csid : {0u, 0x150785u, 0x8001000bu, 0xffffffffu}) {
        store_item_name(csid, name);
        uint32_t back = ~csid;
        EXPECT_TRUE(store_parse_name(name, back));
        EXPECT_EQ(back, csid);
    }
    store_item_name(0x8001000B, name);
    EXPECT_STREQ(name, "0x8001000b");
    uint32_t csid = 0;
    for (const char* other :
         {"", "0x", "0x0015078", "0x001507855", "0x0015078G", "0x0015078A", "1x00150785", "..", ".tmp-0x00150785-1-0"})
        EXPECT_FALSE(store_parse_name(other, csid)) << other;
}

TEST(ItemText, LongestItemFillsTheBuffer) {
    store_item item;
    item.is_string = true;
    item.length = store_text_max;
    memset(item.text, 'x', sizeof item.text);
    char text[item_text_max];
    EXPECT_EQ(format_item(item, text), item_text_max);
    store_item back = {};
    EXPECT_TRUE(parse_item(text, item_text_max, back));
    EXPECT_EQ(back.length, store_text_max);
}

} // namespace
} // namespace dashboard
