// What a monitor's history promises, in the plainest words: seconds feed minutes feed hours. Written apart from the
// daemon's own frame, to judge it.
#ifndef TESTS_MODELS_HISTORY_MODEL_H
#define TESTS_MODELS_HISTORY_MODEL_H

#include "tests/models/ring_model.h"

#include <array>
#include <cstdint>
#include <type_traits>
#include <vector>

namespace dashboard::testing {

// A sample of plain numbers. Its mean sums in the width of the number, wrapping, and cuts quotients towards zero in the
// number's sign.
template <class Number, size_t size>
struct plain_sample {
    int64_t time = 0;
    std::array<Number, size> value{};

    static plain_sample mean(const std::vector<plain_sample>& samples, int64_t now) {
        plain_sample mean;
        mean.time = now;
        for (size_t i = 0; i < size; ++i) {
            std::make_unsigned_t<Number> sum = 0;
            for (const plain_sample& sample : samples) {
                sum += static_cast<std::make_unsigned_t<Number>>(sample.value[i]);
            }
            mean.value[i] = static_cast<Number>(sum) / static_cast<Number>(samples.size());
        }
        return mean;
    }
};

// The three rings of one metric that began at `start`.
template <class Sample, class Ring = ring_model<Sample>>
struct history_model {
    Ring sec, min, hour;
    int64_t last_minute, last_hour;
    int minute_from = 0;
    int hour_from = 0;

    explicit history_model(int64_t start) : last_minute(start), last_hour(start) {}

    const Ring& series(int selector) const { return selector == 0 ? sec : selector == 1 ? min : hour; }

    // One second's sample, its time being the present. Returns whether every roll-up that was due found something.
    bool feed(const Sample& sample) {
        const int64_t now = sample.time;
        const int sec_end = sec.push(sample);
        if (now - last_minute < 60 && now - last_minute > -60) {
            return true;
        }
        const std::vector<Sample> seconds = sec.averaged(minute_from, sec_end);
        if (seconds.empty()) {
            return false;
        }
        minute_from = sec_end;
        last_minute = now;
        const int min_end = min.push(Sample::mean(seconds, now));
        if (now - last_hour < 3600 && now - last_hour > -1800) {
            return true;
        }
        const std::vector<Sample> minutes = min.averaged(hour_from, min_end);
        if (minutes.empty()) {
            return false;
        }
        hour_from = min_end;
        last_hour = now;
        hour.push(Sample::mean(minutes, now));
        return true;
    }
};

// Whether the `count`th sample is one at which a document of the newest `span`, or a ring, may go wrong.
inline bool is_turning_point(int count, int span, int slots = 120) {
    return count == 1 || (count >= span - 1 && count <= span + 1) || (count >= slots - 2 && count <= slots + 2) ||
           count % 50 == 0;
}

} // namespace dashboard::testing

#endif
