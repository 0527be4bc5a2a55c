#include "fleet/simulator/recorded_document.h"

#include "fleet/simulator/document_elements.h"

#include <algorithm>
#include <sstream>
#include <utility>

namespace dashboard {

namespace {

constexpr int64_t memory_kilobytes = 126976;

/// Splits "before<x>recorded</x>" around the text of its element. A line without one is all `before`.
document_line split(const std::string& line) {
    document_line parts{line + "\n", "", "", number_source::kept, "", direction::both, 0, false};
    const size_t begin = line.find('>');
    const size_t end = line.rfind("</");
    if (begin != std::string::npos && end != std::string::npos && end > begin) {
        parts.before = line.substr(0, begin + 1);
        parts.recorded = line.substr(begin + 1, end - begin - 1);
        parts.after = line.substr(end) + "\n";
    }
    return parts;
}

bool begins_sample(const document_line& line) {
    return line.before.find("<time>") != std::string::npos;
}

std::string bytes_of(const document_line& line, const simulated_router& router, int64_t t) {
    return std::to_string(router.counter(line.link, line.way, t));
}

std::string rate_of(const document_line& line, const simulated_router& router, int64_t t) {
    return std::to_string(router.link_up(line.link, t) ? router.sent(line.link, line.way, {t - 3, t}) / 3 : 0);
}

std::string usage_of(const simulated_router& router, int64_t t) {
    return std::to_string(router.cpu(t)) + "|" + std::to_string(router.memory(t)) + "|" +
           std::to_string(router.connections(t));
}

std::string sim_of(const document_line& line, const simulated_router& router, int64_t t) {
    const bool is_negative = line.recorded.compare(0, 1, "-") == 0;
    if (!router.sim_alive(line.slot, t)) {
        return is_negative ? "-0" : "0";
    }
    return line.source == number_source::rsrp ? "-" + std::to_string(router.rsrp(line.slot, t)) : line.recorded;
}

std::string number_at(const document_line& line, const simulated_router& router, int64_t t, int64_t clock) {
    switch (line.source) {
    case number_source::time:
        return std::to_string(clock) + "000";
    case number_source::bytes:
        return bytes_of(line, router, t);
    case number_source::band_bytes:
        return std::to_string(2 * router.counter(line.link, direction::transmit, t));
    case number_source::rate:
        return rate_of(line, router, t);
    case number_source::cpu:
        return std::to_string(router.cpu(t));
    case number_source::memory_kilobytes:
        return std::to_string(memory_kilobytes * router.memory(t) / 100);
    case number_source::usage:
        return usage_of(router, t);
    case number_source::rsrp:
    case number_source::sim_measure:
        return sim_of(line, router, t);
    case number_source::port:
        return router.link_up(line.link, t) ? "1" : "0";
    case number_source::kept:
        break;
    }
    return line.recorded;
}

bool is_left_out(const document_line& line, const simulated_router& router, int64_t t) {
    if (line.of_device) {
        return !router.link_up(line.link, t);
    }
    return line.source == number_source::bytes && !router.has_link(line.link);
}

} // namespace

recorded_document::recorded_document(std::string name, const std::string& text) : file_name(std::move(name)) {
    std::istringstream lines(text);
    std::string line;
    element_reader reader(file_name);
    bool in_sample = false;
    while (std::getline(lines, line)) {
        document_line parts = split(line);
        reader.find_source(parts);
        if (begins_sample(parts)) {
            in_sample = true;
            sample_lines.clear();
        }
        (in_sample ? sample_lines : head_lines).push_back(std::move(parts));
    }
}

int64_t recorded_document::sampled_at(const simulated_router& router, int64_t t) const {
    int64_t newest = INT64_MIN;
    for (const document_line& line : sample_lines) {
        if (line.source == number_source::bytes && router.has_link(line.link)) {
            newest = std::max(newest, router.last_up(line.link, t));
        } else if (line.slot != 0) {
            newest = std::max(newest, router.last_alive(line.slot, t));
        }
    }
    return newest == INT64_MIN ? t : newest;
}

void recorded_document::advance(const simulated_router& router, int64_t t, int64_t fleet_epoch,
                                std::string& text) const {
    const int64_t clock = fleet_epoch + t + router.clock_error(t);
    text.clear();
    for (const std::vector<document_line>* part : {&head_lines, &sample_lines}) {
        for (const document_line& line : *part) {
            if (is_left_out(line, router, t)) {
                continue;
            }
            text += line.before;
            text += number_at(line, router, t, clock);
            text += line.after;
        }
    }
}

} // namespace dashboard
