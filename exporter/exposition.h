// One router's metrics as text. Everything that a scrape says is made here; nothing here touches the outside but the
// source of documents and, for the scrape's own duration, the monotonic clock. One process may serve any number of
// routers.
#ifndef EXPORTER_EXPOSITION_H
#define EXPORTER_EXPOSITION_H

#include "exporter/metric_table.h"
#include "exporter/router_readings.h"
#include "exporter/text_buffer.h"

#include <cstdint>

namespace dashboard {

/// Words of refusals, by their place in `router_facts::refused`.
constexpr size_t refusal_total = 6;
extern const char* const refusal_words[refusal_total];

/// What is known of a router beside its documents.
struct router_facts {
    const char* version;   // of the program
    int64_t now;           // the router's clock, seconds since 1970
    int64_t uptime;        // seconds; negative: not known
    bool daemon_runs;      // it holds its lock, or its process is there
    int64_t daemon_uptime; // seconds; negative: not known
    bool store_readable;   // without it, the next three are of no use
    bool enabled;          // dashboard.enable
    bool module_enabled[module_total];
    bool bond_configured[bond_total];
    bool renewal; // viewer requests are renewed
    bool renewed[module_total];
    bool refusals_known; // behind a web server, and where they can be counted
    uint64_t refused[refusal_total];
    int64_t started; // monotonic clock at the start of the scrape, nanoseconds; 0: its duration is left out
};

/// The monotonic clock, nanoseconds.
int64_t monotonic_now();

/// Adds the whole text of a scrape. `readings` come from read_documents with the same clock.
void add_exposition(const router_facts& facts, const router_readings& readings, exposition_format format,
                    text_buffer& out);

/// Both at once: reads the documents and adds the text. `readings` is room that may be used again.
void add_router(const router_facts& facts, const document_source& source, exposition_format format,
                router_readings& readings, text_buffer& out);

} // namespace dashboard

#endif
