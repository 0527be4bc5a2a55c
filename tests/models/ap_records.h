// The line that another process of the router writes for each access point, as tests write it.
#ifndef TESTS_MODELS_AP_RECORDS_H
#define TESTS_MODELS_AP_RECORDS_H

#include <array>
#include <cstddef>
#include <cstdint>
#include <string>

namespace dashboard::testing {

inline constexpr size_t ap_counters = 51;

// In the order of the line: the AP's own group of three, then eight groups of each band.
using ap_values = std::array<uint64_t, ap_counters>;

// Where the combined count of a group stands: 0 the AP itself, 1..8 and 9..16 the VAPs of either band.
inline constexpr size_t txrx_of_group(size_t group) {
    return 3 * group + 2;
}

// The line without its newline, made of `texts`, one for each counter.
inline std::string ap_line_of(const std::array<std::string, ap_counters>& texts) {
    std::string line = "APMgnt_Info_Traffic_@";
    for (size_t i = 0; i < ap_counters; ++i) {
        line += texts[i];
        line += i % 3 == 2 ? "@" : ",";
        line += i == 2 || i == 26 ? "_@" : "";
    }
    return line;
}

inline std::array<std::string, ap_counters> texts_of(const ap_values& values) {
    std::array<std::string, ap_counters> texts;
    for (size_t i = 0; i < ap_counters; ++i) {
        texts[i] = std::to_string(values[i]);
    }
    return texts;
}

inline std::string ap_line(const ap_values& values) {
    return ap_line_of(texts_of(values));
}

// 51 values, each another one.
inline ap_values counted_from(uint64_t first) {
    ap_values values;
    for (size_t i = 0; i < ap_counters; ++i) {
        values[i] = first + i;
    }
    return values;
}

inline std::string ap_file(int ap) {
    return "/tmp/aptraffic/APTraffic_" + std::to_string(ap);
}

} // namespace dashboard::testing

#endif
