// The wall clock as the daemon counts it.
#ifndef BASE_WALL_CLOCK_H
#define BASE_WALL_CLOCK_H

#include <cstdint>
#include <ctime>

namespace dashboard {

/// Seconds since the epoch in the 32 signed bits that samples, series and time-outs keep.
inline int32_t wall_seconds() {
    return static_cast<int32_t>(time(nullptr));
}

/// later - earlier in 32 bits, wrapping.
inline int32_t seconds_between(int32_t earlier, int32_t later) {
    return static_cast<int32_t>(static_cast<uint32_t>(later) - static_cast<uint32_t>(earlier));
}

/// start + seconds in 32 bits, wrapping.
inline int32_t seconds_after(int32_t start, int32_t seconds) {
    return static_cast<int32_t>(static_cast<uint32_t>(start) + static_cast<uint32_t>(seconds));
}

} // namespace dashboard

#endif
