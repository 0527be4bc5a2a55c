// Long lives, in virtual time: every module switched and asked for at random, and the quiet life of a router. Some
// minutes and an hour by default; tests/soak/virtual lives longer ones.
#include "tests/daemon/module_fixture.h"
#include "tests/models/router.h"
#include "tests/support/files.h"

#include <gmock/gmock.h>

#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <map>
#include <random>

namespace dashboard::testing {
namespace {

using ::testing::HasSubstr;
using ::testing::Not;

// What the environment says, a number; else `usual`.
int64_t chosen(const char* variable, int64_t usual) {
    const char* const text = getenv(variable);
    return text == nullptr ? usual : atoll(text);
}

struct living_module {
    module_items items;
    std::string stem;
    begin_history begin;
    std::unique_ptr<metric_history> model; // while it runs
};

struct resources {
    long descriptors;
    long threads;
    long memory; // kB of its own
};

// The sanitizers keep what is freed.
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
constexpr bool memory_is_its_own = false;
#else
constexpr bool memory_is_its_own = true;
#endif

class LongLife : public live_modules {
protected:
    LongLife() {
        configure_router(world);
        world.csman.keep_quiet();
        followed.push_back({mem_module, "mem_usage_", mem_history, nullptr});
        followed.push_back({wan_module, "wan_traffic_", wan_history, nullptr});
        followed.push_back({lan_module, "lan_traffic_", lan_history, nullptr});
        followed.push_back({wifi_24g_module, "wifi_24g_traffic_", wifi_24g_history, nullptr});
        followed.push_back({wifi_5g_module, "wifi_5g_traffic_", wifi_5g_history, nullptr});
        followed.push_back({ap_module, "aptraffic_", first_ap_history, nullptr});
        followed.push_back({sim_module, "sim_strquality_", sim_history, nullptr});
        for (const module_items& module : all_modules) {
            switch_to(module, 1);
        }
    }

    void switch_to(const module_items& module, int32_t wanted) {
        world.csman.set(module.enable, wanted);
        wanted_of[module.index] = wanted;
    }

    // The inputs of the cycle in second `now`, the models told. Every sixth cycle reads the items.
    void prepare(int64_t now) {
        const auto n = static_cast<uint64_t>(now - first_cycle);
        const bool reads_items = cycles++ % 6 == 0;
        router_at(world, n);
        for (living_module& one : followed) {
            const bool wanted = wanted_of[one.items.index] == 1;
            if (reads_items && wanted != (one.model != nullptr)) {
                one.model = wanted ? one.begin(now) : nullptr;
            }
            if (one.model) {
                one.model->feed(now, n);
            }
        }
        for (const module_items& module : all_modules) {
            if (watched) {
                world.csman.set(module.view, 1);
            }
        }
        if (cycles % 600 == 0) {
            world.forget_calls();
        }
    }

    void pass(int seconds) {
        live(seconds, [this](int64_t now) { prepare(now); });
    }
    void leave_out(int64_t seconds) {
        step_clock(seconds, [this](int64_t now) { prepare(now); });
    }

    // Looks at everything until the newest minute is published, and compares.
    void expect_documents() {
        watched = true;
        pass(73);
        watched = false;
        for (const living_module& one : followed) {
            expect_documents_of(one);
        }
    }

    void expect_documents_of(const living_module& one) {
        static constexpr const char* names[] = {"sec", "min", "hour"};
        for (int series = 0; one.model && series < 3; ++series) {
            if (one.model->held(series) == 0) {
                continue; // what an earlier life has published may still stand there
            }
            const std::string name = one.stem + names[series] + "_0.xml";
            EXPECT_EQ(world.read("/tmp/dashboard/" + name), one.model->document(series)) << name;
            ++compared;
        }
    }

    resources used() const {
        const std::string folder = "/proc/" + std::to_string(daemon->pid());
        const std::string status = read_file(folder + "/status");
        const auto number = [&status](const std::string& key) {
            return atol(status.c_str() + status.find("\n" + key + ":") + key.size() + 2);
        };
        return {
            std::distance(std::filesystem::directory_iterator(folder + "/fd"), std::filesystem::directory_iterator()),
            number("Threads"), number("RssAnon")};
    }

    // Rings take a page when a sample first reaches it; apart from that nothing grows.
    void expect_as_before(const resources& before, long slack) const {
        const resources now = used();
        EXPECT_LE(now.descriptors, before.descriptors + 1); // a tool's
        EXPECT_EQ(now.threads, before.threads);
        if (memory_is_its_own) {
            EXPECT_LE(now.memory, before.memory + slack);
        }
        printf("descriptors, threads, kB: %ld %ld %ld at first, %ld %ld %ld at the end; %d documents compared\n",
               before.descriptors, before.threads, before.memory, now.descriptors, now.threads, now.memory, compared);
    }

    void expect_end() {
        EXPECT_THAT(daemon->output(), Not(HasSubstr("timeout event")));
        EXPECT_EQ(daemon->errors(), "");
        daemon->signal(SIGTERM);
        EXPECT_EQ(daemon->wait_for_exit(), 255);
    }

    std::vector<living_module> followed;
    std::map<int, int32_t> wanted_of;
    bool watched = false;
    int64_t cycles = 0;
    int compared = 0;
};

TEST_F(LongLife, OfEverythingAtRandomIsWhatTheModelsSay) {
    const int64_t end = first_cycle + chosen("DASHBOARD_LIFE_MINUTES", 6) * 60;
    std::mt19937 chance(20);
    const auto one_of = [&chance](int many) { return static_cast<int>(chance() % static_cast<unsigned>(many)); };
    start();
    pass(130);
    expect_documents();
    const resources before = used();
    while (world.clock.now() < end && !HasFailure()) {
        for (const module_items& module : all_modules) {
            switch_to(module, one_of(4) == 0 ? 0 : 1);
        }
        for (int stretch = one_of(5); stretch >= 0; --stretch) {
            watched = one_of(2) == 0;
            pass(1 + one_of(90));
        }
        expect_documents();
    }
    EXPECT_GT(compared, 14);
    expect_as_before(before, 600);
    expect_end();
}

// All on, nobody looks, once a day somebody does. The clock leaves out most of the seconds of each minute.
TEST_F(LongLife, OfAQuietRouterIsWhatTheModelsSay) {
    const int64_t hours = chosen("DASHBOARD_LIFE_HOURS", 1);
    resources before{};
    start();
    pass(130);
    for (int64_t hour = 0; hour < hours && !HasFailure(); ++hour) {
        for (int minute = 0; minute < 60; ++minute) {
            pass(2);
            leave_out(28);
            leave_out(29);
        }
        if (hour % 24 == 0) {
            expect_documents();
        }
        if (hour == 0 || hour == 6 * 24) { // by then the rings of all hours have been round
            before = used();
        }
    }
    EXPECT_GT(compared, 14);
    expect_as_before(before, hours > 6 * 24 ? 64 : 600);
    expect_end();
}

} // namespace
} // namespace dashboard::testing
