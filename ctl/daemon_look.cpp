#include "ctl/daemon_look.h"

#include "ctl/ctl_text.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <unistd.h>

namespace dashboard {

namespace {

constexpr char version_mark[] = "@(#)dashboard ";

std::string process_file(pid_t pid, const char* name) {
    return text_of("/proc/%d/%s", static_cast<int>(pid), name);
}

/// Whether it has a PID file open that is no longer the one of that name.
bool has_lost_its_file(pid_t pid) {
    const std::string folder = process_file(pid, "fd");
    for (const std::string& name : names_in(folder)) {
        char target[256] = "";
        const ssize_t length =
            readlink(text_of("%s/%s", folder.c_str(), name.c_str()).c_str(), target, sizeof target - 1);
        if (length > 0 && ends_with(target, "/dashboard_daemon.pid (deleted)")) {
            return true;
        }
    }
    return false;
}

} // namespace

bool look_at_process(pid_t pid, process_look& look) {
    process_stat process;
    if (!read_process_stat(pid, process)) {
        return false;
    }
    look.name = process.name;
    look.parent = process.parent;
    look.threads = process.threads;
    look.age = process.age;
    return true;
}

std::string find_version(const std::string& bytes) {
    const size_t mark = bytes.find(version_mark);
    if (mark == std::string::npos) {
        return "";
    }
    const size_t start = mark + sizeof version_mark - 1;
    const size_t end = bytes.find('\0', start);
    return end == std::string::npos ? "" : bytes.substr(start, end - start);
}

std::string version_in(const std::string& path) {
    std::string bytes;
    return read_file(path, bytes) ? find_version(bytes) : "";
}

std::string variable_of(pid_t pid, const std::string& name) {
    std::string text;
    if (!read_file(process_file(pid, "environ"), text)) {
        return "";
    }
    const std::string start = name + "=";
    for (size_t at = 0; at < text.size();) {
        const size_t end = std::min(text.find('\0', at), text.size());
        if (text.compare(at, start.size(), start) == 0) {
            return text.substr(at + start.size(), end - at - start.size());
        }
        at = end + 1;
    }
    return "";
}

std::vector<pid_t> find_processes(const std::vector<std::string>& names) {
    std::vector<pid_t> found;
    for (const std::string& entry : names_in("/proc")) {
        const pid_t pid = static_cast<pid_t>(strtol(entry.c_str(), nullptr, 10));
        process_look look;
        if (pid > 0 && look_at_process(pid, look) && std::find(names.begin(), names.end(), look.name) != names.end()) {
            found.push_back(pid);
        }
    }
    return found;
}

daemon_look look_at_daemon() {
    daemon_look look;
    look.lock = look_at_lock(look.pid);
    look.noted = noted_process();
    if (look.lock == lock_state::held && look.pid == 0) {
        look.pid = look.noted; // the holder lives in another process namespace, or the kernel does not say
    }
    if (look.pid == 0) {
        look.pid = find_daemon_by_name();
    }
    if (look.pid != 0 && !look_at_process(look.pid, look.process)) {
        look.pid = 0;
    }
    if (look.pid != 0) {
        look.version = version_in(process_file(look.pid, "exe"));
        look.lock_lost = look.lock != lock_state::held && has_lost_its_file(look.pid);
    }
    return look;
}

} // namespace dashboard
