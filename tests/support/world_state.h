// The stand-in of the outside world: what the process under test and the test share.
//
// One plain block of memory, mapped from a file, so that a test owns the world of a whole daemon that runs in another
// process; a unit test maps the same block in its own process. Only fixed-width fields, the same in every process that
// maps it. Everything but `lock`, `activity` and the futex words is guarded by `lock`.
#ifndef TESTS_SUPPORT_WORLD_STATE_H
#define TESTS_SUPPORT_WORLD_STATE_H

#include <cstdint>

namespace dashboard::testing {

inline constexpr uint32_t world_magic = 0x574f5231;
inline constexpr int64_t ns_per_second = 1'000'000'000;

// What a thread of the process under test is doing, as far as the clock is concerned.
enum thread_state : uint32_t {
    thread_none,        // the row is free
    thread_running,     // not asleep: nobody may move the clock
    thread_parked,      // asleep until its deadline
    thread_signalled,   // was parked; a signal is on its way to it
    thread_interrupted, // was parked; a signal handler ran in it
    thread_cancelled,   // somebody cancelled it: it is about to leave
    thread_stalled      // blocked for ever: nobody waits for it
};

struct thread_row {
    uint32_t state;
    uint32_t number; // 0 for the main thread, then 1, 2, ... in order of creation
    uint32_t tid;
    uint32_t word;    // futex word of its sleep
    uint32_t polling; // 1 when it waits for the wall clock to show another second
    uint32_t reading; // 1 while it reads a tool's output or waits for its end
    int64_t deadline; // monotonic nanoseconds
    uint64_t handle;  // its pthread_t
};

// "Call `call` fails": `about` is a part of its path or command (empty: any), `min_size` the smallest size that counts,
// `skip` the calls that still succeed, `times` how often it fails after that.
struct failure_rule {
    char call[32];
    char about[96];
    uint64_t min_size;
    int32_t skip;
    int32_t times;
    int32_t error;
    int32_t pad;
};

// A command that contains `word` prints its output only after `ns` of virtual time.
struct slow_tool {
    char word[32];
    int64_t ns;
};

enum csman_kind : uint32_t { csman_unset, csman_number, csman_text };

struct csman_row {
    uint32_t csid;
    uint32_t kind;
    int32_t number;
    int32_t read_failures;  // that many reads fail; -1: all
    int32_t write_failures; // that many writes fail; -1: all
    uint32_t blocks;        // 1: a read of this item never returns
    char text[64];
};

struct csman_state {
    int32_t open_failures; // that many opens fail; -1: all
    int32_t failed_open;   // what a failed open answers (negative)
    int32_t handle;        // what a successful open answers
    uint32_t open_blocks;  // 1: open never returns
    uint32_t close_blocks; // 1: close never returns
    uint32_t quiet;        // 1: calls are not recorded
    int64_t close_ns;      // how long a close takes
    csman_row rows[256];
};

inline constexpr uint32_t max_threads = 16;
inline constexpr uint32_t max_failures = 32;
inline constexpr uint32_t max_slow_tools = 8;
inline constexpr uint32_t record_bytes = 32u << 20;

struct world_state {
    uint32_t magic;
    uint32_t lock;
    uint32_t activity; // futex word: grows whenever a thread parks, leaves or a signal was handled
    uint32_t driven;   // 1: sleeping threads wait for the driver; 0: a sleep moves the clock itself
    int64_t monotonic; // nanoseconds
    int64_t wall_offset;
    int64_t time_lag;         // ns by which time() is behind the wall clock, as a coarse clock is
    uint32_t pid;             // of the process under test, the daemonised child once it has forked
    uint32_t threads_started; // the main thread counts
    uint32_t signals_handled; // handlers that have returned
    int32_t parent_id;        // what getppid answers
    uint32_t driver;          // process id of the test that moves the clock; 0: nobody
    uint32_t exit_noted;      // 1 + its exit status once it is about to end
    uint32_t syslog_blocks;   // 1: syslog does not return while this is so
    uint32_t own_processes;   // 1: a look through /proc finds only the processes that the test has named
    char root[256];           // folder that stands for "/"
    char hung[256];           // folder where a tool that hangs leaves its process id
    thread_row threads[max_threads];
    failure_rule failures[max_failures];
    slow_tool slow_tools[max_slow_tools];
    csman_state csman;
    uint32_t record_used;
    uint32_t record_overflow;
    char records[record_bytes]; // call name NUL text NUL, one after another
};

} // namespace dashboard::testing

#endif
