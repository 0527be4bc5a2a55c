// The server thread: once per wall-clock second it refreshes the interface table and drives the metric modules.
#ifndef CORE_DASHBOARD_SERVER_H
#define CORE_DASHBOARD_SERVER_H

#include "base/dashboard_wait.h"

#include <cstdint>

namespace dashboard {

/// What the server thread carries from cycle to cycle. The counters start so that the first cycle does both refreshes.
struct server_state {
    int handle = -1;                  // csman
    int32_t now = 0;                  // the wall-clock second at which the cycle began
    int32_t enable_check_counter = 6; // cycles since the enable items were read
    int32_t alive_list_counter = 11;  // cycles since the alive list was built
    int32_t daemon_enable = 0;        // as read last: a failed read leaves it
    int32_t log_mode = 0;             // likewise
    second_watch watch;
};

/// The thread function; takes and returns nothing. Ends when its quit flag is set or csman cannot be opened.
void server();

/// Opens csman, four times at most with three seconds between. Returns the handle or a negative value.
int open_csman_retry();

/// Ends module `index`, or every one (`every_module`): calls its term where it is initialised, and forgets its viewer.
/// Returns 1 if any module was ended, else 0.
int32_t term_monitor_cb(int handle, int32_t index);

/// One cycle without its wait: everything that happens in one second. Returns false when the thread is told to leave.
bool server_cycle(server_state& state);

/// Steps of the cycle. `chk_dashboard_csid` reads one module's items, switches it on or off and takes its viewer
/// request; `dashboard_loop` calls the check and loop callbacks of every running module.
void chk_dashboard_csid(int handle, int32_t index);
void dashboard_loop(const server_state& state);

} // namespace dashboard

#endif
