#include "exporter/scrape_request.h"

#include <arpa/inet.h>
#include <cstdint>
#include <cstring>

namespace dashboard {

namespace {

struct network {
    uint32_t address;
    uint32_t mask;
};

/// Loopback, the three private ranges, link-local.
constexpr network local_networks[] = {{0x7f000000, 0xff000000},
                                      {0x0a000000, 0xff000000},
                                      {0xac100000, 0xfff00000},
                                      {0xc0a80000, 0xffff0000},
                                      {0xa9fe0000, 0xffff0000}};

bool is_local_v4(uint32_t address) {
    for (const network& local : local_networks) {
        if ((address & local.mask) == local.address) {
            return true;
        }
    }
    return false;
}

uint32_t big_endian(const unsigned char* bytes) {
    return uint32_t{bytes[0]} << 24 | uint32_t{bytes[1]} << 16 | uint32_t{bytes[2]} << 8 | uint32_t{bytes[3]};
}

/// ::1, an IPv4 address in the form ::ffff:a.b.c.d, fe80::/10, fc00::/7.
bool is_local_v6(const unsigned char (&bytes)[16]) {
    static constexpr unsigned char loopback[16] = {0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 1};
    static constexpr unsigned char mapped[12] = {0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0xff, 0xff};
    if (memcmp(bytes, mapped, sizeof mapped) == 0) {
        return is_local_v4(big_endian(bytes + sizeof mapped));
    }
    return memcmp(bytes, loopback, sizeof loopback) == 0 || (bytes[0] == 0xfe && (bytes[1] & 0xc0) == 0x80) ||
           (bytes[0] & 0xfe) == 0xfc;
}

/// A client from which a browser was sent here by another site. Scrapers say nothing of that kind; a person who types
/// the address says "none".
bool is_foreign(const request_origin& from) {
    if (from.fetch_site == nullptr && from.origin == nullptr) {
        return false;
    }
    return header_text(from.fetch_site) != "none" && !is_same_origin(from);
}

bool has_body(const scrape_head& head) {
    const std::string_view length = header_text(head.length);
    return head.transfer_encoding != nullptr || !(length.empty() || length == "0");
}

} // namespace

bool is_local_address(std::string_view address) {
    // Some servers put brackets around it, and a link-local one may name its interface.
    if (!address.empty() && address[0] == '[') {
        address = behind(address, 1);
    }
    const size_t end = address.find_first_of("]%");
    char text[INET6_ADDRSTRLEN] = "";
    const size_t length = end == std::string_view::npos ? address.size() : end;
    if (length == 0 || length >= sizeof text) {
        return false;
    }
    memcpy(text, address.data(), length);
    unsigned char v4[4];
    unsigned char v6[16];
    if (inet_pton(AF_INET, text, v4) == 1) {
        return is_local_v4(big_endian(v4));
    }
    return inet_pton(AF_INET6, text, v6) == 1 && is_local_v6(v6);
}

const refusal* check_scrape(const scrape_head& head, bool from_anywhere) {
    if (header_text(head.method) != "GET") {
        return &refused_scrape_method;
    }
    if (!from_anywhere && !is_local_address(header_text(head.address))) {
        return &refused_scrape_address;
    }
    if (is_foreign(head.from)) {
        return &refused_scrape_origin;
    }
    if (!header_text(head.path).empty()) {
        return &refused_scrape_path;
    }
    if (!header_text(head.query).empty()) {
        return &refused_scrape_query;
    }
    return has_body(head) || header_text(head.accept).size() > accept_limit ? &refused_scrape_length : nullptr;
}

exposition_format format_for(const char* accept) {
    std::string_view rest = header_text(accept);
    while (!rest.empty()) {
        const size_t comma = rest.find(',');
        const std::string_view one = comma == std::string_view::npos ? rest : head_of(rest, comma);
        if (one.find("application/openmetrics-text") != std::string_view::npos &&
            one.find("version=1.0.0") != std::string_view::npos) {
            return exposition_format::openmetrics;
        }
        rest = comma == std::string_view::npos ? std::string_view() : behind(rest, comma + 1);
    }
    return exposition_format::prometheus;
}

} // namespace dashboard
