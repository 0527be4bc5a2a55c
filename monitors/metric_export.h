// The CSV exports of a metric's series.
#ifndef MONITORS_METRIC_EXPORT_H
#define MONITORS_METRIC_EXPORT_H

#include "monitors/metric_store.h"
#include "monitors/traffic_counters.h"

namespace dashboard {

/// How many of a series' newest samples an export shows.
constexpr int32_t export_span = 72;

/// The three paths of one export, ".csv" appended to its base names.
struct export_paths {
    char temporary[256];
    char published[256];
    char link[256];
    document_names names;

    explicit export_paths(const export_names& bases);
    export_paths(const export_paths&) = delete; // the names point into the structure
    export_paths& operator=(const export_paths&) = delete;
};

/// Exports one series of byte counters: a header, then for every sample after the first exported one what
/// `rows(document, count, sample, previous)` adds, `count` from 1. Returns 1 when published, 0 when the temporary file
/// cannot be opened or the series holds fewer than two samples.
template <class Sample, int32_t slots, class Rows>
int export_differences(const metric_series<Sample, slots>& series, const char* source, const export_names& bases,
                       Rows rows) {
    const export_paths paths(bases);
    metric_document document;
    if (!open_document(document, paths.names)) {
        return 0;
    }
    if (series_count(series) < 2) {
        return 0; // Deliberate: the temporary file stays, open and empty.
    }
    document_text(document, "count,index,tx,rx,txrx\n");
    int32_t position = first_shown(series, export_span);
    const Sample* previous = series_get(position++, series);
    int32_t count = 1;
    while (const Sample* sample = series_get(position++, series)) {
        rows(document, count++, *sample, *previous);
        previous = sample;
    }
    replace_published(document, paths.names);
    link_published(source, bases.exporter, paths.published, paths.link);
    return 1;
}

/// The row of one entity, numbered from 1: the bytes of one interval, wrapping where a counter fell.
template <int32_t entities>
void difference_row(metric_document& document, int32_t count, int32_t entity, const traffic_counters<entities>& sample,
                    const traffic_counters<entities>& previous) {
    document_printf(document, "%d,%d,%llu,%llu,%llu\n", count, entity + 1, sample.tx[entity] - previous.tx[entity],
                    sample.rx[entity] - previous.rx[entity], sample.txrx[entity] - previous.txrx[entity]);
}

/// Picks the series and the names for a `selector` of 0 (sec), 1 (min) or 2 (hour) and exports through
/// `export_series(series, names)`. Returns 0 without a store or a selector, or for any other one. A
/// store keeps its three series as `history`.
template <class Store, class Export>
int select_export(const Store* store, const int32_t* selector, const export_names (&names)[3], Export export_series) {
    if (store == nullptr || selector == nullptr) {
        return 0;
    }
    switch (*selector) {
    case 0:
        return export_series(store->history.sec, names[0]);
    case 1:
        return export_series(store->history.min, names[1]);
    case 2:
        return export_series(store->history.hour, names[2]);
    default:
        return 0;
    }
}

/// The data export of a module of byte counters, each sample's `rows` as export_differences has them.
template <class Store, class Rows>
int export_history(const Store* store, const int32_t* selector, const export_names (&names)[3], const char* source,
                   Rows rows) {
    return select_export(store, selector, names, [source, rows](const auto& series, const export_names& bases) {
        return export_differences(series, source, bases, rows);
    });
}

} // namespace dashboard

#endif
