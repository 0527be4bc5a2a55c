// The elements of the current traffic.
#include "beside/text_view.h"
#include "exporter/number_text.h"
#include "exporter/router_readings.h"

#include <cstring>

namespace dashboard {

namespace {

bool take_gauge(gauge_reading& reading, std::string_view text, int64_t least, int64_t most) {
    if (reading.known || !parse_signed(text, least, most, reading.value)) {
        return false;
    }
    reading.known = true;
    return true;
}

bool take_port(gauge_reading& reading, std::string_view text) {
    return take_gauge(reading, text, INT32_MIN, INT32_MAX);
}

bool take_name(device_reading& device, std::string_view text) {
    if (device.name_length != 0 || text.empty() || text.size() > longest_device) {
        return false;
    }
    memcpy(device.name, text.data(), text.size());
    device.name_length = static_cast<uint8_t>(text.size());
    return true;
}

bool take_counter(traffic_reading& reading, traffic_way way, std::string_view text) {
    if (reading.known[way] || !parse_unsigned(text, reading.bytes[way])) {
        return false;
    }
    reading.known[way] = true;
    return true;
}

/// Items are numbered by their place in the list. Rates belong to that place, not to the name: they are of no use.
bool take_item(std::string_view name, std::string_view text, router_readings& readings) {
    constexpr uint32_t last = device_total - 1;
    uint32_t k = 0;
    if (matches_pattern(name, "device_#", 0, last, k)) {
        return take_name(readings.devices[k], text);
    }
    if (matches_pattern(name, "tx_#", 0, last, k)) {
        return take_counter(readings.devices[k].traffic, transmit, text);
    }
    if (matches_pattern(name, "rx_#", 0, last, k)) {
        return take_counter(readings.devices[k].traffic, receive, text);
    }
    return matches_pattern(name, "type_#", 0, last, k) || matches_pattern(name, "txrate_#", 0, last, k) ||
           matches_pattern(name, "rxrate_#", 0, last, k);
}

/// "12|63|0": CPU, which has a document of its own, memory and connections, in percent. -1 is memory that could not be
/// read.
bool take_usage(std::string_view text, router_readings& readings) {
    const size_t first = text.find('|');
    const size_t second = first == std::string_view::npos ? first : text.find('|', first + 1);
    if (second == std::string_view::npos) {
        return false;
    }
    const std::string_view memory = head_of(behind(text, first + 1), second - first - 1);
    const bool memory_taken = memory == "-1" || take_gauge(readings.memory_percent, memory, 0, 100);
    return take_gauge(readings.connections_percent, behind(text, second + 1), 0, 100) && memory_taken;
}

bool take_port_element(std::string_view name, std::string_view text, router_readings& readings) {
    uint32_t n = 0;
    if (matches_pattern(name, "port_eth#", 1, port_total, n)) {
        return take_port(readings.port_eth[n - 1], text);
    }
    if (matches_pattern(name, "port_3g#", 1, port_total, n)) {
        return take_port(readings.port_3g[n - 1], text);
    }
    if (matches_pattern(name, "port_use3g#", 1, port_total, n)) {
        return take_port(readings.port_use3g[n - 1], text);
    }
    if (name == "port_wifi2g") {
        return take_port(readings.port_wifi2g, text);
    }
    if (name == "port_wifi5g") {
        return take_port(readings.port_wifi5g, text);
    }
    return name == "port_power" && take_port(readings.port_power, text);
}

bool same_name(const device_reading& one, const device_reading& other) {
    return one.name_length == other.name_length && memcmp(one.name, other.name, one.name_length) == 0;
}

/// A name makes one series: of two devices of a name the first counts, and one without a name does not.
void drop_doubles(router_readings& readings) {
    for (size_t k = 0; k < device_total; ++k) {
        device_reading& device = readings.devices[k];
        bool again = device.name_length == 0 && (device.traffic.known[receive] || device.traffic.known[transmit]);
        for (size_t before = 0; before < k && device.name_length != 0 && !again; ++before) {
            again = same_name(readings.devices[before], device);
        }
        if (again) {
            device = {};
            ++readings.documents[current_document].rejected;
        }
    }
}

} // namespace

void take_current_lines(std::string_view lines, router_readings& readings) {
    while (!lines.empty()) {
        document_element element;
        bool taken = take_element(lines, element);
        if (taken && element.name == "item") {
            taken = take_item(element.attribute, element.text, readings);
        } else if (taken && element.name == "usage") {
            taken = take_usage(element.text, readings);
        } else if (taken) {
            taken = take_port_element(element.name, element.text, readings);
        }
        if (!taken) {
            ++readings.documents[current_document].rejected;
        }
    }
    drop_doubles(readings);
}

} // namespace dashboard
