// Parts of texts. The library's own substr can throw, which would bring 90 kB of its machinery along.
#ifndef BESIDE_TEXT_VIEW_H
#define BESIDE_TEXT_VIEW_H

#include <cstddef>
#include <string_view>

namespace dashboard {

/// The first `count` bytes; `count` must not exceed the size.
constexpr std::string_view head_of(std::string_view text, size_t count) {
    return {text.data(), count};
}

/// What follows the first `count` bytes; the same holds.
constexpr std::string_view behind(std::string_view text, size_t count) {
    return {text.data() + count, text.size() - count};
}

constexpr bool starts_with(std::string_view text, std::string_view start) {
    return text.size() >= start.size() && head_of(text, start.size()) == start;
}

constexpr bool stops_with(std::string_view text, std::string_view end) {
    return text.size() >= end.size() && behind(text, text.size() - end.size()) == end;
}

} // namespace dashboard

#endif
