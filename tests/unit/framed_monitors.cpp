#include "tests/unit/framed_monitors.h"

#include "core/dashboard_query.h"
#include "tests/support/items.h"

#include <algorithm>
#include <unistd.h>

namespace dashboard::testing {

namespace {

std::string named(std::string pattern, const std::string& series) {
    return pattern.replace(pattern.find('%'), 1, series);
}

// The configuration gives WAN 1 the fixed name and WAN 16 the second.
std::vector<std::string> wan_reads() {
    std::vector<std::string> reads = {"read_int 7 0x10600", "read 7 0x8001000b 16 4"};
    for (const char* digit : {"1", "2", "3", "4", "5", "6", "7", "8", "9", "a", "b", "c", "d", "e", "f"}) {
        reads.push_back(std::string("read_int 7 0x1060") + digit);
    }
    reads.emplace_back("read 7 0x80010191 16 4");
    return reads;
}

} // namespace

// A store is three series, each of 16 bytes and its samples, and the module's tail.
const std::vector<framed_monitor>& framed_monitors() {
    static const std::vector<framed_monitor> rows = {
        // a sample: six 32-bit numbers
        {"Cpu",
         &cpu_usage_monitor,
         "dashboard_cpu",
         "cpu_usage",
         "cpu_usage_%_0.xml",
         "cpu_usage_%_tmp.xml",
         "cpu_usage*",
         1,
         3 * (16 + 120 * 24),
         60,
         120,
         false,
         cpu_history,
         {},
         {},
         {}},
        // two 32-bit numbers
        {"Mem",
         &mem_usage_monitor,
         "dashboard_mem",
         "mem_usage",
         "mem_usage_%_0.xml",
         "mem_usage_%_tmp.xml",
         "mem_usage*",
         2,
         3 * (16 + 120 * 8),
         60,
         120,
         false,
         mem_history,
         {},
         {},
         {"mem_usage_init: freemem &"},
         "open file ("},
        // a time in eight bytes and 48 counters; sixteen names of 16 bytes
        {"Wan",
         &wan_traffic_monitor,
         "dashboard_wan",
         "wan_traffic",
         "wan_traffic_%_0.xml",
         "wan_traffic_%_tmp.xml",
         "wan_traffic*",
         3,
         3 * (16 + 120 * 392) + 256,
         72,
         120,
         true,
         wan_history,
         wan_reads(),
         {"log[wan_traffic_init]: Add WAN0:(eth0)", "log[wan_traffic_init]: Add WAN15:(eth1)"},
         {}},
        // a time in eight bytes and 15 counters; five flags, rounded up to eight bytes
        {"Lan",
         &lan_traffic_monitor,
         "dashboard_lan",
         "lan_traffic",
         "lan_traffic_%_0.xml",
         "lan_traffic_%_tmp.xml",
         "lan_traffic*",
         5,
         3 * (16 + 120 * 128) + 24,
         72,
         120,
         true,
         lan_history,
         {},
         {},
         {}},
        // a time in eight bytes and 26 counters
        {"Wifi24",
         &wifi_24g_traffic_monitor,
         "dashboard_wifi_24g",
         "wifi_traffic",
         "wifi_24g_traffic_%_0.xml",
         "wifi_24g_traffic_%_0_tmp.xml",
         "wifi_24g_traffic*",
         6,
         3 * (16 + 120 * 216),
         72,
         120,
         true,
         wifi_24g_history,
         {"read 7 0x8000f391 26 4"},
         {},
         {}},
        {"Wifi5",
         &wifi_5g_traffic_monitor,
         "dashboard_wifi_5g",
         "wifi_traffic",
         "wifi_5g_traffic_%_0.xml",
         "wifi_5g_traffic_%_0_tmp.xml",
         "wifi_5g_traffic*",
         7,
         3 * (16 + 120 * 216),
         72,
         120,
         true,
         wifi_5g_history,
         {"read 7 0x8000f392 26 4"},
         {},
         {}},
        // a time, 128 flags, a gap and three times 128 counters
        {"AllAp",
         &allap_traffic_monitor,
         "dashboard_allap",
         "allap_traffic",
         "aptraffic_allap_%.xml",
         "aptraffic_allap_%_tmp.xml",
         "aptraffic_allap*",
         9,
         3 * (16 + 128 * (4 + 128 * 4 + 4 + 3 * 128 * 8)),
         60,
         128,
         false,
         allap_history,
         {},
         {},
         {}},
        // 13 numbers; two flags
        {"Sim",
         &sim_strquality_monitor,
         "dashboard_simsq",
         "sim_strquality",
         "sim_strquality_%_0.xml",
         "sim_strquality_%_0_tmp.xml",
         "sim_strquality*",
         10,
         3 * (16 + 120 * 52) + 2 * 4,
         72,
         120,
         true,
         sim_history,
         {"read_int 7 0x801e5020", "read_int 7 0x801e5021"},
         {},
         {}},
    };
    return rows;
}

std::vector<framed_monitor> exporting_monitors() {
    std::vector<framed_monitor> rows;
    std::copy_if(framed_monitors().begin(), framed_monitors().end(), std::back_inserter(rows),
                 [](const framed_monitor& one) { return one.has_check; }); // the same five
    return rows;
}

void PrintTo(const framed_monitor& one, std::ostream* out) {
    *out << one.name;
}

std::string name_of_monitor(const ::testing::TestParamInfo<framed_monitor>& info) {
    return info.param.name;
}

framed_monitor_fixture::framed_monitor_fixture() {
    configure_router(world);
    read_interfaces();
    router_cpu_at(world, 0);
    measure_cpu();
    world.csman.set(start_marker, 0);
    forget_calls();
}

void framed_monitor_fixture::begin() {
    ASSERT_EQ(init(module), 1);
    model = row.begin(world.clock.now());
    world.messages();
}

void framed_monitor_fixture::show_moment(uint64_t n) {
    if (row.module == &mem_usage_monitor) {
        router_memory_at(world, n);
    } else if (row.module == &allap_traffic_monitor) {
        router_aps_at(world, n);
    } else if (row.module == &sim_strquality_monitor) {
        router_sims_at(world, n);
    } else {
        router_traffic_at(world, n);
        read_counters();
    }
}

void framed_monitor_fixture::live_at(int64_t second, int32_t viewer) {
    // Its measurement takes a tool, and most samples repeat the last one anyway.
    const bool cpu = row.module == &cpu_usage_monitor;
    const uint64_t n = cpu ? moment / 10 : moment;
    ++moment;
    world.clock.set(second);
    if (!cpu) {
        show_moment(n);
    } else if (moment % 10 == 1) {
        router_cpu_at(world, n);
        measure_cpu();
    }
    const bool fed = model->feed(second, n);
    if (!fed) {
        empty_roll_ups.push_back("log[" + row.function + "_loop]: " + row.source);
    }
    ASSERT_EQ(loop(module, viewer), fed ? 1 : 0) << "at " << second - t0;
}

int framed_monitor_fixture::write(const std::string& series) {
    const auto writer = series == "sec" ? module.write_sec : series == "min" ? module.write_min : module.write_hour;
    return writer(csman_handle_of_tests, nullptr);
}

std::string framed_monitor_fixture::published(const std::string& series) const {
    return "/tmp/dashboard/" + named(row.published, series);
}

std::string framed_monitor_fixture::temporary(const std::string& series) const {
    return "/tmp/dashboard/" + named(row.temporary, series);
}

std::string framed_monitor_fixture::link(const std::string& series) const {
    return "/usr/www/" + named(row.published, odd_links() && series == "min" ? "sec" : series);
}

std::string framed_monitor_fixture::link_target(const std::string& series) const {
    if (odd_links()) {
        return series == "hour" ? temporary("hour") : published("sec");
    }
    return published(series);
}

std::string framed_monitor_fixture::link_command(const std::string& series) const {
    return "xml_" + row.function + "_" + series + ": ln -sf " + link_target(series) + " " + link(series);
}

std::vector<std::string> framed_monitor_fixture::commands() {
    std::vector<std::string> asked;
    for (const asked_command& one : new_commands()) {
        EXPECT_EQ(one.file, row.source);
        asked.push_back(one.func + ": " + one.command);
    }
    return asked;
}

std::string framed_monitor_fixture::open_warning(const std::string& series, const std::string& error) const {
    const std::string words = series == "hour" ? "open file(" : row.other_warning;
    return "warn[xml_" + row.function + "_" + series + "]: " + words + temporary(series) + ") error(" + error + ")!";
}

void framed_monitor_fixture::expect_empty(const std::vector<std::string>& series) {
    for (const std::string& one : series) {
        expect_published(published(one), "<?xml version=\"1.0\" ?>\n<datalist>\n</datalist>\n");
    }
}

void framed_monitor_fixture::expect_shown(const std::vector<std::string>& series) {
    for (const std::string& one : series) {
        const auto number = std::find(series_names.begin(), series_names.end(), one) - series_names.begin();
        expect_published(published(one), model->document(static_cast<int>(number)));
    }
}

void framed_monitor_fixture::expect_written() {
    for (const std::string& one : series_names) {
        EXPECT_EQ(write(one), 1);
    }
    expect_shown(series_names);
}

} // namespace dashboard::testing
