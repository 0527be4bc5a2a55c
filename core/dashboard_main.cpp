#include "core/dashboard_main.h"

#include "base/dashboard_log.h"
#include "base/log_output.h"
#include "core/dashboard_daemon.h"
#include "core/dashboard_flags.h"
#include "core/dashboard_query.h"
#include "core/dashboard_registry.h"
#include "core/dashboard_server.h"
#include "core/dashboard_signal.h"
#include "core/dashboard_worker.h"
#include "core/deadline.h"
#include "platform/utils.h"
#include "probes/dashboard_sysinfo.h"
#include "probes/tool_end.h"

#include <cstring>
#include <ctime>
#include <syslog.h>
#include <unistd.h>

namespace dashboard {

namespace {

constexpr char output_folder[] = "/tmp/dashboard/";
constexpr char working_folder[] = "/tmp/";
constexpr char pid_lock_file[] = "/var/run/dashboard_daemon.pid";
constexpr int informative_priorities = 127; // emergency to info; debug is masked
constexpr int32_t start_delay = 20;         // seconds, with "delaystart"
constexpr int32_t watch_seconds = 5;
constexpr int32_t grace_seconds = 2;
constexpr unsigned step_limit = 5; // seconds of real time that one step of the shutdown may hang

worker server_worker{server};
worker query_worker{query};

/// Returns whether the start is to be delayed. Unknown words are ignored; the last word about the log wins.
bool read_options(int argc, char** argv) {
    bool delayed = false;
    for (int i = 1; i < argc; ++i) {
        if (strcmp(argv[i], "logc") == 0) {
            log2console = 1;
            log2syslog = 0;
            print_line("enable console debuging");
        } else if (strcmp(argv[i], "logs") == 0) {
            log2syslog = 1;
            log2console = 0;
            print_line("enable syslog debuging");
        } else if (strcmp(argv[i], "delaystart") == 0) {
            delayed = true;
        }
    }
    return delayed;
}

/// Returns when the daemon has to end: a worker stood still for five seconds, or the main quit flag is set. Reporting
/// may hang all the same where the header of the log says so, which must not keep the daemon.
void watch_workers() {
    int32_t server_counter = get_server_kal_counter();
    int32_t query_counter = get_query_kal_counter();
    for (;;) {
        wait_for_signals(watch_seconds);
        if (get_main_quit_flag() < 0) {
            return;
        }
        const int32_t server_before = server_counter;
        server_counter = get_server_kal_counter();
        if (server_counter == server_before) {
            end_within(step_limit);
            _warn("main", __LINE__, "error, server thread timeout event!");
            return;
        }
        const int32_t query_before = query_counter;
        query_counter = get_query_kal_counter();
        if (query_counter == query_before) {
            end_within(step_limit);
            _warn("main", __LINE__, "error, query thread timeout event!");
            return;
        }
    }
}

void grant_grace() {
    lift_deadline();
    wait_for_signals(grace_seconds);
    end_within(step_limit);
}

void shut_down() {
    set_server_quit_flag();
    set_query_quit_flag();
    grant_grace();
    cancel_worker(server_worker);
    cancel_worker(query_worker);
    grant_grace();
    g_mutex.destroy();
    close_configuration();
    end_if_told();
    end_tools();
}

} // namespace

int dashboard_main(int argc, char** argv) {
    _exec_cmd(getpid(), "dashboard_main", "main", __LINE__, "mkdir -p /tmp/dashboard/");
    load_registry();
    const bool delayed = read_options(argc, argv);
    tzset(); // syslog would do it, on the heap of whichever worker speaks first
    setlogmask(informative_priorities);
    openlog("Dashboard", 0, LOG_USER);
    if (!g_mutex.init()) {
        _fatal("main", __LINE__, "Mutex initiation error!");
    }
    if (folder_exists(output_folder) == 0) {
        _exec_cmd(getpid(), "dashboard_main", "main", __LINE__, "mkdir /tmp/dashboard/");
    }
    daemonize(working_folder, pid_lock_file);
    if (delayed) {
        wait_for_signals(start_delay);
    }
    start_worker(server_worker);
    wait_for_signals(1);
    start_worker(query_worker);
    watch_workers();
    shut_down();
    return 0;
}

} // namespace dashboard
