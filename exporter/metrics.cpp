// dashboard-metrics: the router's figures for Prometheus, as a program behind the web server (CGI/1.1) or once on
// standard output. Nothing stays behind. docs/metrics.md is about all of it.
#include "base/dashboard_version.h"
#include "exporter/answer.h"
#include "exporter/metric_table.h"
#include "exporter/text_buffer.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <unistd.h>

namespace dashboard {

namespace {

/// Seconds until the program ends itself.
constexpr unsigned patience = 5;
constexpr int wrong_command = 2;

constexpr char usage[] = "Usage: dashboard-metrics [--openmetrics] [--renew] [--markdown | --version | --help]\n"
                         "\n"
                         "Prints the router's metrics once, or answers a web server's request (as /cgi-bin/metrics).\n"
                         "\n"
                         "  --openmetrics  in OpenMetrics instead of the Prometheus text format\n"
                         "  --renew        asks the daemon to publish for the next minute, too\n"
                         "  --markdown     prints the table of metrics\n"
                         "  --version      prints the version\n"
                         "  --help         prints this text\n";

int send(const text_buffer& out) {
    return !out.failed && write_whole(STDOUT_FILENO, out.view()) ? 0 : 1;
}

int print_once(int count, char** words) {
    exposition_format format = exposition_format::prometheus;
    bool renew = false;
    text_buffer out;
    for (int i = 1; i < count; ++i) {
        if (strcmp(words[i], "--openmetrics") == 0) {
            format = exposition_format::openmetrics;
        } else if (strcmp(words[i], "--renew") == 0) {
            renew = true;
        } else if (strcmp(words[i], "--markdown") == 0) {
            add_markdown(out);
            return send(out);
        } else if (strcmp(words[i], "--version") == 0) {
            printf("dashboard-metrics %s\n", version_of_dashboard());
            return fflush(stdout) == 0 ? 0 : 1;
        } else if (strcmp(words[i], "--help") == 0) {
            out.add(usage);
            return send(out);
        } else {
            fprintf(stderr, "dashboard-metrics: unknown option '%s' (see --help)\n", words[i]);
            return wrong_command;
        }
    }
    add_router_here(format, renew, false, out);
    return send(out);
}

} // namespace

} // namespace dashboard

int main(int count, char** words) {
    alarm(dashboard::patience);
    // A web server may hand over the words of a query as arguments: they mean nothing there.
    if (getenv("REQUEST_METHOD") == nullptr) {
        return dashboard::print_once(count, words);
    }
    dashboard::text_buffer out;
    dashboard::add_answer(out);
    return dashboard::send(out);
}
