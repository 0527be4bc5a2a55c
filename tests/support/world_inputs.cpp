// What the daemon reads in a world: its tools and its kernel files.
#include "tests/support/world.h"
#include "tests/support/world_text.h"

#include <csignal>
#include <cstdlib>
#include <fstream>
#include <sstream>
#include <stdexcept>
#include <sys/types.h>

#include <filesystem>

namespace fs = std::filesystem;

namespace dashboard::testing {

namespace {

std::string shell_quoted(const std::string& text) {
    std::string quoted = "'";
    for (const char letter : text) {
        quoted += letter == '\'' ? std::string("'\\''") : std::string(1, letter);
    }
    return quoted + "'";
}

} // namespace

void test_world::make_tools() {
    for (const char* name : {"awk", "wc", "cat", "sleep"}) {
        for (const char* place : {"/usr/bin/", "/bin/"}) {
            const std::string there = std::string(place) + name;
            if (fs::exists(there) && !fs::is_symlink(fs::symlink_status(tools_folder() + "/" + name))) {
                fs::create_symlink(there, tools_folder() + "/" + name);
            }
        }
    }
}

void test_world::tool(const std::string& name, const std::string& script) {
    const std::string path = tools_folder() + "/" + name;
    const std::string temporary = path + ".new";
    std::ofstream(temporary, std::ios::binary) << "#!/bin/sh\n" << script << "\n";
    fs::permissions(temporary, fs::perms::owner_all);
    fs::rename(temporary, path);
}

void test_world::no_tool(const std::string& name) {
    fs::remove(tools_folder() + "/" + name);
}

void test_world::hanging_tool(const std::string& name, const std::string& first) {
    tool(name, "printf %s " + shell_quoted(first) + "\necho $$ >" + base + "/hung/$$\nexec sleep 1000000");
}

bool test_world::a_tool_hangs() const {
    return count_hanging_tools() > 0;
}

uint32_t test_world::count_hanging_tools() const {
    uint32_t count = 0;
    for (const auto& entry : fs::directory_iterator(base + "/hung")) {
        const int pid = atoi(entry.path().filename().c_str());
        count += pid > 1 && kill(pid, 0) == 0 ? 1 : 0;
    }
    return count;
}

void test_world::end_hanging_tools() {
    for (const auto& entry : fs::directory_iterator(base + "/hung")) {
        const int pid = atoi(entry.path().filename().c_str());
        if (pid > 1) {
            kill(pid, SIGKILL);
        }
    }
}

void test_world::slow(const std::string& word, double seconds) {
    const state_guard guard(*shared);
    for (slow_tool& row : shared->slow_tools) {
        if (row.word[0] == '\0' || row.word == word) {
            store(row.word, word);
            row.ns = as_ns(seconds);
            return;
        }
    }
    throw std::length_error("too many slow tools");
}

void test_world::netdev(const std::vector<interface_bytes>& interfaces) {
    std::ostringstream text;
    text << "Inter-|   Receive                                                |  Transmit\n"
         << " face |bytes    packets errs drop fifo frame compressed multicast|bytes    packets errs drop fifo colls "
            "carrier compressed\n";
    for (const interface_bytes& one : interfaces) {
        text << "  " << one.name << ": " << one.rx << " 2 3 4 5 6 7 8 " << one.tx << " 10 11 12 13 14 15 16\n";
    }
    file("/proc/net/dev", text.str());
}

void test_world::alive(const std::vector<std::string>& names) {
    std::string text;
    for (const std::string& name : names) {
        text += name + "      Link encap:Ethernet  HWaddr 02:00:00:00:00:01\n          UP RUNNING  MTU:1500\n\n";
    }
    tool("ifconfig", "printf %s " + shell_quoted(text));
}

void test_world::meminfo(uint64_t total_kb, uint64_t free_kb) {
    file("/proc/meminfo",
         "MemTotal:       " + std::to_string(total_kb) + " kB\nMemFree:        " + std::to_string(free_kb) + " kB\n");
}

void test_world::mpstat(const std::vector<std::string>& idle) {
    std::string text =
        "Average:     CPU    %usr   %nice    %sys %iowait    %irq   %soft  %steal  %guest  %gnice   %idle\n";
    for (size_t i = 0; i < idle.size(); ++i) {
        const std::string name = i == 0 ? "all" : std::to_string(i - 1);
        text += "Average:     " + std::string(name.size() < 4 ? 4 - name.size() : 0, ' ') + name +
                "    1.00    0.00    2.00    0.00    0.00    0.00    0.00    0.00    0.00   " + idle[i] + "\n";
    }
    tool("mpstat", "printf %s " + shell_quoted(text));
}

void test_world::usual_inputs() {
    netdev({{"lo", 100, 100}, {"eth0", 1000, 2000}});
    alive({"lo", "eth0"});
    meminfo(131072, 65536);
    file("/proc/stat", "cpu  1 2 3 4\ncpu0 1 1 1 1\ncpu1 0 1 2 3\nintr 5\n");
    file("/proc/sys/net/netfilter/nf_conntrack_max", "1000\n");
    mpstat({"90.10", "80.20", "99.75"});
    tool("netstat", "printf 'Active Internet connections\\nProto\\ntcp\\n'");
    tool("freemem", ":");
}

} // namespace dashboard::testing
