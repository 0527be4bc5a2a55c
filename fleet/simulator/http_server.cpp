#include "fleet/simulator/http_server.h"

#include <arpa/inet.h>
#include <cerrno>
#include <cstddef>
#include <ctime>
#include <iterator>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <sys/epoll.h>
#include <sys/socket.h>
#include <unistd.h>
#include <utility>

namespace dashboard {

namespace {

constexpr size_t longest_request = 16384;
constexpr int backlog = 4096;

/// How long a reader that takes nothing holds up the others.
constexpr timeval send_limit = {5, 0};

bool send_all(int fd, const std::string& text) {
    size_t sent = 0;
    while (sent < text.size()) {
        const ssize_t n = send(fd, text.data() + sent, text.size() - sent, MSG_NOSIGNAL);
        if (n < 0 && errno == EINTR) {
            continue;
        }
        if (n <= 0) {
            return false;
        }
        sent += static_cast<size_t>(n);
    }
    return true;
}

/// The path of "GET PATH?QUERY HTTP/1.1"; empty when it is no such request.
std::string path_of(const std::string& request) {
    if (request.compare(0, 4, "GET ") != 0) {
        return "";
    }
    const size_t end = request.find_first_of(" ?\r", 4);
    return end == std::string::npos ? "" : request.substr(4, end - 4);
}

int64_t now_in_seconds() {
    timespec now{};
    clock_gettime(CLOCK_MONOTONIC, &now);
    return now.tv_sec;
}

bool watch(int epoll, int fd) {
    epoll_event event{};
    event.events = EPOLLIN;
    event.data.fd = fd;
    return epoll_ctl(epoll, EPOLL_CTL_ADD, fd, &event) == 0;
}

} // namespace

http_server::~http_server() {
    for (const auto& connection : open_connections) {
        close(connection.first);
    }
    close(listener_fd);
    close(epoll_fd);
}

int http_server::listen_at(uint16_t port) {
    const int yes = 1;
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_port = htons(port);
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t size = sizeof address;
    listener_fd = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0);
    epoll_fd = epoll_create1(EPOLL_CLOEXEC);
    if (listener_fd < 0 || epoll_fd < 0 || setsockopt(listener_fd, SOL_SOCKET, SO_REUSEADDR, &yes, sizeof yes) != 0 ||
        bind(listener_fd, reinterpret_cast<const sockaddr*>(&address), size) != 0 ||
        listen(listener_fd, backlog) != 0 ||
        getsockname(listener_fd, reinterpret_cast<sockaddr*>(&address), &size) != 0 || !watch(epoll_fd, listener_fd)) {
        return -1;
    }
    return ntohs(address.sin_port);
}

bool http_server::serve() {
    epoll_event events[256];
    while (is_stopped == 0) {
        const int ready = epoll_wait(epoll_fd, events, 256, 200);
        if (ready < 0 && errno != EINTR) {
            return false;
        }
        for (int i = 0; i < ready; ++i) {
            if (events[i].data.fd == listener_fd) {
                accept_all();
            } else {
                receive(events[i].data.fd);
            }
        }
        send_late();
    }
    return true;
}

void http_server::accept_all() {
    const int yes = 1;
    for (;;) {
        const int fd = accept4(listener_fd, nullptr, nullptr, SOCK_CLOEXEC);
        if (fd < 0) {
            return;
        }
        setsockopt(fd, IPPROTO_TCP, TCP_NODELAY, &yes, sizeof yes);
        setsockopt(fd, SOL_SOCKET, SO_SNDTIMEO, &send_limit, sizeof send_limit);
        if (!watch(epoll_fd, fd)) {
            close(fd);
            continue;
        }
        open_connections[fd].clear();
    }
}

void http_server::send_late() {
    while (!late_answers.empty() && late_answers.begin()->first <= now_in_seconds()) {
        const late_answer first = late_answers.begin()->second;
        late_answers.erase(late_answers.begin());
        if (!send_all(first.fd, first.text)) {
            drop(first.fd);
        }
    }
}

void http_server::drop(int fd) {
    for (auto one = late_answers.begin(); one != late_answers.end();) {
        one = one->second.fd == fd ? late_answers.erase(one) : std::next(one);
    }
    close(fd);
    open_connections.erase(fd);
}

void http_server::receive(int fd) {
    char block[4096];
    std::string& received = open_connections[fd];
    const ssize_t n = recv(fd, block, sizeof block, MSG_DONTWAIT);
    if (n < 0 && (errno == EAGAIN || errno == EINTR)) {
        return;
    }
    if (n <= 0 || received.size() > longest_request) {
        drop(fd);
        return;
    }
    received.append(block, static_cast<size_t>(n));
    if (!answer_requests(fd, received)) {
        drop(fd);
    }
}

/// Returns false when the connection is to be closed.
bool http_server::answer_requests(int fd, std::string& received) {
    for (;;) {
        const size_t end = received.find("\r\n\r\n");
        if (end == std::string::npos) {
            return true;
        }
        const std::string request = received.substr(0, end);
        received.erase(0, end + 4);
        if (!answer_one(fd, request)) {
            return false;
        }
    }
}

bool http_server::answer_one(int fd, const std::string& request) {
    last_answer.status = 404;
    last_answer.type = "text/plain";
    last_answer.body.clear();
    last_answer.delay = 0;
    answerer(path_of(request), last_answer);
    if (last_answer.status == 0) {
        return false;
    }
    std::string head = "HTTP/1.1 " + std::to_string(last_answer.status) +
                       (last_answer.status == 200 ? " OK" : " Not Found") + "\r\nContent-Type: " + last_answer.type +
                       "\r\nContent-Length: " + std::to_string(last_answer.body.size()) + "\r\n\r\n";
    if (last_answer.delay > 0) {
        late_answers.insert({now_in_seconds() + last_answer.delay, {fd, head + last_answer.body}});
        return true;
    }
    return send_all(fd, head) && send_all(fd, last_answer.body);
}

} // namespace dashboard
