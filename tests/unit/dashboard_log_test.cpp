// Log lines, their two outputs and their limits; the formatted writer for descriptors.
#include "base/dashboard_log.h"

#include "tests/unit/heard_messages.h"
#include "tests/unit/own_process.h"
#include "tests/unit/repeated.h"

#include <gmock/gmock.h>

#include <csignal>
#include <fcntl.h>
#include <pthread.h>
#include <sstream>
#include <sys/resource.h>

namespace dashboard::testing {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

struct log_switches {
    log_switches(int32_t console, int32_t syslog) {
        log2console = console;
        log2syslog = syslog;
    }
    ~log_switches() { log2console = log2syslog = 0; }
};

TEST(LogSwitches, AreBothOffAtFirst) {
    EXPECT_EQ(log2console, 0);
    EXPECT_EQ(log2syslog, 0);
}

TEST(LogLine, IsNotMadeWhileBothOutputsAreOff) {
    test_world world;
    const captured_output console(1);
    _msg("server", 1, "text");
    _warn("server", 1, "text");
    EXPECT_EQ(console.text(), "");
    EXPECT_THAT(world.calls("syslog"), IsEmpty());
}

TEST(LogLine, NamesItsLevelFunctionAndLine) {
    test_world world;
    const log_switches on(1, 0);
    const captured_output console(1);
    _warn("daemonize", 382, "can't catch SIGHUP");
    _msg("term_monitor_cb", 7, "term_mc idx=%d", 3);
    EXPECT_EQ(console.text(), "warn[daemonize:382]: can't catch SIGHUP\nlog[term_monitor_cb:7]: term_mc idx=3\n");
    EXPECT_THAT(world.calls("syslog"), IsEmpty());
}

TEST(LogLine, GoesToTheSystemLogAsANotice) {
    test_world world;
    const log_switches on(0, 1);
    const captured_output console(1);
    _warn("query_cpu", 9, "%s", "warning");
    _msg("query_cpu", 10, "%s", "message");
    EXPECT_THAT(world.calls("syslog"), ElementsAre("5 warn[query_cpu:9]: warning", "5 log[query_cpu:10]: message"));
    EXPECT_EQ(console.text(), "");
}

TEST(LogLine, GoesToBothOutputsWhenBothAreOn) {
    test_world world;
    const log_switches on(1, 1);
    const captured_output console(1);
    _msg("server", 1, "text");
    EXPECT_EQ(console.text(), "log[server:1]: text\n");
    EXPECT_THAT(world.syslog_lines(), ElementsAre("log[server:1]: text"));
}

TEST(LogLine, NeedsASwitchThatIsExactlyOne) {
    for (const int32_t other : {2, 3, -1}) {
        test_world world;
        const captured_output console(1);
        const log_switches on(other, other);
        _msg("server", 1, "text");
        EXPECT_EQ(console.text(), "") << other;
        EXPECT_THAT(world.calls("syslog"), IsEmpty()) << other;
    }
}

TEST(LogLine, TakesThePercentSignsOfATextAsTheyAre) {
    test_world world;
    const log_switches on(1, 1);
    const captured_output console(1);
    _msg("server", 1, "%s", "100%d %n");
    EXPECT_EQ(console.text(), "log[server:1]: 100%d %n\n");
    EXPECT_THAT(world.syslog_lines(), ElementsAre("log[server:1]: 100%d %n"));
}

TEST(LogLine, OfATextThatEndsWithANewlineIsFollowedByAnEmptyOne) {
    test_world world;
    const log_switches on(1, 1);
    const captured_output console(1);
    _warn("server", 1, "open_csman_retry() failed!\n");
    EXPECT_EQ(console.text(), "warn[server:1]: open_csman_retry() failed!\n\n");
    EXPECT_THAT(world.syslog_lines(), ElementsAre("warn[server:1]: open_csman_retry() failed!\n"));
}

TEST(LogLine, CutsTheMessageAt255Characters) {
    for (const size_t length : {254u, 255u, 256u, 1000u}) {
        test_world world;
        const log_switches on(0, 1);
        _msg("f", 1, "%s", repeated('x', length).c_str());
        EXPECT_THAT(world.syslog_lines(), ElementsAre("log[f:1]: " + repeated('x', std::min<size_t>(length, 255))));
    }
}

TEST(LogLine, IsCutAt311CharactersAltogether) {
    for (const size_t name : {45u, 46u, 47u, 400u}) {
        test_world world;
        const log_switches on(1, 1);
        const captured_output console(1);
        _warn(repeated('f', name).c_str(), 12, "%s", repeated('x', 255).c_str());
        const std::string whole = "warn[" + repeated('f', name) + ":12]: " + repeated('x', 255);
        EXPECT_THAT(world.syslog_lines(), ElementsAre(whole.substr(0, 311))) << whole.size();
        EXPECT_EQ(console.text(), whole.substr(0, 311) + "\n");
    }
}

TEST(LogLine, StaysWholeWhenThreadsSpeakAtTheSameTime) {
    constexpr int speakers = 3;
    constexpr int lines = 200;
    const log_switches on(1, 0);
    const captured_output console(1);
    pthread_t threads[speakers];
    for (pthread_t& thread : threads) {
        const auto speak = [](void*) -> void* {
            for (int i = 0; i < lines; ++i) {
                _msg("speaker", i, "%s", "a text of some length");
            }
            return nullptr;
        };
        ASSERT_EQ(pthread_create(&thread, nullptr, speak, nullptr), 0);
    }
    for (const pthread_t thread : threads) {
        pthread_join(thread, nullptr);
    }
    std::istringstream text(console.text());
    std::string line;
    int whole = 0;
    while (std::getline(text, line)) {
        whole += std::regex_match(line, std::regex("log\\[speaker:[0-9]+\\]: a text of some length")) ? 1 : 0;
    }
    EXPECT_EQ(whole, speakers * lines);
}

TEST(LogLine, IsHandedOnAtOnceAlsoIntoAFile) {
    test_world world;
    const captured_output console(1);
    const log_switches on(1, 0);
    _msg("server", 1, "text");
    EXPECT_EQ(console.arrived(), "log[server:1]: text\n");
}

TEST(Fatal, GoesToBothOutputsWhateverTheSwitchesAndEndsWithOne) {
    for (const int32_t value : {0, 1, 2}) {
        test_world world;
        const log_switches any(value, value);
        const captured_output console(1);
        const int status = status_of_child(
            [] { _fatal("daemonize", 88, "Could not lock PID lock file %s, exiting", "/var/run/x.pid"); });
        EXPECT_EQ(status, 1);
        EXPECT_EQ(console.text(), "fatal[daemonize:88]: Could not lock PID lock file /var/run/x.pid, exiting\n");
        EXPECT_THAT(world.calls("syslog"),
                    ElementsAre("5 fatal[daemonize:88]: Could not lock PID lock file /var/run/x.pid, exiting"));
    }
}

TEST(Fatal, IsCutLikeAnyLine) {
    test_world world;
    const captured_output console(1);
    EXPECT_EQ(status_of_child([] { _fatal("main", 1, "%s", repeated('x', 256).c_str()); }), 1);
    EXPECT_THAT(world.syslog_lines(), ElementsAre("fatal[main:1]: " + repeated('x', 255)));
}

class DhPrintf : public ::testing::Test {
protected:
    ~DhPrintf() override { close(fd); }
    std::string written() { return world.read("/tmp/out"); }

    listening_world world;
    int fd = open(world.real_path("/tmp/out").c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0600);
};

TEST_F(DhPrintf, WritesTheTextAndReturnsItsLength) {
    EXPECT_EQ(dh_printf(fd, "<id>%d</id>\n", 12), 12);
    EXPECT_EQ(dh_printf(fd, "%s", ""), 0);
    EXPECT_EQ(written(), "<id>12</id>\n");
    EXPECT_THAT(world.messages(), IsEmpty());
}

TEST_F(DhPrintf, RefusesWhatHas384CharactersOrMoreWithoutAWord) {
    for (const size_t length : {382u, 383u}) {
        EXPECT_EQ(dh_printf(fd, "%s", repeated('x', length).c_str()), static_cast<int>(length));
    }
    EXPECT_EQ(written(), repeated('x', 382 + 383));
    for (const size_t length : {384u, 385u, 5000u}) {
        EXPECT_EQ(dh_printf(fd, "%s", repeated('y', length).c_str()), -1);
    }
    EXPECT_EQ(written(), repeated('x', 382 + 383));
    EXPECT_THAT(world.messages(), IsEmpty());
}

TEST_F(DhPrintf, StopsAtANulCharacter) {
    EXPECT_EQ(dh_printf(fd, "ab%ccd", 0), 2);
    EXPECT_EQ(written(), "ab");
}

TEST_F(DhPrintf, WarnsAboutANegativeDescriptor) {
    EXPECT_EQ(dh_printf(-1, "%s", "text"), -1);
    EXPECT_EQ(dh_printf(-7, "%s", "text"), -1);
    EXPECT_THAT(world.messages(), ElementsAre("warn[dh_printf]: fd error(-1)!\n", "warn[dh_printf]: fd error(-7)!\n"));
}

TEST_F(DhPrintf, WritesToDescriptorZeroToo) {
    in_own_process([this] {
        dup2(fd, 0);
        EXPECT_EQ(dh_printf(0, "%s", "text"), 4);
    });
    EXPECT_EQ(written(), "text");
    EXPECT_THAT(world.messages(), IsEmpty());
}

TEST_F(DhPrintf, ReturnsTheFailureOfTheWrite) {
    const int read_only = open("/dev/null", O_RDONLY | O_CLOEXEC);
    EXPECT_EQ(dh_printf(read_only, "%s", "text"), -1);
    close(read_only);
    EXPECT_THAT(world.messages(), IsEmpty());
}

TEST_F(DhPrintf, DoesNotTakeUpAShortWrite) {
    in_own_process([this] {
        signal(SIGXFSZ, SIG_IGN);
        const rlimit ten_bytes{10, 10};
        setrlimit(RLIMIT_FSIZE, &ten_bytes);
        EXPECT_EQ(dh_printf(fd, "%s", repeated('x', 15).c_str()), 10);
    });
    EXPECT_EQ(written(), repeated('x', 10));
}

TEST(FormatText, TellsTheLengthOrThatTheTextIsTooLong) {
    const auto format = [](char(&text)[longest_text], const char* pattern, ...) __attribute__((format(printf, 3, 4))) {
        va_list arguments;
        va_start(arguments, pattern);
        const int length = format_text(text, pattern, arguments);
        va_end(arguments);
        return length;
    };
    char text[longest_text];
    EXPECT_EQ(format(text, "%s", repeated('x', 383).c_str()), 383);
    EXPECT_EQ(text, repeated('x', 383));
    EXPECT_EQ(format(text, "%s", repeated('x', 384).c_str()), -1);
    EXPECT_EQ(longest_text, 384u);
}

} // namespace
} // namespace dashboard::testing
