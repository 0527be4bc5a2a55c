#include "probes/dashboard_netdev.h"

#include "base/dashboard_log.h"
#include "base/portability.h"
#include "probes/text_scan.h"
#include "probes/text_source.h"
#include "probes/tool_output.h"

#include <cerrno>
#include <cstring>
#include <unistd.h>

namespace dashboard {

namespace {

constexpr char netdev_path[] = "/proc/net/dev";
constexpr char alive_command[] = "ifconfig | awk '/Link encap/{print $1}'";
constexpr size_t alive_name_size = 16;

netdev_entry netdev_table[netdev_limit];
char alive_list[netdev_limit][alive_name_size];

/// Reads one line of /proc/net/dev. Returns false with a warning when it has another form; so does a line in which
/// the colon is directly followed by the first number, which the name swallows.
bool find_dev_info(const char* line, netdev_entry& entry) {
    static constexpr unsigned long long netdev_entry::*counters[] = {
        &netdev_entry::rx_bytes, &netdev_entry::rx_packets, &netdev_entry::rx_errs,       &netdev_entry::rx_drop,
        &netdev_entry::rx_fifo,  &netdev_entry::rx_frame,   &netdev_entry::rx_compressed, &netdev_entry::rx_multicast,
        &netdev_entry::tx_bytes, &netdev_entry::tx_packets, &netdev_entry::tx_errs,       &netdev_entry::tx_drop,
        &netdev_entry::tx_fifo,  &netdev_entry::tx_colls,   &netdev_entry::tx_carrier,    &netdev_entry::tx_compressed,
    };
    string_source source{line};
    char word[17]; // the name and its colon
    bool complete = scan_word(source, word);
    for (const auto counter : counters) {
        complete = complete && scan_unsigned(source, entry.*counter);
    }
    if (!complete) {
        _warn("find_dev_info", __LINE__, "sscanf (%s)error(res!=17)", line);
        return false;
    }
    const char* colon = strchr(word, ':');
    if (colon == nullptr) {
        _warn("find_dev_info", __LINE__, "sscanf interface name error(%s)(%s)", line, word);
        return false;
    }
    const size_t length = static_cast<size_t>(colon - word);
    memcpy(entry.name, word, length);
    entry.name[length] = '\0';
    return true;
}

void read_entries(text_source& source) {
    if (next_line(source) == nullptr || next_line(source) == nullptr) {
        _warn("main_netdev_info", __LINE__, "SOMETHING ERROR");
        return;
    }
    int32_t filled = 0;
    while (const char* line = next_line(source)) {
        if (filled == netdev_limit) {
            _warn("main_netdev_info", __LINE__, "record overflow: idx(%d)", filled);
            break;
        }
        netdev_entry entry{};
        if (find_dev_info(line, entry)) {
            netdev_table[filled++] = entry;
        }
    }
    if (filled == 0) {
        _warn("main_netdev_info", __LINE__, "SOMETHING ERROR");
    }
}

void read_alive_names(text_source& source) {
    int32_t filled = 0;
    while (const char* line = next_line(source)) {
        if (strchr(line, ':') != nullptr) {
            continue; // an alias such as eth0:1
        }
        if (filled == netdev_limit) {
            _warn("main_netdev_alive", __LINE__, "record overflow: idx(%d)", filled);
            break;
        }
        strncpy(alive_list[filled++], line, alive_name_size - 1);
    }
    if (filled == 0) {
        _warn("main_netdev_alive", __LINE__, "SOMETHING ERROR");
    }
}

bool is_alive_entry(int32_t i) {
    return i < netdev_limit && alive_list[i][0] != '\0';
}

} // namespace

void main_netdev_info() {
    text_source source(open_for_reading(netdev_path));
    if (source.fd < 0) {
        _warn("main_netdev_info", __LINE__, "fopen(/proc/net/dev) failed(%s)!", error_text(errno).words);
        return;
    }
    memset(netdev_table, 0, sizeof netdev_table);
    read_entries(source);
    close(source.fd);
}

void main_netdev_alive() {
    tool_output tool;
    if (!open_tool(tool, alive_command)) {
        _warn("main_netdev_alive", __LINE__, "popen(%s) error(%s)!", alive_command, error_text(errno).words);
        return;
    }
    memset(alive_list, 0, sizeof alive_list);
    read_alive_names(tool.text);
    close_tool(tool);
}

int32_t netdev_found(uint32_t start, const char* pattern, const netdev_entry** out) {
    *out = nullptr;
    // Deliberate: a prefix in every case, so that "eth0" also finds eth0.2 where that comes first.
    const size_t length = strcspn(pattern, "*");
    for (uint32_t i = start; i < netdev_limit && netdev_table[i].name[0] != '\0'; ++i) {
        if (strncmp(netdev_table[i].name, pattern, length) == 0) {
            *out = &netdev_table[i];
            return static_cast<int32_t>(i);
        }
    }
    return -1;
}

int32_t netdev_alive(const char* name) {
    if (strcmp(name, "lo") == 0) {
        return 0;
    }
    for (int32_t i = 0; is_alive_entry(i); ++i) {
        if (strcmp(alive_list[i], name) == 0) {
            return 1;
        }
    }
    return 0;
}

void netdev_found_list() {
    for (int32_t i = 0; i < netdev_limit && netdev_table[i].name[0] != '\0'; ++i) {
        _msg("netdev_found_list", __LINE__, "%s", netdev_table[i].name);
    }
}

void netdev_alive_list() {
    for (int32_t i = 0; is_alive_entry(i); ++i) {
        if (strcmp(alive_list[i], "lo") != 0) {
            _msg("netdev_alive_list", __LINE__, "%s", alive_list[i]);
        }
    }
}

} // namespace dashboard
