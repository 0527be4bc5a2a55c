// Which scrapes are answered, and in which format.
#include "exporter/exposition.h"
#include "exporter/scrape_request.h"

#include <string>

#include <gtest/gtest.h>

namespace dashboard::testing {
namespace {

// A scraper on the local network.
scrape_head good_head() {
    scrape_head head = {};
    head.method = "GET";
    head.query = "";
    head.address = "192.168.1.5";
    head.from.host = "192.168.1.1:8088";
    return head;
}

void expect_refused(const scrape_head& head, int status, const std::string& word) {
    const refusal* const refused = check_scrape(head, false);
    ASSERT_NE(refused, nullptr) << word;
    EXPECT_EQ(refused->status, status);
    EXPECT_EQ(refused->word, word);
    bool counted = false;
    for (const char* known : refusal_words) {
        counted = counted || word == known;
    }
    EXPECT_TRUE(counted) << "no counter for " << word;
}

TEST(Scrape, IsAnsweredToAScraper) {
    EXPECT_EQ(check_scrape(good_head(), false), nullptr);
    scrape_head head = good_head();
    head.length = "0";
    head.path = "";
    EXPECT_EQ(check_scrape(head, false), nullptr);
}

TEST(Scrape, IsAGet) {
    for (const char* method : {static_cast<const char*>(nullptr), "", "POST", "HEAD", "get", "GET ", "PUT"}) {
        scrape_head head = good_head();
        head.method = method;
        expect_refused(head, 405, "method");
    }
}

TEST(Scrape, ComesFromALocalAddress) {
    for (const char* address : {"127.0.0.1", "127.255.255.254", "10.0.0.1", "172.16.0.1", "172.31.255.255",
                                "192.168.255.255", "169.254.0.1", "::1", "[::1]", "::ffff:192.168.0.1",
                                "[::ffff:127.0.0.1]", "fe80::1%br0", "fe80::1", "febf::1", "fd00::1", "fc00::1"}) {
        EXPECT_TRUE(is_local_address(address)) << address;
    }
    for (const char* address : {"",
                                "8.8.8.8",
                                "172.15.255.255",
                                "172.32.0.0",
                                "192.169.0.1",
                                "11.0.0.1",
                                "126.0.0.1",
                                "128.0.0.1",
                                "0.0.0.0",
                                "255.255.255.255",
                                "2001:db8::1",
                                "fec0::1",
                                "::",
                                "::ffff:8.8.8.8",
                                "::127.0.0.1",
                                "fe00::1",
                                "127.0.0.1x",
                                "127.1",
                                "localhost",
                                "[",
                                "[]",
                                "%",
                                "127.0.0.1.127.0.0.1.127.0.0.1.127.0.0.1.127.0.0.1.127.0.0.1"}) {
        EXPECT_FALSE(is_local_address(address)) << address;
        scrape_head head = good_head();
        head.address = address;
        expect_refused(head, 403, "address");
        EXPECT_EQ(check_scrape(head, true), nullptr) << "the operator lets everybody in";
    }
    scrape_head head = good_head();
    head.address = nullptr;
    expect_refused(head, 403, "address");
}

TEST(Scrape, IsNotAnotherSites) {
    for (const char* site : {"cross-site", "same-site", "", "NONE"}) {
        scrape_head head = good_head();
        head.from.fetch_site = site;
        expect_refused(head, 403, "origin");
    }
    for (const char* site : {"none", "same-origin"}) {
        scrape_head head = good_head();
        head.from.fetch_site = site;
        EXPECT_EQ(check_scrape(head, false), nullptr) << site;
    }
    scrape_head head = good_head();
    head.from.origin = "http://elsewhere";
    expect_refused(head, 403, "origin");
    head.from.origin = "http://192.168.1.1:8088";
    EXPECT_EQ(check_scrape(head, false), nullptr);
}

TEST(Scrape, HasNeitherPathNorQueryNorBody) {
    scrape_head head = good_head();
    head.path = "/more";
    expect_refused(head, 404, "path");
    head = good_head();
    head.query = "--renew";
    expect_refused(head, 400, "query");
    for (const char* length : {"1", "00", "-1", "x", "4294967296"}) {
        head = good_head();
        head.length = length;
        expect_refused(head, 413, "length");
    }
    head = good_head();
    head.transfer_encoding = "chunked";
    expect_refused(head, 413, "length");
}

TEST(Scrape, HasAnAcceptHeaderOfSomeLength) {
    scrape_head head = good_head();
    const std::string longest(accept_limit, 'a');
    const std::string longer = longest + 'a';
    head.accept = longest.c_str();
    EXPECT_EQ(check_scrape(head, false), nullptr);
    head.accept = longer.c_str();
    expect_refused(head, 413, "length");
}

TEST(Format, IsOpenMetricsForThoseWhoAskForIt) {
    for (const char* accept : {"application/openmetrics-text; version=1.0.0",
                               "application/openmetrics-text;version=1.0.0,application/openmetrics-text;version=0.0.1;"
                               "q=0.75,text/plain;version=0.0.4;q=0.5,*/*;q=0.1",
                               "text/plain, application/openmetrics-text;version=1.0.0;q=0.1"}) {
        EXPECT_EQ(format_for(accept), exposition_format::openmetrics) << accept;
    }
    for (const char* accept : {static_cast<const char*>(nullptr), "", "*/*", "text/plain;version=0.0.4", ",,,",
                               "application/openmetrics-text;version=0.0.1", "text/plain;version=1.0.0",
                               "application/openmetrics-text,text/plain;version=1.0.0"}) {
        EXPECT_EQ(format_for(accept), exposition_format::prometheus) << (accept != nullptr ? accept : "none");
    }
}

} // namespace
} // namespace dashboard::testing
