// What the tests of SIM signal quality share: its items, and a model of what it publishes.
#ifndef TESTS_UNIT_SIM_FIXTURE_H
#define TESTS_UNIT_SIM_FIXTURE_H

#include "tests/unit/history_model.h"
#include "tests/unit/wireless_fixture.h"

#include <array>
#include <string>
#include <vector>

namespace dashboard::testing {

// Items of SIM 1; SIM 2's follow each.
inline constexpr uint32_t sim_state_item = 0x801e5020;
inline constexpr uint32_t sim_measure_items[] = {0x801e5f00,  // RSSI
                                                 0x801e8860,  // RSRP
                                                 0x801e7e20,  // RSRQ
                                                 0x801e2be0,  // SINR
                                                 0x801e7c20,  // RSCP
                                                 0x801e5e00}; // EcIo

// RSSI, RSRP, RSRQ, SINR, RSCP, EcIo of one slot.
using sim_measures = std::array<int32_t, 6>;

// The six of SIM 1, then the six of SIM 2.
using sim_model_sample = plain_sample<int32_t, 12>;

inline sim_model_sample sim_sample_of(int64_t time, const sim_measures& first, const sim_measures& second) {
    sim_model_sample sample;
    sample.time = time;
    for (size_t i = 0; i < 6; ++i) {
        sample.value[i] = first[i];
        sample.value[6 + i] = second[i];
    }
    return sample;
}

// A measure as it is published: behind a literal minus, but for SINR.
inline std::string sim_text(const sim_model_sample& sample, size_t slot, size_t measure) {
    return (measure == 3 ? "" : "-") + std::to_string(sample.value[6 * slot + measure]);
}

inline std::string sim_document(const std::vector<sim_model_sample>& samples) {
    static const char* const names[] = {"RSSI", "RSRP", "RSRQ", "SINR", "RSCP", "EcIo"};
    std::string body;
    for (const sim_model_sample& sample : samples) {
        body += "    <time>" + std::to_string(sample.time) + "000</time>\n";
        for (size_t slot = 0; slot < 2; ++slot) {
            for (size_t measure = 0; measure < 6; ++measure) {
                const std::string tag = "sim" + std::to_string(slot + 1) + "_" + names[measure];
                body += "    <" + tag + ">" + sim_text(sample, slot, measure) + "</" + tag + ">\n";
            }
        }
    }
    return datalist(body);
}

inline std::string sim_csv(const std::vector<sim_model_sample>& samples) {
    std::string text = "count,index,RSSI,RSRP,RSRQ,SINR,RSCP,EcIo\n";
    for (size_t k = 0; k < samples.size(); ++k) {
        for (size_t slot = 0; slot < 2; ++slot) {
            text += std::to_string(k + 1) + "," + std::to_string(slot + 1);
            for (size_t measure = 0; measure < 6; ++measure) {
                text += "," + sim_text(samples[k], slot, measure);
            }
            text += "\n";
        }
    }
    return text;
}

class sim_fixture : public wireless_fixture {
protected:
    const monitor_cb& module = sim_strquality_monitor;

    // `sim` is 1 or 2.
    void state(int sim, int32_t value) { world.csman.set(sim_state_item + static_cast<uint32_t>(sim) - 1, value); }
    void measures(int sim, const sim_measures& values) {
        for (size_t i = 0; i < 6; ++i) {
            world.csman.set(sim_measure_items[i] + static_cast<uint32_t>(sim) - 1, values[i]);
        }
    }

    // Ready, both slots enabled.
    void start() {
        state(1, 1);
        state(2, 1);
        ASSERT_EQ(init(module), 1);
    }

    // Sets the measures, runs the loop at `second` and tells the model. Both must agree on the result.
    void live_at(int64_t second, const sim_measures& first, const sim_measures& second_slot, int32_t viewer = 0) {
        measures(1, first);
        measures(2, second_slot);
        const bool fed = model.feed(sim_sample_of(second, first, second_slot));
        found_nothing += fed ? 0 : 1;
        ASSERT_EQ(loop_at(module, second, viewer), fed ? 1 : 0) << "at " << second - t0;
    }

    history_model<sim_model_sample> model{t0};
    int found_nothing = 0; // roll-ups
};

} // namespace dashboard::testing

#endif
