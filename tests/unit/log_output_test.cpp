// The console and the system log when nobody takes anything there: lines are lost, and nothing else.
#include "base/dashboard_log.h"

#include "tests/unit/heard_messages.h"
#include "tests/unit/open_descriptors.h"
#include "tests/unit/own_process.h"

#include <gmock/gmock.h>

#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <fcntl.h>
#include <pthread.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <termios.h>
#include <unistd.h>

namespace dashboard::testing {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::Not;
using ::testing::SizeIs;

// Runs expectations in a child process that ends when a message is held up.
template <class Body>
void without_delay(Body body) {
    in_own_process([&] {
        alarm(20);
        body();
    });
}

// Standard output, in this process, is one end of something; `far` is the end that somebody might read.
struct console_ends {
    int far = -1;

    void connect(int near) {
        ASSERT_EQ(dup2(near, STDOUT_FILENO), STDOUT_FILENO);
        close(near);
        log2console = 1;
    }
    // Writes until there is no room for another byte. Returns how many there were.
    size_t fill() const {
        const int flags = fcntl(STDOUT_FILENO, F_GETFL);
        fcntl(STDOUT_FILENO, F_SETFL, flags | O_NONBLOCK);
        size_t filled = 0;
        for (ssize_t size = 0; (size = write(STDOUT_FILENO, "xxxxxxxx", filled == 0 ? 8 : 1)) > 0;) {
            filled += static_cast<size_t>(size);
        }
        fcntl(STDOUT_FILENO, F_SETFL, flags);
        return filled;
    }
    // What is read until it ends so: a terminal hands on what was written a while later. What never comes ends the
    // process.
    std::string read_until(const std::string& ending) const {
        std::string text;
        while (text.size() < ending.size() || text.compare(text.size() - ending.size(), ending.size(), ending) != 0) {
            char letter = '\0';
            text.append(&letter, read(far, &letter, 1) == 1 ? 1 : 0);
        }
        return text;
    }
    // What there is to read, without waiting.
    std::string read_all() const {
        fcntl(far, F_SETFL, fcntl(far, F_GETFL) | O_NONBLOCK);
        std::string text;
        char piece[4096];
        for (ssize_t size = 0; (size = read(far, piece, sizeof piece)) > 0;) {
            text.append(piece, static_cast<size_t>(size));
        }
        return text;
    }
};

struct pipe_console : console_ends {
    pipe_console() {
        int ends[2];
        EXPECT_EQ(pipe2(ends, O_CLOEXEC), 0);
        fcntl(ends[1], F_SETPIPE_SZ, 4096);
        far = ends[0];
        connect(ends[1]);
    }
};

struct socket_console : console_ends {
    socket_console() {
        int ends[2];
        EXPECT_EQ(socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends), 0);
        far = ends[0];
        connect(ends[1]);
    }
};

struct terminal_console : console_ends {
    terminal_console() {
        far = posix_openpt(O_RDWR | O_NOCTTY | O_CLOEXEC);
        EXPECT_EQ(grantpt(far), 0);
        EXPECT_EQ(unlockpt(far), 0);
        connect(open(ptsname(far), O_RDWR | O_NOCTTY | O_CLOEXEC));
        termios plain{};
        tcgetattr(STDOUT_FILENO, &plain);
        plain.c_oflag &= ~static_cast<tcflag_t>(OPOST);
        tcsetattr(STDOUT_FILENO, TCSANOW, &plain);
    }
};

TEST(Console, LosesWhatAFullPipeDoesNotTake) {
    test_world world;
    without_delay([] {
        const pipe_console console;
        const size_t filled = console.fill();
        _msg("server", 1, "%s", "lost");
        EXPECT_EQ(console.read_all().size(), filled);
        _msg("server", 2, "%s", "taken");
        EXPECT_EQ(console.read_all(), "log[server:2]: taken\n");
    });
}

TEST(Console, NeverPutsAPartOfALineIntoAPipe) {
    test_world world;
    without_delay([] {
        const pipe_console console;
        for (int i = 0; i < 100; ++i) {
            _msg("server", 100, "%s", "a line of 42 characters, all told.....");
        }
        const std::string text = console.read_all();
        const std::string line = "log[server:100]: a line of 42 characters, all told.....\n";
        ASSERT_GE(text.size(), line.size());
        ASSERT_EQ(text.size() % line.size(), 0u);
        for (size_t at = 0; at < text.size(); at += line.size()) {
            EXPECT_EQ(text.substr(at, line.size()), line);
        }
    });
}

TEST(Console, WaitsForNobodyWhoStoppedTheTerminal) {
    test_world world;
    without_delay([] {
        const terminal_console console;
        ASSERT_EQ(tcflow(STDOUT_FILENO, TCOOFF), 0);
        _msg("server", 1, "%s", "lost");
        ASSERT_EQ(tcflow(STDOUT_FILENO, TCOON), 0);
        _msg("server", 2, "%s", "taken");
        EXPECT_EQ(console.read_until("taken\n"), "log[server:2]: taken\n");
    });
}

TEST(Console, WaitsForNobodyWhoLeavesATerminalUnread) {
    test_world world;
    without_delay([] {
        const terminal_console console;
        for (int i = 0; i < 10'000; ++i) {
            _msg("server", i, "%s", "text");
        }
        EXPECT_EQ(console.read_until("[server:1]: text\n"), "log[server:0]: text\nlog[server:1]: text\n");
        // There is room again when what was written has been handed on, which no reader can tell.
        std::string text;
        while (text.find("log[server:2]: taken again\n") == std::string::npos) {
            _msg("server", 2, "%s", "taken again");
            text += console.read_all();
        }
    });
}

TEST(Console, DoesNotBecomeTheDaemonsTerminal) {
    test_world world;
    without_delay([] {
        const terminal_console console;
        ASSERT_EQ(setsid(), getpid());
        _msg("server", 1, "%s", "text");
        EXPECT_LT(open("/dev/tty", O_RDWR | O_CLOEXEC), 0);
    });
}

TEST(Console, LosesWhatAFullSocketDoesNotTake) {
    test_world world;
    without_delay([] {
        const socket_console console;
        const size_t filled = console.fill();
        _msg("server", 1, "%s", "lost");
        EXPECT_EQ(console.read_all().size(), filled);
        _msg("server", 2, "%s", "taken");
        EXPECT_EQ(console.read_all(), "log[server:2]: taken\n");
    });
}

TEST(Console, IsAskedFirstWhereItCannotBeOpenedAnew) {
    test_world world;
    world.fail("open", EACCES, "/proc/self/fd/1", -1);
    without_delay([] {
        const pipe_console console;
        const size_t filled = console.fill();
        _msg("server", 1, "%s", "lost");
        EXPECT_EQ(console.read_all().size(), filled);
        _msg("server", 2, "%s", "taken");
        EXPECT_EQ(console.read_all(), "log[server:2]: taken\n");
    });
}

// The shell that started the daemon, and the daemon's tools, have the same open file.
TEST(Console, StaysAsItIsForWhoeverSharesIt) {
    test_world world;
    without_delay([] {
        for (const int is_pipe : {0, 1}) {
            const console_ends console = is_pipe == 1 ? console_ends(pipe_console()) : console_ends(terminal_console());
            const int flags = fcntl(STDOUT_FILENO, F_GETFL);
            const int before = open_descriptors();
            _msg("server", 1, "%s", "text");
            EXPECT_EQ(fcntl(STDOUT_FILENO, F_GETFL), flags);
            EXPECT_EQ(open_descriptors(), before);
            EXPECT_EQ(console.read_until("text\n"), "log[server:1]: text\n");
        }
    });
}

TEST(Console, GoesOnInAFileWhereOthersHaveStopped) {
    test_world world;
    const captured_output console(1);
    without_delay([] {
        log2console = 1;
        ASSERT_EQ(write(STDOUT_FILENO, "theirs\n", 7), 7);
        _msg("server", 1, "%s", "ours");
        ASSERT_EQ(write(STDOUT_FILENO, "theirs\n", 7), 7);
    });
    EXPECT_EQ(console.arrived(), "theirs\nlog[server:1]: ours\ntheirs\n");
}

TEST(Console, MayBeClosed) {
    test_world world;
    without_delay([] {
        log2console = 1;
        close(STDOUT_FILENO);
        _msg("server", 1, "%s", "text");
        log2console = 0;
        dup2(STDERR_FILENO, STDOUT_FILENO);
    });
}

TEST(Fatal, EndsTheProcessAlsoWhenNobodyListens) {
    test_world world;
    world.idle_system_log(SOCK_DGRAM);
    const int status = status_of_child([] {
        alarm(20);
        const pipe_console console;
        console.fill();
        log2syslog = 1;
        for (int i = 0; i < 1000; ++i) {
            _msg("server", 1, "%s", "text");
        }
        _fatal("main", 1, "%s", "the end");
    });
    EXPECT_EQ(status, 1);
}

TEST(SystemLog, LosesWhatItDoesNotTake) {
    for (const int type : {SOCK_DGRAM, SOCK_STREAM}) {
        listening_world world;
        world.idle_system_log(type);
        without_delay([] {
            for (int i = 0; i < 3000; ++i) {
                _msg("server", i, "%s", "text");
            }
        });
        EXPECT_THAT(world.syslog_lines(), Not(IsEmpty())) << type;
        EXPECT_LT(world.syslog_lines().size(), 3000u) << type;
    }
}

// Its queue of connections is full before the C library's first.
TEST(SystemLog, LosesWhatItTakesNoConnectionFor) {
    listening_world world;
    world.idle_system_log(SOCK_STREAM);
    without_delay([&] {
        sockaddr_un address{};
        address.sun_family = AF_UNIX;
        world.real_path("/dev/log").copy(address.sun_path, sizeof address.sun_path - 1);
        const auto connects = [&] {
            const int other = socket(AF_UNIX, SOCK_STREAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0);
            const bool connected = connect(other, reinterpret_cast<sockaddr*>(&address), sizeof address) == 0;
            close(other); // its place in the queue stays taken
            return connected;
        };
        while (connects()) {
        }
        _msg("server", 1, "%s", "lost");
    });
    EXPECT_THAT(world.syslog_lines(), IsEmpty());
}

TEST(SystemLog, TakesMessagesAgainOnceItReads) {
    listening_world world;
    world.idle_system_log(SOCK_DGRAM);
    without_delay([&] {
        for (int i = 0; i < 1000; ++i) {
            _msg("server", i, "%s", "text");
        }
        EXPECT_THAT(world.read_system_log(), Not(IsEmpty()));
        _msg("server", 1000, "%s", "taken");
        EXPECT_THAT(world.read_system_log(), ElementsAre("log[server:1000]: taken"));
    });
}

TEST(SystemLog, LosesNothingThatThereIsRoomFor) {
    listening_world world;
    world.idle_system_log(SOCK_DGRAM);
    without_delay([&] {
        for (int i = 0; i < 1000; ++i) {
            _msg("server", i, "%s", "text");
            EXPECT_THAT(world.read_system_log(), SizeIs(1));
        }
    });
}

TEST(SystemLog, OfWhichThereIsNoneIsStillSpokenTo) {
    listening_world world;
    world.folder("/dev");
    _msg("server", 1, "%s", "nothing there");
    world.file("/dev/log", "");
    _msg("server", 2, "%s", "no socket");
    EXPECT_THAT(world.syslog_lines(), ElementsAre("log[server:1]: nothing there", "log[server:2]: no socket"));
}

// Three threads that find one place free in the queue.
TEST(SystemLog, TakesOneThreadsMessageAtATime) {
    for (const int type : {SOCK_DGRAM, SOCK_STREAM}) {
        listening_world world;
        world.idle_system_log(type);
        without_delay([] {
            pthread_t threads[3];
            for (pthread_t& thread : threads) {
                const auto speak = [](void*) -> void* {
                    for (int i = 0; i < 2000; ++i) {
                        _msg("speaker", i, "%s", "text");
                    }
                    return nullptr;
                };
                ASSERT_EQ(pthread_create(&thread, nullptr, speak, nullptr), 0);
            }
            for (const pthread_t thread : threads) {
                pthread_join(thread, nullptr);
            }
        });
    }
}

TEST(SystemLog, LeavesNoDescriptorBehind) {
    for (const int type : {SOCK_DGRAM, SOCK_STREAM}) {
        listening_world world;
        world.idle_system_log(type);
        without_delay([] {
            _msg("server", 0, "%s", "the C library connects");
            const int before = open_descriptors();
            for (int i = 0; i < 1000; ++i) {
                _msg("server", i, "%s", "text");
            }
            EXPECT_EQ(open_descriptors(), before);
        });
    }
}

} // namespace
} // namespace dashboard::testing
