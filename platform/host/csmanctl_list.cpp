#include "platform/host/csman_items.h"
#include "platform/host/csman_text.h"
#include "platform/host/csmanctl.h"
#include "platform/host/csmanctl_text.h"

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <dirent.h>

namespace dashboard {

namespace {

/// Prints the items of one row of the table, and takes them out of `csids`.
bool list_family(int store, const item_family& family, std::vector<uint32_t>& csids, bool all) {
    bool readable = true;
    for (unsigned index = 0; index < family.count; index++) {
        const auto found = std::find(csids.begin(), csids.end(), family.csid + index);
        if (found != csids.end()) {
            readable = print_item(store, *found) && readable;
            csids.erase(found);
        } else if (all) {
            printf("# %s\n", item_name(family, index).c_str());
        }
    }
    return readable;
}

} // namespace

int report_unreadable(const std::string& item, int result) {
    if (result == -ENOENT) {
        return report_failure("%s is not set", item.c_str());
    }
    if (result == -EBADMSG) {
        return report_failure("%s: its file in %s holds no item", item.c_str(), store_path());
    }
    return report_failure("%s: %s", item.c_str(), strerror(-result));
}

bool print_item(int store, uint32_t csid) {
    store_item item;
    const int result = store_read(store, csid, item);
    // Another process may have unset it since it was listed.
    if (result == -ENOENT) {
        return true;
    }
    if (result != 0) {
        report_unreadable(item_name(csid), result);
        return false;
    }
    printf("%s %s\n", item_name(csid).c_str(), value_text(item).c_str());
    fflush(stdout);
    return true;
}

int list_csids(std::vector<uint32_t>& csids) {
    DIR* directory = opendir(store_path());
    if (directory == nullptr) {
        return -errno;
    }
    for (const dirent* entry = readdir(directory); entry != nullptr; entry = readdir(directory)) {
        uint32_t csid = 0;
        if (store_parse_name(entry->d_name, csid)) {
            csids.push_back(csid);
        }
    }
    closedir(directory);
    std::sort(csids.begin(), csids.end());
    return 0;
}

int list_items(int store, bool all) {
    std::vector<uint32_t> csids;
    const int listed = list_csids(csids);
    if (listed != 0) {
        return report_failure("can't list %s: %s", store_path(), strerror(-listed));
    }
    bool readable = true;
    for (size_t at = 0; at < item_family_count(); at++) {
        readable = list_family(store, item_family_at(at), csids, all) && readable;
    }
    for (const uint32_t csid : csids) {
        readable = print_item(store, csid) && readable;
    }
    return readable ? exit_ok : exit_failed;
}

} // namespace dashboard
