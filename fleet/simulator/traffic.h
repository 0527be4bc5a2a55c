// What flows over a link of a simulated router: a rate that rises and falls, and the bytes of any stretch of time,
// exactly.
#ifndef FLEET_SIMULATOR_TRAFFIC_H
#define FLEET_SIMULATOR_TRAFFIC_H

#include <cstdint>

namespace dashboard {

/// Bytes per second around a mean: mean * (1 + swing * sin(2 pi * (t + shift) / period)).
struct traffic_pattern {
    double mean;
    /// 0 (even) to 1 (down to nothing).
    double swing;
    /// Seconds.
    double period;
    double shift;
};

/// Bytes that flow between two moments, in seconds, `from` before `to`.
double bytes_between(const traffic_pattern& pattern, double from, double to);

/// A number that looks drawn by lot and is the same for the same arguments, on every machine.
uint64_t lot(uint64_t seed, uint64_t number);

/// The same as a fraction, 0 to below 1.
double lot_fraction(uint64_t seed, uint64_t number);

} // namespace dashboard

#endif
