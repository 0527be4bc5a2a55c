#include "exporter/number_text.h"

#include "beside/text_view.h"

namespace dashboard {

namespace {

constexpr size_t most_digits = 20;

bool is_digit(char letter) {
    return letter >= '0' && letter <= '9';
}

} // namespace

bool parse_unsigned(std::string_view text, uint64_t& number) {
    if (text.empty() || text.size() > most_digits || (text[0] == '0' && text.size() > 1)) {
        return false;
    }
    uint64_t value = 0;
    for (const char letter : text) {
        const auto digit = static_cast<uint64_t>(letter - '0');
        if (!is_digit(letter) || value > UINT64_MAX / 10 || value * 10 > UINT64_MAX - digit) {
            return false;
        }
        value = value * 10 + digit;
    }
    number = value;
    return true;
}

bool parse_signed(std::string_view text, int64_t least, int64_t most, int64_t& number) {
    const bool negative = !text.empty() && text[0] == '-';
    uint64_t size = 0;
    if (!parse_unsigned(negative ? behind(text, 1) : text, size) || size > INT64_MAX || (negative && size == 0)) {
        return false;
    }
    const int64_t value = negative ? -static_cast<int64_t>(size) : static_cast<int64_t>(size);
    number = value;
    return value >= least && value <= most;
}

bool matches_pattern(std::string_view text, std::string_view pattern, uint32_t first, uint32_t last, uint32_t& number) {
    const size_t mark = pattern.find('#');
    number = first;
    if (mark == std::string_view::npos) {
        return text == pattern;
    }
    const std::string_view before = head_of(pattern, mark);
    const std::string_view after = behind(pattern, mark + 1);
    uint64_t value = 0;
    if (text.size() <= before.size() + after.size() || !starts_with(text, before) || !stops_with(text, after) ||
        !parse_unsigned(head_of(behind(text, mark), text.size() - before.size() - after.size()), value)) {
        return false;
    }
    number = static_cast<uint32_t>(value);
    return value >= first && value <= last;
}

} // namespace dashboard
