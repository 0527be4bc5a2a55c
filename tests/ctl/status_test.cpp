#include "ctl/screen.h"
#include "ctl/status.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdlib>
#include <ctime>
#include <tuple>

namespace dashboard {
namespace {

using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::Not;

constexpr size_t wan = 2;
constexpr size_t current = 9;

document_state sec_document(size_t module, int64_t age, const std::vector<int32_t>& times) {
    document_state document;
    document.name = std::string(module_table[module].stem) + "_sec_0.xml";
    document.module = module;
    document.age = age;
    document.size = 2011;
    document.linked = true;
    document.content.times = times;
    return document;
}

// A daemon that is well, with WAN watched and memory on.
status_look good_status() {
    status_look status;
    status.now = 1795279691;
    status.daemon.pid = 31;
    status.daemon.lock = lock_state::held;
    status.daemon.process.name = "dashboard";
    status.daemon.process.threads = 3;
    status.daemon.process.age = 7205;
    status.daemon.version = "1.0.0";
    status.store = {true, 1, 3};
    status.modules[wan].enable = 1;
    status.modules[1].enable = 1;
    status.modules[0].enable = 0;
    status.documents.push_back(sec_document(wan, 0, {1795279689, 1795279690, 1795279691}));
    status.documents.push_back(sec_document(1, 300, {1795279391}));
    status.warnings_from = "/var/log/messages";
    return status;
}

status_look judged(status_look status, const status_look* before = nullptr) {
    look_at_modules(status, before);
    judge(status);
    return status;
}

TEST(Verdict, IsHealthyWhenNothingIsWrong) {
    const status_look status = judged(good_status());
    EXPECT_EQ(status.verdict, healthy);
    EXPECT_THAT(status.problems, ElementsAre());
}

TEST(Verdict, IsNotRunningWithoutAProcess) {
    status_look status = good_status();
    status.daemon.pid = 0;
    EXPECT_EQ(judged(status).verdict, not_running);
}

TEST(Verdict, IsDegradedByEachOfItsReasons) {
    const std::vector<std::pair<void (*)(status_look&), const char*>> reasons = {
        {[](status_look& s) { s.daemon.process.threads = 2; }, "2 threads live instead of 3"},
        {[](status_look& s) { s.daemon.lock_lost = true; }, "PID file was removed"},
        {[](status_look& s) { s.store.reachable = false; }, "store cannot be opened"},
        {[](status_look& s) { s.store.enable = 0; }, "dashboard.enable is not 1"},
        {[](status_look& s) { s.modules[wan].enable = 2; }, "wan.enable is 2"},
        {[](status_look& s) {
             s.documents[0].content.times = {1795279687, 1795279691};
         },
         "3 of the last 60 seconds"},
        {[](status_look& s) { s.documents[1].content.fault = "cut short"; }, "mem_usage_sec_0.xml: cut short"},
    };
    for (const auto& [spoil, words] : reasons) {
        status_look status = good_status();
        spoil(status);
        status = judged(status);
        EXPECT_EQ(status.verdict, degraded) << words;
        EXPECT_THAT(status.problems, ElementsAre(HasSubstr(words)));
    }
}

TEST(Verdict, HolesCountOnlyWhileSomebodyWatches) {
    status_look status = good_status();
    status.documents[0].age = 60;
    status.documents[0].content.times = {1795279600, 1795279631};
    EXPECT_EQ(judged(status).verdict, healthy);
}

TEST(ModuleState, SaysWhatIsWantedAndWhetherItIsWatched) {
    status_look status = judged(good_status());
    EXPECT_EQ(module_state_text(status, 0), "off");
    EXPECT_EQ(module_state_text(status, 1), "on");
    EXPECT_EQ(module_state_text(status, wan), "watched");
    status.modules[1].view = 1;
    EXPECT_EQ(module_state_text(status, 1), "asked for");
    status.modules[1].enable = 2;
    EXPECT_EQ(module_state_text(status, 1), "stands still");
    status.store.enable = 0;
    EXPECT_EQ(module_state_text(status, wan), "on, held off");
    status.store.reachable = false;
    EXPECT_EQ(module_state_text(status, wan), "unknown");
}

TEST(ModuleState, KnowsForHowLongFromTheLookBefore) {
    const status_look first = judged(good_status());
    EXPECT_EQ(first.modules[wan].watched_for, -1);
    status_look later = good_status();
    later.now += 4;
    later.documents[0].content.times.back() += 4;
    const status_look second = judged(later, &first);
    EXPECT_EQ(module_state_text(second, wan), "watched 4 s");
}

TEST(ModuleState, OfSeveralDocumentsTheNewestCounts) {
    constexpr size_t each_ap = 7;
    status_look status = good_status();
    status.modules[each_ap].enable = 1;
    status.documents.push_back(sec_document(each_ap, 1, {1795279690}));
    status.documents.push_back(sec_document(each_ap, 400, {1795279291}));
    const module_look module = judged(status).modules[each_ap];
    EXPECT_EQ(module.newest_age, 1);
    EXPECT_EQ(module.documents, 2U);
    EXPECT_EQ(module.size, 2 * 2011);
}

TEST(ModuleState, CurrentTrafficIsWatchedWithoutSampleTimes) {
    status_look status = good_status();
    status.modules[current].enable = 1;
    status.documents.push_back(sec_document(current, 3, {}));
    EXPECT_TRUE(judged(status).modules[current].watched);
    status.documents.back().age = 6;
    EXPECT_FALSE(judged(status).modules[current].watched);
}

TEST(StatusText, ShowsItAllInEightyColumns) {
    setenv("TZ", "UTC", 1);
    tzset();
    EXPECT_EQ(status_text(judged(good_status()), {}),
              "dashboard 1.0.0: healthy\n"
              "process    31, up 2 h, since 2026-11-21 14:48:06, 3 threads\n"
              "lock       held (/var/run/dashboard_daemon.pid)\n"
              "store      open, daemon switched on, messages to the system log\n"
              "documents  2 in /tmp/dashboard, 4.0 kB, all whole\n"
              "warnings   none in /var/log/messages\n"
              "\n"
              "MODULE     STATE            NEWEST LOST     SEC     MIN    HOUR      SIZE\n"
              "CPU        off                   -    -       -       -       -         -\n"
              "memory     on                5 min    0   5 min       -       -    2.0 kB\n"
              "WAN        watched             0 s    0     0 s       -       -    2.0 kB\n"
              "bonds      off                   -    -       -       -       -         -\n"
              "LAN        off                   -    -       -       -       -         -\n"
              "Wi-Fi 2.4  off                   -    -       -       -       -         -\n"
              "Wi-Fi 5    off                   -    -       -       -       -         -\n"
              "each AP    off                   -    -       -       -       -         -\n"
              "all APs    off                   -    -       -       -       -         -\n"
              "current    off                   -    -       -       -       -         -\n"
              "SIM        off                   -    -       -       -       -         -\n");
}

TEST(StatusText, FitsANarrowTerminal) {
    status_look status = good_status();
    status.daemon.process.threads = 2;
    status.warnings = {"Nov 21 13:02:12 r Dashboard: warn[main_netdev_alive:80]: SOMETHING ERROR"};
    const std::string text = status_text(judged(status), {false, 44});
    size_t start = 0;
    for (size_t end = text.find('\n'); end != std::string::npos; end = text.find('\n', start)) {
        EXPECT_LE(end - start, 44U) << text.substr(start, end - start);
        start = end + 1;
    }
    EXPECT_THAT(text, HasSubstr("  - 2 threads live instead of 3: it is\n    starting, or ending itself\n"));
    EXPECT_THAT(text, Not(HasSubstr("SIZE")));
}

TEST(StatusText, IsPlainWithoutColours) {
    EXPECT_THAT(status_text(judged(good_status()), {false, 80}), Not(HasSubstr("\033")));
    EXPECT_THAT(status_text(judged(good_status()), {true, 80}), HasSubstr("\033[32mhealthy\033[0m"));
}

TEST(StatusText, MarksWhatIsNotWell) {
    status_look status = good_status();
    status.daemon.process.threads = 2;
    EXPECT_THAT(status_text(judged(status), {true, 80}), HasSubstr("\033[33mdegraded\033[0m"));
    status.daemon.pid = 0;
    EXPECT_THAT(status_text(judged(status), {true, 80}), HasSubstr("\033[31;1mnot running\033[0m"));
}

TEST(StatusText, SaysWhatIsKnownOfTheLock) {
    const std::vector<std::tuple<lock_state, pid_t, const char*>> locks = {
        {lock_state::no_file, 0, "none"},
        {lock_state::no_file, 31, "none: process 1 started the daemon directly"},
        {lock_state::stale, 0, "free: the PID file is left from an earlier daemon"},
        {lock_state::stale, 31, "none: process 1 started the daemon directly (an older PID file is left)"},
        {lock_state::unreadable, 31, "not known: only root may look"}};
    for (const auto& [lock, pid, words] : locks) {
        status_look status = good_status();
        status.daemon.lock = lock;
        status.daemon.pid = pid;
        EXPECT_THAT(status_text(judged(status), {false, 100}), HasSubstr("lock       " + std::string(words) + "\n"));
    }
}

TEST(StatusText, SaysWhereMessagesGo) {
    const std::vector<std::pair<int, const char*>> modes = {{unset_item, ""},
                                                            {0, ""},
                                                            {1, ", no messages"},
                                                            {2, ", messages to the console"},
                                                            {3, ", messages to the system log"}};
    for (const auto& [mode, words] : modes) {
        status_look status = good_status();
        status.store.log_mode = mode;
        EXPECT_THAT(status_text(judged(status), {}),
                    HasSubstr("store      open, daemon switched on" + std::string(words) + "\n"));
    }
}

TEST(StatusJson, CarriesTheSameForPrograms) {
    status_look status = good_status();
    status.documents[1].content.fault = "has a \"line\"";
    const std::string text = status_json(judged(status));
    EXPECT_THAT(
        text, HasSubstr("{\"status\": \"degraded\", \"time\": 1795279691,\n \"daemon\": {\"pid\": 31, \"version\": "
                        "\"1.0.0\", \"since\": 1795272486, \"uptime\": 7205, \"threads\": 3, \"lock\": \"held\"},\n"));
    EXPECT_THAT(text, HasSubstr("\"problems\": [\"mem_usage_sec_0.xml: has a \\\"line\\\"\"]"));
    EXPECT_THAT(text, HasSubstr("{\"name\": \"wan\", \"state\": \"watched\", \"enable\": 1, \"watched\": true, "
                                "\"watched_for\": null, \"newest_age\": 0, \"lost_seconds\": 0}"));
    EXPECT_THAT(text, HasSubstr("{\"name\": \"bond\", \"state\": \"off\", \"enable\": null, \"watched\": false, "
                                "\"watched_for\": null, \"newest_age\": null, \"lost_seconds\": null}"));
    EXPECT_THAT(text, HasSubstr("\"samples\": 1, \"linked\": true, \"fault\": \"has a \\\"line\\\"\"}]}\n"));
}

TEST(StatusJson, SaysWhatIsKnownOfTheLock) {
    status_look status = good_status();
    status.daemon.lock = lock_state::stale;
    EXPECT_THAT(status_json(judged(status)), HasSubstr("\"lock\": \"free\"}"));
    status.daemon.lock = lock_state::unreadable;
    EXPECT_THAT(status_json(judged(status)), HasSubstr("\"lock\": \"unknown\"}"));
}

TEST(StatusJson, OfNoDaemon) {
    status_look status;
    EXPECT_THAT(status_json(judged(status)), HasSubstr("\"daemon\": {\"pid\": null, \"lock\": \"none\"}"));
}

} // namespace
} // namespace dashboard
