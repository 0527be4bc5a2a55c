#include "tests/unit/monitor_fixture.h"

#include "base/dashboard_log.h"
#include "base/wall_clock.h"
#include "core/dashboard_query.h"
#include "core/dashboard_registry.h"
#include "probes/dashboard_cpuinfo.h"
#include "probes/dashboard_netdev.h"

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <functional>
#include <unistd.h>

namespace dashboard::testing {

namespace {

// Keeps what a document should look like where $DASHBOARD_GOLDENS says, each text once, for check-goldens.
void keep_golden(const std::string& path, const std::string& golden) {
    if (const char* const folder = getenv("DASHBOARD_GOLDENS"); folder != nullptr) {
        const std::filesystem::path document(path);
        const std::string number = std::to_string(std::hash<std::string>{}(golden));
        const std::string name = document.stem().string() + "." + number + document.extension().string();
        std::ofstream(std::filesystem::path(folder) / name, std::ios::binary) << golden;
    }
}

} // namespace

std::string published(const std::string& document) {
    return "/tmp/dashboard/" + document + "_0.xml";
}

monitor_fixture::monitor_fixture() {
    world.folder("/tmp/dashboard");
    drop_stores();
    interfaces({});
    world.messages();
    world.forget_calls();
}

monitor_fixture::~monitor_fixture() {
    drop_stores();
}

void monitor_fixture::drop_stores() {
    load_registry();
    for (const monitor_entry& row : reg_monitor_cb) {
        row.callbacks->term(csman_handle_of_tests, 0);
    }
}

void monitor_fixture::counters(const std::vector<interface_bytes>& interfaces) {
    world.netdev(interfaces);
    read_counters();
}

void monitor_fixture::read_counters() {
    main_netdev_info();
}

void monitor_fixture::read_interfaces() {
    main_netdev_info();
    main_netdev_alive();
}

void monitor_fixture::alive(const std::vector<std::string>& names) {
    world.alive(names);
    main_netdev_alive();
}

void monitor_fixture::interfaces(const std::vector<interface_bytes>& all) {
    std::vector<std::string> names;
    names.reserve(all.size());
    for (const interface_bytes& one : all) {
        names.push_back(one.name);
    }
    counters(all);
    alive(names);
}

void monitor_fixture::cpu(const std::vector<std::string>& idle) {
    world.mpstat(idle);
    measure_cpu();
}

void monitor_fixture::measure_cpu() {
    query_state due{wall_seconds(), wall_seconds() - 1};
    query_step(due);
}

int monitor_fixture::init(const monitor_cb& module) {
    return module.init(csman_handle_of_tests, 0);
}

int monitor_fixture::term(const monitor_cb& module) {
    return module.term(csman_handle_of_tests, 0);
}

int monitor_fixture::check(const monitor_cb& module) {
    int32_t viewer = 0;
    return module.check(csman_handle_of_tests, &viewer, &module);
}

int monitor_fixture::loop(const monitor_cb& module, int32_t viewer) {
    return module.loop(csman_handle_of_tests, &viewer, &module);
}

int monitor_fixture::loop_at(const monitor_cb& module, int64_t second, int32_t viewer) {
    world.clock.set(second);
    return loop(module, viewer);
}

void monitor_fixture::run(const monitor_cb& module, int count, int32_t viewer) {
    for (int i = 0; i < count; ++i) {
        if (i > 0) {
            world.clock.advance(1);
        }
        ASSERT_EQ(loop(module, viewer), 1) << "in second " << i;
    }
}

std::vector<asked_command> monitor_fixture::new_commands() {
    std::vector<asked_command> fresh;
    const std::vector<runner_command> all = world.commands();
    for (commands_seen = std::min(commands_seen, all.size()); commands_seen < all.size(); ++commands_seen) {
        const runner_command& one = all[commands_seen];
        EXPECT_EQ(one.pid, getpid()) << one.command;
        EXPECT_GT(one.line, 0) << one.command;
        fresh.push_back({one.file, one.func, one.command});
    }
    return fresh;
}

std::vector<std::string> monitor_fixture::new_csman_calls() {
    const std::vector<std::string> all = world.calls("csman");
    const size_t from = std::min(csman_seen, all.size());
    csman_seen = all.size();
    return {all.begin() + static_cast<std::ptrdiff_t>(from), all.end()};
}

std::vector<std::string> monitor_fixture::published_moves() const {
    std::vector<std::string> moves;
    for (const std::string& one : world.calls("rename")) {
        if (one.rfind("/tmp/dashboard/", 0) == 0) {
            moves.push_back(one);
        }
    }
    return moves;
}

void monitor_fixture::forget_calls() {
    world.forget_calls();
    commands_seen = 0;
    csman_seen = 0;
}

void monitor_fixture::expect_document(const std::string& document, const std::string& golden) {
    expect_published(published(document), golden);
}

void monitor_fixture::expect_published(const std::string& path, const std::string& golden) {
    expect_file(path, golden);
    keep_golden(path, golden);
}

void monitor_fixture::expect_file(const std::string& path, const std::string& golden) {
    ASSERT_TRUE(world.exists(path)) << path;
    EXPECT_EQ(world.read(path), golden) << path;
}

} // namespace dashboard::testing
