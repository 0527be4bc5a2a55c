// play_router: what a router's other programs do for the daemon, on a machine that is no router. It writes the records
// of access points and the items of SIM slots once a second until it is ended. play_router(8) is its manual.
#include "platform/host/csman_items.h"
#include "platform/host/csman_store.h"
#include "platform/host/csmanctl_text.h"
#include "platform/host/play_options.h"
#include "platform/host/router_play.h"

#include <cerrno>
#include <climits>
#include <csignal>
#include <cstdio>
#include <cstring>
#include <ctime>
#include <fcntl.h>
#include <string>
#include <sys/stat.h>
#include <unistd.h>
#include <vector>

namespace dashboard {

namespace {

constexpr int done = 0;
constexpr int failed = 1;
constexpr int misused = 2;

constexpr char help_text[] =
    "Usage: play_router [OPTION]...\n"
    "Plays what a router's other programs do for the dashboard: writes the records of access points and the signals of\n"
    "SIM slots into the configuration store, once a second until it is ended.\n"
    "\n"
    "  --access-points N   so many, 0 to 128 (else 2)\n"
    "  --sims N            so many SIM slots, 0 to 2 (else 2)\n"
    "  --interface NAME    access points count what this network interface counts (else made-up traffic)\n"
    "  --away SECONDS      each access point is away in the last third of every SECONDS, 3 to 86400; they take turns\n"
    "  --restart SECONDS   each access point begins to count at 0 every SECONDS, 1 to 86400; they take turns\n"
    "  --folder DIR        where the records go (else /tmp/aptraffic); made when it is missing\n"
    "  --rounds N          end after N rounds (else at SIGINT, SIGTERM or SIGHUP)\n"
    "  --help              this text\n"
    "\n"
    "The store is the directory CSMAN_DIR, or /run/csman.\n"
    "Exit status: 0 ended as asked; 1 failed; 2 the command line is wrong.\n";

int fail(const std::string& what, int error) {
    fprintf(stderr, "play_router: %s: %s\n", what.c_str(), strerror(error));
    return failed;
}

// ---- What is written

/// 0, or an error number. The folder is in one that everybody may write to: no link is followed.
int write_file(const std::string& path, const std::string& text) {
    const int fd = open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC | O_NOFOLLOW | O_NOCTTY, 0644);
    if (fd < 0) {
        return errno;
    }
    const ssize_t written = write(fd, text.data(), text.size());
    const int error = written < 0 ? errno : static_cast<size_t>(written) < text.size() ? ENOSPC : 0;
    close(fd);
    return error;
}

/// The record is written under another name and renamed, so that a reader finds a whole one.
int write_record(const std::string& folder, int index, const access_point_state& point) {
    const std::string path = folder + "/APTraffic_" + std::to_string(index);
    if (!point.there) {
        return unlink(path.c_str()) == 0 || errno == ENOENT ? done : fail(path, errno);
    }
    const std::string temporary = folder + "/APTraffic_tmp";
    const int error = write_file(temporary, access_point_record(index, point.total));
    if (error != 0) {
        unlink(temporary.c_str());
        return fail(temporary, error);
    }
    return rename(temporary.c_str(), path.c_str()) == 0 ? done : fail(path, errno);
}

int write_records(const std::string& folder, const std::vector<access_point_state>& points) {
    if (!points.empty() && mkdir(folder.c_str(), 0755) != 0 && errno != EEXIST) {
        return fail(folder, errno);
    }
    for (size_t at = 0; at < points.size(); ++at) {
        if (write_record(folder, static_cast<int>(at), points[at]) != done) {
            return failed;
        }
    }
    return done;
}

int write_items(int store, const std::vector<played_item>& items) {
    for (const played_item& item : items) {
        uint32_t csid = 0;
        store_item value = {};
        value.number = item.value;
        const int result = find_csid(item.name, csid) ? store_write(store, csid, value) : -ENOENT;
        if (result != 0) {
            return fail(std::string(store_path()) + ": " + item.name, -result);
        }
    }
    return done;
}

/// 0 where the interface is gone.
uint64_t read_counter(const std::string& interface, const char* name) {
    FILE* const file = fopen(("/sys/class/net/" + interface + "/statistics/" + name).c_str(), "re");
    if (file == nullptr) {
        return 0;
    }
    char text[32] = "";
    const bool read = fgets(text, sizeof text, file) != nullptr;
    fclose(file);
    unsigned long long value = 0;
    return read && parse_unsigned(std::string(text, strcspn(text, "\n")), ULLONG_MAX, value) ? value : 0;
}

// ---- Once a second

/// The signals that end the play, which are waited for and never caught, so that every round is a whole one. Blocked
/// ones wait even where they are ignored, as in the background of a script.
sigset_t ending_signals() {
    sigset_t signals;
    sigemptyset(&signals);
    for (const int number : {SIGINT, SIGTERM, SIGHUP}) {
        sigaddset(&signals, number);
    }
    return signals;
}

timespec monotonic_now() {
    timespec now = {};
    clock_gettime(CLOCK_MONOTONIC, &now);
    return now;
}

/// Waits until `second` seconds have passed since `start`. False when a signal asks for the end.
bool wait_for_second(const sigset_t& signals, const timespec& start, int64_t second) {
    for (;;) {
        const timespec now = monotonic_now();
        int64_t left = (start.tv_sec + second - now.tv_sec) * 1000000000 + (start.tv_nsec - now.tv_nsec);
        left = left > 0 ? left : 0;
        const timespec time_out = {static_cast<time_t>(left / 1000000000), static_cast<long>(left % 1000000000)};
        if (sigtimedwait(&signals, nullptr, &time_out) >= 0) {
            return false;
        }
        if (errno == EAGAIN) {
            return true;
        }
    }
}

int64_t seconds_since(const timespec& start) {
    const timespec now = monotonic_now();
    return now.tv_sec - start.tv_sec - (now.tv_nsec < start.tv_nsec ? 1 : 0);
}

int play_round(const play_options& options, access_point_play& play, int store, int64_t second) {
    if (options.interface.empty()) {
        play.make_up(second);
    } else {
        play.follow(second, {read_counter(options.interface, "tx_bytes"), read_counter(options.interface, "rx_bytes")});
    }
    const int written = write_records(options.folder, play.points());
    return written != done ? written : write_items(store, sim_items(options.plan.sim_slots, second));
}

int play(const play_options& options, int store) {
    const sigset_t signals = ending_signals();
    sigprocmask(SIG_BLOCK, &signals, nullptr);
    const timespec start = monotonic_now();
    access_point_play access_points(options.plan);
    int64_t second = 0;
    for (unsigned long long round = 1;; ++round) {
        const int result = play_round(options, access_points, store, second);
        if (result != done || round == options.rounds || !wait_for_second(signals, start, second + 1)) {
            return result;
        }
        second = seconds_since(start);
    }
}

int run(const std::vector<std::string>& given) {
    if (given.size() == 1 && (given[0] == "--help" || given[0] == "-h")) {
        fputs(help_text, stdout);
        return fflush(stdout) == 0 ? done : fail("the output", errno);
    }
    play_options options;
    std::string why;
    if (!parse_play_options(given, options, why)) {
        fprintf(stderr, "play_router: %s\nTry 'play_router --help'.\n", why.c_str());
        return misused;
    }
    const int store = store_open(store_path());
    if (store < 0) {
        return fail(std::string("can't open the store ") + store_path(), -store);
    }
    const int result = play(options, store);
    store_close(store);
    return result;
}

} // namespace

} // namespace dashboard

int main(int count, char** values) {
    return dashboard::run(std::vector<std::string>(values + 1, values + count));
}
