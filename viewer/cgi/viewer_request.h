// A request for graphs, as the page sends it: what is accepted, and the answer to everything else. Pure functions on
// what the web server hands over; nothing here touches the outside.
//
//     POST /cgi-bin/viewer
//     X-Requested-With: dashboard-viewer
//     Sec-Fetch-Site: same-origin             (or an Origin that is this server's)
//
//     wan=1&ap=3
#ifndef VIEWER_CGI_VIEWER_REQUEST_H
#define VIEWER_CGI_VIEWER_REQUEST_H

#include "beside/cgi_head.h"
#include "beside/view_request.h"

#include <cstddef>
#include <string_view>

namespace dashboard {

/// The longest body, in bytes; all names with their largest numbers fit.
constexpr size_t body_limit = 256;

/// What the web server says of a request, by the names of its environment; null where it says nothing.
struct request_head {
    const char* method;            // REQUEST_METHOD
    const char* requested_with;    // HTTP_X_REQUESTED_WITH
    const char* fetch_site;        // HTTP_SEC_FETCH_SITE
    const char* origin;            // HTTP_ORIGIN
    const char* host;              // HTTP_HOST
    const char* https;             // HTTPS: "on" where the request came through TLS
    const char* transfer_encoding; // HTTP_TRANSFER_ENCODING
    const char* length;            // CONTENT_LENGTH
};

constexpr refusal refused_method = {405, "Method Not Allowed", "method"};
constexpr refusal refused_origin = {403, "Forbidden", "origin"};
constexpr refusal refused_enable = {403, "Forbidden", "enable"};
constexpr refusal refused_header = {400, "Bad Request", "header"};
constexpr refusal refused_no_length = {411, "Length Required", "length"};
constexpr refusal refused_length = {400, "Bad Request", "length"};
constexpr refusal refused_too_long = {413, "Content Too Large", "length"};
constexpr refusal refused_body = {400, "Bad Request", "body"};
constexpr refusal refused_name = {400, "Bad Request", "name"};
constexpr refusal refused_number = {400, "Bad Request", "number"};
constexpr refusal refused_duplicate = {400, "Bad Request", "duplicate"};
constexpr refusal refused_store = {500, "Internal Server Error", "store"};

/// Looks at everything but the body. Null when it may be read, with `length` as its length in bytes; no length at all
/// is an empty body, since a server need not pass on a length of 0.
const refusal* check_head(const request_head& head, size_t& length);

/// Takes a whole body apart: "name=number" and at most one "enable=name", with '&' between them, each name once. Null
/// when it was understood; `request` is of no use otherwise. An empty body asks for nothing.
const refusal* parse_body(std::string_view body, graph_request& request);

} // namespace dashboard

#endif
