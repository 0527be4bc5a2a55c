// Texts of one letter.
#ifndef TESTS_UNIT_REPEATED_H
#define TESTS_UNIT_REPEATED_H

#include <cstddef>
#include <string>

namespace dashboard::testing {

inline std::string repeated(char letter, size_t times) {
    return std::string(times, letter);
}

} // namespace dashboard::testing

#endif
