// Documents of any content under every name that the exporter reads: what it says about them stays well-formed.
#include "exporter/exposition.h"

#include "tests/fuzz/outside.h"

#include <cstring>
#include <set>

namespace dashboard::fuzz {
namespace {

constexpr int64_t now = 1'795'233'703;

// The same text under every name; nothing else of it is known to the reader.
struct one_text {
    std::string text;
};

void list_all(void*, document_list& there) {
    there.bond[1] = true;
    there.ap[0] = true;
    there.ap[127] = true;
}

document_fault read_text(void* context, const char*, size_t longest, document_piece& piece) {
    const std::string& text = static_cast<one_text*>(context)->text;
    piece.size = text.size();
    piece.written = now;
    piece.end_length = std::min(text.size(), longest);
    piece.head_length = std::min(text.size(), sizeof piece.head);
    memcpy(piece.head, text.data(), piece.head_length);
    memcpy(piece.end, text.data() + text.size() - piece.end_length, piece.end_length);
    return document_fault::none;
}

// `{name="value",...}` from `at` on; behind it stands the number. Values hold no bare quotation mark, backslash or
// newline.
bool skip_labels(const std::string& line, size_t& at) {
    while (at < line.size() && line[at] != '}') {
        ++at; // '{' or ','
        const size_t sign = line.find("=\"", at);
        if (sign == std::string::npos || line.find_first_not_of("abcdefghijklmnopqrstuvwxyz", at) != sign) {
            return false;
        }
        for (at = sign + 2; at < line.size() && line[at] != '"'; ++at) {
            const auto letter = static_cast<unsigned char>(line[at]);
            const bool escapes = letter == '\\';
            at += escapes ? 1 : 0;
            if (letter < 0x20 || at >= line.size() || (escapes && line[at] != '\\' && line[at] != '"')) {
                return false;
            }
        }
        ++at;
    }
    return at++ < line.size();
}

bool is_value(const std::string& text) {
    const size_t first = !text.empty() && text[0] == '-' ? 1 : 0;
    const size_t point = text.find('.', first);
    const std::string whole = text.substr(first, point == std::string::npos ? point : point - first);
    const std::string rest = point == std::string::npos ? "0" : text.substr(point + 1);
    constexpr char digits[] = "0123456789";
    return !whole.empty() && !rest.empty() && whole.find_first_not_of(digits) == std::string::npos &&
           rest.find_first_not_of(digits) == std::string::npos;
}

void check_sample(const std::string& line, const std::string& family, std::set<std::string>& samples) {
    size_t at = line.find_first_not_of("abcdefghijklmnopqrstuvwxyz_");
    require(at != std::string::npos && line.substr(0, at) == family, "a sample stands behind its TYPE");
    require(line[at] != '{' || skip_labels(line, at), "labels are well-formed");
    require(at < line.size() && line[at] == ' ' && is_value(line.substr(at + 1)), "a value is a number");
    require(samples.insert(line.substr(0, at)).second, "no sample comes twice");
}

void check_text(const std::string& text) {
    std::set<std::string> families;
    std::set<std::string> samples;
    std::string family;
    require(!text.empty() && text.back() == '\n', "the text ends with a line");
    for (size_t at = 0; at < text.size();) {
        const size_t end = text.find('\n', at);
        const std::string line = text.substr(at, end - at);
        if (line.compare(0, 7, "# TYPE ") == 0) {
            family = line.substr(7, line.find(' ', 7) - 7);
            require(families.insert(family).second, "no TYPE comes twice");
        } else if (line.compare(0, 7, "# HELP ") != 0) {
            check_sample(line, family, samples);
        }
        at = end + 1;
    }
    require(samples.size() <= 3038, "there are no more series than at the limits");
}

} // namespace
} // namespace dashboard::fuzz

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    using namespace dashboard;
    fuzz::one_text one = {std::string(fuzz::text_of(data, size))};
    static router_readings readings;
    router_facts facts = {};
    facts.version = "1";
    facts.now = fuzz::now;
    text_buffer out;
    add_router(facts, {fuzz::list_all, fuzz::read_text, &one}, exposition_format::prometheus, readings, out);
    fuzz::require(!out.failed, "there is memory");
    fuzz::check_text(std::string(out.view()));
    return 0;
}
