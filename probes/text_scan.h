// scanf's ways of reading numbers and fixed text. As with scanf a mismatch leaves the offending character unread and
// what matched before it consumed.
#ifndef PROBES_TEXT_SCAN_H
#define PROBES_TEXT_SCAN_H

#include "probes/text_source.h"

#include <cstddef>
#include <cstdint>
#include <limits>

namespace dashboard {

constexpr bool is_space(int c) {
    return c == ' ' || (c >= '\t' && c <= '\r');
}
constexpr bool is_digit(int c) {
    return c >= '0' && c <= '9';
}

void scan_space(text_cursor& text);

/// Consumes `expected` as far as the text agrees. Returns whether all of it stood there.
inline bool scan_literal(text_cursor& text, const char* expected) {
    for (; *expected != '\0'; ++expected) {
        if (text.peek() != static_cast<unsigned char>(*expected)) {
            return false;
        }
        text.skip();
    }
    return true;
}

/// A number as it is written.
struct scanned_number {
    bool found = false; // there was a digit
    bool negative = false;
    bool overflow = false; // there is no type for it
    unsigned long long magnitude = 0;
};

/// White space, a sign, decimal digits.
scanned_number scan_number(text_cursor& text);

/// "%lu" or "%llu", whichever `Number` is: a number that is too large reads as the largest, a minus sign negates in
/// unsigned arithmetic. Returns whether a number stood there; `out` is set only then.
template <class Number>
bool scan_unsigned(text_cursor& text, Number& out) {
    const scanned_number number = scan_number(text);
    if (!number.found) {
        return false;
    }
    constexpr Number largest = std::numeric_limits<Number>::max();
    const Number magnitude = static_cast<Number>(number.magnitude);
    const Number value = number.negative ? Number{0} - magnitude : magnitude;
    out = number.overflow || number.magnitude > largest ? largest : value;
    return true;
}

/// "%d": a number that does not fit a long reads as the nearest that does, and of a long the low 32 bits are kept.
/// Returns whether a number stood there; `out` is set only then.
bool scan_integer(text_cursor& text, int32_t& out);

/// "%<size - 1>s": white space, then up to size - 1 characters that are none. Returns whether there was any.
template <size_t size>
bool scan_word(text_cursor& text, char (&word)[size]) {
    scan_space(text);
    size_t length = 0;
    for (int c = text.peek(); length + 1 < size && c != -1 && !is_space(c); c = text.peek()) {
        word[length++] = static_cast<char>(c);
        text.skip();
    }
    word[length] = '\0';
    return length > 0;
}

/// Skips what is left of a word that was read only in part.
void skip_word(text_cursor& text);

} // namespace dashboard

#endif
