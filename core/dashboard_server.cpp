#include "core/dashboard_server.h"

#include "base/dashboard_log.h"
#include "base/wall_clock.h"
#include "core/dashboard_flags.h"
#include "core/dashboard_registry.h"
#include "platform/csman.h"
#include "probes/dashboard_netdev.h"

namespace dashboard {

namespace {

constexpr uint32_t daemon_enable_csid = 0x150780;
constexpr uint32_t log_mode_csid = 0x150781;
constexpr int32_t enable_check_cycles = 6;
constexpr int32_t alive_list_cycles = 11;
constexpr int32_t viewer_seconds = 60;
constexpr int32_t open_retries = 3;
constexpr int32_t open_retry_seconds = 3;

void init_monitor_cb(int handle, int32_t index) {
    for (int32_t r = 0; r < module_count; ++r) {
        monitor_entry& row = reg_monitor_cb[r];
        const bool meant = row.module_index == index && row.callbacks->init != nullptr;
        if (meant && row.callbacks->init(handle, 0) == 1) {
            row.initialised = 1;
            _msg("init_monitor_cb", __LINE__, "init_mc idx=%d", r);
        }
    }
}

void handle_enable_change(int handle, int32_t index) {
    monitor_entry& row = reg_monitor_cb[index];
    if (row.enabled == row.previous_enabled) {
        return;
    }
    if (row.enabled != 0) {
        init_monitor_cb(handle, index);
    } else {
        term_monitor_cb(handle, index);
    }
    row.previous_enabled = row.enabled; // also after a failed init: it is tried again when the item goes off and on
}

void take_viewer_request(int handle, int32_t index, int32_t request) {
    monitor_entry& row = reg_monitor_cb[index];
    if (row.previous_enabled != 1 || request <= 0) {
        return;
    }
    row.viewer_request = request;
    // The request is there before its time-out: a time-out that is still running stands for a request, for whoever
    // looks at the row. The C++ fence is one that the thread sanitizer refuses to compile.
    __sync_synchronize();
    *find_timeout_value(index) = seconds_after(wall_seconds(), viewer_seconds);
    write_csman_int(handle, find_rd_csid(index), 0);
}

void apply_log_mode(int32_t mode) {
    if (mode == 0) {
        return;
    }
    log2console = mode == 2 ? 1 : 0;
    log2syslog = mode == 3 ? 1 : 0;
}

void refresh_interfaces(server_state& state) {
    state.alive_list_counter += 1;
    main_netdev_info();
    if (state.alive_list_counter >= alive_list_cycles) {
        state.alive_list_counter = 0;
        main_netdev_alive();
    }
}

void check_enable_items(server_state& state) {
    state.enable_check_counter += 1;
    if (state.enable_check_counter < enable_check_cycles) {
        return;
    }
    state.enable_check_counter = 0;
    read_csman_int(state.handle, daemon_enable_csid, &state.daemon_enable);
    if (state.daemon_enable != 1) {
        // Deliberate: the rows keep what their enable items read, so that a module whose item does not change stays
        // down when the daemon is enabled again.
        term_monitor_cb(state.handle, every_module);
        return;
    }
    for (int32_t i = 0; i < module_count; ++i) {
        chk_dashboard_csid(state.handle, i);
    }
    read_csman_int(state.handle, log_mode_csid, &state.log_mode);
    apply_log_mode(state.log_mode);
}

bool runs(const monitor_entry& row) {
    return row.initialised == 1 && row.enabled == 1;
}

void call_check(int handle, monitor_entry& row) {
    if (row.callbacks->check == nullptr) {
        return;
    }
    const int32_t waited = row.check_counter;
    row.check_counter = waited + 1;
    if (row.check_period >= waited) {
        return;
    }
    row.check_counter = 0;
    if (row.callbacks->check(handle, &row.viewer_request, row.callbacks) == 0) {
        _msg("dashboard_loop", __LINE__, "check callback fail(%d)", row.module_index);
    }
}

void call_loop(int handle, monitor_entry& row) {
    if (row.callbacks->loop == nullptr) {
        return;
    }
    if (row.callbacks->loop(handle, &row.viewer_request, row.callbacks) == 0) {
        _msg("dashboard_loop", __LINE__, "loop callback fail(%d)", row.module_index);
    }
}

/// The second reading differs when the second turns between the two.
void align_with_second(server_state& state) {
    const int32_t first = wall_seconds();
    const int32_t second = wall_seconds();
    state.now = first == second ? wait_for_next_second(first, state.watch) : second;
}

} // namespace

int open_csman_retry() {
    int handle = open_csman(0, 0);
    int32_t retries = open_retries;
    while (handle < 0) {
        _warn("open_csman_retry", __LINE__, "Open CSMan For Thread Fail(%d), do retry", retries);
        sleep_fully(open_retry_seconds);
        if (retries == 0) {
            _warn("open_csman_retry", __LINE__, "Open CSMan For Thread Fail");
            return handle;
        }
        handle = open_csman(0, 0);
        retries -= 1;
    }
    return handle;
}

int32_t term_monitor_cb(int handle, int32_t index) {
    int32_t ended = 0;
    for (int32_t r = 0; r < module_count; ++r) {
        monitor_entry& row = reg_monitor_cb[r];
        const bool meant = index == every_module || row.module_index == index;
        if (!meant || row.initialised != 1 || row.callbacks->term == nullptr || row.callbacks->term(handle, 0) != 1) {
            continue;
        }
        if (const uint32_t read_csid = find_rd_csid(row.module_index); read_csid != 0) {
            write_csman_int(handle, read_csid, 0);
        }
        if (int32_t* timeout = find_timeout_value(row.module_index); timeout != nullptr) {
            *timeout = 0;
        }
        row.initialised = 0;
        _msg("term_monitor_cb", __LINE__, "term_mc idx=%d", r);
        ended = 1;
    }
    return ended;
}

void chk_dashboard_csid(int handle, int32_t index) {
    const uint32_t enable_csid = find_en_csid(index);
    const uint32_t read_csid = find_rd_csid(index);
    if (enable_csid == 0 || read_csid == 0) {
        _warn("chk_dashboard_csid", __LINE__, "unknow csid");
        set_main_quit_flag();
        return;
    }
    int request = 0;
    read_csman_int(handle, enable_csid, &reg_monitor_cb[index].enabled);
    read_csman_int(handle, read_csid, &request);
    handle_enable_change(handle, index);
    take_viewer_request(handle, index, request);
}

void dashboard_loop(const server_state& state) {
    for (monitor_entry& row : reg_monitor_cb) {
        if (seconds_between(state.now, *find_timeout_value(row.module_index)) < 0) {
            row.viewer_request = 0;
        }
        if (!runs(row)) {
            continue;
        }
        call_check(state.handle, row);
        if (runs(row)) {
            call_loop(state.handle, row);
        }
    }
}

bool server_cycle(server_state& state) {
    if (check_server_thread_status() < 0) {
        return false;
    }
    refresh_interfaces(state);
    check_enable_items(state);
    dashboard_loop(state);
    return true;
}

void server() {
    server_state state;
    state.handle = open_csman_retry();
    csman_handle = state.handle;
    if (state.handle < 0) {
        _warn("server", __LINE__, "open_csman_retry() failed!\n");
        set_main_quit_flag();
        return;
    }
    term_monitor_cb(state.handle, every_module);
    align_with_second(state);
    while (server_cycle(state)) {
        state.now = wait_for_next_second(state.now, state.watch);
    }
    close_configuration();
}

} // namespace dashboard
