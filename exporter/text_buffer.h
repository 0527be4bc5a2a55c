// The answer while it is put together: one piece of memory that grows, written out at once at the end.
#ifndef EXPORTER_TEXT_BUFFER_H
#define EXPORTER_TEXT_BUFFER_H

#include <cstddef>
#include <cstdint>
#include <string_view>

namespace dashboard {

/// Text that grows by doubling. When there is no memory for more, the rest is dropped and `failed` says so.
struct text_buffer {
    char* text = nullptr;
    size_t length = 0;
    size_t room = 0;
    bool failed = false;

    text_buffer() = default;
    text_buffer(const text_buffer&) = delete;
    text_buffer& operator=(const text_buffer&) = delete;
    ~text_buffer();

    void add(std::string_view more);
    void add(char letter);
    void add_number(uint64_t number);
    void add_signed(int64_t number);
    /// `count` units of 10^-`digits`: 12 and 2 are "0.12".
    void add_decimal(uint64_t count, int digits);

    std::string_view view() const { return {text, length}; }
};

/// Writes all of it to a descriptor, in one call where the kernel takes it so. False when it could not be written.
bool write_whole(int descriptor, std::string_view text);

} // namespace dashboard

#endif
