// viewer: the page's one program on the router. It takes requests for graphs through the web server (CGI/1.1), writes
// their numbers into the configuration store, and says in JSON how things stand. docs/viewer.md is about all of it.
//
// Everything is looked at before anything is written. Nothing from a request reaches a shell, a path or the answer.
#include "platform/csman.h"
#include "viewer/cgi/viewer_request.h"

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <dlfcn.h>
#include <unistd.h>

namespace dashboard {

namespace {

/// Seconds until the program ends itself: a client that takes longer for so short a body gets no answer.
constexpr unsigned patience = 5;

request_head read_head() {
    return {getenv("REQUEST_METHOD"),
            getenv("HTTP_X_REQUESTED_WITH"),
            getenv("HTTP_SEC_FETCH_SITE"),
            getenv("HTTP_ORIGIN"),
            getenv("HTTP_HOST"),
            getenv("HTTPS"),
            getenv("HTTP_TRANSFER_ENCODING"),
            getenv("CONTENT_LENGTH")};
}

/// Reads exactly `length` bytes. False when there are fewer.
bool read_body(char* body, size_t length) {
    size_t filled = 0;
    while (filled < length) {
        const ssize_t got = read(STDIN_FILENO, body + filled, length - filled);
        if (got == 0 || (got < 0 && errno != EINTR)) {
            return false;
        }
        filled += got > 0 ? static_cast<size_t>(got) : 0;
    }
    return true;
}

/// Whether the store is the stand-in of a development machine, which says so by a name that no router's library has.
bool store_is_stand_in() {
    return dlsym(RTLD_DEFAULT, "csman_stand_in") != nullptr;
}

/// Modules are switched on by the page only where the store is the stand-in, and only when the operator said so: the
/// environment is the server's own, a request can't set this name.
bool may_enable() {
    const char* const said = getenv("DASHBOARD_VIEWER_ENABLE");
    return said != nullptr && strcmp(said, "1") == 0 && store_is_stand_in();
}

/// Seconds east of UTC, by the router's own zone.
long zone_offset(time_t now) {
    tm local = {};
    localtime_r(&now, &local);
    return local.tm_gmtoff;
}

const char* word(bool truth) {
    return truth ? "true" : "false";
}

void print_head(int status, const char* reason) {
    printf("Status: %d %s\r\n", status, reason);
    fputs("Content-Type: application/json\r\n"
          "Cache-Control: no-store\r\n"
          "X-Content-Type-Options: nosniff\r\n",
          stdout);
    fputs(status == refused_method.status ? "Allow: POST\r\n\r\n" : "\r\n", stdout);
}

void print_refusal(const refusal& why) {
    print_head(why.status, why.reason);
    printf("{\"ok\":false,\"error\":\"%s\"}\n", why.word);
}

void print_state(int store, const graph_request& request) {
    const time_t now = time(nullptr);
    print_head(200, "OK");
    printf("{\"ok\":true,\"time\":%lld,\"offset\":%ld,\"stand_in\":%s,\"may_enable\":%s,\"enabled\":%s,\"modules\":[",
           static_cast<long long>(now), zone_offset(now), word(store_is_stand_in()), word(may_enable()),
           word(reads_one(store, daemon_enable_csid)));
    for (size_t index = 0; index < module_total; ++index) {
        const module_names& module = module_table[index];
        printf("%s{\"name\":\"%s\",\"on\":%s,\"left\":%d}", index > 0 ? "," : "", module.items,
               word(reads_one(store, module.enable_csid)), request.number[index] != 0 ? request_lasts : 0);
    }
    puts("]}");
}

const refusal* take_request(graph_request& request) {
    size_t length = 0;
    const refusal* refused = check_head(read_head(), length);
    char body[body_limit];
    if (refused == nullptr && !read_body(body, length)) {
        refused = &refused_body;
    }
    if (refused == nullptr) {
        refused = parse_body({body, length}, request);
    }
    if (refused == nullptr && request.enable >= 0 && !may_enable()) {
        refused = &refused_enable;
    }
    return refused;
}

void answer() {
    graph_request request = {};
    const refusal* refused = take_request(request);
    if (refused != nullptr) {
        print_refusal(*refused);
        return;
    }
    const int store = open_csman(0, 0);
    if (store < 0) {
        print_refusal(refused_store);
        return;
    }
    if (write_request(store, request)) {
        print_state(store, request);
    } else {
        print_refusal(refused_store);
    }
    close_csman(store);
}

} // namespace

} // namespace dashboard

int main() {
    alarm(dashboard::patience);
    dashboard::answer();
    return fflush(stdout) == 0 && ferror(stdout) == 0 ? 0 : 1;
}
