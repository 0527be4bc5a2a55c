#include "viewer/cgi/viewer_request.h"

namespace dashboard {

namespace {

constexpr std::string_view page_mark = "dashboard-viewer";

/// -1 when there is no such module.
int32_t find_module(std::string_view name) {
    for (size_t index = 0; index < module_total; ++index) {
        if (name == module_table[index].items) {
            return static_cast<int32_t>(index);
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
    if (!parse_number(text, static_cast<uint32_t>(module_table[index].largest), number) || number == 0) {
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
    if (header_text(head.method) != "POST") {
        return &refused_method;
    }
    if (!is_same_origin({head.fetch_site, head.origin, head.host, head.https})) {
        return &refused_origin;
    }
    if (header_text(head.requested_with) != page_mark) {
        return &refused_header;
    }
    if (head.transfer_encoding != nullptr) {
        return &refused_no_length;
    }
    const std::string_view digits = header_text(head.length);
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
