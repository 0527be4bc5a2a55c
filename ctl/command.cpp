#include "ctl/command.h"

#include "ctl/ctl_text.h"

#include <csignal>
#include <cstdint>
#include <cstdlib>
#include <ctime>
#include <fcntl.h>
#include <poll.h>
#include <sys/wait.h>
#include <unistd.h>

namespace dashboard {

namespace {

constexpr size_t longest_output = 1 << 20;

int64_t milliseconds_now() {
    timespec now = {};
    clock_gettime(CLOCK_MONOTONIC, &now);
    return static_cast<int64_t>(now.tv_sec) * 1000 + now.tv_nsec / 1000000;
}

/// In a process group of its own, so that all of it can be ended.
[[noreturn]] void become(const char* command, int output) {
    setpgid(0, 0);
    const int null_device = open("/dev/null", O_RDWR);
    dup2(null_device, 0);
    dup2(output, 1);
    dup2(null_device, 2);
    execl("/bin/sh", "sh", "-c", command, static_cast<char*>(nullptr));
    _exit(127);
}

/// False when the time is over first.
bool read_to_end(int input, int seconds, std::string& output) {
    const int64_t deadline = milliseconds_now() + int64_t{seconds} * 1000;
    for (;;) {
        const int64_t left = deadline - milliseconds_now();
        pollfd ready = {input, POLLIN, 0};
        if (left <= 0 || output.size() >= longest_output || poll(&ready, 1, static_cast<int>(left)) <= 0) {
            return false;
        }
        char block[4096];
        const ssize_t got = read(input, block, sizeof block);
        if (got <= 0) {
            return true;
        }
        output.append(block, static_cast<size_t>(got));
    }
}

} // namespace

int run_command(const char* command, int seconds, std::string& output) {
    output.clear();
    int ends[2];
    if (pipe2(ends, O_CLOEXEC) != 0) {
        return -1;
    }
    const pid_t child = fork();
    if (child == 0) {
        become(command, ends[1]);
    }
    close(ends[1]);
    const bool in_time = child > 0 && read_to_end(ends[0], seconds, output);
    close(ends[0]);
    if (child < 0) {
        return -1;
    }
    if (!in_time) {
        kill(-child, SIGKILL);
        kill(child, SIGKILL); // when it had no group of its own yet
    }
    int status = 0;
    waitpid(child, &status, 0);
    if (!in_time) {
        return command_timed_out;
    }
    return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

bool find_command(const std::string& name, std::string& path) {
    const char* const variable = getenv("PATH");
    std::string folders = variable != nullptr ? variable : "/usr/sbin:/usr/bin:/sbin:/bin";
    folders += ':';
    for (size_t start = 0; start < folders.size();) {
        const size_t end = folders.find(':', start);
        path = folders.substr(start, end - start) + "/" + name;
        if (access(path.c_str(), X_OK) == 0) {
            return true;
        }
        start = end + 1;
    }
    path.clear();
    return false;
}

} // namespace dashboard
