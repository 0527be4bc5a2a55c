// Whose turn it is among those that the daemon watches one at a time.
#include "exporter/renewal.h"

#include <algorithm>
#include <set>
#include <vector>

#include <gtest/gtest.h>

namespace dashboard::testing {
namespace {

constexpr int places = ap_total;
constexpr int64_t start = 1'795'233'700;
constexpr int64_t look_period = 6; // seconds between two looks of the daemon
constexpr int64_t watched_for = 60;

// A daemon that publishes the document of the one that was asked for last, as long as it does; some have nothing to
// show.
class turns {
public:
    explicit turns(const std::vector<int>& candidates) {
        for (const int place : candidates) {
            candidate[place] = true;
        }
    }

    // One scrape: what it finds fresh, and what it asks for.
    void scrape() {
        for (int place = 0; place < places; ++place) {
            documents[place].has_age = written[place] != 0;
            documents[place].age = now - written[place];
            seen[place] += documents[place].has_age && documents[place].age <= 2 ? 1 : 0;
        }
        asked = next_turn(candidate, documents, places, now);
        asks.push_back(asked);
        waiting = asked;
    }

    // Seconds go by.
    void pass(int64_t seconds) {
        for (int64_t second = 0; second < seconds; ++second) {
            ++now;
            if (now % look_period == 0 && waiting >= 0) {
                watched = waiting;
                waiting = -1;
                until = now + watched_for;
            }
            if (watched >= 0 && now <= until && dead.count(watched) == 0) {
                written[watched] = now;
            }
        }
    }

    void live(int scrapes, int64_t interval) {
        for (int i = 0; i < scrapes; ++i) {
            scrape();
            pass(interval);
        }
    }

    bool candidate[places] = {};
    document_reading documents[places] = {};
    int seen[places] = {};
    int64_t written[places] = {};
    std::vector<int> asks;
    std::set<int> dead;
    int64_t now = start;
    int asked = -1;

private:
    int waiting = -1;
    int watched = -1;
    int64_t until = 0;
};

TEST(Turns, AreNobodysWithoutCandidates) {
    turns none({});
    none.live(3, 15);
    EXPECT_EQ(none.asked, -1);
}

TEST(Turns, AreAlwaysTheOnlyOnes) {
    turns one({7});
    one.live(10, 15);
    EXPECT_EQ(std::count(one.asks.begin(), one.asks.end(), 7), 10);
    EXPECT_GE(one.seen[7], 9);
}

TEST(Turns, GoRoundInOrderAtAnyIntervalUpToAMinute) {
    for (const int64_t interval : {10, 15, 30, 60}) {
        turns some({3, 40, 41, 127});
        some.live(41, interval);
        for (const int place : {3, 40, 41, 127}) {
            EXPECT_GE(some.seen[place], 9) << place << " every " << interval << " s";
        }
    }
}

TEST(Turns, VisitEveryAccessPointOnceARound) {
    std::vector<int> all(places);
    for (int i = 0; i < places; ++i) {
        all[static_cast<size_t>(i)] = i;
    }
    turns full(all);
    full.live(places + 1, 15);
    EXPECT_EQ(std::count(std::begin(full.seen), std::end(full.seen), 0), 0);
}

TEST(Turns, AreNotHeldUpByOneThatNeverComes) {
    for (const int64_t interval : {15, 60}) {
        turns some({0, 1, 2, 3, 4});
        some.dead = {2};
        some.live(100, interval);
        for (const int place : {0, 1, 3, 4}) {
            EXPECT_GE(some.seen[place], 5) << place << " every " << interval << " s";
        }
        EXPECT_EQ(some.seen[2], 0);
    }
}

TEST(Turns, LeaveNobodyOutAtLongerIntervals) {
    turns some({0, 1, 2, 3, 4, 5});
    some.live(200, 120);
    for (int place = 0; place < 6; ++place) {
        EXPECT_GE(std::count(some.asks.begin(), some.asks.end(), place), 10) << place;
    }
}

TEST(Turns, AreTheSameForScrapersThatComeTogether) {
    turns some({0, 1, 2});
    some.live(7, 15);
    some.pass(2 - (some.now % look_period + look_period) % look_period + look_period); // two seconds after a look
    some.scrape();
    const int first = some.asked;
    some.pass(1);
    some.scrape();
    EXPECT_EQ(some.asked, first);
}

TEST(Turns, GoOnWhenTheClockIsSetBack) {
    turns some({0, 1, 2});
    some.live(10, 15);
    some.now -= 86400;
    some.live(60, 15);
    std::set<int> asked(some.asks.begin() + 10, some.asks.end());
    EXPECT_EQ(asked.size(), 3u);
}

} // namespace
} // namespace dashboard::testing
