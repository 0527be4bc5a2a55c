#include "platform/host/csman_items.h"
#include "platform/host/csmanctl.h"
#include "platform/host/csmanctl_text.h"

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <map>

namespace dashboard {

namespace {

/// What a file says, and where, so that an item given twice can be told with both lines.
struct load_plan {
    std::vector<item_setting> settings;
    std::map<uint32_t, unsigned long> line_of;
    bool valid = true;
};

void reject(load_plan& plan, const std::string& path, unsigned long line, const std::string& why) {
    report_failure("%s:%lu: %s", path.c_str(), line, why.c_str());
    plan.valid = false;
}

void plan_line(load_plan& plan, const std::string& path, unsigned long number, const std::string& line) {
    std::string name;
    std::string value;
    split_line(line, name, value);
    if (name.empty()) {
        return;
    }
    item_setting setting;
    if (!parse_csid(name, setting.csid)) {
        reject(plan, path, number, "unknown item '" + name + "'");
        return;
    }
    std::string why;
    if (!make_item_from_line(setting.csid, value, setting.item, why)) {
        reject(plan, path, number, name + ": " + why);
        return;
    }
    const auto known = plan.line_of.emplace(setting.csid, number);
    if (!known.second) {
        reject(plan, path, number, name + " is given twice, in line " + std::to_string(known.first->second) + " too");
        return;
    }
    plan.settings.push_back(setting);
}

/// Every line is looked at, so that all mistakes of a file are told at once.
void plan_file(load_plan& plan, const std::string& path, FILE* file) {
    char* line = nullptr;
    size_t size = 0;
    unsigned long number = 0;
    ssize_t length;
    while ((length = getline(&line, &size, file)) >= 0) {
        if (length > 0 && line[length - 1] == '\n') {
            length--;
        }
        plan_line(plan, path, ++number, std::string(line, static_cast<size_t>(length)));
    }
    const int failure = errno;
    if (ferror(file)) {
        report_failure("can't read %s: %s", path.c_str(), strerror(failure));
        plan.valid = false;
    }
    free(line);
}

/// What an item held before it was written.
struct undo_step {
    uint32_t csid;
    bool was_set;
    store_item item;
};

void roll_back(int store, const std::vector<undo_step>& steps) {
    for (const undo_step& step : steps) {
        const int result = step.was_set ? store_write(store, step.csid, step.item) : store_remove(store, step.csid);
        if (result != 0 && result != -ENOENT) {
            report_failure("%s: can't be put back: %s", item_name(step.csid).c_str(), strerror(-result));
        }
    }
}

int write_settings(int store, const std::vector<item_setting>& settings) {
    std::vector<undo_step> written;
    for (const item_setting& setting : settings) {
        undo_step before = {setting.csid, false, {}};
        before.was_set = store_read(store, setting.csid, before.item) == 0;
        const int result = store_write(store, setting.csid, setting.item);
        if (result != 0) {
            roll_back(store, written);
            return report_failure("%s: %s; nothing was changed", item_name(setting.csid).c_str(), strerror(-result));
        }
        written.push_back(before);
    }
    return exit_ok;
}

} // namespace

int load_items(int store, const std::string& path) {
    const bool standard_input = path == "-";
    FILE* file = standard_input ? stdin : fopen(path.c_str(), "re");
    if (file == nullptr) {
        return report_failure("can't open %s: %s", path.c_str(), strerror(errno));
    }
    load_plan plan;
    plan_file(plan, path, file);
    if (!standard_input) {
        fclose(file);
    }
    if (!plan.valid) {
        return report_failure("%s: nothing was changed", path.c_str());
    }
    return write_settings(store, plan.settings);
}

} // namespace dashboard
