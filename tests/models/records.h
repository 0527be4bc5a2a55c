// What each metric keeps of one second, and how its documents and exports show that, in the plainest words. Written
// apart from the daemon, to judge it.
#ifndef TESTS_MODELS_RECORDS_H
#define TESTS_MODELS_RECORDS_H

#include "tests/models/ap_records.h"
#include "tests/models/documents.h"
#include "tests/models/history_model.h"

#include <array>
#include <cstdint>
#include <string>
#include <utility>
#include <vector>

namespace dashboard::testing {

// ---- CPU and memory usage

// All cores together, then cores 0 to 3.
using cpu_record = plain_sample<int32_t, 5>;

std::string cpu_document(size_t cores, const std::vector<cpu_record>& samples);

// Sums in 32 bits, divides them as a signed number, shows the result unsigned.
using mem_record = plain_sample<int32_t, 1>;

std::string mem_document(const std::vector<mem_record>& samples);

// ---- WAN and LAN traffic: they differ in the name of their elements and in how many entities they know

struct entity_bytes {
    size_t n; // from 1, as documents number them
    uint64_t tx;
    uint64_t rx;
};

// Sent, received and both, of sixteen entities.
using traffic_record = plain_sample<uint64_t, 48>;

traffic_record traffic_at(int64_t time, const std::vector<entity_bytes>& entities);

// The entities `in_use` appear as <tag>N_tx and so on.
std::string traffic_document(const std::string& tag, const std::vector<size_t>& in_use,
                             const std::vector<traffic_record>& samples);
// What was counted from each sample to the next.
std::string traffic_csv(const std::vector<size_t>& in_use, const std::vector<traffic_record>& samples);

// ---- Wi-Fi traffic

// Two totals, then sent, received and both of VAP slots 0 to 7.
using wifi_record = plain_sample<uint64_t, 26>;

struct vap_bytes {
    size_t slot;
    uint64_t tx;
    uint64_t rx;
};

// The band is "24", whose total is what was sent and received, or "50", whose total is what was sent, twice.
wifi_record wifi_at(const std::string& band, int64_t time, const std::vector<vap_bytes>& vaps);
std::string wifi_document(const std::string& band, const std::vector<wifi_record>& samples);
std::string wifi_csv(const std::vector<wifi_record>& samples);

// ---- access points

// The counters of one access point in the order of its line.
using ap_record = plain_sample<uint64_t, ap_counters>;

// The combined counts of the VAPs.
std::string ap_document(const std::vector<ap_record>& samples);

// The first 32 access points that were present, with their own combined counts.
struct allap_record {
    int64_t time = 0;
    std::vector<std::pair<int, uint64_t>> present;

    // An average knows no access point as present.
    static allap_record mean(const std::vector<allap_record>& /*samples*/, int64_t now) { return {now, {}}; }
};

std::string allap_document(const std::vector<allap_record>& samples);

// ---- signal quality

// RSSI, RSRP, RSRQ, SINR, RSCP, EcIo of one slot.
using sim_measures = std::array<int32_t, 6>;

// The six of SIM 1, then the six of SIM 2.
using sim_record = plain_sample<int32_t, 12>;

sim_record sim_at(int64_t time, const sim_measures& first, const sim_measures& second);
std::string sim_document(const std::vector<sim_record>& samples);
// The samples' own values, however few.
std::string sim_csv(const std::vector<sim_record>& samples);

} // namespace dashboard::testing

#endif
