#include "exporter/sample_groups.h"

namespace dashboard {

namespace {

constexpr const char* way_texts[] = {"receive", "transmit"};

/// What the label says of interface number `index` of a kind.
short_text interface_name(traffic_kind kind, unsigned index) {
    short_text name;
    switch (kind) {
    case traffic_kind::wan:
        return name << "wan" << index + 1;
    case traffic_kind::lan:
        return name << "br" << index;
    case traffic_kind::wifi_24:
    case traffic_kind::wifi_50:
        return name << "vap" << index + 1;
    case traffic_kind::bond:
        return name << "bond" << index;
    case traffic_kind::bond_slave:
        return name << "bond" << index / unsigned{slaves_of_bond} << "_slave" << index % unsigned{slaves_of_bond};
    case traffic_kind::ap:
        return name << "ap" << index;
    case traffic_kind::ap_vap_24:
    case traffic_kind::ap_vap_50:
        return name << "ap" << index / unsigned{vaps_of_band} << "_vap" << index % unsigned{vaps_of_band} + 1;
    }
    return name;
}

bool is_known(const traffic_reading& reading) {
    return reading.known[receive] || reading.known[transmit];
}

/// Whether any of its counters reads more than 0.
bool has_counted(const traffic_reading& reading) {
    return (reading.known[receive] && reading.bytes[receive] != 0) ||
           (reading.known[transmit] && reading.bytes[transmit] != 0);
}

void add_way(sample_lines& lines, const char* kind, std::string_view name, const char* way, uint64_t bytes) {
    lines.begin(metric_id::traffic);
    lines.label("kind", kind);
    lines.label("interface", name);
    lines.label("direction", way);
    lines.value(bytes);
}

void add_counters(sample_lines& lines, traffic_kind kind, unsigned index, const traffic_reading& reading) {
    const traffic_row& row = traffic_table[static_cast<size_t>(kind)];
    if (!is_known(reading) || (row.zero_is_down && !has_counted(reading))) {
        return;
    }
    const short_text name = interface_name(kind, index);
    if (!row.has_ways) {
        add_way(lines, row.kind, name.view(), "both", reading.bytes[both]);
        return;
    }
    for (const traffic_way way : {receive, transmit}) {
        if (reading.known[way]) {
            add_way(lines, row.kind, name.view(), way_texts[way], reading.bytes[way]);
        }
    }
}

void add_device(sample_lines& lines, const device_reading& device) {
    for (const traffic_way way : {receive, transmit}) {
        if (device.name_length > 0 && device.traffic.known[way]) {
            lines.begin(metric_id::traffic);
            lines.label("kind", "current");
            lines.label_foreign("interface", {device.name, device.name_length});
            lines.label("direction", way_texts[way]);
            lines.value(device.traffic.bytes[way]);
        }
    }
}

void add_interface_up(sample_lines& lines, traffic_kind kind, unsigned index, const traffic_reading& reading) {
    const traffic_row& row = traffic_table[static_cast<size_t>(kind)];
    if (!is_known(reading) || !row.zero_is_down) {
        return;
    }
    lines.begin(metric_id::interface_up);
    lines.label("kind", row.kind);
    lines.label("interface", interface_name(kind, index).view());
    lines.value(has_counted(reading) ? 1 : 0);
}

template <class adder>
void for_interfaces(const router_readings& readings, const adder& add) {
    for (size_t kind = 0; kind < traffic_kind_total; ++kind) {
        const traffic_row& row = traffic_table[kind];
        for (unsigned index = 0; index < row.count; ++index) {
            add(static_cast<traffic_kind>(kind), index, readings.traffic[row.first + index]);
        }
    }
}

} // namespace

void add_traffic_samples(sample_lines& lines, const router_readings& readings) {
    for_interfaces(readings, [&lines](traffic_kind kind, unsigned index, const traffic_reading& reading) {
        add_counters(lines, kind, index, reading);
    });
    for (const device_reading& device : readings.devices) {
        add_device(lines, device);
    }
    for_interfaces(readings, [&lines](traffic_kind kind, unsigned index, const traffic_reading& reading) {
        add_interface_up(lines, kind, index, reading);
    });
}

} // namespace dashboard
