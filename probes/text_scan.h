// scanf's ways of reading numbers and fixed text, from any character source.
//
// A source has `peek`, the next character or -1, and `skip`; and, after a `peek` that found a character, `cursor`,
// where that stands in memory before others and at last a NUL, and `skip_to` a place behind it. As with scanf a
// mismatch leaves the offending character unread and what matched before it consumed.
#ifndef PROBES_TEXT_SCAN_H
#define PROBES_TEXT_SCAN_H

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

template <class Source>
void scan_space(Source& source) {
    while (is_space(source.peek())) {
        source.skip();
    }
}

/// Consumes `text` as far as the source agrees. Returns whether all of it stood there.
template <class Source>
bool scan_literal(Source& source, const char* text) {
    for (; *text != '\0'; ++text) {
        if (source.peek() != static_cast<unsigned char>(*text)) {
            return false;
        }
        source.skip();
    }
    return true;
}

/// A number as it is written: its sign and its digits, which may be more than `Number` holds.
template <class Number>
struct scanned_number {
    bool negative = false;
    bool overflow = false;
    Number magnitude = 0;
};

/// Adds the digits that stand in memory at `at` to the number; `room` of them, counted down, need no watch for
/// overflow. Returns the first character that is no digit.
template <class Number>
const char* add_digits(const char* at, int& room, scanned_number<Number>& number) {
    Number magnitude = number.magnitude;
    for (; room > 0 && is_digit(*at); ++at, --room) {
        magnitude = magnitude * 10 + static_cast<Number>(*at - '0');
    }
    constexpr Number largest = std::numeric_limits<Number>::max();
    for (; is_digit(*at); ++at) {
        const Number digit = static_cast<Number>(*at - '0');
        // Divided is the constant only: the router has no division of 64 bits.
        number.overflow = number.overflow || magnitude > largest / 10 || magnitude * 10 > largest - digit;
        magnitude = magnitude * 10 + digit;
    }
    number.magnitude = magnitude;
    return at;
}

/// White space, a sign, decimal digits. Returns whether there was a digit.
template <class Source, class Number>
bool scan_number(Source& source, scanned_number<Number>& number) {
    scan_space(source);
    int c = source.peek();
    number.negative = c == '-';
    if (c == '-' || c == '+') {
        source.skip();
        c = source.peek();
    }
    if (!is_digit(c)) {
        return false;
    }
    int room = std::numeric_limits<Number>::digits10;
    do {
        source.skip_to(add_digits(source.cursor(), room, number));
    } while (is_digit(source.peek()));
    return true;
}

/// "%lu" or "%llu", whichever `Number` is: a number that is too large reads as the largest, a minus sign negates in
/// unsigned arithmetic. Returns whether a number stood there; `out` is set only then.
template <class Source, class Number>
bool scan_unsigned(Source& source, Number& out) {
    scanned_number<Number> number;
    if (!scan_number(source, number)) {
        return false;
    }
    const Number value = number.negative ? Number{0} - number.magnitude : number.magnitude;
    out = number.overflow ? std::numeric_limits<Number>::max() : value;
    return true;
}

/// "%d": a number that does not fit a long reads as the nearest that does, and of a long the low 32 bits are kept.
/// Returns whether a number stood there; `out` is set only then.
template <class Source>
bool scan_integer(Source& source, int32_t& out) {
    scanned_number<unsigned long> number;
    if (!scan_number(source, number)) {
        return false;
    }
    const unsigned long largest = static_cast<unsigned long>(std::numeric_limits<long>::max());
    const unsigned long limit = number.negative ? largest + 1 : largest;
    const unsigned long magnitude = number.overflow || number.magnitude > limit ? limit : number.magnitude;
    out = static_cast<int32_t>(static_cast<uint32_t>(number.negative ? 0 - magnitude : magnitude));
    return true;
}

/// "%<size - 1>s": white space, then up to size - 1 characters that are none. Returns whether there was any.
template <class Source, size_t size>
bool scan_word(Source& source, char (&word)[size]) {
    scan_space(source);
    size_t length = 0;
    for (int c = source.peek(); length + 1 < size && c != -1 && !is_space(c); c = source.peek()) {
        word[length++] = static_cast<char>(c);
        source.skip();
    }
    word[length] = '\0';
    return length > 0;
}

/// Skips what is left of a word that was read only in part.
template <class Source>
void skip_word(Source& source) {
    while (source.peek() != -1 && !is_space(source.peek())) {
        source.skip();
    }
}

} // namespace dashboard

#endif
