// Reading text from a file or a tool with fixed memory: line by line, or character by character.
#ifndef PROBES_TEXT_SOURCE_H
#define PROBES_TEXT_SOURCE_H

#include <cstddef>

namespace dashboard {

/// A descriptor that is read front to back through one buffer. A read that a signal interrupts is taken up again; a
/// read error counts as the end.
///
/// As a character source it has what the scanners of text_scan.h want.
struct text_source {
    static constexpr size_t capacity = 16384;

    int fd = -1;
    size_t begin = 0; // what is in memory and not consumed: buffer[begin, end)
    size_t end = 0;
    bool in_cut_line = false; // the rest of a line that did not fit is still to be dropped
    /// Left as it comes: pages that no line reaches are never touched. A NUL stands behind what was read.
    char buffer[capacity + 1];

    text_source() {}
    explicit text_source(int descriptor) : fd(descriptor) {}

    /// The next character, or -1 at the end.
    int peek() { return begin < end || refill() ? static_cast<unsigned char>(buffer[begin]) : -1; }
    void skip() { ++begin; }
    const char* cursor() const { return buffer + begin; }
    void skip_to(const char* place) { begin = static_cast<size_t>(place - buffer); }

    /// Reads more behind what is in memory. Returns false at the end of the input or when there is no room.
    bool refill();
};

/// The next line without its newline, terminated; nothing at the end of the input. A last line without a newline
/// counts. Of a line longer than `capacity` the front is given and the rest dropped. The text lives until the next
/// call.
const char* next_line(text_source& source);

/// The first line of a text as a character source: it ends at the newline or at a NUL, as a string in memory would.
struct first_line {
    text_source& text;

    int peek() {
        const int c = text.peek();
        return c == '\n' || c == '\0' ? -1 : c;
    }
    void skip() { text.skip(); }
    const char* cursor() const { return text.cursor(); }
    void skip_to(const char* place) { text.skip_to(place); }
};

/// A terminated string as a character source.
struct string_source {
    const char* at;

    int peek() const { return *at != '\0' ? static_cast<unsigned char>(*at) : -1; }
    void skip() { ++at; }
    const char* cursor() const { return at; }
    void skip_to(const char* place) { at = place; }
};

/// Opens `path` for reading, close-on-exec. Returns the descriptor, or -1 with errno.
int open_for_reading(const char* path);

/// The same for a file in a folder that anybody may write to: a pipe there does not keep the reader waiting, it reads
/// as empty.
int open_without_waiting(const char* path);

/// Whether `fd` is a pipe, with a name or without.
bool is_pipe(int fd);

} // namespace dashboard

#endif
