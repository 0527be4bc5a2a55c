// scanf's ways of reading numbers and fixed text, from any character source.
//
// A source has `peek`, the next character or -1, and `skip`. As with scanf a mismatch leaves the offending character
// unread and what matched before it consumed.
#ifndef PROBES_TEXT_SCAN_H
#define PROBES_TEXT_SCAN_H

#include <cstddef>
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

/// "%lu" or "%llu", whichever `Number` is: white space, a sign, decimal digits. A number that is too large reads as
/// the largest; a minus sign negates in unsigned arithmetic. Returns whether a number stood there; `out` is set only
/// then.
template <class Source, class Number>
bool scan_unsigned(Source& source, Number& out) {
    constexpr Number largest = std::numeric_limits<Number>::max();
    scan_space(source);
    const int sign = source.peek();
    if (sign == '-' || sign == '+') {
        source.skip();
    }
    if (!is_digit(source.peek())) {
        return false;
    }
    Number value = 0;
    bool overflow = false;
    for (int c = source.peek(); is_digit(c); c = source.peek()) {
        const Number digit = static_cast<Number>(c - '0');
        overflow = overflow || value > (largest - digit) / 10;
        value = value * 10 + digit;
        source.skip();
    }
    const Number read = sign == '-' ? Number{0} - value : value;
    out = overflow ? largest : read;
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

} // namespace dashboard

#endif
