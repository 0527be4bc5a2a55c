#include "ctl/log_tail.h"

#include "ctl/command.h"
#include "ctl/ctl_text.h"

namespace dashboard {

namespace {

constexpr const char* log_files[] = {"/var/log/syslog", "/var/log/messages", "/var/log/user.log"};
constexpr const char* log_commands[] = {"journalctl --quiet --no-pager --lines=500 --identifier=Dashboard", "logread"};
constexpr size_t log_end = 1 << 18; // bytes
constexpr int longest_reading = 3;  // seconds

} // namespace

std::vector<std::string> pick_warnings(const std::string& log, size_t count) {
    std::vector<std::string> warnings;
    for (const std::string& line : lines_of(log)) {
        const size_t ident = line.find("Dashboard: ");
        if (ident != std::string::npos &&
            (line.find("warn[", ident) == ident + 11 || line.find("fatal[", ident) == ident + 11)) {
            warnings.push_back(line);
        }
    }
    if (warnings.size() > count) {
        warnings.erase(warnings.begin(), warnings.end() - static_cast<std::ptrdiff_t>(count));
    }
    return warnings;
}

std::vector<std::string> find_warnings(size_t count, std::string& from) {
    std::string log;
    for (const char* const file : log_files) {
        if (read_file(file, log, log_end)) {
            from = file;
            return pick_warnings(log, count);
        }
    }
    for (const char* const command : log_commands) {
        if (run_command(command, longest_reading, log) == 0) {
            from = text_of("'%s'", command);
            return pick_warnings(log, count);
        }
    }
    from.clear();
    return {};
}

} // namespace dashboard
