// What the page's program accepts: every check of the head and of the body, and the table of modules.
#include "viewer/cgi/viewer_request.h"

#include "platform/host/csman_items.h"

#include <map>
#include <string>

#include <gtest/gtest.h>

namespace dashboard {
namespace {

constexpr request_head good_head = {"POST", "dashboard-viewer", "same-origin", nullptr, nullptr, nullptr, nullptr, "5"};

std::string verdict(const refusal* refused) {
    return refused == nullptr ? "taken" : std::to_string(refused->status) + ' ' + refused->word;
}

std::string head_verdict(const request_head& head) {
    size_t length = 4711;
    return verdict(check_head(head, length));
}

std::string length_verdict(const char* text) {
    request_head head = good_head;
    head.length = text;
    size_t length = 4711;
    const std::string said = verdict(check_head(head, length));
    return said == "taken" ? said + ' ' + std::to_string(length) : said;
}

std::string origin_verdict(const char* origin, const char* host, const char* https) {
    request_head head = good_head;
    head.fetch_site = nullptr;
    head.origin = origin;
    head.host = host;
    head.https = https;
    return head_verdict(head);
}

std::string body_verdict(std::string_view body) {
    graph_request request = {};
    return verdict(parse_body(body, request));
}

TEST(ViewerHead, OnlyPostIsTaken) {
    request_head head = good_head;
    EXPECT_EQ(head_verdict(head), "taken");
    for (const char* method :
         {"GET", "HEAD", "PUT", "OPTIONS", "post", "POST ", "", static_cast<const char*>(nullptr)}) {
        head.method = method;
        EXPECT_EQ(head_verdict(head), "405 method") << (method != nullptr ? method : "none");
    }
}

TEST(ViewerHead, BrowserSaysThatItComesFromThePage) {
    request_head head = good_head;
    for (const char* site : {"cross-site", "same-site", "none", "", "Same-Origin", "same-origin "}) {
        head.fetch_site = site;
        head.origin = "http://router"; // does not help
        head.host = "router";
        EXPECT_EQ(head_verdict(head), "403 origin") << site;
    }
}

TEST(ViewerHead, OriginIsComparedWhereTheBrowserSaysNoMore) {
    EXPECT_EQ(origin_verdict("http://router", "router", nullptr), "taken");
    EXPECT_EQ(origin_verdict("http://127.0.0.1:8080", "127.0.0.1:8080", nullptr), "taken");
    EXPECT_EQ(origin_verdict("https://router", "router", "on"), "taken");
    EXPECT_EQ(origin_verdict("http://router", "router", ""), "taken");
    EXPECT_EQ(origin_verdict("http://router", "router", "off"), "taken");
    EXPECT_EQ(origin_verdict("https://router", "router", nullptr), "403 origin");
    EXPECT_EQ(origin_verdict("http://router", "router", "on"), "403 origin");
    EXPECT_EQ(origin_verdict("http://other", "router", nullptr), "403 origin");
    EXPECT_EQ(origin_verdict("http://router:8080", "router", nullptr), "403 origin");
    EXPECT_EQ(origin_verdict("http://router.other", "router", nullptr), "403 origin");
    EXPECT_EQ(origin_verdict("http://route", "router", nullptr), "403 origin");
    EXPECT_EQ(origin_verdict("router", "router", nullptr), "403 origin");
    EXPECT_EQ(origin_verdict("null", "router", nullptr), "403 origin");
    EXPECT_EQ(origin_verdict("", "router", nullptr), "403 origin");
    EXPECT_EQ(origin_verdict(nullptr, "router", nullptr), "403 origin");
    EXPECT_EQ(origin_verdict("http://", "", nullptr), "403 origin");
    EXPECT_EQ(origin_verdict("http://", nullptr, nullptr), "403 origin");
    EXPECT_EQ(origin_verdict(nullptr, nullptr, nullptr), "403 origin");
}

TEST(ViewerHead, HeaderOfThePageIsWanted) {
    request_head head = good_head;
    for (const char* mark :
         {"dashboard", "dashboard-viewer ", "XMLHttpRequest", "", static_cast<const char*>(nullptr)}) {
        head.requested_with = mark;
        EXPECT_EQ(head_verdict(head), "400 header") << (mark != nullptr ? mark : "none");
    }
}

TEST(ViewerHead, LengthIsANumberUpToTheLimit) {
    EXPECT_EQ(length_verdict(nullptr), "taken 0");
    EXPECT_EQ(length_verdict(""), "taken 0");
    EXPECT_EQ(length_verdict("0"), "taken 0");
    EXPECT_EQ(length_verdict("256"), "taken 256");
    for (const char* text : {"257", "1000", "4294967296", "18446744073709551616", "99999999999999999999999999"}) {
        EXPECT_EQ(length_verdict(text), "413 length") << text;
    }
    for (const char* text : {"-1", "+5", " 5", "5 ", "0x5", "5,5", "abc", "05", "00", "1e2"}) {
        EXPECT_EQ(length_verdict(text), "400 length") << text;
    }
    request_head chunked = good_head;
    chunked.transfer_encoding = "chunked";
    EXPECT_EQ(head_verdict(chunked), "411 length");
}

TEST(ViewerBody, EveryNameInItsRange) {
    for (size_t index = 0; index < module_total; ++index) {
        const module_names& module = module_table[index];
        const std::string name(module.items);
        for (const int32_t number : {1, module.largest}) {
            graph_request request = {};
            EXPECT_EQ(parse_body(name + '=' + std::to_string(number), request), nullptr) << name << number;
            for (size_t other = 0; other < module_total; ++other) {
                EXPECT_EQ(request.number[other], other == index ? number : 0);
            }
            EXPECT_EQ(request.enable, -1);
        }
        for (const std::string& number : {std::string("0"), std::to_string(module.largest + 1), std::string("-1"),
                                          std::string("4294967297"), std::string("01"), std::string("1 "),
                                          std::string("1x"), std::string(""), std::string("1=1"), std::string("%31")}) {
            EXPECT_EQ(body_verdict(name + '=' + number), "400 number") << name << '=' << number;
        }
    }
}

TEST(ViewerBody, AllNamesAtOnce) {
    graph_request request = {};
    std::string all;
    for (const module_names& module : module_table) { // the last one first
        all.insert(0, std::string(module.items) + '=' + std::to_string(module.largest) + (all.empty() ? "" : "&"));
    }
    EXPECT_LE(all.size(), body_limit);
    EXPECT_EQ(verdict(parse_body(all, request)), "taken");
    for (size_t index = 0; index < module_total; ++index) {
        EXPECT_EQ(request.number[index], module_table[index].largest);
    }
}

TEST(ViewerBody, EmptyOneAsksForNothing) {
    graph_request request = {};
    request.number[3] = 2;
    request.enable = 1;
    EXPECT_EQ(parse_body("", request), nullptr);
    EXPECT_EQ(request.number[3], 0);
    EXPECT_EQ(request.enable, -1);
}

TEST(ViewerBody, UnknownNamesAreRefused) {
    for (const char* body : {"wans=1", "WAN=1", "=1", " wan=1", "wan =1", "wan.view=1", "w%61n=1", "enabled=wan",
                             "wan=1&frob=1", "enable=", "enable=frob", "enable=1", "enable=wan ", "enable=enable"}) {
        EXPECT_EQ(body_verdict(body), "400 name") << body;
    }
    EXPECT_EQ(body_verdict(std::string_view("wan\0=1", 6)), "400 name");
}

TEST(ViewerBody, PairsStandBetweenSigns) {
    for (const char* body : {"wan", "&", "&wan=1", "wan=1&", "wan=1&&lan=1", "wan=1&lan", "enable"}) {
        EXPECT_EQ(body_verdict(body), "400 body") << body;
    }
    EXPECT_EQ(body_verdict("wan=1\n&lan=1"), "400 number");
    EXPECT_EQ(body_verdict("wan=1;lan=1"), "400 number");
    EXPECT_EQ(body_verdict(std::string_view("wan=1\0", 6)), "400 number");
}

TEST(ViewerBody, NameGivenTwiceIsRefused) {
    EXPECT_EQ(body_verdict("wan=1&lan=1&wan=1"), "400 duplicate");
    EXPECT_EQ(body_verdict("ap=1&ap=2"), "400 duplicate");
    EXPECT_EQ(body_verdict("enable=wan&enable=lan"), "400 duplicate");
    EXPECT_EQ(body_verdict("enable=wan&wan=1"), "taken");
}

TEST(ViewerBody, ModuleToBeSwitchedOnIsNamed) {
    for (size_t index = 0; index < module_total; ++index) {
        graph_request request = {};
        EXPECT_EQ(parse_body("enable=" + std::string(module_table[index].items), request), nullptr);
        EXPECT_EQ(request.enable, index);
    }
}

// The tool's table says the same of every item.
TEST(ViewerModules, HaveTheItemsThatTheStoreKnows) {
    for (const module_names& module : module_table) {
        uint32_t csid = 0;
        EXPECT_TRUE(find_csid(std::string(module.items) + ".enable", csid)) << module.items;
        EXPECT_EQ(csid, module.enable_csid) << module.items;
        EXPECT_TRUE(find_csid(std::string(module.items) + ".view", csid)) << module.items;
        EXPECT_EQ(csid, module.view_csid) << module.items;
    }
    const std::map<std::string_view, int32_t> above_one = {{"bond", 3}, {"ap", 128}};
    for (const module_names& module : module_table) {
        const auto found = above_one.find(module.items);
        EXPECT_EQ(module.largest, found == above_one.end() ? 1 : found->second) << module.items;
    }
}

} // namespace
} // namespace dashboard
