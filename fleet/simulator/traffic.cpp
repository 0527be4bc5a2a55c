#include "fleet/simulator/traffic.h"

#include <cmath>

namespace dashboard {

namespace {

constexpr double two_pi = 6.283185307179586;

/// The integral of the pattern from wherever it begins to `t`.
double antiderivative(const traffic_pattern& pattern, double t) {
    const double turn = two_pi / pattern.period;
    return pattern.mean * (t - pattern.swing / turn * std::cos(turn * (t + pattern.shift)));
}

} // namespace

double bytes_between(const traffic_pattern& pattern, double from, double to) {
    return antiderivative(pattern, to) - antiderivative(pattern, from);
}

// Mixes all bits of both numbers: multiplications by odd numbers and shifts can be undone, so nothing gets lost on the
// way.
uint64_t lot(uint64_t seed, uint64_t number) {
    uint64_t mixed = seed * 0xd1342543de82ef95U + number * 0x2545f4914f6cdd1dU + 0x632be59bd9b4e019U;
    for (int round = 0; round < 3; ++round) {
        mixed ^= mixed >> 29U;
        mixed *= 0xaef17502108ef2d9U;
        mixed ^= mixed >> 32U;
    }
    return mixed;
}

double lot_fraction(uint64_t seed, uint64_t number) {
    return static_cast<double>(lot(seed, number) >> 11U) / 9007199254740992.0;
}

} // namespace dashboard
