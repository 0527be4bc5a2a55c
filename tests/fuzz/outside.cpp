#include "tests/fuzz/outside.h"

#include "base/dashboard_log.h"
#include "platform/csman.h"
#include "platform/utils.h"

#include <algorithm>
#include <cerrno>
#include <cstdarg>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <map>
#include <poll.h>
#include <sys/mman.h>
#include <unistd.h>

extern "C" {
int __real_open64(const char* path, int flags, ...);
int __real_rename(const char* from, const char* to);
int __real_remove(const char* path);
int __real_unlink(const char* path);
int __real_access(const char* path, int mode);
FILE* __real_popen(const char* command, const char* type);
int __real_pclose(FILE* pipe);

int __wrap_open64(const char* path, int flags, ...);
int __wrap_rename(const char* from, const char* to);
int __wrap_remove(const char* path);
int __wrap_unlink(const char* path);
int __wrap_access(const char* path, int mode);
FILE* __wrap_popen(const char* command, const char* type);
int __wrap_pclose(FILE* pipe);
int __wrap_poll(pollfd* asked, nfds_t count, int patience);
int __wrap_usleep(useconds_t microseconds);
time_t __wrap_time(time_t* out);
void __wrap_syslog(int priority, const char* format, ...) __attribute__((format(printf, 2, 3)));
}

namespace dashboard::fuzz {

namespace {

// Descriptors of files in memory, by name.
using memory_files = std::map<std::string, int, std::less<>>;

memory_files files;
memory_files tools;
std::map<uint32_t, int> numbers;
std::map<uint32_t, std::string> strings;
time_t wall_clock = 1'700'000'000;
FILE* running_tool = nullptr;
std::string newest_message;

bool begins_with(std::string_view text, std::string_view prefix) {
    return text.substr(0, prefix.size()) == prefix;
}

bool belongs_to_daemon(std::string_view path) {
    static constexpr const char* places[] = {"/proc/net/",      "/proc/meminfo",   "/proc/stat", "/proc/sys/net/",
                                             "/sys/class/net/", "/tmp/dashboard/", "/usr/www/",  "/tmp/aptraffic/"};
    return std::any_of(std::begin(places), std::end(places),
                       [path](const char* place) { return begins_with(path, place); });
}

int memory_file(memory_files& all, const std::string& name) {
    const auto [place, is_new] = all.try_emplace(name, -1);
    if (is_new) {
        place->second = memfd_create("fuzz", MFD_CLOEXEC);
        require(place->second >= 0, "a file in memory");
    }
    return place->second;
}

void fill(int fd, std::string_view text) {
    require(ftruncate(fd, 0) == 0, "a file in memory can be emptied");
    require(pwrite(fd, text.data(), text.size(), 0) == static_cast<ssize_t>(text.size()), "and filled");
}

// A descriptor with an offset of its own.
int reopen(int fd, int flags) {
    const std::string path = "/proc/self/fd/" + std::to_string(fd);
    return __real_open64(path.c_str(), flags);
}

FILE* stream_of(const memory_files& all, const std::string& name) {
    const auto place = all.find(name);
    require(place != all.end(), "the file or tool is there");
    return fdopen(reopen(place->second, O_RDONLY | O_CLOEXEC), "r");
}

bool drop_file(std::string_view path) {
    const auto place = files.find(path);
    if (place == files.end()) {
        errno = ENOENT;
        return false;
    }
    close(place->second);
    files.erase(place);
    return true;
}

} // namespace

void set_file(const std::string& path, std::string_view text) {
    fill(memory_file(files, path), text);
}

std::string read_file(const std::string& path) {
    const auto place = files.find(path);
    if (place == files.end()) {
        return {};
    }
    std::string text(static_cast<size_t>(lseek(place->second, 0, SEEK_END)), '\0');
    require(pread(place->second, text.data(), text.size(), 0) == static_cast<ssize_t>(text.size()), "a file reads");
    return text;
}

FILE* open_file(const std::string& path) {
    return stream_of(files, path);
}

void remove_file(const std::string& path) {
    drop_file(path);
}

void set_tool_output(const std::string& tool, std::string_view text) {
    fill(memory_file(tools, tool), text);
}

FILE* open_tool_output(const std::string& tool) {
    return stream_of(tools, tool);
}

void set_number(uint32_t csid, int value) {
    numbers[csid] = value;
}

void set_string(uint32_t csid, std::string_view text) {
    strings[csid] = text;
}

void set_clock(time_t now) {
    wall_clock = now;
}

std::string take_message() {
    const size_t place = newest_message.find("]: ");
    std::string text = place == std::string::npos ? "" : newest_message.substr(place + 3);
    newest_message.clear();
    return text;
}

void require(bool holds, const char* what) {
    if (!holds) {
        fprintf(stderr, "not so: %s\n", what);
        abort();
    }
}

std::string_view text_of(const uint8_t* data, size_t size) {
    return {reinterpret_cast<const char*>(data), size};
}

std::vector<std::string> parts_of(std::string_view text, size_t count) {
    std::vector<std::string> parts(count);
    for (std::string& part : parts) {
        const size_t end = std::min(text.find('~'), text.size());
        part = text.substr(0, end);
        text.remove_prefix(std::min(end + 1, text.size()));
    }
    return parts;
}

std::vector<std::string> lines_of(std::string_view text, size_t longest) {
    std::vector<std::string> lines;
    while (!text.empty()) {
        const size_t end = std::min(text.find('\n'), text.size());
        const std::string_view line = text.substr(0, std::min(end, longest));
        lines.emplace_back(line.substr(0, line.find('\0')));
        text.remove_prefix(std::min(end + 1, text.size()));
    }
    return lines;
}

bool is_whole_document(const std::string& text) {
    static const std::string first = "<?xml version=\"1.0\" ?>\n<datalist>\n";
    static const std::string last = "</datalist>\n";
    return begins_with(text, first) && text.size() >= first.size() + last.size() &&
           text.compare(text.size() - last.size(), last.size(), last) == 0;
}

} // namespace dashboard::fuzz

// ---- The calls under the daemon's objects

namespace fuzz = dashboard::fuzz;

int __wrap_open64(const char* path, int flags, ...) {
    va_list arguments;
    va_start(arguments, flags);
    const unsigned mode = (flags & O_CREAT) != 0 ? va_arg(arguments, unsigned) : 0;
    va_end(arguments);
    if (!fuzz::belongs_to_daemon(path)) {
        return __real_open64(path, flags, mode);
    }
    if ((flags & O_CREAT) == 0 && fuzz::files.find(path) == fuzz::files.end()) {
        errno = ENOENT;
        return -1;
    }
    return fuzz::reopen(fuzz::memory_file(fuzz::files, path), flags & (O_ACCMODE | O_CLOEXEC));
}

int __wrap_rename(const char* from, const char* to) {
    if (!fuzz::belongs_to_daemon(from)) {
        return __real_rename(from, to);
    }
    const auto moved = fuzz::files.find(from);
    if (moved == fuzz::files.end()) {
        errno = ENOENT;
        return -1;
    }
    const int fd = moved->second;
    fuzz::files.erase(moved);
    fuzz::drop_file(to);
    fuzz::files[to] = fd;
    return 0;
}

int __wrap_remove(const char* path) {
    if (!fuzz::belongs_to_daemon(path)) {
        return __real_remove(path);
    }
    return fuzz::drop_file(path) ? 0 : -1;
}

int __wrap_unlink(const char* path) {
    if (!fuzz::belongs_to_daemon(path)) {
        return __real_unlink(path);
    }
    return fuzz::drop_file(path) ? 0 : -1;
}

int __wrap_access(const char* path, int mode) {
    if (!fuzz::belongs_to_daemon(path)) {
        return __real_access(path, mode);
    }
    return fuzz::files.find(path) != fuzz::files.end() ? 0 : -1;
}

FILE* __wrap_popen(const char* command, const char* type) {
    for (const auto& [tool, fd] : fuzz::tools) {
        if (fuzz::begins_with(command, tool)) {
            fuzz::running_tool = fdopen(fuzz::reopen(fd, O_RDONLY | O_CLOEXEC), "r");
            return fuzz::running_tool;
        }
    }
    return __real_popen(command, type);
}

int __wrap_pclose(FILE* pipe) {
    return pipe == fuzz::running_tool ? fclose(pipe) : __real_pclose(pipe);
}

// Every tool has ended when it is read, and the system log has room: files in memory would never say so.
int __wrap_poll(pollfd* /*asked*/, nfds_t count, int /*patience*/) {
    return static_cast<int>(count);
}

int __wrap_usleep(useconds_t /*microseconds*/) {
    return 0;
}

time_t __wrap_time(time_t* out) {
    if (out != nullptr) {
        *out = fuzz::wall_clock;
    }
    return fuzz::wall_clock;
}

// Messages that quote what came from outside are built too, and stay within their promised length.
void __wrap_syslog(int /*priority*/, const char* format, ...) {
    char line[1024];
    va_list arguments;
    va_start(arguments, format);
    const int length = vsnprintf(line, sizeof line, format, arguments);
    va_end(arguments);
    fuzz::require(length >= 0 && length <= 311, "a message has at most 311 characters");
    fuzz::newest_message = line;
}

// ---- The platform's libraries

int open_csman(int /*unused*/, int /*unused*/) {
    return 7;
}

int read_csman(int /*handle*/, unsigned int csid, void* buffer, int length, int type) {
    fuzz::require(type == csman_type_string && length > 0, "a string is read into a buffer");
    const auto item = fuzz::strings.find(csid);
    if (item == fuzz::strings.end()) {
        return -1;
    }
    const size_t room = static_cast<size_t>(length);
    const size_t copied = std::min(item->second.size(), room);
    memcpy(buffer, item->second.data(), copied);
    if (copied < room) {
        static_cast<char*>(buffer)[copied] = '\0';
    }
    return 0;
}

int read_csman_int(int /*handle*/, unsigned int csid, int* value) {
    const auto item = fuzz::numbers.find(csid);
    if (item == fuzz::numbers.end()) {
        return -1;
    }
    *value = item->second;
    return 0;
}

int write_csman_int(int /*handle*/, unsigned int csid, int value) {
    fuzz::numbers[csid] = value;
    return 0;
}

int close_csman(int /*handle*/) {
    return 0;
}

int _exec_cmd(int /*pid*/, const char* /*file*/, const char* /*func*/, int /*line*/, const char* /*format*/, ...) {
    return 0;
}

// Every target logs, so that its messages are built; see __wrap_syslog.
extern "C" int LLVMFuzzerInitialize(int* argc, char*** argv);
int LLVMFuzzerInitialize(int* /*argc*/, char*** /*argv*/) {
    dashboard::log2syslog = 1;
    return 0;
}
