// The history of a metric: its three series, how they are rolled up, the snapshots that show them.
//
// Everything here runs on the server thread.
#ifndef MONITORS_METRIC_STORE_H
#define MONITORS_METRIC_STORE_H

#include "base/dashboard_log.h"
#include "base/zeroed_memory.h"
#include "monitors/metric_document.h"
#include "monitors/metric_series.h"

#include <cstdint>
#include <cstring>
#include <unistd.h>

namespace dashboard {

/// Picks one of a metric's series, and what belongs to it.
enum series_id : int32_t { sec, min, hour, series_ids };

/// Three series of one metric, seconds feeding minutes feeding hours. A module's store begins with it, as `history`;
/// what else the module keeps follows.
template <class Sample, int32_t slots = 120>
struct metric_store {
    using sample_type = Sample;

    metric_series<Sample, slots> series[series_ids];
};

/// Newest samples that a snapshot shows.
struct xml_span {
    int32_t samples;
};

/// A module's own code in the start marker item.
struct start_marker {
    int32_t code;
};

/// What tells one module from another as far as the frame is concerned. The names are those that messages show.
struct monitor_description {
    const char* source; // source name, also for the command runner
    const char* init;   // name of the init step
    const char* loop;   // name of the loop step, for a minute or an hour without samples
    xml_span span;
    start_marker marker;
    document_names documents[series_ids];
    const char* link_pattern; // what term tries to unlink, literally
    const char* published_pattern;
};

/// What a viewer request pointer says; 0 when it is empty.
inline int32_t viewer_request(const int32_t* viewer) {
    return viewer != nullptr ? *viewer : 0;
}

// ---- init and term

/// Writes a module's own code into the start marker item unless it holds 99.
void mark_start(int handle, start_marker marker);

/// Allocates the store unless there is one and clears it. Returns false with a warning when there is no memory.
template <class Store>
bool make_store(Store*& store, const monitor_description& about) {
    if (store != nullptr) {
        memset(static_cast<void*>(store), 0, sizeof *store);
        return true;
    }
    store = static_cast<Store*>(allocate_zeroed(sizeof(Store)));
    if (store == nullptr) {
        _warn(about.init, __LINE__, "malloc fail,size(%d)", static_cast<int>(sizeof(Store)));
        return false;
    }
    return true;
}

/// The history begins at `now`: no roll-up is due before a minute, or an hour, has passed.
template <class Sample, int32_t slots>
void start_series(metric_store<Sample, slots>& store, int32_t now) {
    for (auto& series : store.series) {
        series.last_roll_up = now;
    }
}

/// Frees the store and tries to unlink what was published. Returns 1.
///
/// Deliberate: the patterns go to unlink as they stand, with their asterisk; nothing expands them, so the published
/// files outlive the module.
template <class Store>
int drop_store(Store*& store, const monitor_description& about) {
    free_block(store, sizeof(Store));
    store = nullptr;
    unlink(about.link_pattern);
    unlink(about.published_pattern);
    return 1;
}

// ---- snapshots

/// Position of the first sample to show when the newest `span` are shown.
template <class Sample, int32_t slots>
int32_t first_shown(const metric_series<Sample, slots>& series, int32_t span) {
    const int32_t count = series_count(series);
    return count < span ? 0 : count - span;
}

/// Adds the newest `span` samples, oldest first: a time line, then what `elements(document, sample)` adds.
template <class Sample, int32_t slots, class Elements>
void document_samples(metric_document& document, const metric_series<Sample, slots>& series, xml_span span,
                      Elements elements) {
    int32_t position = first_shown(series, span.samples);
    while (const Sample* sample = series_get(position++, series)) {
        document_printf(document, "    <time>%ld000</time>\n", static_cast<long>(sample->time));
        elements(document, *sample);
    }
}

/// Writes one series as an XML snapshot and links it for the web server. Returns 1, or 0 when the temporary file cannot
/// be opened.
template <class Sample, int32_t slots, class Elements>
int write_snapshot(const metric_series<Sample, slots>& series, const monitor_description& about,
                   const document_names& names, Elements elements) {
    metric_document document;
    if (!open_document(document, names)) {
        return 0;
    }
    begin_datalist(document);
    document_samples(document, series, about.span, elements);
    end_datalist(document);
    publish(document, names, about.source);
    return 1;
}

// ---- the loop

/// Whether a roll-up is due at `time`: more than `forward` - 1 seconds after the last one, or more than `back` before
/// it, the clock having been set back.
constexpr bool roll_up_due(int32_t time, int32_t last, uint32_t back, uint32_t forward) {
    return static_cast<uint32_t>(time) - static_cast<uint32_t>(last) + back >= back + forward;
}

constexpr bool minute_due(int32_t time, int32_t last) {
    return roll_up_due(time, last, 59, 60);
}
/// Deliberate: half as tolerant backwards as forwards.
constexpr bool hour_due(int32_t time, int32_t last) {
    return roll_up_due(time, last, 1799, 3600);
}

/// Averages what came into the finer series since the last roll-up, and notes the roll-up in the coarser series.
/// Returns false, the coarser series unchanged, when there was nothing.
template <class Sample, int32_t slots>
bool roll_up(Sample& average, const metric_series<Sample, slots>& finer, int32_t finer_end,
             metric_series<Sample, slots>& coarser) {
    series_average(average, finer_end, coarser.roll_up_index, finer);
    if (average.time == 0) {
        return false;
    }
    coarser.roll_up_index = finer_end;
    coarser.last_roll_up = average.time;
    return true;
}

/// Keeps a sample, rolls up as far as it is due and publishes through `write(id)`: seconds and minutes while `watched`,
/// hours always. `sample` is overwritten by the averages. Returns 0 with a message when a roll-up found nothing,
/// else 1.
template <class Sample, int32_t slots, class Write>
int metric_feed(metric_store<Sample, slots>& store, Sample& sample, bool watched, const monitor_description& about,
                Write write) {
    auto& [seconds, minutes, hours] = store.series;
    const int32_t sec_end = series_push(sample, seconds);
    if (watched) {
        write(sec);
    }
    if (!minute_due(sample.time, minutes.last_roll_up)) {
        return 1;
    }
    if (!roll_up(sample, seconds, sec_end, minutes)) {
        _msg(about.loop, __LINE__, "%s", about.source);
        return 0;
    }
    const int32_t min_end = series_push(sample, minutes);
    if (watched) {
        write(min);
    }
    if (!hour_due(sample.time, hours.last_roll_up)) {
        return 1;
    }
    if (!roll_up(sample, minutes, min_end, hours)) {
        _msg(about.loop, __LINE__, "%s", about.source);
        return 0;
    }
    series_push(sample, hours);
    write(hour);
    return 1;
}

} // namespace dashboard

#endif
