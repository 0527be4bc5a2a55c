#include "ctl/doctor.h"

#include "ctl/ctl_text.h"
#include "ctl/screen.h"

#include <cstdio>
#include <cstdlib>

namespace dashboard {

namespace {

/// What counts is what the daemon finds, not what the administrator's shell does: without a daemon, what it would find
/// where its own folder of tools is installed.
void take_path_of(const daemon_look& daemon) {
    constexpr char own_tools[] = "/usr/lib/dashboard/bin";
    const char* const shell_path = getenv("PATH");
    std::string path = daemon.pid != 0 ? variable_of(daemon.pid, "PATH") : "";
    if (path.empty() && !names_in(own_tools).empty()) {
        path = text_of("%s:%s", own_tools, shell_path != nullptr ? shell_path : "/usr/sbin:/usr/bin:/sbin:/bin");
    }
    if (!path.empty()) {
        setenv("PATH", path.c_str(), 1);
    }
    setenv("LC_ALL", "C", 1);
}

void check_daemon(const status_look& status, findings& list) {
    if (status.verdict == not_running) {
        list.push_back({grade::wrong, "no daemon runs", "/etc/init.d/dashboard start"});
        return;
    }
    list.push_back({grade::good, text_of("the daemon runs: process %d", static_cast<int>(status.daemon.pid)), ""});
    if (status.daemon.process.threads != daemon_threads) {
        list.push_back(
            {grade::wrong,
             text_of("%d of its threads live, there should be %d", status.daemon.process.threads, daemon_threads),
             "wait ten seconds; then /etc/init.d/dashboard restart"});
    }
}

} // namespace

std::string finding_text(const finding& one, bool colours, int width) {
    const screen_style style = {colours, width};
    std::string mark = coloured(style, tone::good, "ok   ");
    if (one.how == grade::note) {
        mark = coloured(style, tone::caution, "note ");
    } else if (one.how == grade::wrong) {
        mark = coloured(style, tone::bad, "WRONG");
    }
    std::string shown = mark + " " + wrapped(one.text, width - 6, 0) + "\n";
    for (size_t at = shown.find('\n'); at + 1 < shown.size(); at = shown.find('\n', at + 1)) {
        shown.insert(at + 1, "      ");
    }
    // A command is not broken: it is there to be copied.
    return one.remedy.empty() ? shown : shown + "      mend: " + one.remedy + "\n";
}

int run_doctor() {
    const status_look status = look_at_status(nullptr);
    take_path_of(status.daemon);
    findings list;
    check_daemon(status, list);
    check_tools(status, list);
    check_places(status, list);
    check_store(status, list);
    const screen_style style = style_of_output();
    int wrong = 0;
    for (const finding& one : list) {
        wrong += one.how == grade::wrong ? 1 : 0;
        fputs(finding_text(one, style.colours, style.width).c_str(), stdout);
    }
    printf("%d of %zu wrong\n", wrong, list.size());
    return wrong == 0 ? healthy : degraded;
}

} // namespace dashboard
