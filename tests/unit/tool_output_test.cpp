// The output of a shell command.
#include "probes/tool_output.h"

#include "tests/support/world.h"

#include <gmock/gmock.h>

#include <cerrno>
#include <fcntl.h>
#include <pthread.h>

namespace dashboard::testing {
namespace {

using ::testing::Each;
using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::SizeIs;

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

TEST(ToolOutput, IsAwaitedPatientlyBeforeEveryReadWhenThatIsWanted) {
    test_world world;
    world.tool("mpstat", "echo first; echo second");
    tool_output tool;
    ASSERT_TRUE(open_tool(tool, "mpstat"));
    tool.text.patient = true;
    EXPECT_STREQ(next_line(tool.text), "first");
    EXPECT_STREQ(next_line(tool.text), "second");
    EXPECT_EQ(next_line(tool.text), nullptr);
    close_tool(tool);
    EXPECT_GE(world.calls("poll").size(), 2u); // before the text and before its end
    EXPECT_THAT(world.calls("poll"), Each("0 1000"));
}

TEST(ToolOutput, IsReadAsItComesWhenItIsNotAwaited) {
    test_world world;
    world.tool("mpstat", "echo first; echo second");
    tool_output tool;
    ASSERT_TRUE(open_tool(tool, "mpstat"));
    while (next_line(tool.text) != nullptr) {
    }
    close_tool(tool);
    EXPECT_THAT(world.calls("poll"), IsEmpty());
}

TEST(ToolOutput, OfMoreThanAPipeHoldsIsAwaitedOnceAndReadToItsEnd) {
    test_world world;
    world.tool("mpstat", "i=0; while [ $i -lt 20 ]; do printf '%010000d\\n' $i; i=$((i + 1)); done");
    tool_output tool;
    ASSERT_TRUE(open_tool(tool, "mpstat"));
    tool.text.patient = true;
    int lines = 0;
    while (const char* line = next_line(tool.text)) {
        EXPECT_EQ(atoi(line), lines++);
    }
    close_tool(tool);
    EXPECT_EQ(lines, 20);
    EXPECT_THAT(world.calls("poll"), SizeIs(::testing::Le(2)));
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
