#include "viewer/cgi/viewer_request.h"

#include <charconv>
#include <system_error>

namespace dashboard {

constexpr viewer_module viewer_modules[viewer_module_count] = {
    {"cpu", 0x150783, 0x80150431, 1},     {"mem", 0x150784, 0x80150432, 1},  {"wan", 0x150785, 0x80150433, 1},
    {"bond", 0x150786, 0x80150434, 3},    {"lan", 0x150787, 0x80150435, 1},  {"wifi24", 0x150788, 0x80150436, 1},
    {"wifi5", 0x150789, 0x80150437, 1},   {"ap", 0x15078a, 0x80150438, 128}, {"allap", 0x15078b, 0x80150439, 1},
    {"current", 0x150782, 0x80150430, 1}, {"sim", 0x15078c, 0x8015043a, 1},
};

namespace {

constexpr std::string_view page_mark = "dashboard-viewer";

/// A header as a text; nothing where it is missing, which no check takes for a good one.
std::string_view text_of(const char* header) {
    return header != nullptr ? std::string_view(header) : std::string_view();
}

/// The first `count` bytes, and what follows them; `count` must not exceed the size. The library's own substr can
/// throw, which would bring 90 kB of its machinery along.
std::string_view head_of(std::string_view text, size_t count) {
    return {text.data(), count};
}
std::string_view behind(std::string_view text, size_t count) {
    return {text.data() + count, text.size() - count};
}

/// Browsers say where a request comes from: newer ones in a word, over connections that they trust; others with the
/// page's own address.
bool is_same_origin(const request_head& head) {
    if (head.fetch_site != nullptr) {
        return text_of(head.fetch_site) == "same-origin";
    }
    const std::string_view scheme = text_of(head.https) == "on" ? "https://" : "http://";
    const std::string_view origin = text_of(head.origin);
    const std::string_view host = text_of(head.host);
    return !host.empty() && origin.size() > scheme.size() && head_of(origin, scheme.size()) == scheme &&
           behind(origin, scheme.size()) == host;
}

/// Digits only, without a zero in front. False when it is no number or larger than `most`.
bool parse_number(std::string_view text, uint32_t most, uint32_t& value) {
    if (text.empty() || (text[0] == '0' && text.size() > 1)) {
        return false;
    }
    const auto result = std::from_chars(text.data(), text.data() + text.size(), value);
    return result.ec == std::errc() && result.ptr == text.data() + text.size() && value <= most;
}

/// -1 when there is no such module.
int32_t find_module(std::string_view name) {
    for (int32_t index = 0; index < viewer_module_count; ++index) {
        if (viewer_modules[index].name == name) {
            return index;
        }
    }
    return -1;
}

const refusal* take_enable(std::string_view name, graph_request& request) {
    const bool again = request.enable >= 0;
    request.enable = find_module(name);
    if (request.enable < 0) {
        return &refused_name;
    }
    return again ? &refused_duplicate : nullptr;
}

const refusal* take_number(std::string_view name, std::string_view text, graph_request& request) {
    const int32_t index = find_module(name);
    if (index < 0) {
        return &refused_name;
    }
    uint32_t number = 0;
    if (!parse_number(text, static_cast<uint32_t>(viewer_modules[index].largest), number) || number == 0) {
        return &refused_number;
    }
    if (request.number[index] != 0) {
        return &refused_duplicate;
    }
    request.number[index] = static_cast<int32_t>(number);
    return nullptr;
}

const refusal* take_pair(std::string_view pair, graph_request& request) {
    const size_t sign = pair.find('=');
    if (sign == std::string_view::npos) {
        return &refused_body;
    }
    const std::string_view name = head_of(pair, sign);
    const std::string_view value = behind(pair, sign + 1);
    return name == "enable" ? take_enable(value, request) : take_number(name, value, request);
}

} // namespace

const refusal* check_head(const request_head& head, size_t& length) {
    length = 0;
    if (text_of(head.method) != "POST") {
        return &refused_method;
    }
    if (!is_same_origin(head)) {
        return &refused_origin;
    }
    if (text_of(head.requested_with) != page_mark) {
        return &refused_header;
    }
    if (head.transfer_encoding != nullptr) {
        return &refused_no_length;
    }
    const std::string_view digits = text_of(head.length);
    uint32_t number = 0;
    if (digits.empty()) {
        return nullptr;
    }
    if (digits.find_first_not_of("0123456789") != std::string_view::npos) {
        return &refused_length;
    }
    if (!parse_number(digits, body_limit, number)) {
        return digits[0] == '0' ? &refused_length : &refused_too_long;
    }
    length = number;
    return nullptr;
}

const refusal* parse_body(std::string_view body, graph_request& request) {
    request = {};
    request.enable = -1;
    while (!body.empty()) {
        const size_t sign = body.find('&');
        const bool last = sign == std::string_view::npos;
        const refusal* refused = take_pair(last ? body : head_of(body, sign), request);
        if (refused != nullptr || last) {
            return refused;
        }
        body = behind(body, sign + 1);
        // Behind the sign another pair must follow.
        if (body.empty()) {
            return &refused_body;
        }
    }
    return nullptr;
}

} // namespace dashboard
