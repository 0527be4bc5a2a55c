#include "fleet/simulator/document_elements.h"

#include "fleet/simulator/recorded_document.h"

#include <regex>

namespace dashboard {

namespace {

direction direction_of(const std::string& word) {
    if (word == "tx" || word == "Tx") {
        return direction::transmit;
    }
    return word == "rx" || word == "Rx" ? direction::receive : direction::both;
}

/// "<wan1_tx>" or "<item name="tx_0">": what stands in the last tag of a line's beginning, without its brackets.
std::string tag_of(const std::string& before) {
    const size_t begin = before.rfind('<');
    return begin == std::string::npos ? "" : before.substr(begin + 1, before.size() - begin - 2);
}

/// The interfaces of the recorded router.
std::string wan_link(int wan) {
    return wan == 1 ? "eth0" : "usbnet" + std::to_string(wan - 2);
}

std::string numbered(const char* stem, const std::string& digits, int less) {
    return stem + std::to_string(std::stoi(digits) - less);
}

struct gauge_element {
    const char* element;
    number_source source;
};

constexpr gauge_element gauges[] = {
    {"time", number_source::time},
    {"mem_usage", number_source::memory_kilobytes},
    {"usage", number_source::usage},
};

} // namespace

void element_reader::find_counter(document_line& line, const std::string& element) const {
    static const std::regex traffic("(wan|lan|bond)([0-9]+)_(tx|rx|txrx)");
    static const std::regex slave("slave([0-9]+)_txrx");
    static const std::regex vap("VAP([0-9]+)_(24|50)_(Tx|Rx|TxRx)");
    static const std::regex point("ap_([0-9]+)_TxRx");
    std::smatch part;
    if (std::regex_match(element, part, traffic)) {
        line.link = part[1] == "wan" ? wan_link(std::stoi(part[2]))
                                     : numbered(part[1] == "lan" ? "br" : "bond", part[2], part[1] == "lan" ? 1 : 0);
        line.way = direction_of(part[3]);
    } else if (std::regex_match(element, part, slave)) {
        line.link = numbered("eth", part[1], -2);
    } else if (std::regex_match(element, part, vap)) {
        // An access point of its own counts apart from the router's.
        const bool managed = document_file.compare(0, 10, "aptraffic_") == 0;
        line.link = numbered(part[2] == "24" ? "ra" : "rai", part[1], 1) + (managed ? "@" + document_file : "");
        line.way = direction_of(part[3]);
    } else if (std::regex_match(element, part, point)) {
        line.link = "ap" + part[1].str();
    } else {
        return;
    }
    // What never counted stays at 0: a virtual access point that is not there.
    line.source = line.recorded == "0" ? number_source::kept : number_source::bytes;
}

void element_reader::find_item(document_line& line, const std::string& item) {
    static const std::regex form("(device|type|tx|rx|txrate|rxrate)_([0-9]+)");
    std::smatch part;
    if (!std::regex_match(item, part, form)) {
        return;
    }
    if (part[1] == "device") {
        device_names[part[2]] = line.recorded;
    }
    line.link = device_names[part[2]];
    line.of_device = true;
    if (part[1] == "device" || part[1] == "type") {
        return;
    }
    line.way = direction_of(part[1].str().substr(0, 2));
    line.source = part[1].length() == 2 ? number_source::bytes : number_source::rate;
}

void element_reader::find_source(document_line& line) {
    static const std::regex sim("sim([12])_(RSSI|RSRP|RSRQ|SINR|RSCP|EcIo)");
    static const std::regex item("item name=\"([^\"]*)\"");
    static const std::regex core("cpu_usage[0-3]?");
    const std::string tag = tag_of(line.before);
    std::smatch part;
    for (const gauge_element& gauge : gauges) {
        if (tag == gauge.element) {
            line.source = gauge.source;
        }
    }
    if (std::regex_match(tag, core)) {
        line.source = number_source::cpu;
    } else if (tag == "wifi_50_txrx" || tag == "wifi_24_txrx") {
        line.source = tag == "wifi_50_txrx" ? number_source::band_bytes : number_source::bytes;
        line.link = tag == "wifi_50_txrx" ? "rai0" : "ra0";
    } else if (std::regex_match(tag, part, sim)) {
        line.slot = std::stoi(part[1]);
        line.source = part[2] == "RSRP" ? number_source::rsrp : number_source::sim_measure;
    } else if (std::regex_match(tag, part, item)) {
        find_item(line, part[1]);
    } else if (tag == "port_eth1" || tag == "port_3g1") {
        line.source = number_source::port;
        line.link = tag == "port_eth1" ? "eth0" : "usbnet0";
    } else {
        find_counter(line, tag);
    }
}

} // namespace dashboard
