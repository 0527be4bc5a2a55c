// The two Wi-Fi bands as their tests see them: what tells one from the other, and a model of what they publish.
#ifndef TESTS_UNIT_WIFI_BAND_H
#define TESTS_UNIT_WIFI_BAND_H

#include "tests/unit/history_model.h"
#include "tests/unit/wireless_fixture.h"

#include <cstdint>
#include <string>
#include <vector>

namespace dashboard::testing {

struct wifi_band_case {
    const char* name;
    const monitor_cb* module;
    const char* source;
    std::string stem;
    std::string band; // in element names
    uint32_t interface_item;
    const char* interface_read; // the call that reads it
    int32_t start_marker;
    bool total_counts_received; // the band's second total
};

inline const wifi_band_case wifi_bands[] = {
    {"Band24", &wifi_24g_traffic_monitor, "dashboard_wifi_24g", "wifi_24g_traffic", "24", 0x8000f391,
     "read 7 0x8000f391 26 4", 6, true},
    {"Band50", &wifi_5g_traffic_monitor, "dashboard_wifi_5g", "wifi_5g_traffic", "50", 0x8000f392,
     "read 7 0x8000f392 26 4", 7, false},
};

inline void PrintTo(const wifi_band_case& band, std::ostream* out) {
    *out << band.name;
}

inline std::string name_of_band(const ::testing::TestParamInfo<wifi_band_case>& info) {
    return info.param.name;
}

// Two totals, then sent, received and both of VAP slots 0 to 7.
using wifi_model_sample = plain_sample<uint64_t, 26>;

struct vap_bytes {
    size_t slot;
    uint64_t sent;
    uint64_t received;
};

inline wifi_model_sample wifi_sample_of(const wifi_band_case& band, int64_t time, const std::vector<vap_bytes>& vaps) {
    wifi_model_sample sample;
    sample.time = time;
    for (const vap_bytes& vap : vaps) {
        sample.value[0] += vap.sent;
        sample.value[1] += band.total_counts_received ? vap.received : vap.sent;
        sample.value[2 + vap.slot] = vap.sent;
        sample.value[10 + vap.slot] = vap.received;
        sample.value[18 + vap.slot] = vap.sent + vap.received;
    }
    return sample;
}

inline std::string element(const std::string& tag, uint64_t value) {
    return "    <" + tag + ">" + std::to_string(value) + "</" + tag + ">\n";
}

inline std::string wifi_document(const wifi_band_case& band, const std::vector<wifi_model_sample>& samples) {
    std::string body;
    for (const wifi_model_sample& sample : samples) {
        body += "    <time>" + std::to_string(sample.time) + "000</time>\n";
        body += element("wifi_" + band.band + "_txrx", sample.value[0] + sample.value[1]);
        for (size_t slot = 0; slot < 8; ++slot) {
            const std::string vap = "VAP" + std::to_string(slot + 1) + "_" + band.band;
            body += element(vap + "_Tx", sample.value[2 + slot]);
            body += element(vap + "_Rx", sample.value[10 + slot]);
            body += element(vap + "_TxRx", sample.value[18 + slot]);
        }
    }
    return datalist(body);
}

class wifi_fixture : public wireless_fixture {
protected:
    // The band's VAPs are ra0 to ra7 from now on, the module ready.
    void start(const wifi_band_case& band, const std::string& main_interface = "ra0") {
        world.csman.set_string(band.interface_item, main_interface);
        ASSERT_EQ(init(*band.module), 1);
    }

    std::string read_published(const std::string& document) { return world.read(published(document)); }
};

} // namespace dashboard::testing

#endif
