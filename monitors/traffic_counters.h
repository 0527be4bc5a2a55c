// Bytes sent and received by a fixed number of interfaces, as the kernel counts them.
#ifndef MONITORS_TRAFFIC_COUNTERS_H
#define MONITORS_TRAFFIC_COUNTERS_H

#include "probes/dashboard_netdev.h"

#include <cstdint>

namespace dashboard {

/// The counters of `entities` interfaces, cumulative, in bytes. One that could not be read holds 0. All arithmetic is
/// unsigned 64-bit and wraps; averages truncate.
template <int32_t entities>
struct traffic_counters {
    unsigned long long tx[entities];
    unsigned long long rx[entities];
    unsigned long long txrx[entities];

    void take(int32_t entity, const netdev_entry& interface) {
        tx[entity] = interface.tx_bytes;
        rx[entity] = interface.rx_bytes;
        txrx[entity] = interface.tx_bytes + interface.rx_bytes;
    }
    void add(const traffic_counters& other) {
        for (int32_t i = 0; i < entities; ++i) {
            tx[i] += other.tx[i];
            rx[i] += other.rx[i];
            txrx[i] += other.txrx[i];
        }
    }
    void divide(int32_t n) {
        const auto divisor = static_cast<unsigned long long>(n);
        for (int32_t i = 0; i < entities; ++i) {
            tx[i] /= divisor;
            rx[i] /= divisor;
            txrx[i] /= divisor;
        }
    }
};

} // namespace dashboard

#endif
