#include "tests/daemon/daemon_command.h"
#include "tests/support/tested_programs.h"

#include <cstdlib>
#include <stdexcept>
#include <unistd.h>

namespace dashboard::testing {

namespace {

std::vector<std::string> environment(const test_world& world) {
    const std::string preload = tested_file(DASHBOARD_PRELOAD_DIR);
    std::vector<std::string> variables = {
        "PATH=" + world.tools_folder(),
        "LC_ALL=C",
        "LD_PRELOAD=libworld.so", // found by the next line: a path with a blank would be taken for two names
        "LD_LIBRARY_PATH=" + preload,
        "WORLD_STATE=" + world.state_file(),
        // The preloaded library comes before the sanitizer's, which it knows how to call. A cancelled thread leaves
        // the marks of its frames on its stack, over which the sanitizer's own farewell to the signal stack stumbles.
        "ASAN_OPTIONS=verify_asan_link_order=0:detect_leaks=0:use_sigaltstack=0",
        "UBSAN_OPTIONS=print_stacktrace=1",
        std::string("TSAN_OPTIONS=halt_on_error=1:exitcode=66:suppressions=\"") + DASHBOARD_TSAN_SUPPRESSIONS + "\"",
    };
    return variables;
}

// The words in front of the daemon's own: the emulator's, which hands the environment on itself.
std::vector<std::string> command_line(const std::string& program, const std::vector<std::string>& words,
                                      std::vector<std::string>& variables) {
    std::vector<std::string> line = emulator_words();
    if (!line.empty()) {
        for (const std::string& variable : variables) {
            line.insert(line.end(), {"-E", variable});
        }
        const char* const path = getenv("PATH");
        variables = {std::string("PATH=/usr/bin:/bin:") + (path == nullptr ? "" : path)};
    }
    line.push_back(tested_file(program));
    line.insert(line.end(), words.begin(), words.end());
    return line;
}

std::string program_of(const std::string& word) {
    if (word.find('/') != std::string::npos) {
        return word;
    }
    for (const char* folder : {"/usr/bin/", "/usr/local/bin/", "/bin/"}) {
        if (access((folder + word).c_str(), X_OK) == 0) {
            return folder + word;
        }
    }
    throw std::runtime_error("no program " + word);
}

} // namespace

daemon_command command_in(const test_world& world, const std::vector<std::string>& own_words) {
    return command_in(world, DASHBOARD_EXECUTABLE, own_words, {});
}

daemon_command command_in(const test_world& world, const std::string& program,
                          const std::vector<std::string>& own_words, const std::vector<std::string>& own_variables) {
    daemon_command command;
    command.variables = environment(world);
    command.variables.insert(command.variables.end(), own_variables.begin(), own_variables.end());
    command.words = command_line(program, own_words, command.variables);
    command.program = program_of(command.words.front());
    return command;
}

} // namespace dashboard::testing
