// The command runner.
#include "platform/utils.h"

#include <atomic>
#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <pthread.h>
#include <sched.h>
#include <sys/wait.h>
#include <unistd.h>

#include "host_fixture.h"

namespace dashboard {
namespace {

class ExecCmd : public host_test {
protected:
    ExecCmd() { EXPECT_EQ(setenv("UTILS_LOG", log_path.c_str(), 1), 0); }
    ~ExecCmd() override { EXPECT_EQ(unsetenv("UTILS_LOG"), 0); }

    int run(const std::string& command) { return _exec_cmd(12, "file", "func", 34, "%s", command.c_str()); }

    std::string log_path = root + "/log";
    std::string out_file = root + "/out";
};

// Restores a signal's action at the end of a test.
class action_guard {
public:
    action_guard(int signal, void (*handler)(int)) : number(signal) {
        struct sigaction action = {};
        action.sa_handler = handler;
        EXPECT_EQ(sigaction(number, &action, &previous), 0);
    }
    action_guard(const action_guard&) = delete;
    action_guard& operator=(const action_guard&) = delete;
    ~action_guard() { EXPECT_EQ(sigaction(number, &previous, nullptr), 0); }

private:
    int number;
    struct sigaction previous = {};
};

TEST_F(ExecCmd, CommandIsFormattedAndRunByTheShell) {
    EXPECT_EQ(
        _exec_cmd(1, "f", "f", 2, "echo %s %d > %s && test -s %s", "it is", 42, out_file.c_str(), out_file.c_str()), 0);
    EXPECT_EQ(read_file(out_file), "it is 42\n");
}

TEST_F(ExecCmd, StatusIsTheCommandsOwn) {
    EXPECT_EQ(run("exit 0"), 0);
    EXPECT_EQ(run("exit 3"), 3);
    EXPECT_EQ(run("exit 255"), 255);
    EXPECT_EQ(run("kill -KILL $$"), 128 + SIGKILL);
    EXPECT_EQ(run(root + "/missing 2> /dev/null"), 127);
}

TEST_F(ExecCmd, LogTellsWhoAskedForWhat) {
    EXPECT_EQ(_exec_cmd(812, "dashboard_wan", "xml_wan_traffic_sec", 97, "true %s", "a b"), 0);
    EXPECT_EQ(_exec_cmd(-1, nullptr, nullptr, 0, "true\ntrue"), 0);
    EXPECT_EQ(read_file(log_path), "pid=812 file=dashboard_wan func=xml_wan_traffic_sec line=97 cmd=true a b\n"
                                   "pid=-1 file=- func=- line=0 cmd=true?true\n");
}

TEST_F(ExecCmd, NothingIsLoggedWithoutAName) {
    EXPECT_EQ(setenv("UTILS_LOG", "", 1), 0);
    EXPECT_EQ(run("true"), 0);
    EXPECT_EQ(unsetenv("UTILS_LOG"), 0);
    EXPECT_EQ(run("true"), 0);
    EXPECT_TRUE(names_in(root).empty());
}

TEST_F(ExecCmd, LogThatCannotBeWrittenDoesNotStopTheCommand) {
    EXPECT_EQ(setenv("UTILS_LOG", root.c_str(), 1), 0);
    EXPECT_EQ(run("exit 7"), 7);
}

TEST_F(ExecCmd, LogIsNotWrittenThroughALink) {
    write_file(out_file, "precious");
    ASSERT_EQ(symlink(out_file.c_str(), log_path.c_str()), 0);
    EXPECT_EQ(run("true"), 0);
    EXPECT_EQ(read_file(out_file), "precious");
}

TEST_F(ExecCmd, CommandThatIsTooLongIsNotRun) {
    const std::string head = "touch " + out_file + " #";
    const std::string longest = head + std::string(2047 - head.size(), 'x');
    EXPECT_LT(run(longest + "x"), 0);
    EXPECT_FALSE(std::filesystem::exists(out_file));
    EXPECT_EQ(read_file(log_path), "pid=12 file=file func=func line=34 refused, too long=" + longest + "\n");
    EXPECT_EQ(run(longest), 0);
    EXPECT_TRUE(std::filesystem::exists(out_file));
}

// In the C locale, in which the daemon and these tests run, there is no such letter.
TEST_F(ExecCmd, CommandThatCannotBeFormattedIsNotRun) {
    constexpr wchar_t no_letter[] = {0x7ffffff0, 0};
    EXPECT_LT(_exec_cmd(12, "file", "func", 34, "echo %ls >%s", no_letter, out_file.c_str()), 0);
    EXPECT_FALSE(std::filesystem::exists(out_file));
    EXPECT_FALSE(std::filesystem::exists(log_path));
}

TEST_F(ExecCmd, BackgroundCommandIsNotWaitedFor) {
    EXPECT_EQ(run("sleep 1000 & echo $! > " + out_file), 0);
    const pid_t sleeper = static_cast<pid_t>(std::stol(read_file(out_file)));
    EXPECT_EQ(kill(sleeper, SIGKILL), 0);
}

TEST_F(ExecCmd, ChildBlocksNoSignalAlthoughTheCallerDoes) {
    sigset_t blocked;
    sigset_t before;
    sigemptyset(&blocked);
    sigaddset(&blocked, SIGCHLD);
    sigaddset(&blocked, SIGTERM);
    sigaddset(&blocked, SIGALRM);
    ASSERT_EQ(pthread_sigmask(SIG_BLOCK, &blocked, &before), 0);
    EXPECT_EQ(run("grep SigBlk: /proc/self/status > " + out_file), 0);
    EXPECT_EQ(run("kill -TERM $$"), 128 + SIGTERM);
    ASSERT_EQ(pthread_sigmask(SIG_SETMASK, &before, nullptr), 0);
    EXPECT_EQ(read_file(out_file), "SigBlk:\t0000000000000000\n");
}

TEST_F(ExecCmd, ChildDiesOfSignalsThatTheCallerIgnores) {
    const action_guard terminate(SIGTERM, SIG_IGN);
    const action_guard pipe(SIGPIPE, SIG_IGN);
    EXPECT_EQ(run("kill -TERM $$"), 128 + SIGTERM);
    EXPECT_EQ(run("kill -PIPE $$"), 128 + SIGPIPE);
}

std::atomic<int> interrupts{0};

void count_interrupt(int) {
    interrupts++;
}

TEST_F(ExecCmd, CallersSignalsStayItsOwnWhileACommandRuns) {
    interrupts = 0;
    const action_guard interrupt(SIGINT, count_interrupt);
    const action_guard quit(SIGQUIT, count_interrupt);
    const action_guard child(SIGCHLD, count_interrupt);
    EXPECT_EQ(run("kill -INT $PPID; kill -QUIT $PPID; exit 5"), 5);
    EXPECT_EQ(interrupts, 3);
}

TEST_F(ExecCmd, CommandRunsAlsoWhereChildrenAreNotKept) {
    const action_guard child(SIGCHLD, SIG_IGN);
    // The kernel throws the status away, so the answer is that there is none.
    EXPECT_LT(run("touch " + out_file), 0);
    EXPECT_TRUE(std::filesystem::exists(out_file));
}

TEST_F(ExecCmd, OtherChildrenOfTheCallerAreLeftToIt) {
    const pid_t other = start_child([] { return 9; });
    EXPECT_EQ(run("exit 4"), 4);
    EXPECT_EQ(wait_child(other), 9);
}

void* run_hanging(void* command) {
    pthread_setcanceltype(PTHREAD_CANCEL_ASYNCHRONOUS, nullptr);
    _exec_cmd(1, "f", "f", 1, "%s", static_cast<char*>(command));
    return command;
}

TEST_F(ExecCmd, ThreadThatWaitsForAHangingCommandCanBeCancelled) {
    std::string command = "echo $$ > " + out_file + ".new; mv " + out_file + ".new " + out_file + "; exec sleep 1000";
    pthread_t thread;
    ASSERT_EQ(pthread_create(&thread, nullptr, run_hanging, command.data()), 0);
    while (!std::filesystem::exists(out_file))
        sched_yield();
    ASSERT_EQ(pthread_cancel(thread), 0);
    void* result = nullptr;
    ASSERT_EQ(pthread_join(thread, &result), 0);
    // Not PTHREAD_CANCELED: glibc forgets to set it when cancellation acts at the moment of being switched on again.
    EXPECT_NE(result, command.data()) << "the call came back";
    const pid_t sleeper = static_cast<pid_t>(std::stol(read_file(out_file)));
    EXPECT_EQ(kill(sleeper, SIGKILL), 0);
    EXPECT_EQ(wait_child(sleeper), 128 + SIGKILL);
}

} // namespace
} // namespace dashboard
