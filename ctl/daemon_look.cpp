#include "ctl/daemon_look.h"

#include "ctl/ctl_text.h"

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <fcntl.h>
#include <unistd.h>

namespace dashboard {

namespace {

constexpr char daemon_name[] = "dashboard";
constexpr char version_mark[] = "@(#)dashboard ";

std::string process_file(pid_t pid, const char* name) {
    return text_of("/proc/%d/%s", static_cast<int>(pid), name);
}

/// Only the first line counts: the daemon does not empty the file before it writes.
pid_t noted_process() {
    std::string text;
    if (!read_file(pid_lock_file, text)) {
        return 0;
    }
    return static_cast<pid_t>(strtol(text.c_str(), nullptr, 10));
}

/// The lock's state, and its holder (0 when it is not known).
lock_state look_at_lock(pid_t& holder) {
    holder = 0;
    const int file = open(pid_lock_file, O_RDONLY | O_CLOEXEC);
    if (file < 0) {
        return errno == ENOENT ? lock_state::no_file : lock_state::unreadable;
    }
    struct flock lock = {};
    lock.l_type = F_WRLCK;
    lock.l_whence = SEEK_SET;
    const int result = fcntl(file, F_GETLK, &lock);
    close(file);
    if (result != 0) {
        return lock_state::unreadable;
    }
    if (lock.l_type == F_UNLCK) {
        return lock_state::stale;
    }
    holder = lock.l_pid > 0 ? lock.l_pid : 0;
    return lock_state::held;
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

/// A daemon without a lock, as process 1 starts it. Its file may only be looked at by its own user.
pid_t find_by_name() {
    for (const pid_t pid : find_processes({daemon_name})) {
        char target[256] = "";
        const ssize_t length = readlink(process_file(pid, "exe").c_str(), target, sizeof target - 1);
        const std::string file = length > 0 ? target : "/dashboard";
        if (ends_with(file, "/dashboard") || ends_with(file, "/dashboard (deleted)")) {
            return pid;
        }
    }
    return 0;
}

} // namespace

bool look_at_process(pid_t pid, process_look& look) {
    std::string text;
    if (pid <= 0 || !read_file(process_file(pid, "stat"), text)) {
        return false;
    }
    // "PID (NAME) STATE PPID ..."; a name may hold anything, so it ends at the last parenthesis.
    const size_t open = text.find('(');
    const size_t close = text.rfind(')');
    if (open == std::string::npos || close == std::string::npos || close < open) {
        return false;
    }
    look.name = text.substr(open + 1, close - open - 1);
    int parent = 0;
    unsigned long long start = 0;
    const char* const rest = text.c_str() + close + 1;
    if (begins_with(rest, " Z")) {
        return false; // it has ended
    }
    if (sscanf(rest, " %*c %d %*d %*d %*d %*d %*u %*u %*u %*u %*u %*u %*u %*d %*d %*d %*d %d %*d %llu", &parent,
               &look.threads, &start) != 3) {
        return false;
    }
    look.parent = static_cast<pid_t>(parent);
    timespec now = {};
    clock_gettime(CLOCK_BOOTTIME, &now);
    look.age = static_cast<int64_t>(now.tv_sec) -
               static_cast<int64_t>(start / static_cast<unsigned long long>(sysconf(_SC_CLK_TCK)));
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
        look.pid = find_by_name();
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
