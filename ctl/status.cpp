#include "ctl/status.h"

#include "ctl/ctl_text.h"
#include "ctl/log_tail.h"
#include "platform/csman.h"

#include <algorithm>
#include <ctime>

namespace dashboard {

namespace {

constexpr uint32_t log_mode_csid = 0x00150781;
constexpr size_t last_warnings = 3;

/// Seconds after which a document that is rewritten every second (current traffic: every third) is no longer.
int64_t fresh_age(size_t module) {
    return module == current_module ? 5 : 2;
}

void look_at_store(status_look& status) {
    const int handle = open_csman(0, 0);
    status.store.reachable = handle >= 0;
    if (handle < 0) {
        return;
    }
    read_csman_int(handle, daemon_enable_csid, &status.store.enable);
    read_csman_int(handle, log_mode_csid, &status.store.log_mode);
    for (size_t i = 0; i < module_total; ++i) {
        read_csman_int(handle, module_table[i].enable_csid, &status.modules[i].enable);
        read_csman_int(handle, module_table[i].view_csid, &status.modules[i].view);
    }
    close_csman(handle);
}

/// Of several documents of a series the one written last stands for the module.
void look_at_one(module_look& module, const document_state& document, int64_t now) {
    int64_t& age = module.series_age[static_cast<int>(document.series)];
    ++module.documents;
    module.size += document.size;
    if (age >= 0 && document.age >= age) {
        return;
    }
    age = std::max<int64_t>(document.age, 0);
    if (document.series == series_kind::sec && !document.content.times.empty()) {
        module.newest_age = now - document.content.times.back();
        module.lost = lost_seconds(document.content.times);
    }
}

void judge_process(status_look& status) {
    std::vector<std::string>& problems = status.problems;
    if (status.daemon.process.threads != daemon_threads) {
        problems.push_back(text_of("%d threads live instead of %d: it is starting, or ending itself",
                                   status.daemon.process.threads, daemon_threads));
    }
    if (status.daemon.lock_lost) {
        problems.push_back(text_of("its PID file was removed: a second daemon could start; restart it"));
    }
    if (!status.store.reachable) {
        problems.emplace_back("the configuration store cannot be opened");
    } else if (status.store.enable != 1) {
        problems.emplace_back("dashboard.enable is not 1: no module runs");
    }
}

void judge_module(status_look& status, size_t index) {
    const module_look& module = status.modules[index];
    const char* const label = module_table[index].label;
    if (status.store.enable != 1 || module.enable == 0 || module.enable == unset_item) {
        return;
    }
    if (module.enable != 1) {
        status.problems.push_back(text_of("%s: %s.enable is %d: it takes samples only while that is 1", label,
                                          module_table[index].items, module.enable));
    } else if (module.watched && module.lost > 0) {
        status.problems.push_back(text_of("%s: %d of the last 60 seconds have no sample", label, module.lost));
    }
}

} // namespace

void look_at_modules(status_look& status, const status_look* before) {
    for (const document_state& document : status.documents) {
        look_at_one(status.modules[document.module], document, status.now);
    }
    for (size_t i = 0; i < module_total; ++i) {
        module_look& module = status.modules[i];
        const int64_t written = module.series_age[0];
        module.watched = module.enable == 1 && written >= 0 && written <= fresh_age(i) && module.newest_age >= 0 &&
                         status.daemon.pid != 0;
        if (i == current_module && written >= 0 && written <= fresh_age(i)) {
            module.watched = module.enable == 1 && status.daemon.pid != 0; // its document has no times
        }
        if (!module.watched || before == nullptr) {
            continue;
        }
        const module_look& earlier = before->modules[i];
        const int64_t passed = std::max<int64_t>(status.now - before->now, 0);
        module.watched_for = earlier.watched ? std::max<int64_t>(earlier.watched_for, 0) + passed : 0;
    }
}

void judge(status_look& status) {
    status.problems.clear();
    if (status.daemon.pid == 0) {
        status.verdict = not_running;
        return;
    }
    judge_process(status);
    for (size_t i = 0; i < module_total; ++i) {
        judge_module(status, i);
    }
    for (const document_state& document : status.documents) {
        if (!document.content.fault.empty()) {
            status.problems.push_back(document.name + ": " + document.content.fault);
        }
    }
    status.verdict = status.problems.empty() ? healthy : degraded;
}

status_look look_at_status(const status_look* before) {
    status_look status;
    status.now = static_cast<int64_t>(time(nullptr));
    status.daemon = look_at_daemon();
    look_at_store(status);
    status.documents = look_at_documents();
    look_at_modules(status, before);
    status.warnings = find_warnings(last_warnings, status.warnings_from);
    judge(status);
    return status;
}

std::string module_state_text(const status_look& status, size_t module) {
    const module_look& look = status.modules[module];
    if (!status.store.reachable) {
        return "unknown";
    }
    if (look.enable == 0 || look.enable == unset_item) {
        return "off";
    }
    if (status.store.enable != 1) {
        return "on, held off";
    }
    if (look.enable != 1) {
        return "stands still";
    }
    if (look.watched) {
        return look.watched_for >= 0 ? "watched " + age_text(look.watched_for) : "watched";
    }
    return look.view > 0 ? "asked for" : "on";
}

const char* verdict_text(int verdict) {
    switch (verdict) {
    case healthy:
        return "healthy";
    case degraded:
        return "degraded";
    default:
        return "not running";
    }
}

} // namespace dashboard
