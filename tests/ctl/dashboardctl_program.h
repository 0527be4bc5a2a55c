// The built program, started in a test's world.
#ifndef TESTS_CTL_DASHBOARDCTL_PROGRAM_H
#define TESTS_CTL_DASHBOARDCTL_PROGRAM_H

#include "tests/support/world.h"

#include <string>
#include <sys/types.h>
#include <vector>

namespace dashboard::testing {

struct program_result {
    int status; // minus the signal that ended it
    std::string output;
};

// Runs it with these words to its end; standard output and standard error are one.
program_result run_dashboardctl(const test_world& world, const std::vector<std::string>& words);

// Starts it; what it prints goes to `output`, and who closes the other end does not kill it.
pid_t start_dashboardctl(const test_world& world, const std::vector<std::string>& words, int output,
                         const std::vector<std::string>& variables = {});

// Waits for its end: its exit status, or minus the signal that ended it.
int end_of(pid_t child);

// Reads a descriptor until a text has come so many times, or to its end.
std::string read_until(int descriptor, const std::string& text, size_t times);

} // namespace dashboard::testing

#endif
