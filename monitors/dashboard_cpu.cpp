// CPU usage: percent busy, all cores together and each of up to four. The figures are the query thread's latest and are
// renewed about every four seconds only, so consecutive samples often repeat them under fresh times. Averages are
// signed 32-bit: a core that mpstat did not report holds -1.

#include "base/wall_clock.h"
#include "monitors/framed_monitor.h"
#include "monitors/monitors.h"
#include "probes/dashboard_cpuinfo.h"
#include "probes/dashboard_sysinfo.h"

#include <cstdint>
#include <cstring>

namespace dashboard {

namespace {

constexpr int32_t core_limit = 4;

int32_t core_count = 0; // cores of this machine that the samples speak of, fixed at init

/// Laid out as cpu_info, the time in the place of its valid flag.
struct cpu_sample {
    int32_t time;
    int32_t all;
    int32_t core[core_limit]; // meaningful below core_count

    void add(const cpu_sample& other) {
        all = wrapping_sum(all, other.all);
        for (int32_t i = 0; i < core_count; ++i) {
            core[i] = wrapping_sum(core[i], other.core[i]);
        }
    }
    void divide(int32_t n) {
        all /= n;
        for (int32_t i = 0; i < core_count; ++i) {
            core[i] /= n;
        }
    }
};

static_assert(sizeof(cpu_sample) == sizeof(cpu_info), "a sample is a measurement with a time");

struct cpu_store {
    metric_store<cpu_sample> history;
};

cpu_store* store = nullptr;

constexpr monitor_description about = {
    "dashboard_cpu",
    "cpu_usage_init",
    "cpu_usage_loop",
    xml_span{60},
    start_marker{1},
    {
        {"xml_cpu_usage_sec", "/tmp/dashboard/cpu_usage_sec_tmp.xml", "/tmp/dashboard/cpu_usage_sec_0.xml",
         "/usr/www/cpu_usage_sec_0.xml"},
        {"xml_cpu_usage_min", "/tmp/dashboard/cpu_usage_min_tmp.xml", "/tmp/dashboard/cpu_usage_min_0.xml",
         "/usr/www/cpu_usage_min_0.xml"},
        {"xml_cpu_usage_hour", "/tmp/dashboard/cpu_usage_hour_tmp.xml", "/tmp/dashboard/cpu_usage_hour_0.xml",
         "/usr/www/cpu_usage_hour_0.xml"},
    },
    "/usr/www/cpu_usage*",
    "/tmp/dashboard/cpu_usage*",
};

// ---- sampling

bool get_cpu_usage_item(cpu_sample& sample, int /*handle*/) {
    cpu_info measurement{};
    if (query_cpu_info(&measurement) == 0) {
        return false;
    }
    sample.all = measurement.all;
    memcpy(sample.core, measurement.cpu, sizeof sample.core);
    sample.time = wall_seconds();
    return true;
}

// ---- elements

void elements(metric_document& document, const cpu_sample& sample) {
    document_printf(document, "    <cpu_usage>%d</cpu_usage>\n", sample.all);
    for (int32_t i = 0; i < core_count; ++i) {
        document_printf(document, "    <cpu_usage%d>%d</cpu_usage%d>\n", i, sample.core[i], i);
    }
}

// ---- callbacks

void count_cores(int /*handle*/) {
    core_count = get_proc_cpu_nr();
}

} // namespace

extern constexpr monitor_cb cpu_usage_monitor =
    framed_monitor<store, about, count_cores, get_cpu_usage_item, elements>();

} // namespace dashboard
