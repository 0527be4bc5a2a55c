// The one table of metrics: what the exposition says of each, and what docs/metrics.md is made of.
#ifndef EXPORTER_METRIC_TABLE_H
#define EXPORTER_METRIC_TABLE_H

#include "exporter/text_buffer.h"

#include <cstddef>
#include <cstdint>

namespace dashboard {

/// In the order in which they are written.
enum class metric_id : uint8_t {
    up,
    exporter_info,
    time,
    uptime,
    daemon_uptime,
    store_readable,
    enabled,
    module_enabled,
    view_renewal_enabled,
    view_renewed,
    requests_refused,
    document_readable,
    document_age,
    document_stale,
    document_rejected,
    traffic,
    interface_up,
    cpu,
    cpu_core,
    memory_used,
    memory_ratio,
    connections,
    sim_reporting,
    sim_rssi,
    sim_rsrp,
    sim_rsrq,
    sim_sinr,
    sim_rscp,
    sim_ecio,
    port_state,
    port_use,
    scrape_duration,
};

constexpr size_t metric_total = static_cast<size_t>(metric_id::scrape_duration) + 1;

enum class metric_type : uint8_t { gauge, counter, info };

struct metric_row {
    const char* name; // of its samples
    metric_type type;
    int most;           // series at the daemon's limits
    const char* unit;   // the last word of its family's name, where that is a unit; else empty
    const char* labels; // with their values, for people
    const char* help;
};

extern const metric_row metric_table[metric_total];

/// The two text formats that scrapers ask for.
enum class exposition_format : uint8_t { prometheus, openmetrics };

/// HELP, TYPE and, in OpenMetrics, UNIT of a metric.
void add_head(text_buffer& out, const metric_row& metric, exposition_format format);

/// docs/metrics.md.
void add_markdown(text_buffer& out);

} // namespace dashboard

#endif
