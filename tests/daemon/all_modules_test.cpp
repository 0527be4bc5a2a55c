// All modules of a daemon together for more than an hour.
#include "tests/daemon/module_fixture.h"
#include "tests/models/router.h"

#include <gmock/gmock.h>

#include <csignal>

namespace dashboard::testing {
namespace {

using ::testing::HasSubstr;
using ::testing::Not;

// The documents of a module and what they must hold.
struct followed_module {
    std::string stem;
    begin_history begin;
    std::unique_ptr<metric_history> model = begin(first_cycle);
};

std::vector<followed_module> followed_modules() {
    static constexpr std::pair<const char*, begin_history> all[] = {
        {"mem_usage_", mem_history},           {"wan_traffic_", wan_history},
        {"lan_traffic_", lan_history},         {"wifi_24g_traffic_", wifi_24g_history},
        {"wifi_5g_traffic_", wifi_5g_history}, {"aptraffic_", first_ap_history},
        {"sim_strquality_", sim_history}};
    std::vector<followed_module> followed;
    for (const auto& [stem, begin] : all) {
        followed.push_back({stem, begin});
    }
    return followed;
}

class AllModules : public live_modules {
protected:
    AllModules() {
        configure_router(world);
        world.csman.keep_quiet();
        for (const module_items& module : all_modules) {
            switch_on(module, 1);
        }
    }

    // The inputs of the second `now`, the models told.
    void count_traffic(int64_t now) {
        const auto n = static_cast<uint64_t>(now - first_cycle);
        router_at(world, n);
        for (followed_module& one : followed) {
            EXPECT_TRUE(one.model->feed(now, n));
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
                EXPECT_EQ(read(one.stem + name + "_0.xml"), one.model->document(static_cast<int>(number))) << one.stem;
            }
        }
    }

    std::vector<followed_module> followed = followed_modules();
};

// Watched for three minutes, not watched for most of an hour, and watched again when the hour ends.
TEST_F(AllModules, ShowWhatTheyMeasuredForMoreThanAnHour) {
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

    ASSERT_EQ(followed[0].model->held(2), 1u);
    const int64_t hour = followed[0].model->newest_time(2);
    EXPECT_EQ(read("aptraffic_allap_hour.xml"), datalist(time_line(hour)));
    EXPECT_THAT(read("aptraffic_allap_sec.xml"), HasSubstr("    <ap_1_TxRx>"));
    EXPECT_EQ(read("cpu_usage_hour_0.xml"),
              datalist(time_line(hour) + "    <cpu_usage>10</cpu_usage>\n"
                                         "    <cpu_usage0>20</cpu_usage0>\n    <cpu_usage1>1</cpu_usage1>\n"));
    EXPECT_THAT(read("bond_traffic_sec_0.xml"), HasSubstr("    <slave0_txrx>"));
    EXPECT_THAT(read("current_traffic_sec_0.xml"), HasSubstr(" <item name=\"rxrate_0\">31</item>\n"));
    EXPECT_THAT(read("current_traffic_sec_0.xml"), HasSubstr(" <usage>10|5"));
}

TEST_F(AllModules, SayNothingThatTheyNeedNot) {
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
