// The ring in which a metric keeps its history, and its average.
#ifndef MONITORS_METRIC_SERIES_H
#define MONITORS_METRIC_SERIES_H

#include "base/wall_clock.h"

#include <cstdint>

namespace dashboard {

/// a + b in 32 bits, wrapping, for the metrics that sum signed values.
inline int32_t wrapping_sum(int32_t a, int32_t b) {
    return static_cast<int32_t>(static_cast<uint32_t>(a) + static_cast<uint32_t>(b));
}

/// One ring of samples. One slot always stays free, so it holds slots - 1 at most; it is empty when start equals end.
///
/// `Sample` is a plain structure whose first field is `int32_t time`, seconds since the epoch; 0 marks an average of
/// nothing. It brings `add(const Sample&)`, which sums every averaged field, and `divide(int32_t n)` for n > 0, each in
/// the width and sign of its own metric.
template <class Sample, int32_t slots = 120>
struct metric_series {
    int32_t start;         // slot of the oldest sample
    int32_t end;           // slot that the next sample goes to
    int32_t last_roll_up;  // seconds since the epoch: the last roll-up into this series
    int32_t roll_up_index; // end of the next finer series at that roll-up; stays 0 in the sec series
    Sample slot[slots];
};

/// Samples held, 0 .. slots - 1.
template <class Sample, int32_t slots>
int32_t series_count(const metric_series<Sample, slots>& series) {
    return (series.end + slots - series.start) % slots;
}

/// The sample at a logical position, 0 the oldest; null outside 0 .. count - 1.
template <class Sample, int32_t slots>
const Sample* series_get(int32_t position, const metric_series<Sample, slots>& series) {
    if (position < 0 || position >= series_count(series)) {
        return nullptr;
    }
    return &series.slot[(series.start + position) % slots];
}

/// Copies a sample behind the newest; a full ring drops its oldest. Returns the new end.
template <class Sample, int32_t slots>
int32_t series_push(const Sample& sample, metric_series<Sample, slots>& series) {
    const int32_t new_end = (series.end + 1) % slots;
    if (series.start == new_end) {
        series.start = (new_end + 1) % slots;
    }
    series.slot[series.end] = sample;
    series.end = new_end;
    return new_end;
}

/// Averages into `out` what lies between two ends of the ring, its time the present; all zero, the time too, when
/// nothing does.
///
/// Deliberate: `from` and `to` are slot numbers, yet samples are fetched by logical position. The two agree until the
/// ring has wrapped for the first time; from then on other samples than the newest are averaged, and the position that
/// equals the count yields none.
template <class Sample, int32_t slots>
void series_average(Sample& out, int32_t to, int32_t from, const metric_series<Sample, slots>& series) {
    out = Sample{};
    int32_t found = 0;
    for (int32_t i = from; i != to; i = (i + 1) % slots) {
        if (const Sample* sample = series_get(i, series); sample != nullptr) {
            out.add(*sample);
            ++found;
        }
    }
    if (found > 0) {
        out.divide(found);
        out.time = wall_seconds();
    }
}

} // namespace dashboard

#endif
