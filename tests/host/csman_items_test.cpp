#include "platform/host/csman_items.h"

#include <cstring>
#include <map>
#include <set>

#include <gtest/gtest.h>

namespace dashboard {
namespace {

uint32_t csid_of(const std::string& name) {
    uint32_t csid = 0xdeadbeef;
    EXPECT_TRUE(find_csid(name, csid)) << name;
    return csid;
}

TEST(ItemTable, EveryNameMeansItsItem) {
    const std::map<std::string, uint32_t> expected = {
        {"dashboard.enable", 0x150780},  {"dashboard.log_mode", 0x150781}, {"current.enable", 0x150782},
        {"cpu.enable", 0x150783},        {"mem.enable", 0x150784},         {"wan.enable", 0x150785},
        {"bond.enable", 0x150786},       {"lan.enable", 0x150787},         {"wifi24.enable", 0x150788},
        {"wifi5.enable", 0x150789},      {"ap.enable", 0x15078a},          {"allap.enable", 0x15078b},
        {"sim.enable", 0x15078c},        {"current.view", 0x80150430},     {"cpu.view", 0x80150431},
        {"mem.view", 0x80150432},        {"wan.view", 0x80150433},         {"bond.view", 0x80150434},
        {"lan.view", 0x80150435},        {"wifi24.view", 0x80150436},      {"wifi5.view", 0x80150437},
        {"ap.view", 0x80150438},         {"allap.view", 0x80150439},       {"sim.view", 0x8015043a},
        {"start_marker", 0x8015043e},    {"wan.binding.1", 0x10600},       {"wan.binding.3", 0x10602},
        {"wan.binding.16", 0x1060f},     {"wan.name.99", 0x8001000b},      {"wan.name.1", 0x80010190},
        {"wan.name.16", 0x8001019f},     {"bond0.enable", 0xb20070},       {"bond1.enable", 0xb20071},
        {"bond2.enable", 0xb20072},      {"bond.name_map", 0xb200b0},      {"wifi24.interface", 0x8000f391},
        {"wifi5.interface", 0x8000f392}, {"sim1.state", 0x801e5020},       {"sim2.state", 0x801e5021},
        {"sim1.rssi", 0x801e5f00},       {"sim2.rssi", 0x801e5f01},        {"sim1.rsrp", 0x801e8860},
        {"sim2.rsrp", 0x801e8861},       {"sim1.rsrq", 0x801e7e20},        {"sim2.rsrq", 0x801e7e21},
        {"sim1.sinr", 0x801e2be0},       {"sim2.sinr", 0x801e2be1},        {"sim1.rscp", 0x801e7c20},
        {"sim2.rscp", 0x801e7c21},       {"sim1.ecio", 0x801e5e00},        {"sim2.ecio", 0x801e5e01},
        {"port.eth_count", 0x8000f360},  {"port.eth.1", 0x80010020},       {"port.eth.16", 0x8001002f},
        {"port.3g.1", 0x801e0701},       {"port.3g.16", 0x801e0710},       {"port.use3g.1", 0x1e4200},
        {"port.use3g.16", 0x1e420f},     {"port.wifi2g", 0x10010},         {"port.wifi5g", 0x10018},
        {"port.power", 0x803b0011}};
    for (const auto& [name, csid] : expected) {
        EXPECT_EQ(csid_of(name), csid) << name;
        EXPECT_EQ(item_name(csid), name);
    }
    std::set<const item_family*> seen;
    for (const auto& [name, csid] : expected)
        seen.insert(find_family(csid));
    EXPECT_EQ(seen.size(), item_family_count());
}

TEST(ItemTable, NoTwoItemsShareANumberOrAName) {
    std::set<uint32_t> csids;
    std::set<std::string> names;
    size_t items = 0;
    for (size_t at = 0; at < item_family_count(); at++) {
        const item_family& family = item_family_at(at);
        for (unsigned index = 0; index < family.count; index++, items++) {
            csids.insert(family.csid + index);
            names.insert(item_name(family, index));
            EXPECT_EQ(find_family(family.csid + index), &family);
        }
    }
    EXPECT_EQ(csids.size(), items);
    EXPECT_EQ(names.size(), items);
}

TEST(ItemTable, RowsSayWhatTheyAre) {
    for (size_t at = 0; at < item_family_count(); at++) {
        const item_family& family = item_family_at(at);
        EXPECT_EQ(family.type == item_type::string, family.size > 0) << family.name;
        EXPECT_EQ(family.count > 1, std::string(family.name).find("{n}") != std::string::npos) << family.name;
        EXPECT_GT(strlen(family.meaning), 0u) << family.name;
        EXPECT_EQ(std::string(family.meaning).find('|'), std::string::npos) << "breaks the page's table";
    }
}

TEST(ItemTable, NamesOutsideARowMeanNothing) {
    for (const char* name : {"",
                             "wan",
                             "wan.binding",
                             "wan.binding.",
                             "wan.binding.0",
                             "wan.binding.17",
                             "wan.binding.01",
                             "wan.binding.+1",
                             "wan.binding.1x",
                             "wan.binding.-1",
                             "wan.name.0",
                             "wan.name.17",
                             "wan.name.98",
                             "wan.name.099",
                             "wan.name.100",
                             "wan.name.{n}",
                             "wan.binding.4294967297",
                             "bond3.enable",
                             "bond.enable.0",
                             "bond{n}.enable",
                             "sim0.rssi",
                             "sim3.rssi",
                             "sim.rssi",
                             "sim1.rssix",
                             "port.eth.17",
                             "WAN.ENABLE",
                             "wan.enable "}) {
        uint32_t csid = 0xdeadbeef;
        EXPECT_FALSE(find_csid(name, csid)) << name;
        EXPECT_EQ(csid, 0xdeadbeef);
    }
}

TEST(ItemTable, NumbersBesideARowAreNamedByThemselves) {
    for (const uint32_t csid : {0x105ffu, 0x10610u, 0x8001018fu, 0x800101a0u, 0xb20073u, 0xffffffffu, 0u})
        EXPECT_EQ(find_family(csid), nullptr) << csid;
    EXPECT_EQ(item_name(0x10610), "0x00010610");
    EXPECT_EQ(item_name(0xfedcba98), "0xfedcba98");
}

} // namespace
} // namespace dashboard
