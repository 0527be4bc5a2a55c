// Memory usage: used memory in kB, MemTotal - MemFree, buffers and caches counted as used. A sample's time is taken
// before the measurement. Sums are 32-bit and the division signed. Every start of the module also starts the system's
// `freemem` tool in the background.

#include "base/dashboard_log.h"
#include "base/wall_clock.h"
#include "monitors/framed_monitor.h"
#include "monitors/monitors.h"
#include "platform/utils.h"
#include "probes/dashboard_sysinfo.h"

#include <cstdint>
#include <unistd.h>

namespace dashboard {

namespace {

constexpr int32_t kilobytes = 0; // mode of get_mem_usage

struct mem_sample {
    int32_t time;
    uint32_t used; // kB

    void add(const mem_sample& other) { used += other.used; }
    void divide(int32_t n) { used = static_cast<uint32_t>(static_cast<int32_t>(used) / n); }
};

struct mem_store {
    metric_store<mem_sample> history;
};

mem_store* store = nullptr;

/// Deliberate: the sec and min writers put a blank behind "file", the hour writer does not.
void warn_with_blank(const char* writer, const char* path, const char* error) {
    _warn(writer, __LINE__, "open file (%s) error(%s)!", path, error);
}

constexpr monitor_description about = {
    "dashboard_mem",
    "mem_usage_init",
    "mem_usage_loop",
    xml_span{60},
    start_marker{2},
    {
        {"xml_mem_usage_sec", "/tmp/dashboard/mem_usage_sec_tmp.xml", "/tmp/dashboard/mem_usage_sec_0.xml",
         "/usr/www/mem_usage_sec_0.xml", nullptr, warn_with_blank},
        {"xml_mem_usage_min", "/tmp/dashboard/mem_usage_min_tmp.xml", "/tmp/dashboard/mem_usage_min_0.xml",
         "/usr/www/mem_usage_min_0.xml", nullptr, warn_with_blank},
        {"xml_mem_usage_hour", "/tmp/dashboard/mem_usage_hour_tmp.xml", "/tmp/dashboard/mem_usage_hour_0.xml",
         "/usr/www/mem_usage_hour_0.xml"},
    },
    "/usr/www/mem_usage*",
    "/tmp/dashboard/mem_usage*",
};

// ---- sampling

bool get_mem_usage_item(mem_sample& sample, int /*handle*/) {
    sample.time = wall_seconds();
    const int32_t used = get_mem_usage(kilobytes);
    sample.used = static_cast<uint32_t>(used);
    return used >= 0;
}

// ---- elements

void elements(metric_document& document, const mem_sample& sample) {
    document_printf(document, "    <mem_usage>%u</mem_usage>\n", sample.used);
}

// ---- callbacks

void start_freemem(int /*handle*/) {
    _exec_cmd(getpid(), about.source, about.init, __LINE__, "freemem &");
}

} // namespace

extern constexpr monitor_cb mem_usage_monitor =
    framed_monitor<store, about, start_freemem, get_mem_usage_item, elements>();

} // namespace dashboard
