// The items of the daemon's registry against those of csmanctl.
#include "core/dashboard_registry.h"
#include "platform/host/csman_items.h"

#include <gtest/gtest.h>

#include <string>

namespace dashboard::testing {
namespace {

// What csmanctl calls the modules, in the order of the registry.
constexpr const char* names[] = {"cpu",   "mem", "wan",   "bond",    "lan", "wifi24",
                                 "wifi5", "ap",  "allap", "current", "sim"};
static_assert(sizeof names / sizeof names[0] == module_count, "a name for every module");

TEST(RegistryItems, AreThoseThatCsmanctlCallsByTheModulesName) {
    for (int32_t i = 0; i < module_count; ++i) {
        uint32_t enable = 0;
        uint32_t view = 0;
        ASSERT_TRUE(find_csid(std::string(names[i]) + ".enable", enable)) << names[i];
        ASSERT_TRUE(find_csid(std::string(names[i]) + ".view", view)) << names[i];
        EXPECT_EQ(find_en_csid(i), enable) << names[i];
        EXPECT_EQ(find_rd_csid(i), view) << names[i];
    }
}

} // namespace
} // namespace dashboard::testing
