// The system log: the one of the machine that runs the tests hears nothing.
#undef _FILE_OFFSET_BITS
#undef _TIME_BITS
#undef _FORTIFY_SOURCE
#include "tests/support/inside.h"

#include <cerrno>
#include <cstdarg>
#include <cstdio>
#include <cstring>
#include <sys/socket.h>
#include <sys/un.h>
#include <syslog.h>
#include <unistd.h>

// The formats of syslog are the caller's.
#pragma GCC diagnostic ignored "-Wformat-nonliteral"

using namespace dashboard::testing;

namespace {

int log_socket = -1;

int connect_to(const char* path, int type) {
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    strncpy(address.sun_path, path, sizeof address.sun_path - 1);
    const int descriptor = socket(AF_UNIX, type | SOCK_CLOEXEC, 0);
    if (connect(descriptor, reinterpret_cast<sockaddr*>(&address), sizeof address) == 0) {
        return descriptor;
    }
    const int error = errno;
    close(descriptor);
    errno = error;
    return -1;
}

// As the C library does: connected once, waiting for room in the log's queue, connected anew once when that fails.
void send_to_log(const char* text) {
    for (int tries = 0; tries < 2; ++tries) {
        if (log_socket < 0) {
            log_socket = connect_to("/dev/log", SOCK_DGRAM);
        }
        if (log_socket < 0 && errno == EPROTOTYPE) {
            log_socket = connect_to("/dev/log", SOCK_STREAM);
        }
        if (log_socket < 0 || send(log_socket, text, strlen(text), MSG_NOSIGNAL) >= 0) {
            return;
        }
        close(log_socket);
        log_socket = -1;
    }
}

void record_syslog(int priority, const char* format, va_list arguments) {
    char text[512];
    vsnprintf(text, sizeof text, format, arguments);
    record("syslog", "%d %s", priority, text);
    const uint32_t& blocks = current_world()->syslog_blocks;
    if (__atomic_load_n(&blocks, __ATOMIC_SEQ_CST) != 0) {
        stall_while(&blocks, 1);
    }
    send_to_log(text);
}

} // namespace

INTERPOSE(int, connect, int descriptor, const sockaddr* address, socklen_t size) {
    const auto real = REAL(int (*)(int, const sockaddr*, socklen_t), connect);
    if (current_world() == nullptr || address->sa_family != AF_UNIX) {
        return real(descriptor, address, size);
    }
    sockaddr_un inside{};
    char buffer[512];
    memcpy(&inside, address, size < sizeof inside ? size : sizeof inside);
    const char* const path = inside_path(inside.sun_path, buffer);
    if (path == inside.sun_path) {
        return real(descriptor, address, size);
    }
    strncpy(inside.sun_path, path, sizeof inside.sun_path - 1);
    return real(descriptor, reinterpret_cast<const sockaddr*>(&inside), sizeof inside);
}

INTERPOSE(void, openlog, const char* ident, int options, int facility) {
    if (current_world() == nullptr) {
        REAL(void (*)(const char*, int, int), openlog)(ident, options, facility);
        return;
    }
    record("openlog", "%s %d %d", ident, options, facility);
}

INTERPOSE(void, closelog, void) {
    if (current_world() == nullptr) {
        REAL(void (*)(), closelog)();
        return;
    }
    record("closelog", "%s", "");
    if (log_socket >= 0) {
        close(log_socket);
        log_socket = -1;
    }
}

INTERPOSE(int, setlogmask, int mask) {
    if (current_world() == nullptr) {
        return REAL(int (*)(int), setlogmask)(mask);
    }
    record("setlogmask", "%d", mask);
    return 0xff;
}

INTERPOSE(void, vsyslog, int priority, const char* format, va_list arguments) {
    if (current_world() == nullptr) {
        REAL(void (*)(int, const char*, va_list), vsyslog)(priority, format, arguments);
        return;
    }
    record_syslog(priority, format, arguments);
}

INTERPOSE(void, syslog, int priority, const char* format, ...) {
    va_list arguments;
    va_start(arguments, format);
    world_vsyslog(priority, format, arguments);
    va_end(arguments);
}

INTERPOSE(void, __syslog_chk, int priority, int, const char* format, ...) {
    va_list arguments;
    va_start(arguments, format);
    world_vsyslog(priority, format, arguments);
    va_end(arguments);
}
