// The monitors that live by the common frame and nothing else, with what a user sees of each: names, files, codes.
#ifndef TESTS_UNIT_FRAMED_MONITORS_H
#define TESTS_UNIT_FRAMED_MONITORS_H

#include "monitors/monitors.h"
#include "tests/unit/monitor_fixture.h"

#include <string>
#include <unistd.h>
#include <vector>

namespace dashboard::testing {

struct framed_monitor {
    const char* name;
    const monitor_cb* module;
    std::string source;
    std::string stem; // of files and function names
    int32_t start_marker;
    int store_bytes;           // the same on 32 and 64 bits: 64-bit numbers lie on multiples of 8 on both
    const char* other_warning; // how the sec and min writers begin their warning
    std::string one_sample;    // its element lines under usual inputs
};

inline void PrintTo(const framed_monitor& one, std::ostream* out) {
    *out << one.name;
}

inline std::string name_of_monitor(const ::testing::TestParamInfo<framed_monitor>& info) {
    return info.param.name;
}

inline constexpr char plain_warning[] = "open file(";

// A store is three series, each of 16 bytes and 120 samples, and the module's tail.
inline const framed_monitor framed_monitors[] = {
    // a sample: six 32-bit numbers
    {"Cpu", &cpu_usage_monitor, "dashboard_cpu", "cpu_usage", 1, 3 * (16 + 120 * 24), plain_warning,
     "    <cpu_usage>10</cpu_usage>\n"
     "    <cpu_usage0>20</cpu_usage0>\n"
     "    <cpu_usage1>1</cpu_usage1>\n"},
    // two 32-bit numbers
    {"Mem", &mem_usage_monitor, "dashboard_mem", "mem_usage", 2, 3 * (16 + 120 * 8), "open file (",
     "    <mem_usage>65536</mem_usage>\n"},
    // a time in eight bytes and 48 counters; sixteen names of 16 bytes
    {"Wan", &wan_traffic_monitor, "dashboard_wan", "wan_traffic", 3, 3 * (16 + 120 * 392) + 256, plain_warning,
     "    <wan1_tx>2000</wan1_tx>\n"
     "    <wan1_rx>1000</wan1_rx>\n"
     "    <wan1_txrx>3000</wan1_txrx>\n"},
    // a time in eight bytes and 15 counters; five flags, rounded up to eight bytes
    {"Lan", &lan_traffic_monitor, "dashboard_lan", "lan_traffic", 5, 3 * (16 + 120 * 128) + 24, plain_warning,
     "    <lan1_tx>20</lan1_tx>\n"
     "    <lan1_rx>10</lan1_rx>\n"
     "    <lan1_txrx>30</lan1_txrx>\n"},
};

class framed_monitor_fixture : public monitor_fixture, public ::testing::WithParamInterface<framed_monitor> {
protected:
    // Inputs under which every monitor can take a sample.
    framed_monitor_fixture() {
        world.usual_inputs();
        interfaces({{"eth0", 1000, 2000}, {"br0", 10, 20}});
        world.csman.set(0x10600, 99);
        world.csman.set_string(0x8001000b, "eth0");
        cpu({"90.10", "80.20", "99.75"});
        world.forget_calls();
    }

    const monitor_cb& module() const { return *GetParam().module; }
    int init_it() { return init(module()); }
    int loop_it(int32_t viewer = 0) { return loop(module(), viewer); }
    int loop_it_at(int64_t second, int32_t viewer = 0) { return loop_at(module(), second, viewer); }

    // "wan_traffic_sec" and the paths that go with it.
    static std::string document(const std::string& series) { return GetParam().stem + "_" + series; }
    static std::string temporary(const std::string& series) {
        return "/tmp/dashboard/" + document(series) + "_tmp.xml";
    }
    static std::string link(const std::string& series) { return "/usr/www/" + document(series) + "_0.xml"; }
    static std::string open_warning(const std::string& series, const std::string& error) {
        const std::string words = series == "hour" ? plain_warning : GetParam().other_warning;
        return "warn[xml_" + document(series) + "]: " + words + temporary(series) + ") error(" + error + ")!";
    }
    static std::string sample_at(int64_t second) {
        return "    <time>" + std::to_string(second) + "000</time>\n" + GetParam().one_sample;
    }

    void expect_series(const std::string& series, const std::string& body) {
        expect_document(document(series), datalist(body));
    }

    // Commands of the runner that make links, and that they come from this module.
    std::vector<std::string> links_made() {
        std::vector<std::string> made;
        for (const runner_command& one : world.commands()) {
            EXPECT_EQ(one.pid, getpid());
            EXPECT_EQ(one.file, GetParam().source);
            EXPECT_GT(one.line, 0);
            if (one.command != "freemem &") {
                made.push_back(one.func + ": " + one.command);
            }
        }
        return made;
    }
};

} // namespace dashboard::testing

#endif
