// The status for programs.
#include "ctl/ctl_text.h"
#include "ctl/screen.h"

namespace dashboard {

namespace {

std::string number_or_null(int64_t value, int64_t none) {
    return value == none ? "null" : text_of("%lld", static_cast<long long>(value));
}

const char* truth(bool value) {
    return value ? "true" : "false";
}

std::string texts_json(const std::vector<std::string>& texts) {
    std::string list;
    for (const std::string& text : texts) {
        list += (list.empty() ? "" : ", ") + json_text(text);
    }
    return "[" + list + "]";
}

const char* lock_word(lock_state lock) {
    switch (lock) {
    case lock_state::held:
        return "held";
    case lock_state::no_file:
        return "none";
    case lock_state::stale:
        return "free";
    case lock_state::unreadable:
        break;
    }
    return "unknown";
}

std::string daemon_json(const status_look& status) {
    const daemon_look& daemon = status.daemon;
    if (daemon.pid == 0) {
        return text_of("{\"pid\": null, \"lock\": \"%s\"}", lock_word(daemon.lock));
    }
    return text_of(
        "{\"pid\": %d, \"version\": %s, \"since\": %lld, \"uptime\": %lld, \"threads\": %d, \"lock\": \"%s\"}",
        static_cast<int>(daemon.pid), daemon.version.empty() ? "null" : json_text(daemon.version).c_str(),
        static_cast<long long>(status.now - daemon.process.age), static_cast<long long>(daemon.process.age),
        daemon.process.threads, lock_word(daemon.lock));
}

std::string module_json(const status_look& status, size_t index) {
    const module_look& module = status.modules[index];
    std::string text =
        text_of("{\"name\": \"%s\", \"state\": %s, \"enable\": %s, \"watched\": %s, \"watched_for\": %s, ",
                module_table[index].items, json_text(module_state_text(status, index)).c_str(),
                number_or_null(module.enable, unset_item).c_str(), truth(module.watched),
                number_or_null(module.watched_for, -1).c_str());
    text += text_of("\"newest_age\": %s, \"lost_seconds\": %s}", number_or_null(module.newest_age, -1).c_str(),
                    module.newest_age < 0 ? "null" : text_of("%d", module.lost).c_str());
    return text;
}

std::string document_json(const document_state& document) {
    const std::string& fault = document.content.fault;
    return text_of("{\"name\": %s, \"module\": \"%s\", \"series\": \"%s\", \"size\": %lld, \"age\": %lld, "
                   "\"samples\": %zu, \"linked\": %s, \"fault\": %s}",
                   json_text(document.name).c_str(), module_table[document.module].items, series_name(document.series),
                   static_cast<long long>(document.size), static_cast<long long>(document.age),
                   document.content.times.size(), truth(document.linked),
                   fault.empty() ? "null" : json_text(fault).c_str());
}

} // namespace

std::string status_json(const status_look& status) {
    std::string text = text_of("{\"status\": \"%s\", \"time\": %lld,\n", verdict_text(status.verdict),
                               static_cast<long long>(status.now));
    text += " \"daemon\": " + daemon_json(status) + ",\n";
    text +=
        " \"store\": " + text_of("{\"reachable\": %s, \"enable\": %s, \"log_mode\": %s},\n",
                                 truth(status.store.reachable), number_or_null(status.store.enable, unset_item).c_str(),
                                 number_or_null(status.store.log_mode, unset_item).c_str());
    text += " \"problems\": " + texts_json(status.problems) + ",\n";
    text += " \"warnings\": " + texts_json(status.warnings) + ",\n \"modules\": [";
    for (size_t i = 0; i < module_total; ++i) {
        text += (i == 0 ? "\n  " : ",\n  ") + module_json(status, i);
    }
    text += "],\n \"documents\": [";
    for (size_t i = 0; i < status.documents.size(); ++i) {
        text += (i == 0 ? "\n  " : ",\n  ") + document_json(status.documents[i]);
    }
    return text + "]}\n";
}

} // namespace dashboard
