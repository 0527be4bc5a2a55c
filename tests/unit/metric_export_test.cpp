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

constexpr export_names names = {"data_export_some_sec", "/tmp/dashboard/some_sec_0_tmp", "/tmp/dashboard/some_sec_0",
                                "/usr/www/some_sec_0"};
constexpr char temporary[] = "/tmp/dashboard/some_sec_0_tmp.csv";
constexpr char final_file[] = "/tmp/dashboard/some_sec_0.csv";

void both_rows(metric_document& document, int32_t count, const two_counters& sample, const two_counters& previous) {
    difference_row(document, count, 0, sample.bytes, previous.bytes);
    difference_row(document, count, 1, sample.bytes, previous.bytes);
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
    int write() { return export_differences(series, "dashboard_some", names, both_rows); }

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
    metric_series<two_counters> series{};
};

TEST_F(Export, ListsTheBytesOfEveryIntervalPerEntity) {
    push(100, 10);
    push(150, 30);
    push(150, 31);
    ASSERT_EQ(write(), 1);
    EXPECT_EQ(world.read(final_file), R"(count,index,tx,rx,txrx
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
    EXPECT_EQ(world.read(final_file), R"(count,index,tx,rx,txrx
1,1,18446744073709551615,5,4
1,2,0,0,0
)");
}

TEST_F(Export, ShowsTheNewest72Samples) {
    for (const unsigned pushes : {2u, 3u, 71u, 72u, 73u, 119u, 120u, 200u}) {
        series = {};
        push_squares(pushes);
        ASSERT_EQ(write(), 1);
        EXPECT_EQ(world.read(final_file), golden_squares(pushes < 72 ? 0 : pushes - 72, pushes - 1)) << pushes;
    }
}

TEST_F(Export, FewerThanTwoSamplesLeaveTheTemporaryFileOpenAndInPlace) {
    for (const unsigned pushes : {0u, 1u}) {
        series = {};
        push_squares(pushes);
        world.remove(temporary);
        const int before = open_descriptors();
        EXPECT_EQ(write(), 0);
        EXPECT_EQ(open_descriptors(), before + 1);
        EXPECT_EQ(world.read(temporary), "");
        EXPECT_FALSE(world.exists(final_file));
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
    EXPECT_THAT(world.calls("remove"), ElementsAre(final_file));
}

TEST_F(Export, IsLinkedOnceUnderTheExportsName) {
    push_squares(2);
    ASSERT_EQ(write(), 1);
    ASSERT_EQ(write(), 1);
    ASSERT_EQ(world.commands().size(), 1u);
    EXPECT_EQ(world.commands()[0].file, "dashboard_some");
    EXPECT_EQ(world.commands()[0].func, "data_export_some_sec");
    EXPECT_EQ(world.commands()[0].command, "ln -sf /tmp/dashboard/some_sec_0.csv /usr/www/some_sec_0.csv");
    EXPECT_EQ(world.link_target("/usr/www/some_sec_0.csv"), final_file);
}

TEST_F(Export, OpenFailureIsReportedAndNothingPublished) {
    push_squares(2);
    world.fail("open", EROFS, temporary);
    EXPECT_EQ(write(), 0);
    EXPECT_THAT(world.messages(), ElementsAre("warn[data_export_some_sec]: open file(/tmp/dashboard/some_sec_0_tmp.csv)"
                                              " error(Read-only file system)!"));
    EXPECT_THAT(world.list("/tmp/dashboard"), IsEmpty());
}

TEST_F(Export, StaleTemporaryFileKeepsItsTail) {
    push_squares(2);
    world.file(temporary, std::string(60, '~'));
    ASSERT_EQ(write(), 1);
    const std::string fresh = golden_squares(0, 1);
    EXPECT_EQ(world.read(final_file), fresh + std::string(60 - fresh.size(), '~'));
}

TEST(ExportPaths, AppendTheSuffixWithin255Characters) {
    const export_paths paths(names);
    EXPECT_STREQ(paths.temporary, temporary);
    EXPECT_STREQ(paths.published, final_file);
    EXPECT_STREQ(paths.link, "/usr/www/some_sec_0.csv");
    const std::string long_base(253, 'x');
    const export_paths cut({"", long_base.c_str(), long_base.c_str(), long_base.c_str()});
    EXPECT_EQ(std::string(cut.temporary), long_base + ".c");
}

struct store_of_three {
    struct {
        int sec, min, hour;
    } history;
};

TEST(SelectExport, PicksSeriesAndNamesAndNothingElse) {
    const store_of_three store{{10, 11, 12}};
    const export_names three[3] = {{"sec", "", "", ""}, {"min", "", "", ""}, {"hour", "", "", ""}};
    std::string picked;
    const auto note = [&](int series, const export_names& one) {
        picked += std::to_string(series) + one.exporter + " ";
        return 1;
    };
    for (const int32_t selector : {0, 1, 2}) {
        EXPECT_EQ(select_export(&store, &selector, three, note), 1) << selector;
    }
    EXPECT_EQ(picked, "10sec 11min 12hour ");
    for (const int32_t selector : {3, -1, INT_MAX, INT_MIN}) {
        EXPECT_EQ(select_export(&store, &selector, three, note), 0) << selector;
    }
    const int32_t sec = 0;
    EXPECT_EQ(select_export(&store, nullptr, three, note), 0);
    EXPECT_EQ(select_export(static_cast<const store_of_three*>(nullptr), &sec, three, note), 0);
    EXPECT_EQ(picked, "10sec 11min 12hour ");
}

} // namespace
} // namespace dashboard::testing
