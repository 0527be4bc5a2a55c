// The elements of the series documents, and where their values go.
#include "exporter/number_text.h"
#include "exporter/router_readings.h"

namespace dashboard {

const traffic_row traffic_table[traffic_kind_total] = {
    {"wan", true, true, 0, 16},
    {"lan", true, true, 16, 5},
    {"wifi_24", true, true, 21, 8},
    {"wifi_50", true, true, 29, 8},
    {"bond", false, false, 37, 3},
    {"bond_slave", false, true, 40, 12},
    {"ap", false, false, 52, 32},
    {"ap_vap_24", false, false, 84, 1024},
    {"ap_vap_50", false, false, 1108, 1024},
};

static_assert(1108 + 1024 == interface_total, "the last kind ends where the readings do");

namespace {

/// What an element is.
enum class element_role : uint8_t {
    ignored, // known, and of no use: sums of what others say
    counter,
    cpu,
    core,
    memory,
    measure,
};

/// One kind of element. A '#' in its name stands for a number from `first` to `last`.
struct element_rule {
    const char* name;
    uint8_t first;
    uint8_t last;
    element_role role;
    traffic_kind kind; // of a counter
    uint8_t detail;    // way of a counter; number of a measure
};

/// The elements of one document; each table ends with a rule without a name.
constexpr element_rule no_more = {nullptr, 0, 0, element_role::ignored, traffic_kind::wan, 0};

constexpr element_rule cpu_rules[] = {{"cpu_usage", 0, 0, element_role::cpu, traffic_kind::wan, 0},
                                      {"cpu_usage#", 0, 3, element_role::core, traffic_kind::wan, 0},
                                      no_more};
constexpr element_rule mem_rules[] = {{"mem_usage", 0, 0, element_role::memory, traffic_kind::wan, 0}, no_more};
constexpr element_rule wan_rules[] = {{"wan#_tx", 1, 16, element_role::counter, traffic_kind::wan, transmit},
                                      {"wan#_rx", 1, 16, element_role::counter, traffic_kind::wan, receive},
                                      {"wan#_txrx", 1, 16, element_role::ignored, traffic_kind::wan, 0},
                                      no_more};
constexpr element_rule lan_rules[] = {{"lan#_tx", 1, 5, element_role::counter, traffic_kind::lan, transmit},
                                      {"lan#_rx", 1, 5, element_role::counter, traffic_kind::lan, receive},
                                      {"lan#_txrx", 1, 5, element_role::ignored, traffic_kind::lan, 0},
                                      no_more};
constexpr element_rule wifi_24_rules[] = {{"VAP#_24_Tx", 1, 8, element_role::counter, traffic_kind::wifi_24, transmit},
                                          {"VAP#_24_Rx", 1, 8, element_role::counter, traffic_kind::wifi_24, receive},
                                          {"VAP#_24_TxRx", 1, 8, element_role::ignored, traffic_kind::wifi_24, 0},
                                          {"wifi_24_txrx", 0, 0, element_role::ignored, traffic_kind::wifi_24, 0},
                                          no_more};
// The band's total counts sent bytes twice: its virtual access points are the truth.
constexpr element_rule wifi_50_rules[] = {{"VAP#_50_Tx", 1, 8, element_role::counter, traffic_kind::wifi_50, transmit},
                                          {"VAP#_50_Rx", 1, 8, element_role::counter, traffic_kind::wifi_50, receive},
                                          {"VAP#_50_TxRx", 1, 8, element_role::ignored, traffic_kind::wifi_50, 0},
                                          {"wifi_50_txrx", 0, 0, element_role::ignored, traffic_kind::wifi_50, 0},
                                          no_more};
constexpr element_rule allap_rules[] = {{"ap_#_TxRx", 0, 31, element_role::counter, traffic_kind::ap, both}, no_more};
constexpr element_rule sim_rules[] = {{"sim#_RSSI", 1, 2, element_role::measure, traffic_kind::wan, 0},
                                      {"sim#_RSRP", 1, 2, element_role::measure, traffic_kind::wan, 1},
                                      {"sim#_RSRQ", 1, 2, element_role::measure, traffic_kind::wan, 2},
                                      {"sim#_SINR", 1, 2, element_role::measure, traffic_kind::wan, sinr_measure},
                                      {"sim#_RSCP", 1, 2, element_role::measure, traffic_kind::wan, 4},
                                      {"sim#_EcIo", 1, 2, element_role::measure, traffic_kind::wan, 5},
                                      no_more};
constexpr element_rule bond_rules[] = {{"slave#_txrx", 0, 3, element_role::counter, traffic_kind::bond_slave, both},
                                       no_more};
constexpr element_rule ap_rules[] = {{"VAP#_24_TxRx", 1, 8, element_role::counter, traffic_kind::ap_vap_24, both},
                                     {"VAP#_50_TxRx", 1, 8, element_role::counter, traffic_kind::ap_vap_50, both},
                                     no_more};
// A bond's own element has its number in its name.
constexpr element_rule bond_totals[bond_total] = {
    {"bond0_txrx", 0, 0, element_role::counter, traffic_kind::bond, both},
    {"bond1_txrx", 0, 0, element_role::counter, traffic_kind::bond, both},
    {"bond2_txrx", 0, 0, element_role::counter, traffic_kind::bond, both},
};

constexpr const element_rule* rules_of_fixed[first_bond_document] = {
    cpu_rules, mem_rules, wan_rules, lan_rules, wifi_24_rules, wifi_50_rules, allap_rules, nullptr, sim_rules};

/// A decibel value lies between these.
constexpr int64_t weakest = -200;
constexpr int64_t strongest = 100;

/// One document's own place among the interfaces of a kind.
size_t base_of(size_t place, traffic_kind kind) {
    switch (kind) {
    case traffic_kind::bond:
        return place - first_bond_document;
    case traffic_kind::bond_slave:
        return (place - first_bond_document) * slaves_of_bond;
    case traffic_kind::ap_vap_24:
    case traffic_kind::ap_vap_50:
        return (place - first_ap_document) * vaps_of_band;
    default:
        return 0;
    }
}

bool take_counter(traffic_reading& reading, uint8_t way, std::string_view text) {
    if (reading.known[way] || !parse_unsigned(text, reading.bytes[way])) {
        return false;
    }
    reading.known[way] = true;
    return true;
}

bool take_gauge(gauge_reading& reading, std::string_view text, int64_t least, int64_t most) {
    if (reading.known || !parse_signed(text, least, most, reading.value)) {
        return false;
    }
    reading.known = true;
    return true;
}

/// A measure with a minus sign in front; "-0" and, beside SINR, 0 say that there is none.
bool take_measure(gauge_reading (&slot)[measure_total], uint8_t measure, std::string_view text) {
    if (measure == sinr_measure) {
        return take_gauge(slot[measure], text, weakest, strongest);
    }
    return text == "-0" || take_gauge(slot[measure], text, weakest, -1);
}

bool take_value(const element_rule& rule, size_t place, uint32_t number, std::string_view text,
                router_readings& readings) {
    const size_t index = number - rule.first;
    switch (rule.role) {
    case element_role::counter: {
        const traffic_row& row = traffic_table[static_cast<size_t>(rule.kind)];
        return take_counter(readings.traffic[row.first + base_of(place, rule.kind) + index], rule.detail, text);
    }
    case element_role::cpu:
        return take_gauge(readings.cpu, text, 0, 100);
    case element_role::core: // -1: not measured
        return text == "-1" || take_gauge(readings.cores[index], text, 0, 100);
    case element_role::memory:
        return take_gauge(readings.memory_used, text, 0, UINT32_MAX);
    case element_role::measure:
        return take_measure(readings.sim[index], rule.detail, text);
    case element_role::ignored:
        break;
    }
    return true;
}

const element_rule* find_rule(const element_rule* rules, std::string_view name, uint32_t& number) {
    for (const element_rule* rule = rules; rule->name != nullptr; ++rule) {
        if (matches_pattern(name, rule->name, rule->first, rule->last, number)) {
            return rule;
        }
    }
    return nullptr;
}

const element_rule* rule_of(size_t place, std::string_view name, uint32_t& number) {
    if (place >= first_ap_document) {
        return find_rule(ap_rules, name, number);
    }
    if (place < first_bond_document) {
        return find_rule(rules_of_fixed[place], name, number);
    }
    const element_rule& total = bond_totals[place - first_bond_document];
    return matches_pattern(name, total.name, 0, 0, number) ? &total : find_rule(bond_rules, name, number);
}

} // namespace

void take_lines(size_t place, std::string_view lines, router_readings& readings) {
    while (!lines.empty()) {
        document_element element;
        uint32_t number = 0;
        const bool whole = take_element(lines, element);
        const element_rule* const rule = whole ? rule_of(place, element.name, number) : nullptr;
        if (rule == nullptr || !take_value(*rule, place, number, element.text, readings)) {
            ++readings.documents[place].rejected;
        }
    }
}

} // namespace dashboard
