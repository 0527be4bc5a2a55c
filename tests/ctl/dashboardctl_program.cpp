#include "dashboardctl_program.h"

#include "tests/daemon/daemon_command.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <csignal>
#include <cstdint>
#include <fcntl.h>
#include <sys/wait.h>
#include <unistd.h>

namespace dashboard::testing {

namespace {

std::vector<char*> pointers_to(std::vector<std::string>& texts) {
    std::vector<char*> pointers;
    pointers.reserve(texts.size() + 1);
    for (std::string& text : texts) {
        pointers.push_back(text.data());
    }
    pointers.push_back(nullptr);
    return pointers;
}

size_t count_of(const std::string& text, const std::string& part) {
    size_t count = 0;
    for (size_t at = text.find(part); at != std::string::npos; at = text.find(part, at + part.size())) {
        ++count;
    }
    return count;
}

} // namespace

pid_t start_dashboardctl(const test_world& world, const std::vector<std::string>& words, int output,
                         const std::vector<std::string>& variables) {
    daemon_command command = command_in(world, DASHBOARDCTL_EXECUTABLE, words, variables);
    const std::vector<char*> arguments = pointers_to(command.words);
    const std::vector<char*> environment = pointers_to(command.variables);
    const pid_t child = fork();
    if (child == 0) {
        signal(SIGPIPE, SIG_IGN);
        dup2(output, 1);
        dup2(output, 2);
        execve(command.program.c_str(), arguments.data(), environment.data());
        _exit(127);
    }
    EXPECT_GT(child, 0);
    return child;
}

int end_of(pid_t child) {
    int status = 0;
    while (waitpid(child, &status, 0) < 0 && errno == EINTR) {
    }
    return WIFEXITED(status) ? WEXITSTATUS(status) : -WTERMSIG(status);
}

std::string read_until(int descriptor, const std::string& text, size_t times) {
    std::string got;
    char block[4096];
    while (count_of(got, text) < times) {
        const ssize_t size = read(descriptor, block, sizeof block);
        if (size == 0 || (size < 0 && errno != EINTR)) {
            break;
        }
        got.append(block, size > 0 ? static_cast<size_t>(size) : 0);
    }
    return got;
}

program_result run_dashboardctl(const test_world& world, const std::vector<std::string>& words) {
    int ends[2];
    EXPECT_EQ(pipe2(ends, O_CLOEXEC), 0);
    const pid_t child = start_dashboardctl(world, words, ends[1]);
    close(ends[1]);
    const std::string output = read_until(ends[0], "\n", SIZE_MAX);
    close(ends[0]);
    return {end_of(child), output};
}

} // namespace dashboard::testing
