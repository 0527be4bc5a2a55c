// What the daemon's code says while a test listens.
#ifndef TESTS_UNIT_HEARD_MESSAGES_H
#define TESTS_UNIT_HEARD_MESSAGES_H

#include "base/dashboard_log.h"
#include "tests/support/world.h"

#include <cstdio>
#include <regex>
#include <string>
#include <unistd.h>
#include <vector>

namespace dashboard::testing {

// A world whose system log is on from the start. `messages` tells what was said since the last call, oldest first and
// without the numbers of source lines: "warn[get_mem_usage]: Can not get MemTotal & MemFree".
class listening_world : public test_world {
public:
    listening_world() { log2syslog = 1; }
    ~listening_world() {
        log2syslog = 0;
        log2console = 0;
    }

    std::vector<std::string> messages() {
        static const std::regex line_number("^([a-z]+\\[[^:\\]]*):[0-9]+\\]");
        std::vector<std::string> lines = syslog_lines();
        lines.erase(lines.begin(), lines.begin() + static_cast<std::ptrdiff_t>(told));
        told += lines.size();
        for (std::string& line : lines) {
            line = std::regex_replace(line, line_number, "$1]");
        }
        return lines;
    }

    // Forgets the messages with the calls.
    void forget_calls() {
        test_world::forget_calls();
        told = 0;
    }

private:
    size_t told = 0;
};

// Collects what goes to a descriptor (1 or 2) for as long as it lives.
class captured_output {
public:
    explicit captured_output(int descriptor) : captured(descriptor) {
        fflush(nullptr);
        before = dup(captured);
        dup2(fileno(file), captured);
    }
    ~captured_output() {
        fflush(nullptr);
        dup2(before, captured);
        close(before);
        fclose(file);
    }
    captured_output(const captured_output&) = delete;
    captured_output& operator=(const captured_output&) = delete;

    // What has left the process so far; what stdio holds back is not among it.
    std::string arrived() const {
        std::string text(static_cast<size_t>(lseek(fileno(file), 0, SEEK_END)), '\0');
        const ssize_t got = pread(fileno(file), text.data(), text.size(), 0);
        text.resize(got < 0 ? 0 : static_cast<size_t>(got));
        return text;
    }
    std::string text() const {
        fflush(nullptr);
        return arrived();
    }

private:
    int captured;
    int before = -1;
    FILE* file = tmpfile();
};

} // namespace dashboard::testing

#endif
