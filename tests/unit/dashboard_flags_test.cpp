// Keep-alive counters and quit flags, and what the threads close.
#include "core/dashboard_flags.h"

#include "tests/unit/heard_messages.h"
#include "tests/unit/own_process.h"

#include <gmock/gmock.h>

#include <cerrno>
#include <fcntl.h>
#include <pthread.h>

namespace dashboard::testing {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

bool is_open(int fd) {
    return fcntl(fd, F_GETFD) >= 0 || errno != EBADF;
}

TEST(Flags, SayRunOnAtFirst) {
    in_own_process([] {
        EXPECT_EQ(get_main_quit_flag(), 0);
        EXPECT_EQ(check_server_thread_status(), 0);
        EXPECT_EQ(check_query_thread_status(), 0);
        EXPECT_EQ(pidFilehandle, -1);
        EXPECT_EQ(csman_handle, -1);
    });
}

TEST(KeepAliveCounter, CountsTheQuestionsOfItsOwnThread) {
    const int32_t server_before = get_server_kal_counter();
    const int32_t query_before = get_query_kal_counter();
    check_server_thread_status();
    check_server_thread_status();
    EXPECT_EQ(get_server_kal_counter(), server_before + 2);
    EXPECT_EQ(get_query_kal_counter(), query_before);
    check_query_thread_status();
    EXPECT_EQ(get_server_kal_counter(), server_before + 2);
    EXPECT_EQ(get_query_kal_counter(), query_before + 1);
}

TEST(KeepAliveCounter, IsNotMovedByLookingAtIt) {
    const int32_t before = get_server_kal_counter();
    EXPECT_EQ(get_server_kal_counter(), before);
    EXPECT_EQ(get_query_kal_counter(), get_query_kal_counter());
}

TEST(KeepAliveCounter, LosesNoQuestionOfManyThreads) {
    const int32_t before = get_server_kal_counter();
    pthread_t threads[4];
    for (pthread_t& thread : threads) {
        const auto ask = [](void*) -> void* {
            for (int i = 0; i < 1000; ++i) {
                check_server_thread_status();
            }
            return nullptr;
        };
        ASSERT_EQ(pthread_create(&thread, nullptr, ask, nullptr), 0);
    }
    for (const pthread_t thread : threads) {
        pthread_join(thread, nullptr);
    }
    EXPECT_EQ(get_server_kal_counter(), before + 4000);
}

TEST(QuitFlag, OfTheServerIsItsOwn) {
    in_own_process([] {
        set_server_quit_flag();
        EXPECT_EQ(check_server_thread_status(), -1);
        EXPECT_EQ(check_server_thread_status(), -1);
        EXPECT_EQ(check_query_thread_status(), 0);
        EXPECT_EQ(get_main_quit_flag(), 0);
    });
}

TEST(QuitFlag, OfTheQueryThreadIsItsOwn) {
    in_own_process([] {
        set_query_quit_flag();
        EXPECT_EQ(check_query_thread_status(), -1);
        EXPECT_EQ(check_server_thread_status(), 0);
        EXPECT_EQ(get_main_quit_flag(), 0);
    });
}

TEST(QuitFlag, DoesNotKeepTheCountersFromCounting) {
    in_own_process([] {
        set_server_quit_flag();
        const int32_t before = get_server_kal_counter();
        check_server_thread_status();
        EXPECT_EQ(get_server_kal_counter(), before + 1);
    });
}

TEST(QuitFlag, OfMainClosesThePidFileAndLeavesTheWorkersAlone) {
    in_own_process([] {
        const int fd = open("/dev/null", O_RDONLY | O_CLOEXEC);
        pidFilehandle = fd;
        set_main_quit_flag();
        EXPECT_EQ(get_main_quit_flag(), -1);
        EXPECT_FALSE(is_open(fd));
        EXPECT_EQ(pidFilehandle, -1);
        EXPECT_EQ(check_server_thread_status(), 0);
        EXPECT_EQ(check_query_thread_status(), 0);
    });
}

TEST(QuitFlag, OfMainMayBeSetAgainAndWithoutAPidFile) {
    in_own_process([] {
        set_main_quit_flag();
        const int fd = open("/dev/null", O_RDONLY | O_CLOEXEC);
        set_main_quit_flag();
        EXPECT_TRUE(is_open(fd));
        EXPECT_EQ(get_main_quit_flag(), -1);
        EXPECT_EQ(pidFilehandle, -1);
    });
}

TEST(PidFile, IsClosedOnce) {
    const int fd = open("/dev/null", O_RDONLY | O_CLOEXEC);
    pidFilehandle = fd;
    close_pid_file();
    EXPECT_FALSE(is_open(fd));
    const int same = open("/dev/null", O_RDONLY | O_CLOEXEC);
    close_pid_file();
    EXPECT_TRUE(is_open(same));
    close(same);
}

TEST(PidFile, IsClosedWhenItIsDescriptorZero) {
    in_own_process([] {
        close(0);
        ASSERT_EQ(open("/dev/null", O_RDONLY | O_CLOEXEC), 0);
        pidFilehandle = 0;
        close_pid_file();
        EXPECT_FALSE(is_open(0));
    });
}

TEST(Configuration, IsClosedOnce) {
    test_world world;
    csman_handle = 7;
    close_configuration();
    EXPECT_EQ(csman_handle, -1);
    close_configuration();
    EXPECT_THAT(world.calls("csman"), ElementsAre("close 7"));
}

TEST(Configuration, IsClosedWhenItsHandleIsZeroAndNotWhenItIsNegative) {
    test_world world;
    csman_handle = -3;
    close_configuration();
    EXPECT_THAT(world.calls("csman"), IsEmpty());
    csman_handle = 0;
    close_configuration();
    EXPECT_THAT(world.calls("csman"), ElementsAre("close 0"));
}

TEST(GlobalMutex, SaysWhenItCannotBeMade) {
    test_world world;
    in_own_process([&] {
        world.fail("pthread_mutex_init", ENOMEM);
        EXPECT_FALSE(g_mutex.init());
        EXPECT_TRUE(g_mutex.init());
        EXPECT_EQ(check_server_thread_status(), 0);
    });
}

} // namespace
} // namespace dashboard::testing
