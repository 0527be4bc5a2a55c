// dashboardctl: how the dashboard does, for people and for programs. dashboardctl(8) is its manual.
#include "base/dashboard_version.h"
#include "ctl/ctl_text.h"
#include "ctl/doctor.h"
#include "ctl/screen.h"

#include <cstdio>
#include <cstring>
#include <unistd.h>

namespace dashboard {

namespace {

constexpr char help_text[] =
    "Usage: dashboardctl status [--json] [--watch]\n"
    "       dashboardctl doctor\n"
    "       dashboardctl version\n"
    "Shows how the dashboard daemon does.\n"
    "\n"
    "  status    its process, store, modules, documents and last warnings\n"
    "    --json    for programs\n"
    "    --watch   again every two seconds, until interrupted\n"
    "  doctor    what the daemon needs of this machine: what is wrong, and what mends it\n"
    "  version   of this tool, of the daemon that runs and of the one that is installed\n"
    "\n"
    "Exit status: 0 healthy; 1 degraded, or something is wrong; 2 no daemon runs; 3 the command\n"
    "line is wrong.\n";

constexpr unsigned watch_period = 2; // seconds
constexpr char installed_daemon[] = "/usr/sbin/dashboard";

struct status_options {
    bool json = false;
    bool watch = false;
};

int refuse(const char* what) {
    fprintf(stderr, "dashboardctl: %s; see dashboardctl --help\n", what);
    return wrong_command;
}

void show(const status_look& status, const status_options& options) {
    const screen_style style = style_of_output();
    if (options.watch && isatty(STDOUT_FILENO) != 0) {
        fputs("\033[H\033[2J", stdout);
    }
    fputs(options.json ? status_json(status).c_str() : status_text(status, style).c_str(), stdout);
    if (options.watch && isatty(STDOUT_FILENO) == 0 && !options.json) {
        fputc('\n', stdout);
    }
}

/// Until it is interrupted, or nobody reads it any more; then the last verdict counts.
int run_status(const status_options& options) {
    status_look status = look_at_status(nullptr);
    show(status, options);
    // A terminal is written to line by line: when it has gone, nothing may be left that a flush would fail with.
    while (options.watch && fflush(stdout) == 0 && ferror(stdout) == 0) {
        sleep(watch_period);
        status = look_at_status(&status);
        show(status, options);
    }
    return status.verdict;
}

int run_version() {
    const daemon_look daemon = look_at_daemon();
    printf("dashboardctl %s\n", version_of_dashboard());
    if (daemon.pid != 0) {
        printf("running: dashboard %s (process %d)\n",
               daemon.version.empty() ? "of unknown version" : daemon.version.c_str(), static_cast<int>(daemon.pid));
    }
    const std::string installed = version_in(installed_daemon);
    if (!installed.empty()) {
        printf("installed: dashboard %s (%s)\n", installed.c_str(), installed_daemon);
    }
    return 0;
}

int run_status_words(int count, char** words) {
    status_options options;
    for (int i = 0; i < count; ++i) {
        if (strcmp(words[i], "--json") == 0) {
            options.json = true;
        } else if (strcmp(words[i], "--watch") == 0) {
            options.watch = true;
        } else {
            return refuse(text_of("unknown option '%s'", words[i]).c_str());
        }
    }
    return run_status(options);
}

int run(int argc, char** argv) {
    if (argc < 2) {
        return refuse("no command");
    }
    const std::string command = argv[1];
    if (command == "status") {
        return run_status_words(argc - 2, argv + 2);
    }
    if (command == "--help" || command == "-h" || command == "help") {
        fputs(help_text, stdout);
        return 0;
    }
    if (command != "doctor" && command != "version" && command != "--version") {
        return refuse(text_of("unknown command '%s'", argv[1]).c_str());
    }
    if (argc > 2) {
        return refuse(text_of("%s takes no options", argv[1]).c_str());
    }
    return command == "doctor" ? run_doctor() : run_version();
}

} // namespace

} // namespace dashboard

int main(int argc, char** argv) {
    return dashboard::run(argc, argv);
}
