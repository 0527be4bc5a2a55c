#include "base/dashboard_wait.h"

#include "base/portability.h"
#include "base/wall_clock.h"

#include <algorithm>
#include <cerrno>
#include <ctime>
#include <unistd.h>

namespace dashboard {

namespace {

constexpr useconds_t poll_interval = 500; // microseconds
constexpr long second_ns = 1'000'000'000;
constexpr long longest_slack = 100'000'000;     // ns
constexpr long longest_turn_delay = 20'000'000; // ns: two of the longest ticks that coarse clocks go by
constexpr long turn_guard = 1'000'000;          // ns, two polls, that stay free of slack before `time` turns

void set_slack(second_watch& watch, unsigned long slack) {
    if (slack == watch.slack) {
        return;
    }
    set_timer_slack(slack);
    watch.slack = slack;
}

/// How far the wall clock is past the end of `second`, in ns; negative before it, a whole second when it is not even
/// near.
long past_end(int32_t second) {
    timespec now{};
    clock_gettime(CLOCK_REALTIME, &now);
    switch (seconds_between(second, static_cast<int32_t>(now.tv_sec))) {
    case 0:
        return now.tv_nsec - second_ns;
    case 1:
        return now.tv_nsec;
    default:
        return second_ns;
    }
}

/// How late the next poll may come without missing the turn of the second, in ns; 0: as punctual as the system can.
/// `time` turns late, by an amount that hardly changes from one second to the next.
unsigned long affordable_slack(long past, const second_watch& watch) {
    const long left = watch.turn_delay - turn_guard - past;
    return watch.steady && left > 0 ? static_cast<unsigned long>(std::min(left, longest_slack)) : 0;
}

/// Slack is a promise about the future: it is given only while seconds last as long as the machine's own clock says
/// they should. A wall clock that is being stepped or hurried along is polled closely instead.
void note_turn(second_watch& watch) {
    const clock_t now = times(nullptr);
    const unsigned long elapsed = static_cast<unsigned long>(now) - static_cast<unsigned long>(watch.last_turn);
    watch.steady = elapsed >= static_cast<unsigned long>(sysconf(_SC_CLK_TCK)) * 9 / 10;
    watch.last_turn = now;
}

/// What is left until `deadline`; its seconds are negative when that has passed.
timespec time_left(const timespec& deadline) {
    timespec now{};
    clock_gettime(CLOCK_MONOTONIC, &now);
    timespec left{deadline.tv_sec - now.tv_sec, deadline.tv_nsec - now.tv_nsec};
    if (left.tv_nsec < 0) {
        left.tv_sec -= 1;
        left.tv_nsec += second_ns;
    }
    return left;
}

} // namespace

void sleep_fully(int32_t seconds) {
    timespec deadline{};
    clock_gettime(CLOCK_MONOTONIC, &deadline);
    deadline.tv_sec += seconds;
    timespec rest{seconds, 0};
    while (rest.tv_sec >= 0 && clock_nanosleep(CLOCK_MONOTONIC, 0, &rest, nullptr) == EINTR) {
        rest = time_left(deadline);
    }
}

int32_t wait_for_next_second(int32_t second, second_watch& watch) {
    int32_t now = wall_seconds();
    long past = 0; // at the last poll that showed the old second
    while (now == second) {
        // 2,000 wake-ups a second would cost more than all the rest of the daemon: let the kernel be late while the
        // turn of the second is far away.
        past = past_end(second);
        set_slack(watch, affordable_slack(past, watch));
        usleep(poll_interval);
        now = wall_seconds();
    }
    set_slack(watch, 0); // children inherit it
    watch.turn_delay = past > 0 && past < longest_turn_delay ? past : 0;
    note_turn(watch);
    return now;
}

} // namespace dashboard
