#include "exporter/answer.h"

#include "exporter/document_folder.h"
#include "exporter/exposition.h"
#include "exporter/refusal_count.h"
#include "exporter/router_look.h"
#include "exporter/scrape_request.h"
#include "platform/csman.h"

#include <cstdlib>
#include <cstring>

namespace dashboard {

namespace {

/// Switches of the web server's own environment: a request cannot set such names.
bool is_switched_on(const char* name) {
    const char* const said = getenv(name);
    return said != nullptr && strcmp(said, "1") == 0;
}

scrape_head read_head() {
    return {getenv("REQUEST_METHOD"),
            getenv("PATH_INFO"),
            getenv("QUERY_STRING"),
            {getenv("HTTP_SEC_FETCH_SITE"), getenv("HTTP_ORIGIN"), getenv("HTTP_HOST"), getenv("HTTPS")},
            getenv("REMOTE_ADDR"),
            getenv("HTTP_ACCEPT"),
            getenv("HTTP_TRANSFER_ENCODING"),
            getenv("CONTENT_LENGTH")};
}

void add_headers(exposition_format format, text_buffer& out) {
    out.add("Status: 200 OK\r\nContent-Type: ");
    out.add(format == exposition_format::openmetrics ? "application/openmetrics-text; version=1.0.0"
                                                     : "text/plain; version=0.0.4");
    out.add("; charset=utf-8\r\nCache-Control: no-store\r\nX-Content-Type-Options: nosniff\r\n\r\n");
}

void add_refusal(const refusal& why, text_buffer& out) {
    out.add("Status: ");
    out.add_signed(why.status);
    out.add(' ');
    out.add(why.reason);
    out.add("\r\nContent-Type: text/plain\r\nCache-Control: no-store\r\nX-Content-Type-Options: nosniff\r\n");
    out.add(why.status == refused_scrape_method.status ? "Allow: GET\r\n\r\n" : "\r\n");
    out.add("refused: ");
    out.add(why.word);
    out.add('\n');
}

} // namespace

void add_router_here(exposition_format format, bool renew, bool served, text_buffer& out) {
    static router_readings readings;
    router_facts facts;
    document_folder folder = {published_folder, tries_of_a_scrape};
    const int store = look_at_router(facts);
    facts.refusals_known = served && read_refusals(facts.refused);
    read_documents(source_of(folder), facts.now, facts.bond_configured, readings);
    facts.renewal = renew;
    if (renew && store >= 0) {
        renew_requests(store, readings, facts);
    }
    if (store >= 0) {
        close_csman(store);
    }
    add_exposition(facts, readings, format, out);
}

void add_answer(text_buffer& out) {
    const scrape_head head = read_head();
    const refusal* const refused = check_scrape(head, is_switched_on("DASHBOARD_METRICS_ANYWHERE"));
    if (refused != nullptr) {
        count_refusal(refused->word);
        add_refusal(*refused, out);
        return;
    }
    const exposition_format format = format_for(head.accept);
    add_headers(format, out);
    add_router_here(format, is_switched_on("DASHBOARD_METRICS_RENEW"), true, out);
}

} // namespace dashboard
