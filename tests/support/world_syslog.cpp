// A system log that takes no messages, as a test sees it.
#include "tests/support/world.h"

#include <cerrno>
#include <climits>
#include <cstring>
#include <linux/futex.h>
#include <stdexcept>
#include <sys/socket.h>
#include <sys/syscall.h>
#include <sys/un.h>
#include <unistd.h>

namespace dashboard::testing {

namespace {

constexpr int waiting_connections = 5;

} // namespace

void test_world::idle_system_log(int type) {
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    const std::string path = real_path("/dev/log");
    folder("/dev");
    path.copy(address.sun_path, sizeof address.sun_path - 1);
    log_socket = socket(AF_UNIX, type | SOCK_NONBLOCK | SOCK_CLOEXEC, 0);
    const bool bound = bind(log_socket, reinterpret_cast<sockaddr*>(&address), sizeof address) == 0;
    if (!bound || (type == SOCK_STREAM && listen(log_socket, waiting_connections) != 0)) {
        throw std::runtime_error("no system log " + path + ": " + strerror(errno));
    }
}

std::vector<std::string> test_world::read_system_log() {
    std::vector<std::string> messages;
    char text[1024];
    for (ssize_t size = 0; (size = recv(log_socket, text, sizeof text, 0)) > 0;) {
        messages.emplace_back(text, static_cast<size_t>(size));
    }
    return messages;
}

void test_world::block_syslog() {
    __atomic_store_n(&shared->syslog_blocks, 1, __ATOMIC_SEQ_CST);
}

void test_world::free_syslog() {
    __atomic_store_n(&shared->syslog_blocks, 0, __ATOMIC_SEQ_CST);
    syscall(SYS_futex, &shared->syslog_blocks, FUTEX_WAKE, INT_MAX, nullptr, nullptr, 0);
}

} // namespace dashboard::testing
