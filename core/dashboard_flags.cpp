#include "core/dashboard_flags.h"

#include "platform/csman.h"

#include <unistd.h>

namespace dashboard {

mutex g_mutex;
std::atomic<int32_t> pidFilehandle{-1};
std::atomic<int32_t> csman_handle{-1};

namespace {

struct worker_status {
    int32_t kal_counter;
    int32_t quit_flag;
};

worker_status server_status guarded_by(g_mutex);
worker_status query_status guarded_by(g_mutex);
int32_t main_quit_flag guarded_by(g_mutex) = 0;

} // namespace

int32_t check_server_thread_status() {
    scoped_lock lock(g_mutex);
    server_status.kal_counter += 1;
    return server_status.quit_flag;
}

int32_t check_query_thread_status() {
    scoped_lock lock(g_mutex);
    query_status.kal_counter += 1;
    return query_status.quit_flag;
}

int32_t get_server_kal_counter() {
    scoped_lock lock(g_mutex);
    return server_status.kal_counter;
}

int32_t get_query_kal_counter() {
    scoped_lock lock(g_mutex);
    return query_status.kal_counter;
}

void set_server_quit_flag() {
    scoped_lock lock(g_mutex);
    server_status.quit_flag = -1;
}

void set_query_quit_flag() {
    scoped_lock lock(g_mutex);
    query_status.quit_flag = -1;
}

int32_t get_main_quit_flag() {
    scoped_lock lock(g_mutex);
    return main_quit_flag;
}

void set_main_quit_flag() {
    {
        scoped_lock lock(g_mutex);
        main_quit_flag = -1;
    }
    close_pid_file();
}

void close_pid_file() {
    const int32_t fd = pidFilehandle.exchange(-1);
    if (fd >= 0) {
        close(fd);
    }
}

void close_configuration() {
    const int32_t handle = csman_handle.exchange(-1);
    if (handle >= 0) {
        close_csman(handle);
    }
}

} // namespace dashboard
