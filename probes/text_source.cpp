#include "probes/text_source.h"

#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace dashboard {

bool text_source::refill() {
    if (begin == end) {
        begin = end = 0;
    } else if (end == capacity && begin > 0) {
        memmove(buffer, buffer + begin, end - begin);
        end -= begin;
        begin = 0;
    }
    buffer[end] = '\0';
    if (end == capacity) {
        return false;
    }
    ssize_t got = 0;
    do {
        got = read(fd, buffer + end, capacity - end);
    } while (got < 0 && errno == EINTR);
    if (got <= 0) {
        return false;
    }
    end += static_cast<size_t>(got);
    buffer[end] = '\0';
    return true;
}

namespace {

void drop_rest_of_line(text_source& source) {
    int c = source.peek();
    while (c != -1 && c != '\n') {
        source.skip();
        c = source.peek();
    }
    if (c == '\n') {
        source.skip();
    }
}

const char* take_line(text_source& source, size_t length, size_t consumed) {
    char* const line = source.buffer + source.begin;
    line[length] = '\0';
    source.begin += consumed;
    return line;
}

} // namespace

const char* next_line(text_source& source) {
    if (source.in_cut_line) {
        drop_rest_of_line(source);
        source.in_cut_line = false;
    }
    if (source.peek() == -1) {
        return nullptr;
    }
    size_t length = 0;
    do {
        const char* const start = source.buffer + source.begin;
        const size_t held = source.end - source.begin;
        const void* newline = memchr(start + length, '\n', held - length);
        if (newline != nullptr) {
            const size_t found = static_cast<size_t>(static_cast<const char*>(newline) - start);
            return take_line(source, found, found + 1);
        }
        length = held;
    } while (source.refill());
    source.in_cut_line = length == text_source::capacity;
    return take_line(source, length, length);
}

int open_for_reading(const char* path) {
    return open(path, O_RDONLY | O_CLOEXEC);
}

int open_without_waiting(const char* path) {
    return open(path, O_RDONLY | O_CLOEXEC | O_NONBLOCK);
}

bool is_pipe(int fd) {
    struct stat status {};
    return fstat(fd, &status) == 0 && S_ISFIFO(status.st_mode);
}

} // namespace dashboard
