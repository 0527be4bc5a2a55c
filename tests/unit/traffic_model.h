// What a monitor of byte counters publishes, in the plainest words. WAN and LAN differ in the name of their elements
// and in how many entities they know.
#ifndef TESTS_UNIT_TRAFFIC_MODEL_H
#define TESTS_UNIT_TRAFFIC_MODEL_H

#include "tests/unit/history_model.h"
#include "tests/unit/monitor_fixture.h"

#include <cstdint>
#include <string>
#include <vector>

namespace dashboard::testing {

struct entity_bytes {
    size_t n; // from 1, as documents number them
    uint64_t tx;
    uint64_t rx;
};

// Sent, received and both, of sixteen entities.
using traffic_model_sample = plain_sample<uint64_t, 48>;

inline traffic_model_sample traffic_at(int64_t time, const std::vector<entity_bytes>& entities) {
    traffic_model_sample sample;
    sample.time = time;
    for (const entity_bytes& one : entities) {
        sample.value[one.n - 1] = one.tx;
        sample.value[16 + one.n - 1] = one.rx;
        sample.value[32 + one.n - 1] = one.tx + one.rx;
    }
    return sample;
}

// The document of these samples in which the entities `in_use` appear as <tag>N_tx and so on.
inline std::string traffic_document(const std::string& tag, const std::vector<size_t>& in_use,
                                    const std::vector<traffic_model_sample>& samples) {
    std::string body;
    for (const traffic_model_sample& sample : samples) {
        body += "    <time>" + std::to_string(sample.time) + "000</time>\n";
        for (const size_t n : in_use) {
            const std::string entity = tag + std::to_string(n);
            size_t kind = n - 1;
            for (const char* suffix : {"_tx", "_rx", "_txrx"}) {
                body += element_line(entity + suffix, sample.value[kind]);
                kind += 16;
            }
        }
    }
    return datalist(body);
}

// The export of these samples: what was counted from each to the next, for the entities `in_use`.
inline std::string traffic_export(const std::vector<size_t>& in_use, const std::vector<traffic_model_sample>& samples) {
    std::string text = "count,index,tx,rx,txrx\n";
    for (size_t k = 1; k < samples.size(); ++k) {
        for (const size_t n : in_use) {
            text += std::to_string(k) + "," + std::to_string(n);
            for (const size_t kind : {n - 1, 16 + n - 1, 32 + n - 1}) {
                text += "," + std::to_string(samples[k].value[kind] - samples[k - 1].value[kind]);
            }
            text += "\n";
        }
    }
    return text;
}

} // namespace dashboard::testing

#endif
