#include "core/deadline.h"

#include "probes/tool_end.h"

#include <atomic>
#include <csignal>
#include <sys/time.h>
#include <unistd.h>

namespace dashboard {

namespace {

constexpr timeval longest_farewell = {1, 800'000}; // two seconds, the end of the process included

std::atomic<bool> ended_by_signal{false};

// The alarm as it was before we took it.
std::atomic<bool> alarm_is_ours{false};
struct sigaction action_before {};
bool blocked_before = false;

void end_now(int /*signal_number*/) {
    end_tools();
    _exit(ended_by_signal ? signal_exit_status : 0);
}

void take_alarm() {
    struct sigaction action {};
    action.sa_handler = SIG_IGN; // drops an alarm from before that a mask has kept waiting
    sigemptyset(&action.sa_mask);
    sigaction(SIGALRM, &action, &action_before);
    action.sa_handler = end_now;
    sigaction(SIGALRM, &action, nullptr);
    sigset_t alarm_only;
    sigset_t before;
    sigemptyset(&alarm_only);
    sigaddset(&alarm_only, SIGALRM);
    pthread_sigmask(SIG_UNBLOCK, &alarm_only, &before);
    blocked_before = sigismember(&before, SIGALRM) == 1;
}

void give_alarm_back() {
    sigset_t alarm_only;
    sigemptyset(&alarm_only);
    sigaddset(&alarm_only, SIGALRM);
    pthread_sigmask(blocked_before ? SIG_BLOCK : SIG_UNBLOCK, &alarm_only, nullptr);
    sigaction(SIGALRM, &action_before, nullptr);
}

void set_deadline(const timeval& left) {
    if (!alarm_is_ours.exchange(true)) {
        take_alarm();
    }
    itimerval running{};
    getitimer(ITIMER_REAL, &running);
    if (timerisset(&running.it_value) && timercmp(&running.it_value, &left, <)) {
        return;
    }
    const itimerval timer{{}, left};
    setitimer(ITIMER_REAL, &timer, nullptr);
}

} // namespace

void end_within(unsigned seconds) {
    set_deadline({static_cast<time_t>(seconds), 0});
}

void lift_deadline() {
    if (ended_by_signal || !alarm_is_ours) {
        return;
    }
    const itimerval none{};
    setitimer(ITIMER_REAL, &none, nullptr);
    give_alarm_back();
    alarm_is_ours = false;
    if (ended_by_signal) { // a worker took the signal just now
        set_deadline(longest_farewell);
    }
}

void end_by_signal_soon() {
    ended_by_signal = true;
    set_deadline(longest_farewell);
}

bool ends_by_signal() {
    return ended_by_signal;
}

} // namespace dashboard
