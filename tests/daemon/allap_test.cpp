// The module of all access points together in a whole daemon.
#include "tests/daemon/module_fixture.h"
#include "tests/models/records.h"

#include <gmock/gmock.h>

#include <cerrno>

namespace dashboard::testing {
namespace {

using ::testing::ElementsAre;
using ::testing::HasSubstr;

class AllApModule : public live_modules {
protected:
    AllApModule() { switch_on(allap_module, 1); }

    void report(int ap, const ap_values& values) { world.file(ap_file(ap), ap_line(values) + "\n"); }
    std::string read(const std::string& document) const { return world.read("/tmp/dashboard/" + document); }
};

TEST_F(AllApModule, ShowsTheApsThatArePresentUpToTheThirtySecond) {
    for (const int ap : {0, 31, 32, 40, 127}) {
        report(ap, counted_from(100 * static_cast<uint64_t>(ap + 1)));
    }
    start();
    live(1);
    world.remove(ap_file(0));
    report(7, counted_from(1));
    live(1);
    EXPECT_EQ(read("aptraffic_allap_sec.xml"), "<?xml version=\"1.0\" ?>\n"
                                               "<datalist>\n"
                                               "    <time>1700000001000</time>\n"
                                               "    <ap_0_TxRx>102</ap_0_TxRx>\n"
                                               "    <ap_31_TxRx>3202</ap_31_TxRx>\n"
                                               "    <time>1700000002000</time>\n"
                                               "    <ap_7_TxRx>3</ap_7_TxRx>\n"
                                               "    <ap_31_TxRx>3202</ap_31_TxRx>\n"
                                               "</datalist>\n");
    for (const int ap : {7, 31, 32, 40, 127}) {
        world.remove(ap_file(ap));
    }
    const std::string before = read("aptraffic_allap_sec.xml");
    live(5);
    EXPECT_EQ(read("aptraffic_allap_sec.xml"), before);
    EXPECT_EQ(lines_saying("log[dashboard_loop]: loop callback fail(8)"), 5);
}

// An average knows no access point as present.
TEST_F(AllApModule, MinutesAndHoursShowTimesOnly) {
    report(0, counted_from(1));
    start();
    live(121);
    const std::string minutes = time_line(first_cycle + 60) + time_line(first_cycle + 120);
    EXPECT_EQ(read("aptraffic_allap_min.xml"), datalist(minutes));
    step_clock(3500);
    EXPECT_EQ(read("aptraffic_allap_hour.xml"), datalist(time_line(first_cycle + 3620)));
    EXPECT_EQ(read("aptraffic_allap_min.xml"), datalist(minutes)); // the jump has ended the request
}

// The document of minutes looks after the link of seconds and has none; that of hours leads to the temporary name.
TEST_F(AllApModule, LinksAreAsTheyAre) {
    const std::string sec_link = "ln -sf /tmp/dashboard/aptraffic_allap_sec.xml /usr/www/aptraffic_allap_sec.xml";
    const std::string hour_link =
        "ln -sf /tmp/dashboard/aptraffic_allap_hour_tmp.xml /usr/www/aptraffic_allap_hour.xml";
    const auto links = [this] {
        std::vector<std::string> found;
        for (const runner_command& one : world.commands()) {
            if (one.file == "dashboard_allap") {
                found.push_back(one.func + ": " + one.command);
            }
        }
        return found;
    };
    report(0, counted_from(1));
    request(allap_module, 0);
    start();
    live(1);
    EXPECT_THAT(links(), ElementsAre("xml_allap_traffic_sec: " + sec_link, "xml_allap_traffic_hour: " + hour_link));
    EXPECT_THAT(world.list("/usr/www"), ElementsAre("aptraffic_allap_hour.xml", "aptraffic_allap_sec.xml"));
    // With the min document the sec link comes back, though nobody has written that document since.
    world.remove("/usr/www/aptraffic_allap_sec.xml");
    live(54);
    EXPECT_FALSE(world.exists("/usr/www/aptraffic_allap_sec.xml"));
    world.forget_calls();
    world.fail("open", EACCES, "aptraffic_allap_sec_tmp", -1);
    request(allap_module, 1);
    live(6);
    EXPECT_THAT(links(), ElementsAre("xml_allap_traffic_min: " + sec_link));
    EXPECT_EQ(world.link_target("/usr/www/aptraffic_allap_sec.xml"), "/tmp/dashboard/aptraffic_allap_sec.xml");
    // The hour link leads nowhere, so it is made again with every document.
    world.fail_no_more();
    world.forget_calls();
    step_clock(3600);
    EXPECT_THAT(links(), ElementsAre("xml_allap_traffic_hour: " + hour_link));
    EXPECT_FALSE(world.exists("/usr/www/aptraffic_allap_min.xml"));
    EXPECT_THAT(daemon->output(), HasSubstr("open file(/tmp/dashboard/aptraffic_allap_sec_tmp.xml) error(Permission"));
}

TEST_F(AllApModule, ShowsTheNewestSixty) {
    ring_model<allap_record, 128> seconds;
    start();
    live(200, [&](int64_t now) {
        report(3, counted_from(static_cast<uint64_t>(now)));
        seconds.push({now, {{3, static_cast<uint64_t>(now) + 2}}});
    });
    EXPECT_EQ(read("aptraffic_allap_sec.xml"), allap_document(seconds.newest(60)));
}

} // namespace
} // namespace dashboard::testing
