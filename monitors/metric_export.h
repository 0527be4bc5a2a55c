// The CSV exports of a metric's series.
#ifndef MONITORS_METRIC_EXPORT_H
#define MONITORS_METRIC_EXPORT_H

#include "monitors/metric_document.h"
#include "monitors/metric_series.h"
#include "monitors/metric_store.h"
#include "monitors/traffic_counters.h"

#include <cstdint>

namespace dashboard {

/// How many of a series' newest samples an export shows.
constexpr int32_t export_span = 72;

/// Samples without which a series is not exported.
struct fewest_samples {
    int32_t samples;
};

/// The exports of one module. The names' paths are bases, to which ".csv" is appended.
struct export_description {
    const char* source; // source name, for the command runner
    const char* header;
    fewest_samples fewest;
    document_names files[series_ids];
};

/// The names of one export: those of `bases` with ".csv" behind each path.
struct csv_names : document_names {
    explicit csv_names(const document_names& bases);
    csv_names(const csv_names&) = delete; // the names point into the structure
    csv_names& operator=(const csv_names&) = delete;

private:
    char temporary_path[256];
    char published_path[256];
    char link_path[256];
};

/// Exports the series of `store` that `selector` picks, 0 .. 2: the header, then for its newest samples, oldest first,
/// what `rows(document, k, sample, previous)` adds, `k` from 0; the first sample has itself before it. Returns 1 when
/// published, 0 without a store or selector, for any other one, when the temporary file cannot be opened or the series
/// holds too few samples.
template <class Store, class Rows>
int export_series(const Store* store, const int32_t* selector, const export_description& about, Rows rows) {
    if (store == nullptr || selector == nullptr || *selector < sec || *selector > hour) {
        return 0;
    }
    const auto& series = store->history.series[*selector];
    const csv_names names(about.files[*selector]);
    metric_document document;
    if (!open_document(document, names)) {
        return 0;
    }
    if (series_count(series) < about.fewest.samples) {
        return 0; // Deliberate: the temporary file stays, open and empty.
    }
    document_text(document, about.header);
    const int32_t first = first_shown(series, export_span);
    const auto* previous = series_get(first, series);
    for (int32_t k = 0; const auto* sample = series_get(first + k, series); ++k) {
        rows(document, k, *sample, *previous);
        previous = sample;
    }
    publish(document, names, about.source);
    return 1;
}

/// The row of one entity, numbered from 1: the bytes of interval `k`, wrapping where a counter fell. There is no row
/// for the first sample, with which the first interval begins.
template <int32_t entities>
void difference_row(metric_document& document, int32_t k, int32_t entity, const traffic_counters<entities>& sample,
                    const traffic_counters<entities>& previous) {
    if (k == 0) {
        return;
    }
    document_printf(document, "%d,%d,%llu,%llu,%llu\n", k, entity + 1, sample.tx[entity] - previous.tx[entity],
                    sample.rx[entity] - previous.rx[entity], sample.txrx[entity] - previous.txrx[entity]);
}

} // namespace dashboard

#endif
