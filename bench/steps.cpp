// Single steps of a cycle, each on the largest input it can meet.
#include "monitors/metric_store.h"
#include "monitors/monitors.h"
#include "probes/dashboard_aptraffic.h"
#include "probes/dashboard_cpuinfo.h"
#include "probes/dashboard_netdev.h"
#include "probes/dashboard_sysinfo.h"
#include "tests/models/ap_records.h"
#include "tests/support/items.h"
#include "tests/support/world.h"

#include <benchmark/benchmark.h>
#include <string>

namespace dashboard::testing {
namespace {

constexpr int64_t a_minute = 60;

std::vector<interface_bytes> interfaces(int count) {
    std::vector<interface_bytes> all;
    for (int i = 0; i < count; ++i) {
        const auto n = static_cast<uint64_t>(i);
        all.push_back({"eth" + std::to_string(i), 123'456'789'012 + n, 98'765'432'109 + n});
    }
    return all;
}

void parse_75_interfaces(benchmark::State& state) {
    test_world world;
    world.netdev(interfaces(netdev_limit));
    for (auto _ : state) {
        main_netdev_info();
    }
}
BENCHMARK(parse_75_interfaces);

void read_memory_usage(benchmark::State& state) {
    test_world world;
    world.usual_inputs();
    for (auto _ : state) {
        benchmark::DoNotOptimize(get_mem_usage(1));
    }
}
BENCHMARK(read_memory_usage);

void read_ap_record(benchmark::State& state) {
    test_world world;
    world.file(ap_file(0), ap_line(counted_from(123'456'789'012)) + "\n");
    ap_traffic_record record{};
    for (auto _ : state) {
        benchmark::DoNotOptimize(read_access_point(0, &record));
    }
}
BENCHMARK(read_ap_record);

void parse_mpstat_line(benchmark::State& state) {
    cpu_line parsed;
    for (auto _ : state) {
        benchmark::DoNotOptimize(find_cpu_info(
            "Average:     all    0.50    0.00    1.25    0.00    0.00    0.25    0.00    0.00    0.00   98.00",
            &parsed));
    }
}
BENCHMARK(parse_mpstat_line);

// The widest document of the history modules: 72 samples of 16 connections.
void write_wan_document(benchmark::State& state) {
    test_world world;
    world.folder("/tmp/dashboard");
    world.csman.keep_quiet();
    std::vector<std::string> names;
    for (uint32_t slot = 0; slot < 16; ++slot) {
        names.push_back("eth" + std::to_string(slot));
        world.csman.set(wan_binding + slot, static_cast<int32_t>(slot) + 1);
        world.csman.set_string(wan_name + 1 + slot, names.back());
    }
    world.netdev(interfaces(16));
    world.alive(names);
    main_netdev_info();
    main_netdev_alive();
    wan_traffic_monitor.init(7, 0);
    for (int i = 0; i < a_minute + 12; ++i) {
        world.clock.advance(1);
        wan_traffic_monitor.loop(7, nullptr, &wan_traffic_monitor);
    }
    for (auto _ : state) {
        wan_traffic_monitor.write_sec(7, nullptr);
    }
    state.counters["bytes"] = static_cast<double>(world.read("/tmp/dashboard/wan_traffic_sec_0.xml").size());
    wan_traffic_monitor.term(7, 0);
}
BENCHMARK(write_wan_document);

// One line of that document, without the file.
void format_element(benchmark::State& state) {
    metric_document document;
    for (auto _ : state) {
        document.used = 0;
        document_printf(document, "    <wan%d_txrx>%llu</wan%d_txrx>\n", 16, 222'222'222'222ull, 16);
        benchmark::DoNotOptimize(document.buffer[0]);
    }
}
BENCHMARK(format_element);

struct wide_sample {
    int32_t time;
    unsigned long long value[48];

    void add(const wide_sample& other) {
        for (int i = 0; i < 48; ++i) {
            value[i] += other.value[i];
        }
    }
    void divide(int32_t n) {
        for (unsigned long long& v : value) {
            v /= static_cast<unsigned long long>(n);
        }
    }
};

// A minute's average of samples as wide as those of 16 WANs.
void average_a_minute(benchmark::State& state) {
    static metric_series<wide_sample> series;
    series = {};
    wide_sample sample{1, {}};
    for (int i = 0; i < a_minute; ++i) {
        series_push(sample, series);
    }
    wide_sample average;
    for (auto _ : state) {
        series_average(average, a_minute, 0, series);
        benchmark::DoNotOptimize(average.value[0]);
    }
}
BENCHMARK(average_a_minute);

} // namespace
} // namespace dashboard::testing
