// Empty files of access points, each of which costs the daemon a descriptor every second, until there are none left.
#include "tests/daemon/module_fixture.h"
#include "tests/models/ap_records.h"
#include "tests/models/router.h"

#include <gmock/gmock.h>

#include <csignal>
#include <map>
#include <set>
#include <sys/resource.h>

#include <filesystem>

namespace dashboard::testing {
namespace {

using ::testing::HasSubstr;
using ::testing::Not;

constexpr char no_more[] = "Too many open files";

// While one lives, processes that are started may have 300 descriptors.
class few_descriptors {
public:
    few_descriptors() {
        getrlimit(RLIMIT_NOFILE, &before);
        rlimit few = before;
        few.rlim_cur = 300;
        setrlimit(RLIMIT_NOFILE, &few);
    }
    ~few_descriptors() { setrlimit(RLIMIT_NOFILE, &before); }
    few_descriptors(const few_descriptors&) = delete;
    few_descriptors& operator=(const few_descriptors&) = delete;

private:
    rlimit before{};
};

class EmptyApFiles : public live_modules {
protected:
    void leave_empty(int files) {
        for (int ap = 0; ap < files; ++ap) {
            world.file(ap_file(ap), "");
        }
    }

    void start_with_everything_on() {
        configure_router(world);
        for (const module_items& module : all_modules) {
            switch_on(module, 1);
        }
        const few_descriptors limit;
        start();
    }

    // Lives, its inputs changing, until the descriptors have run out.
    void run_out() {
        live(20, [this](int64_t now) { router_at(world, static_cast<uint64_t>(now - first_cycle)); });
        EXPECT_THAT(daemon->output(), Not(HasSubstr(no_more)));
        leave_empty(128);
        live(3);
        EXPECT_THAT(daemon->output(), HasSubstr(no_more));
    }

    long open_descriptors() const {
        return std::distance(std::filesystem::directory_iterator("/proc/" + std::to_string(daemon->pid()) + "/fd"),
                             std::filesystem::directory_iterator());
    }

    std::map<std::string, std::string> documents() const {
        std::map<std::string, std::string> texts;
        for (const std::string& name : world.list("/tmp/dashboard")) {
            texts[name] = world.read("/tmp/dashboard/" + name);
        }
        return texts;
    }
};

TEST_F(EmptyApFiles, CostADescriptorASecondAndModule) {
    leave_empty(5);
    switch_on(ap_module);
    switch_on(allap_module);
    start();
    live(4);
    const long before = open_descriptors();
    live(10);
    EXPECT_EQ(open_descriptors() - before, 10 * 2 * 5);
    world.csman.set(allap_module.enable, 0);
    live(6);
    const long with_one_module = open_descriptors();
    live(10);
    EXPECT_EQ(open_descriptors() - with_one_module, 10 * 5);
}

// What it says in twelve seconds, that is in one round of everything that it does.
TEST_F(EmptyApFiles, AreNamedByTheirEffectInTheLog) {
    start_with_everything_on();
    run_out();
    const size_t said = daemon->output_lines().size();
    live(12);
    const std::vector<std::string> lines = daemon->output_lines();
    const auto cannot_open = [](const std::string& writer, const std::string& document) {
        return "warn[" + writer + "]: open file(/tmp/dashboard/" + document + "_tmp.xml) error(" + no_more + ")!";
    };
    const std::set<std::string> expected = {
        "warn[main_netdev_info]: fopen(/proc/net/dev) failed(Too many open files)!",
        "warn[main_netdev_alive]: popen(ifconfig | awk '/Link encap/{print $1}') error(Too many open files)!",
        "warn[query_cpu]: popen(mpstat -P ALL 1 2) failed(Too many open files)!",
        "warn[get_mem_usage]: Cannot open /proc/meminfo: Too many open files",
        "warn[get_netsession_usage]: Cann't open /proc/sys/net/netfilter/nf_conntrack_max(Too many open files)",
        "log[dashboard_loop]: loop callback fail(1)", // memory usage: it could not be read
        "log[dashboard_loop]: loop callback fail(8)", // all access points: none could be read
        cannot_open("xml_cpu_usage_sec", "cpu_usage_sec"),
        cannot_open("xml_wan_traffic_sec", "wan_traffic_sec"),
        cannot_open("xml_lan_traffic_sec", "lan_traffic_sec"),
        cannot_open("xml_wifi_traffic_sec", "wifi_24g_traffic_sec_0"),
        cannot_open("xml_wifi_traffic_sec", "wifi_5g_traffic_sec_0"),
        cannot_open("xml_bond_traffic_sec", "bond_traffic_sec_0"),
        cannot_open("xml_current_traffic_sec", "current_traffic_sec_0"),
        cannot_open("xml_sim_strquality_sec", "sim_strquality_sec_0"),
    };
    EXPECT_EQ(std::set<std::string>(lines.begin() + static_cast<std::ptrdiff_t>(said), lines.end()), expected);
}

TEST_F(EmptyApFiles, LeaveTheDocumentsAsTheyWere) {
    start_with_everything_on();
    run_out();
    const std::map<std::string, std::string> before = documents();
    EXPECT_THAT(before.at("aptraffic_sec_0.xml"), HasSubstr(time_line(first_cycle + 19))); // the last second before
    live(130);
    EXPECT_EQ(documents(), before);
    step_clock(3600); // hours are written whether somebody looks or not
    EXPECT_THAT(daemon->output(), HasSubstr("open file(/tmp/dashboard/wan_traffic_hour_tmp.xml) error(Too many open"));
    EXPECT_EQ(documents(), before);
}

TEST_F(EmptyApFiles, LeaveItAliveUntilItIsTerminated) {
    start_with_everything_on();
    run_out();
    live(300);
    EXPECT_FALSE(daemon->ended());
    EXPECT_EQ(daemon->errors(), "");
    EXPECT_THAT(daemon->output(), Not(HasSubstr("timeout event")));
    daemon->signal(SIGTERM);
    EXPECT_EQ(daemon->wait_for_exit(), 255);
}

} // namespace
} // namespace dashboard::testing
