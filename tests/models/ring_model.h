// What a ring of samples promises, in the plainest words: it keeps the newest 119 of 120 slots, and its ends are slot
// numbers, that is pushes counted modulo 120. Written apart from the ring itself, to judge it.
#ifndef TESTS_MODELS_RING_MODEL_H
#define TESTS_MODELS_RING_MODEL_H

#include <cstddef>
#include <cstdint>
#include <deque>
#include <vector>

namespace dashboard::testing {

template <class Sample, int slots = 120>
struct ring_model {
    std::deque<Sample> held; // oldest first
    int end = 0;
    int64_t pushed = 0;

    int push(const Sample& sample) {
        held.push_back(sample);
        if (held.size() >= slots) {
            held.pop_front();
        }
        pushed += 1;
        end = (end + 1) % slots;
        return end;
    }

    // What an average from slot number `from` up to `to` is made of: slot numbers taken for positions.
    std::vector<Sample> averaged(int from, int to) const {
        std::vector<Sample> found;
        for (int i = from; i != to; i = (i + 1) % slots) {
            if (i < static_cast<int>(held.size())) {
                found.push_back(held[static_cast<size_t>(i)]);
            }
        }
        return found;
    }

    // The newest `span`, oldest first.
    std::vector<Sample> newest(size_t span) const {
        const size_t first = held.size() < span ? 0 : held.size() - span;
        return {held.begin() + static_cast<std::ptrdiff_t>(first), held.end()};
    }
};

} // namespace dashboard::testing

#endif
