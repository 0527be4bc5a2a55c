// Names of documents and interfaces, put together without the C library's formatter: a scrape makes a thousand of them.
#ifndef EXPORTER_SHORT_TEXT_H
#define EXPORTER_SHORT_TEXT_H

#include <cstddef>
#include <cstdint>
#include <string_view>

namespace dashboard {

/// A terminated text of at most 39 characters; what does not fit is dropped.
class short_text {
public:
    short_text& operator<<(std::string_view more) {
        for (const char letter : more) {
            add(letter);
        }
        return *this;
    }
    short_text& operator<<(uint32_t number) {
        char digits[10];
        size_t first = sizeof digits;
        do {
            digits[--first] = static_cast<char>('0' + number % 10);
            number /= 10;
        } while (number != 0);
        return *this << std::string_view(digits + first, sizeof digits - first);
    }
    const char* text() const { return letters; }
    std::string_view view() const { return {letters, length}; }

private:
    void add(char letter) {
        if (length + 1 < sizeof letters) {
            letters[length++] = letter;
            letters[length] = '\0';
        }
    }

    char letters[40] = "";
    size_t length = 0;
};

} // namespace dashboard

#endif
