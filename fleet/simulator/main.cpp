// fleet_routers: a fleet of simulated routers in one process. It serves the metrics of each, made by the exporter's own
// code of recorded documents whose numbers are advanced, or writes down an hour of them at once.
#include "fleet/simulator/fleet.h"
#include "fleet/simulator/history.h"
#include "fleet/simulator/http_server.h"
#include "fleet/simulator/inventory.h"

#include <cerrno>
#include <climits>
#include <csignal>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

namespace dashboard {

namespace {

constexpr int done = 0;
constexpr int failed = 1;
constexpr int misused = 2;

constexpr char help_text[] =
    "Usage: fleet_routers --recorded FOLDER [OPTION]...\n"
    "Serves the metrics of a simulated fleet of routers on 127.0.0.1, each under /INDEX/cgi-bin/metrics; /targets lists them\n"
    "for Prometheus.\n"
    "\n"
    "  --recorded FOLDER   the recorded documents\n"
    "  --routers N         so many, 1 to 100000 (else 200)\n"
    "  --life FILE         what happens to them (else nothing)\n"
    "  --port N            where to serve (else any free port); the address is printed first\n"
    "  --epoch SECONDS     the fleet starts at this second of the wall clock (else now)\n"
    "  --history SECONDS   serve nothing: write to standard output, as OpenMetrics text, what a server would have scraped\n"
    "                      in so many seconds since the fleet's start\n"
    "  --step SECONDS      the distance of those scrapes (else 15)\n"
    "  --truth-step SECONDS  the distance of what is written of the truth (else the same)\n"
    "  --help              this text\n"
    "\n"
    "Exit status: 0 ended as asked; 1 failed; 2 the command line is wrong.\n";

struct options {
    std::string recorded;
    std::string life;
    int64_t routers = 200;
    int64_t port = 0;
    int64_t epoch = 0;
    int64_t history = -1;
    int64_t step = 15;
    int64_t truth_step = 0;
};

struct number_option {
    const char* name;
    int64_t options::*number;
    int64_t least;
    int64_t most;
};

constexpr number_option number_options[] = {
    {"--routers", &options::routers, 1, 100000}, {"--port", &options::port, 0, 65535},
    {"--epoch", &options::epoch, 1, UINT32_MAX}, {"--history", &options::history, 1, 1000000},
    {"--step", &options::step, 1, 3600},         {"--truth-step", &options::truth_step, 1, 3600},
};

int complain(const std::string& what, int status) {
    fprintf(stderr, "fleet_routers: %s\n", what.c_str());
    return status;
}

bool set_number(const number_option& option, const char* value, options& set) {
    char* end = nullptr;
    errno = 0;
    const long long number = strtoll(value, &end, 10);
    if (end == value || *end != '\0' || errno != 0 || number < option.least || number > option.most) {
        return false;
    }
    set.*option.number = number;
    return true;
}

bool set_option(const std::string& name, const char* value, options& set) {
    if (name == "--recorded" || name == "--life") {
        (name == "--life" ? set.life : set.recorded) = value;
        return true;
    }
    for (const number_option& option : number_options) {
        if (name == option.name) {
            return set_number(option, value, set);
        }
    }
    return false;
}

bool read_options(int argc, char** argv, options& set) {
    for (int i = 1; i + 1 < argc; i += 2) {
        if (!set_option(argv[i], argv[i + 1], set)) {
            return false;
        }
    }
    return argc % 2 == 1 && !set.recorded.empty();
}

// ---- Serving

http_server* served = nullptr;

void stop_serving(int /*signal*/) {
    served->stop();
}

/// The router whose metrics lie under a path; null when there is none.
const simulated_router* router_at(const fleet& routers, const std::string& path) {
    const size_t index = static_cast<size_t>(strtoul(path.c_str() + 1, nullptr, 10));
    if (index >= routers.routers().size() || path != metrics_path(routers.routers()[index])) {
        return nullptr;
    }
    return &routers.routers()[index];
}

void answer_metrics(const fleet& routers, const simulated_router& router, http_answer& answer) {
    const int64_t t = time(nullptr) - routers.epoch();
    if (!router.answers(t)) {
        answer.status = 0;
        return;
    }
    answer.status = 200;
    answer.delay = router.answer_time(t);
    answer.type = "application/openmetrics-text; version=1.0.0; charset=utf-8";
    routers.append_metrics(router, t, exposition_format::openmetrics, answer.body);
}

int serve(const fleet& routers, uint16_t wanted) {
    std::string address;
    http_server server([&](const std::string& path, http_answer& answer) {
        const simulated_router* const router = path.size() > 1 ? router_at(routers, path) : nullptr;
        if (router != nullptr) {
            answer_metrics(routers, *router, answer);
        } else if (path == "/targets") {
            answer = {200, "application/json", inventory(routers, time(nullptr) - routers.epoch(), address), 0};
        }
    });
    const int port = server.listen_at(wanted);
    if (port < 0) {
        return complain("port " + std::to_string(wanted) + ": " + strerror(errno), failed);
    }
    address = "127.0.0.1:" + std::to_string(port);
    served = &server;
    signal(SIGTERM, stop_serving);
    signal(SIGINT, stop_serving);
    printf("http://%s/\n", address.c_str());
    fflush(stdout);
    return server.serve() ? done : complain(strerror(errno), failed);
}

// ---- Starting

std::string read_life_file(const std::string& path, happenings& life) {
    if (path.empty()) {
        return "";
    }
    std::ifstream in(path);
    const std::string text((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
    if (!in) {
        return path + ": can't be read";
    }
    const std::string wrong = read_life(text, life);
    return wrong.empty() ? "" : path + ": " + wrong;
}

int run(const options& set) {
    happenings life;
    std::vector<recorded_document> documents;
    std::string wrong = read_life_file(set.life, life);
    if (wrong.empty()) {
        wrong = read_documents(set.recorded, documents);
    }
    if (!wrong.empty()) {
        return complain(wrong, failed);
    }
    const int64_t epoch = set.epoch == 0 ? static_cast<int64_t>(time(nullptr)) : set.epoch;
    const fleet routers(static_cast<int>(set.routers), life, std::move(documents), epoch);
    if (set.history < 0) {
        return serve(routers, static_cast<uint16_t>(set.port));
    }
    const history_span span = {set.history, set.step, set.truth_step == 0 ? set.step : set.truth_step};
    return write_history(routers, span, stdout) ? done : complain(strerror(errno), failed);
}

} // namespace

} // namespace dashboard

int main(int argc, char** argv) {
    using namespace dashboard;
    if (argc == 2 && strcmp(argv[1], "--help") == 0) {
        fputs(help_text, stdout);
        return done;
    }
    options set;
    return read_options(argc, argv, set) ? run(set) : complain("see --help", misused);
}
