// What the tests of modules in a whole daemon share.
#ifndef TESTS_DAEMON_MODULE_FIXTURE_H
#define TESTS_DAEMON_MODULE_FIXTURE_H

#include "tests/daemon/daemon_fixture.h"

#include <algorithm>
#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <vector>

namespace dashboard::testing {

// One module: its number in the log, its items, the mark it leaves in the start marker (0: none).
struct module_items {
    int index;
    uint32_t enable;
    uint32_t view;
    int32_t marker;
};

inline constexpr module_items cpu_module = {0, 0x150783, 0x80150431, 1};
inline constexpr module_items mem_module = {1, 0x150784, 0x80150432, 2};
inline constexpr module_items wan_module = {2, 0x150785, 0x80150433, 3};
inline constexpr module_items bond_module = {3, 0x150786, 0x80150434, 40}; // + bond
inline constexpr module_items lan_module = {4, 0x150787, 0x80150435, 5};
inline constexpr module_items wifi_24g_module = {5, 0x150788, 0x80150436, 6};
inline constexpr module_items wifi_5g_module = {6, 0x150789, 0x80150437, 7};
inline constexpr module_items ap_module = {7, 0x15078a, 0x80150438, 8};
inline constexpr module_items allap_module = {8, 0x15078b, 0x80150439, 9};
inline constexpr module_items current_module = {9, 0x150782, 0x80150430, 0};
inline constexpr module_items sim_module = {10, 0x15078c, 0x8015043a, 10};

inline constexpr module_items all_modules[] = {
    cpu_module,     mem_module, wan_module,   bond_module,    lan_module, wifi_24g_module,
    wifi_5g_module, ap_module,  allap_module, current_module, sim_module,
};

// Items of the configuration store that the wireless modules read.
inline constexpr uint32_t wifi_24g_interface = 0x8000f391;
inline constexpr uint32_t wifi_5g_interface = 0x8000f392;
inline constexpr uint32_t bond_enable = 0xb20070;                                // + bond
inline constexpr uint32_t bond_name_map = 0xb200b0;                              // of all three
inline constexpr uint32_t sim_state = 0x801e5020;                                // + slot, from 0
inline constexpr uint32_t sim_measures[] = {0x801e5f00, 0x801e8860, 0x801e7e20,  // RSSI, RSRP, RSRQ; + slot
                                            0x801e2be0, 0x801e7c20, 0x801e5e00}; // SINR, RSCP, EcIo

// When the first cycle of a daemon that was just started takes place.
inline constexpr int64_t first_cycle = first_second + 1;

// A document around these lines.
inline std::string datalist(const std::string& lines) {
    return "<?xml version=\"1.0\" ?>\n<datalist>\n" + lines + "</datalist>\n";
}

inline std::string time_line(int64_t seconds) {
    return "    <time>" + std::to_string(seconds) + "000</time>\n";
}

template <class Number>
std::string element(const std::string& tag, Number value) {
    return "    <" + tag + ">" + std::to_string(value) + "</" + tag + ">\n";
}

class modules : public daemon_test {
protected:
    int64_t count(const daemon_process& process, const std::string& line) const {
        const std::vector<std::string> lines = process.output_lines();
        return std::count(lines.begin(), lines.end(), line);
    }

    int64_t recorded(const std::string& call, const std::string& text) const {
        const std::vector<std::string> calls = world.calls(call);
        return std::count(calls.begin(), calls.end(), text);
    }

    // Runs `cycles` cycles and answers in which of them (1, 2, ...) a call with this text was made.
    std::vector<int> cycles_with(daemon_process& process, int cycles, const std::string& call,
                                 const std::string& text) {
        std::vector<int> found;
        for (int cycle = 1; cycle <= cycles; ++cycle) {
            const int64_t before = recorded(call, text);
            EXPECT_TRUE(process.run_one_second());
            if (recorded(call, text) != before) {
                found.push_back(cycle);
            }
        }
        return found;
    }
};

// One module or some, on from the first cycle, with a viewer who asks anew every second where there is a request.
class live_modules : public modules {
protected:
    void switch_on(const module_items& module, int32_t request = 0) {
        world.csman.set(module.enable, 1);
        on.push_back({module, request});
    }

    // Starts the daemon; its first cycle is yet to come.
    void start() {
        daemon = std::make_unique<daemon_process>(world);
        ASSERT_TRUE(daemon->run_for(0.5)); // the first term has cleared the request items
    }

    void request(const module_items& module, int32_t number) {
        for (watched_module& one : on) {
            one.request = one.module.index == module.index ? number : one.request;
        }
    }

    // Lives through that many cycles; `before_each` may give the daemon new inputs, for the second that it is told.
    void live(
        int cycles, const std::function<void(int64_t)>& before_each = [](int64_t) {}) {
        for (int i = 0; i < cycles && !HasFatalFailure(); ++i) {
            for (const watched_module& one : on) {
                if (one.request != 0) {
                    world.csman.set(one.module.view, one.request);
                }
            }
            before_each(world.clock.now() + 1);
            ASSERT_TRUE(daemon->run_one_second());
        }
    }

    // Sets the wall clock either way; the daemon begins a cycle at once.
    void step_clock(
        int64_t seconds, const std::function<void(int64_t)>& before = [](int64_t) {}) {
        before(world.clock.now() + seconds);
        world.clock.step_wall(seconds);
        ASSERT_TRUE(daemon->run_for(0.001));
    }

    int64_t lines_saying(const std::string& text) const { return count(*daemon, text); }

    struct watched_module {
        module_items module;
        int32_t request;
    };
    std::vector<watched_module> on;
    std::unique_ptr<daemon_process> daemon;
};

} // namespace dashboard::testing

#endif
