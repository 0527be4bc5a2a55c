// What the tests of the two access-point monitors share.
#ifndef TESTS_UNIT_AP_MONITOR_FIXTURE_H
#define TESTS_UNIT_AP_MONITOR_FIXTURE_H

#include "tests/unit/ap_records.h"
#include "tests/unit/history_model.h"
#include "tests/unit/wireless_fixture.h"

#include <string>
#include <vector>

namespace dashboard::testing {

// The counters of one access point in the order of its line.
using ap_model_sample = plain_sample<uint64_t, ap_counters>;

// What the per-AP monitor publishes of these samples: the combined counts of the VAPs.
inline std::string ap_document(const std::vector<ap_model_sample>& samples) {
    std::string body;
    for (const ap_model_sample& sample : samples) {
        body += "    <time>" + std::to_string(sample.time) + "000</time>\n";
        for (size_t group = 1; group <= 16; ++group) {
            const std::string tag = group <= 8 ? "VAP" + std::to_string(group) + "_24_TxRx"
                                               : "VAP" + std::to_string(group - 8) + "_50_TxRx";
            body += "    <" + tag + ">" + std::to_string(sample.value[txrx_of_group(group)]) + "</" + tag + ">\n";
        }
    }
    return datalist(body);
}

class ap_monitor_fixture : public wireless_fixture {
protected:
    void report(int ap, const ap_values& values) { world.file(ap_file(ap), ap_line(values) + "\n"); }
    void fall_silent(int ap) { world.remove(ap_file(ap)); }

    static std::string sec_file(int ap) { return "/tmp/dashboard/aptraffic_sec_" + std::to_string(ap) + ".xml"; }
    static std::string min_file(int ap) { return "/tmp/dashboard/aptraffic_min_" + std::to_string(ap) + ".xml"; }
    static std::string hour_file(int ap) { return "/tmp/dashboard/aptraffic_hour_" + std::to_string(ap) + ".xml"; }

    std::vector<std::string> published_files() { return world.list("/tmp/dashboard"); }
};

} // namespace dashboard::testing

#endif
