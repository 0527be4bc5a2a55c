// The life of each module in a whole daemon: its item, its first documents, its links and its mark; its viewers; its
// end and its second beginning.
#include "tests/daemon/module_fixture.h"
#include "tests/models/router.h"

#include <gmock/gmock.h>

#include <iterator>

namespace dashboard::testing {
namespace {

using ::testing::ElementsAreArray;
using ::testing::IsEmpty;

struct module_case {
    const char* name;
    module_items items;
    std::string stem;
    std::vector<std::string> first; // documents that the start of the module writes
    std::vector<std::string> links; // names in /usr/www that then exist
    std::string watched;            // document that a viewer sees, with a request of 1
};

void PrintTo(const module_case& module, std::ostream* out) {
    *out << module.name;
}

std::string name_of_module(const ::testing::TestParamInfo<module_case>& about) {
    return about.param.name;
}

module_case series_module(const char* name, const module_items& items, const std::string& stem) {
    const std::vector<std::string> files = {stem + "_hour_0.xml", stem + "_min_0.xml", stem + "_sec_0.xml"};
    return {name, items, stem, files, files, stem + "_sec_0.xml"};
}

const module_case module_cases[] = {
    series_module("Cpu", cpu_module, "cpu_usage"),
    series_module("Mem", mem_module, "mem_usage"),
    series_module("Wan", wan_module, "wan_traffic"),
    {"Bond",
     bond_module,
     "bond_traffic",
     {"bond_traffic_sec_0.xml"},
     {"bond_traffic_sec_0.xml"},
     "bond_traffic_sec_0.xml"},
    series_module("Lan", lan_module, "lan_traffic"),
    series_module("Wifi24", wifi_24g_module, "wifi_24g_traffic"),
    series_module("Wifi5", wifi_5g_module, "wifi_5g_traffic"),
    {"Ap", ap_module, "aptraffic", {}, {}, "aptraffic_sec_0.xml"},
    {"AllAp",
     allap_module,
     "aptraffic_allap",
     {"aptraffic_allap_hour.xml", "aptraffic_allap_min.xml", "aptraffic_allap_sec.xml"},
     {"aptraffic_allap_hour.xml", "aptraffic_allap_sec.xml"},
     "aptraffic_allap_sec.xml"},
    {"Current",
     current_module,
     "current_traffic",
     {"current_traffic_sec_0.xml"},
     {"current_traffic_sec_0.xml"},
     "current_traffic_sec_0.xml"},
    series_module("Sim", sim_module, "sim_strquality"),
};
static_assert(std::size(module_cases) == std::size(all_modules), "a life for every module");

class ModuleLife : public live_modules, public ::testing::WithParamInterface<module_case> {
protected:
    ModuleLife() {
        configure_router(world);
        switch_on(GetParam().items);
    }

    std::string read(const std::string& document) const { return world.read("/tmp/dashboard/" + document); }

    int64_t starts() const {
        return lines_saying("log[init_monitor_cb]: init_mc idx=" + std::to_string(GetParam().items.index));
    }
    int64_t ends() const {
        return lines_saying("log[term_monitor_cb]: term_mc idx=" + std::to_string(GetParam().items.index));
    }

    // Documents without samples: of all series, and of a bond that is not up yet.
    void expect_empty_documents() const {
        for (const std::string& document : GetParam().first) {
            const bool bond = GetParam().items.index == bond_module.index;
            const bool moment = GetParam().items.index == current_module.index;
            if (!moment) {
                EXPECT_EQ(read(document), datalist(bond ? "    <namemap_bond></namemap_bond>\n" : "")) << document;
            }
        }
    }

    void expect_mark() const {
        const module_items& items = GetParam().items;
        const bool at_once = items.marker != 0 && items.index != bond_module.index;
        EXPECT_EQ(world.csman.has(start_marker), at_once);
        if (at_once) {
            EXPECT_EQ(world.csman.get(start_marker), items.marker);
        }
    }
};

INSTANTIATE_TEST_SUITE_P(Of, ModuleLife, ::testing::ValuesIn(module_cases), name_of_module);

TEST_P(ModuleLife, BeginsWithItsItemAndWithDocumentsWithoutSamples) {
    world.csman.set(GetParam().items.enable, 0);
    start();
    live(6);
    EXPECT_EQ(starts(), 0);
    EXPECT_THAT(world.list("/tmp/dashboard"), IsEmpty());
    world.csman.set(GetParam().items.enable, 1);
    live(1); // the seventh cycle reads the items again
    EXPECT_EQ(starts(), 1);
    EXPECT_THAT(world.list("/tmp/dashboard"), ElementsAreArray(GetParam().first));
    EXPECT_THAT(world.list("/usr/www"), ElementsAreArray(GetParam().links));
    expect_empty_documents();
    expect_mark();
}

TEST_P(ModuleLife, ShowsItselfToAViewerForSixtyOneCycles) {
    start();
    live(1);
    world.csman.set(GetParam().items.view, 1);
    std::vector<int> cycles;
    std::string before = world.exists("/tmp/dashboard/" + GetParam().watched) ? read(GetParam().watched) : "";
    for (int cycle = 2; cycle <= 80; ++cycle) {
        router_at(world, static_cast<uint64_t>(cycle));
        live(1);
        const bool there = world.exists("/tmp/dashboard/" + GetParam().watched);
        const std::string now = there ? read(GetParam().watched) : "";
        if (there && now != before) {
            cycles.push_back(cycle);
        }
        before = now;
    }
    // The current traffic is shown every third cycle, beginning with the third that is watched: init has used the
    // first. A bond comes up with the first check, in the tenth cycle.
    const bool moment = GetParam().items.index == current_module.index;
    const bool bond = GetParam().items.index == bond_module.index;
    ASSERT_EQ(cycles.size(), moment ? 20u : bond ? 58u : 61u);
    EXPECT_EQ(cycles.front(), moment ? 9 : bond ? 10 : 7);
    EXPECT_EQ(cycles.back(), moment ? 66 : 67);
    EXPECT_EQ(world.csman.get(GetParam().items.view), 0);
}

TEST_P(ModuleLife, EndsWithItsItemAndBeginsAnew) {
    start();
    request(GetParam().items, 1);
    live(20);
    const std::string shown = read(GetParam().watched);
    EXPECT_NE(shown, datalist(""));
    world.csman.set(GetParam().items.enable, 0);
    world.csman.set(GetParam().items.view, 0);
    request(GetParam().items, 0);
    live(6);
    EXPECT_EQ(ends(), 2); // the first was that of the start
    for (const char* folder : {"/usr/www/", "/tmp/dashboard/"}) {
        EXPECT_EQ(recorded("unlink", folder + GetParam().stem + "*"), 2);
    }
    const std::string last = read(GetParam().watched); // unlink takes the asterisk at its word
    live(12);
    EXPECT_EQ(read(GetParam().watched), last);
    world.csman.unset(start_marker);
    world.csman.set(GetParam().items.enable, 1);
    live(6);
    EXPECT_EQ(starts(), 2);
    expect_empty_documents();
    expect_mark();
}

} // namespace
} // namespace dashboard::testing
