// All eleven modules of a daemon together for more than an hour.
#include "tests/daemon/all_modules.h"
#include "tests/unit/history_model.h"

#include <gmock/gmock.h>

#include <csignal>

namespace dashboard::testing {
namespace {

using ::testing::HasSubstr;
using ::testing::Not;

using numbers = plain_sample<uint64_t, 16>;

// The documents of one module, worked out apart from the daemon: what the second `n` after the start measures, and how
// a sample is shown.
struct followed_module {
    std::string stem;
    std::string suffix;
    size_t span;
    std::function<std::array<uint64_t, 16>(uint64_t n)> measure;
    std::function<std::string(const numbers&)> lines;
    history_model<numbers> model{first_cycle};

    std::string document(int series) const {
        std::string text;
        for (const numbers& sample : model.series(series).newest(span)) {
            text += time_line(sample.time) + lines(sample);
        }
        return datalist(text);
    }
};

// Received and sent, as fill_world has them.
std::array<uint64_t, 16> traffic(uint64_t rx, uint64_t tx) {
    return {tx, rx, tx + rx};
}

std::string traffic_lines(const std::string& entity, const numbers& sample) {
    return element(entity + "_tx", sample.value[0]) + element(entity + "_rx", sample.value[1]) +
           element(entity + "_txrx", sample.value[2]);
}

// One VAP counts: `slot` from 1.
std::string wifi_lines(const std::string& band, size_t slot, uint64_t total, const numbers& sample) {
    std::string lines = element("wifi_" + band + "_txrx", total);
    for (size_t v = 1; v <= 8; ++v) {
        const std::string vap = "VAP" + std::to_string(v) + "_" + band;
        lines += element(vap + "_Tx", v == slot ? sample.value[0] : 0);
        lines += element(vap + "_Rx", v == slot ? sample.value[1] : 0);
        lines += element(vap + "_TxRx", v == slot ? sample.value[2] : 0);
    }
    return lines;
}

std::array<uint64_t, 16> vaps_of_first_ap(uint64_t n) {
    std::array<uint64_t, 16> counts{};
    for (size_t group = 1; group <= 16; ++group) {
        counts[group - 1] = counted_from(1000 + 60 * n)[txrx_of_group(group)];
    }
    return counts;
}

std::string ap_lines(const numbers& sample) {
    std::string lines;
    for (size_t i = 0; i < 16; ++i) {
        lines += element("VAP" + std::to_string(i % 8 + 1) + (i < 8 ? "_24_TxRx" : "_50_TxRx"), sample.value[i]);
    }
    return lines;
}

constexpr char sim_lines[] = "    <sim1_RSSI>-60</sim1_RSSI>\n    <sim1_RSRP>-61</sim1_RSRP>\n"
                             "    <sim1_RSRQ>-62</sim1_RSRQ>\n    <sim1_SINR>63</sim1_SINR>\n"
                             "    <sim1_RSCP>-64</sim1_RSCP>\n    <sim1_EcIo>-65</sim1_EcIo>\n"
                             "    <sim2_RSSI>-0</sim2_RSSI>\n    <sim2_RSRP>-0</sim2_RSRP>\n"
                             "    <sim2_RSRQ>-0</sim2_RSRQ>\n    <sim2_SINR>0</sim2_SINR>\n"
                             "    <sim2_RSCP>-0</sim2_RSCP>\n    <sim2_EcIo>-0</sim2_EcIo>\n";

std::vector<followed_module> followed_modules() {
    using counts = std::array<uint64_t, 16>;
    return {
        {"mem_usage_", "_0.xml", 60, [](uint64_t n) { return counts{65536 + n}; },
         [](const numbers& sample) { return element("mem_usage", sample.value[0]); }},
        {"wan_traffic_", "_0.xml", 72, [](uint64_t n) { return traffic(1000 + 31 * n, 2000 + 17 * n); },
         [](const numbers& sample) { return traffic_lines("wan1", sample); }},
        {"lan_traffic_", "_0.xml", 72, [](uint64_t n) { return traffic(7 * n, 5 * n * n); },
         [](const numbers& sample) { return traffic_lines("lan1", sample); }},
        {"wifi_24g_traffic_", "_0.xml", 72, [](uint64_t n) { return traffic(3000 + 101 * n, 4000 + 13 * n * n); },
         [](const numbers& sample) { return wifi_lines("24", 1, sample.value[0] + sample.value[1], sample); }},
        {"wifi_5g_traffic_", "_0.xml", 72, [](uint64_t n) { return traffic(5000 + 7 * n, 6000 + 1009 * n); },
         [](const numbers& sample) { return wifi_lines("50", 2, 2 * sample.value[0], sample); }},
        {"aptraffic_", "_0.xml", 60, vaps_of_first_ap, ap_lines},
        {"sim_strquality_", "_0.xml", 72, [](uint64_t) { return counts{}; },
         [](const numbers&) { return std::string(sim_lines); }},
    };
}

class all_together : public live_modules {
protected:
    all_together() {
        configure_world(world);
        world.csman.keep_quiet();
        for (const module_items& module : all_modules) {
            switch_on(module, 1);
        }
    }

    // The inputs of the second `now`, the models told.
    void count_traffic(int64_t now) {
        const auto n = static_cast<uint64_t>(now - first_cycle);
        fill_world(world, n);
        world.meminfo(131072, 65536 - n);
        for (followed_module& one : followed) {
            EXPECT_TRUE(one.model.feed({now, one.measure(n)}));
        }
    }

    void live_and_count(int cycles) {
        live(cycles, [this](int64_t now) { count_traffic(now); });
    }

    // Most of these seconds the clock leaves out, so that an emulated processor gets through the hour too.
    void pass_until(int64_t second) {
        while (world.clock.now() < second && !HasFatalFailure()) {
            live_and_count(20);
            step_clock(40, [this](int64_t now) { count_traffic(now); });
        }
    }

    void look_away() {
        for (watched_module& one : on) {
            one.request = 0;
        }
    }
    void look_again() {
        for (watched_module& one : on) {
            one.request = 1;
        }
    }

    std::string read(const std::string& document) const { return world.read("/tmp/dashboard/" + document); }

    void expect_documents(const std::vector<const char*>& series) const {
        static const std::vector<std::string> names = {"sec", "min", "hour"};
        for (const followed_module& one : followed) {
            for (const char* name : series) {
                const auto number = std::find(names.begin(), names.end(), name) - names.begin();
                EXPECT_EQ(read(one.stem + name + one.suffix), one.document(static_cast<int>(number))) << one.stem;
            }
        }
    }

    std::vector<followed_module> followed = followed_modules();
};

// Watched for three minutes, not watched for most of an hour, and watched again when the hour ends.
TEST_F(all_together, ShowWhatTheyMeasuredForMoreThanAnHour) {
    start();
    for (int minute = 1; minute <= 3; ++minute) {
        live_and_count(minute == 1 ? 61 : 60);
        expect_documents({"sec", "min"});
    }
    look_away();
    pass_until(first_cycle + 3500);
    look_again();
    live_and_count(130);
    expect_documents({"sec", "min", "hour"});
    live_and_count(65);
    expect_documents({"sec", "min", "hour"});

    ASSERT_EQ(followed[0].model.hour.held.size(), 1u);
    const int64_t hour = followed[0].model.hour.held[0].time;
    EXPECT_EQ(read("aptraffic_allap_hour.xml"), datalist(time_line(hour)));
    EXPECT_THAT(read("aptraffic_allap_sec.xml"), HasSubstr("    <ap_1_TxRx>"));
    EXPECT_EQ(read("cpu_usage_hour_0.xml"),
              datalist(time_line(hour) + "    <cpu_usage>10</cpu_usage>\n"
                                         "    <cpu_usage0>20</cpu_usage0>\n    <cpu_usage1>1</cpu_usage1>\n"));
    EXPECT_THAT(read("bond_traffic_sec_0.xml"), HasSubstr("    <slave0_txrx>"));
    EXPECT_THAT(read("current_traffic_sec_0.xml"), HasSubstr(" <item name=\"rxrate_0\">31</item>\n"));
    EXPECT_THAT(read("current_traffic_sec_0.xml"), HasSubstr(" <usage>10|5"));
}

TEST_F(all_together, SayNothingThatTheyNeedNot) {
    start();
    live_and_count(130);
    for (const module_items& module : all_modules) {
        const std::string index = std::to_string(module.index);
        EXPECT_EQ(lines_saying("log[init_monitor_cb]: init_mc idx=" + index), 1);
        // CPU usage is not known before the first measurement.
        EXPECT_EQ(lines_saying("log[dashboard_loop]: loop callback fail(" + index + ")"), module.index == 0 ? 4 : 0);
    }
    EXPECT_THAT(daemon->output(), Not(HasSubstr("warn[")));
    EXPECT_EQ(daemon->errors(), "");
    daemon->signal(SIGTERM);
    EXPECT_EQ(daemon->wait_for_exit(), 255);
}

} // namespace
} // namespace dashboard::testing
