// The registry's rows, the modules' callback sets, the csid table.
#include "core/dashboard_registry.h"

#include "tests/support/items.h"

#include <gtest/gtest.h>

#include <cstddef>
#include <iterator>

namespace dashboard::testing {
namespace {

struct module_facts {
    bool check;
    bool min_and_hour;
    bool data_export;
};

constexpr module_facts facts[] = {
    {false, true, false},  // 0 CPU usage
    {false, true, false},  // 1 memory usage
    {true, true, true},    // 2 WAN traffic
    {true, true, false},   // 3 bond traffic
    {true, true, true},    // 4 LAN traffic
    {true, true, true},    // 5 Wi-Fi 2.4 GHz
    {true, true, true},    // 6 Wi-Fi 5 GHz
    {false, true, false},  // 7 per-AP traffic
    {false, true, false},  // 8 all-AP traffic
    {false, false, false}, // 9 current traffic
    {true, true, true},    // 10 SIM signal quality
};
static_assert(sizeof facts / sizeof facts[0] == module_count, "one line per module");

static_assert(std::size(all_modules) == module_count, "items for every module");

TEST(Registry, HasANumberForAllModulesThatIsNoModules) {
    for (const module_items& module : all_modules) {
        EXPECT_NE(every_module, module.index);
    }
}

TEST(Registry, RowsStartDisabledUnwatchedAndAsIfInitialised) {
    for (monitor_entry& row : reg_monitor_cb) {
        row = {99, 99, 99, 99, 99, 99, 99, nullptr};
    }
    load_registry();
    for (int32_t i = 0; i < module_count; ++i) {
        const monitor_entry& row = reg_monitor_cb[i];
        EXPECT_EQ(row.module_index, i);
        EXPECT_EQ(row.enabled, 0) << i;
        EXPECT_EQ(row.previous_enabled, 0) << i;
        EXPECT_EQ(row.viewer_request, 0) << i;
        EXPECT_EQ(row.initialised, 1) << i;
        EXPECT_EQ(row.check_counter, 0) << i;
        EXPECT_EQ(row.check_period, 8) << i;
        EXPECT_NE(row.callbacks, nullptr) << i;
    }
}

TEST(Registry, RowsAreSevenNumbersAndAPointer) {
    EXPECT_EQ(offsetof(monitor_entry, module_index), 0u);
    EXPECT_EQ(offsetof(monitor_entry, enabled), 4u);
    EXPECT_EQ(offsetof(monitor_entry, previous_enabled), 8u);
    EXPECT_EQ(offsetof(monitor_entry, viewer_request), 12u);
    EXPECT_EQ(offsetof(monitor_entry, initialised), 16u);
    EXPECT_EQ(offsetof(monitor_entry, check_counter), 20u);
    EXPECT_EQ(offsetof(monitor_entry, check_period), 24u);
    EXPECT_GE(offsetof(monitor_entry, callbacks), 28u);
}

TEST(CallbackSet, HasTwelveSlotsInAFixedOrder) {
    constexpr size_t slot = sizeof(void (*)());
    EXPECT_EQ(sizeof(monitor_cb), 12 * slot);
    EXPECT_EQ(offsetof(monitor_cb, init), 0 * slot);
    EXPECT_EQ(offsetof(monitor_cb, check), 1 * slot);
    EXPECT_EQ(offsetof(monitor_cb, term), 2 * slot);
    EXPECT_EQ(offsetof(monitor_cb, loop), 3 * slot);
    EXPECT_EQ(offsetof(monitor_cb, write_sec), 4 * slot);
    EXPECT_EQ(offsetof(monitor_cb, write_min), 5 * slot);
    EXPECT_EQ(offsetof(monitor_cb, write_hour), 6 * slot);
    EXPECT_EQ(offsetof(monitor_cb, data_export), 9 * slot);
}

TEST(CallbackSet, OfEveryModuleHasItsSlotsFilled) {
    load_registry();
    for (int32_t i = 0; i < module_count; ++i) {
        const monitor_cb& set = *reg_monitor_cb[i].callbacks;
        EXPECT_NE(set.init, nullptr) << i;
        EXPECT_NE(set.term, nullptr) << i;
        EXPECT_NE(set.loop, nullptr) << i;
        EXPECT_NE(set.write_sec, nullptr) << i;
        EXPECT_EQ(set.check != nullptr, facts[i].check) << i;
        EXPECT_EQ(set.write_min != nullptr, facts[i].min_and_hour) << i;
        EXPECT_EQ(set.write_hour != nullptr, facts[i].min_and_hour) << i;
        EXPECT_EQ(set.data_export != nullptr, facts[i].data_export) << i;
        EXPECT_EQ(set.unused_7, nullptr) << i;
        EXPECT_EQ(set.unused_8, nullptr) << i;
        EXPECT_EQ(set.unused_10, nullptr) << i;
        EXPECT_EQ(set.unused_11, nullptr) << i;
    }
}

TEST(CallbackSet, IsEveryModulesOwn) {
    load_registry();
    for (int32_t i = 0; i < module_count; ++i) {
        for (int32_t other = 0; other < i; ++other) {
            EXPECT_NE(reg_monitor_cb[i].callbacks, reg_monitor_cb[other].callbacks) << i << " and " << other;
            EXPECT_NE(reg_monitor_cb[i].callbacks->loop, reg_monitor_cb[other].callbacks->loop) << i << " " << other;
        }
    }
}

TEST(Csids, AreThoseOfTheirModule) {
    for (int32_t i = 0; i < module_count; ++i) {
        ASSERT_EQ(all_modules[i].index, i);
        EXPECT_EQ(find_en_csid(i), all_modules[i].enable) << i;
        EXPECT_EQ(find_rd_csid(i), all_modules[i].view) << i;
    }
}

TEST(Csids, AreNoneForAnIndexWithoutAModule) {
    for (const int32_t index : {-1, module_count, module_count + 1, INT32_MAX, INT32_MIN}) {
        EXPECT_EQ(find_en_csid(index), 0u) << index;
        EXPECT_EQ(find_rd_csid(index), 0u) << index;
        EXPECT_EQ(find_timeout_value(index), nullptr) << index;
    }
}

TEST(Timeout, IsEveryModulesOwnAndStartsAtZero) {
    for (int32_t i = 0; i < module_count; ++i) {
        ASSERT_NE(find_timeout_value(i), nullptr) << i;
        EXPECT_EQ(*find_timeout_value(i), 0) << i;
    }
    for (int32_t i = 0; i < module_count; ++i) {
        *find_timeout_value(i) = 100 + i;
    }
    for (int32_t i = 0; i < module_count; ++i) {
        EXPECT_EQ(*find_timeout_value(i), 100 + i);
        *find_timeout_value(i) = 0;
    }
}

} // namespace
} // namespace dashboard::testing
