#include "base/log_output.h"

#include "base/dashboard_mutex.h"

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <fcntl.h>
#include <poll.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <syslog.h>
#include <unistd.h>

namespace dashboard {

namespace {

constexpr char log_path[] = "/dev/log";
constexpr int searched_descriptors = 64; // the C library opens its own early: it is among the first

mutex system_log; // from the look at the queue to the message

bool has_room(int fd) {
    pollfd asked{fd, POLLOUT, 0};
    return poll(&asked, 1, 0) == 1;
}

/// The daemon shares the open file of its standard output with whoever started it and with its tools: switching that
/// to non-blocking would switch it for them. Pipes and terminals can be opened once more, with a mode of our own. A
/// pipe takes as little as a line whole or not at all.
void write_to_console(const char* line, size_t length) {
    struct stat about {};
    if (fstat(STDOUT_FILENO, &about) != 0) {
        return;
    }
    if (S_ISSOCK(about.st_mode)) {
        send(STDOUT_FILENO, line, length, MSG_DONTWAIT);
        return;
    }
    const bool can_wait = S_ISFIFO(about.st_mode) || S_ISCHR(about.st_mode);
    const int own = can_wait ? open("/proc/self/fd/1", O_WRONLY | O_NONBLOCK | O_NOCTTY | O_CLOEXEC) : -1;
    if (own >= 0) {
        [[maybe_unused]] const ssize_t written = write(own, line, length);
        close(own);
    } else if (has_room(STDOUT_FILENO)) {
        [[maybe_unused]] const ssize_t written = write(STDOUT_FILENO, line, length);
    }
}

/// A socket that leads to the system log, which did not wait for it. Returns -1 with errno when there is none.
int connect_to_log(int type) {
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    memcpy(address.sun_path, log_path, sizeof log_path);
    const int connected = socket(AF_UNIX, type | SOCK_NONBLOCK | SOCK_CLOEXEC, 0);
    if (connected < 0 || connect(connected, reinterpret_cast<sockaddr*>(&address), sizeof address) == 0) {
        return connected;
    }
    const int error = errno;
    close(connected);
    errno = error;
    return -1;
}

bool leads_to(const struct stat& log, int fd) {
    sockaddr_un peer{};
    socklen_t size = sizeof peer - 1;
    struct stat about {};
    return getpeername(fd, reinterpret_cast<sockaddr*>(&peer), &size) == 0 && peer.sun_family == AF_UNIX &&
           stat(peer.sun_path, &about) == 0 && about.st_dev == log.st_dev && about.st_ino == log.st_ino;
}

/// The connection that the C library keeps to the log, or -1: it connects with the first message.
int kept_connection() {
    struct stat log {};
    if (stat(log_path, &log) != 0) {
        return -1;
    }
    for (int fd = 0; fd < searched_descriptors; ++fd) {
        if (leads_to(log, fd)) {
            return fd;
        }
    }
    return -1;
}

/// Datagrams of all programs wait in one queue, which any socket shows. A connection has a queue of its own: there, the
/// C library's is asked.
bool log_has_room() {
    int asked = connect_to_log(SOCK_DGRAM);
    if (asked < 0 && errno == EPROTOTYPE) {
        if (const int kept = kept_connection(); kept >= 0) {
            return has_room(kept);
        }
        asked = connect_to_log(SOCK_STREAM);
    }
    if (asked < 0) {
        return errno != EAGAIN; // where there is no log, syslog does not wait either
    }
    const bool room = has_room(asked);
    close(asked);
    return room;
}

} // namespace

void print_line(const char* text) {
    uncancellable section; // a descriptor is open meanwhile
    char line[longest_line + 1];
    const int length = snprintf(line, sizeof line, "%s\n", text);
    write_to_console(line, static_cast<size_t>(length));
}

void send_line(const char* text) {
    scoped_lock one_at_a_time(system_log);
    if (log_has_room()) {
        syslog(LOG_NOTICE, "%s", text);
    }
}

} // namespace dashboard
