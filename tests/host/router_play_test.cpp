// The played router as plain values: which access points are there, what they count, what the modems say.
#include "platform/host/router_play.h"

#include "platform/host/csman_items.h"
#include "platform/host/play_options.h"

#include <map>

#include <gtest/gtest.h>

namespace dashboard {
namespace {

play_plan plan_of(int access_points, int away_period, int restart_period) {
    play_plan plan;
    plan.access_points = access_points;
    plan.away_period = away_period;
    plan.restart_period = restart_period;
    return plan;
}

TEST(RouterPlay, MadeUpTrafficGrowsWithTheWaveAndTheIndex) {
    access_point_play play(plan_of(3, 0, 0));
    play.make_up(0);
    EXPECT_EQ(play.points()[2].total.sent, 0u);
    play.make_up(1);
    EXPECT_EQ(play.points()[0].total.sent, 22000u);
    EXPECT_EQ(play.points()[2].total.received, 66000u);
    play.make_up(10);
    EXPECT_EQ(play.points()[0].total.sent, 22000u + 9 * 40000u) << "nine seconds at once, at the rate of the last";
    play.make_up(20);
    EXPECT_EQ(play.points()[0].total.sent, 22000u + 9 * 40000u + 10 * 20000u);
}

TEST(RouterPlay, EveryAccessPointIsAwayForAThirdOfItsPeriodInTurns) {
    access_point_play play(plan_of(3, 30, 0));
    std::map<int, int> away;
    for (int second = 0; second < 30; second++) {
        play.make_up(second);
        int missing = 0;
        for (int index = 0; index < 3; index++) {
            const bool there = play.points()[static_cast<size_t>(index)].there;
            missing += there ? 0 : 1;
            away[index] += there ? 0 : 1;
        }
        EXPECT_EQ(missing, 1) << second;
    }
    EXPECT_EQ(away, (std::map<int, int>{{0, 10}, {1, 10}, {2, 10}}));
    access_point_play first(plan_of(1, 30, 0));
    first.make_up(19);
    EXPECT_TRUE(first.points()[0].there);
    first.make_up(20);
    EXPECT_FALSE(first.points()[0].there);
    first.make_up(30);
    EXPECT_TRUE(first.points()[0].there);
}

TEST(RouterPlay, NobodyGoesOrRestartsUnlessAsked) {
    access_point_play play(plan_of(2, 0, 0));
    uint64_t before = 0;
    for (int second = 0; second < 200; second++) {
        play.make_up(second);
        EXPECT_TRUE(play.points()[0].there && play.points()[1].there);
        EXPECT_GE(play.points()[1].total.sent, before);
        before = play.points()[1].total.sent;
    }
}

TEST(RouterPlay, RestartsComeInTurnsAndOnceEachPeriod) {
    access_point_play play(plan_of(2, 0, 10));
    std::map<int, std::string> restarts;
    uint64_t before[2] = {0, 0};
    for (int second = 0; second < 30; second++) {
        play.make_up(second);
        for (size_t index = 0; index < 2; index++) {
            if (play.points()[index].total.sent < before[index]) {
                restarts[static_cast<int>(index)] += std::to_string(second) + ' ';
            }
            before[index] = play.points()[index].total.sent;
        }
    }
    EXPECT_EQ(restarts, (std::map<int, std::string>{{0, "10 20 "}, {1, "5 15 25 "}}));
}

TEST(RouterPlay, RestartInAMissedSecondStillHappens) {
    access_point_play play(plan_of(1, 0, 10));
    play.make_up(9);
    const uint64_t before = play.points()[0].total.sent;
    play.make_up(13);
    EXPECT_LT(play.points()[0].total.sent, before);
}

TEST(RouterPlay, InterfaceIsCountedAsItCountsUntilARestart) {
    access_point_play play(plan_of(1, 0, 10));
    play.follow(0, {500, 7000});
    EXPECT_EQ(play.points()[0].total.sent, 500u);
    EXPECT_EQ(play.points()[0].total.received, 7000u);
    play.follow(10, {800, 7100});
    EXPECT_EQ(play.points()[0].total.sent, 0u);
    play.follow(11, {900, 7150});
    EXPECT_EQ(play.points()[0].total.sent, 100u);
    EXPECT_EQ(play.points()[0].total.received, 50u);
    play.follow(12, {3, 4});
    EXPECT_EQ(play.points()[0].total.sent, 3u) << "the interface was made anew";
    EXPECT_EQ(play.points()[0].total.received, 4u);
}

TEST(RouterPlay, RecordHasItsTrafficOnOneVirtualAccessPoint) {
    const std::string idle = "0,0,0@";
    const auto idles = [&](int count) {
        std::string text;
        for (int k = 0; k < count; k++) {
            text += idle;
        }
        return text;
    };
    EXPECT_EQ(access_point_record(0, {1, 2}),
              "APMgnt_Info_Traffic_@1,2,3@_@1,2,3@" + idles(7) + "_@" + idles(8) + "\n");
    EXPECT_EQ(access_point_record(1, {1, 2}),
              "APMgnt_Info_Traffic_@1,2,3@_@" + idles(8) + "_@1,2,3@" + idles(7) + "\n");
    EXPECT_EQ(access_point_record(6, {1, 2}),
              "APMgnt_Info_Traffic_@1,2,3@_@" + idles(3) + "1,2,3@" + idles(4) + "_@" + idles(8) + "\n");
    EXPECT_EQ(access_point_record(127, {1, 2}),
              "APMgnt_Info_Traffic_@1,2,3@_@" + idles(8) + "_@" + idles(7) + "1,2,3@\n");
}

TEST(RouterPlay, SimItemsAreKnownOnesAndSlotsCanBeLeftOut) {
    EXPECT_TRUE(sim_items(0, 0).empty());
    EXPECT_EQ(sim_items(1, 0).size(), 7u);
    ASSERT_EQ(sim_items(2, 0).size(), 14u);
    for (const played_item& item : sim_items(2, 7)) {
        uint32_t csid = 0;
        EXPECT_TRUE(find_csid(item.name, csid)) << item.name;
        EXPECT_EQ(item.name.compare(0, 3, "sim"), 0);
    }
}

TEST(RouterPlay, SignalComesAndGoesInTwentySeconds) {
    const auto rssi = [](int64_t second) { return sim_items(1, second)[1].value; };
    EXPECT_EQ(sim_items(1, 0)[1].name, "sim1.rssi");
    EXPECT_EQ(rssi(0), 60);
    EXPECT_EQ(rssi(10), 70);
    EXPECT_EQ(rssi(15), 65);
    EXPECT_EQ(rssi(20), 60);
}

TEST(PlayOptions, AreTakenAsGiven) {
    play_options options;
    std::string why;
    ASSERT_TRUE(parse_play_options({"--access-points", "128", "--sims", "0", "--away", "3", "--restart", "86400",
                                    "--rounds", "18446744073709551615", "--interface", "eth0.12", "--folder", "/x y"},
                                   options, why))
        << why;
    EXPECT_EQ(options.plan.access_points, 128);
    EXPECT_EQ(options.plan.sim_slots, 0);
    EXPECT_EQ(options.plan.away_period, 3);
    EXPECT_EQ(options.plan.restart_period, 86400);
    EXPECT_EQ(options.rounds, UINT64_MAX);
    EXPECT_EQ(options.interface, "eth0.12");
    EXPECT_EQ(options.folder, "/x y");
}

TEST(PlayOptions, ThatAreWrongAreNamed) {
    const std::map<std::vector<std::string>, std::string> wrong = {
        {{"--frob", "1"}, "unknown option '--frob'"},
        {{"3"}, "unknown option '3'"},
        {{"--sims"}, "--sims needs a value"},
        {{"--folder"}, "--folder needs a value"},
        {{"--sims", "3"}, "--sims: '3' is not what it takes"},
        {{"--access-points", "129"}, "--access-points: '129' is not what it takes"},
        {{"--access-points", "-1"}, "--access-points: '-1' is not what it takes"},
        {{"--away", "2"}, "--away: '2' is not what it takes"},
        {{"--away", "86401"}, "--away: '86401' is not what it takes"},
        {{"--restart", "0"}, "--restart: '0' is not what it takes"},
        {{"--rounds", "0"}, "--rounds: '0' is not what it takes"},
        {{"--rounds", "1x"}, "--rounds: '1x' is not what it takes"},
        {{"--interface", "../../x"}, "--interface: '../../x' is not what it takes"},
        {{"--interface", ".."}, "--interface: '..' is not what it takes"},
        {{"--interface", "sixteen_letters_"}, "--interface: 'sixteen_letters_' is not what it takes"},
        {{"--folder", ""}, "--folder: '' is not what it takes"}};
    for (const auto& [given, expected] : wrong) {
        play_options options;
        std::string why;
        EXPECT_FALSE(parse_play_options(given, options, why)) << given[0];
        EXPECT_EQ(why, expected);
    }
}

} // namespace
} // namespace dashboard
