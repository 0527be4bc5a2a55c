// Small helpers of the test's side of a world.
#ifndef TESTS_SUPPORT_WORLD_TEXT_H
#define TESTS_SUPPORT_WORLD_TEXT_H

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <stdexcept>
#include <string>

namespace dashboard::testing {

// Copies a text into a fixed field of the shared block; one that does not fit ends the test.
template <size_t Size>
void store(char (&out)[Size], const std::string& text) {
    if (text.size() >= Size) {
        throw std::length_error("too long for a world: " + text);
    }
    memcpy(out, text.c_str(), text.size() + 1);
}

// Seconds as whole nanoseconds.
inline int64_t as_ns(double seconds) {
    return static_cast<int64_t>(seconds * 1e9 + (seconds < 0 ? -0.5 : 0.5));
}

} // namespace dashboard::testing

#endif
