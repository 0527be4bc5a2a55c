// The world as a test sees it: its files, its tools, its clock, its configuration store, and what was done to it.
// See README.md beside this file.
#ifndef TESTS_SUPPORT_WORLD_H
#define TESTS_SUPPORT_WORLD_H

#include "tests/support/world_state.h"

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

namespace dashboard::testing {

// Where the wall clock of every world starts, 0.3 s into this second: a second's start is then never also the moment at
// which a thread began to sleep.
inline constexpr int64_t first_second = 1'700'000'000;

// Holds the lock of a world, from the test's side.
class state_guard {
public:
    explicit state_guard(world_state& world);
    ~state_guard();
    state_guard(const state_guard&) = delete;
    state_guard& operator=(const state_guard&) = delete;

private:
    world_state& held;
};

// Moves the two times of a world. Wall times are seconds since the epoch.
class virtual_clock {
public:
    explicit virtual_clock(world_state& world) : state(world) {}

    // Sets the wall clock; the monotonic clock stays.
    void set(int64_t wall_seconds, int64_t nanoseconds = 0);
    // Steps the wall clock either way, keeping its fraction; who polls it wakes within half a millisecond.
    void step_wall(int64_t seconds);
    // Lets time pass on both clocks. For a whole daemon use its run_for, which also lets it live meanwhile.
    void advance(double seconds);
    // From now on time() shows the wall clock as it was so long before: it goes by a coarse clock.
    void delay_time(int64_t nanoseconds);
    // Wall clock, whole seconds.
    int64_t now() const;
    // Wall clock, nanoseconds.
    int64_t wall_ns() const;
    int64_t monotonic_ns() const;

private:
    world_state& state;
};

// The configuration store that the doubles serve. Items are unset at first: reading one fails.
class csman_items {
public:
    explicit csman_items(world_state& world) : state(world) {}

    void set(uint32_t csid, int32_t value);
    void set_string(uint32_t csid, const std::string& text);
    void unset(uint32_t csid);
    // The number that an item holds; fails the test when it holds none.
    int32_t get(uint32_t csid) const;
    bool has(uint32_t csid) const;

    // The next `times` calls fail (-1: all).
    void fail_open(int32_t times, int32_t answer = -1);
    void fail_reads(uint32_t csid, int32_t times);
    void fail_writes(uint32_t csid, int32_t times);
    // Calls that never return: for a thread that only cancellation ends.
    void block_open();
    void block_reads(uint32_t csid);
    void unblock_reads(uint32_t csid);
    void block_close();
    // A close takes so long, in virtual time, whatever signals come.
    void slow_close(double seconds);
    // Keeps the calls out of the records, for a run of many hours.
    void keep_quiet();

private:
    csman_row& row(uint32_t csid);
    world_state& state;
};

// One command that went through the platform's runner.
struct runner_command {
    int pid;
    std::string file;
    std::string func;
    int line;
    std::string command;
};

struct interface_bytes {
    std::string name;
    uint64_t rx;
    uint64_t tx;
};

class test_world {
public:
    // Makes an empty world in a new temporary folder. In a test program that links the interposed calls the process
    // lives in it from now on, with a clock that its own sleeps move; `other_root` shares the files of another world.
    explicit test_world(const test_world* other_root = nullptr);
    ~test_world();
    test_world(const test_world&) = delete;
    test_world& operator=(const test_world&) = delete;

    // Files, by the paths that the daemon uses.
    void file(const std::string& path, const std::string& text);
    void folder(const std::string& path);
    void remove(const std::string& path);
    void link(const std::string& target, const std::string& path);
    bool exists(const std::string& path) const; // does not follow links
    std::string read(const std::string& path) const;
    std::string link_target(const std::string& path) const;
    unsigned mode(const std::string& path) const; // permission bits
    std::vector<std::string> list(const std::string& folder) const;
    std::string real_path(const std::string& path) const;

    // Inputs of the daemon.
    // Sensible ones of every kind: lo and eth0, both up, 128 MB of memory, two cores at 90 % idle.
    void usual_inputs();
    void netdev(const std::vector<interface_bytes>& interfaces);
    void alive(const std::vector<std::string>& names); // what ifconfig shows
    void meminfo(uint64_t total_kb, uint64_t free_kb);
    void mpstat(const std::vector<std::string>& idle); // idle percent: all, core 0, core 1, ...

    // Tools. The daemon finds only these and a few ordinary ones (awk, wc, cat, sleep).
    void tool(const std::string& name, const std::string& script);
    void no_tool(const std::string& name);
    // Prints `first`, then hangs until the world ends.
    void hanging_tool(const std::string& name, const std::string& first = "");
    // Output of commands containing `word` comes only after `seconds` of virtual time.
    void slow(const std::string& word, double seconds);
    std::string tools_folder() const { return base + "/tools"; }
    // True when some tool hangs at this moment.
    bool a_tool_hangs() const;
    uint32_t count_hanging_tools() const;

    // The next `times` (-1: all) calls of `call` about a path or command that contains `about` fail with `error`, after
    // `skip` that succeed.
    void fail(const std::string& call, int error, const std::string& about = "", int32_t times = 1, int32_t skip = 0);
    // The kernel has no memory for an anonymous mapping of at least `size` bytes.
    void fail_allocation(uint64_t size, int32_t times = 1);
    void fail_no_more();

    // What was called, oldest first: the texts recorded under that name.
    std::vector<std::string> calls(const std::string& call) const;
    // The same of several names, each text behind its name: in which order the kinds came.
    std::vector<std::string> calls_in_turn(const std::vector<std::string>& several) const;
    std::vector<std::string> syslog_lines() const;
    std::vector<runner_command> commands() const;
    void forget_calls();

    // A system log of that type (SOCK_DGRAM or SOCK_STREAM) at /dev/log that lets connections and messages queue and
    // takes none. Without one syslog is only written down. `read_system_log` takes the messages that a queue of
    // SOCK_DGRAM holds, oldest first.
    void idle_system_log(int type);
    std::vector<std::string> read_system_log();
    // syslog does not return, whatever the log's queue says, until it is freed. Whole daemon only.
    void block_syslog();
    void free_syslog();

    // A look through /proc finds these processes and no others; what it then reads of each is the machine's.
    void only_processes(const std::vector<int32_t>& ids);
    // What getppid answers.
    void parent_id(int32_t pid);
    // Called in every sleep of this process, after it moved the clock; in one that is interrupted before the sleeper
    // hears of it, with the clock where it was. For unit tests.
    void on_sleep(std::function<void()> hook);

    world_state& state() { return *shared; }
    const std::string& state_file() const { return state_path; }
    std::string folder_of(const std::string& what) const { return base + "/" + what; }

private:
    void make_tools();
    void end_hanging_tools();
    void each_call(const std::function<void(const std::string& call, const char* text)>& take) const;

    std::string base;
    std::string root;
    std::string state_path;
    std::string old_path;
    world_state* shared;
    std::function<void()> sleep_hook;
    int log_socket = -1;

public:
    virtual_clock clock;
    csman_items csman;
};

} // namespace dashboard::testing

#endif
