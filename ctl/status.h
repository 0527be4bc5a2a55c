// The state of the whole dashboard: gathered in one place, judged in one place, shown by status_text and status_json.
#ifndef CTL_STATUS_H
#define CTL_STATUS_H

#include "ctl/daemon_look.h"
#include "ctl/documents.h"

#include <cstdint>
#include <string>
#include <vector>

namespace dashboard {

/// Exit statuses.
constexpr int healthy = 0;
constexpr int degraded = 1;
constexpr int not_running = 2;
constexpr int wrong_command = 3;

/// The items of the core, as the store has them. An item that is not set keeps `unset_item`.
constexpr int32_t unset_item = INT32_MIN;

struct store_look {
    bool reachable = false;
    int32_t enable = unset_item;   // dashboard.enable
    int32_t log_mode = unset_item; // dashboard.log_mode
};

/// One module: what is wanted of it, and what its documents show.
struct module_look {
    int32_t enable = unset_item;
    int32_t view = unset_item; // a request that the daemon has not taken yet
    bool watched = false;      // its documents of seconds are being rewritten
    int64_t watched_for = -1;  // seconds; -1: not known from one look
    int64_t newest_age = -1;   // seconds since its newest sample; -1: there is none
    int lost = 0;              // of the sixty seconds before it
    int documents = 0;
    int64_t size = 0;                     // bytes of them
    int64_t series_age[3] = {-1, -1, -1}; // seconds since sec, min and hour were written; -1: none
};

struct status_look {
    int64_t now = 0;
    daemon_look daemon;
    store_look store;
    module_look modules[module_total];
    std::vector<document_state> documents;
    std::vector<std::string> warnings; // the last ones, oldest first
    std::string warnings_from;         // where they were looked for
    std::vector<std::string> problems; // what makes it degraded
    int verdict = not_running;
};

/// Looks at everything. `before` is the look before this one, if any: it tells for how long somebody has been watching.
status_look look_at_status(const status_look* before);

/// The modules' part of it, from the items in `status.modules` and `status.documents`.
void look_at_modules(status_look& status, const status_look* before);

/// Fills problems and verdict from all the rest.
void judge(status_look& status);

/// What is wanted of a module and whether it is watched, in a few words.
std::string module_state_text(const status_look& status, size_t module);

const char* verdict_text(int verdict);

} // namespace dashboard

#endif
