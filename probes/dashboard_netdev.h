// The network interfaces: their counters as /proc/net/dev lists them, and which of them are up.
//
// Two process-wide tables, rebuilt and read by the server thread alone; nothing here is locked.
#ifndef PROBES_DASHBOARD_NETDEV_H
#define PROBES_DASHBOARD_NETDEV_H

#include <cstddef>
#include <cstdint>

namespace dashboard {

constexpr int32_t netdev_limit = 75; // interfaces in either table; the rest is dropped with a message

/// One interface and its sixteen counters in the order of /proc/net/dev.
struct netdev_entry {
    char name[24]; // without the colon; empty: the end of the table
    unsigned long long rx_bytes, rx_packets, rx_errs, rx_drop, rx_fifo, rx_frame, rx_compressed, rx_multicast;
    unsigned long long tx_bytes, tx_packets, tx_errs, tx_drop, tx_fifo, tx_colls, tx_carrier, tx_compressed;
};

static_assert(sizeof(netdev_entry) == 24 + 16 * 8, "a name and sixteen counters, without holes");
static_assert(offsetof(netdev_entry, tx_bytes) == 24 + 8 * 8, "the transmit counters follow the receive counters");

/// Rebuilds the netdev table. When /proc/net/dev cannot be opened the table stays as it was.
void main_netdev_info();

/// Rebuilds the alive list, the names that `ifconfig` shows, aliases left out and names cut to 15 characters. When the
/// command cannot be started the list stays as it was.
void main_netdev_alive();

/// Finds the first interface at or after `start` whose name begins with what stands before the first '*' of `pattern`
/// (all of it when it has none). Returns its index and points `*out` to it, valid until the next main_netdev_info;
/// -1 and a null pointer when there is none.
int32_t netdev_found(uint32_t start, const char* pattern, const netdev_entry** out);

/// 1 if `name` is in the alive list, else 0; always 0 for "lo".
int32_t netdev_alive(const char* name);

/// Diagnostics: log every name of the netdev table, or of the alive list without "lo", a line each.
void netdev_found_list();
void netdev_alive_list();

} // namespace dashboard

#endif
