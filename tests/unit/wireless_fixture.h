// What the tests of Wi-Fi, access points, bonds and SIM signal share beyond the fixture of all monitors.
#ifndef TESTS_UNIT_WIRELESS_FIXTURE_H
#define TESTS_UNIT_WIRELESS_FIXTURE_H

#include "monitors/monitors.h"
#include "tests/unit/monitor_fixture.h"
#include "tests/unit/open_descriptors.h"

#include <string>
#include <unistd.h>
#include <vector>

namespace dashboard::testing {

// One command of the runner, without the source line: who asked for it and what it was.
struct asked_command {
    std::string file;
    std::string func;
    std::string command;

    bool operator==(const asked_command& other) const {
        return file == other.file && func == other.func && command == other.command;
    }
};

inline void PrintTo(const asked_command& one, std::ostream* out) {
    *out << one.file << " " << one.func << " \"" << one.command << "\"";
}

class wireless_fixture : public monitor_fixture {
protected:
    wireless_fixture() {
        drop_wireless_stores();
        world.forget_calls();
    }
    ~wireless_fixture() override { drop_wireless_stores(); }
    wireless_fixture(const wireless_fixture&) = delete;
    wireless_fixture& operator=(const wireless_fixture&) = delete;

    // Commands since the last question. Each must name this process and a line of the source.
    std::vector<asked_command> new_commands() {
        std::vector<asked_command> fresh;
        const std::vector<runner_command> all = world.commands();
        for (size_t i = commands_seen; i < all.size(); ++i) {
            EXPECT_EQ(all[i].pid, getpid()) << all[i].command;
            EXPECT_GT(all[i].line, 0) << all[i].command;
            fresh.push_back({all[i].file, all[i].func, all[i].command});
        }
        commands_seen = all.size();
        return fresh;
    }

    // Calls of the configuration store since the last question.
    std::vector<std::string> new_csman_calls() {
        std::vector<std::string> all = world.calls("csman");
        std::vector<std::string> fresh(all.begin() + static_cast<std::ptrdiff_t>(csman_seen), all.end());
        csman_seen = all.size();
        return fresh;
    }

private:
    static void drop_wireless_stores() {
        for (const monitor_cb* module : {&wifi_24g_traffic_monitor, &wifi_5g_traffic_monitor, &ap_traffic_monitor,
                                         &allap_traffic_monitor, &bond_traffic_monitor, &sim_strquality_monitor}) {
            module->term(csman_handle_of_tests, 0);
        }
    }

    size_t commands_seen = 0;
    size_t csman_seen = 0;
};

} // namespace dashboard::testing

#endif
