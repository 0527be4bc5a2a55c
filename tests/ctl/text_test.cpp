#include "ctl/command.h"
#include "ctl/ctl_text.h"
#include "ctl/log_tail.h"
#include "ctl/screen.h"
#include "tests/support/world.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cerrno>
#include <sys/resource.h>

namespace dashboard {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;
using testing::test_world;

TEST(Words, OfAges) {
    EXPECT_EQ(age_text(-3), "0 s");
    EXPECT_EQ(age_text(99), "99 s");
    EXPECT_EQ(age_text(100), "1 min");
    EXPECT_EQ(age_text(99 * 60), "99 min");
    EXPECT_EQ(age_text(100 * 60), "1 h");
    EXPECT_EQ(age_text(71 * 3600), "71 h");
    EXPECT_EQ(age_text(72 * 3600), "3 d");
}

TEST(Words, OfSizes) {
    EXPECT_EQ(size_text(0), "0 B");
    EXPECT_EQ(size_text(999), "999 B");
    EXPECT_EQ(size_text(1999), "1.9 kB");
    EXPECT_EQ(size_text(1234567), "1.2 MB");
    EXPECT_EQ(size_text(12637600000), "12.6 GB");
}

TEST(Words, OfJson) {
    EXPECT_EQ(json_text("a\"b\\c\n\x01"), "\"a\\\"b\\\\c\\u000a\\u0001\"");
}

TEST(Words, AreBrokenAtTheWidth) {
    EXPECT_EQ(wrapped("one two three", 80, 2), "one two three");
    EXPECT_EQ(wrapped("one two three", 7, 2), "one two\n  three");
    EXPECT_EQ(wrapped("unbreakable word", 5, 0), "unbreakable\nword");
    EXPECT_EQ(fitted("longer than that", 9), "longer...");
}

TEST(Log, ShowsTheDaemonsWarningsOnly) {
    const std::string log = "Nov 21 13:02:11 r Dashboard: log[wan_traffic_init:150]: Add WAN0:(eth0)\n"
                            "Nov 21 13:02:12 r Dashboard: warn[main_netdev_alive:80]: SOMETHING ERROR\n"
                            "Nov 21 13:02:13 r kernel: warn[x:1]: other\n"
                            "Nov 21 13:02:14 r Dashboard: fatal[main:3]: Mutex initiation error!\n"
                            "Nov 21 13:02:15 r Dashboard: warn[query_cpu:9]: last, without its newline";
    EXPECT_THAT(pick_warnings(log, 2),
                ElementsAre("Nov 21 13:02:14 r Dashboard: fatal[main:3]: Mutex initiation error!",
                            "Nov 21 13:02:15 r Dashboard: warn[query_cpu:9]: last, without its newline"));
    EXPECT_THAT(pick_warnings("nothing\n", 2), IsEmpty());
}

TEST(Log, IsAFileOrWhatAToolTells) {
    test_world world;
    std::string from = "somewhere";
    EXPECT_THAT(find_warnings(2, from), IsEmpty());
    EXPECT_EQ(from, "");
    world.tool("logread", "echo 'r Dashboard: warn[x:1]: told'");
    EXPECT_THAT(find_warnings(2, from), ElementsAre("r Dashboard: warn[x:1]: told"));
    EXPECT_EQ(from, "'logread'");
    world.file("/var/log/user.log", "r Dashboard: warn[x:1]: written\n");
    EXPECT_THAT(find_warnings(2, from), ElementsAre("r Dashboard: warn[x:1]: written"));
    EXPECT_EQ(from, "/var/log/user.log");
}

TEST(Command, GivesItsOutputAndItsStatus) {
    std::string output;
    EXPECT_EQ(run_command("echo one; echo two >&2; exit 3", 5, output), 3);
    EXPECT_EQ(output, "one\n");
    EXPECT_EQ(run_command("kill -9 $$", 5, output), -1);
}

TEST(Command, IsEndedWithAllThatItStarted) {
    std::string output;
    EXPECT_EQ(run_command("echo first; sleep 30 & wait", 1, output), command_timed_out);
    EXPECT_EQ(output, "first\n");
}

TEST(Command, IsEndedWhenItPrintsForEver) {
    std::string output;
    EXPECT_EQ(run_command("yes", 5, output), command_timed_out);
    EXPECT_GE(output.size(), 1U << 20);
}

TEST(Command, CannotBeRunWithoutDescriptorsOrProcesses) {
    test_world world;
    std::string output = "of the one before";
    rlimit usual = {};
    ASSERT_EQ(getrlimit(RLIMIT_NOFILE, &usual), 0);
    const rlimit none = {0, usual.rlim_max};
    ASSERT_EQ(setrlimit(RLIMIT_NOFILE, &none), 0);
    EXPECT_EQ(run_command("echo", 5, output), -1);
    ASSERT_EQ(setrlimit(RLIMIT_NOFILE, &usual), 0);
    EXPECT_EQ(output, "");
    world.fail("fork", EAGAIN);
    EXPECT_EQ(run_command("echo", 5, output), -1);
    EXPECT_EQ(run_command("echo", 5, output), 0);
}

TEST(Command, IsFoundInThePath) {
    test_world world;
    world.tool("ifconfig", "exit 0");
    std::string path;
    EXPECT_TRUE(find_command("ifconfig", path));
    EXPECT_EQ(path, world.tools_folder() + "/ifconfig");
    EXPECT_FALSE(find_command("mpstat", path));
}

} // namespace
} // namespace dashboard
