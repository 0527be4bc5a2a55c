// A small web server on the loopback interface: one thread, many connections that stay open, GET only.
#ifndef FLEET_SIMULATOR_HTTP_SERVER_H
#define FLEET_SIMULATOR_HTTP_SERVER_H

#include <cstdint>
#include <functional>
#include <map>
#include <string>

namespace dashboard {

struct http_answer {
    /// 0: the connection is closed without a word, as that of a machine that is gone.
    int status;
    std::string type;
    std::string body;
    /// Seconds until it is sent.
    int64_t delay;
};

class http_server {
public:
    /// Called with the path of a request, without its query.
    using handler = std::function<void(const std::string& path, http_answer& answer)>;

    explicit http_server(handler answers) : answerer(std::move(answers)) {}
    ~http_server();
    http_server(const http_server&) = delete;
    http_server& operator=(const http_server&) = delete;

    /// Listens at a port of 127.0.0.1, 0 for any. Returns the port, or -1 with `errno` set.
    int listen_at(uint16_t port);

    /// Serves until `stop` is called from a signal handler or a callback. Returns false when waiting fails.
    bool serve();

    void stop() { is_stopped = 1; }

private:
    void accept_all();
    void receive(int fd);
    bool answer_requests(int fd, std::string& received);
    bool answer_one(int fd, const std::string& request);
    void send_late();
    void drop(int fd);

    handler answerer;
    int listener_fd = -1;
    int epoll_fd = -1;
    volatile int is_stopped = 0;
    http_answer last_answer{};
    std::map<int, std::string> open_connections;
    /// Answers that wait, by the second of the monotonic clock at which they are sent; one a connection.
    struct late_answer {
        int fd;
        std::string text;
    };
    std::multimap<int64_t, late_answer> late_answers;
};

} // namespace dashboard

#endif
