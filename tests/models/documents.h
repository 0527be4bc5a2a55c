// The frame of every snapshot, and the lines in it.
#ifndef TESTS_MODELS_DOCUMENTS_H
#define TESTS_MODELS_DOCUMENTS_H

#include <cstdint>
#include <string>

namespace dashboard::testing {

// A document around these lines.
inline std::string datalist(const std::string& lines) {
    return "<?xml version=\"1.0\" ?>\n<datalist>\n" + lines + "</datalist>\n";
}

inline std::string time_line(int64_t seconds) {
    return "    <time>" + std::to_string(seconds) + "000</time>\n";
}

inline std::string element(const std::string& tag, const std::string& text) {
    return "    <" + tag + ">" + text + "</" + tag + ">\n";
}

template <class Number>
std::string element(const std::string& tag, Number value) {
    return element(tag, std::to_string(value));
}

// The document of these samples, each with its time and what `lines(sample)` says of it.
template <class Samples, class Lines>
std::string document_of(const Samples& samples, Lines lines) {
    std::string text;
    for (const auto& sample : samples) {
        text += time_line(sample.time) + lines(sample);
    }
    return datalist(text);
}

} // namespace dashboard::testing

#endif
