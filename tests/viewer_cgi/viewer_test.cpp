// The page's program as a web server runs it: environment and body in, status and JSON out, and what it leaves in the
// store.
#include "platform/csman.h"
#include "tests/support/tested_programs.h"
#include "viewer/cgi/viewer_request.h"

#include "host_fixture.h"

#include <csignal>
#include <cstdlib>
#include <ctime>
#include <fcntl.h>
#include <filesystem>
#include <map>
#include <regex>
#include <unistd.h>

#include <gmock/gmock.h>

namespace dashboard {
namespace {

using testing::HasSubstr;
using testing::StartsWith;

const std::map<std::string, std::string> good_request = {{"REQUEST_METHOD", "POST"},
                                                         {"HTTP_X_REQUESTED_WITH", "dashboard-viewer"},
                                                         {"HTTP_ORIGIN", "http://127.0.0.1:8080"},
                                                         {"HTTP_HOST", "127.0.0.1:8080"}};

constexpr char common_headers[] = "Content-Type: application/json\r\n"
                                  "Cache-Control: no-store\r\n"
                                  "X-Content-Type-Options: nosniff\r\n";

class Viewer : public host_test {
protected:
    Viewer() {
        program = VIEWER_EXECUTABLE;
        setenv("LD_LIBRARY_PATH", tested_file(CSMAN_FOLDER).c_str(), 1);
        setenv("TZ", "UTC-2", 1);
        for (const auto& [name, value] : good_request) {
            setenv(name.c_str(), value.c_str(), 1);
        }
        for (const char* name :
             {"CONTENT_LENGTH", "HTTP_SEC_FETCH_SITE", "HTTPS", "HTTP_TRANSFER_ENCODING", "DASHBOARD_VIEWER_ENABLE"}) {
            unsetenv(name);
        }
    }

    // What the program says to a body, whose length the server has told.
    tool_result ask(const std::string& body) const {
        setenv("CONTENT_LENGTH", std::to_string(body.size()).c_str(), 1);
        return tool({}, body);
    }

    // The same, which must be taken.
    std::string taken(const std::string& body) const {
        const tool_result result = ask(body);
        EXPECT_EQ(result.status, 0);
        EXPECT_EQ(result.errors, "");
        EXPECT_THAT(result.output,
                    StartsWith(std::string("Status: 200 OK\r\n") + common_headers + "\r\n{\"ok\":true,"));
        return result.output;
    }

    // The whole answer, and that nothing was changed.
    void expect_refused(const tool_result& result, const std::string& status, const std::string& word) {
        EXPECT_EQ(result.status, 0);
        EXPECT_EQ(result.errors, "");
        const std::string allow = status.compare(0, 3, "405") == 0 ? "Allow: POST\r\n" : "";
        EXPECT_EQ(result.output, "Status: " + status + "\r\n" + common_headers + allow +
                                     "\r\n{\"ok\":false,\"error\":\"" + word + "\"}\n");
        EXPECT_FALSE(std::filesystem::exists(store_dir)) << "the store was opened";
    }

    int item(uint32_t csid) {
        int value = -1;
        read_csman_int(open_store(), csid, &value);
        return value;
    }
};

TEST_F(Viewer, NumbersGoIntoTheReadItems) {
    taken("wan=1&bond=3&ap=128&sim=1");
    EXPECT_EQ(item(0x80150433), 1);
    EXPECT_EQ(item(0x80150434), 3);
    EXPECT_EQ(item(0x80150438), 128);
    EXPECT_EQ(item(0x8015043a), 1);
    EXPECT_EQ(names_in(store_dir).size(), 4u) << "and nowhere else";
}

TEST_F(Viewer, EveryModuleHasItsItem) {
    const auto middle = [](const module_names& module) { return (module.largest + 1) / 2; };
    std::string body;
    for (const module_names& module : module_table) {
        body += (body.empty() ? "" : "&") + std::string(module.items) + '=' + std::to_string(middle(module));
    }
    taken(body);
    for (const module_names& module : module_table) {
        EXPECT_EQ(item(module.view_csid), middle(module)) << module.items;
    }
    EXPECT_EQ(names_in(store_dir).size(), size_t{module_total});
}

TEST_F(Viewer, AnswerSaysHowThingsStand) {
    for (const uint32_t csid : {0x150780u, 0x150785u, 0x15078au}) {
        ASSERT_EQ(write_csman_int(open_store(), csid, 1), 0);
    }
    ASSERT_EQ(write_csman_int(open_store(), 0x150783, 2), 0);
    const time_t before = time(nullptr);
    const std::string answer = taken("wan=1&mem=1");
    const time_t after = time(nullptr);
    std::smatch found;
    ASSERT_TRUE(std::regex_search(answer, found, std::regex("\"time\":([0-9]+),")));
    EXPECT_LE(before, std::stoll(found[1]));
    EXPECT_GE(after, std::stoll(found[1]));
    EXPECT_EQ(std::string(found.suffix()),
              "\"offset\":7200,\"stand_in\":true,\"may_enable\":false,\"enabled\":true,\"modules\":["
              "{\"name\":\"cpu\",\"on\":false,\"left\":0},"
              "{\"name\":\"mem\",\"on\":false,\"left\":60},"
              "{\"name\":\"wan\",\"on\":true,\"left\":60},"
              "{\"name\":\"bond\",\"on\":false,\"left\":0},"
              "{\"name\":\"lan\",\"on\":false,\"left\":0},"
              "{\"name\":\"wifi24\",\"on\":false,\"left\":0},"
              "{\"name\":\"wifi5\",\"on\":false,\"left\":0},"
              "{\"name\":\"ap\",\"on\":true,\"left\":0},"
              "{\"name\":\"allap\",\"on\":false,\"left\":0},"
              "{\"name\":\"current\",\"on\":false,\"left\":0},"
              "{\"name\":\"sim\",\"on\":false,\"left\":0}]}\n");
}

TEST_F(Viewer, EmptyBodyAsksForTheStateAlone) {
    EXPECT_THAT(taken(""), HasSubstr("\"enabled\":false"));
    EXPECT_TRUE(names_in(store_dir).empty());
    unsetenv("CONTENT_LENGTH");
    EXPECT_THAT(tool({}).output, StartsWith("Status: 200 OK\r\n")) << "a server need not tell a length of 0";
}

TEST_F(Viewer, RequestThatWasNotTakenYetIsNeverMadeZero) {
    taken("ap=5");
    taken("wan=1");
    taken("");
    EXPECT_EQ(item(0x80150438), 5);
}

TEST_F(Viewer, HeadIsLookedAt) {
    setenv("REQUEST_METHOD", "GET", 1);
    expect_refused(ask("wan=1"), "405 Method Not Allowed", "method");
    setenv("REQUEST_METHOD", "POST", 1);
    setenv("HTTP_SEC_FETCH_SITE", "cross-site", 1);
    expect_refused(ask("wan=1"), "403 Forbidden", "origin");
    unsetenv("HTTP_SEC_FETCH_SITE");
    setenv("HTTP_ORIGIN", "http://elsewhere", 1);
    expect_refused(ask("wan=1"), "403 Forbidden", "origin");
    setenv("HTTP_SEC_FETCH_SITE", "same-origin", 1);
    setenv("HTTP_X_REQUESTED_WITH", "XMLHttpRequest", 1);
    expect_refused(ask("wan=1"), "400 Bad Request", "header");
    setenv("HTTP_X_REQUESTED_WITH", "dashboard-viewer", 1);
    setenv("HTTP_TRANSFER_ENCODING", "chunked", 1);
    expect_refused(ask("wan=1"), "411 Length Required", "length");
    unsetenv("HTTP_TRANSFER_ENCODING");
    taken("wan=1");
}

TEST_F(Viewer, LengthIsLookedAt) {
    for (const char* text : {"-5", "five", "5x", "05"}) {
        setenv("CONTENT_LENGTH", text, 1);
        expect_refused(tool({}, "wan=1"), "400 Bad Request", "length");
    }
    setenv("CONTENT_LENGTH", "257", 1);
    expect_refused(tool({}, "wan=1"), "413 Content Too Large", "length");
    setenv("CONTENT_LENGTH", "6", 1);
    expect_refused(tool({}, "wan=1"), "400 Bad Request", "body");
    setenv("CONTENT_LENGTH", "5", 1);
    expect_refused(tool({}, ""), "400 Bad Request", "body");
    EXPECT_THAT(tool({}, "wan=1&frob=1").output, StartsWith("Status: 200 OK\r\n")) << "reading stops at the length";
}

TEST_F(Viewer, BodyIsLookedAtBeforeAnythingIsWritten) {
    expect_refused(ask("wan=1&frob=1"), "400 Bad Request", "name");
    expect_refused(ask("wan=1&lan=0"), "400 Bad Request", "number");
    expect_refused(ask("wan=1&ap=129"), "400 Bad Request", "number");
    expect_refused(ask("wan=1&bond=4"), "400 Bad Request", "number");
    expect_refused(ask("wan=1&wan=1"), "400 Bad Request", "duplicate");
    expect_refused(ask("wan=1&"), "400 Bad Request", "body");
    expect_refused(ask(std::string(body_limit, '&')), "400 Bad Request", "body");
    expect_refused(ask(std::string(body_limit + 1, '&')), "413 Content Too Large", "length");
}

TEST_F(Viewer, SwitchingOnIsTheOperatorsToAllow) {
    expect_refused(ask("enable=lan"), "403 Forbidden", "enable");
    setenv("DASHBOARD_VIEWER_ENABLE", "yes", 1);
    expect_refused(ask("wan=1&enable=lan"), "403 Forbidden", "enable");
    setenv("DASHBOARD_VIEWER_ENABLE", "1", 1);
    EXPECT_THAT(taken("wan=1&enable=lan"), HasSubstr("\"may_enable\":true,"));
    EXPECT_EQ(item(0x150787), 1);
    EXPECT_EQ(item(0x80150433), 1);
    EXPECT_EQ(names_in(store_dir).size(), 2u);
}

TEST_F(Viewer, StoreThatCannotBeUsedIsAnError) {
    write_file(store_dir, "not a directory");
    EXPECT_EQ(ask("wan=1").output, std::string("Status: 500 Internal Server Error\r\n") + common_headers +
                                       "\r\n{\"ok\":false,\"error\":\"store\"}\n");
    std::filesystem::remove(store_dir);
    open_store();
    std::filesystem::create_directory(store_file("0x80150433"));
    EXPECT_THAT(ask("cpu=1&wan=1&ap=4").output, StartsWith("Status: 500 Internal Server Error\r\n"));
    EXPECT_EQ(item(0x80150438), -1) << "nothing behind the failure is written";
    EXPECT_THAT(ask("").output, StartsWith("Status: 200 OK\r\n")) << "an item that can't be read is off";
}

// The time-out is the program's own, of five seconds: a client that sends half a body and waits holds nothing for ever.
TEST_F(Viewer, ClientThatSendsNoBodyIsLeft) {
    int ends[2];
    ASSERT_EQ(pipe(ends), 0);
    setenv("CONTENT_LENGTH", "5", 1);
    const int null = open("/dev/null", O_RDWR | O_CLOEXEC);
    EXPECT_EQ(wait_child(start_tool({}, ends[0], null, null, program)), 128 + SIGALRM);
    close(null);
    close(ends[0]);
    close(ends[1]);
}

// Nobody reads the answer of a full disk or a closed connection, but the server may look at the status.
TEST_F(Viewer, AnswerThatCannotBeWrittenIsAFailure) {
    const int null = open("/dev/null", O_RDWR | O_CLOEXEC);
    const int full = open("/dev/full", O_WRONLY | O_CLOEXEC);
    ASSERT_GE(full, 0);
    EXPECT_EQ(wait_child(start_tool({}, null, full, null, program)), 1);
    close(full);
    close(null);
}

} // namespace
} // namespace dashboard
