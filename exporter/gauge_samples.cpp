#include "exporter/sample_groups.h"

namespace dashboard {

namespace {

constexpr int percent_digits = 2;
constexpr int64_t kilobyte = 1024;
constexpr metric_id measures[measure_total] = {metric_id::sim_rssi, metric_id::sim_rsrp, metric_id::sim_rsrq,
                                               metric_id::sim_sinr, metric_id::sim_rscp, metric_id::sim_ecio};

void add_percent(sample_lines& lines, metric_id id, const gauge_reading& reading) {
    if (reading.known) {
        lines.begin(id);
        lines.value_decimal(static_cast<uint64_t>(reading.value), percent_digits);
    }
}

void add_usage(sample_lines& lines, const router_readings& readings) {
    add_percent(lines, metric_id::cpu, readings.cpu);
    for (size_t core = 0; core < core_total; ++core) {
        if (readings.cores[core].known) {
            lines.begin(metric_id::cpu_core);
            lines.label_number("cpu", "", core);
            lines.value_decimal(static_cast<uint64_t>(readings.cores[core].value), percent_digits);
        }
    }
    if (readings.memory_used.known) {
        lines.begin(metric_id::memory_used);
        lines.value_signed(readings.memory_used.value * kilobyte);
    }
    add_percent(lines, metric_id::memory_ratio, readings.memory_percent);
    add_percent(lines, metric_id::connections, readings.connections_percent);
}

/// A slot that is off or dead shows 0 everywhere. Of SINR alone 0 is a measure, too, so the others decide.
bool is_reporting(const gauge_reading (&slot)[measure_total]) {
    for (size_t measure = 0; measure < measure_total; ++measure) {
        if (slot[measure].known && slot[measure].value != 0) {
            return true;
        }
    }
    return false;
}

void add_slots(sample_lines& lines, const router_readings& readings) {
    const document_reading& document = readings.documents[sim_document];
    if (!document.listed || document.stale) {
        return;
    }
    for (size_t slot = 0; slot < slot_total; ++slot) {
        lines.begin(metric_id::sim_reporting);
        lines.label_number("slot", "", slot + 1);
        lines.value(is_reporting(readings.sim[slot]) ? 1 : 0);
    }
    for (size_t measure = 0; measure < measure_total; ++measure) {
        for (size_t slot = 0; slot < slot_total; ++slot) {
            const gauge_reading& reading = readings.sim[slot][measure];
            if (reading.known && is_reporting(readings.sim[slot])) {
                lines.begin(measures[measure]);
                lines.label_number("slot", "", slot + 1);
                lines.value_signed(reading.value);
            }
        }
    }
}

void add_port(sample_lines& lines, metric_id id, const char* name, const gauge_reading& reading) {
    if (reading.known) {
        lines.begin(id);
        lines.label("port", name);
        lines.value_signed(reading.value);
    }
}

void add_numbered(sample_lines& lines, metric_id id, const char* name, const gauge_reading (&readings)[port_total]) {
    for (size_t port = 0; port < port_total; ++port) {
        if (readings[port].known) {
            lines.begin(id);
            lines.label_number("port", name, port + 1);
            lines.value_signed(readings[port].value);
        }
    }
}

void add_ports(sample_lines& lines, const router_readings& readings) {
    add_numbered(lines, metric_id::port_state, "eth", readings.port_eth);
    add_numbered(lines, metric_id::port_state, "3g", readings.port_3g);
    add_port(lines, metric_id::port_state, "wifi2g", readings.port_wifi2g);
    add_port(lines, metric_id::port_state, "wifi5g", readings.port_wifi5g);
    add_port(lines, metric_id::port_state, "power", readings.port_power);
    add_numbered(lines, metric_id::port_use, "3g", readings.port_use3g);
}

} // namespace

void add_gauge_samples(sample_lines& lines, const router_readings& readings) {
    add_usage(lines, readings);
    add_slots(lines, readings);
    add_ports(lines, readings);
}

} // namespace dashboard
