// Numbers as the documents print them: plain decimals, without a plus sign and without leading zeros.
#ifndef EXPORTER_NUMBER_TEXT_H
#define EXPORTER_NUMBER_TEXT_H

#include <cstdint>
#include <string_view>

namespace dashboard {

/// 0 to 2^64 - 1. False when the text is nothing else than such a number.
bool parse_unsigned(std::string_view text, uint64_t& number);

/// A number with a sign, within bounds. "-0" is none: it stands for "not measured".
bool parse_signed(std::string_view text, int64_t least, int64_t most, int64_t& number);

/// Whether `text` is `pattern` with a number from `first` to `last` in the place of its '#'; without a '#' they must be
/// the same, and the number is `first`.
bool matches_pattern(std::string_view text, std::string_view pattern, uint32_t first, uint32_t last, uint32_t& number);

} // namespace dashboard

#endif
