// The status for people.
#include "ctl/ctl_text.h"
#include "ctl/screen.h"

#include <algorithm>
#include <ctime>

namespace dashboard {

namespace {

constexpr int indent = 11;      // columns before what a line says
constexpr int wide_enough = 72; // columns from which the ages of the series are shown, too

std::string since_text(int64_t now, int64_t age) {
    const time_t start = static_cast<time_t>(now - age);
    tm broken_down = {};
    char text[32];
    localtime_r(&start, &broken_down);
    strftime(text, sizeof text, "%Y-%m-%d %H:%M:%S", &broken_down);
    return text;
}

std::string lock_text(const daemon_look& daemon) {
    switch (daemon.lock) {
    case lock_state::held:
        return text_of("held (%s)", pid_lock_file);
    case lock_state::no_file:
        return daemon.pid != 0 ? "none: process 1 started the daemon directly" : "none";
    case lock_state::stale:
        return daemon.pid != 0 ? "none: process 1 started the daemon directly (an older PID file is left)"
                               : "free: the PID file is left from an earlier daemon";
    case lock_state::unreadable:
        break;
    }
    return "not known: only root may look";
}

std::string process_text(const status_look& status) {
    const daemon_look& daemon = status.daemon;
    if (daemon.pid == 0) {
        return "none";
    }
    return text_of("%d, up %s, since %s, %d threads", static_cast<int>(daemon.pid),
                   age_text(daemon.process.age).c_str(), since_text(status.now, daemon.process.age).c_str(),
                   daemon.process.threads);
}

std::string store_text(const store_look& store) {
    if (!store.reachable) {
        return "cannot be opened";
    }
    std::string text = store.enable == 1 ? "open, daemon switched on" : "open, daemon switched off";
    switch (store.log_mode) {
    case unset_item:
    case 0:
        break;
    case 2:
        text += ", messages to the console";
        break;
    case 3:
        text += ", messages to the system log";
        break;
    default:
        text += ", no messages";
    }
    return text;
}

std::string documents_text(const status_look& status) {
    int64_t size = 0;
    size_t broken = 0;
    size_t unlinked = 0;
    for (const document_state& document : status.documents) {
        size += document.size;
        broken += document.content.fault.empty() ? 0U : 1U;
        unlinked += document.linked ? 0U : 1U;
    }
    std::string text = text_of("%zu in /tmp/dashboard, %s", status.documents.size(), size_text(size).c_str());
    text += broken == 0 ? ", all whole" : text_of(", %zu broken", broken);
    return unlinked == 0 ? text : text + text_of(", %zu not linked in /usr/www", unlinked);
}

std::string or_dash(int64_t age) {
    return age < 0 ? "-" : age_text(age);
}

std::string module_line(const status_look& status, size_t index, const screen_style& style) {
    const module_look& module = status.modules[index];
    std::string state = text_of("%-15s", module_state_text(status, index).c_str());
    if (module.watched) {
        state = coloured(style, module.lost == 0 ? tone::good : tone::caution, state);
    } else if (module.enable == 0 || module.enable == unset_item) {
        state = coloured(style, tone::faint, state);
    }
    const bool timed = module.newest_age >= 0;
    const std::string lost = timed ? text_of("%d", module.lost) : "-";
    std::string line = text_of("%-10s ", module_table[index].label) + state;
    line += text_of(" %7s %4s", or_dash(module.newest_age).c_str(), lost.c_str());
    if (style.width >= wide_enough) {
        const std::string size = module.documents > 0 ? size_text(module.size) : "-";
        line += text_of(" %7s %7s %7s %9s", or_dash(module.series_age[0]).c_str(),
                        or_dash(module.series_age[1]).c_str(), or_dash(module.series_age[2]).c_str(), size.c_str());
    }
    return line + "\n";
}

/// Lines after the first begin under it.
std::string row(const char* name, const std::string& text, const screen_style& style) {
    std::string shown = text_of("%-10s ", name) + wrapped(text, style.width - indent, 0) + "\n";
    const std::string margin(indent, ' ');
    for (size_t at = shown.find('\n'); at + 1 < shown.size(); at = shown.find('\n', at + 1)) {
        shown.insert(at + 1, margin);
    }
    return shown;
}

std::string warning_rows(const status_look& status, const screen_style& style) {
    if (status.warnings_from.empty()) {
        return row("warnings", "no system log here that could be read", style);
    }
    if (status.warnings.empty()) {
        return row("warnings", "none in " + status.warnings_from, style);
    }
    std::string shown = row("warnings", "the last in " + status.warnings_from + ":", style);
    for (const std::string& warning : status.warnings) {
        shown += fitted("  " + warning, style.width) + "\n";
    }
    return shown;
}

} // namespace

std::string status_text(const status_look& status, const screen_style& style) {
    constexpr tone tones[] = {tone::good, tone::caution, tone::bad};
    const std::string version = status.daemon.version.empty() ? "" : " " + status.daemon.version;
    std::string shown =
        "dashboard" + version + ": " + coloured(style, tones[status.verdict], verdict_text(status.verdict)) + "\n";
    for (const std::string& problem : status.problems) {
        shown += coloured(style, tone::caution, "  - " + wrapped(problem, style.width - 4, 4)) + "\n";
    }
    shown += row("process", process_text(status), style);
    shown += row("lock", lock_text(status.daemon), style);
    shown += row("store", store_text(status.store), style);
    shown += row("documents", documents_text(status), style);
    shown += warning_rows(status, style);
    std::string heading = text_of("%-10s %-15s %7s %4s", "MODULE", "STATE", "NEWEST", "LOST");
    if (style.width >= wide_enough) {
        heading += text_of(" %7s %7s %7s %9s", "SEC", "MIN", "HOUR", "SIZE");
    }
    shown += "\n" + coloured(style, tone::faint, heading) + "\n";
    for (size_t i = 0; i < module_total; ++i) {
        shown += module_line(status, i, style);
    }
    return shown;
}

} // namespace dashboard
