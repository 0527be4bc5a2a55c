// The Wi-Fi modules of both bands in a whole daemon.
#include "tests/daemon/module_fixture.h"
#include "tests/models/records.h"

#include <gmock/gmock.h>

namespace dashboard::testing {
namespace {

using ::testing::HasSubstr;
using ::testing::Not;

struct band_case {
    const char* name;
    module_items module;
    uint32_t interface_item;
    std::string source;
    std::string stem;
    std::string band; // in element names
    bool total_counts_received;
};

void PrintTo(const band_case& band, std::ostream* out) {
    *out << band.name;
}

std::string name_of_band(const ::testing::TestParamInfo<band_case>& about) {
    return about.param.name;
}

const band_case bands[] = {
    {"Band24", wifi_24g_module, wifi_24g_interface, "dashboard_wifi_24g", "wifi_24g_traffic", "24", true},
    {"Band50", wifi_5g_module, wifi_5g_interface, "dashboard_wifi_5g", "wifi_5g_traffic", "50", false},
};

class WifiModule : public live_modules, public ::testing::WithParamInterface<band_case> {
protected:
    WifiModule() {
        world.csman.set_string(GetParam().interface_item, "ra0");
        world.alive({"lo", "eth0", "ra0", "ra2", "ra8", "rai0"});
        switch_on(GetParam().module, 1);
    }

    std::string path(const std::string& series) const {
        return "/tmp/dashboard/" + GetParam().stem + "_" + series + "_0.xml";
    }

    std::string failure() const {
        return "log[dashboard_loop]: loop callback fail(" + std::to_string(GetParam().module.index) + ")";
    }

    // ra0 and ra2 with counters of the second `now`, the model told.
    void count_traffic(int64_t now) {
        const auto n = static_cast<uint64_t>(now - first_cycle);
        const uint64_t tx0 = 100 + n * n * 7, rx0 = 200 + n * 1013, tx2 = ~uint64_t{0} - n, rx2 = n % 5;
        world.netdev({{"lo", 1, 1}, {"ra0", rx0, tx0}, {"ra2", rx2, tx2}});
        EXPECT_TRUE(model.feed(wifi_at(GetParam().band, now, {{0, tx0, rx0}, {2, tx2, rx2}})));
    }

    std::string document(const ring_model<wifi_record>& series) const {
        return wifi_document(GetParam().band, series.newest(72));
    }

    history_model<wifi_record> model{first_cycle};
};

INSTANTIATE_TEST_SUITE_P(Of, WifiModule, ::testing::ValuesIn(bands), name_of_band);

// Of seven wireless interfaces three count: rai0 is of the other family, ra8 has no slot, ra1 is down. The 5 GHz total
// counts what was sent twice.
TEST_P(WifiModule, ShowsItsVapsByTheirSlots) {
    world.netdev(
        {{"lo", 1, 1}, {"ra0", 10, 20}, {"ra1", 500, 500}, {"ra2", 3, 4}, {"ra8", 500, 500}, {"rai0", 500, 500}});
    start();
    live(1);
    std::string expected = "<?xml version=\"1.0\" ?>\n"
                           "<datalist>\n"
                           "    <time>1700000001000</time>\n"
                           "    <wifi_BB_txrx>TOTAL</wifi_BB_txrx>\n"
                           "    <VAP1_BB_Tx>20</VAP1_BB_Tx>\n"
                           "    <VAP1_BB_Rx>10</VAP1_BB_Rx>\n"
                           "    <VAP1_BB_TxRx>30</VAP1_BB_TxRx>\n"
                           "    <VAP2_BB_Tx>0</VAP2_BB_Tx>\n"
                           "    <VAP2_BB_Rx>0</VAP2_BB_Rx>\n"
                           "    <VAP2_BB_TxRx>0</VAP2_BB_TxRx>\n"
                           "    <VAP3_BB_Tx>4</VAP3_BB_Tx>\n"
                           "    <VAP3_BB_Rx>3</VAP3_BB_Rx>\n"
                           "    <VAP3_BB_TxRx>7</VAP3_BB_TxRx>\n";
    for (const char* vap : {"VAP4", "VAP5", "VAP6", "VAP7", "VAP8"}) {
        for (const char* kind : {"_BB_Tx", "_BB_Rx", "_BB_TxRx"}) {
            expected += element(std::string(vap) + kind, 0);
        }
    }
    expected += "</datalist>\n";
    const std::string total = GetParam().total_counts_received ? "37" : "48";
    expected.replace(expected.find("TOTAL"), 5, total);
    for (size_t at = expected.find("BB"); at != std::string::npos; at = expected.find("BB")) {
        expected.replace(at, 2, GetParam().band);
    }
    EXPECT_EQ(world.read(path("sec")), expected);
}

TEST_P(WifiModule, BandWhoseInterfaceIsNamedLateBeginsWithTheNextCheck) {
    world.netdev({{"lo", 1, 1}, {"rai0", 10, 20}});
    world.csman.unset(GetParam().interface_item);
    start();
    live(9);
    EXPECT_EQ(lines_saying(failure()), 9);
    EXPECT_EQ(world.read(path("sec")), datalist(""));
    world.csman.set_string(GetParam().interface_item, "rai0");
    live(3); // the check comes with the tenth cycle
    EXPECT_EQ(lines_saying(failure()), 9);
    EXPECT_THAT(world.read(path("sec")), HasSubstr("<VAP1_" + GetParam().band + "_TxRx>30<"));
    // Once known, the name is not asked for again.
    world.csman.set_string(GetParam().interface_item, "ra0");
    live(20);
    EXPECT_EQ(lines_saying(failure()), 9);
}

TEST_P(WifiModule, SecondWithoutAnyVapGivesNoSample) {
    start();
    live(3, [this](int64_t now) { count_traffic(now); });
    const std::string before = world.read(path("sec"));
    world.netdev({{"lo", 1, 1}, {"rai0", 1, 1}, {"ra8", 1, 1}});
    live(2);
    EXPECT_EQ(lines_saying(failure()), 2);
    EXPECT_EQ(world.read(path("sec")), before);
    live(1, [this](int64_t now) { count_traffic(now); });
    EXPECT_EQ(world.read(path("sec")), document(model.sec));
}

TEST_P(WifiModule, RollsUpItsMinutesAndItsHour) {
    start();
    live(60, [this](int64_t now) { count_traffic(now); });
    EXPECT_EQ(world.read(path("min")), datalist(""));
    live(1, [this](int64_t now) { count_traffic(now); });
    ASSERT_EQ(model.min.held.size(), 1u);
    EXPECT_EQ(world.read(path("min")), document(model.min));
    live(65, [this](int64_t now) { count_traffic(now); });
    ASSERT_EQ(model.min.held.size(), 2u);
    EXPECT_EQ(world.read(path("sec")), document(model.sec));
    EXPECT_EQ(world.read(path("min")), document(model.min));
    EXPECT_EQ(world.read(path("hour")), datalist(""));
    // Nobody looks while the hour goes by; its document is written all the same.
    request(GetParam().module, 0);
    live(70, [this](int64_t now) { count_traffic(now); });
    const std::string minutes = world.read(path("min"));
    step_clock(3500, [this](int64_t now) { count_traffic(now); });
    ASSERT_EQ(model.hour.held.size(), 1u);
    EXPECT_EQ(world.read(path("hour")), document(model.hour));
    EXPECT_EQ(world.read(path("min")), minutes);
    EXPECT_THAT(daemon->output(), Not(HasSubstr("loop callback fail")));
}

} // namespace
} // namespace dashboard::testing
