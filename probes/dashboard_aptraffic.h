// The traffic of one managed access point, as another process of the router writes it down.
#ifndef PROBES_DASHBOARD_APTRAFFIC_H
#define PROBES_DASHBOARD_APTRAFFIC_H

#include <cstdint>

namespace dashboard {

constexpr int32_t ap_limit = 128; // access points that the router manages
constexpr int32_t vap_limit = 8;  // virtual access points of one band

/// The counters of one access point: its own group and one group for each virtual access point (VAP) of either band,
/// entry k for VAP number k + 1. The third counter of a group is the bytes sent and received; what the first and the
/// second count is the writer's business.
struct ap_traffic_record {
    int32_t time; // seconds since the epoch; the reader leaves it alone
    unsigned long long ap_first, ap_second, ap_txrx;
    unsigned long long vap24_first[vap_limit], vap24_second[vap_limit], vap24_txrx[vap_limit];
    unsigned long long vap50_first[vap_limit], vap50_second[vap_limit], vap50_txrx[vap_limit];
};

static_assert(sizeof(ap_traffic_record) == 8 + 51 * 8, "a time and 17 groups of three counters");

/// Reads the first line of `path` into `record`, which the caller has zeroed. Returns 1 when all 51 counters were
/// there. Returns 0 without a message when the file is missing, unreadable or empty, and 0 with a warning when the line
/// has another form; the counters before the mismatch are then set.
int32_t get_ap_traffic_info(const char* path, ap_traffic_record* record);

/// The same for access point `ap`, 0 .. ap_limit - 1, from the folder where the router keeps these files.
int32_t read_access_point(int32_t ap, ap_traffic_record* record);

} // namespace dashboard

#endif
