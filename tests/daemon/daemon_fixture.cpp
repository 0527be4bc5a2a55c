#include "tests/daemon/daemon_fixture.h"
#include "tests/daemon/daemon_command.h"
#include "tests/support/files.h"

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cmath>
#include <csignal>
#include <cstring>
#include <fcntl.h>
#include <regex>
#include <sstream>
#include <stdexcept>
#include <sys/prctl.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>

namespace dashboard::testing {

namespace {

constexpr auto patience = std::chrono::seconds(20);  // of real time
constexpr int64_t check_period = 60 * ns_per_second; // of virtual time

std::vector<std::string> split(const std::string& text, char separator) {
    std::vector<std::string> parts;
    std::istringstream in(text);
    for (std::string part; std::getline(in, part, separator);) {
        parts.push_back(part);
    }
    return parts;
}

std::vector<char*> pointers(std::vector<std::string>& texts) {
    std::vector<char*> found;
    found.reserve(texts.size() + 1);
    for (std::string& text : texts) {
        found.push_back(text.data());
    }
    found.push_back(nullptr);
    return found;
}

int status_of(int wait_status) {
    return WIFEXITED(wait_status) ? WEXITSTATUS(wait_status) : 1000 + WTERMSIG(wait_status);
}

int new_file(const std::string& path) {
    return open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_APPEND | O_CLOEXEC, 0600);
}

void fill(int pipe) {
    fcntl(pipe, F_SETFL, O_NONBLOCK);
    while (write(pipe, "x", 1) == 1) {
    }
    fcntl(pipe, F_SETFL, 0);
}

std::optional<int> reap_one(pid_t pid) {
    int status = 0;
    if (waitpid(pid, &status, WNOHANG) == pid) {
        return status_of(status);
    }
    return {};
}

// An emulator does not let us adopt the daemon: init reaps it, and it tells its status itself.
bool gone(pid_t pid) {
    if (std::strlen(DASHBOARD_EMULATOR) == 0) {
        return false;
    }
    const std::string about = read_file("/proc/" + std::to_string(pid) + "/stat");
    const size_t state = about.rfind(") ");
    return state == std::string::npos || about[state + 2] == 'Z';
}

template <class Condition>
bool wait_really(Condition condition) {
    const auto until = std::chrono::steady_clock::now() + patience;
    while (!condition()) {
        if (std::chrono::steady_clock::now() > until) {
            return false;
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    return true;
}

} // namespace

int killed_by(int signal) {
    return 1000 + (std::strlen(DASHBOARD_EMULATOR) == 0 ? signal : 0);
}

std::string without_line_numbers(const std::string& text) {
    static const std::regex place("((?:log|warn|fatal)\\[[A-Za-z_0-9]+):[0-9]+\\]");
    return std::regex_replace(text, place, "$1]");
}

daemon_process::daemon_process(test_world& the_world, const std::vector<std::string>& words, console output)
    : world(the_world), driver(the_world, [this] { return ended(); }), published(the_world),
      next_check(the_world.clock.monotonic_ns() + check_period) {
    prctl(PR_SET_CHILD_SUBREAPER, 1, 0, 0, 0);
    world.state().driven = 1;
    world.state().driver = static_cast<uint32_t>(getpid());
    if (output == console::file) {
        start(words, new_file(world.folder_of("output")));
        return;
    }
    int ends[2];
    if (pipe2(ends, O_CLOEXEC) != 0) {
        throw std::runtime_error("no pipe");
    }
    pipe_end = ends[0];
    if (output == console::full_pipe) {
        fill(ends[1]);
    }
    start(words, ends[1]);
}

void daemon_process::start(const std::vector<std::string>& words, int output) {
    daemon_command command = command_in(world, words);
    const std::vector<char*> arguments = pointers(command.words);
    const std::vector<char*> variables = pointers(command.variables);
    const int errors_file = new_file(world.folder_of("errors"));
    started = fork();
    if (started == 0) {
        for (const int number : {SIGHUP, SIGINT, SIGTERM, SIGPIPE}) {
            ::signal(number, SIG_DFL); // as nohup and others leave them not
        }
        dup2(open("/dev/null", O_RDONLY), 0);
        dup2(output, 1);
        dup2(errors_file, 2);
        execve(command.program.c_str(), arguments.data(), variables.data());
        _exit(98);
    }
    close(output);
    close(errors_file);
}

daemon_process::~daemon_process() {
    while (!ended()) {
        kill(pid() > 0 ? pid() : started, SIGKILL);
        kill(started, SIGKILL);
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    if (pipe_end >= 0) {
        close(pipe_end);
    }
    published.keep();
    if (const std::string complaints = published.complaints(); !complaints.empty()) {
        ADD_FAILURE() << "documents that are not what docs/xsd says:\n" << complaints;
    }
    if (::testing::Test::HasFailure()) {
        fprintf(stderr, "output of the daemon:\n%s\nits errors:\n%s\n", output().c_str(), errors().c_str());
    }
}

pid_t daemon_process::pid() const {
    return static_cast<pid_t>(world.state().pid);
}

void daemon_process::reap() {
    if (!started_status) {
        started_status = reap_one(started);
    }
    if (!started_status || daemon_status) {
        return;
    }
    const bool forked = pid() != 0 && pid() != started;
    daemon_status = forked ? reap_one(pid()) : started_status;
    if (!daemon_status && forked && gone(pid())) {
        daemon_status = world.state().exit_noted == 0 ? killed_by(0) : static_cast<int>(world.state().exit_noted) - 1;
    }
}

bool daemon_process::ended() {
    reap();
    return daemon_status.has_value();
}

int daemon_process::parent_status() {
    wait_really([this] {
        reap();
        return started_status.has_value();
    });
    return started_status.value_or(-1);
}

void daemon_process::keep_documents_when_due() {
    if (world.clock.monotonic_ns() >= next_check) {
        published.keep();
        next_check = world.clock.monotonic_ns() + check_period;
    }
}

bool daemon_process::run_for(double seconds) {
    const int64_t end = world.clock.monotonic_ns() + std::llround(seconds * 1e9);
    while (driver.run_until(std::min(end, next_check))) {
        if (next_check > end) {
            return true;
        }
        keep_documents_when_due();
    }
    return false;
}

bool daemon_process::run_one_second() {
    const bool lives = driver.run_one_second();
    keep_documents_when_due();
    return lives;
}

bool daemon_process::run_to_second(int64_t wall) {
    while (world.clock.now() < wall) {
        if (!run_one_second()) {
            return false;
        }
    }
    return true;
}

int daemon_process::run_to_exit(double seconds) {
    run_for(seconds);
    return ended() ? *daemon_status : -1;
}

int daemon_process::wait_for_exit() {
    wait_really([this] { return ended(); });
    return daemon_status.value_or(-1);
}

void daemon_process::send_signal(int number) {
    kill(pid(), number);
}

void daemon_process::signal(int number, std::optional<uint32_t> thread) {
    world_state& state = world.state();
    const uint32_t before = __atomic_load_n(&state.signals_handled, __ATOMIC_SEQ_CST);
    const uint32_t expected = thread.value_or(0) == 0 ? 1 : 2;
    if (!thread) {
        kill(pid(), number);
    } else {
        syscall(SYS_tgkill, pid(), driver.tid(*thread), number);
    }
    const bool handled = wait_really(
        [&] { return ended() || __atomic_load_n(&state.signals_handled, __ATOMIC_SEQ_CST) - before >= expected; });
    if (!handled) {
        throw std::runtime_error("signal " + std::to_string(number) + " was not handled:\n" + driver.threads());
    }
}

std::string daemon_process::output() const {
    return without_line_numbers(read_file(world.folder_of("output")));
}

std::vector<std::string> daemon_process::output_lines() const {
    return split(output(), '\n');
}

std::string daemon_process::errors() const {
    return read_file(world.folder_of("errors"));
}

daemon_test::daemon_test() {
    world.usual_inputs();
    world.csman.set(daemon_enable, 1);
    world.csman.set(wan_binding, 1);
    world.csman.set_string(wan_name + 1, "eth0");
}

} // namespace dashboard::testing
