// Tools that still run when the process ends. In processes of their own: nothing takes it back.
#include "probes/tool_end.h"

#include "probes/tool_output.h"
#include "tests/support/files.h"
#include "tests/support/world.h"
#include "tests/unit/own_process.h"

#include <gmock/gmock.h>

#include <csignal>
#include <cstdlib>
#include <poll.h>

namespace dashboard::testing {
namespace {

// A child that is no tool; its output goes where ours goes.
pid_t start_other() {
    const pid_t child = fork();
    if (child == 0) {
        for (;;) {
            pause();
        }
    }
    return child;
}

// A tool that has told its number and will not end.
pid_t start_endless(tool_output& tool) {
    EXPECT_TRUE(open_tool(tool, "mpstat"));
    return atoi(next_line(tool.text));
}

bool still_runs(pid_t child) {
    int status = 0;
    return waitpid(child, &status, WNOHANG | WUNTRACED) == 0;
}

// A process that was killed takes a moment to be gone, and somebody may have to wait for it.
bool is_gone(pid_t process) {
    for (int tries = 0; tries < 5000; ++tries) {
        const std::string about = read_file("/proc/" + std::to_string(process) + "/stat");
        if (about.empty() || about[about.rfind(") ") + 2] == 'Z') {
            return true;
        }
        poll(nullptr, 0, 1);
    }
    return false;
}

class ToolEnd : public ::testing::Test {
protected:
    ToolEnd() { world.tool("mpstat", "echo $$; exec sleep 1000000"); }

    test_world world;
};

TEST_F(ToolEnd, ComesToAllToolsAndToNobodyElse) {
    in_own_process([] {
        const pid_t other = start_other();
        tool_output first;
        tool_output second;
        const pid_t tools[] = {start_endless(first), start_endless(second)};
        end_tools();
        EXPECT_TRUE(is_gone(tools[0]));
        EXPECT_TRUE(is_gone(tools[1]));
        EXPECT_TRUE(still_runs(other));
        kill(other, SIGKILL);
    });
}

TEST_F(ToolEnd, HasNoToolLeftWhenAllWereClosed) {
    in_own_process([this] {
        const pid_t other = start_other();
        for (int i = 0; i < 5; ++i) {
            tool_output tool;
            kill(start_endless(tool), SIGTERM);
            close_tool(tool);
        }
        world.forget_calls();
        end_tools();
        EXPECT_TRUE(still_runs(other));
        kill(other, SIGKILL);
    });
}

// What is half read is neither told nor published.
TEST_F(ToolEnd, KeepsTheWorkerThatReadsFromGoingOn) {
    in_own_process([] {
        tool_output tool;
        start_endless(tool);
        if (const pid_t reader = fork(); reader == 0) {
            end_tools(); // no child of this process, so it lives; but a worker would learn of it
            open_tool(tool, "mpstat");
            _exit(0);
        } else {
            poll(nullptr, 0, 200); // real time: long enough to go on, if anything let it
            EXPECT_TRUE(still_runs(reader));
            kill(reader, SIGKILL);
        }
        end_tools();
    });
}

} // namespace
} // namespace dashboard::testing
