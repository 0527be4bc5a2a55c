#include "platform/host/csman_items.h"

#include "platform/host/csman_text.h"

#include <cstring>

namespace dashboard {

namespace {

constexpr item_type integer = item_type::integer;
constexpr item_type string = item_type::string;
constexpr char number_mark[] = "{n}";

constexpr item_family families[] = {
    {0x00150780, 1, 0, "dashboard.enable", integer, 0, "1: the modules that are enabled run; anything else: none does"},
    {0x00150781, 1, 0, "dashboard.log_mode", integer, 0,
     "2: messages to the console only; 3: to syslog only; 0: as it was; anything else: no messages"},

    {0x00150783, 1, 0, "cpu.enable", integer, 0, "1: CPU usage runs"},
    {0x00150784, 1, 0, "mem.enable", integer, 0, "1: memory usage runs"},
    {0x00150785, 1, 0, "wan.enable", integer, 0, "1: WAN traffic runs"},
    {0x00150786, 1, 0, "bond.enable", integer, 0, "1: bond traffic runs"},
    {0x00150787, 1, 0, "lan.enable", integer, 0, "1: LAN traffic runs"},
    {0x00150788, 1, 0, "wifi24.enable", integer, 0, "1: Wi-Fi traffic of the 2.4 GHz band runs"},
    {0x00150789, 1, 0, "wifi5.enable", integer, 0, "1: Wi-Fi traffic of the 5 GHz band runs"},
    {0x0015078a, 1, 0, "ap.enable", integer, 0, "1: traffic of each managed AP runs"},
    {0x0015078b, 1, 0, "allap.enable", integer, 0, "1: traffic of all managed APs together runs"},
    {0x00150782, 1, 0, "current.enable", integer, 0, "1: the current-traffic snapshot runs"},
    {0x0015078c, 1, 0, "sim.enable", integer, 0, "1: signal quality of the SIM slots runs"},

    {0x80150431, 1, 0, "cpu.view", integer, 0, "positive: CPU usage is being looked at"},
    {0x80150432, 1, 0, "mem.view", integer, 0, "positive: memory usage is being looked at"},
    {0x80150433, 1, 0, "wan.view", integer, 0, "positive: WAN traffic is being looked at"},
    {0x80150434, 1, 0, "bond.view", integer, 0, "1, 2 or 3: bond0, bond1 or bond2 is being looked at"},
    {0x80150435, 1, 0, "lan.view", integer, 0, "positive: LAN traffic is being looked at"},
    {0x80150436, 1, 0, "wifi24.view", integer, 0, "positive: Wi-Fi traffic at 2.4 GHz is being looked at"},
    {0x80150437, 1, 0, "wifi5.view", integer, 0, "positive: Wi-Fi traffic at 5 GHz is being looked at"},
    {0x80150438, 1, 0, "ap.view", integer, 0, "1 to 128: the traffic of this AP is being looked at"},
    {0x80150439, 1, 0, "allap.view", integer, 0, "positive: the traffic of all APs is being looked at"},
    {0x80150430, 1, 0, "current.view", integer, 0, "positive: the current traffic is being looked at"},
    {0x8015043a, 1, 0, "sim.view", integer, 0, "positive: signal quality is being looked at"},

    {0x8015043e, 1, 0, "start_marker", integer, 0,
     "the module that started last: 1 CPU, 2 memory, 3 WAN, 5 LAN, 6 Wi-Fi 2.4 GHz, 7 Wi-Fi 5 GHz, 8 per-AP, 9 all-AP, "
     "10 SIM, 40 to 42 bond0 to bond2; 99 (written by others) stays"},

    {0x00010600, 16, 1, "wan.binding.{n}", integer, 0,
     "which name WAN n takes: 99 takes wan.name.99, b from 1 to 16 takes wan.name.b, anything else none"},
    {0x8001000b, 1, 0, "wan.name.99", string, 16, "network interface of a WAN whose binding is 99"},
    {0x80010190, 16, 1, "wan.name.{n}", string, 16, "network interface of a WAN whose binding is n"},

    {0x00b20070, 3, 0, "bond{n}.enable", integer, 0, "1: interface bond n is configured"},
    {0x00b200b0, 1, 0, "bond.name_map", string, 64, "display names of the bonds, one text for all three"},

    {0x8000f391, 1, 0, "wifi24.interface", string, 26, "main interface of the 2.4 GHz band: ra0 or rai0"},
    {0x8000f392, 1, 0, "wifi5.interface", string, 26, "main interface of the 5 GHz band: ra0 or rai0"},

    {0x801e5020, 2, 1, "sim{n}.state", integer, 0, "1: SIM slot n is enabled and alive; 0: it is dead"},
    {0x801e5f00, 2, 1, "sim{n}.rssi", integer, 0, "RSSI of SIM slot n, without its minus sign"},
    {0x801e8860, 2, 1, "sim{n}.rsrp", integer, 0, "RSRP of SIM slot n, without its minus sign"},
    {0x801e7e20, 2, 1, "sim{n}.rsrq", integer, 0, "RSRQ of SIM slot n, without its minus sign"},
    {0x801e2be0, 2, 1, "sim{n}.sinr", integer, 0, "SINR of SIM slot n, with its sign"},
    {0x801e7c20, 2, 1, "sim{n}.rscp", integer, 0, "RSCP of SIM slot n, without its minus sign"},
    {0x801e5e00, 2, 1, "sim{n}.ecio", integer, 0, "Ec/Io of SIM slot n, without its minus sign"},

    {0x8000f360, 1, 0, "port.eth_count", integer, 0, "number of Ethernet ports; 0 to 16 are read"},
    {0x80010020, 16, 1, "port.eth.{n}", integer, 0, "state of Ethernet port n, passed on as it is"},
    {0x801e0701, 16, 1, "port.3g.{n}", integer, 0, "state of cellular port n, passed on as it is"},
    {0x001e4200, 16, 1, "port.use3g.{n}", integer, 0, "use of cellular port n, passed on as it is"},
    {0x00010010, 1, 0, "port.wifi2g", integer, 0, "state of the 2.4 GHz radio, passed on as it is"},
    {0x00010018, 1, 0, "port.wifi5g", integer, 0, "state of the 5 GHz radio, passed on as it is"},
    {0x803b0011, 1, 0, "port.power", integer, 0, "state of the power supply, passed on as it is"},
};

/// Reads the number of a row's item: digits only, without leading zeros, so that each item has one name.
bool parse_number(const std::string& digits, unsigned& number) {
    if (digits.empty() || digits.size() > 3 || (digits[0] == '0' && digits.size() > 1)) {
        return false;
    }
    number = 0;
    for (const char digit : digits) {
        if (digit < '0' || digit > '9') {
            return false;
        }
        number = number * 10 + static_cast<unsigned>(digit - '0');
    }
    return true;
}

bool find_in_family(const item_family& family, const std::string& name, unsigned& index) {
    const std::string pattern = family.name;
    const size_t mark = pattern.find(number_mark);
    index = 0;
    if (mark == std::string::npos) {
        return name == pattern;
    }
    const size_t tail = pattern.size() - mark - strlen(number_mark);
    if (name.size() < mark + tail || name.compare(0, mark, pattern, 0, mark) != 0 ||
        name.compare(name.size() - tail, tail, pattern, pattern.size() - tail, tail) != 0) {
        return false;
    }
    unsigned number = 0;
    if (!parse_number(name.substr(mark, name.size() - mark - tail), number)) {
        return false;
    }
    index = number - family.first;
    return number >= family.first && index < family.count;
}

} // namespace

size_t item_family_count() {
    return sizeof families / sizeof families[0];
}

const item_family& item_family_at(size_t index) {
    return families[index];
}

const item_family* find_family(uint32_t csid) {
    for (const item_family& family : families) {
        if (csid >= family.csid && csid - family.csid < family.count) {
            return &family;
        }
    }
    return nullptr;
}

bool find_csid(const std::string& name, uint32_t& csid) {
    for (const item_family& family : families) {
        unsigned index = 0;
        if (find_in_family(family, name, index)) {
            csid = family.csid + index;
            return true;
        }
    }
    return false;
}

std::string item_name(const item_family& family, unsigned index) {
    std::string name = family.name;
    const size_t mark = name.find(number_mark);
    if (mark != std::string::npos) {
        name.replace(mark, strlen(number_mark), std::to_string(family.first + index));
    }
    return name;
}

std::string item_name(uint32_t csid) {
    const item_family* family = find_family(csid);
    if (family != nullptr) {
        return item_name(*family, csid - family->csid);
    }
    char number[store_name_size];
    store_item_name(csid, number);
    return number;
}

} // namespace dashboard
