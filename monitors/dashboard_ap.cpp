// Traffic of each managed access point (AP), in bytes: what another process writes down for up to 128 of them, kept in
// a history of its own for each. The viewer request value is the number of the AP that is watched, its index + 1: only
// that AP's seconds and minutes are published, every AP's hours are.

#include "base/dashboard_log.h"
#include "base/wall_clock.h"
#include "monitors/metric_store.h"
#include "monitors/monitors.h"
#include "probes/dashboard_aptraffic.h"

#include <cstdint>
#include <cstring>

namespace dashboard {

namespace {

struct ap_sample : ap_traffic_record {
    void add(const ap_sample& other) {
        ap_first += other.ap_first;
        ap_second += other.ap_second;
        ap_txrx += other.ap_txrx;
        for (int32_t k = 0; k < vap_limit; ++k) {
            vap24_first[k] += other.vap24_first[k];
            vap24_second[k] += other.vap24_second[k];
            vap24_txrx[k] += other.vap24_txrx[k];
            vap50_first[k] += other.vap50_first[k];
            vap50_second[k] += other.vap50_second[k];
            vap50_txrx[k] += other.vap50_txrx[k];
        }
    }
    void divide(int32_t n) {
        const auto divisor = static_cast<unsigned long long>(n);
        ap_first /= divisor;
        ap_second /= divisor;
        ap_txrx /= divisor;
        for (int32_t k = 0; k < vap_limit; ++k) {
            vap24_first[k] /= divisor;
            vap24_second[k] /= divisor;
            vap24_txrx[k] /= divisor;
            vap50_first[k] /= divisor;
            vap50_second[k] /= divisor;
            vap50_txrx[k] /= divisor;
        }
    }
};

struct ap_block {
    int32_t present; // 1: the AP's file was read in the last cycle
    metric_store<ap_sample> history;
};

/// Some 19 MB. It comes zeroed, and a block is not written before its AP is seen, so that the pages of absent APs
/// never take memory.
struct ap_store {
    ap_block ap[ap_limit];
};

ap_store* store = nullptr;
int32_t start_time = 0; // of every history: when the module was made ready

void warn_with_leading_blank(const char* writer, const char* path, const char* error) {
    _warn(writer, __LINE__, " open file(%s) error(%s)!", path, error); // Deliberate: sec and min begin with a blank.
}

constexpr monitor_description about = {
    "dashboard_ap",
    "ap_traffic_init",
    "ap_traffic_loop",
    xml_span{60},
    start_marker{8},
    {
        {"xml_ap_traffic_sec", "/tmp/dashboard/aptraffic_sec_%d_tmp.xml", "/tmp/dashboard/aptraffic_sec_%d.xml",
         "/usr/www/aptraffic_sec_%d.xml", nullptr, warn_with_leading_blank},
        {"xml_ap_traffic_min", "/tmp/dashboard/aptraffic_min_%d_tmp.xml", "/tmp/dashboard/aptraffic_min_%d.xml",
         "/usr/www/aptraffic_min_%d.xml", nullptr, warn_with_leading_blank},
        {"xml_ap_traffic_hour", "/tmp/dashboard/aptraffic_hour_%d_tmp.xml", "/tmp/dashboard/aptraffic_hour_%d.xml",
         "/usr/www/aptraffic_hour_%d.xml"},
    },
    "/usr/www/aptraffic*",
    "/tmp/dashboard/aptraffic*",
};

// ---- blocks

/// A block that no AP has used since the module was made ready is all zero.
bool is_used(const ap_block& block) {
    return series_count(block.history.series[sec]) != 0;
}

void begin_block(ap_block& block) {
    if (!is_used(block)) {
        start_series(block.history, start_time);
    }
}

/// Reads before it writes: looking at an untouched page costs no memory.
void mark_absent(ap_block& block) {
    if (block.present != 0) {
        block.present = 0;
    }
}

void clear_blocks() {
    for (ap_block& block : store->ap) {
        if (is_used(block)) {
            memset(static_cast<void*>(&block), 0, sizeof block);
        }
    }
}

// ---- elements

void elements(metric_document& document, const ap_sample& sample) {
    for (int v = 1; v <= vap_limit; ++v) {
        document_printf(document, "    <VAP%d_24_TxRx>%llu</VAP%d_24_TxRx>\n", v, sample.vap24_txrx[v - 1], v);
    }
    for (int v = 1; v <= vap_limit; ++v) {
        document_printf(document, "    <VAP%d_50_TxRx>%llu</VAP%d_50_TxRx>\n", v, sample.vap50_txrx[v - 1], v);
    }
}

int write_document(series_id id, int32_t ap) {
    return write_snapshot(store->ap[ap].history.series[id], about, indexed_names(about.documents[id], ap), elements);
}

// ---- callbacks

int ap_traffic_init(int handle, int /*unused*/) {
    if (store != nullptr) {
        clear_blocks();
    } else if (!make_store(store, about)) {
        return 0;
    }
    start_time = wall_seconds();
    mark_start(handle, about.marker);
    return 1;
}

void follow_ap(int32_t i, int32_t request) {
    ap_block& block = store->ap[i];
    ap_sample sample{};
    if (read_access_point(i, &sample) == 0) {
        mark_absent(block);
        return;
    }
    begin_block(block);
    sample.time = wall_seconds();
    block.present = 1;
    metric_feed(block.history, sample, request == i + 1, about, [i](series_id id) { write_document(id, i); });
}

int ap_traffic_loop(int /*handle*/, int32_t* viewer, const monitor_cb* /*callbacks*/) {
    if (store == nullptr) {
        return 0;
    }
    const int32_t request = viewer_request(viewer);
    for (int32_t i = 0; i < ap_limit; ++i) {
        follow_ap(i, request);
    }
    return 1;
}

int ap_traffic_term(int /*handle*/, int /*unused*/) {
    return drop_store(store, about);
}

/// Writes one document for every AP that is present.
template <series_id id>
int write_present(int /*handle*/, const int32_t* /*index*/) {
    if (store == nullptr) {
        return 0;
    }
    for (int32_t i = 0; i < ap_limit; ++i) {
        if (store->ap[i].present != 0) {
            write_document(id, i);
        }
    }
    return 1;
}

constexpr monitor_cb callbacks() {
    monitor_cb set;
    set.init = ap_traffic_init;
    set.term = ap_traffic_term;
    set.loop = ap_traffic_loop;
    set.write_sec = write_present<sec>;
    set.write_min = write_present<min>;
    set.write_hour = write_present<hour>;
    return set;
}

} // namespace

extern constexpr monitor_cb ap_traffic_monitor = callbacks();

} // namespace dashboard
