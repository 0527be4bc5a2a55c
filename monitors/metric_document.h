// A published file: written whole under a temporary name, moved onto its final name, linked once for the web server.
#ifndef MONITORS_METRIC_DOCUMENT_H
#define MONITORS_METRIC_DOCUMENT_H

#include "base/dashboard_log.h"

#include <cstddef>
#include <cstdint>

namespace dashboard {

/// Reports that a temporary file could not be opened, in the words of the writer's module.
using open_failure_report = void (*)(const char* writer, const char* path, const char* error);

/// The names of one published file.
struct document_names {
    const char* writer;                   // name of the function in messages
    const char* temporary;                // what is being written
    const char* published;                // what it is moved onto
    const char* link;                     // where the web server finds it
    const char* link_target = nullptr;    // where the link leads, if not to the published file
    open_failure_report report = nullptr; // if the words are not "open file(%s) error(%s)!", as nearly everywhere
};

/// The names of one of several like files: those of `patterns` with the number `index` in the place of their "%d".
struct indexed_names : document_names {
    indexed_names(const document_names& patterns, int32_t index);
    indexed_names(const indexed_names&) = delete; // the names point into the structure
    indexed_names& operator=(const indexed_names&) = delete;

private:
    char temporary_path[64];
    char published_path[64];
    char link_path[64];
};

/// A document being written. Text is gathered and handed to the kernel in large pieces; the results of those writes
/// are not examined.
struct metric_document {
    int fd = -1;
    size_t used = 0;
    char buffer[4096]; // left as it comes
    metric_document() {}
};

/// Opens the temporary file, created with mode 0644 less the umask and not truncated. Returns false with a warning
/// when it cannot be opened, or is not a regular file: a link, a folder, a pipe whether or not somebody reads it, a
/// socket, a device.
bool open_document(metric_document& document, const document_names& names);

/// Adds a fixed text shorter than `longest_text`.
void document_text(metric_document& document, const char* text);

/// Adds a formatted text. One of 384 characters or more is left out, never cut; the format itself is shorter. Of
/// printf's conversions the documents have %d %u %ld %llu %s and %.64s; a text with any other is left out too.
void document_printf(metric_document& document, const char* format, ...) __attribute__((format(printf, 2, 3)));

/// The two lines that begin every XML snapshot, and the one that ends it.
void begin_datalist(metric_document& document);
void end_datalist(metric_document& document);

/// Writes out what is left, closes, removes the published file, moves the new one onto its name and links it unless
/// something is there; a link whose target is missing counts as nothing. `source` names the caller, beside the writer,
/// for the command runner's log.
void publish(metric_document& document, const document_names& names, const char* source);

} // namespace dashboard

#endif
