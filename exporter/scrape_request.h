// A scrape as the web server hands it over: what is accepted, and the answer to everything else. Pure functions.
#ifndef EXPORTER_SCRAPE_REQUEST_H
#define EXPORTER_SCRAPE_REQUEST_H

#include "beside/cgi_head.h"
#include "exporter/metric_table.h"

namespace dashboard {

/// What the web server says of a request, by the names of its environment; null where it says nothing.
struct scrape_head {
    const char* method;            // REQUEST_METHOD
    const char* path;              // PATH_INFO
    const char* query;             // QUERY_STRING
    request_origin from;           // as a browser says it
    const char* address;           // REMOTE_ADDR
    const char* accept;            // HTTP_ACCEPT
    const char* transfer_encoding; // HTTP_TRANSFER_ENCODING
    const char* length;            // CONTENT_LENGTH
};

/// The longest Accept header, in bytes; Prometheus sends some 200.
constexpr size_t accept_limit = 1024;

constexpr refusal refused_scrape_method = {405, "Method Not Allowed", "method"};
constexpr refusal refused_scrape_path = {404, "Not Found", "path"};
constexpr refusal refused_scrape_query = {400, "Bad Request", "query"};
constexpr refusal refused_scrape_origin = {403, "Forbidden", "origin"};
constexpr refusal refused_scrape_address = {403, "Forbidden", "address"};
constexpr refusal refused_scrape_length = {413, "Content Too Large", "length"};

/// Whether an address is this machine's or one of a local network: loopback, private, link-local.
bool is_local_address(std::string_view address);

/// Null when a scrape may be answered. `from_anywhere` lifts the rule on addresses.
const refusal* check_scrape(const scrape_head& head, bool from_anywhere);

/// The format that a scraper's Accept header asks for: OpenMetrics where it names version 1.0.0 of it.
exposition_format format_for(const char* accept);

} // namespace dashboard

#endif
