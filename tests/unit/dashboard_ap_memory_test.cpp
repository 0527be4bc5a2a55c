// The large store of the per-AP monitor: its pages take memory only where an access point uses them.
#include "tests/unit/ap_monitor_fixture.h"
#include "tests/unit/kept_store.h"

#include <algorithm>
#include <fstream>
#include <string>
#include <sys/mman.h>
#include <sys/prctl.h>
#include <unistd.h>

namespace dashboard::testing {
namespace {

// A sanitizer keeps books on every page; there only the behaviour is tested.
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
constexpr bool measuring = false;
#else
constexpr bool measuring = true;
#endif

// Resident memory of this process, exactly.
long resident_kb() {
    std::ifstream totals("/proc/self/smaps_rollup");
    std::string word;
    long kb = -1;
    while (totals >> word) {
        if (word == "Rss:" && totals >> kb) {
            break;
        }
    }
    return kb;
}

constexpr size_t store_bytes = 19'176'448;

// How many pages of the newest store are in memory.
long resident_pages_of_store() {
    const auto page = static_cast<size_t>(sysconf(_SC_PAGESIZE));
    const char* const store = newest_store<char>(store_bytes);
    const size_t before = reinterpret_cast<uintptr_t>(store) % page; // of its first page
    std::vector<unsigned char> in_memory((before + store_bytes + page - 1) / page);
    EXPECT_EQ(mincore(const_cast<char*>(store - before), before + store_bytes, in_memory.data()), 0);
    return std::count_if(in_memory.begin(), in_memory.end(), [](unsigned char flags) { return (flags & 1) != 0; });
}

class ApMemory : public ap_monitor_fixture {
protected:
    const monitor_cb& module = ap_traffic_monitor;

    ApMemory() { prctl(PR_SET_THP_DISABLE, 1, 0, 0, 0); } // a huge page would hold many access points
    ~ApMemory() override { prctl(PR_SET_THP_DISABLE, 0, 0, 0, 0); }

    void report_all(int count) {
        for (int ap = 0; ap < count; ++ap) {
            report(ap, counted_from(static_cast<uint64_t>(ap)));
        }
    }

    // Lets the code run once, so that its own pages are there, and frees the store again.
    void warm_up() {
        report(0, counted_from(1));
        ASSERT_EQ(init(module), 1);
        ASSERT_EQ(loop(module, 1), 1);
        ASSERT_EQ(init(module), 1);
        ASSERT_EQ(loop(module), 1);
        ASSERT_EQ(term(module), 1);
        fall_silent(0);
        world.remove(sec_file(0));
    }

    // Resident memory may have grown by this much since `before`.
    static void expect_growth(long before, long most_kb, const std::string& what) {
        const long now = resident_kb();
        if (measuring) {
            ASSERT_GT(now, 0) << "no /proc/self/smaps_rollup";
            EXPECT_LE(now - before, most_kb) << what;
        }
    }
};

constexpr long slack_kb = 256; // what the test itself and an emulator may take meanwhile

TEST_F(ApMemory, IsNotTakenByInitNorForAbsentAccessPoints) {
    warm_up();
    const long before = resident_kb();
    ASSERT_EQ(init(module), 1);
    expect_growth(before, slack_kb, "init");
    for (int i = 0; i < 5; ++i) {
        ASSERT_EQ(loop_at(module, t0 + i), 1);
    }
    expect_growth(before, slack_kb, "absent access points");
    ASSERT_EQ(init(module), 1);
    expect_growth(before, slack_kb, "init again");
    EXPECT_EQ(module.write_sec(csman_handle_of_tests, nullptr), 1);
    expect_growth(before, slack_kb, "the writers");
}

TEST_F(ApMemory, IsTakenForTheAccessPointsThatSpeakAndForNoOthers) {
    warm_up();
    ASSERT_EQ(init(module), 1);
    report_all(8);
    const long before = resident_kb();
    for (int i = 1; i <= 3; ++i) {
        ASSERT_EQ(loop_at(module, t0 + i, 8), 1);
    }
    const long page_kb = sysconf(_SC_PAGESIZE) / 1024;
    expect_growth(before, slack_kb + 8 * 5 * page_kb, "eight access points, a few seconds");
    expect_published(sec_file(7),
                     ap_document({{t0 + 1, counted_from(7)}, {t0 + 2, counted_from(7)}, {t0 + 3, counted_from(7)}}));
}

TEST_F(ApMemory, OfOneAccessPointIsBoundedByItsBlock) {
    warm_up();
    ASSERT_EQ(init(module), 1);
    report_all(1);
    const long before = resident_kb();
    for (int64_t i = 1; i <= 250; ++i) {
        ASSERT_EQ(loop_at(module, t0 + 3600 * i, 1), 1);
    }
    expect_growth(before, slack_kb + 149'816 / 1024 + 8, "all slots of three series");
}

TEST_F(ApMemory, IsGivenBackByTermAndTakenAfreshEveryTime) {
    warm_up();
    const long before = resident_kb();
    for (int i = 0; i < 6; ++i) {
        ASSERT_EQ(init(module), 1);
        report_all(128);
        ASSERT_EQ(loop(module), 1);
        ASSERT_EQ(term(module), 1);
        world.remove("/tmp/aptraffic");
        expect_growth(before, slack_kb, "after term " + std::to_string(i));
        ASSERT_EQ(init(module), 1);
        expect_growth(before, slack_kb, "after init " + std::to_string(i));
        EXPECT_EQ(module.write_sec(csman_handle_of_tests, nullptr), 1);
        EXPECT_TRUE(published_files().empty()) << "nothing is left of the former series";
        ASSERT_EQ(term(module), 1);
    }
}

TEST_F(ApMemory, IsUntouchedAfterEveryInitHoweverMuchOfItWasUsedBefore) {
    for (int i = 0; i < 4; ++i) {
        ASSERT_EQ(init(module), 1);
        if (measuring) {
            EXPECT_LE(resident_pages_of_store(), 2) << "after init " << i; // where the allocator keeps its books
        }
        report_all(128);
        ASSERT_EQ(loop(module), 1);
        if (measuring) {
            EXPECT_GE(resident_pages_of_store(), 128);
        }
        ASSERT_EQ(term(module), 1);
        world.remove("/tmp/aptraffic");
    }
}

} // namespace
} // namespace dashboard::testing
