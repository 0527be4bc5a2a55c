#include "tests/models/records.h"

namespace dashboard::testing {

namespace {

// The rows of differences between samples, a row for each of `entities` numbered from 1, whose three counts stand at
// `columns(entity)`.
template <class Record, class Columns>
std::string differences(const std::vector<size_t>& entities, const std::vector<Record>& samples, Columns columns) {
    std::string text = "count,index,tx,rx,txrx\n";
    for (size_t k = 1; k < samples.size(); ++k) {
        for (const size_t n : entities) {
            text += std::to_string(k) + "," + std::to_string(n);
            for (const size_t column : columns(n)) {
                text += "," + std::to_string(samples[k].value[column] - samples[k - 1].value[column]);
            }
            text += "\n";
        }
    }
    return text;
}

std::array<size_t, 3> traffic_columns(size_t n) {
    return {n - 1, 16 + n - 1, 32 + n - 1};
}

std::array<size_t, 3> wifi_columns(size_t n) {
    return {2 + n - 1, 10 + n - 1, 18 + n - 1};
}

// A measure as it is published: behind a literal minus, but for SINR.
std::string sim_text(const sim_record& sample, size_t slot, size_t measure) {
    return (measure == 3 ? "" : "-") + std::to_string(sample.value[6 * slot + measure]);
}

} // namespace

std::string cpu_document(size_t cores, const std::vector<cpu_record>& samples) {
    return document_of(samples, [cores](const cpu_record& sample) {
        std::string lines = element("cpu_usage", sample.value[0]);
        for (size_t core = 0; core < cores; ++core) {
            lines += element("cpu_usage" + std::to_string(core), sample.value[core + 1]);
        }
        return lines;
    });
}

std::string mem_document(const std::vector<mem_record>& samples) {
    return document_of(
        samples, [](const mem_record& sample) { return element("mem_usage", static_cast<uint32_t>(sample.value[0])); });
}

traffic_record traffic_at(int64_t time, const std::vector<entity_bytes>& entities) {
    traffic_record sample;
    sample.time = time;
    for (const entity_bytes& one : entities) {
        const auto [tx, rx, both] = traffic_columns(one.n);
        sample.value[tx] = one.tx;
        sample.value[rx] = one.rx;
        sample.value[both] = one.tx + one.rx;
    }
    return sample;
}

std::string traffic_document(const std::string& tag, const std::vector<size_t>& in_use,
                             const std::vector<traffic_record>& samples) {
    return document_of(samples, [&](const traffic_record& sample) {
        std::string lines;
        for (const size_t n : in_use) {
            const std::string entity = tag + std::to_string(n);
            const auto [tx, rx, both] = traffic_columns(n);
            lines += element(entity + "_tx", sample.value[tx]);
            lines += element(entity + "_rx", sample.value[rx]);
            lines += element(entity + "_txrx", sample.value[both]);
        }
        return lines;
    });
}

std::string traffic_csv(const std::vector<size_t>& in_use, const std::vector<traffic_record>& samples) {
    return differences(in_use, samples, traffic_columns);
}

wifi_record wifi_at(const std::string& band, int64_t time, const std::vector<vap_bytes>& vaps) {
    wifi_record sample;
    sample.time = time;
    for (const vap_bytes& vap : vaps) {
        const auto [tx, rx, both] = wifi_columns(vap.slot + 1);
        sample.value[0] += vap.tx;
        sample.value[1] += band == "24" ? vap.rx : vap.tx;
        sample.value[tx] = vap.tx;
        sample.value[rx] = vap.rx;
        sample.value[both] = vap.tx + vap.rx;
    }
    return sample;
}

std::string wifi_document(const std::string& band, const std::vector<wifi_record>& samples) {
    return document_of(samples, [&](const wifi_record& sample) {
        std::string lines = element("wifi_" + band + "_txrx", sample.value[0] + sample.value[1]);
        for (size_t n = 1; n <= 8; ++n) {
            const std::string vap = "VAP" + std::to_string(n) + "_" + band;
            const auto [tx, rx, both] = wifi_columns(n);
            lines += element(vap + "_Tx", sample.value[tx]);
            lines += element(vap + "_Rx", sample.value[rx]);
            lines += element(vap + "_TxRx", sample.value[both]);
        }
        return lines;
    });
}

std::string wifi_csv(const std::vector<wifi_record>& samples) {
    return differences({1, 2, 3, 4, 5, 6, 7, 8}, samples, wifi_columns);
}

std::string ap_document(const std::vector<ap_record>& samples) {
    return document_of(samples, [](const ap_record& sample) {
        std::string lines;
        for (size_t group = 1; group <= 16; ++group) {
            const std::string vap = "VAP" + std::to_string(group <= 8 ? group : group - 8);
            lines += element(vap + (group <= 8 ? "_24_TxRx" : "_50_TxRx"), sample.value[txrx_of_group(group)]);
        }
        return lines;
    });
}

std::string allap_document(const std::vector<allap_record>& samples) {
    return document_of(samples, [](const allap_record& sample) {
        std::string lines;
        for (const auto& [ap, count] : sample.present) {
            lines += element("ap_" + std::to_string(ap) + "_TxRx", count);
        }
        return lines;
    });
}

sim_record sim_at(int64_t time, const sim_measures& first, const sim_measures& second) {
    sim_record sample;
    sample.time = time;
    for (size_t i = 0; i < first.size(); ++i) {
        sample.value[i] = first[i];
        sample.value[first.size() + i] = second[i];
    }
    return sample;
}

std::string sim_document(const std::vector<sim_record>& samples) {
    static const char* const names[] = {"RSSI", "RSRP", "RSRQ", "SINR", "RSCP", "EcIo"};
    return document_of(samples, [](const sim_record& sample) {
        std::string lines;
        for (size_t i = 0; i < 12; ++i) {
            lines += element("sim" + std::to_string(i / 6 + 1) + "_" + names[i % 6], sim_text(sample, i / 6, i % 6));
        }
        return lines;
    });
}

std::string sim_csv(const std::vector<sim_record>& samples) {
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

} // namespace dashboard::testing
