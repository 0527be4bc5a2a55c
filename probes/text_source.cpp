#include "probes/text_source.h"

#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <poll.h>
#include <sys/stat.h>
#include <unistd.h>

namespace dashboard {

namespace {

/// Makes room behind what is in memory, if only by moving that to the front. Returns how much.
size_t make_room(text_source& source) {
    const size_t held = static_cast<size_t>(source.end - source.at);
    if (source.at == source.end || source.end == source.buffer + text_source::capacity) {
        memmove(source.buffer, source.at, held + 1);
        source.at = source.buffer;
        source.end = source.buffer + held;
    }
    return text_source::capacity - static_cast<size_t>(source.end - source.buffer);
}

constexpr int patience = 1000;      // ms
constexpr ssize_t much_text = 4096; // at once

/// Sleeps until the other end of the pipe is closed, but no longer than patience lasts.
void await_end(int fd) {
    pollfd end{fd, 0, 0}; // a pipe's end is told unasked
    poll(&end, 1, patience);
}

void drop_rest_of_line(text_source& source) {
    const void* newline = nullptr;
    do {
        newline = memchr(source.at, '\n', static_cast<size_t>(source.end - source.at));
        source.at = newline != nullptr ? static_cast<const char*>(newline) + 1 : source.end;
    } while (newline == nullptr && source.refill());
}

const char* take_line(text_source& source, size_t length, size_t consumed) {
    char* const line = source.buffer + (source.at - source.buffer);
    line[length] = '\0';
    source.at += consumed;
    return line;
}

} // namespace

bool text_cursor::refill() {
    const size_t room = further != nullptr ? make_room(*further) : 0;
    if (room == 0) {
        return false;
    }
    char* const place = further->buffer + (end - further->buffer);
    if (further->patient) {
        await_end(further->fd);
    }
    ssize_t got = 0;
    do {
        got = read(further->fd, place, room);
    } while (got < 0 && errno == EINTR);
    if (got <= 0 && further->at_end != nullptr) {
        further->at_end();
    }
    if (got <= 0) {
        return false;
    }
    further->patient = further->patient && got < much_text;
    end += got;
    place[got] = '\0';
    return true;
}

int text_cursor::peek_at_end() {
    if (at == end && !refill()) {
        return -1;
    }
    const bool line_ends = *at == '\n' || *at == '\0';
    return in_line && line_ends ? -1 : static_cast<unsigned char>(*at);
}

const char* next_line(text_source& source) {
    if (source.in_cut_line) {
        drop_rest_of_line(source);
        source.in_cut_line = false;
    }
    if (source.at == source.end && !source.refill()) {
        return nullptr;
    }
    size_t length = 0;
    do {
        const size_t held = static_cast<size_t>(source.end - source.at);
        const void* newline = memchr(source.at + length, '\n', held - length);
        if (newline != nullptr) {
            const size_t found = static_cast<size_t>(static_cast<const char*>(newline) - source.at);
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
