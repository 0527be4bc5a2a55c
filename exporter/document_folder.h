// The folder of a router's documents, as a source of them.
#ifndef EXPORTER_DOCUMENT_FOLDER_H
#define EXPORTER_DOCUMENT_FOLDER_H

#include "exporter/router_readings.h"

namespace dashboard {

/// Where the daemon publishes.
constexpr char published_folder[] = "/tmp/dashboard";

struct document_folder {
    const char* path;
    int tries_left; // for documents that are being replaced; see below
};

/// A document is removed and then renamed into place: for a moment there is none. Each look-again takes a millisecond,
/// and a scrape has this many.
constexpr int tries_of_a_scrape = 4;

/// A source that reads a folder; it must live as long as the source.
document_source source_of(document_folder& folder);

/// Numbers in the names of a folder's files, as `pattern` has them: "APTraffic_#". Those from 0 to `count` - 1 that are
/// there are set in `found`.
void find_numbers(const char* path, const char* pattern, bool* found, size_t count);

} // namespace dashboard

#endif
