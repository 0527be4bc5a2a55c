// What a snapshot of a series shows.
#include "monitors/metric_store.h"
#include "tests/unit/heard_messages.h"

#include <gmock/gmock.h>

#include <climits>
#include <string>

namespace dashboard::testing {
namespace {

struct small_number {
    int32_t time;
    int32_t value;
};

constexpr char number_document[] = "/tmp/dashboard/number_sec_0.xml";

constexpr monitor_description description_of_span(int32_t span) {
    return {"dashboard_number",
            "number_init",
            "number_loop",
            xml_span{span},
            dashboard::start_marker{42},
            {{"xml_number_sec", "/tmp/dashboard/number_sec_tmp.xml", number_document, "/usr/www/number_sec_0.xml"}},
            "",
            ""};
}

class Snapshot : public ::testing::Test {
protected:
    Snapshot() { world.folder("/tmp/dashboard"); }

    int write(int32_t span) {
        const monitor_description about = description_of_span(span);
        return write_snapshot(series, about, about.documents[sec],
                              [](metric_document& document, const small_number& sample) {
                                  document_printf(document, "    <value>%d</value>\n", sample.value);
                              });
    }

    // The times that a document lists, and nothing but samples of consecutive pushes from `first` to `last`.
    static std::string golden(int32_t first, int32_t last) {
        std::string body;
        for (int32_t i = first; i <= last; ++i) {
            body +=
                "    <time>" + std::to_string(1000 + i) + "000</time>\n    <value>" + std::to_string(i) + "</value>\n";
        }
        return "<?xml version=\"1.0\" ?>\n<datalist>\n" + body + "</datalist>\n";
    }

    void push(int32_t count) {
        for (int32_t i = 0; i < count; ++i) {
            series_push(small_number{1000 + i, i}, series);
        }
    }

    listening_world world;
    metric_series<small_number> series{};
};

struct shown {
    int32_t span;
    int32_t pushes;
    int32_t first; // number of the first push that is shown
};

void PrintTo(const shown& one, std::ostream* out) {
    *out << "span " << one.span << " after " << one.pushes << " pushes";
}

class SnapshotSpan : public Snapshot, public ::testing::WithParamInterface<shown> {};

TEST_P(SnapshotSpan, ShowsTheNewestOldestFirst) {
    push(GetParam().pushes);
    ASSERT_EQ(write(GetParam().span), 1);
    EXPECT_EQ(world.read(number_document), golden(GetParam().first, GetParam().pushes - 1));
}

INSTANTIATE_TEST_SUITE_P(Spans, SnapshotSpan,
                         ::testing::Values(shown{72, 0, 0}, shown{72, 1, 0}, shown{72, 5, 0}, shown{72, 71, 0},
                                           shown{72, 72, 0}, shown{72, 73, 1}, shown{72, 100, 28}, shown{72, 119, 47},
                                           shown{72, 120, 48}, shown{72, 200, 128}, shown{60, 59, 0}, shown{60, 60, 0},
                                           shown{60, 61, 1}, shown{60, 200, 140}, shown{119, 200, 81},
                                           shown{1, 200, 199}));

TEST_F(Snapshot, PrintsSecondsAsMilliseconds) {
    series_push(small_number{INT_MAX, 1}, series);
    series_push(small_number{0, 2}, series);
    series_push(small_number{-5, 3}, series);
    ASSERT_EQ(write(72), 1);
    EXPECT_EQ(world.read(number_document), R"(<?xml version="1.0" ?>
<datalist>
    <time>2147483647000</time>
    <value>1</value>
    <time>0000</time>
    <value>2</value>
    <time>-5000</time>
    <value>3</value>
</datalist>
)");
}

TEST_F(Snapshot, IsNotWrittenWhenItCannotBeOpened) {
    world.remove("/tmp/dashboard");
    EXPECT_EQ(write(72), 0);
    EXPECT_THAT(world.messages(),
                ::testing::ElementsAre("warn[xml_number_sec]: open file(/tmp/dashboard/number_sec_tmp.xml) "
                                       "error(No such file or directory)!"));
    EXPECT_THAT(world.calls("rename"), ::testing::IsEmpty());
    EXPECT_THAT(world.commands(), ::testing::IsEmpty());
}

TEST(ViewerRequest, IsWhatThePointerShowsAndZeroWithoutOne) {
    int32_t value = -5;
    EXPECT_EQ(viewer_request(&value), -5);
    value = 3;
    EXPECT_EQ(viewer_request(&value), 3);
    EXPECT_EQ(viewer_request(nullptr), 0);
}

} // namespace
} // namespace dashboard::testing
