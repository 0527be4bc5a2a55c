#include "ctl/daemon_look.h"

#include "base/dashboard_version.h"
#include "lock_holder.h"
#include "standing_process.h"
#include "tests/support/world.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <csignal>
#include <fcntl.h>
#include <filesystem>
#include <sched.h>
#include <spawn.h>
#include <sys/prctl.h>
#include <sys/types.h>
#include <sys/wait.h>
#include <unistd.h>

namespace dashboard {
namespace {

using ::testing::Contains;
using testing::test_world;

TEST(DaemonLook, FindsTheHolderOfTheLockWhateverTheFileSays) {
    test_world world;
    world.file(pid_lock_file, "1\n99\n");
    const lock_holder holder;
    const daemon_look look = look_at_daemon();
    EXPECT_EQ(look.lock, lock_state::held);
    EXPECT_EQ(look.pid, holder.child);
    EXPECT_EQ(look.noted, 1);
    EXPECT_GE(look.process.threads, 1); // an emulator and a sanitizer have one of their own
    EXPECT_EQ(look.process.parent, getpid());
    EXPECT_LT(look.process.age, 60);
}

TEST(DaemonLook, SeesThatALockIsStale) {
    test_world world;
    world.file(pid_lock_file, "4194303\n");
    world.only_processes({});
    lock_holder holder;
    holder.end();
    const daemon_look look = look_at_daemon();
    EXPECT_EQ(look.lock, lock_state::stale);
    EXPECT_EQ(look.noted, 4194303);
    EXPECT_EQ(look.pid, 0);
}

TEST(DaemonLook, SeesThatThereIsNoPidFile) {
    test_world world;
    EXPECT_EQ(look_at_daemon().lock, lock_state::no_file);
    EXPECT_EQ(look_at_daemon().noted, 0);
}

TEST(DaemonLook, CannotTellWhenItMayNotRead) {
    test_world world;
    world.file(pid_lock_file, "1\n");
    world.fail("open", EACCES, "dashboard_daemon.pid");
    EXPECT_EQ(look_at_daemon().lock, lock_state::unreadable);
}

// A program of the daemon's name that has its PID file open, as a daemon has.
class named_daemon {
public:
    explicit named_daemon(test_world& world) : program(world.folder_of("dashboard")) {
        world.file(pid_lock_file, "1\n");
        std::filesystem::copy_file("/bin/sleep", program);
        const std::string pid_file = world.real_path(pid_lock_file);
        posix_spawn_file_actions_t actions;
        posix_spawn_file_actions_init(&actions);
        posix_spawn_file_actions_addopen(&actions, 9, pid_file.c_str(), O_RDWR, 0);
        std::string words[] = {"dashboard", "1000"};
        char* const arguments[] = {words[0].data(), words[1].data(), nullptr};
        char* const no_variables[] = {nullptr};
        EXPECT_EQ(posix_spawn(&pid, program.c_str(), &actions, nullptr, arguments, no_variables), 0);
        posix_spawn_file_actions_destroy(&actions);
        world.only_processes({pid});
        process_stat process;
        while (read_process_stat(pid, process) && std::string(process.name) != "dashboard") {
            sched_yield(); // an emulator comes back before the program has begun
        }
    }
    named_daemon(const named_daemon&) = delete;
    named_daemon& operator=(const named_daemon&) = delete;
    ~named_daemon() {
        kill(pid, SIGKILL);
        waitpid(pid, nullptr, 0);
    }

    const std::string program;
    pid_t pid = 0;
};

TEST(DaemonLook, FindsADaemonWithoutALockByItsName) {
    test_world world;
    const named_daemon daemon(world);
    const daemon_look look = look_at_daemon();
    EXPECT_EQ(look.lock, lock_state::stale);
    EXPECT_EQ(look.pid, daemon.pid);
    EXPECT_EQ(look.process.name, "dashboard");
    EXPECT_FALSE(look.lock_lost) << "its file is still there";
}

TEST(DaemonLook, SeesThatADaemonHasLostItsPidFile) {
    test_world world;
    const named_daemon daemon(world);
    world.remove(pid_lock_file);
    const daemon_look look = look_at_daemon();
    EXPECT_EQ(look.lock, lock_state::no_file);
    EXPECT_EQ(look.pid, daemon.pid);
    EXPECT_TRUE(look.lock_lost);
}

TEST(DaemonLook, FindsADaemonWhoseProgramWasReplaced) {
    test_world world;
    const named_daemon daemon(world);
    std::filesystem::remove(daemon.program);
    EXPECT_EQ(look_at_daemon().pid, daemon.pid);
}

TEST(DaemonLook, TakesNoOtherProgramOfItsNameForTheDaemon) {
    test_world world;
    const standing_process other([] { return prctl(PR_SET_NAME, "dashboard", 0, 0, 0) == 0; });
    world.only_processes({other.child, getpid()});
    EXPECT_EQ(look_at_daemon().pid, 0);
}

TEST(ProcessLook, KnowsThisProcess) {
    process_look look;
    ASSERT_TRUE(look_at_process(getpid(), look));
    EXPECT_EQ(look.parent, getppid());
    EXPECT_FALSE(look_at_process(0, look));
    EXPECT_FALSE(look_at_process(0x7fffffff, look));
    EXPECT_THAT(find_processes({look.name}), Contains(getpid()));
}

TEST(ProcessLook, TakesOneThatHasEndedAndWasNotWaitedForAsGone) {
    const pid_t child = fork();
    if (child == 0) {
        _exit(0);
    }
    ASSERT_GT(child, 0);
    siginfo_t ended{};
    ASSERT_EQ(waitid(P_PID, static_cast<id_t>(child), &ended, WEXITED | WNOWAIT), 0);
    process_stat process;
    EXPECT_FALSE(read_process_stat(child, process));
    waitpid(child, nullptr, 0);
}

TEST(Version, IsInTheDaemon) {
    EXPECT_EQ(version_in(DASHBOARD_EXECUTABLE), version_of_dashboard());
    EXPECT_EQ(version_in("/nowhere"), "");
}

TEST(Version, StandsBehindItsMark) {
    using namespace std::string_literals;
    EXPECT_EQ(find_version("\x7f"
                           "ELF\0@(#)dashboard 2.3.4\0more"s),
              "2.3.4");
    EXPECT_EQ(find_version("@(#)dashboard without an end"), "");
    EXPECT_EQ(find_version("nothing"), "");
}

TEST(Variables, AreReadFromAProcess) {
    EXPECT_NE(variable_of(getpid(), "PATH"), "");
    EXPECT_EQ(variable_of(getpid(), "PAT"), "");
    EXPECT_EQ(variable_of(0x7fffffff, "PATH"), "") << "of no process";
}

} // namespace
} // namespace dashboard
