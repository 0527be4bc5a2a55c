// A tool that never ends must not outlive the daemon that gave it up: a respawning init would add one at each restart.
#include "tests/daemon/module_fixture.h"
#include "tests/support/files.h"

#include <gmock/gmock.h>

#include <chrono>
#include <csignal>
#include <filesystem>
#include <sstream>
#include <thread>

namespace dashboard::testing {
namespace {

using ::testing::IsEmpty;
using ::testing::Not;

struct endless_tool {
    const char* name;
    const char* tool;
    const char* script;
};

void PrintTo(const endless_tool& tool, std::ostream* out) {
    *out << tool.name;
}

// Each has printed something or nothing, and goes on or stands still.
const endless_tool endless_tools[] = {
    {"MpstatThatHangs", "mpstat", "echo 'Average:     CPU'; exec sleep 1000000"},
    {"MpstatThatHangsInTheMiddleOfALine", "mpstat", "printf 'Average:     al'; exec sleep 1000000"},
    {"NetstatThatPrintsForEver", "netstat", "while :; do echo tcp; done"},
    {"NetstatThatHangs", "netstat", "exec sleep 1000000"},
    {"IfconfigThatWaitsForAnother", "ifconfig", "sleep 1000000 & wait"},
    {"IfconfigThatIgnoresSignals", "ifconfig", "trap '' HUP INT TERM; sleep 1000000; :"},
};

// The live processes of the session whose leader the daemon is, but for itself.
std::vector<std::string> others_in_session(pid_t leader) {
    std::vector<std::string> found;
    for (const auto& entry : std::filesystem::directory_iterator("/proc")) {
        const std::string about = read_file(entry.path().string() + "/stat");
        const size_t name_end = about.rfind(") ");
        if (name_end == std::string::npos) {
            continue;
        }
        char state = 0;
        int parent = 0;
        int group = 0;
        int session = 0;
        std::istringstream(about.substr(name_end + 2)) >> state >> parent >> group >> session;
        if (session == leader && state != 'Z' && entry.path().filename() != std::to_string(leader)) {
            found.push_back(about.substr(0, name_end + 1));
        }
    }
    return found;
}

// A killed process takes a moment to be gone.
std::vector<std::string> lasting_in_session(pid_t leader) {
    for (int tries = 0; tries < 2000 && !others_in_session(leader).empty(); ++tries) {
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    return others_in_session(leader);
}

class EndlessTool : public live_modules, public ::testing::WithParamInterface<endless_tool> {
protected:
    ~EndlessTool() override {
        for (const std::string& process : daemon ? others_in_session(daemon->pid()) : std::vector<std::string>{}) {
            kill(atoi(process.c_str()), SIGKILL);
        }
    }

    // The daemon is at work and the tool will not end the next time.
    void start_with_tool() {
        switch_on(current_module, 1);
        start();
        live(3);
        world.tool(GetParam().tool, "echo $$ >" + world.folder_of("hung") + "/$$\n" + GetParam().script);
    }

    // Whether a tool is running that has done so for longer than any tool does.
    bool await_standstill() {
        for (int second = 0; second < 20 && !daemon->ended(); ++second) {
            if (daemon->time().stalled(1) || daemon->time().stalled(2)) {
                return true;
            }
            daemon->run_one_second();
        }
        return false;
    }
};

INSTANTIATE_TEST_SUITE_P(Of, EndlessTool, ::testing::ValuesIn(endless_tools),
                         [](const auto& about) { return about.param.name; });

TEST_P(EndlessTool, EndsWithTheDaemonThatGaveItUp) {
    start_with_tool();
    ASSERT_TRUE(await_standstill());
    EXPECT_THAT(others_in_session(daemon->pid()), Not(IsEmpty()));
    EXPECT_EQ(daemon->run_to_exit(40), 0);
    EXPECT_THAT(lasting_in_session(daemon->pid()), IsEmpty());
    EXPECT_THAT(daemon->output(), ::testing::EndsWith("thread timeout event!\n"));
}

TEST_P(EndlessTool, EndsWithADaemonThatIsTerminated) {
    start_with_tool();
    ASSERT_TRUE(await_standstill());
    daemon->signal(SIGTERM);
    EXPECT_EQ(daemon->wait_for_exit(), 255);
    EXPECT_THAT(lasting_in_session(daemon->pid()), IsEmpty());
    EXPECT_EQ(daemon->output_lines().back(), "warn[signal_handler]: Daemon exiting"); // not what an ended tool printed
}

// The farewell itself hangs, and the alarm ends the process from a signal handler.
TEST_P(EndlessTool, EndsWithADaemonThatEndsAtItsDeadline) {
    start_with_tool();
    ASSERT_TRUE(await_standstill());
    world.csman.block_close();
    daemon->send_signal(SIGTERM);
    EXPECT_EQ(daemon->wait_for_exit(), 255);
    EXPECT_THAT(lasting_in_session(daemon->pid()), IsEmpty());
}

} // namespace
} // namespace dashboard::testing
