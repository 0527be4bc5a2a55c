// What the tests of modules in a whole daemon share.
#ifndef TESTS_DAEMON_MODULE_FIXTURE_H
#define TESTS_DAEMON_MODULE_FIXTURE_H

#include "tests/daemon/daemon_fixture.h"
#include "tests/models/documents.h"

#include <algorithm>
#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <vector>

namespace dashboard::testing {

// When the first cycle of a daemon that was just started takes place.
inline constexpr int64_t first_cycle = first_second + 1;

class Modules : public daemon_test {
protected:
    int64_t count(const daemon_process& process, const std::string& line) const {
        const std::vector<std::string> lines = process.output_lines();
        return std::count(lines.begin(), lines.end(), line);
    }

    int64_t recorded(const std::string& call, const std::string& text) const {
        const std::vector<std::string> calls = world.calls(call);
        return std::count(calls.begin(), calls.end(), text);
    }

    // Runs `cycles` cycles and answers in which of them (1, 2, ...) a call with this text was made.
    std::vector<int> cycles_with(daemon_process& process, int cycles, const std::string& call,
                                 const std::string& text) {
        std::vector<int> found;
        for (int cycle = 1; cycle <= cycles; ++cycle) {
            const int64_t before = recorded(call, text);
            EXPECT_TRUE(process.run_one_second());
            if (recorded(call, text) != before) {
                found.push_back(cycle);
            }
        }
        return found;
    }
};

// One module or some, on from the first cycle, with a viewer who asks anew every second where there is a request.
class live_modules : public Modules {
protected:
    void switch_on(const module_items& module, int32_t request = 0) {
        world.csman.set(module.enable, 1);
        on.push_back({module, request});
    }

    // Starts the daemon; its first cycle is yet to come.
    void start() {
        daemon = std::make_unique<daemon_process>(world);
        ASSERT_TRUE(daemon->run_for(0.5)); // the first term has cleared the request items
    }

    void request(const module_items& module, int32_t number) {
        for (watched_module& one : on) {
            one.request = one.module.index == module.index ? number : one.request;
        }
    }

    // Lives through that many cycles; `before_each` may give the daemon new inputs, for the second that it is told.
    void live(
        int cycles, const std::function<void(int64_t)>& before_each = [](int64_t) {}) {
        for (int i = 0; i < cycles && !HasFatalFailure(); ++i) {
            for (const watched_module& one : on) {
                if (one.request != 0) {
                    world.csman.set(one.module.view, one.request);
                }
            }
            before_each(world.clock.now() + 1);
            ASSERT_TRUE(daemon->run_one_second());
        }
    }

    // Sets the wall clock either way; the daemon begins a cycle at once.
    void step_clock(
        int64_t seconds, const std::function<void(int64_t)>& before = [](int64_t) {}) {
        before(world.clock.now() + seconds);
        world.clock.step_wall(seconds);
        ASSERT_TRUE(daemon->run_for(0.001));
    }

    int64_t lines_saying(const std::string& text) const { return count(*daemon, text); }

    struct watched_module {
        module_items module;
        int32_t request;
    };
    std::vector<watched_module> on;
    std::unique_ptr<daemon_process> daemon;
};

} // namespace dashboard::testing

#endif
