#include "tests/support/world_driver.h"

#include <chrono>
#include <climits>
#include <cmath>
#include <ctime>
#include <fstream>
#include <limits>
#include <linux/futex.h>
#include <sstream>
#include <stdexcept>
#include <sys/syscall.h>
#include <unistd.h>

namespace dashboard::testing {

namespace {

constexpr auto patience = std::chrono::seconds(20); // of real time

void wait_for_activity(world_state& state, uint32_t seen) {
    const timespec shortly = {0, 5'000'000};
    syscall(SYS_futex, &state.activity, FUTEX_WAIT, seen, &shortly, nullptr, 0);
}

bool rests(const thread_row& row) {
    return row.state == thread_none || row.state == thread_parked || row.state == thread_stalled;
}

const char* name_of(uint32_t thread_state) {
    static const char* const names[] = {"-", "running", "parked", "signalled", "interrupted", "cancelled", "stalled"};
    return names[thread_state];
}

} // namespace

world_driver::world_driver(test_world& the_world, std::function<bool()> has_ended)
    : world(the_world), state(the_world.state()), ended(std::move(has_ended)) {}

// A thread that reads the output of a tool that hangs rests as well.
bool world_driver::at_rest() {
    uint32_t reading = 0;
    {
        const state_guard guard(state);
        if (state.threads_started == 0) {
            return false;
        }
        for (const thread_row& row : state.threads) {
            const bool in_tool = row.state == thread_running && __atomic_load_n(&row.reading, __ATOMIC_SEQ_CST) != 0;
            reading += in_tool ? 1 : 0;
            if (!rests(row) && !in_tool) {
                return false;
            }
        }
    }
    return reading == 0 || reading <= world.count_hanging_tools();
}

void world_driver::wake_next() {
    wake_first(std::numeric_limits<int64_t>::max());
}

bool world_driver::settle() {
    const auto until = std::chrono::steady_clock::now() + patience;
    for (;;) {
        const uint32_t seen = __atomic_load_n(&state.activity, __ATOMIC_SEQ_CST);
        if (at_rest()) {
            return true;
        }
        wait_for_activity(state, seen);
        if (ended()) {
            return false;
        }
        if (std::chrono::steady_clock::now() > until) {
            throw std::runtime_error("the process does not come to rest:\n" + threads());
        }
    }
}

// Moves the clock to the earliest deadline up to `limit` and lets that thread go; when there is none, to the limit.
bool world_driver::wake_first(int64_t limit) {
    const state_guard guard(state);
    thread_row* first = nullptr;
    for (thread_row& row : state.threads) {
        const bool earlier = first == nullptr || row.deadline < first->deadline ||
                             (row.deadline == first->deadline && row.number < first->number);
        if (row.state == thread_parked && row.deadline <= limit && earlier) {
            first = &row;
        }
    }
    const int64_t moment = first == nullptr ? limit : first->deadline;
    state.monotonic = moment > state.monotonic ? moment : state.monotonic;
    if (first == nullptr) {
        return false;
    }
    first->state = thread_running;
    first->word += 1;
    syscall(SYS_futex, &first->word, FUTEX_WAKE, INT_MAX, nullptr, nullptr, 0);
    return true;
}

bool world_driver::run_until(int64_t ns) {
    while (settle()) {
        if (!wake_first(ns)) {
            return true;
        }
    }
    return false;
}

bool world_driver::run_for(double seconds) {
    return run_until(world.clock.monotonic_ns() + static_cast<int64_t>(std::llround(seconds * 1e9)));
}

bool world_driver::run_one_second() {
    const int64_t wall = world.clock.wall_ns();
    const int64_t to_go = ns_per_second - wall % ns_per_second;
    const int64_t pauses = 1'000'000; // for the few microseconds that a reader of tool output pauses
    return run_until(world.clock.monotonic_ns() + to_go + pauses);
}

std::string world_driver::threads() const {
    const state_guard guard(state);
    std::ostringstream text;
    for (const thread_row& row : state.threads) {
        if (row.state != thread_none) {
            text << "thread " << row.number << ": " << name_of(row.state) << (row.reading != 0 ? ", in a tool" : "")
                 << ", wakes in " << static_cast<double>(row.deadline - state.monotonic) / 1e9 << " s\n";
        }
    }
    return text.str();
}

thread_row world_driver::row(uint32_t number) const {
    const state_guard guard(state);
    for (const thread_row& one : state.threads) {
        if (one.state != thread_none && one.number == number) {
            return one;
        }
    }
    return thread_row{};
}

int world_driver::tid(uint32_t number) const {
    return static_cast<int>(row(number).tid);
}

bool world_driver::stalled(uint32_t number) const {
    return row(number).state == thread_stalled || (in_tool(number) && world.a_tool_hangs());
}

bool world_driver::in_tool(uint32_t number) const {
    const thread_row one = row(number);
    return one.state == thread_running && one.reading != 0;
}

} // namespace dashboard::testing
