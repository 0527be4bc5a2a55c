#include "platform/host/csmanctl.h"

#include <algorithm>
#include <cerrno>
#include <climits>
#include <cstdio>
#include <cstring>
#include <sys/inotify.h>
#include <unistd.h>

#include "platform/host/csman_items.h"
#include "platform/host/csman_text.h"

namespace dashboard {
namespace {

// A rename brings an item; a hand that edits its file in place ends with a close.
constexpr uint32_t item_events = IN_MOVED_TO | IN_CLOSE_WRITE | IN_DELETE;
constexpr uint32_t store_gone_events = IN_DELETE_SELF | IN_MOVE_SELF | IN_IGNORED;

enum class watch_state { going_on, counted, store_gone };

struct watcher {
    int store;
    const std::vector<uint32_t>& csids;
    unsigned long count;
    unsigned long seen;
};

bool is_watched(const watcher& watch, uint32_t csid) {
    return watch.csids.empty() || std::find(watch.csids.begin(), watch.csids.end(), csid) != watch.csids.end();
}

void print_present(const watcher& watch, const std::vector<uint32_t>& csids) {
    for (const uint32_t csid : csids) {
        if (is_watched(watch, csid))
            print_item(watch.store, csid);
    }
}

void print_removal(uint32_t csid) {
    printf("# %s is unset\n", item_name(csid).c_str());
    fflush(stdout);
}

watch_state handle_event(watcher& watch, const inotify_event& event, const char* name) {
    if (event.mask & store_gone_events)
        return watch_state::store_gone;
    uint32_t csid = 0;
    if (event.len == 0 || !store_parse_name(name, csid) || !is_watched(watch, csid))
        return watch_state::going_on;
    if (event.mask & IN_DELETE)
        print_removal(csid);
    else
        print_item(watch.store, csid);
    watch.seen++;
    return watch.seen == watch.count ? watch_state::counted : watch_state::going_on;
}

watch_state handle_events(watcher& watch, const char* buffer, size_t filled) {
    inotify_event event;
    for (size_t at = 0; at < filled; at += sizeof event + event.len) {
        memcpy(&event, buffer + at, sizeof event);
        const watch_state state = handle_event(watch, event, buffer + at + sizeof event);
        if (state != watch_state::going_on)
            return state;
    }
    return watch_state::going_on;
}

int watch_events(watcher& watch, int events) {
    char buffer[16 * (sizeof(inotify_event) + NAME_MAX + 1)];
    watch_state state = watch_state::going_on;
    while (state == watch_state::going_on) {
        const ssize_t filled = read(events, buffer, sizeof buffer);
        if (filled < 0 && errno != EINTR)
            return report_failure("can't go on watching: %s", strerror(errno));
        if (filled > 0)
            state = handle_events(watch, buffer, static_cast<size_t>(filled));
    }
    return state == watch_state::counted ? exit_ok : report_failure("the store was removed");
}

} // namespace

int watch_items(int store, const std::vector<uint32_t>& csids, unsigned long count) {
    const int events = inotify_init1(IN_CLOEXEC);
    if (events < 0 || inotify_add_watch(events, store_path(), item_events | IN_DELETE_SELF | IN_MOVE_SELF) < 0)
        return report_failure("can't watch %s: %s", store_path(), strerror(errno));
    std::vector<uint32_t> present;
    const int listed = list_csids(present);
    if (listed != 0)
        return report_failure("can't list %s: %s", store_path(), strerror(-listed));
    watcher watch = {store, csids, count, 0};
    print_present(watch, present);
    const int result = watch_events(watch, events);
    close(events);
    return result;
}

} // namespace dashboard
