// How full the connection-tracking table is.
#include "probes/dashboard_sysinfo.h"

#include "tests/unit/heard_messages.h"

#include <gmock/gmock.h>

#include <cerrno>

namespace dashboard::testing {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

class NetsessionUsage : public ::testing::Test {
protected:
    NetsessionUsage() { limit("100\n"); }

    void limit(const std::string& text) { world.file("/proc/sys/net/netfilter/nf_conntrack_max", text); }
    void netstat_prints(int lines) {
        world.tool("netstat", "i=0; while [ $i -lt " + std::to_string(lines) + " ]; do echo line; i=$((i+1)); done");
    }
    void count_prints(const std::string& text) {
        world.tool("netstat", ":");
        world.no_tool("wc");
        world.tool("wc", "printf %b '" + text + "'");
    }

    listening_world world;
};

TEST_F(NetsessionUsage, IsTheShareOfTheSocketsWithoutTheTwoHeaderLines) {
    netstat_prints(2 + 37);
    EXPECT_EQ(get_netsession_usage(), 37u);
    EXPECT_THAT(world.calls("popen"), ElementsAre("re netstat -aunt | wc -l"));
    EXPECT_THAT(world.messages(), IsEmpty());
}

TEST_F(NetsessionUsage, TakesTheHeadersOffFromTwoLinesOn) {
    limit("10");
    const uint32_t expected[] = {0, 10, 0, 10, 20};
    for (int lines = 0; lines < 5; ++lines) {
        netstat_prints(lines);
        EXPECT_EQ(get_netsession_usage(), expected[lines]) << lines;
    }
    limit("1000");
    netstat_prints(1);
    EXPECT_EQ(get_netsession_usage(), 0u); // 100 / 1000
    EXPECT_THAT(world.messages(), IsEmpty());
}

TEST_F(NetsessionUsage, TruncatesAndNeverExceedsAHundred) {
    limit("3");
    count_prints("4\\n");
    EXPECT_EQ(get_netsession_usage(), 66u);
    count_prints("5\\n");
    EXPECT_EQ(get_netsession_usage(), 100u);
    count_prints("6\\n");
    EXPECT_EQ(get_netsession_usage(), 100u);
    count_prints("4000\\n");
    EXPECT_EQ(get_netsession_usage(), 100u);
}

TEST_F(NetsessionUsage, MultipliesIn32Bits) {
    limit("42949673");
    count_prints("42949674\\n"); // 42949672 * 100 still fits
    EXPECT_EQ(get_netsession_usage(), 99u);
    count_prints("42949675\\n"); // 42949673 * 100 is 4 too many
    EXPECT_EQ(get_netsession_usage(), 0u);
}

TEST_F(NetsessionUsage, ReadsTheCountAmongWhiteSpace) {
    count_prints("      52 \\n");
    EXPECT_EQ(get_netsession_usage(), 50u);
}

TEST_F(NetsessionUsage, SaysWhyTheLimitCannotBeOpened) {
    netstat_prints(5);
    world.remove("/proc/sys/net/netfilter/nf_conntrack_max");
    EXPECT_EQ(get_netsession_usage(), 0u);
    EXPECT_THAT(world.messages(), ElementsAre("warn[get_netsession_usage]: Cann't open "
                                              "/proc/sys/net/netfilter/nf_conntrack_max(No such file or directory)"));
    EXPECT_THAT(world.calls("popen"), IsEmpty());
}

TEST_F(NetsessionUsage, IsZeroWithoutALimitAndAsksNoTool) {
    netstat_prints(5);
    for (const char* text : {"", "\n", "garbage\n", "-\n", "0\n"}) {
        limit(text);
        EXPECT_EQ(get_netsession_usage(), 0u) << text;
    }
    EXPECT_THAT(world.messages(), IsEmpty());
    EXPECT_THAT(world.calls("popen"), IsEmpty());
}

TEST_F(NetsessionUsage, SaysWhyTheToolCannotBeStarted) {
    world.fail("popen", EMFILE, "netstat");
    EXPECT_EQ(get_netsession_usage(), 0u);
    EXPECT_THAT(world.messages(),
                ElementsAre("warn[get_netsession_usage]: Cann't open (netstat -aunt | wc -l)(Too many open files)"));
}

TEST_F(NetsessionUsage, IsZeroWhenTheToolsPrintNoNumber) {
    for (const char* text : {"", "\\n", "garbage\\n", "-\\n"}) {
        count_prints(text);
        EXPECT_EQ(get_netsession_usage(), 0u) << text;
    }
    EXPECT_THAT(world.messages(), IsEmpty());
}

TEST_F(NetsessionUsage, IsZeroWhenTheToolIsMissing) {
    const captured_output shell(2);
    EXPECT_EQ(get_netsession_usage(), 0u);
    EXPECT_THAT(world.messages(), IsEmpty());
}

TEST_F(NetsessionUsage, SurvivesReadsThatSignalsInterrupt) {
    netstat_prints(2 + 37);
    world.fail("read", EINTR, "", 3);
    EXPECT_EQ(get_netsession_usage(), 37u);
    world.fail("read", EINTR, "", 3, 1);
    EXPECT_EQ(get_netsession_usage(), 37u);
}

} // namespace
} // namespace dashboard::testing
