#include "tests/models/router.h"

#include "tests/models/records.h"
#include "tests/support/items.h"

#include <functional>
#include <utility>

namespace dashboard::testing {

namespace {

// ---- what moment n shows

struct bytes {
    uint64_t rx;
    uint64_t tx;
};

bytes eth0(uint64_t n) {
    return {1000 + 31 * n, 2000 + 17 * n};
}
bytes eth1(uint64_t n) {
    return {UINT64_MAX - n * n, 3 + n % 5};
}
bytes br0(uint64_t n) {
    return {7 * n, 5 * n * n};
}
bytes br4(uint64_t n) {
    return {11, UINT64_MAX - 7000 + 100 * n}; // wraps on its way
}
bytes ra0(uint64_t n) {
    return {3000 + 101 * n, 4000 + 13 * n * n};
}
bytes ra6(uint64_t n) {
    return {2 * n, UINT64_MAX - 40'000 + 1001 * n};
}
bytes rai1(uint64_t n) {
    return {5000 + 7 * n, 6000 + 1009 * n};
}
bytes rai7(uint64_t n) {
    return {n % 3, UINT64_MAX - n * n * n};
}

ap_values ap(int number, uint64_t n) {
    return counted_from(1000 * static_cast<uint64_t>(number + 1) + 60 * n);
}

std::pair<sim_measures, sim_measures> sims(uint64_t n) {
    const auto i = static_cast<int32_t>(n);
    return {{70 + i % 7, 100 + i % 13, i % 3, -i, 80, 6}, {i, 2 * i, -i, 3 - i % 11, -1, i % 2}};
}

uint64_t used_memory(uint64_t n) {
    return 65536 + n * n % 5000;
}

// All cores and two of them, in percent.
std::array<int32_t, 3> used_cpu(uint64_t n) {
    const auto i = static_cast<int32_t>(n);
    return {i % 101, 100 - i % 101, (i * i) % 97};
}

// ---- histories

template <class Record, int slots = 120>
class history_of : public metric_history {
public:
    using samples = std::vector<Record>;

    size_t span = 72;
    std::function<Record(int64_t now, uint64_t n)> measure;
    std::function<std::string(const samples&)> shown;
    std::function<std::string(const samples&)> exported;

    explicit history_of(int64_t start) : model(start) {}

    bool feed(int64_t now, uint64_t n) override { return model.feed(measure(now, n)); }
    std::string document(int series) const override { return shown(model.series(series).newest(span)); }
    std::string csv(int series) const override { return exported(model.series(series).newest(72)); }
    size_t held(int series) const override { return model.series(series).held.size(); }
    int64_t newest_time(int series) const override { return model.series(series).held.back().time; }

private:
    history_model<Record, ring_model<Record, slots>> model;
};

entity_bytes entity(size_t number, const bytes& counted) {
    return {number, counted.tx, counted.rx};
}
vap_bytes vap(size_t slot, const bytes& counted) {
    return {slot, counted.tx, counted.rx};
}

std::unique_ptr<history_of<traffic_record>>
traffic_history(int64_t start, const std::string& tag, const std::vector<size_t>& in_use,
                const std::function<traffic_record(int64_t, uint64_t)>& measure) {
    auto history = std::make_unique<history_of<traffic_record>>(start);
    history->measure = measure;
    history->shown = [=](const auto& samples) { return traffic_document(tag, in_use, samples); };
    history->exported = [=](const auto& samples) { return traffic_csv(in_use, samples); };
    return history;
}

std::unique_ptr<history_of<wifi_record>> wifi_history(int64_t start, const std::string& band,
                                                      const std::function<std::vector<vap_bytes>(uint64_t)>& vaps) {
    auto history = std::make_unique<history_of<wifi_record>>(start);
    history->measure = [=](int64_t now, uint64_t n) { return wifi_at(band, now, vaps(n)); };
    history->shown = [=](const auto& samples) { return wifi_document(band, samples); };
    history->exported = wifi_csv;
    return history;
}

} // namespace

void configure_router(test_world& world) {
    world.usual_inputs();
    world.alive({"lo", "eth0", "eth1", "br0", "br4", "ra0", "ra6", "rai1", "rai7", "bond0"});
    world.csman.set(wan_binding, 99);
    world.csman.set_string(wan_name_99, "eth0");
    world.csman.set(wan_binding + 15, 2);
    world.csman.set_string(wan_name + 2, "eth1");
    world.csman.set_string(wifi_24g_interface, "ra0");
    world.csman.set_string(wifi_5g_interface, "rai0");
    world.csman.set(bond_enable, 1);
    world.csman.set_string(bond_name_map, "office");
    world.file("/sys/class/net/bond0/bonding/slaves", "0:eth0\n");
    world.csman.set(sim_state, 1);
    world.csman.set(sim_state + 1, 1);
    router_at(world, 0);
}

void router_traffic_at(test_world& world, uint64_t n) {
    const std::pair<const char*, bytes> interfaces[] = {
        {"lo", {100, 100}}, {"eth0", eth0(n)}, {"br0", br0(n)},   {"br4", br4(n)},   {"ra0", ra0(n)},
        {"ra6", ra6(n)},    {"rai1", rai1(n)}, {"rai7", rai7(n)}, {"eth1", eth1(n)}, {"bond0", {8000 + n, 9000 + n}}};
    std::vector<interface_bytes> all;
    for (const auto& [name, counted] : interfaces) {
        all.push_back({name, counted.rx, counted.tx});
    }
    world.netdev(all);
}

void router_memory_at(test_world& world, uint64_t n) {
    world.meminfo(131072, 131072 - used_memory(n));
}

void router_aps_at(test_world& world, uint64_t n) {
    for (int number = 0; number < 2; ++number) {
        world.file(ap_file(number), ap_line(ap(number, n)) + "\n");
    }
}

void router_sims_at(test_world& world, uint64_t n) {
    const auto [first, second] = sims(n);
    for (size_t i = 0; i < first.size(); ++i) {
        world.csman.set(sim_measure_items[i], first[i]);
        world.csman.set(sim_measure_items[i] + 1, second[i]);
    }
}

void router_at(test_world& world, uint64_t n) {
    router_traffic_at(world, n);
    router_memory_at(world, n);
    router_aps_at(world, n);
    router_sims_at(world, n);
}

void router_cpu_at(test_world& world, uint64_t n) {
    const auto [all, first, second] = used_cpu(n);
    const auto idle = [](int32_t used) { return std::to_string(100 - used) + ".00"; };
    world.mpstat({idle(all), idle(first), idle(second)});
}

std::unique_ptr<metric_history> cpu_history(int64_t start) {
    auto history = std::make_unique<history_of<cpu_record>>(start);
    history->span = 60;
    history->measure = [](int64_t now, uint64_t n) {
        const auto [all, first, second] = used_cpu(n);
        return cpu_record{now, {all, first, second, -1, -1}};
    };
    history->shown = [](const auto& samples) { return cpu_document(2, samples); };
    return history;
}

std::unique_ptr<metric_history> mem_history(int64_t start) {
    auto history = std::make_unique<history_of<mem_record>>(start);
    history->span = 60;
    history->measure = [](int64_t now, uint64_t n) { return mem_record{now, {static_cast<int32_t>(used_memory(n))}}; };
    history->shown = mem_document;
    return history;
}

std::unique_ptr<metric_history> wan_history(int64_t start) {
    return traffic_history(start, "wan", {1, 16}, [](int64_t now, uint64_t n) {
        return traffic_at(now, {entity(1, eth0(n)), entity(16, eth1(n))});
    });
}

std::unique_ptr<metric_history> lan_history(int64_t start) {
    return traffic_history(start, "lan", {1, 5}, [](int64_t now, uint64_t n) {
        return traffic_at(now, {entity(1, br0(n)), entity(5, br4(n))});
    });
}

std::unique_ptr<metric_history> wifi_24g_history(int64_t start) {
    return wifi_history(start, "24", [](uint64_t n) { return std::vector{vap(0, ra0(n)), vap(6, ra6(n))}; });
}

std::unique_ptr<metric_history> wifi_5g_history(int64_t start) {
    return wifi_history(start, "50", [](uint64_t n) { return std::vector{vap(1, rai1(n)), vap(7, rai7(n))}; });
}

std::unique_ptr<metric_history> first_ap_history(int64_t start) {
    auto history = std::make_unique<history_of<ap_record>>(start);
    history->span = 60;
    history->measure = [](int64_t now, uint64_t n) { return ap_record{now, ap(0, n)}; };
    history->shown = ap_document;
    return history;
}

std::unique_ptr<metric_history> allap_history(int64_t start) {
    auto history = std::make_unique<history_of<allap_record, 128>>(start);
    history->span = 60;
    history->measure = [](int64_t now, uint64_t n) {
        return allap_record{now, {{0, ap(0, n)[txrx_of_group(0)]}, {1, ap(1, n)[txrx_of_group(0)]}}};
    };
    history->shown = allap_document;
    return history;
}

std::unique_ptr<metric_history> sim_history(int64_t start) {
    auto history = std::make_unique<history_of<sim_record>>(start);
    history->measure = [](int64_t now, uint64_t n) {
        const auto [first, second] = sims(n);
        return sim_at(now, first, second);
    };
    history->shown = sim_document;
    history->exported = sim_csv;
    return history;
}

} // namespace dashboard::testing
