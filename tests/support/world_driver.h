// Lets a whole daemon live through virtual time: one thread at a time, always the one whose sleep ends first.
#ifndef TESTS_SUPPORT_WORLD_DRIVER_H
#define TESTS_SUPPORT_WORLD_DRIVER_H

#include "tests/support/world.h"

#include <functional>

namespace dashboard::testing {

class world_driver {
public:
    // `ended` answers whether the process under test has ended; it is asked every few milliseconds of real time.
    world_driver(test_world& world, std::function<bool()> ended);

    // Waits, in real time, until every thread of the process sleeps (or is blocked for ever: in a double of the
    // configuration store, or in a tool that hangs). Returns false when the process has ended. Throws with a table of
    // the threads when they do not come to rest within 20 s.
    bool settle();

    // Lets the process live until the monotonic clock shows `ns`, or it ends. Returns false when it has ended.
    bool run_until(int64_t ns);
    bool run_for(double seconds);
    // Until a millisecond after the wall clock has turned to its next second: what that set off has been done.
    bool run_one_second();

    // Lets the sleeper whose sleep ends first go, without waiting for what it does.
    void wake_next();

    // One thread per line: number, state, seconds to its deadline.
    std::string threads() const;
    // The kernel's id of thread `number`, 0 when there is no such thread.
    int tid(uint32_t number) const;
    // True when thread `number` is blocked for ever: in the store, or in a tool that hangs.
    bool stalled(uint32_t number) const;
    // True while thread `number` reads the output of a tool.
    bool in_tool(uint32_t number) const;

private:
    thread_row row(uint32_t number) const;
    bool at_rest();
    bool wake_first(int64_t limit);

    test_world& world;
    world_state& state;
    std::function<bool()> ended;
};

} // namespace dashboard::testing

#endif
