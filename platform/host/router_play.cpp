#include "platform/host/router_play.h"

#include <cstddef>

namespace dashboard {

namespace {

constexpr int virtual_points = 8; // of one band
constexpr int64_t wave_height = 10;
constexpr uint64_t bytes_a_second = 20000;

/// Up and down between 0 and wave_height.
int64_t wave(int64_t second) {
    const int64_t at = second % (2 * wave_height);
    return at < wave_height ? at : 2 * wave_height - at;
}

/// The second in access point `index`'s own time, in which it is ahead of the first one: so they take turns.
int64_t own_second(const play_plan& plan, int index, int64_t second, int period) {
    return second + static_cast<int64_t>(index) * period / plan.access_points;
}

bool is_there(const play_plan& plan, int index, int64_t second) {
    const int period = plan.away_period;
    return period == 0 || own_second(plan, index, second, period) % period * 3 < int64_t{2} * period;
}

/// Whether a restart lies behind `last` and not behind `second`: seconds may have been missed.
bool restarts(const play_plan& plan, int index, int64_t last, int64_t second) {
    const int period = plan.restart_period;
    return period != 0 &&
           own_second(plan, index, last, period) / period != own_second(plan, index, second, period) / period;
}

std::string group(const byte_counters& total) {
    return std::to_string(total.sent) + ',' + std::to_string(total.received) + ',' +
           std::to_string(total.sent + total.received) + '@';
}

} // namespace

access_point_play::access_point_play(const play_plan& chosen)
    : plan(chosen), states(static_cast<size_t>(chosen.access_points)), bases(states.size()) {}

void access_point_play::make_up(int64_t second) {
    advance(second, nullptr);
}

void access_point_play::follow(int64_t second, const byte_counters& counted) {
    advance(second, &counted);
}

void access_point_play::advance(int64_t second, const byte_counters* counted) {
    for (size_t at = 0; at < states.size(); ++at) {
        const int index = static_cast<int>(at);
        byte_counters& total = states[at].total;
        byte_counters& base = bases[at];
        states[at].there = is_there(plan, index, second);
        if (restarts(plan, index, last_second, second)) {
            total = {};
            base = counted != nullptr ? *counted : byte_counters{};
        }
        if (counted == nullptr) {
            const uint64_t rate =
                bytes_a_second * (at + 1) * static_cast<uint64_t>(wave_height + wave(second)) / wave_height;
            const uint64_t bytes = rate * static_cast<uint64_t>(second - last_second);
            total = {total.sent + bytes, total.received + bytes};
            continue;
        }
        if (counted->sent < base.sent || counted->received < base.received) {
            base = {};
        }
        total = {counted->sent - base.sent, counted->received - base.received};
    }
    last_second = second;
}

std::string access_point_record(int index, const byte_counters& total) {
    const int busy = index / 2 % virtual_points + (index % 2 == 0 ? 0 : virtual_points);
    std::string record = "APMgnt_Info_Traffic_@" + group(total);
    for (int k = 0; k < 2 * virtual_points; ++k) {
        if (k % virtual_points == 0) {
            record += "_@";
        }
        record += k == busy ? group(total) : "0,0,0@";
    }
    return record + '\n';
}

std::vector<played_item> sim_items(int slots, int64_t second) {
    const int32_t full = static_cast<int32_t>(wave(second));
    const int32_t half = full / 2;
    std::vector<played_item> items = {
        {"sim1.state", 1},        {"sim1.rssi", 60 + full},  {"sim1.rsrp", 88 + full}, {"sim1.rsrq", 9},
        {"sim1.sinr", 14 - full}, {"sim1.rscp", 70 + full},  {"sim1.ecio", 5},         {"sim2.state", 1},
        {"sim2.rssi", 85},        {"sim2.rsrp", 108 + half}, {"sim2.rsrq", 14},        {"sim2.sinr", -half},
        {"sim2.rscp", 97},        {"sim2.ecio", 11},
    };
    items.resize(items.size() / sim_slot_limit * static_cast<size_t>(slots));
    return items;
}

} // namespace dashboard
