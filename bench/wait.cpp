// The wait for the next second in real time: how often it wakes, what that costs, and how late the second is noticed.
//
// bench_wait SECONDS [punctual]: "punctual" keeps the system's default timer slack throughout, whatever the wait asks
// for.
#include "base/dashboard_wait.h"
#include "base/wall_clock.h"

#include <algorithm>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <sys/resource.h>
#include <unistd.h>

extern "C" {
int __real_usleep(useconds_t microseconds);
int __real_prctl(int option, ...);
int __wrap_usleep(useconds_t microseconds);
int __wrap_prctl(int option, ...);
}

namespace {

long wakes = 0;
bool slack_allowed = true;

double seconds_of(const timeval& time) {
    return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_usec) / 1e6;
}

double processor_seconds() {
    rusage usage{};
    getrusage(RUSAGE_SELF, &usage);
    return seconds_of(usage.ru_utime) + seconds_of(usage.ru_stime);
}

// Milliseconds since the wall clock's second has turned.
double lateness() {
    timespec time{};
    clock_gettime(CLOCK_REALTIME, &time);
    return static_cast<double>(time.tv_nsec) / 1e6;
}

} // namespace

int __wrap_usleep(useconds_t microseconds) {
    ++wakes;
    return __real_usleep(microseconds);
}

int __wrap_prctl(int option, ...) {
    va_list arguments;
    va_start(arguments, option);
    const unsigned long slack = va_arg(arguments, unsigned long);
    va_end(arguments);
    return slack_allowed ? __real_prctl(option, slack, 0, 0, 0) : 0;
}

int main(int argc, char** argv) {
    const int seconds = argc > 1 ? atoi(argv[1]) : 0;
    if (seconds <= 0) {
        fprintf(stderr, "usage: bench_wait SECONDS [punctual]\n");
        return 2;
    }
    slack_allowed = argc < 3 || strcmp(argv[2], "punctual") != 0;

    // The first two turns only tell the wait that the machine's own clock agrees.
    dashboard::second_watch watch;
    int32_t now = dashboard::wall_seconds();
    now = dashboard::wait_for_next_second(now, watch);
    now = dashboard::wait_for_next_second(now, watch);

    wakes = 0;
    const double before = processor_seconds();
    double late = 0;
    double latest = 0;
    for (int i = 0; i < seconds; ++i) {
        now = dashboard::wait_for_next_second(now, watch);
        const double by = lateness();
        late += by;
        latest = std::max(latest, by);
    }
    printf("%.0f wake-ups a second, %.4f s a minute, late by %.2f ms, at worst %.2f ms\n",
           static_cast<double>(wakes) / seconds, (processor_seconds() - before) * 60 / seconds, late / seconds, latest);
    return 0;
}
