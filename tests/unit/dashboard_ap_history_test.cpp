// Traffic of each access point: its documents over hours, their names, failures.
#include "tests/unit/ap_monitor_fixture.h"

#include <cerrno>
#include <map>
#include <random>
#include <string>

namespace dashboard::testing {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

class ApHistory : public ap_monitor_fixture {
protected:
    const monitor_cb& module = ap_traffic_monitor;
    std::map<int, history_model<ap_record>> models;

    ApHistory() {
        world.csman.keep_quiet();
        EXPECT_EQ(init(module), 1);
    }

    // These access points and no others report at `second`.
    void live_at(int64_t second, const std::vector<int>& aps, int32_t viewer = 0) {
        world.remove("/tmp/aptraffic");
        for (const int ap : aps) {
            const ap_values values = counted_from(UINT64_MAX - 20'000 +
                                                  static_cast<uint64_t>(second % 5000) * static_cast<uint64_t>(ap + 7));
            report(ap, values);
            auto& model = models.try_emplace(ap, t0).first->second;
            found_nothing += model.feed({second, values}) ? 0 : 1;
        }
        ASSERT_EQ(loop_at(module, second, viewer), 1);
    }

    int found_nothing = 0; // roll-ups

    void expect_series(int ap) {
        const auto& model = models.at(ap);
        ASSERT_EQ(module.write_sec(csman_handle_of_tests, nullptr), 1);
        ASSERT_EQ(module.write_min(csman_handle_of_tests, nullptr), 1);
        expect_published(sec_file(ap), ap_document(model.sec.newest(60)));
        expect_published(min_file(ap), ap_document(model.min.newest(60)));
        if (!model.hour.held.empty()) {
            expect_published(hour_file(ap), ap_document(model.hour.newest(60)));
        }
    }
};

TEST_F(ApHistory, ADocumentShowsTheNewest60Samples) {
    for (int i = 1; i <= 121; ++i) {
        live_at(t0 + i, {4}, 5);
        if (i == 1 || i == 59 || i == 60 || i == 61 || i >= 119) {
            expect_published(sec_file(4), ap_document(models.at(4).sec.newest(60)));
        }
    }
    const std::string text = world.read(sec_file(4));
    EXPECT_EQ(text.find("    <time>1700000062000</time>\n"), datalist("").find("</datalist>"));
}

TEST_F(ApHistory, AMinuteIsTheTruncatedMeanOfEveryCounter) {
    report(0, counted_from(10));
    ASSERT_EQ(loop_at(module, t0 + 1), 1);
    report(0, counted_from(12));
    ASSERT_EQ(loop_at(module, t0 + 2), 1);
    report(0, counted_from(13));
    ASSERT_EQ(loop_at(module, t0 + 60, 1), 1);
    expect_published(min_file(0), ap_document({{t0 + 60, counted_from((10 + 12 + 13) / 3)}}));
}

TEST_F(ApHistory, FollowsTheModelThroughAnHourAndMore) {
    for (int64_t i = 1; i <= 186; ++i) {
        live_at(t0 + 20 * i, i % 50 < 40 ? std::vector<int>{0, 1, 127} : std::vector<int>{0, 64}, 1);
    }
    for (const int ap : {0, 1, 127}) {
        EXPECT_EQ(models.at(ap).hour.held.size(), 1u);
        EXPECT_TRUE(world.exists(hour_file(ap)));
    }
    live_at(t0 + 3740, {0, 1, 64, 127});
    for (const int ap : {0, 1, 64, 127}) {
        expect_series(ap);
    }
}

TEST_F(ApHistory, DocumentsOfEverySeriesShowTheNewestAlsoWhenTheirRingHasWrapped) {
    for (int i = 1; i <= 130; ++i) { // hour after hour, each a sample of every series
        live_at(t0 + 3600 * i, {4}, 5);
        if (is_turning_point(i, 60)) {
            expect_series(4);
        }
    }
    EXPECT_EQ(models.at(4).hour.held.size(), 119u);
    EXPECT_GT(models.at(4).hour.held.front().time, t0 + 3600);
}

TEST_F(ApHistory, FollowsTheModelUnderAWildClock) {
    std::mt19937 random(9);
    const int64_t jumps[] = {1, 1, 1, 2, 58, 59, 60, 61, 1799, 1800, 3599, 3600};
    int64_t now = t0;
    for (int i = 0; i < 200; ++i) {
        const int64_t jump = jumps[random() % std::size(jumps)];
        now += random() % 3 == 0 ? -jump : jump;
        live_at(now, {0, 3}, 4);
    }
    ASSERT_GT(models.at(0).hour.held.size(), 5u);
    expect_series(0);
    expect_series(3);
    EXPECT_EQ(world.messages(),
              std::vector<std::string>(static_cast<size_t>(found_nothing), "log[ap_traffic_loop]: dashboard_ap"));
}

TEST_F(ApHistory, AnEmptyRollUpIsLoggedAndTheNextApIsSeenTo) {
    for (int i = 1; i <= 60; ++i) {
        live_at(t0 + i, {0}); // a minute ends at slot 60
    }
    for (int i = 1; i <= 119; ++i) {
        live_at(t0 + i, {0}); // set back by a minute: the tolerance lasts until the ring has come round
    }
    ASSERT_THAT(world.messages(), IsEmpty());
    live_at(t0 + 120, {0, 1}, 2);
    EXPECT_THAT(world.messages(), ElementsAre("log[ap_traffic_loop]: dashboard_ap"));
    EXPECT_EQ(models.at(0).min.held.size(), 1u);
    expect_published(min_file(1), ap_document(models.at(1).min.newest(60)));
    live_at(t0 + 121, {0, 1}, 1);
    EXPECT_EQ(models.at(0).min.held.size(), 2u);
    expect_published(min_file(0), ap_document(models.at(0).min.newest(60)));
}

// ---- names

TEST_F(ApHistory, EveryDocumentHasItsTemporaryNameItsNameAndItsLink) {
    live_at(t0 + 3600, {127}, 128);
    std::vector<asked_command> links;
    std::vector<std::string> removed;
    std::vector<std::string> moved;
    for (const std::string series : {"sec", "min", "hour"}) {
        const std::string name = "aptraffic_" + series + "_127";
        removed.push_back("/tmp/dashboard/" + name + ".xml");
        moved.push_back("/tmp/dashboard/" + name + "_tmp.xml /tmp/dashboard/" + name + ".xml");
        links.push_back({"dashboard_ap", "xml_ap_traffic_" + series,
                         "ln -sf /tmp/dashboard/" + name + ".xml /usr/www/" + name + ".xml"});
        EXPECT_EQ(world.mode("/tmp/dashboard/" + name + ".xml"), 0644u);
        EXPECT_EQ(world.link_target("/usr/www/" + name + ".xml"), "/tmp/dashboard/" + name + ".xml");
    }
    EXPECT_EQ(world.calls("remove"), removed);
    std::vector<std::string> renamed = world.calls("rename");
    ASSERT_FALSE(renamed.empty());
    renamed.erase(renamed.begin()); // the test's own: the record of the access point
    EXPECT_EQ(renamed, moved);
    EXPECT_EQ(new_commands(), links);
    live_at(t0 + 7200, {127}, 128);
    EXPECT_THAT(new_commands(), IsEmpty()) << "each is linked already";
}

// ---- failures

TEST_F(ApHistory, AFileThatCannotBeOpenedIsReportedBehindABlankButForTheHours) {
    for (const char* name : {"aptraffic_sec_9_tmp", "aptraffic_min_9_tmp", "aptraffic_hour_9_tmp"}) {
        world.fail("open", ENOSPC, name);
    }
    live_at(t0 + 3600, {9, 10}, 10);
    EXPECT_THAT(world.messages(),
                ElementsAre("warn[xml_ap_traffic_sec]:  open file(/tmp/dashboard/aptraffic_sec_9_tmp.xml) error(No "
                            "space left on device)!",
                            "warn[xml_ap_traffic_min]:  open file(/tmp/dashboard/aptraffic_min_9_tmp.xml) error(No "
                            "space left on device)!",
                            "warn[xml_ap_traffic_hour]: open file(/tmp/dashboard/aptraffic_hour_9_tmp.xml) error(No "
                            "space left on device)!"));
    EXPECT_THAT(published_files(), ElementsAre("aptraffic_hour_10.xml"));
    live_at(t0 + 7200, {9}, 10);
    expect_series(9);
    EXPECT_EQ(models.at(9).hour.held.size(), 2u) << "the series went on";
}

TEST_F(ApHistory, TheWritersOfTheCallbackSetAnswer1WhateverFails) {
    live_at(t0 + 1, {9});
    world.fail("open", EACCES, "_tmp.xml", 3);
    EXPECT_EQ(module.write_sec(csman_handle_of_tests, nullptr), 1);
    EXPECT_EQ(module.write_min(csman_handle_of_tests, nullptr), 1);
    EXPECT_EQ(module.write_hour(csman_handle_of_tests, nullptr), 1);
    EXPECT_EQ(world.messages().size(), 3u);
    EXPECT_THAT(published_files(), IsEmpty());
}

TEST_F(ApHistory, EmptyFilesEatDescriptorsUntilThereAreNoneAndNothingWrongIsPublished) {
    live_at(t0 + 1, {0}, 1);
    const std::string before = world.read(sec_file(0));
    world.file(ap_file(3), "");
    const int open_before = open_descriptors();
    ASSERT_EQ(loop_at(module, t0 + 2), 1);
    ASSERT_EQ(loop_at(module, t0 + 3), 1);
    EXPECT_EQ(open_descriptors(), open_before + 2);
    EXPECT_THAT(world.messages(), IsEmpty());
    world.fail("open", EMFILE, "", -1);
    ASSERT_EQ(loop_at(module, t0 + 4, 1), 1);
    world.fail_no_more();
    expect_published(sec_file(0), before);
    EXPECT_THAT(world.messages(), IsEmpty()) << "access points that cannot be read are absent";
}

} // namespace
} // namespace dashboard::testing
