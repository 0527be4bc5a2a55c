// The daemon's process as the system shows it: the C library that it stands on, and what its tools inherit.
#include "tests/daemon/daemon_fixture.h"

#include <gmock/gmock.h>

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <map>
#include <sstream>

namespace dashboard::testing {
namespace {

using ::testing::HasSubstr;

constexpr uint32_t query_thread = 2;

struct descriptor {
    std::string target;
    bool closed_by_exec;
};

class Process : public daemon_test {
protected:
    static std::string folder_of(const daemon_process& daemon) { return "/proc/" + std::to_string(daemon.pid()) + "/"; }

    static std::string text_of(const std::string& path) {
        std::ostringstream text;
        text << std::ifstream(path).rdbuf();
        return text.str();
    }

    static bool closed_by_exec(const std::string& info) {
        constexpr unsigned long close_on_exec = 02000000;
        unsigned long flags = 0;
        EXPECT_EQ(sscanf(info.c_str(), "pos: %*d flags: %lo", &flags), 1) << info;
        return (flags & close_on_exec) != 0;
    }

    static std::map<int, descriptor> descriptors(const daemon_process& daemon) {
        std::map<int, descriptor> found;
        for (const auto& entry : std::filesystem::directory_iterator(folder_of(daemon) + "fd")) {
            const std::string number = entry.path().filename();
            found[std::stoi(number)] = {std::filesystem::read_symlink(entry.path()),
                                        closed_by_exec(text_of(folder_of(daemon) + "fdinfo/" + number))};
        }
        return found;
    }
};

TEST_F(Process, StandsOnTheCLibraryThatIsTested) {
    daemon_process daemon(world);
    ASSERT_TRUE(daemon.run_for(1));
    const char* const sysroot = getenv("DASHBOARD_TESTED_SYSROOT");
    const std::string library = sysroot == nullptr ? "/libc.so.6" : std::string(sysroot) + "/lib/libuClibc-";
    EXPECT_THAT(text_of(folder_of(daemon) + "maps"), HasSubstr(library));
}

// A tool that is started meanwhile, by whichever thread, must not hold another one's pipe open.
TEST_F(Process, ToolsInheritNothingWhileAnotherToolRuns) {
    world.hanging_tool("mpstat", "Linux\n");
    daemon_process daemon(world);
    ASSERT_TRUE(daemon.run_for(0.5));
    const std::map<int, descriptor> given = descriptors(daemon); // by whoever runs this test
    while (!daemon.time().stalled(query_thread)) {
        ASSERT_TRUE(daemon.run_one_second());
    }
    int pipes = 0;
    for (const auto& [number, each] : descriptors(daemon)) {
        EXPECT_TRUE(each.closed_by_exec || given.count(number) != 0) << number << ' ' << each.target;
        pipes += each.target.rfind("pipe:", 0) == 0 && given.count(number) == 0 ? 1 : 0;
    }
    EXPECT_EQ(pipes, 1);
}

} // namespace
} // namespace dashboard::testing
