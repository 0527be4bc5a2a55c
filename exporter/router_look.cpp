#include "exporter/router_look.h"

#include "base/dashboard_version.h"
#include "beside/daemon_process.h"
#include "beside/view_request.h"
#include "exporter/document_folder.h"
#include "exporter/renewal.h"
#include "platform/csman.h"

#include <ctime>

namespace dashboard {

namespace {

constexpr uint32_t bond_enable_csid = 0x00b20070;
/// The records of access points, one file each, that the daemon reads.
constexpr char record_folder[] = "/tmp/aptraffic";
constexpr char record_name[] = "APTraffic_#";

void look_at_process_of_daemon(router_facts& facts) {
    pid_t pid = 0;
    const lock_state lock = look_at_lock(pid);
    facts.daemon_runs = lock == lock_state::held;
    if (pid == 0) {
        // Held by somebody in another process namespace, or by nobody: process 1 starts a daemon without a lock.
        pid = facts.daemon_runs ? noted_process() : find_daemon_by_name();
        facts.daemon_runs = facts.daemon_runs || pid != 0;
    }
    process_stat process;
    facts.daemon_uptime = read_process_stat(pid, process) ? process.age : -1;
}

void look_at_items(int store, router_facts& facts) {
    facts.enabled = reads_one(store, daemon_enable_csid);
    for (size_t i = 0; i < module_total; ++i) {
        facts.module_enabled[i] = reads_one(store, module_table[i].enable_csid);
    }
    for (size_t bond = 0; bond < bond_total; ++bond) {
        facts.bond_configured[bond] = reads_one(store, bond_enable_csid + static_cast<uint32_t>(bond));
    }
}

/// The number to ask for; 0: nothing.
int32_t number_for(size_t module, const router_readings& readings, const router_facts& facts) {
    if (module == bond_module) {
        return 1 + next_turn(facts.bond_configured, readings.documents + first_bond_document, bond_total, facts.now);
    }
    if (module != ap_module) {
        return 1;
    }
    bool managed[ap_total] = {};
    find_numbers(record_folder, record_name, managed, ap_total);
    return 1 + next_turn(managed, readings.documents + first_ap_document, ap_total, facts.now);
}

/// Somebody has asked for one bond or access point, and the daemon has not looked yet: theirs comes first.
bool is_waiting(int store, size_t module) {
    int waiting = 0;
    return module_table[module].largest > 1 && read_csman_int(store, module_table[module].view_csid, &waiting) == 0 &&
           waiting > 0;
}

} // namespace

int look_at_router(router_facts& facts) {
    timespec up = {};
    facts = {};
    facts.started = monotonic_now();
    facts.version = version_of_dashboard();
    facts.now = static_cast<int64_t>(time(nullptr));
    facts.uptime = clock_gettime(CLOCK_BOOTTIME, &up) == 0 ? static_cast<int64_t>(up.tv_sec) : -1;
    look_at_process_of_daemon(facts);
    const int store = open_csman(0, 0);
    facts.store_readable = store >= 0;
    if (facts.store_readable) {
        look_at_items(store, facts);
    }
    return store;
}

void renew_requests(int store, const router_readings& readings, router_facts& facts) {
    facts.renewal = true;
    for (size_t module = 0; module < module_total && facts.enabled; ++module) {
        if (!facts.module_enabled[module]) {
            continue;
        }
        graph_request request = {};
        request.enable = -1;
        request.number[module] = number_for(module, readings, facts);
        facts.renewed[module] =
            request.number[module] != 0 && (is_waiting(store, module) || write_request(store, request));
    }
}

} // namespace dashboard
