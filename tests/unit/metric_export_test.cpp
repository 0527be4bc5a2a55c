// The CSV exports of byte counters.
#include "monitors/metric_export.h"
#include "tests/unit/heard_messages.h"
#include "tests/unit/open_descriptors.h"

#include <gmock/gmock.h>

#include <cerrno>
#include <climits>
#include <string>

namespace dashboard::testing {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

struct two_counters {
    int32_t time;
    traffic_counters<2> bytes;
};

struct two_counters_store {
    metric_store<two_counters> history;
};

constexpr document_names bases_of_sec = {"data_export_some_sec", "/tmp/dashboard/some_sec_0_tmp",
                                         "/tmp/dashboard/some_sec_0", "/usr/www/some_sec_0"};
constexpr export_description export_of_some = {
    "dashboard_some",
    "count,index,tx,rx,txrx\n",
    fewest_samples{2},
    {
        bases_of_sec,
        {"data_export_some_min", "/tmp/dashboard/some_min_tmp", "/tmp/dashboard/some_min", "/usr/www/some_min"},
        {"data_export_some_hour", "/tmp/dashboard/some_hour_tmp", "/tmp/dashboard/some_hour", "/usr/www/some_hour"},
    },
};
constexpr char temporary_table[] = "/tmp/dashboard/some_sec_0_tmp.csv";
constexpr char table[] = "/tmp/dashboard/some_sec_0.csv";

void both_rows(metric_document& document, int32_t k, const two_counters& sample, const two_counters& previous) {
    difference_row(document, k, 0, sample.bytes, previous.bytes);
    difference_row(document, k, 1, sample.bytes, previous.bytes);
}

class Export : public ::testing::Test {
protected:
    Export() { world.folder("/tmp/dashboard"); }

    void push(unsigned long long tx, unsigned long long rx) {
        series_push(two_counters{1, {{tx, 5}, {rx, 5}, {tx + rx, 10}}}, series);
    }
    // Push i counts i * i bytes sent and 3 * i received, so that every difference is another.
    void push_squares(unsigned count) {
        for (unsigned i = 0; i < count; ++i) {
            push(i * i, 3 * i);
        }
    }
    int write(int32_t selector = sec) { return export_series(&store, &selector, export_of_some, both_rows); }

    // The rows of the differences from push `first` on, up to `last`.
    static std::string golden_squares(unsigned first, unsigned last) {
        std::string text = "count,index,tx,rx,txrx\n";
        for (unsigned i = first + 1, k = 1; i <= last; ++i, ++k) {
            const std::string sent = std::to_string(2 * i - 1);
            text += std::to_string(k) + ",1," + sent + ",3," + std::to_string(2 * i + 2) + "\n";
            text += std::to_string(k) + ",2,0,0,0\n";
        }
        return text;
    }

    listening_world world;
    two_counters_store store{};
    metric_series<two_counters>& series = store.history.series[sec];
};

TEST_F(Export, ListsTheBytesOfEveryIntervalPerEntity) {
    push(100, 10);
    push(150, 30);
    push(150, 31);
    ASSERT_EQ(write(), 1);
    EXPECT_EQ(world.read(table), R"(count,index,tx,rx,txrx
1,1,50,20,70
1,2,0,0,0
2,1,0,1,1
2,2,0,0,0
)");
}

TEST_F(Export, DifferencesOfFallenCountersWrap) {
    push(100, ULLONG_MAX);
    push(99, 4);
    ASSERT_EQ(write(), 1);
    EXPECT_EQ(world.read(table), R"(count,index,tx,rx,txrx
1,1,18446744073709551615,5,4
1,2,0,0,0
)");
}

TEST_F(Export, ShowsTheNewest72Samples) {
    for (const unsigned pushes : {2u, 3u, 71u, 72u, 73u, 119u, 120u, 200u}) {
        series = {};
        push_squares(pushes);
        ASSERT_EQ(write(), 1);
        EXPECT_EQ(world.read(table), golden_squares(pushes < 72 ? 0 : pushes - 72, pushes - 1)) << pushes;
    }
}

TEST_F(Export, FewerThanTwoSamplesLeaveTheTemporaryFileOpenAndInPlace) {
    for (const unsigned pushes : {0u, 1u}) {
        series = {};
        push_squares(pushes);
        world.remove(temporary_table);
        const int before = open_descriptors();
        EXPECT_EQ(write(), 0);
        EXPECT_EQ(open_descriptors(), before + 1);
        EXPECT_EQ(world.read(temporary_table), "");
        EXPECT_FALSE(world.exists(table));
    }
    EXPECT_THAT(world.messages(), IsEmpty());
    EXPECT_THAT(world.commands(), IsEmpty());
    EXPECT_THAT(world.calls("rename"), IsEmpty());
}

TEST_F(Export, ClosesWhatItPublishes) {
    push_squares(2);
    const int before = open_descriptors();
    ASSERT_EQ(write(), 1);
    EXPECT_EQ(open_descriptors(), before);
    EXPECT_THAT(world.list("/tmp/dashboard"), ElementsAre("some_sec_0.csv"));
    EXPECT_THAT(world.calls("remove"), ElementsAre(table));
}

TEST_F(Export, IsLinkedOnceUnderTheExportsName) {
    push_squares(2);
    ASSERT_EQ(write(), 1);
    ASSERT_EQ(write(), 1);
    ASSERT_EQ(world.commands().size(), 1u);
    EXPECT_EQ(world.commands()[0].file, "dashboard_some");
    EXPECT_EQ(world.commands()[0].func, "data_export_some_sec");
    EXPECT_EQ(world.commands()[0].command, "ln -sf /tmp/dashboard/some_sec_0.csv /usr/www/some_sec_0.csv");
    EXPECT_EQ(world.link_target("/usr/www/some_sec_0.csv"), table);
}

TEST_F(Export, OpenFailureIsReportedAndNothingPublished) {
    push_squares(2);
    world.fail("open", EROFS, temporary_table);
    EXPECT_EQ(write(), 0);
    EXPECT_THAT(world.messages(), ElementsAre("warn[data_export_some_sec]: open file(/tmp/dashboard/some_sec_0_tmp.csv)"
                                              " error(Read-only file system)!"));
    EXPECT_THAT(world.list("/tmp/dashboard"), IsEmpty());
}

TEST_F(Export, StaleTemporaryFileKeepsItsTail) {
    push_squares(2);
    world.file(temporary_table, std::string(60, '~'));
    ASSERT_EQ(write(), 1);
    const std::string fresh = golden_squares(0, 1);
    EXPECT_EQ(world.read(table), fresh + std::string(60 - fresh.size(), '~'));
}

TEST(CsvNames, AppendTheSuffixWithin255Characters) {
    const csv_names paths(bases_of_sec);
    EXPECT_STREQ(paths.temporary, temporary_table);
    EXPECT_STREQ(paths.published, table);
    EXPECT_STREQ(paths.link, "/usr/www/some_sec_0.csv");
    const std::string long_base(253, 'x');
    const csv_names cut({"", long_base.c_str(), long_base.c_str(), long_base.c_str()});
    EXPECT_EQ(std::string(cut.temporary), long_base + ".c");
}

TEST_F(Export, SelectorPicksSeriesAndNamesAndNothingElse) {
    for (const series_id id : {sec, min, hour}) {
        for (unsigned i = 0; i < static_cast<unsigned>(id) + 2; ++i) {
            series_push(two_counters{1, {{i, 5}, {i, 5}, {i, 10}}}, store.history.series[id]);
        }
    }
    const std::string header = "count,index,tx,rx,txrx\n";
    EXPECT_EQ(write(sec), 1);
    EXPECT_EQ(world.read(table), header + "1,1,1,1,1\n1,2,0,0,0\n");
    EXPECT_EQ(write(min), 1);
    EXPECT_EQ(world.read("/tmp/dashboard/some_min.csv"), header + "1,1,1,1,1\n1,2,0,0,0\n2,1,1,1,1\n2,2,0,0,0\n");
    EXPECT_EQ(write(hour), 1);
    EXPECT_THAT(world.list("/tmp/dashboard"), ElementsAre("some_hour.csv", "some_min.csv", "some_sec_0.csv"));
}

TEST_F(Export, WithoutAStoreOrForAnyOtherSelectorDoesNothing) {
    push_squares(2);
    for (const int32_t selector : {3, -1, INT_MAX, INT_MIN}) {
        EXPECT_EQ(write(selector), 0) << selector;
    }
    const int32_t first = sec;
    EXPECT_EQ(export_series(&store, nullptr, export_of_some, both_rows), 0);
    EXPECT_EQ(export_series(static_cast<const two_counters_store*>(nullptr), &first, export_of_some, both_rows), 0);
    EXPECT_THAT(world.list("/tmp/dashboard"), IsEmpty());
}

} // namespace
} // namespace dashboard::testing
