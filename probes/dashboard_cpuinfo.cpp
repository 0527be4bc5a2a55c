#include "probes/dashboard_cpuinfo.h"

#include "base/dashboard_log.h"
#include "base/dashboard_mutex.h"
#include "base/portability.h"
#include "base/uncancellable.h"
#include "probes/text_scan.h"
#include "probes/text_source.h"
#include "probes/tool_output.h"

#include <atomic>
#include <cerrno>
#include <cstring>

namespace dashboard {

namespace {

constexpr char mpstat_command[] = "mpstat -P ALL 1 2";
constexpr char average_prefix[] = "Average:";
constexpr char average_header[] = "Average:     CPU";
constexpr int32_t cpu_line_fields = 11;

mutex cpu_info_mutex;
cpu_info latest guarded_by(cpu_info_mutex);

/// Set while cpu_info_mutex is made and a measurement is there. Readers look here first: the query thread makes the
/// mutex anew when it starts, and nobody may be waiting for it then.
std::atomic<bool> measured{false};

/// Readers that may have seen `measured` set.
std::atomic<int32_t> readers{0};

void publish(const cpu_info& measurement) {
    scoped_lock lock(cpu_info_mutex);
    latest = measurement;
    measured = true;
}

bool starts_with(const char* text, const char* prefix) {
    return strncmp(text, prefix, strlen(prefix)) == 0;
}

int32_t* field_of(cpu_info& measurement, const char* name) {
    static constexpr const char* cores[] = {"0", "1", "2", "3"};
    if (strcmp(name, "all") == 0) {
        return &measurement.all;
    }
    for (int32_t i = 0; i < 4; ++i) {
        if (strcmp(name, cores[i]) == 0) {
            return &measurement.cpu[i];
        }
    }
    return nullptr;
}

/// Returns whether the line gave a value.
bool take_line(cpu_info& measurement, const char* line) {
    cpu_line parsed;
    if (starts_with(line, average_header) || !starts_with(line, average_prefix) || find_cpu_info(line, &parsed) == 0) {
        return false;
    }
    int32_t* field = field_of(measurement, parsed.name);
    if (field == nullptr) {
        _warn("query_cpu", __LINE__, "unknow cpu-core index(%s)", parsed.name);
        return false;
    }
    const uint32_t idle = static_cast<uint32_t>(parsed.percent[9]);
    *field = static_cast<int32_t>(100u - idle);
    return true;
}

/// Returns whether mpstat printed anything at all.
bool read_measurement(tool_output& tool, cpu_info& measurement) {
    bool printed = false;
    bool got_value = false;
    tool.text.patient = true; // some 27 lines in two seconds, each of which would wake us
    while (const char* line = next_line(tool.text)) {
        printed = true;
        got_value = take_line(measurement, line) || got_value;
    }
    close_tool(tool);
    measurement.valid = got_value ? 1 : 0;
    return printed;
}

/// As scanf's "%*[^ ]" has it: at least one character, up to a blank.
bool skip_to_blank(string_source& source) {
    const char* const before = source.at;
    while (source.peek() != -1 && source.peek() != ' ') {
        source.skip();
    }
    return source.at != before;
}

/// Reads "%*[^ ]%4s" and ten times "%d.%*[^ ]": the first word, the core, then the integer part of each column, its
/// point and its skipped fraction. Returns what scanf would: the fields that were found, -1 when the line ends before
/// the first.
int32_t scan_cpu_line(const char* text, cpu_line& line) {
    string_source source{text};
    if (!skip_to_blank(source) && source.peek() != -1) {
        return 0;
    }
    if (!scan_word(source, line.name)) {
        return -1;
    }
    int32_t found = 1;
    for (int32_t& percent : line.percent) {
        if (!scan_integer(source, percent)) {
            break;
        }
        ++found;
        if (!scan_literal(source, ".") || !skip_to_blank(source)) {
            break;
        }
    }
    return found;
}

} // namespace

bool prepare_cpu_info() {
    return cpu_info_mutex.init();
}

void retire_cpu_info() {
    measured = false;
    if (readers == 0) { // one that is at the mutex may wait for it still
        cpu_info_mutex.destroy();
    }
}

bool query_cpu() {
    cpu_info measurement{0, -1, {-1, -1, -1, -1}};
    tool_output tool;
    if (!open_tool(tool, mpstat_command)) {
        _warn("query_cpu", __LINE__, "popen(mpstat -P ALL 1 2) failed(%s)!", error_text(errno).words);
        return true;
    }
    const bool printed = read_measurement(tool, measurement);
    if (!printed) {
        _warn("query_cpu", __LINE__, "error, popen returned null string, RESTART DAEMON!\n");
    }
    if (measurement.valid == 1) {
        publish(measurement);
    }
    return printed;
}

int32_t query_cpu_info(cpu_info* out) {
    uncancellable section; // or the reader would be counted for ever
    readers += 1;
    const bool available = measured;
    if (available) {
        scoped_lock lock(cpu_info_mutex);
        *out = latest;
    }
    readers -= 1;
    return available ? 1 : 0;
}

int32_t find_cpu_info(const char* line, cpu_line* out) {
    *out = {};
    const int32_t found = scan_cpu_line(line, *out);
    if (found == cpu_line_fields) {
        return 1;
    }
    _warn("find_cpu_info", __LINE__, "sscanf (%s), rturn %d, should be 11", line, found);
    return 0;
}

} // namespace dashboard
