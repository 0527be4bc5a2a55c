// Words for people: ages, sizes, and text put together by printf's rules.
#ifndef CTL_CTL_TEXT_H
#define CTL_CTL_TEXT_H

#include <cstdint>
#include <string>
#include <vector>

namespace dashboard {

/// What printf would print.
std::string text_of(const char* format, ...) __attribute__((format(printf, 1, 2)));

/// A time span in the largest fitting unit, rounded down: "59 s", "2 min", "3 h", "4 d"; "0 s" for a negative one.
std::string age_text(int64_t seconds);

/// Bytes in the largest fitting unit: "0 B", "9.1 kB", "1.2 MB", "3.4 GB".
std::string size_text(int64_t bytes);

/// `text` as JSON writes it, with its quotes. Bytes above 127 are passed on.
std::string json_text(const std::string& text);

/// The whole content of a file, at most `limit` bytes of its end; false when it cannot be read.
bool read_file(const std::string& path, std::string& content, size_t limit = 4 << 20);

/// The names in a folder, sorted, without "." and ".."; none when it cannot be read.
std::vector<std::string> names_in(const std::string& folder);

bool begins_with(const std::string& text, const std::string& start);
bool ends_with(const std::string& text, const std::string& end);

/// A file's text cut into lines, without their newlines.
std::vector<std::string> lines_of(const std::string& text);

} // namespace dashboard

#endif
