#include "exporter/metric_table.h"

#include "beside/text_view.h"

namespace dashboard {

namespace {

constexpr char no_labels[] = "";
constexpr char modules[] = "`module`: cpu, mem, wan, bond, lan, wifi24, wifi5, ap, allap, current, sim";
constexpr char documents[] = "`document`";
constexpr char slots[] = "`slot`: 1, 2";

/// The name of a metric's family: OpenMetrics keeps the ends of counters and infos out of it.
std::string_view family_of(const metric_row& metric, exposition_format format) {
    const std::string_view name = metric.name;
    if (format == exposition_format::prometheus || metric.type == metric_type::gauge) {
        return name;
    }
    const std::string_view end = metric.type == metric_type::counter ? "_total" : "_info";
    return stops_with(name, end) ? head_of(name, name.size() - end.size()) : name;
}

const char* type_text(metric_type type, exposition_format format) {
    if (type == metric_type::counter) {
        return "counter";
    }
    return type == metric_type::info && format == exposition_format::openmetrics ? "info" : "gauge";
}

} // namespace

const metric_row metric_table[metric_total] = {
    {"dashboard_up", metric_type::gauge, 1, "", no_labels,
     "Whether the daemon runs: it holds the lock of its PID file, or, where it has none, its process is found."},
    {"dashboard_exporter_info", metric_type::info, 1, "", "`version`", "The version of this program; always 1."},
    {"dashboard_time_seconds", metric_type::gauge, 1, "seconds", no_labels,
     "The router's clock, in seconds since 1970-01-01 UTC."},
    {"dashboard_uptime_seconds", metric_type::gauge, 1, "seconds", no_labels,
     "Time since the router was started, whatever its clock was set to."},
    {"dashboard_daemon_uptime_seconds", metric_type::gauge, 1, "seconds", no_labels,
     "Time since the daemon was started; left out while it does not run."},
    {"dashboard_store_readable", metric_type::gauge, 1, "", no_labels,
     "Whether the configuration store could be opened; dashboard_enabled and dashboard_module_enabled are left out where "
     "it could not."},
    {"dashboard_enabled", metric_type::gauge, 1, "", no_labels,
     "Whether dashboard.enable is 1, so that modules may run."},
    {"dashboard_module_enabled", metric_type::gauge, 11, "", modules, "Whether the module's enable item is 1."},
    {"dashboard_view_renewal_enabled", metric_type::gauge, 1, "", no_labels,
     "Whether a scrape renews the viewer requests of the modules."},
    {"dashboard_view_renewed", metric_type::gauge, 11, "", modules,
     "Whether this scrape renewed the module's viewer request."},
    {"dashboard_requests_refused_total", metric_type::counter, 6, "",
     "`reason`: method, path, query, origin, address, length",
     "Requests that this program refused since the router was started; left out where they cannot be counted."},
    {"dashboard_document_readable", metric_type::gauge, 140, "", documents,
     "Whether the document is there, may be read and is whole."},
    {"dashboard_document_age_seconds", metric_type::gauge, 140, "seconds", documents,
     "Age of the document's newest sample (of current_traffic: of the document), negative after the clock was set back; "
     "left out where there is none."},
    {"dashboard_document_stale", metric_type::gauge, 140, "", documents,
     "Whether the document has no sample of the last 10 seconds; then its values are left out."},
    {"dashboard_document_rejected_values", metric_type::gauge, 140, "", documents,
     "Elements of the newest sample that were left out: unknown, no number, out of bounds, or there twice."},
    {"dashboard_traffic_bytes_total", metric_type::counter, 2319, "",
     "`kind`, `interface`, `direction`: see [below](#traffic)",
     "Bytes as the router counts them: receive is into the router on that interface, transmit out of it, both their sum "
     "where nothing else is known."},
    {"dashboard_interface_up", metric_type::gauge, 49, "",
     "`kind`: wan, lan, wifi_24, wifi_50, bond_slave; `interface`",
     "Whether any counter of the interface reads more than 0. The daemon writes 0 for one that is down; then its counters "
     "are left out."},
    {"dashboard_cpu_utilization_ratio", metric_type::gauge, 1, "ratio", no_labels, "Use of all cores, 0 to 1."},
    {"dashboard_cpu_core_utilization_ratio", metric_type::gauge, 4, "ratio", "`cpu`: 0 to 3",
     "Use of one core, 0 to 1; left out while it was not measured."},
    {"dashboard_memory_used_bytes", metric_type::gauge, 1, "bytes", no_labels,
     "Total less free memory; buffers and caches count as used."},
    {"dashboard_memory_utilization_ratio", metric_type::gauge, 1, "ratio", no_labels,
     "Used memory, 0 to 1, from current traffic."},
    {"dashboard_connection_table_utilization_ratio", metric_type::gauge, 1, "ratio", no_labels,
     "Use of the table of connections, 0 to 1, from current traffic."},
    {"dashboard_sim_reporting", metric_type::gauge, 2, "", slots,
     "Whether any measure of the SIM slot is known; a slot that is off or dead has none."},
    {"dashboard_sim_rssi_dbm", metric_type::gauge, 2, "dbm", slots, "Received signal strength."},
    {"dashboard_sim_rsrp_dbm", metric_type::gauge, 2, "dbm", slots, "Reference signal received power (4G)."},
    {"dashboard_sim_rsrq_db", metric_type::gauge, 2, "db", slots, "Reference signal received quality (4G)."},
    {"dashboard_sim_sinr_db", metric_type::gauge, 2, "db", slots, "Signal to interference and noise (4G)."},
    {"dashboard_sim_rscp_dbm", metric_type::gauge, 2, "dbm", slots, "Received signal code power (3G)."},
    {"dashboard_sim_ecio_db", metric_type::gauge, 2, "db", slots, "Energy of a chip to interference (3G)."},
    {"dashboard_port_state", metric_type::gauge, 35, "", "`port`: eth1 to eth16, 3g1 to 3g16, wifi2g, wifi5g, power",
     "State of the port as the configuration store has it; what a number means is the store's."},
    {"dashboard_port_use", metric_type::gauge, 16, "", "`port`: 3g1 to 3g16",
     "Use of the cellular port as the configuration store has it."},
    {"dashboard_scrape_duration_seconds", metric_type::gauge, 1, "seconds", no_labels,
     "Time that this scrape took until its text was complete."},
};

void add_head(text_buffer& out, const metric_row& metric, exposition_format format) {
    const std::string_view family = family_of(metric, format);
    out.add("# HELP ");
    out.add(family);
    out.add(' ');
    out.add(metric.help);
    out.add("\n# TYPE ");
    out.add(family);
    out.add(' ');
    out.add(type_text(metric.type, format));
    out.add('\n');
    if (format == exposition_format::openmetrics && metric.unit[0] != '\0') {
        out.add("# UNIT ");
        out.add(family);
        out.add(' ');
        out.add(metric.unit);
        out.add('\n');
    }
}

void add_markdown(text_buffer& out) {
    out.add("| metric | type | labels | series at most | meaning |\n|---|---|---|---|---|\n");
    for (const metric_row& metric : metric_table) {
        out.add("| `");
        out.add(metric.name);
        out.add("` | ");
        out.add(type_text(metric.type, exposition_format::prometheus));
        out.add(" | ");
        out.add(metric.labels);
        out.add(" | ");
        out.add_signed(metric.most);
        out.add(" | ");
        out.add(metric.help);
        out.add(" |\n");
    }
}

} // namespace dashboard
