// play_traffic: the users of a router that has none. Sends UDP datagrams over each given link at a rate that follows a
// pattern, until it is ended. Run twice, in the router and in the network namespace of its peers, it makes traffic both
// ways. An interface that is deleted and made again is found again.
#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <string>
#include <vector>

#include <arpa/inet.h>
#include <cerrno>
#include <net/if.h>
#include <netinet/in.h>
#include <sys/ioctl.h>
#include <sys/socket.h>
#include <unistd.h>

namespace {

constexpr char help_text[] =
    "Usage: play_traffic PATTERN INTERFACE:ADDRESS:KBITS...\n"
    "Sends UDP datagrams from each INTERFACE to the discard port of the IPv4 ADDRESS behind it, until it is ended.\n"
    "\n"
    "  quiet    a hundredth of KBITS kbit/s\n"
    "  lively   rises and falls between next to nothing and KBITS, differently on each link, with some open sockets\n"
    "  known    1 Mbit/s on every link, whatever KBITS says\n"
    "A frame is as long as the interface takes it.\n";

constexpr int ticks_per_second = 20;
constexpr size_t ethernet_header = 14;
constexpr size_t ip_and_udp_header = 20 + 8;
constexpr size_t largest_mtu = 9000;
constexpr uint16_t discard_port = 9;
// A machine that was held up sends what it has missed, but not for more seconds than this, and not all at once: seconds
// of a link's rate that one tick may send.
constexpr double longest_hold_up = 60;
constexpr double most_at_once = 0.25;

enum class pattern { quiet, lively, known };

struct traffic_link {
    std::string interface;
    sockaddr_in peer = {};
    double bytes_per_second = 0; // at most
    size_t payload = 0;          // bytes in a datagram
    int fd = -1;
    double next_try = 0;
    double credit = 0; // bytes that are due
};

double now() {
    timespec time = {};
    clock_gettime(CLOCK_MONOTONIC, &time);
    return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_nsec) / 1e9;
}

bool parse_link(const std::string& text, traffic_link& link) {
    const size_t first = text.find(':');
    const size_t second = text.find(':', first + 1);
    if (first == std::string::npos || second == std::string::npos || first == 0 || first >= IFNAMSIZ) {
        return false;
    }
    link.interface = text.substr(0, first);
    link.peer.sin_family = AF_INET;
    link.peer.sin_port = htons(discard_port);
    link.bytes_per_second = strtod(text.c_str() + second + 1, nullptr) * 1000 / 8;
    return inet_pton(AF_INET, text.substr(first + 1, second - first - 1).c_str(), &link.peer.sin_addr) == 1 &&
           link.bytes_per_second > 0;
}

/// The discard port of this side: open, so that nobody is told that it is closed, and never read.
bool open_discard_port() {
    const int fd = socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0);
    const int least = 1;
    sockaddr_in any = {};
    any.sin_family = AF_INET;
    any.sin_port = htons(discard_port);
    setsockopt(fd, SOL_SOCKET, SO_RCVBUF, &least, sizeof least);
    return fd >= 0 && bind(fd, reinterpret_cast<const sockaddr*>(&any), sizeof any) == 0;
}

/// The longest payload that an interface takes in one frame; 0: no such interface.
size_t longest_payload(int fd, const std::string& interface) {
    ifreq request = {};
    memcpy(request.ifr_name, interface.c_str(), interface.size());
    if (ioctl(fd, SIOCGIFMTU, &request) != 0 || request.ifr_mtu < 128) {
        return 0;
    }
    return std::min(static_cast<size_t>(request.ifr_mtu), largest_mtu) - ip_and_udp_header;
}

int open_link(traffic_link& link) {
    const int fd = socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0);
    if (fd < 0) {
        return -1;
    }
    link.payload = longest_payload(fd, link.interface);
    const auto length = static_cast<socklen_t>(link.interface.size());
    if (link.payload > 0 && setsockopt(fd, SOL_SOCKET, SO_BINDTODEVICE, link.interface.c_str(), length) == 0 &&
        connect(fd, reinterpret_cast<const sockaddr*>(&link.peer), sizeof link.peer) == 0) {
        return fd;
    }
    close(fd);
    return -1;
}

/// The share of a link's rate at a time: two waves of the link's own.
double lively_share(size_t which, double seconds) {
    const double slow = std::sin(seconds / (9 + static_cast<double>(which)) + static_cast<double>(which));
    const double fast = std::sin(seconds / 2.3 + 2 * static_cast<double>(which));
    return std::clamp(0.45 + 0.45 * slow + 0.1 * fast, 0.01, 1.0);
}

double current_rate(const traffic_link& link, size_t which, pattern shape, double seconds) {
    switch (shape) {
    case pattern::known:
        return 1e6 / 8;
    case pattern::quiet:
        return link.bytes_per_second / 100;
    case pattern::lively:
        break;
    }
    return link.bytes_per_second * lively_share(which, seconds);
}

/// Sends what is due, but not more than `most` bytes. False when the link is gone: its socket is of no use any more.
bool send_due(traffic_link& link, double most) {
    static const char payload[largest_mtu] = {};
    const auto frame = static_cast<double>(ethernet_header + ip_and_udp_header + link.payload);
    for (auto left = static_cast<size_t>(std::min(link.credit, most + frame) / frame); left > 0; --left) {
        if (send(link.fd, payload, link.payload, MSG_NOSIGNAL) < 0) {
            return errno == EAGAIN || errno == ENOBUFS || errno == ENOMEM;
        }
        link.credit -= frame;
    }
    return true;
}

/// One tick of a link whose rate is `rate` bytes a second and which has gone on for `passed` seconds.
void drive(traffic_link& link, double rate, double passed, double seconds) {
    if (link.fd < 0 && seconds >= link.next_try) {
        link.fd = open_link(link);
        link.next_try = seconds + 1;
        link.credit = 0;
    }
    if (link.fd < 0) {
        return;
    }
    link.credit += rate * passed;
    if (!send_due(link, rate * most_at_once)) {
        close(link.fd);
        link.fd = -1;
    }
}

/// Keeps so many sockets open as a router's users might have connections.
void keep_open(std::vector<int>& sockets, size_t wanted) {
    while (sockets.size() > wanted) {
        close(sockets.back());
        sockets.pop_back();
    }
    while (sockets.size() < wanted) {
        const int fd = socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0);
        sockaddr_in self = {};
        self.sin_family = AF_INET;
        self.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        if (fd < 0 || bind(fd, reinterpret_cast<const sockaddr*>(&self), sizeof self) != 0) {
            close(fd);
            return;
        }
        sockets.push_back(fd);
    }
}

void wait_for_tick(timespec& next) {
    next.tv_nsec += 1'000'000'000 / ticks_per_second;
    if (next.tv_nsec >= 1'000'000'000) {
        next.tv_nsec -= 1'000'000'000;
        next.tv_sec += 1;
    }
    while (clock_nanosleep(CLOCK_MONOTONIC, TIMER_ABSTIME, &next, nullptr) == EINTR) {
    }
}

[[noreturn]] void play(std::vector<traffic_link>& links, pattern shape) {
    std::vector<int> sockets;
    timespec next = {};
    clock_gettime(CLOCK_MONOTONIC, &next);
    double last = now();
    for (;;) {
        wait_for_tick(next);
        const double seconds = now();
        const double passed = std::min(seconds - last, longest_hold_up);
        last = seconds;
        for (size_t which = 0; which < links.size(); ++which) {
            drive(links[which], current_rate(links[which], which, shape, seconds), passed, seconds);
        }
        if (shape == pattern::lively) {
            keep_open(sockets, static_cast<size_t>(40 + 30 * std::sin(seconds / 20)));
        }
    }
}

bool parse_pattern(const char* text, pattern& shape) {
    const std::string word = text;
    shape = word == "quiet" ? pattern::quiet : word == "known" ? pattern::known : pattern::lively;
    return word == "quiet" || word == "known" || word == "lively";
}

} // namespace

int main(int count, char** values) {
    pattern shape = pattern::lively;
    std::vector<traffic_link> links;
    bool understood = count > 2 && parse_pattern(values[1], shape);
    for (int i = 2; understood && i < count; ++i) {
        links.emplace_back();
        understood = parse_link(values[i], links.back());
    }
    if (!understood) {
        fputs(help_text, stderr);
        return 2;
    }
    if (!open_discard_port()) {
        fprintf(stderr, "play_traffic: can't open the discard port: %s\n", strerror(errno));
        return 1;
    }
    // Users are nobody of the router's own: they get what its programs leave.
    [[maybe_unused]] const int niceness = nice(10);
    play(links, shape);
}
