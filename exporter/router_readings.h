// What is known of one router: facts that are handed over, and what its documents of seconds say.
#ifndef EXPORTER_ROUTER_READINGS_H
#define EXPORTER_ROUTER_READINGS_H

#include "beside/module_names.h"
#include "exporter/document_piece.h"
#include "exporter/short_text.h"

#include <cstddef>
#include <cstdint>

namespace dashboard {

// ---- Documents: their places

constexpr size_t bond_total = 3;
constexpr size_t ap_total = 128;
constexpr size_t slaves_of_bond = 4;
constexpr size_t vaps_of_band = 8;

/// The fixed ones, then one a bond and one an access point.
enum document_place : size_t {
    cpu_document,
    mem_document,
    wan_document,
    lan_document,
    wifi_24_document,
    wifi_50_document,
    allap_document,
    current_document,
    sim_document,
    first_bond_document,
    first_ap_document = first_bond_document + bond_total,
    document_total = first_ap_document + ap_total,
};

/// What is known of one document.
struct document_reading {
    bool listed; // is spoken of at all: always, but for bonds and access points that are not there
    document_fault fault;
    bool has_age;
    bool stale;
    int64_t age;       // seconds since its newest sample
    uint32_t rejected; // elements of the newest sample that could not be taken
};

// ---- Counters

enum class traffic_kind : uint8_t { wan, lan, wifi_24, wifi_50, bond, bond_slave, ap, ap_vap_24, ap_vap_50 };
constexpr size_t traffic_kind_total = 9;

enum traffic_way : uint8_t { receive, transmit, both = receive };

/// How a kind is named and counted.
struct traffic_row {
    const char* kind;
    bool has_ways;     // receive and transmit; else their sum alone
    bool zero_is_down; // the daemon writes 0 for an interface that is down
    uint16_t first;    // place of its first interface among all
    uint16_t count;
};

extern const traffic_row traffic_table[traffic_kind_total];
constexpr size_t interface_total = 16 + 5 + 8 + 8 + 3 + 12 + 32 + 2 * 1024;

struct traffic_reading {
    bool known[2];
    uint64_t bytes[2]; // by way
};

constexpr size_t device_total = 75;
constexpr size_t longest_device = 15;

/// One interface of the current traffic.
struct device_reading {
    uint8_t name_length; // 0: no name
    char name[longest_device];
    traffic_reading traffic;
};

// ---- Other values

struct gauge_reading {
    bool known;
    int64_t value;
};

constexpr size_t core_total = 4;
constexpr size_t slot_total = 2;
constexpr size_t measure_total = 6;
constexpr size_t port_total = 16;

/// RSSI, RSRP, RSRQ, SINR, RSCP, EcIo: as the table of metrics has them.
constexpr size_t sinr_measure = 3;

struct router_readings {
    document_reading documents[document_total];
    traffic_reading traffic[interface_total];
    device_reading devices[device_total];
    gauge_reading cpu; // percent
    gauge_reading cores[core_total];
    gauge_reading memory_used;    // kB
    gauge_reading memory_percent; // and of connections
    gauge_reading connections_percent;
    gauge_reading sim[slot_total][measure_total];
    gauge_reading port_eth[port_total];
    gauge_reading port_3g[port_total];
    gauge_reading port_use3g[port_total];
    gauge_reading port_wifi2g;
    gauge_reading port_wifi5g;
    gauge_reading port_power;
};

// ---- Where documents come from

/// Bonds and access points whose documents are there.
struct document_list {
    bool bond[bond_total];
    bool ap[ap_total];
};

/// Hands over documents of one router. `context` is the source's own.
struct document_source {
    void (*list)(void* context, document_list& there);
    /// Reads the beginning of a document and at most `longest` bytes of its end. `name` has no folder.
    document_fault (*read)(void* context, const char* name, size_t longest, document_piece& piece);
    void* context;
};

/// Seconds for which a document counts as fresh after its newest sample.
constexpr int64_t fresh_for = 10;

/// What metrics call a document, and the name of its file.
short_text document_label(size_t place);
short_text document_file(size_t place);

/// Reads every document. `now` is the router's clock; a bond that is configured is spoken of even without a document.
/// Values are taken from documents that are fresh alone.
void read_documents(const document_source& source, int64_t now, const bool (&bond_configured)[bond_total],
                    router_readings& readings);

/// Takes the elements of a document's newest sample (of current traffic: all) into the readings; counts what it cannot
/// take.
void take_lines(size_t place, std::string_view lines, router_readings& readings);

/// The same for current traffic, whose elements belong together by number.
void take_current_lines(std::string_view lines, router_readings& readings);

} // namespace dashboard

#endif
