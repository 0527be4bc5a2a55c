// The program's parts on a router of their own: files, lock and store of a stand-in world, request in the environment.
#include "exporter/answer.h"
#include "exporter/document_folder.h"
#include "exporter/document_piece.h"
#include "exporter/refusal_count.h"
#include "router_documents.h"
#include "tests/support/world.h"

#include <cstdlib>
#include <unistd.h>

#include <gmock/gmock.h>

namespace dashboard::testing {
namespace {

using ::testing::Contains;
using ::testing::Key;
using ::testing::Not;
using ::testing::Pair;
using ::testing::StartsWith;

using samples = std::map<std::string, std::string>;

constexpr const char* request_names[] = {"REQUEST_METHOD",
                                         "PATH_INFO",
                                         "QUERY_STRING",
                                         "HTTP_SEC_FETCH_SITE",
                                         "HTTP_ORIGIN",
                                         "HTTP_HOST",
                                         "HTTPS",
                                         "REMOTE_ADDR",
                                         "HTTP_ACCEPT",
                                         "HTTP_TRANSFER_ENCODING",
                                         "CONTENT_LENGTH",
                                         "DASHBOARD_METRICS_RENEW",
                                         "DASHBOARD_METRICS_ANYWHERE"};

// Places in the table of modules.
constexpr size_t bonds = dashboard::bond_module;
constexpr size_t each_ap = dashboard::ap_module;
constexpr size_t current = dashboard::current_module;

class Router : public ::testing::Test {
protected:
    Router() {
        for (const char* name : request_names) {
            unsetenv(name);
        }
        world.folder("/tmp/dashboard");
        world.csman.set(0x150780, 1);
    }

    void publish(const std::string& name, const element_list& newest) {
        world.file("/tmp/dashboard/" + name, document_of(sample_lines_of(world.clock.now(), newest)));
    }

    void enable(const char* module) {
        for (const module_names& names : module_table) {
            if (names.items == std::string(module)) {
                world.csman.set(names.enable_csid, 1);
            }
        }
    }

    int view(size_t module) {
        const uint32_t csid = module_table[module].view_csid;
        return world.csman.has(csid) ? world.csman.get(csid) : 0;
    }

    samples said(bool renew = false) {
        text_buffer out;
        add_router_here(exposition_format::prometheus, renew, true, out);
        return samples_of(std::string(out.view()));
    }

    // A request with these variables beside the usual ones.
    std::string answered(const std::map<std::string, std::string>& variables) {
        setenv("REQUEST_METHOD", "GET", 1);
        setenv("REMOTE_ADDR", "127.0.0.1", 1);
        for (const auto& [name, value] : variables) {
            setenv(name.c_str(), value.c_str(), 1);
        }
        text_buffer out;
        add_answer(out);
        for (const char* name : request_names) {
            unsetenv(name);
        }
        return std::string(out.view());
    }

    test_world world;
};

std::string enabled(const std::string& module) {
    return "dashboard_module_enabled{module=\"" + module + "\"}";
}

std::string renewed(const std::string& module) {
    return "dashboard_view_renewed{module=\"" + module + "\"}";
}

TEST_F(Router, SaysHowItsModulesAreSwitched) {
    enable("wan");
    world.csman.set(module_table[0].enable_csid, 2);
    publish("wan_traffic_sec_0.xml", {{"wan1_tx", "1"}, {"wan1_rx", "2"}});
    const samples all = said();
    EXPECT_THAT(all, Contains(Pair("dashboard_store_readable", "1")));
    EXPECT_THAT(all, Contains(Pair("dashboard_enabled", "1")));
    EXPECT_THAT(all, Contains(Pair(enabled("wan"), "1")));
    EXPECT_THAT(all, Contains(Pair(enabled("cpu"), "0")));
    EXPECT_THAT(all, Contains(Pair("dashboard_time_seconds", std::to_string(world.clock.now()))));
    EXPECT_THAT(all, Contains(Pair(
                         "dashboard_traffic_bytes_total{kind=\"wan\",interface=\"wan1\",direction=\"receive\"}", "2")));
    EXPECT_THAT(all, Contains(Pair("dashboard_view_renewal_enabled", "0")));
    EXPECT_EQ(view(2), 0);
}

TEST_F(Router, GoesOnWithoutAStore) {
    world.csman.fail_open(1);
    publish("mem_usage_sec_0.xml", {{"mem_usage", "1"}});
    const samples all = said(true);
    EXPECT_THAT(all, Contains(Pair("dashboard_store_readable", "0")));
    EXPECT_THAT(all, Not(Contains(Key("dashboard_enabled"))));
    EXPECT_THAT(all, Contains(Pair("dashboard_memory_used_bytes", "1024")));
    EXPECT_THAT(all, Contains(Pair(renewed("mem"), "0")));
}

TEST_F(Router, ReadsADocumentThatIsBeingReplaced) {
    const std::string path = "/tmp/dashboard/mem_usage_sec_0.xml";
    publish("mem_usage_sec_0_hidden.xml", {{"mem_usage", "1"}});
    const std::string text = world.read("/tmp/dashboard/mem_usage_sec_0_hidden.xml");
    int sleeps = 0;
    world.on_sleep([&] {
        if (++sleeps == 2) {
            world.file(path, text);
        }
    });
    // Documents that are not there at all use the same few tries: this one is early enough.
    world.file("/tmp/dashboard/cpu_usage_sec_0.xml", document_of(""));
    EXPECT_THAT(said(), Contains(Pair("dashboard_memory_used_bytes", "1024")));
    EXPECT_LE(sleeps, tries_of_a_scrape);
}

TEST_F(Router, SaysWhichDocumentsItMayNotRead) {
    publish("mem_usage_sec_0.xml", {{"mem_usage", "1"}});
    world.fail("open", EACCES, "mem_usage_sec_0.xml");
    EXPECT_THAT(said(), Contains(Pair("dashboard_document_readable{document=\"mem_usage\"}", "0")));
}

TEST_F(Router, ReadsPlainFilesOnly) {
    world.folder("/tmp/dashboard/mem_usage_sec_0.xml");
    EXPECT_THAT(said(), Contains(Pair("dashboard_document_readable{document=\"mem_usage\"}", "0")));
}

// Only its two ends are: what lies between them may be anything.
TEST_F(Router, ReadsTheEndsOfALongDocument) {
    const std::string newest = sample_lines_of(world.clock.now(), {{"mem_usage", "1"}});
    world.file("/tmp/dashboard/mem_usage_sec_0.xml", document_of(std::string(2 * longest_end, '\n') + newest));
    world.file("/tmp/dashboard/cpu_usage_sec_0.xml", document_of(newest + std::string(longest_end, '\n')));
    world.file("/tmp/dashboard/current_traffic_sec_0.xml", document_of(std::string(longest_end, '\n')));
    const samples all = said();
    EXPECT_THAT(all, Contains(Pair("dashboard_memory_used_bytes", "1024")));
    EXPECT_THAT(all, Contains(Pair("dashboard_document_readable{document=\"cpu_usage\"}", "0")));
    EXPECT_THAT(all, Contains(Pair("dashboard_document_readable{document=\"current_traffic\"}", "0")));
}

TEST_F(Router, ReadsNoDocumentWhoseNameIsTooLong) {
    const std::string path = "/tmp/dashboard/" + std::string(250, 'x');
    document_folder folder = {path.c_str(), 0};
    const document_source source = source_of(folder);
    document_piece piece;
    EXPECT_EQ(source.read(source.context, "mem_usage_sec_0.xml", longest_sample, piece), document_fault::denied);
}

TEST_F(Router, RenewsTheRequestsOfModulesThatRun) {
    enable("wan");
    enable("current");
    const samples all = said(true);
    EXPECT_EQ(view(2), 1);
    EXPECT_EQ(view(current), 1);
    EXPECT_EQ(view(0), 0);
    EXPECT_THAT(all, Contains(Pair("dashboard_view_renewal_enabled", "1")));
    EXPECT_THAT(all, Contains(Pair(renewed("wan"), "1")));
    EXPECT_THAT(all, Contains(Pair(renewed("cpu"), "0")));
}

TEST_F(Router, RenewsNothingWhileTheDaemonIsSwitchedOff) {
    enable("wan");
    world.csman.set(0x150780, 0);
    EXPECT_THAT(said(true), Contains(Pair(renewed("wan"), "0")));
    EXPECT_EQ(view(2), 0);
}

TEST_F(Router, SaysThatTheStoreTookNoRequest) {
    enable("wan");
    enable("lan");
    world.csman.fail_writes(module_table[2].view_csid, -1);
    const samples all = said(true);
    EXPECT_THAT(all, Contains(Pair(renewed("wan"), "0")));
    EXPECT_THAT(all, Contains(Pair(renewed("lan"), "1")));
}

TEST_F(Router, AsksForOneAccessPointAtATime) {
    enable("ap");
    world.file("/tmp/aptraffic/APTraffic_4", "");
    world.file("/tmp/aptraffic/APTraffic_9", "");
    world.file("/tmp/aptraffic/APTraffic_128", "");
    world.file("/tmp/aptraffic/APTraffic_x", "");
    publish("aptraffic_sec_4.xml", {{"VAP1_24_TxRx", "1"}});
    said(true);
    EXPECT_EQ(view(each_ap), 10);
    world.csman.set(module_table[each_ap].view_csid, 0); // the daemon has taken it
    world.remove("/tmp/dashboard/aptraffic_sec_4.xml");
    publish("aptraffic_sec_9.xml", {{"VAP1_24_TxRx", "1"}});
    said(true);
    EXPECT_EQ(view(each_ap), 5);
}

TEST_F(Router, AsksForNoAccessPointWhereThereIsNone) {
    enable("ap");
    EXPECT_THAT(said(true), Contains(Pair(renewed("ap"), "0")));
    EXPECT_EQ(view(each_ap), 0);
}

TEST_F(Router, AsksForBondsThatAreConfigured) {
    enable("bond");
    world.csman.set(0xb20072, 1);
    EXPECT_THAT(said(true), Contains(Pair(renewed("bond"), "1")));
    EXPECT_EQ(view(bonds), 3);
}

TEST_F(Router, LeavesARequestThatIsWaiting) {
    enable("ap");
    world.file("/tmp/aptraffic/APTraffic_4", "");
    world.csman.set(module_table[each_ap].view_csid, 77);
    said(true);
    EXPECT_EQ(view(each_ap), 77);
}

TEST_F(Router, AnswersAScraper) {
    const std::string text = answered({});
    EXPECT_THAT(text,
                StartsWith("Status: 200 OK\r\nContent-Type: text/plain; version=0.0.4; charset=utf-8\r\n"
                           "Cache-Control: no-store\r\nX-Content-Type-Options: nosniff\r\n\r\n# HELP dashboard_up "));
    EXPECT_THAT(
        answered({{"HTTP_ACCEPT", "application/openmetrics-text;version=1.0.0"}}),
        StartsWith("Status: 200 OK\r\nContent-Type: application/openmetrics-text; version=1.0.0; charset=utf-8\r\n"));
}

TEST_F(Router, RenewsForAServerThatSaysSo) {
    enable("wan");
    answered({{"HTTP_DASHBOARD_METRICS_RENEW", "1"}});
    answered({{"DASHBOARD_METRICS_RENEW", "yes"}});
    EXPECT_EQ(view(2), 0);
    answered({{"DASHBOARD_METRICS_RENEW", "1"}});
    EXPECT_EQ(view(2), 1);
    unsetenv("HTTP_DASHBOARD_METRICS_RENEW");
}

TEST_F(Router, CountsWhatItRefuses) {
    enable("wan");
    const std::string renew = "DASHBOARD_METRICS_RENEW";
    EXPECT_EQ(answered({{"REQUEST_METHOD", "POST"}, {renew, "1"}}),
              "Status: 405 Method Not Allowed\r\nContent-Type: text/plain\r\nCache-Control: no-store\r\n"
              "X-Content-Type-Options: nosniff\r\nAllow: GET\r\n\r\nrefused: method\n");
    for (int times = 0; times < 3; ++times) {
        EXPECT_EQ(answered({{"QUERY_STRING", "a=1"}, {renew, "1"}}),
                  "Status: 400 Bad Request\r\nContent-Type: text/plain\r\nCache-Control: no-store\r\n"
                  "X-Content-Type-Options: nosniff\r\n\r\nrefused: query\n");
    }
    EXPECT_THAT(answered({{"REMOTE_ADDR", "8.8.8.8"}}), StartsWith("Status: 403 Forbidden\r\n"));
    EXPECT_THAT(answered({{"REMOTE_ADDR", "8.8.8.8"}, {"DASHBOARD_METRICS_ANYWHERE", "1"}}),
                StartsWith("Status: 200 OK\r\n"));
    EXPECT_EQ(view(2), 0) << "a refused request changes nothing";
    const samples all = said();
    EXPECT_THAT(all, Contains(Pair("dashboard_requests_refused_total{reason=\"method\"}", "1")));
    EXPECT_THAT(all, Contains(Pair("dashboard_requests_refused_total{reason=\"query\"}", "3")));
    EXPECT_THAT(all, Contains(Pair("dashboard_requests_refused_total{reason=\"address\"}", "1")));
    EXPECT_THAT(all, Contains(Pair("dashboard_requests_refused_total{reason=\"length\"}", "0")));
    EXPECT_EQ(world.read(refusal_file).size(), 48u);
}

TEST_F(Router, CountsInNobodyElsesFile) {
    world.file("/tmp/dashboard/somebodys", "text");
    world.link("/tmp/dashboard/somebodys", refusal_file);
    answered({{"REQUEST_METHOD", "POST"}});
    EXPECT_EQ(world.read("/tmp/dashboard/somebodys"), "text");
    EXPECT_THAT(said(), Not(Contains(Key("dashboard_requests_refused_total{reason=\"method\"}"))));
}

// A second name of the file may be somebody else's way to it.
TEST_F(Router, CountsInNoFileWithASecondName) {
    world.file("/tmp/dashboard/somebodys", "text");
    ASSERT_EQ(link(world.real_path("/tmp/dashboard/somebodys").c_str(), world.real_path(refusal_file).c_str()), 0);
    answered({{"REQUEST_METHOD", "POST"}});
    EXPECT_EQ(world.read("/tmp/dashboard/somebodys"), "text");
    EXPECT_THAT(said(), Not(Contains(Key("dashboard_requests_refused_total{reason=\"method\"}"))));
}

} // namespace
} // namespace dashboard::testing
