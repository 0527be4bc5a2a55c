// The record of an access point, against sscanf with the whole format.
#include "probes/dashboard_aptraffic.h"
#include "tests/fuzz/outside.h"

#include <cstring>

namespace dashboard::fuzz {
namespace {

constexpr size_t counters = 51;

// Conversions that succeed on the first line of `text`; the counters in the order of the line.
int scan(std::string_view text, unsigned long long (&v)[counters]) {
    std::string format = "APMgnt_Info_Traffic_@";
    for (size_t i = 0; i < counters / 3; ++i) {
        format += i == 1 || i == 9 ? "_@" : "";
        format += "%llu,%llu,%llu@";
    }
    const std::string line(text.substr(0, text.find('\n')));
#pragma clang diagnostic push
#pragma clang diagnostic ignored "-Wformat-nonliteral"
    return sscanf(line.c_str(), format.c_str(), &v[0], &v[1], &v[2], &v[3], &v[4], &v[5], &v[6], &v[7], &v[8], &v[9],
                  &v[10], &v[11], &v[12], &v[13], &v[14], &v[15], &v[16], &v[17], &v[18], &v[19], &v[20], &v[21],
                  &v[22], &v[23], &v[24], &v[25], &v[26], &v[27], &v[28], &v[29], &v[30], &v[31], &v[32], &v[33],
                  &v[34], &v[35], &v[36], &v[37], &v[38], &v[39], &v[40], &v[41], &v[42], &v[43], &v[44], &v[45],
                  &v[46], &v[47], &v[48], &v[49], &v[50]);
#pragma clang diagnostic pop
}

void compare_group(const unsigned long long* expected, unsigned long long first, unsigned long long second,
                   unsigned long long txrx) {
    require(first == expected[0] && second == expected[1] && txrx == expected[2], "the three counters of a group");
}

void compare(const unsigned long long (&v)[counters], const ap_traffic_record& record) {
    compare_group(&v[0], record.ap_first, record.ap_second, record.ap_txrx);
    for (size_t k = 0; k < vap_limit; ++k) {
        compare_group(&v[3 + 3 * k], record.vap24_first[k], record.vap24_second[k], record.vap24_txrx[k]);
        compare_group(&v[27 + 3 * k], record.vap50_first[k], record.vap50_second[k], record.vap50_txrx[k]);
    }
}

} // namespace
} // namespace dashboard::fuzz

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    using namespace dashboard;
    const std::string_view text = fuzz::text_of(data, size);
    if (text.empty()) {
        return 0; // an empty file stays open: no target for a fuzzer
    }
    unsigned long long expected[fuzz::counters] = {};
    const int found = fuzz::scan(text, expected);
    fuzz::set_file("/tmp/aptraffic/APTraffic_0", text);
    ap_traffic_record record{};
    const int32_t complete = read_access_point(0, &record);
    const bool all = found == static_cast<int>(fuzz::counters);
    const std::string warning = "sscanf rturn " + std::to_string(found) + ", should be 17*3";
    fuzz::require(complete == (all ? 1 : 0), "all counters or not");
    fuzz::require(fuzz::take_message() == (all ? "" : warning), "and how many");
    fuzz::compare(expected, record);
    return 0;
}
