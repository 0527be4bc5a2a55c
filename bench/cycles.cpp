// Runs whole server cycles on the files, tools and configuration store that it finds, with a clock that moves by a
// second a cycle: an hour passes in seconds, and a profiler sees nothing but the work of the cycles.
//
// bench_cycles WARM COUNTED: runs WARM cycles, then COUNTED ones in which callgrind counts; prints the memory that is
// resident after each.
#include "core/dashboard_query.h"
#include "core/dashboard_registry.h"
#include "core/dashboard_server.h"
#include "platform/csman.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <valgrind/callgrind.h>

extern "C" time_t __wrap_time(time_t* out);

namespace {

constexpr int32_t renewal = 12; // cycles between two viewer requests of a page that stays open

time_t now = 1'700'000'000;

void watch_everything(int handle) {
    for (int32_t i = 0; i < dashboard::module_count; ++i) {
        write_csman_int(handle, dashboard::find_rd_csid(i), 1);
    }
}

void run(dashboard::server_state& state, int cycles) {
    for (int i = 0; i < cycles; ++i) {
        if (i % renewal == 0) {
            watch_everything(state.handle);
        }
        state.now = static_cast<int32_t>(++now);
        CALLGRIND_TOGGLE_COLLECT;
        dashboard::server_cycle(state);
        CALLGRIND_TOGGLE_COLLECT;
    }
}

void print_resident(const char* when) {
    char line[128];
    FILE* const status = fopen("/proc/self/status", "r");
    while (status != nullptr && fgets(line, sizeof line, status) != nullptr) {
        if (strncmp(line, "VmRSS:", 6) == 0) {
            printf("%s: %s", when, line);
        }
    }
    fclose(status);
}

} // namespace

time_t __wrap_time(time_t* out) {
    if (out != nullptr) {
        *out = now;
    }
    return now;
}

int main(int argc, char** argv) {
    if (argc != 3) {
        fprintf(stderr, "usage: bench_cycles WARM COUNTED\n");
        return 2;
    }
    dashboard::load_registry();
    dashboard::server_state state;
    state.handle = open_csman(0, 0);
    dashboard::term_monitor_cb(state.handle, dashboard::every_module);
    dashboard::query_state cpu{static_cast<int32_t>(now), static_cast<int32_t>(now) - 1};
    dashboard::query_step(cpu);

    run(state, atoi(argv[1]));
    print_resident("warm");
    CALLGRIND_ZERO_STATS;
    run(state, atoi(argv[2]));
    print_resident("end");
    return 0;
}
