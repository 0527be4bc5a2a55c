// The output of a shell command.
#include "probes/tool_output.h"

#include "tests/support/world.h"

#include <gmock/gmock.h>

#include <cerrno>
#include <fcntl.h>
#include <pthread.h>

namespace dashboard::testing {
namespace {

using ::testing::ElementsAre;

TEST(ToolOutput, IsReadToItsEnd) {
    test_world world;
    world.tool("mpstat", "printf 'first\\nsecond'");
    tool_output tool;
    ASSERT_TRUE(open_tool(tool, "mpstat"));
    EXPECT_STREQ(next_line(tool.text), "first");
    EXPECT_STREQ(next_line(tool.text), "second");
    EXPECT_EQ(next_line(tool.text), nullptr);
    close_tool(tool);
    EXPECT_EQ(tool.pipe, nullptr);
}

TEST(ToolOutput, ComesFromTheShellCloseOnExecAfterTenMicroseconds) {
    test_world world;
    world.tool("mpstat", "printf 'one\\ntwo\\n'");
    tool_output tool;
    ASSERT_TRUE(open_tool(tool, "mpstat | wc -l"));
    EXPECT_EQ(fcntl(tool.text.fd, F_GETFD) & FD_CLOEXEC, FD_CLOEXEC);
    EXPECT_THAT(world.calls("popen"), ElementsAre("re mpstat | wc -l"));
    EXPECT_THAT(world.calls("usleep"), ElementsAre("10"));
    EXPECT_EQ(atoi(next_line(tool.text)), 2);
    close_tool(tool);
}

TEST(ToolOutput, ThatCannotBeStartedTellsWhy) {
    test_world world;
    world.fail("popen", EAGAIN, "mpstat");
    tool_output tool;
    EXPECT_FALSE(open_tool(tool, "mpstat"));
    EXPECT_EQ(errno, EAGAIN);
    EXPECT_EQ(tool.pipe, nullptr);
}

TEST(ToolOutput, OfAMissingToolIsEmpty) {
    test_world world;
    world.no_tool("mpstat");
    tool_output tool;
    ASSERT_TRUE(open_tool(tool, "mpstat 2>/dev/null"));
    EXPECT_EQ(next_line(tool.text), nullptr);
    close_tool(tool);
}

TEST(ToolOutput, MayBeClosedBeforeItsEnd) {
    test_world world;
    world.tool("mpstat", "while echo words words words words words words words words; do :; done 2>/dev/null");
    tool_output tool;
    ASSERT_TRUE(open_tool(tool, "mpstat"));
    EXPECT_STREQ(next_line(tool.text), "words words words words words words words words");
    close_tool(tool);
    EXPECT_EQ(tool.pipe, nullptr);
}

TEST(ToolOutput, LeavesCancellationAsItWas) {
    test_world world;
    world.tool("mpstat", "");
    for (const int wanted : {PTHREAD_CANCEL_DISABLE, PTHREAD_CANCEL_ENABLE}) {
        int state = -1;
        pthread_setcancelstate(wanted, nullptr);
        tool_output tool;
        ASSERT_TRUE(open_tool(tool, "mpstat"));
        close_tool(tool);
        pthread_setcancelstate(PTHREAD_CANCEL_ENABLE, &state);
        EXPECT_EQ(state, wanted);
    }
}

} // namespace
} // namespace dashboard::testing
