// Reading text from a file or a tool with fixed memory: line by line, or character by character.
#ifndef PROBES_TEXT_SOURCE_H
#define PROBES_TEXT_SOURCE_H

#include <cstddef>
#include <cstring>

namespace dashboard {

struct text_source;

/// A place in a text of which a part is in memory: what the scanners of text_scan.h read from.
struct text_cursor {
    const char* at;       // what is in memory and not consumed: [at, end)
    const char* end;      // a NUL stands here
    text_source* further; // where more of the text comes from; null: there is none
    bool in_line = false; // the text ends at its first newline, or at a NUL, as a string in memory would

    text_cursor(const char* from, const char* to, text_source* source) : at(from), end(to), further(source) {}

    /// The next character, or -1 at the end.
    int peek() {
        const char c = *at;
        return c != '\0' && c != '\n' ? static_cast<unsigned char>(c) : peek_at_end();
    }
    void skip() { ++at; }

    /// Gets more of the text behind what is in memory. Returns false when there is no more, or no room for it.
    bool refill();

private:
    int peek_at_end();
};

/// A terminated string.
struct string_source : text_cursor {
    explicit string_source(const char* text) : text_cursor{text, text + strlen(text), nullptr} {}
};

/// A descriptor that is read front to back through one buffer. A read that a signal interrupts is taken up again; a
/// read error counts as the end.
struct text_source : text_cursor {
    static constexpr size_t capacity = 16384;

    int fd;
    bool in_cut_line = false; // the rest of a line that did not fit is still to be dropped
    /// Of a pipe: read when its writer has ended, or has had a second's time, rather than with every line it writes. A
    /// writer that turns out to have much to say is read as it writes.
    bool patient = false;
    void (*at_end)() = nullptr; // called when the end is met
    /// Left as it comes: pages that no line reaches are never touched.
    char buffer[capacity + 1];

    // NOLINTNEXTLINE(clang-analyzer-optin.cplusplus.UninitializedObject): the buffer
    explicit text_source(int descriptor = -1) : text_cursor{buffer, buffer, this}, fd(descriptor) { buffer[0] = '\0'; }
    text_source(const text_source&) = delete; // the cursor points into the structure
    text_source& operator=(const text_source&) = delete;
};

/// The next line without its newline, terminated; nothing at the end of the input. A last line without a newline
/// counts. Of a line longer than `capacity` the front is given and the rest dropped. The text lives until the next
/// call.
const char* next_line(text_source& source);

/// Opens `path` for reading, close-on-exec. Returns the descriptor, or -1 with errno.
int open_for_reading(const char* path);

/// The same for a file in a folder that anybody may write to: a pipe there does not keep the reader waiting, it reads
/// as empty.
int open_without_waiting(const char* path);

/// Whether `fd` is a pipe, with a name or without.
bool is_pipe(int fd);

} // namespace dashboard

#endif
