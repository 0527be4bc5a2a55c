#include "beside/daemon_process.h"

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <dirent.h>
#include <fcntl.h>
#include <unistd.h>

namespace dashboard {

namespace {

constexpr char daemon_name[] = "dashboard";

/// The beginning of a short file, terminated; nothing when it cannot be read.
size_t read_head(const char* path, char* text, size_t room) {
    const int file = open(path, O_RDONLY | O_CLOEXEC);
    const ssize_t got = file < 0 ? -1 : read(file, text, room - 1);
    if (file >= 0) {
        close(file);
    }
    const size_t length = got < 0 ? 0 : static_cast<size_t>(got);
    text[length] = '\0';
    return length;
}

bool ends_with_name(const char* target, const char* end) {
    const size_t length = strlen(target);
    const size_t wanted = strlen(end);
    return length >= wanted && strcmp(target + length - wanted, end) == 0;
}

/// Its file may only be looked at by its own user; then the name is all there is.
bool is_daemon(pid_t pid) {
    process_stat process;
    if (pid <= 0 || !read_process_stat(pid, process) || strcmp(process.name, daemon_name) != 0) {
        return false;
    }
    char path[64];
    char target[256];
    snprintf(path, sizeof path, "/proc/%d/exe", static_cast<int>(pid));
    const ssize_t length = readlink(path, target, sizeof target - 1);
    if (length <= 0) {
        return true;
    }
    target[length] = '\0';
    return ends_with_name(target, "/dashboard") || ends_with_name(target, "/dashboard (deleted)");
}

} // namespace

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

pid_t noted_process() {
    char text[64];
    read_head(pid_lock_file, text, sizeof text);
    return static_cast<pid_t>(strtol(text, nullptr, 10));
}

bool read_process_stat(pid_t pid, process_stat& process) {
    char path[64];
    char text[1024];
    snprintf(path, sizeof path, "/proc/%d/stat", static_cast<int>(pid));
    if (pid <= 0 || read_head(path, text, sizeof text) == 0) {
        return false;
    }
    // "PID (NAME) STATE PPID ..."; a name may hold anything, so it ends at the last parenthesis.
    const char* const open = strchr(text, '(');
    const char* const close = strrchr(text, ')');
    if (open == nullptr || close == nullptr || close < open) {
        return false;
    }
    snprintf(process.name, sizeof process.name, "%.*s", static_cast<int>(close - open - 1), open + 1);
    if (strncmp(close + 1, " Z", 2) == 0) {
        return false; // it has ended
    }
    int parent = 0;
    unsigned long long start = 0;
    if (sscanf(close + 1, " %*c %d %*d %*d %*d %*d %*u %*u %*u %*u %*u %*u %*u %*d %*d %*d %*d %d %*d %llu", &parent,
               &process.threads, &start) != 3) {
        return false;
    }
    process.parent = static_cast<pid_t>(parent);
    timespec now = {};
    clock_gettime(CLOCK_BOOTTIME, &now);
    process.age = static_cast<int64_t>(now.tv_sec) -
                  static_cast<int64_t>(start / static_cast<unsigned long long>(sysconf(_SC_CLK_TCK)));
    return true;
}

pid_t find_daemon_by_name() {
    const int descriptor = open("/proc", O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    DIR* const folder = descriptor < 0 ? nullptr : fdopendir(descriptor);
    if (folder == nullptr) {
        if (descriptor >= 0) {
            close(descriptor);
        }
        return 0;
    }
    pid_t found = 0;
    while (const dirent* entry = found == 0 ? readdir(folder) : nullptr) {
        const pid_t pid = static_cast<pid_t>(strtol(entry->d_name, nullptr, 10));
        found = is_daemon(pid) ? pid : 0;
    }
    closedir(folder);
    return found;
}

} // namespace dashboard
