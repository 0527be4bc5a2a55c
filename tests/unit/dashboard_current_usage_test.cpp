// The current-traffic snapshot: usages and port states.
#include "core/dashboard_flags.h"
#include "core/dashboard_query.h"
#include "probes/dashboard_cpuinfo.h"
#include "tests/unit/current_fixture.h"
#include "tests/unit/own_process.h"

#include <cerrno>
#include <cstdint>

namespace dashboard::testing {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

class CurrentUsage : public current_fixture {
protected:
    CurrentUsage() { start_quietly(); }

    void expect_usage(const std::string& usage) { expect_current(" <usage>" + usage + "</usage>\n" + ports()); }
};

TEST_F(CurrentUsage, IsCpuMemoryAndSessionsInPercent) {
    cpu({"12.99"});
    world.meminfo(1000, 333);
    world.file("/proc/sys/net/netfilter/nf_conntrack_max", "40\n");
    snapshot();
    expect_usage("88|66|25");
    EXPECT_THAT(world.messages(), IsEmpty());
}

TEST_F(CurrentUsage, ShowsNegativeCpuFigures) {
    cpu({"101.00"});
    snapshot();
    expect_usage("-1|50|1");
}

TEST_F(CurrentUsage, OfTheCpuIsZeroBeforeTheFirstMeasurement) {
    in_own_process([this] {
        set_query_quit_flag();
        query(); // a query thread that has come and gone: nothing measured is left
        snapshot();
        expect_usage("0|50|1");
    });
}

TEST_F(CurrentUsage, OfMemoryIsMinusOneWhenItCannotBeRead) {
    world.remove("/proc/meminfo");
    snapshot();
    expect_usage("10|-1|1");
    EXPECT_THAT(world.messages(),
                ElementsAre("warn[get_mem_usage]: Cannot open /proc/meminfo: No such file or directory"));
}

TEST_F(CurrentUsage, OfSessionsIsZeroWithoutALimit) {
    world.remove("/proc/sys/net/netfilter/nf_conntrack_max");
    snapshot();
    expect_usage("10|50|0");
    EXPECT_THAT(world.messages(),
                ElementsAre("warn[get_netsession_usage]: Cann't open /proc/sys/net/netfilter/nf_conntrack_max(No such "
                            "file or directory)"));
}

TEST_F(CurrentUsage, OfSessionsIsZeroWithoutNetstat) {
    world.no_tool("netstat");
    world.tool("netstat", ":");
    snapshot();
    expect_usage("10|50|0");
    world.fail("popen", ENOMEM, "netstat");
    snapshot();
    expect_usage("10|50|0");
    EXPECT_THAT(world.messages(), ElementsAre("warn[get_netsession_usage]: Cann't open (netstat -aunt | wc -l)(Cannot "
                                              "allocate memory)"));
}

class CurrentPorts : public CurrentUsage {
protected:
    void expect_eth(const std::vector<int>& states) { expect_current(" <usage>10|50|1</usage>\n" + ports(states)); }
};

TEST_F(CurrentPorts, AreReadFromTheConfigurationInThisOrder) {
    world.csman.set(eth_port_count, 2);
    snapshot();
    std::vector<std::string> expected = {"read_int 7 0x8000f360", "read_int 7 0x80010020", "read_int 7 0x80010021"};
    for (const char* item : {"701", "702", "703", "704", "705", "706", "707", "708", "709", "70a", "70b", "70c", "70d",
                             "70e", "70f", "710"}) {
        expected.push_back(std::string("read_int 7 0x801e0") + item);
    }
    for (const char* item : {"0", "1", "2", "3", "4", "5", "6", "7", "8", "9", "a", "b", "c", "d", "e", "f"}) {
        expected.push_back(std::string("read_int 7 0x1e420") + item);
    }
    for (const char* item : {"0x10010", "0x10018", "0x803b0011"}) {
        expected.push_back(std::string("read_int 7 ") + item);
    }
    EXPECT_EQ(world.calls("csman"), expected);
}

TEST_F(CurrentPorts, OfEthernetAreAsManyAsConfiguredFrom0To16) {
    const struct {
        int32_t configured;
        size_t shown;
    } cases[] = {{0, 0},   {1, 1},          {5, 5},  {15, 15}, {16, 16},      {17, 16},
                 {20, 16}, {INT32_MAX, 16}, {-1, 0}, {-5, 0},  {INT32_MIN, 0}};
    std::vector<int> states;
    for (uint32_t i = 0; i < 16; ++i) {
        states.push_back(100 + static_cast<int>(i));
        world.csman.set(eth_port + i, states.back());
    }
    for (const auto& one : cases) {
        world.csman.set(eth_port_count, one.configured);
        snapshot();
        expect_eth({states.begin(), states.begin() + static_cast<std::ptrdiff_t>(one.shown)});
    }
    world.csman.unset(eth_port_count);
    snapshot();
    expect_eth({});
}

TEST_F(CurrentPorts, OfEthernetEndAtTheFirstThatHoldsMinusOne) {
    world.csman.set(eth_port_count, 5);
    const int held[] = {1, -2, -1, 4, 5};
    for (uint32_t i = 0; i < 5; ++i) {
        world.csman.set(eth_port + i, held[i]);
    }
    snapshot();
    expect_eth({1, -2});
}

TEST_F(CurrentPorts, ThatCannotBeReadAreZero) {
    world.csman.set(eth_port_count, 3);
    world.csman.set(eth_port, 1);
    world.csman.set(eth_port + 1, 1);
    world.csman.set(eth_port + 2, 1);
    world.csman.fail_reads(eth_port + 1, -1);
    snapshot();
    expect_eth({1, 0, 1});
}

TEST_F(CurrentPorts, AreReadAfreshForEverySnapshot) {
    world.csman.set(eth_port_count, 1);
    world.csman.set(eth_port, 7);
    snapshot();
    expect_eth({7});
    world.csman.set(eth_port, 8);
    snapshot();
    expect_eth({8});
    world.csman.set(eth_port_count, 0);
    snapshot();
    expect_eth({});
}

} // namespace
} // namespace dashboard::testing
