#include "exporter/renewal.h"

namespace dashboard {

namespace {

/// A number that follows from the clock and looks drawn: neither the interval of the scrapes nor the count of the
/// candidates leaves anybody out for good.
uint32_t drawn_by(int64_t now) {
    uint32_t number = static_cast<uint32_t>(now / turn_patience);
    number = (number ^ number >> 16) * 0x45d9f3bu;
    number = (number ^ number >> 16) * 0x45d9f3bu;
    return number ^ number >> 16;
}

/// The candidate that comes `steps` after place `from`, in a circle.
int candidate_after(const bool* candidate, int count, int from, uint32_t steps) {
    int place = from;
    for (uint32_t step = 0; step < steps; ++step) {
        do {
            place = (place + 1) % count;
        } while (!candidate[place]);
    }
    return place;
}

} // namespace

int next_turn(const bool* candidate, const document_reading* documents, int count, int64_t now) {
    uint32_t candidates = 0;
    int newest = count - 1;
    int64_t age = INT64_MAX;
    for (int i = 0; i < count; ++i) {
        candidates += candidate[i] ? 1 : 0;
        // From before the clock was set back: that says nothing about turns.
        const bool is_ahead = documents[i].has_age && documents[i].age < -turn_patience;
        if (documents[i].has_age && !is_ahead && documents[i].age < age) {
            newest = i;
            age = documents[i].age;
        }
    }
    if (candidates == 0) {
        return -1;
    }
    if (age < turn_patience) {
        return candidate_after(candidate, count, newest, 1);
    }
    const int64_t missed = age / turn_patience;
    const uint32_t widest = missed < candidates ? static_cast<uint32_t>(missed) + 1 : candidates;
    return candidate_after(candidate, count, newest, 1 + drawn_by(now) % widest);
}

} // namespace dashboard
