// What the programs behind the web server share in looking at a request (CGI/1.1).
#ifndef BESIDE_CGI_HEAD_H
#define BESIDE_CGI_HEAD_H

#include "beside/text_view.h"

#include <cstdint>
#include <string_view>

namespace dashboard {

/// Why a request is refused: the status, its reason phrase, and one word for the client.
struct refusal {
    int status;
    const char* reason;
    const char* word;
};

/// A header as a text; nothing where it is missing, which no check takes for a good one.
std::string_view header_text(const char* header);

/// Where a request says that it comes from; null where it does not say.
struct request_origin {
    const char* fetch_site; // HTTP_SEC_FETCH_SITE
    const char* origin;     // HTTP_ORIGIN
    const char* host;       // HTTP_HOST
    const char* https;      // HTTPS: "on" where the request came through TLS
};

/// Whether a browser says that the request comes from this server's own page. Newer ones say so in a word, over
/// connections that they trust; others with the page's own address.
bool is_same_origin(const request_origin& from);

/// Digits only, without a zero in front. False when it is no number or larger than `most`.
bool parse_number(std::string_view text, uint32_t most, uint32_t& value);

} // namespace dashboard

#endif
