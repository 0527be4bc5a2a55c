// The current-traffic snapshot: when it is made, and its life.
#include "tests/unit/current_fixture.h"
#include "tests/unit/kept_store.h"

#include <cerrno>
#include <unistd.h>

namespace dashboard::testing {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

// The very first watched call of this process, made before any test: without a store the call that would make a
// snapshot answers 0, one that only counts answers 1.
const int answer_of_the_first_call = [] {
    int32_t viewer = 1;
    return current_traffic_monitor.loop(csman_handle_of_tests, &viewer, &current_traffic_monitor);
}();

class Current : public current_fixture {};

TEST_F(Current, FirstCallOfTheProcessGoesThroughAtOnce) {
    EXPECT_EQ(answer_of_the_first_call, 0);
}

TEST_F(Current, EveryThirdCallMakesASnapshotWhileWatched) {
    start_quietly();
    std::vector<bool> made;
    for (int call = 0; call < 9; ++call) {
        world.forget_calls();
        EXPECT_EQ(loop_it(call + 1), 1) << "any positive viewer value";
        made.push_back(!world.calls("rename").empty());
    }
    EXPECT_THAT(made, ElementsAre(false, true, false, false, true, false, false, true, false))
        << "init has made the first of the three calls";
}

TEST_F(Current, UnwatchedCallsDoNothingAndAreNotCounted) {
    start_quietly();
    EXPECT_EQ(loop_it(), 1);
    for (int i = 0; i < 5; ++i) {
        EXPECT_EQ(loop_it(0), 1);
        EXPECT_EQ(loop_it(-3), 1);
        EXPECT_EQ(current_traffic_monitor.loop(csman_handle_of_tests, nullptr, &current_traffic_monitor), 1);
    }
    EXPECT_THAT(world.calls("csman"), IsEmpty());
    EXPECT_THAT(world.calls("popen"), IsEmpty());
    EXPECT_FALSE(world.exists(published("current_traffic_sec")));
    EXPECT_EQ(loop_it(), 1);
    EXPECT_TRUE(world.exists(published("current_traffic_sec"))) << "the third watched call";
}

TEST_F(Current, WithoutAStoreFailsOnlyWhereASnapshotIsDue) {
    for (int round = 0; round < 2; ++round) {
        EXPECT_EQ(loop_it(), 1);
        EXPECT_EQ(loop_it(), 1);
        EXPECT_EQ(loop_it(), 0);
    }
    EXPECT_EQ(loop_it(0), 1);
    EXPECT_THAT(world.messages(), IsEmpty());
    EXPECT_THAT(world.calls("csman"), IsEmpty());
}

TEST_F(Current, NeitherInitNorTermSetsTheCounterBack) {
    EXPECT_EQ(loop_it(), 1);
    EXPECT_EQ(init_it(), 1); // the second call
    EXPECT_FALSE(world.exists(published("current_traffic_sec")));
    EXPECT_EQ(term(current_traffic_monitor), 1);
    EXPECT_EQ(init_it(), 1); // the third
    EXPECT_TRUE(world.exists(published("current_traffic_sec")));
}

TEST_F(Current, InitPublishesAFirstDocumentWhenItsCallIsTheThird) {
    loop_it();
    loop_it();
    ASSERT_EQ(init_it(), 1);
    expect_devices({});
    const std::vector<runner_command> commands = world.commands();
    ASSERT_EQ(commands.size(), 1u);
    EXPECT_EQ(commands[0].pid, getpid());
    EXPECT_EQ(commands[0].file, "dashboard_current");
    EXPECT_EQ(commands[0].func, "xml_current_traffic_sec");
    EXPECT_GT(commands[0].line, 0);
    EXPECT_EQ(commands[0].command,
              "ln -sf /tmp/dashboard/current_traffic_sec_0.xml /usr/www/current_traffic_sec_0.xml");
}

TEST_F(Current, WritesNoStartMarker) {
    start_quietly();
    snapshot();
    for (const std::string& call : world.calls("csman")) {
        EXPECT_EQ(call.find("write_int"), std::string::npos) << call;
        EXPECT_EQ(call.find("8015043e"), std::string::npos) << call;
    }
}

TEST_F(Current, WithoutMemoryFailsWithTheSize) {
    // 75 devices of 56 bytes behind a time of eight; CPU, memory, sessions and ports in 59 numbers of four; all that
    // rounded up to eight, ten times, behind four numbers.
    const int device_bytes = 75 * 56;
    const int sample_bytes = 8 + device_bytes + 59 * 4 + 4;
    const int bytes = 16 + 10 * sample_bytes;
    ASSERT_EQ(bytes, 44496);
    world.fail_allocation(static_cast<uint64_t>(bytes));
    EXPECT_EQ(init_it(), 0);
    EXPECT_THAT(world.messages(), ElementsAre("warn[current_traffic_init]: malloc fail,size(44496)"));
    EXPECT_THAT(world.calls("csman"), IsEmpty());
    EXPECT_EQ(loop_it(), 1);
    EXPECT_EQ(loop_it(), 1);
    EXPECT_EQ(loop_it(), 0);
    world.fail_no_more();
    world.fail_allocation(static_cast<uint64_t>(bytes) + 1);
    EXPECT_EQ(init_it(), 1);
}

TEST_F(Current, InitKeepsAStoreThatIsThere) {
    start_quietly();
    interfaces({{"eth0", 1000, 2000}});
    snapshot();
    counters({{"eth0", 1300, 2600}});
    world.clock.set(t0 + 3);
    world.fail_allocation(1000); // nothing is allocated again
    loop_it();
    ASSERT_EQ(init_it(), 1);
    expect_devices({{"eth0", "Ethernet", 2600, 1300, 200, 100}}); // rates against the sample before
}

TEST_F(Current, StoreKnowsWhenItWasMade) {
    using kept_ring = kept_series<char[4448], 10>;
    world.clock.set(t0 + 100);
    ASSERT_EQ(init_it(), 1);
    const auto* const ring = newest_store<kept_ring>();
    ASSERT_NE(ring, nullptr);
    EXPECT_EQ(ring->last_roll_up, t0 + 100);
    world.clock.set(t0 + 200);
    ASSERT_EQ(init_it(), 1);
    EXPECT_EQ(ring->last_roll_up, t0 + 100);
}

TEST_F(Current, TermFreesTheStoreAndUnlinksTwoLiteralNames) {
    start_quietly();
    snapshot();
    world.forget_calls();
    EXPECT_EQ(term(current_traffic_monitor), 1);
    EXPECT_THAT(world.calls("unlink"), ElementsAre("/usr/www/current_traffic*", "/tmp/dashboard/current_traffic*"));
    EXPECT_TRUE(world.exists(published("current_traffic_sec")));
    EXPECT_TRUE(world.exists("/usr/www/current_traffic_sec_0.xml"));
    EXPECT_EQ(current_traffic_monitor.write_sec(csman_handle_of_tests, nullptr), 0);
    EXPECT_EQ(term(current_traffic_monitor), 1) << "once more, without a store";
}

TEST_F(Current, WriterShowsAnEmptyListBeforeTheFirstSnapshot) {
    EXPECT_EQ(current_traffic_monitor.write_sec(csman_handle_of_tests, nullptr), 0) << "no store";
    start_quietly();
    EXPECT_EQ(current_traffic_monitor.write_sec(csman_handle_of_tests, nullptr), 1);
    expect_current("");
}

TEST_F(Current, WriterShowsTheNewestSnapshotAgain) {
    start_quietly();
    interfaces({{"eth0", 1, 2}});
    snapshot();
    counters({{"eth0", 7, 8}});
    world.remove(published("current_traffic_sec"));
    EXPECT_EQ(current_traffic_monitor.write_sec(csman_handle_of_tests, nullptr), 1);
    expect_devices({{"eth0", "Ethernet", 2, 1, 0, 0}});
}

TEST_F(Current, LoopSucceedsThoughItsFileCannotBeOpened) {
    start_quietly();
    world.file("/tmp/dashboard/victim", "precious");
    world.link("/tmp/dashboard/victim", "/tmp/dashboard/current_traffic_sec_0_tmp.xml");
    snapshot();
    world.remove("/tmp/dashboard");
    snapshot();
    EXPECT_THAT(world.messages(),
                ElementsAre("warn[xml_current_traffic_sec]: open file(/tmp/dashboard/current_traffic_sec_0_tmp.xml) "
                            "error(Too many levels of symbolic links)!",
                            "warn[xml_current_traffic_sec]: open file(/tmp/dashboard/current_traffic_sec_0_tmp.xml) "
                            "error(No such file or directory)!"));
    EXPECT_EQ(current_traffic_monitor.write_sec(csman_handle_of_tests, nullptr), 0);
}

TEST_F(Current, StaleLongerTemporaryFileKeepsItsTail) {
    start_quietly();
    world.file("/tmp/dashboard/current_traffic_sec_0_tmp.xml", std::string(100, '~'));
    EXPECT_EQ(current_traffic_monitor.write_sec(csman_handle_of_tests, nullptr), 1);
    const std::string empty = datalist("");
    expect_file(published("current_traffic_sec"), empty + std::string(100 - empty.size(), '~'));
}

TEST_F(Current, ReplacesItsDocumentAndLinksItOnce) {
    start_quietly();
    snapshot();
    snapshot();
    EXPECT_THAT(world.calls("remove"),
                ElementsAre("/tmp/dashboard/current_traffic_sec_0.xml", "/tmp/dashboard/current_traffic_sec_0.xml"));
    EXPECT_THAT(world.calls("rename").back(), "/tmp/dashboard/current_traffic_sec_0_tmp.xml "
                                              "/tmp/dashboard/current_traffic_sec_0.xml");
    EXPECT_EQ(world.commands().size(), 1u);
}

TEST_F(Current, FillsInitTermLoopAndTheSecWriterOnly) {
    const monitor_cb& callbacks = current_traffic_monitor;
    EXPECT_NE(callbacks.init, nullptr);
    EXPECT_EQ(callbacks.check, nullptr);
    EXPECT_NE(callbacks.term, nullptr);
    EXPECT_NE(callbacks.loop, nullptr);
    EXPECT_NE(callbacks.write_sec, nullptr);
    EXPECT_EQ(callbacks.write_min, nullptr);
    EXPECT_EQ(callbacks.write_hour, nullptr);
    EXPECT_EQ(callbacks.data_export, nullptr);
    for (const auto empty : {callbacks.unused_7, callbacks.unused_8, callbacks.unused_10, callbacks.unused_11}) {
        EXPECT_EQ(empty, nullptr);
    }
}

} // namespace
} // namespace dashboard::testing
