#include "probes/tool_end.h"

#include "base/portability.h"

#include <atomic>
#include <csignal>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <sys/stat.h>
#include <sys/types.h>
#include <unistd.h>

namespace dashboard {

namespace {

constexpr int most_tools = 2; // each worker runs one at a time

std::atomic<unsigned long> pipe_of_tool[most_tools]; // inode; 0: none
std::atomic<bool> tools_were_ended{false};

bool is_pipe_of_tool(unsigned long inode) {
    bool found = false;
    for (const auto& pipe : pipe_of_tool) {
        found = found || (inode != 0 && pipe == inode);
    }
    return found;
}

/// Tools, their shells, and what they have started.
struct family {
    static constexpr int capacity = 64;

    pid_t member[capacity];
    int count = 0;

    bool has(pid_t process) const {
        int i = 0;
        while (i < count && member[i] != process) {
            ++i;
        }
        return i < count;
    }
    void add(pid_t process) {
        if (count < capacity && !has(process)) {
            member[count++] = process;
        }
    }
    void signal(int signal_number) const {
        for (int i = 0; i < count; ++i) {
            kill(member[i], signal_number);
        }
    }
};

/// The parent in "812 (a name) S 711 ...", where the name may hold anything; 0 when the process is gone.
pid_t parent_of(int process_folder) {
    char text[512];
    const int fd = openat(process_folder, "stat", O_RDONLY | O_CLOEXEC);
    const ssize_t length = fd >= 0 ? read(fd, text, sizeof text - 1) : 0;
    close(fd);
    text[length > 0 ? length : 0] = '\0';
    const char* const name_end = strrchr(text, ')');
    return name_end != nullptr && strlen(name_end) > 4 ? static_cast<pid_t>(strtol(name_end + 4, nullptr, 10)) : 0;
}

/// The inode in "pipe:[4711]" when standard output is a pipe, else 0.
unsigned long output_pipe_of(int process_folder) {
    static constexpr char pipe_prefix[] = "pipe:[";
    constexpr size_t prefix_length = sizeof pipe_prefix - 1;
    char text[64];
    const ssize_t length = readlinkat(process_folder, "fd/1", text, sizeof text - 1);
    text[length > 0 ? length : 0] = '\0';
    return strncmp(text, pipe_prefix, prefix_length) == 0 ? strtoul(text + prefix_length, nullptr, 10) : 0;
}

/// A child of ours that writes into a tool's pipe is its shell, or the tool in its place: what the command runner has
/// started does not. Everybody else belongs to a tool by his parent.
void add_if_of_tool(family& tools, int proc, const char* name) {
    const int folder = openat(proc, name, O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    if (folder < 0) {
        return;
    }
    const pid_t parent = parent_of(folder);
    const bool is_first = parent == process_id() && is_pipe_of_tool(output_pipe_of(folder));
    if (is_first || tools.has(parent)) {
        tools.add(static_cast<pid_t>(strtol(name, nullptr, 10)));
    }
    close(folder);
}

/// What the kernel writes for an entry of a folder. Asked for directly: opendir uses the heap.
struct folder_entry {
    uint64_t inode;
    int64_t next;
    uint16_t length;
    uint8_t type;
    char name[5]; // and more
};

/// One look at all processes.
void look_for_tools(family& tools) {
    alignas(folder_entry) char entries[2048];
    const int proc = open("/proc", O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    long length = 0;
    while ((length = syscall(SYS_getdents64, proc, entries, sizeof entries)) > 0) {
        const folder_entry* entry = nullptr;
        for (long at = 0; at < length; at += entry->length) {
            entry = reinterpret_cast<const folder_entry*>(entries + at);
            if (entry->name[0] >= '1' && entry->name[0] <= '9') {
                add_if_of_tool(tools, proc, entry->name);
            }
        }
    }
    close(proc);
}

} // namespace

int remember_tool(int pipe) {
    struct stat status {};
    fstat(pipe, &status);
    const auto inode = static_cast<unsigned long>(status.st_ino);
    int place = most_tools - 1;
    unsigned long none = 0;
    while (place > 0 && !pipe_of_tool[place].compare_exchange_strong(none, inode)) {
        none = 0;
        --place;
    }
    pipe_of_tool[place] = inode;
    if (tools_were_ended) { // while this one was being started
        end_tools();
    }
    return place;
}

void forget_tool(int place) {
    pipe_of_tool[place] = 0;
}

void end_tools() {
    tools_were_ended = true;
    bool any = false;
    for (const auto& pipe : pipe_of_tool) {
        any = any || pipe != 0;
    }
    family tools;
    int before = any ? -1 : 0;
    // They stand still before they are killed: a shell might start another command behind our back.
    while (tools.count > before) {
        before = tools.count;
        look_for_tools(tools);
        tools.signal(SIGSTOP);
    }
    tools.signal(SIGKILL);
}

void stay_if_tools_were_ended() {
    while (tools_were_ended) {
        pause();
    }
}

} // namespace dashboard
