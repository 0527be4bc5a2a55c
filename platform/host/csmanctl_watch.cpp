#include "platform/host/csman_items.h"
#include "platform/host/csman_text.h"
#include "platform/host/csmanctl.h"
#include "platform/host/csmanctl_text.h"

#include <algorithm>
#include <cerrno>
#include <climits>
#include <cstdio>
#include <cstring>
#include <map>
#include <sys/inotify.h>
#include <unistd.h>

namespace dashboard {

namespace {

/// A rename brings an item; a hand that edits its file in place ends with a close.
constexpr uint32_t item_events = IN_MOVED_TO | IN_CLOSE_WRITE | IN_DELETE;
constexpr uint32_t store_gone_events = IN_DELETE_SELF | IN_MOVE_SELF | IN_IGNORED;

enum class watch_state { going_on, counted, store_gone };

struct watcher {
    int store;
    const std::vector<uint32_t>& csids;
    unsigned long count;
    unsigned long seen;
    std::map<uint32_t, std::string> shown; // values of the items that are set
};

bool is_watched(const watcher& watch, uint32_t csid) {
    return watch.csids.empty() || std::find(watch.csids.begin(), watch.csids.end(), csid) != watch.csids.end();
}

/// Prints an item if it is not as it was shown last: one write comes as two events, its rename and its close, and the
/// item may have been written again before an event is looked at. True when there was something to print.
bool show_change(watcher& watch, uint32_t csid) {
    store_item item;
    const int result = store_read(watch.store, csid, item);
    if (result == -ENOENT) {
        if (watch.shown.erase(csid) == 0) {
            return false;
        }
        printf("# %s is unset\n", item_name(csid).c_str());
    } else if (result != 0) {
        report_unreadable(item_name(csid), result);
        return false;
    } else {
        const std::string value = value_text(item);
        std::string& shown = watch.shown[csid];
        if (shown == value) {
            return false;
        }
        shown = value;
        printf("%s %s\n", item_name(csid).c_str(), value.c_str());
    }
    fflush(stdout);
    return true;
}

int show_changes(watcher& watch) {
    std::vector<uint32_t> csids;
    const int listed = list_csids(csids);
    for (const uint32_t csid : csids) {
        if (is_watched(watch, csid)) {
            watch.seen += show_change(watch, csid) ? 1 : 0;
        }
    }
    return listed;
}

watch_state handle_event(watcher& watch, const inotify_event& event, const char* name) {
    if (event.mask & store_gone_events) {
        return watch_state::store_gone;
    }
    uint32_t csid = 0;
    // The kernel drops events of a reader that is too slow, and says so.
    if (event.mask & IN_Q_OVERFLOW) {
        show_changes(watch);
    } else if (event.len > 0 && store_parse_name(name, csid) && is_watched(watch, csid)) {
        watch.seen += show_change(watch, csid) ? 1 : 0;
    }
    return watch.count > 0 && watch.seen >= watch.count ? watch_state::counted : watch_state::going_on;
}

watch_state handle_events(watcher& watch, const char* buffer, size_t filled) {
    inotify_event event;
    for (size_t at = 0; at < filled; at += sizeof event + event.len) {
        memcpy(&event, buffer + at, sizeof event);
        const watch_state state = handle_event(watch, event, buffer + at + sizeof event);
        if (state != watch_state::going_on) {
            return state;
        }
    }
    return watch_state::going_on;
}

int watch_events(watcher& watch, int events) {
    char buffer[16 * (sizeof(inotify_event) + NAME_MAX + 1)];
    watch_state state = watch_state::going_on;
    while (state == watch_state::going_on) {
        const ssize_t filled = read(events, buffer, sizeof buffer);
        if (filled < 0 && errno != EINTR) {
            return report_failure("can't go on watching: %s", strerror(errno));
        }
        if (filled > 0) {
            state = handle_events(watch, buffer, static_cast<size_t>(filled));
        }
    }
    return state == watch_state::counted ? exit_ok : report_failure("the store was removed");
}

} // namespace

int watch_items(int store, const std::vector<uint32_t>& csids, unsigned long count) {
    const int events = inotify_init1(IN_CLOEXEC);
    if (events < 0 || inotify_add_watch(events, store_path(), item_events | IN_DELETE_SELF | IN_MOVE_SELF) < 0) {
        return report_failure("can't watch %s: %s", store_path(), strerror(errno));
    }
    watcher watch = {store, csids, count, 0, {}};
    const int listed = show_changes(watch);
    if (listed != 0) {
        return report_failure("can't list %s: %s", store_path(), strerror(-listed));
    }
    watch.seen = 0;
    const int result = watch_events(watch, events);
    close(events);
    return result;
}

} // namespace dashboard
