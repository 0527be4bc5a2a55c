// The current-traffic snapshot in a whole daemon on a machine with 75 interfaces, and a netstat that is quick, slow,
// missing, chattering or hanging.
#include "tests/daemon/module_fixture.h"

#include <gmock/gmock.h>

#include <cerrno>

namespace dashboard::testing {
namespace {

using ::testing::ElementsAre;
using ::testing::EndsWith;
using ::testing::HasSubstr;
using ::testing::Not;

constexpr char document[] = "/tmp/dashboard/current_traffic_sec_0.xml";

class CurrentModule : public live_modules {
protected:
    CurrentModule() {
        for (uint64_t i = 0; i < 75; ++i) {
            interfaces.push_back({"veth" + std::to_string(i), 1000 * i, 2000 * i});
            names.push_back(interfaces.back().name);
        }
        world.netdev(interfaces);
        world.alive(names);
        switch_on(current_module, 1);
        switch_on(mem_module, 1);
    }

    void netstat_prints(int lines) { world.tool("netstat", "/usr/bin/seq " + std::to_string(lines)); }

    // Interface i receives i bytes and sends 10 i bytes a second.
    void count_traffic(int64_t now) {
        std::vector<interface_bytes> counted = interfaces;
        const auto passed = static_cast<uint64_t>(now - first_cycle);
        for (size_t i = 0; i < counted.size(); ++i) {
            counted[i].rx += i * passed;
            counted[i].tx += 10 * i * passed;
        }
        world.netdev(counted);
    }

    std::string usage() const {
        const std::string text = world.read(document);
        const size_t from = text.find("<usage>") + 7;
        return text.substr(from, text.find("</usage>") - from);
    }

    // The distances between the last seconds in which the server loop took samples of memory usage, `count` of them.
    std::vector<int64_t> distances(size_t wanted) const {
        const std::string text = world.read("/tmp/dashboard/mem_usage_sec_0.xml");
        std::vector<int64_t> times;
        for (size_t at = text.find("<time>"); at != std::string::npos; at = text.find("<time>", at + 1)) {
            times.push_back(std::stoll(text.substr(at + 6, 10)));
        }
        std::vector<int64_t> found;
        for (size_t i = times.size() - wanted; i < times.size(); ++i) {
            found.push_back(times.at(i) - times.at(i - 1));
        }
        return found;
    }

    std::vector<interface_bytes> interfaces;
    std::vector<std::string> names;
};

TEST_F(CurrentModule, ShowsSeventyFiveInterfacesWithTheirRates) {
    netstat_prints(152); // two lines of headers
    start();
    live(10, [this](int64_t now) { count_traffic(now); });
    std::string expected = "<?xml version=\"1.0\" ?>\n<datalist>\n";
    const uint64_t published = 8; // seconds after the first cycle: the ninth, as it is shown every third cycle
    for (uint64_t i = 0; i < 75; ++i) {
        const std::string k = std::to_string(i);
        const auto item = [&k](const std::string& kind, const std::string& text) {
            return " <item name=\"" + kind + "_" + k + "\">" + text + "</item>\n";
        };
        expected += item("device", "veth" + k) + item("type", "Ethernet") +
                    item("tx", std::to_string(2000 * i + 10 * i * published)) +
                    item("rx", std::to_string(1000 * i + i * published)) + item("txrate", std::to_string(10 * i)) +
                    item("rxrate", std::to_string(i));
    }
    const std::string text = world.read(document);
    EXPECT_EQ(text.substr(0, text.find("  <port_3g1>")), expected + " <usage>10|50|15</usage>\n");
}

TEST_F(CurrentModule, QuickNetstatKeepsTheServerLoopInItsSecond) {
    world.slow("netstat", 0.6);
    start();
    live(60, [this](int64_t now) { count_traffic(now); });
    EXPECT_THAT(distances(30), ::testing::Each(1));
    EXPECT_THAT(daemon->output(), Not(HasSubstr("timeout event")));
}

// Every third cycle takes two seconds and a half; the next begins at once.
TEST_F(CurrentModule, SlowNetstatDelaysTheServerLoopAndTheWatchdogLetsItBe) {
    netstat_prints(12);
    start();
    live(1);
    world.slow("netstat", 2.5);
    live(60);
    EXPECT_THAT(distances(9), ElementsAre(2, 1, 1, 2, 1, 1, 2, 1, 1));
    EXPECT_EQ(usage(), "10|50|1");
    EXPECT_THAT(daemon->output(), Not(HasSubstr("timeout event")));
}

TEST_F(CurrentModule, NetstatThatTakesLongerThanTheWatchdogWaitsEndsTheDaemon) {
    start();
    live(6);
    world.slow("netstat", 11);
    EXPECT_EQ(daemon->run_to_exit(40), 0);
    EXPECT_THAT(daemon->output(), EndsWith(server_timeout));
}

TEST_F(CurrentModule, HangingNetstatEndsTheDaemon) {
    start();
    live(6);
    const std::string before = world.read(document);
    world.hanging_tool("netstat", "Active Internet connections\n");
    EXPECT_EQ(daemon->run_to_exit(40), 0);
    EXPECT_THAT(daemon->output(), EndsWith(server_timeout));
    EXPECT_THAT(world.calls("pthread_cancel"), ElementsAre("1"));
    EXPECT_EQ(world.read(document), before);
    EXPECT_EQ(daemon->errors(), "");
}

// It never stops printing; nobody but wc sees any of it.
TEST_F(CurrentModule, EndlessNetstatEndsTheDaemon) {
    start();
    live(6);
    world.tool("netstat", "echo $$ >" + world.folder_of("hung") + "/$$\nexec /usr/bin/yes");
    EXPECT_EQ(daemon->run_to_exit(40), 0);
    EXPECT_THAT(daemon->output(), EndsWith(server_timeout));
    EXPECT_EQ(daemon->errors(), "");
}

TEST_F(CurrentModule, ChatteringNetstatCountsAHundredPercentAtMost) {
    world.tool("netstat", "/usr/bin/seq 200000");
    start();
    live(10);
    EXPECT_EQ(usage(), "10|50|100");
    EXPECT_THAT(distances(9), ::testing::Each(1));
    EXPECT_EQ(daemon->errors(), "");
}

// The shell complains; the daemon counts no lines.
TEST_F(CurrentModule, MissingNetstatShowsZero) {
    world.no_tool("netstat");
    start();
    live(10);
    EXPECT_EQ(usage(), "10|50|0");
    EXPECT_THAT(daemon->errors(), HasSubstr("netstat"));
    EXPECT_THAT(daemon->output(), Not(HasSubstr("get_netsession_usage")));
    EXPECT_THAT(distances(9), ::testing::Each(1));
}

TEST_F(CurrentModule, MissingWcShowsZero) {
    world.no_tool("wc");
    start();
    live(10);
    EXPECT_EQ(usage(), "10|50|0");
    EXPECT_THAT(daemon->output(), Not(HasSubstr("get_netsession_usage")));
}

TEST_F(CurrentModule, NetstatThatCannotBeStartedIsReported) {
    netstat_prints(32);
    start();
    live(7);
    EXPECT_EQ(usage(), "10|50|3");
    world.fail("popen", EAGAIN, "netstat");
    live(3);
    EXPECT_EQ(lines_saying("warn[get_netsession_usage]: Cann't open (netstat -aunt | wc -l)(Resource temporarily "
                           "unavailable)"),
              1);
    EXPECT_EQ(usage(), "10|50|0");
    live(3);
    EXPECT_EQ(usage(), "10|50|3");
}

TEST_F(CurrentModule, LimitThatCannotBeReadIsReported) {
    start();
    live(7);
    world.remove("/proc/sys/net/netfilter/nf_conntrack_max");
    live(3);
    EXPECT_EQ(lines_saying("warn[get_netsession_usage]: Cann't open /proc/sys/net/netfilter/nf_conntrack_max(No such "
                           "file or directory)"),
              1);
    EXPECT_EQ(usage(), "10|50|0");
}

} // namespace
} // namespace dashboard::testing
