#include "probes/text_scan.h"

#include <algorithm>
#include <charconv>
#include <system_error>

namespace dashboard {

namespace {

bool scan_minus(text_cursor& text) {
    scan_space(text);
    const int sign = text.peek();
    if (sign == '-' || sign == '+') {
        text.skip();
    }
    return sign == '-';
}

void skip_zeros(text_cursor& text) {
    while (text.peek() == '0') {
        text.skip();
    }
}

void skip_digits(text_cursor& text) {
    while (is_digit(text.peek())) {
        text.skip();
    }
}

// So many digits are not too large, whatever they are. In 32 bits the router is done with one three times as fast.
constexpr ptrdiff_t short_digits = std::numeric_limits<uint32_t>::digits10;
constexpr ptrdiff_t safe_digits = std::numeric_limits<unsigned long long>::digits10;

/// For a number that may go on behind what is in memory, or be too large.
void scan_with_care(text_cursor& text, scanned_number& number) {
    skip_zeros(text); // there may be more of them than fit in memory
    std::from_chars_result digits{};
    ptrdiff_t length = 0; // counted, since getting more may move what is there, even where there is no more
    do {
        digits = std::from_chars(text.at, text.end, number.magnitude);
        length = digits.ptr - text.at;
    } while (digits.ptr == text.end && text.refill());
    text.at += length;
    number.overflow = digits.ec == std::errc::result_out_of_range;
    skip_digits(text); // likewise
}

} // namespace

void scan_space(text_cursor& text) {
    const char* at = text.at;
    while (*at == ' ') {
        ++at;
    }
    text.at = at;
    while (is_space(text.peek())) { // seldom
        text.skip();
    }
}

scanned_number scan_number(text_cursor& text) {
    scanned_number number;
    if (!is_digit(*text.at)) {
        number.negative = scan_minus(text);
        if (!is_digit(text.peek())) {
            return number;
        }
    }
    number.found = true;
    const char* const digits = text.at;
    ptrdiff_t length = 0;
    uint32_t front = 0;
    for (; is_digit(digits[length]) && length != short_digits; ++length) {
        front = front * 10 + static_cast<uint32_t>(digits[length] - '0');
    }
    number.magnitude = front;
    for (; is_digit(digits[length]); ++length) {
        number.magnitude = number.magnitude * 10 + static_cast<uint32_t>(digits[length] - '0');
    }
    if (digits + length == text.end || length > safe_digits) {
        scan_with_care(text, number);
    } else {
        text.at = digits + length;
    }
    return number;
}

bool scan_integer(text_cursor& text, int32_t& out) {
    const scanned_number number = scan_number(text);
    if (!number.found) {
        return false;
    }
    constexpr unsigned long largest = std::numeric_limits<long>::max();
    const unsigned long long limit = number.negative ? largest + 1 : largest;
    const unsigned long long magnitude = number.overflow ? limit : std::min(number.magnitude, limit);
    out = static_cast<int32_t>(static_cast<uint32_t>(number.negative ? 0 - magnitude : magnitude));
    return true;
}

void skip_word(text_cursor& text) {
    for (int c = text.peek(); c != -1 && !is_space(c); c = text.peek()) {
        text.skip();
    }
}

} // namespace dashboard
