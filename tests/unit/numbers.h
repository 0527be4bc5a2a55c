// The sample that tests of rings and frames hold: a number at a time.
#ifndef TESTS_UNIT_NUMBERS_H
#define TESTS_UNIT_NUMBERS_H

#include <cstdint>

namespace dashboard::testing {

struct number {
    int32_t time;
    unsigned long long value;

    void add(const number& other) { value += other.value; }
    void divide(int32_t n) { value /= static_cast<unsigned long long>(n); }
};

} // namespace dashboard::testing

#endif
