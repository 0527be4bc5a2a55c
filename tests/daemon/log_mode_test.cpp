// Where messages go while it runs, as the configuration store says.
#include "tests/daemon/module_fixture.h"
#include "tests/models/documents.h"

#include <gmock/gmock.h>

#include <csignal>
#include <fcntl.h>
#include <iterator>
#include <sys/socket.h>
#include <unistd.h>

namespace dashboard::testing {
namespace {

using ::testing::EndsWith;
using ::testing::HasSubstr;

using LogMode = Modules;

TEST_F(LogMode, LogModeSwitchesTheOutputs) {
    daemon_process daemon(world, {"logc"});
    world.alive({}); // "SOMETHING ERROR" whenever the alive list is made
    ASSERT_TRUE(daemon.run_for(0.5));
    const auto lines_after = [&](int32_t mode) {
        world.csman.set(log_mode, mode);
        EXPECT_TRUE(daemon.run_for(6)); // the mode is read
        const size_t console = daemon.output_lines().size();
        const size_t syslog = world.syslog_lines().size();
        EXPECT_TRUE(daemon.run_for(22)); // two lists are made
        return std::pair(daemon.output_lines().size() - console, world.syslog_lines().size() - syslog);
    };
    EXPECT_EQ(lines_after(3), std::pair(size_t{0}, size_t{2}));
    EXPECT_EQ(lines_after(0), std::pair(size_t{0}, size_t{2}));
    EXPECT_EQ(lines_after(2), std::pair(size_t{2}, size_t{0}));
    EXPECT_EQ(lines_after(0), std::pair(size_t{2}, size_t{0}));
    EXPECT_EQ(lines_after(1), std::pair(size_t{0}, size_t{0}));
    EXPECT_EQ(lines_after(0), std::pair(size_t{0}, size_t{0}));
    EXPECT_EQ(lines_after(3), std::pair(size_t{0}, size_t{2}));
    EXPECT_EQ(lines_after(-1), std::pair(size_t{0}, size_t{0}));
}

TEST_F(LogMode, LogModeIsNotReadWhileTheDaemonIsNotEnabled) {
    world.csman.set(daemon_enable, 0);
    world.csman.set(log_mode, 1);
    daemon_process daemon(world, {"logc"});
    world.alive({});
    ASSERT_TRUE(daemon.run_for(30));
    EXPECT_EQ(recorded("csman", "read_int 7 0x150781"), 0);
    EXPECT_EQ(count(daemon, "warn[main_netdev_alive]: SOMETHING ERROR"), 3);
}

// Whoever reads the console through a pipe need not wait until a buffer is full.
TEST_F(LogMode, LinesReachAPipeOneByOne) {
    daemon_process daemon(world, {"logc"}, console::pipe);
    ASSERT_TRUE(daemon.run_for(0.5));
    fcntl(daemon.output_pipe(), F_SETFL, O_NONBLOCK);
    char text[4096] = {};
    EXPECT_GT(read(daemon.output_pipe(), text, sizeof text - 1), 0);
    EXPECT_THAT(without_line_numbers(text), EndsWith("log[term_monitor_cb]: term_mc idx=" +
                                                     std::to_string(std::rbegin(all_modules)->index) + "\n"));
}

// Somebody started it with its output in a pipe and went to lunch. LAN has a message every second, and no bridge.
class NobodyListens : public Modules {
protected:
    NobodyListens() {
        world.csman.set(wan_module.enable, 1);
        world.csman.set(lan_module.enable, 1);
    }

    // Lives through two minutes in which a viewer looks at WAN.
    void expect_a_usual_life(daemon_process& daemon) {
        for (int i = 0; i < 120; ++i) {
            world.csman.set(wan_module.view, 1);
            ASSERT_TRUE(daemon.run_one_second()) << i;
        }
        EXPECT_THAT(world.read(wan_sec_path), HasSubstr(time_line(world.clock.now())));
        daemon.signal(SIGHUP);
        ASSERT_TRUE(daemon.run_for(60));
        daemon.signal(SIGTERM);
        EXPECT_EQ(daemon.wait_for_exit(), 255);
    }
};

TEST_F(NobodyListens, AFullPipeCostsLinesAndNothingElse) {
    daemon_process daemon(world, {"logc"}, console::pipe);
    fcntl(daemon.output_pipe(), F_SETPIPE_SZ, 4096);
    expect_a_usual_life(daemon);
}

TEST_F(NobodyListens, APipeThatIsFullFromTheStartDoesNotKeepItFromStarting) {
    daemon_process daemon(world, {"logc"}, console::full_pipe);
    ASSERT_TRUE(daemon.run_for(3));
    EXPECT_EQ(daemon.parent_status(), 0);
    expect_a_usual_life(daemon);
}

TEST_F(NobodyListens, AFullSystemLogCostsMessagesAndNothingElse) {
    world.idle_system_log(SOCK_DGRAM);
    daemon_process daemon(world, {"logs"});
    expect_a_usual_life(daemon);
    EXPECT_LT(world.syslog_lines().size(), 100u);
}

TEST_F(NobodyListens, ASystemLogThatDoesNotReadItsConnectionsCostsMessagesAndNothingElse) {
    world.idle_system_log(SOCK_STREAM);
    daemon_process daemon(world, {"logs"});
    ASSERT_TRUE(daemon.run_for(600));
    EXPECT_LT(world.syslog_lines().size(), 500u);
    expect_a_usual_life(daemon);
}

} // namespace
} // namespace dashboard::testing
