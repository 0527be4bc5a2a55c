#include "exporter/text_buffer.h"

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <unistd.h>

namespace dashboard {

namespace {

constexpr size_t first_room = 32768;
constexpr size_t longest_number = 20;

/// Makes room for `more` bytes. False when there is no memory.
bool make_room(text_buffer& buffer, size_t more) {
    if (buffer.room - buffer.length >= more) {
        return true;
    }
    size_t wanted = buffer.room == 0 ? first_room : buffer.room;
    while (wanted - buffer.length < more) {
        wanted *= 2;
    }
    char* const grown = static_cast<char*>(realloc(buffer.text, wanted));
    buffer.failed = buffer.failed || grown == nullptr;
    if (grown == nullptr) {
        return false;
    }
    buffer.text = grown;
    buffer.room = wanted;
    return true;
}

} // namespace

text_buffer::~text_buffer() {
    free(text);
}

void text_buffer::add(std::string_view more) {
    if (!more.empty() && make_room(*this, more.size())) {
        memcpy(text + length, more.data(), more.size());
        length += more.size();
    }
}

void text_buffer::add(char letter) {
    add(std::string_view(&letter, 1));
}

void text_buffer::add_number(uint64_t number) {
    char digits[longest_number];
    size_t first = longest_number;
    // A 32-bit processor divides 64 bits in a function of its own: only what does not fit goes there.
    while (number > UINT32_MAX) {
        digits[--first] = static_cast<char>('0' + number % 10);
        number /= 10;
    }
    auto rest = static_cast<uint32_t>(number);
    do {
        digits[--first] = static_cast<char>('0' + rest % 10);
        rest /= 10;
    } while (rest != 0);
    add(std::string_view(digits + first, longest_number - first));
}

void text_buffer::add_signed(int64_t number) {
    if (number < 0) {
        add('-');
    }
    const auto bits = static_cast<uint64_t>(number);
    add_number(number < 0 ? 0 - bits : bits);
}

void text_buffer::add_decimal(uint64_t count, int digits) {
    uint64_t unit = 1;
    for (int i = 0; i < digits; ++i) {
        unit *= 10;
    }
    add_number(count / unit);
    add('.');
    for (uint64_t rest = count % unit; digits > 0; --digits) {
        unit /= 10;
        add(static_cast<char>('0' + rest / unit));
        rest %= unit;
    }
}

bool write_whole(int descriptor, std::string_view text) {
    size_t written = 0;
    while (written < text.size()) {
        const ssize_t done = write(descriptor, text.data() + written, text.size() - written);
        if (done < 0 && errno != EINTR) {
            return false;
        }
        written += done > 0 ? static_cast<size_t>(done) : 0;
    }
    return true;
}

} // namespace dashboard
