// A whole daemon in a world of its own.
#ifndef TESTS_DAEMON_DAEMON_FIXTURE_H
#define TESTS_DAEMON_DAEMON_FIXTURE_H

#include "tests/daemon/document_check.h"
#include "tests/support/items.h"
#include "tests/support/world.h"
#include "tests/support/world_driver.h"

#include <gtest/gtest.h>

#include <optional>
#include <string>
#include <sys/types.h>
#include <vector>

namespace dashboard::testing {

inline constexpr char pid_file[] = "/var/run/dashboard_daemon.pid";
inline constexpr char wan_sec_path[] = "/tmp/dashboard/wan_traffic_sec_0.xml";
inline constexpr char wan_min_path[] = "/tmp/dashboard/wan_traffic_min_0.xml";
inline constexpr char wan_hour_path[] = "/tmp/dashboard/wan_traffic_hour_0.xml";
inline constexpr char server_timeout[] = "warn[main]: error, server thread timeout event!\n";

// Where the daemon's standard output goes: a file, a pipe that the test reads, or one that is full already.
enum class console { file, pipe, full_pipe };

// One run of the built daemon. Starts it; ends it, whatever state it is in, with its own end. What it has published at
// its end, and after every minute that it lived, must be what the schemas say, or the test fails.
class daemon_process {
public:
    explicit daemon_process(test_world& world, const std::vector<std::string>& words = {"logc"},
                            console output = console::file);
    ~daemon_process();
    daemon_process(const daemon_process&) = delete;
    daemon_process& operator=(const daemon_process&) = delete;

    // Let virtual time pass; false when the daemon has ended. See world_driver.h.
    bool settle() { return driver.settle(); }
    bool run_for(double seconds);
    bool run_one_second();
    // Runs until the wall clock shows the start of second `wall` and that second's work is done.
    bool run_to_second(int64_t wall);
    world_driver& time() { return driver; }
    document_check& documents() { return published; }

    // Sends a signal to the process, or to its thread `number` (0 main, 1 server, 2 query), and waits until its
    // handlers have run: one handler, two when a worker hands the signal on to the main thread.
    void signal(int number, std::optional<uint32_t> thread = {});
    // Sends it and does not wait.
    void send_signal(int number);

    // Lets virtual time pass until the daemon has ended, at most `seconds`; its exit status, or -1 when it lives, or
    // killed_by(signal).
    int run_to_exit(double seconds);
    // Waits in real time, for an end that needs no virtual time.
    int wait_for_exit();
    bool ended();

    // Of the process that the test started, which forks the daemon; -1 while it runs.
    int parent_status();
    pid_t pid() const;
    pid_t parent_pid() const { return started; }

    // What it printed so far, without the line numbers of its sources ("warn[main]: ...").
    std::string output() const;
    std::vector<std::string> output_lines() const;
    std::string errors() const;
    // Read end of its standard output, when that is a pipe.
    int output_pipe() const { return pipe_end; }

private:
    void start(const std::vector<std::string>& words, int output);
    void reap();
    void keep_documents_when_due();

    test_world& world;
    world_driver driver;
    document_check published;
    int64_t next_check; // of the monotonic clock
    pid_t started = -1;
    std::optional<int> started_status;
    std::optional<int> daemon_status;
    int pipe_end = -1;
};

// The exit status shown for a daemon that a signal killed; under an emulator only that it was killed is known.
int killed_by(int signal);

// Messages without the line numbers of the sources.
std::string without_line_numbers(const std::string& text);

// A world with usual inputs in which the daemon is enabled and WAN 1 is bound to eth0 but no module is enabled.
class daemon_test : public ::testing::Test {
protected:
    daemon_test();

    test_world world;
};

} // namespace dashboard::testing

#endif
