#include "exporter/document_piece.h"

#include "beside/text_view.h"
#include "exporter/number_text.h"

#include <cstring>

namespace dashboard {

namespace {

constexpr std::string_view document_head = "<?xml version=\"1.0\" ?>\n<datalist>\n";
constexpr std::string_view document_tail = "</datalist>\n";
constexpr std::string_view time_start = "    <time>";
constexpr std::string_view time_end = "</time>";
constexpr std::string_view attribute_start = " name=\"";
constexpr int64_t milliseconds = 1000;

std::string_view end_of(const document_piece& piece) {
    return {piece.end, piece.end_length};
}

/// The line at the beginning of `lines`, without its newline.
std::string_view take_line(std::string_view& lines) {
    const size_t found = lines.find('\n');
    const size_t length = found == std::string_view::npos ? lines.size() : found;
    const std::string_view line = head_of(lines, length);
    lines = behind(lines, found == std::string_view::npos ? length : length + 1);
    return line;
}

/// Where the last line starts that begins as a time does; npos when there is none but at the very beginning, where a
/// document has its head.
size_t last_time_in(std::string_view text) {
    size_t end = text.size();
    while (const void* const found = end == 0 ? nullptr : memrchr(text.data(), '\n', end)) {
        end = static_cast<size_t>(static_cast<const char*>(found) - text.data());
        if (starts_with(behind(text, end + 1), time_start)) {
            return end + 1;
        }
    }
    return std::string_view::npos;
}

/// Milliseconds to 32 bits of seconds, as the daemon keeps them.
bool parse_time(std::string_view line, int32_t& time) {
    if (!stops_with(line, time_end)) {
        return false;
    }
    const std::string_view text =
        head_of(behind(line, time_start.size()), line.size() - time_start.size() - time_end.size());
    // Second 0 is printed as "0000".
    int64_t number = 0;
    if (text != "0000" && !parse_signed(text, INT32_MIN * milliseconds, INT32_MAX * milliseconds, number)) {
        return false;
    }
    time = static_cast<int32_t>(number / milliseconds);
    return number % milliseconds == 0;
}

} // namespace

document_fault check_piece(const document_piece& piece) {
    if (piece.size == 0) {
        return document_fault::empty;
    }
    if (!starts_with({piece.head, piece.head_length}, document_head)) {
        return document_fault::malformed;
    }
    const std::string_view end = end_of(piece);
    if (!stops_with(end, document_tail)) {
        return document_fault::cut;
    }
    // The rest of an older document may follow behind the end of a newer one. Elements are indented, so only lines that
    // are not are looked at.
    const size_t last = end.size() - document_tail.size();
    for (size_t at = end.find('\n'); at != std::string_view::npos && at + 1 < last; at = end.find('\n', at + 1)) {
        if (end[at + 1] == '<' && starts_with(behind(end, at + 1), document_tail)) {
            return document_fault::cut;
        }
    }
    return document_fault::none;
}

document_fault find_newest(const document_piece& piece, newest_sample& sample) {
    const std::string_view end = end_of(piece);
    const size_t start = last_time_in(end);
    sample = {};
    if (start == std::string_view::npos) {
        // A sample that is longer than any of the daemon's.
        return piece.end_length < piece.size ? document_fault::malformed : document_fault::none;
    }
    sample.lines = head_of(behind(end, start), end.size() - start - document_tail.size());
    const std::string_view line = take_line(sample.lines);
    sample.there = parse_time(line, sample.time);
    return sample.there ? document_fault::none : document_fault::malformed;
}

std::string_view lines_of_document(const document_piece& piece) {
    const std::string_view all = end_of(piece);
    return head_of(behind(all, document_head.size()), all.size() - document_head.size() - document_tail.size());
}

bool take_element(std::string_view& lines, document_element& element) {
    std::string_view line = take_line(lines);
    while (!line.empty() && line[0] == ' ') {
        line = behind(line, 1);
    }
    const size_t open_end = line.find('>');
    if (line.size() < 2 || line[0] != '<' || open_end == std::string_view::npos) {
        return false;
    }
    std::string_view name = head_of(behind(line, 1), open_end - 1);
    const size_t name_end = name.find(' ');
    element.attribute = {};
    if (name_end != std::string_view::npos) {
        const std::string_view rest = behind(name, name_end);
        if (!starts_with(rest, attribute_start) || !stops_with(rest, "\"") || rest.size() <= attribute_start.size()) {
            return false;
        }
        element.attribute = head_of(behind(rest, attribute_start.size()), rest.size() - attribute_start.size() - 1);
        name = head_of(name, name_end);
    }
    // "</", the name, ">": the text may hold anything, so they are looked for at the end of the line.
    const size_t close_size = name.size() + 3;
    std::string_view text = behind(line, open_end + 1);
    if (name.empty() || text.size() < close_size || !starts_with(behind(text, text.size() - close_size), "</") ||
        head_of(behind(text, text.size() - close_size + 2), name.size()) != name || !stops_with(text, ">")) {
        return false;
    }
    element.name = name;
    element.text = head_of(text, text.size() - close_size);
    return true;
}

} // namespace dashboard
