#include "probes/dashboard_sysinfo.h"

#include "base/dashboard_log.h"
#include "base/portability.h"
#include "probes/text_scan.h"
#include "probes/text_source.h"
#include "probes/tool_output.h"

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <sys/stat.h>
#include <unistd.h>

namespace dashboard {

namespace {

constexpr char stat_path[] = "/proc/stat";
constexpr char conntrack_path[] = "/proc/sys/net/netfilter/nf_conntrack_max";
constexpr char netstat_command[] = "netstat -aunt | wc -l";
constexpr unsigned long netstat_headers = 2; // lines
constexpr int32_t percentage = 1;            // mode of get_mem_usage
constexpr int32_t core_limit = 4;

/// "<name> <number> kB" with any white space, as scanf reads it: what follows the number may be missing, and what
/// disagrees stays for the next reading. A number of 0 counts as missing.
bool scan_kilobytes(text_source& source, const char* name, unsigned long& value) {
    if (!scan_literal(source, name) || !scan_unsigned(source, value)) {
        return false;
    }
    scan_space(source);
    if (scan_literal(source, "kB")) {
        scan_space(source);
    }
    return value != 0;
}

bool read_conntrack_max(unsigned long& max) {
    text_source source(open_for_reading(conntrack_path));
    if (source.fd < 0) {
        _warn("get_netsession_usage", __LINE__, "Cann't open /proc/sys/net/netfilter/nf_conntrack_max(%s)",
              error_text(errno).words);
        return false;
    }
    const bool found = scan_unsigned(source, max) && max != 0;
    close(source.fd);
    return found;
}

bool count_socket_lines(unsigned long& lines) {
    tool_output tool;
    if (!open_tool(tool, netstat_command)) {
        _warn("get_netsession_usage", __LINE__, "Cann't open (netstat -aunt | wc -l)(%s)", error_text(errno).words);
        return false;
    }
    const bool found = scan_unsigned(tool.text, lines);
    close_tool(tool);
    return found;
}

/// The core that a line of /proc/stat speaks of, counted no further than we handle; -1 for any other line.
int32_t core_of(const char* line) {
    if (strncmp(line, "cpu", 3) != 0 || !is_digit(line[3])) {
        return -1;
    }
    string_source source{line + 3};
    uint32_t core = 0;
    scan_unsigned(source, core);
    return static_cast<int32_t>(std::min<uint32_t>(core, core_limit));
}

} // namespace

int32_t get_mem_usage(int32_t mode) {
    text_source source(open_for_reading("/proc/meminfo"));
    if (source.fd < 0) {
        _warn("get_mem_usage", __LINE__, "Cannot open /proc/meminfo: %s", error_text(errno).words);
        return -1;
    }
    unsigned long total = 0;
    unsigned long free = 0;
    const bool found = scan_kilobytes(source, "MemTotal:", total) && scan_kilobytes(source, "MemFree:", free);
    close(source.fd);
    if (!found) {
        _warn("get_mem_usage", __LINE__, "Can not get MemTotal & MemFree");
        return -1;
    }
    const long used = static_cast<long>(total - free);
    const uint32_t divisor = static_cast<uint32_t>(total);
    if (divisor == 0 || used < 0) {
        _warn("get_mem_usage", __LINE__, "Error: mem_total(%lukB),mem_remain(%ld)", total, used);
        return -1;
    }
    if (mode == percentage) {
        return static_cast<int32_t>(static_cast<uint32_t>(used) * 100u / divisor);
    }
    return static_cast<int32_t>(used);
}

uint32_t get_netsession_usage() {
    unsigned long max = 0;
    unsigned long lines = 0;
    if (!read_conntrack_max(max) || !count_socket_lines(lines)) {
        return 0;
    }
    if (lines >= netstat_headers) {
        lines -= netstat_headers;
    }
    const uint32_t divisor = static_cast<uint32_t>(max);
    return divisor != 0 ? std::min(100u, static_cast<uint32_t>(lines) * 100u / divisor) : 0;
}

int32_t get_proc_cpu_nr() {
    text_source source(open_for_reading(stat_path));
    if (source.fd < 0) {
        _warn("get_proc_cpu_nr", __LINE__, "Cannot open %s: %s", stat_path, error_text(errno).words);
        return 0;
    }
    int32_t largest = -1;
    while (const char* line = next_line(source)) {
        largest = std::max(largest, core_of(line));
    }
    close(source.fd);
    return std::min(largest + 1, core_limit);
}

int32_t folder_exists(const char* path) {
    struct stat status {};
    if (stat(path, &status) != 0) {
        if (errno != ENOENT) {
            perror("stat");
        }
        return 0;
    }
    return S_ISDIR(status.st_mode) ? 1 : 0;
}

int32_t file_exists(const char* path) {
    return access(path, F_OK) == 0 ? 1 : 0;
}

} // namespace dashboard
