#include "beside/cgi_head.h"

#include <charconv>
#include <system_error>

namespace dashboard {

std::string_view header_text(const char* header) {
    return header != nullptr ? std::string_view(header) : std::string_view();
}

bool is_same_origin(const request_origin& from) {
    if (from.fetch_site != nullptr) {
        return header_text(from.fetch_site) == "same-origin";
    }
    const std::string_view scheme = header_text(from.https) == "on" ? "https://" : "http://";
    const std::string_view origin = header_text(from.origin);
    const std::string_view host = header_text(from.host);
    return !host.empty() && origin.size() > scheme.size() && head_of(origin, scheme.size()) == scheme &&
           behind(origin, scheme.size()) == host;
}

bool parse_number(std::string_view text, uint32_t most, uint32_t& value) {
    if (text.empty() || (text[0] == '0' && text.size() > 1)) {
        return false;
    }
    const auto result = std::from_chars(text.data(), text.data() + text.size(), value);
    return result.ec == std::errc() && result.ptr == text.data() + text.size() && value <= most;
}

} // namespace dashboard
