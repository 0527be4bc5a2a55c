// What init and term of every framed monitor have in common.
#include "tests/unit/framed_monitors.h"

#include "tests/support/items.h"
#include "tests/unit/kept_store.h"

#include <cerrno>
#include <sys/mman.h>

namespace dashboard::testing {
namespace {

using ::testing::Each;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

class MonitorInit : public framed_monitor_fixture {
protected:
    // The commands of a first init.
    std::vector<std::string> first_commands() const {
        std::vector<std::string> expected = row.commands_at_init;
        for (const std::string& series : series_names) {
            if (!odd_links() || series != "min") {
                expected.push_back(link_command(series));
            }
        }
        return expected;
    }
    // Of one that finds all links: one that leads nowhere is made again.
    std::vector<std::string> later_commands() const {
        std::vector<std::string> expected = row.commands_at_init;
        if (odd_links()) {
            expected.push_back(link_command("hour"));
        }
        return expected;
    }
};
INSTANTIATE_TEST_SUITE_P(Of, MonitorInit, ::testing::ValuesIn(framed_monitors()), name_of_monitor);

TEST_P(MonitorInit, PublishesThreeEmptyDocumentsInTurnAndLinksThem) {
    ASSERT_EQ(init(module), 1);
    EXPECT_EQ(world.messages(), row.says_at_init);
    expect_empty(series_names);
    EXPECT_EQ(commands(), first_commands());
    std::vector<std::string> removed;
    std::vector<std::string> moved;
    for (const std::string& series : series_names) {
        EXPECT_EQ(world.mode(published(series)), 0644u);
        EXPECT_EQ(world.link_target(link(series)), link_target(series));
        removed.push_back(published(series));
        moved.push_back(temporary(series) + " " + published(series));
    }
    EXPECT_EQ(world.calls("remove"), removed);
    EXPECT_EQ(world.calls("rename"), moved);
    EXPECT_EQ(world.list("/tmp/dashboard").size(), 3u);
    EXPECT_EQ(world.list("/usr/www").size(), odd_links() ? 2u : 3u);
}

TEST_P(MonitorInit, MakesNoLinkThatIsThereAlready) {
    ASSERT_EQ(init(module), 1);
    commands();
    ASSERT_EQ(init(module), 1);
    EXPECT_EQ(commands(), later_commands());
}

TEST_P(MonitorInit, MakesALinkAgainThatPointsNowhere) {
    world.link("/tmp/dashboard/gone", link("sec"));
    ASSERT_EQ(init(module), 1);
    EXPECT_EQ(commands(), first_commands());
    EXPECT_EQ(world.link_target(link("sec")), link_target("sec"));
}

TEST_P(MonitorInit, LeavesAFileInTheLinksPlace) {
    world.file(link("sec"), "old page");
    ASSERT_EQ(init(module), 1);
    EXPECT_EQ(commands().size(), first_commands().size() - 1);
    EXPECT_EQ(world.read(link("sec")), "old page");
}

TEST_P(MonitorInit, WritesItsCodeIntoTheStartMarkerLast) {
    std::vector<std::string> expected = row.reads_at_init;
    expected.emplace_back("read_int 7 0x8015043e");
    expected.push_back("write_int 7 0x8015043e " + std::to_string(row.start_marker));
    for (const int32_t held : {0, 1, 98, 100, -99}) {
        world.csman.set(start_marker, held);
        new_csman_calls();
        ASSERT_EQ(init(module), 1);
        EXPECT_EQ(world.csman.get(start_marker), row.start_marker) << held;
        EXPECT_EQ(new_csman_calls(), expected);
    }
}

TEST_P(MonitorInit, WritesItsStartMarkerWhenItsDocumentsStand) {
    ASSERT_EQ(init(module), 1);
    std::vector<std::string> expected;
    for (const std::string& series : series_names) {
        expected.push_back("rename " + temporary(series) + " " + published(series));
    }
    for (const std::string& read : row.reads_at_init) {
        expected.insert(expected.end() - 3, "csman " + read);
    }
    expected.emplace_back("csman read_int 7 0x8015043e");
    expected.push_back("csman write_int 7 0x8015043e " + std::to_string(row.start_marker));
    EXPECT_EQ(world.calls_in_turn({"csman", "rename"}), expected);
}

TEST_P(MonitorInit, LeavesAStartMarkerOf99) {
    world.csman.set(start_marker, 99);
    ASSERT_EQ(init(module), 1);
    EXPECT_EQ(world.csman.get(start_marker), 99);
    EXPECT_EQ(world.calls("csman").back(), "read_int 7 0x8015043e") << "nothing is written";
}

TEST_P(MonitorInit, SucceedsAlsoWhenTheMarkerCannotBeReadOrWritten) {
    world.csman.set(start_marker, 99);
    world.csman.fail_reads(start_marker, 1);
    ASSERT_EQ(init(module), 1);
    EXPECT_EQ(world.csman.get(start_marker), row.start_marker) << "a marker that is not read is not 99";
    world.csman.set(start_marker, 0);
    world.csman.fail_writes(start_marker, 1);
    EXPECT_EQ(init(module), 1);
}

TEST_P(MonitorInit, WithoutMemoryFailsWithTheSizeAndTouchesNothing) {
    world.fail_allocation(static_cast<uint64_t>(row.store_bytes));
    EXPECT_EQ(init(module), 0);
    EXPECT_THAT(world.messages(), ElementsAre("warn[" + row.function + "_init]: malloc fail,size(" +
                                              std::to_string(row.store_bytes) + ")"));
    EXPECT_THAT(world.list("/tmp/dashboard"), IsEmpty());
    EXPECT_THAT(new_csman_calls(), IsEmpty());
    EXPECT_THAT(commands(), IsEmpty());
    EXPECT_EQ(loop(module), 0);
    world.fail_no_more();
    EXPECT_EQ(init(module), 1);
}

TEST_P(MonitorInit, AllocatesExactlyTheDocumentedSize) {
    world.fail_allocation(static_cast<uint64_t>(row.store_bytes) + 1);
    EXPECT_EQ(init(module), 1);
}

TEST_P(MonitorInit, OnALiveStoreStartsAllSeriesAfresh) {
    begin();
    live_at(t0 + 60, 1);
    live_at(t0 + 3600, 1);
    world.fail_allocation(1000); // nothing is allocated again
    world.clock.set(t0 + 4000);
    begin();
    expect_empty(series_names);
    live_at(t0 + 4059, 1);
    expect_empty({"min"});
    live_at(t0 + 4060, 1);
    expect_shown({"sec", "min"});
    expect_empty({"hour"});
}

TEST_P(MonitorInit, ReportsEveryFileThatCannotBeOpenedAndSucceeds) {
    world.remove("/tmp/dashboard");
    EXPECT_EQ(init(module), 1);
    std::vector<std::string> expected = row.says_at_init;
    for (const std::string& series : series_names) {
        expected.push_back(open_warning(series, "No such file or directory"));
    }
    EXPECT_EQ(world.messages(), expected);
    EXPECT_EQ(commands(), row.commands_at_init) << "nothing is linked";
    EXPECT_EQ(world.csman.get(start_marker), row.start_marker);
}

TEST_P(MonitorInit, TermFreesTheStoreAndUnlinksTwoLiteralNames) {
    begin();
    live_at(t0, 1);
    forget_calls();
    EXPECT_EQ(term(module), 1);
    EXPECT_THAT(world.calls("unlink"), ElementsAre("/usr/www/" + row.unlinked, "/tmp/dashboard/" + row.unlinked));
    EXPECT_EQ(world.list("/tmp/dashboard").size(), 3u);
    EXPECT_EQ(world.list("/usr/www").size(), odd_links() ? 2u : 3u);
    EXPECT_EQ(loop(module, 1), 0);
}

TEST_P(MonitorInit, TermGivesTheStoresMemoryBack) {
    begin();
    void* const block = world_newest_block(static_cast<size_t>(row.store_bytes));
    ASSERT_NE(block, nullptr);
    unsigned char residence = 0;
    EXPECT_EQ(mincore(block, 1, &residence), 0) << "it is there";
    EXPECT_EQ(term(module), 1);
    EXPECT_NE(mincore(block, 1, &residence), 0);
    EXPECT_EQ(errno, ENOMEM) << "nothing is mapped there any more";
}

TEST_P(MonitorInit, TermUnlinksAFileOfThatLiteralNameOnly) {
    const std::string literal = "/tmp/dashboard/" + row.unlinked;
    world.file(literal, "odd");
    EXPECT_EQ(term(module), 1);
    EXPECT_FALSE(world.exists(literal));
}

TEST_P(MonitorInit, TermWithoutAStoreSucceedsToo) {
    EXPECT_EQ(term(module), 1);
    EXPECT_EQ(world.calls("unlink").size(), 2u);
    EXPECT_THAT(world.messages(), IsEmpty());
}

TEST_P(MonitorInit, AfterTermBeginsWithEmptySeries) {
    begin();
    live_at(t0, 1);
    ASSERT_EQ(term(module), 1);
    begin();
    expect_empty({"sec"});
    live_at(t0, 1);
    expect_shown({"sec"});
}

TEST_P(MonitorInit, NothingWorksWithoutAStore) {
    const int32_t selector = 0;
    for (const std::string& series : series_names) {
        EXPECT_EQ(write(series), 0);
    }
    EXPECT_EQ(loop(module, 1), 0);
    EXPECT_EQ(module.loop(csman_handle_of_tests, nullptr, &module), 0);
    if (module.data_export != nullptr) {
        EXPECT_EQ(module.data_export(csman_handle_of_tests, &selector), 0);
    }
    EXPECT_THAT(world.list("/tmp/dashboard"), IsEmpty());
    EXPECT_THAT(world.messages(), IsEmpty());
    EXPECT_THAT(new_csman_calls(), IsEmpty());
    if (module.check != nullptr) {
        EXPECT_EQ(check(module), 0);
    }
}

TEST_P(MonitorInit, FillsTheSlotsThatItsKindFills) {
    EXPECT_NE(module.init, nullptr);
    EXPECT_EQ(module.check != nullptr, row.has_check);
    EXPECT_NE(module.term, nullptr);
    EXPECT_NE(module.loop, nullptr);
    EXPECT_NE(module.write_sec, nullptr);
    EXPECT_NE(module.write_min, nullptr);
    EXPECT_NE(module.write_hour, nullptr);
    EXPECT_EQ(module.data_export != nullptr, row.has_check);
    EXPECT_THAT(std::vector({module.unused_7, module.unused_8, module.unused_10, module.unused_11}), Each(nullptr));
}

} // namespace
} // namespace dashboard::testing
