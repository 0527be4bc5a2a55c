#include "core/dashboard_query.h"

#include "base/dashboard_log.h"
#include "base/dashboard_wait.h"
#include "base/wall_clock.h"
#include "core/dashboard_flags.h"
#include "probes/dashboard_cpuinfo.h"

namespace dashboard {

namespace {

constexpr uint32_t clock_tolerance = 30; // seconds that the wall clock may move between two looks
constexpr int32_t first_measurement = 2; // seconds from the start
constexpr int32_t measurement_gap = 3;   // seconds, from the start of one measurement

bool clock_jumped(query_state& state, int32_t now) {
    const int32_t diff = seconds_between(state.last, now);
    if (static_cast<uint32_t>(diff) + clock_tolerance < 2 * clock_tolerance + 1) {
        return false;
    }
    _msg("CheckTimer", __LINE__, "maybe sys time was changed??, now(%ld), last(%ld), diff(%ld)", static_cast<long>(now),
         static_cast<long>(state.last), static_cast<long>(diff));
    state.next = seconds_after(now, measurement_gap);
    state.last = now;
    return true;
}

} // namespace

void query_step(query_state& state) {
    const int32_t now = wall_seconds();
    if (clock_jumped(state, now) || seconds_between(state.next, now) <= 0) {
        return;
    }
    state.next = seconds_after(now, measurement_gap);
    state.last = now;
    if (!query_cpu()) {
        set_main_quit_flag();
    }
}

void query() {
    query_state state{wall_seconds(), 0};
    if (!prepare_cpu_info()) {
        _warn("query", __LINE__, "Mutex initiation error!");
        set_main_quit_flag();
        return;
    }
    state.next = seconds_after(wall_seconds(), first_measurement);
    sleep_fully(1);
    while (check_query_thread_status() >= 0) {
        query_step(state);
        sleep_fully(1);
    }
    retire_cpu_info();
}

} // namespace dashboard
