// How the built daemon, or a program beside it, is started in a world: with the world's library before it, and under an
// emulator where it was built for another processor.
#ifndef TESTS_DAEMON_DAEMON_COMMAND_H
#define TESTS_DAEMON_DAEMON_COMMAND_H

#include "tests/support/world.h"

#include <string>
#include <vector>

namespace dashboard::testing {

struct daemon_command {
    std::string program; // path
    std::vector<std::string> words;
    std::vector<std::string> variables;
};

// The command for a daemon with these words of its own.
daemon_command command_in(const test_world& world, const std::vector<std::string>& own_words);

// The same for another built program, whose environment has these variables ("NAME=value"), too.
daemon_command command_in(const test_world& world, const std::string& program,
                          const std::vector<std::string>& own_words, const std::vector<std::string>& own_variables);

} // namespace dashboard::testing

#endif
