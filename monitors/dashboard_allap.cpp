// Traffic of all managed access points (APs) together, in bytes: one sample holds a value for each of up to 128. Its
// rings have 128 slots. Its average is peculiar: AP i is divided by (i + 1) times the number of samples, and an average
// knows no AP as present, so that the documents of minutes and hours list times only.

#include "base/wall_clock.h"
#include "monitors/framed_monitor.h"
#include "monitors/monitors.h"
#include "probes/dashboard_aptraffic.h"

#include <cstdint>
#include <numeric>

namespace dashboard {

namespace {

constexpr int32_t ring_slots = 128;
constexpr int32_t shown_aps = 32; // APs that a document can list

struct allap_sample {
    int32_t time;
    int32_t present[ap_limit]; // 1: read in this cycle
    unsigned long long ap_txrx[ap_limit];
    unsigned long long vap24_sum[ap_limit];
    unsigned long long vap50_sum[ap_limit];

    void add(const allap_sample& other) {
        for (int32_t i = 0; i < ap_limit; ++i) {
            ap_txrx[i] += other.ap_txrx[i];
            vap24_sum[i] += other.vap24_sum[i];
            vap50_sum[i] += other.vap50_sum[i];
        }
    }
    /// Deliberate: the samples are counted on from AP to AP, so only AP 0 gets its true mean.
    void divide(int32_t n) {
        unsigned long long counted = 0;
        for (int32_t i = 0; i < ap_limit; ++i) {
            counted += static_cast<unsigned long long>(n);
            ap_txrx[i] /= counted;
            vap24_sum[i] /= counted;
            vap50_sum[i] /= counted;
        }
    }
};

struct allap_store {
    metric_store<allap_sample, ring_slots> history;
};

allap_store* store = nullptr;

constexpr monitor_description about = {
    "dashboard_allap",
    "allap_traffic_init",
    "allap_traffic_loop",
    xml_span{60},
    start_marker{9},
    {
        {"xml_allap_traffic_sec", "/tmp/dashboard/aptraffic_allap_sec_tmp.xml",
         "/tmp/dashboard/aptraffic_allap_sec.xml", "/usr/www/aptraffic_allap_sec.xml"},
        // Deliberate: the min document looks after the sec document's link and never gets one of its own.
        {"xml_allap_traffic_min", "/tmp/dashboard/aptraffic_allap_min_tmp.xml",
         "/tmp/dashboard/aptraffic_allap_min.xml", "/usr/www/aptraffic_allap_sec.xml",
         "/tmp/dashboard/aptraffic_allap_sec.xml"},
        // Deliberate: the hour link leads to a name that exists only while the hour document is being written.
        {"xml_allap_traffic_hour", "/tmp/dashboard/aptraffic_allap_hour_tmp.xml",
         "/tmp/dashboard/aptraffic_allap_hour.xml", "/usr/www/aptraffic_allap_hour.xml",
         "/tmp/dashboard/aptraffic_allap_hour_tmp.xml"},
    },
    "/usr/www/aptraffic_allap*",
    "/tmp/dashboard/aptraffic_allap*",
};

// ---- sampling

unsigned long long sum(const unsigned long long (&counters)[vap_limit]) {
    return std::accumulate(counters, counters + vap_limit, 0ULL);
}

bool get_allap_traffic_item(allap_sample& sample, int /*handle*/) {
    bool taken = false;
    for (int32_t i = 0; i < ap_limit; ++i) {
        ap_traffic_record record{};
        if (read_access_point(i, &record) == 0) {
            continue;
        }
        sample.present[i] = 1;
        sample.ap_txrx[i] = record.ap_txrx;
        sample.vap24_sum[i] = sum(record.vap24_txrx);
        sample.vap50_sum[i] = sum(record.vap50_txrx);
        taken = true;
    }
    sample.time = wall_seconds();
    return taken;
}

// ---- elements

void elements(metric_document& document, const allap_sample& sample) {
    for (int32_t i = 0; i < shown_aps; ++i) {
        if (sample.present[i] != 0) {
            document_printf(document, "    <ap_%d_TxRx>%llu</ap_%d_TxRx>\n", i, sample.ap_txrx[i], i);
        }
    }
}

} // namespace

extern constexpr monitor_cb allap_traffic_monitor =
    framed_monitor<store, about, no_set_up, get_allap_traffic_item, elements>();

} // namespace dashboard
