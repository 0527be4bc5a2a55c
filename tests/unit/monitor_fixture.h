// What the tests of the monitors share: a world with inputs that a test moves by hand, the modules in a known state,
// the messages that were logged, and documents compared whole.
#ifndef TESTS_UNIT_MONITOR_FIXTURE_H
#define TESTS_UNIT_MONITOR_FIXTURE_H

#include "monitors/monitors.h"
#include "tests/models/documents.h"
#include "tests/support/items.h"
#include "tests/support/world.h"
#include "tests/unit/heard_messages.h"
#include "tests/unit/open_descriptors.h"

#include <gmock/gmock.h>

#include <cstdint>
#include <string>
#include <vector>

namespace dashboard::testing {

inline constexpr int csman_handle_of_tests = 7; // what the double of the store calls itself
inline constexpr int64_t t0 = first_second;     // where the wall clock of every test starts

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

// The published path of a document: "wan_traffic_sec" names /tmp/dashboard/wan_traffic_sec_0.xml.
std::string published(const std::string& document);

// A world with /tmp/dashboard, no interfaces, and system logging on; no module holds a store, before and after.
class monitor_fixture : public ::testing::Test {
protected:
    monitor_fixture();
    ~monitor_fixture() override;
    monitor_fixture(const monitor_fixture&) = delete;
    monitor_fixture& operator=(const monitor_fixture&) = delete;

    // The netdev table from now on, and the alive list, as the server thread would have refreshed them.
    void counters(const std::vector<interface_bytes>& interfaces);
    void alive(const std::vector<std::string>& names);
    // Both: every one of them is up.
    void interfaces(const std::vector<interface_bytes>& all);
    // The same of what the world shows already.
    void read_counters();
    void read_interfaces();

    // The latest CPU measurement from now on, in the idle percentages of mpstat: all cores, core 0, core 1, ...
    void cpu(const std::vector<std::string>& idle);
    void measure_cpu();

    int init(const monitor_cb& module);
    int term(const monitor_cb& module);
    int check(const monitor_cb& module);
    int loop(const monitor_cb& module, int32_t viewer = 0);
    // The loop at `second`, unwatched unless `viewer` says so.
    int loop_at(const monitor_cb& module, int64_t second, int32_t viewer = 0);
    // `count` loops, one a second, the first of them now; the clock stands at the last one afterwards.
    void run(const monitor_cb& module, int count, int32_t viewer = 0);

    // Commands of the runner since the last question. Each must name this process and a line of the source.
    std::vector<asked_command> new_commands();
    // Calls of the configuration store since the last question.
    std::vector<std::string> new_csman_calls();
    // What was renamed in the folder of the documents; tests rename files of their own elsewhere.
    std::vector<std::string> published_moves() const;
    // Also forgets what of these was asked for.
    void forget_calls();

    // Compares a published document, by its name or its path, with `golden`, byte for byte. A golden is a document that
    // the schemas take; what else is found in a file is compared with `expect_file`.
    void expect_document(const std::string& document, const std::string& golden);
    void expect_published(const std::string& path, const std::string& golden);
    void expect_file(const std::string& path, const std::string& golden);

    listening_world world;

private:
    void drop_stores();

    size_t commands_seen = 0;
    size_t csman_seen = 0;
};

} // namespace dashboard::testing

#endif
