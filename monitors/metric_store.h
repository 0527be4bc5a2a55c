// The frame of every time-series module: its store, the roll-up, the snapshots.
//
// Everything here runs on the server thread.
#ifndef MONITORS_METRIC_STORE_H
#define MONITORS_METRIC_STORE_H

#include "base/dashboard_log.h"
#include "base/wall_clock.h"
#include "base/zeroed_memory.h"
#include "monitors/metric_document.h"
#include "monitors/metric_series.h"

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <unistd.h>

namespace dashboard {

/// Three series of one metric, seconds feeding minutes feeding hours. A module's store begins with it, as `history`;
/// what else the module keeps follows.
template <class Sample, int32_t slots = 120>
struct metric_store {
    using sample_type = Sample;

    metric_series<Sample, slots> sec;
    metric_series<Sample, slots> min;
    metric_series<Sample, slots> hour;
};

/// What tells one module from another as far as the frame is concerned. The names are those that messages show.
struct monitor_description {
    const char* source; // source name, also for the command runner
    const char* init;   // name of the init step
    const char* loop;   // name of the loop step
    int32_t span;       // newest samples that a snapshot shows
    int32_t start_marker;
    document_names sec;
    document_names min;
    document_names hour;
    const char* link_pattern; // what term tries to unlink, literally
    const char* published_pattern;
};

/// The base names of one CSV export; ".csv" is appended to each path.
struct export_names {
    const char* exporter; // name of the function in messages
    const char* temporary;
    const char* published;
    const char* link;
};

/// What a viewer request pointer says; 0 when it is empty.
inline int32_t viewer_request(const int32_t* viewer) {
    return viewer != nullptr ? *viewer : 0;
}

// ---- init and term

/// Writes a module's own code into the start marker item unless it holds 99.
void mark_start(int handle, int32_t code);

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

/// The history begins now: no roll-up is due before a minute, or an hour, has passed.
template <class Sample, int32_t slots>
void start_series(metric_store<Sample, slots>& store) {
    const int32_t now = wall_seconds();
    store.sec.last_roll_up = now;
    store.min.last_roll_up = now;
    store.hour.last_roll_up = now;
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
void document_samples(metric_document& document, const metric_series<Sample, slots>& series, int32_t span,
                      Elements elements) {
    int32_t position = first_shown(series, span);
    while (const Sample* sample = series_get(position++, series)) {
        document_printf(document, "    <time>%ld000</time>\n", static_cast<long>(sample->time));
        elements(document, *sample);
    }
}

/// Writes one series as an XML snapshot under its published name, without a link. Returns 1, or 0 when the temporary
/// file cannot be opened.
template <class Sample, int32_t slots, class Elements>
int write_unlinked_snapshot(const metric_series<Sample, slots>& series, int32_t span, const document_names& names,
                            Elements elements) {
    metric_document document;
    if (!open_document(document, names)) {
        return 0;
    }
    begin_datalist(document);
    document_samples(document, series, span, elements);
    end_datalist(document);
    replace_published(document, names);
    return 1;
}

/// The same, linked for the web server.
template <class Sample, int32_t slots, class Elements>
int write_snapshot(const metric_series<Sample, slots>& series, const monitor_description& about,
                   const document_names& names, Elements elements) {
    if (write_unlinked_snapshot(series, about.span, names, elements) == 0) {
        return 0;
    }
    link_published(about.source, names.writer, names.published, names.link);
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
/// Returns false with a message, the coarser series unchanged, when there was nothing.
template <class Sample, int32_t slots>
bool roll_up(Sample& average, const metric_series<Sample, slots>& finer, int32_t finer_end,
             metric_series<Sample, slots>& coarser, const monitor_description& about) {
    series_average(average, finer_end, coarser.roll_up_index, finer);
    if (average.time == 0) {
        _msg(about.loop, __LINE__, "%s", about.source);
        return false;
    }
    coarser.roll_up_index = finer_end;
    coarser.last_roll_up = average.time;
    return true;
}

/// Keeps a sample, rolls up as far as it is due and publishes through `write(series, names)`: seconds and minutes while
/// `watched`, hours always. `sample` is overwritten by the averages. Returns 0 when a roll-up found nothing, else 1.
template <class Sample, int32_t slots, class Write>
int metric_feed(metric_store<Sample, slots>& store, Sample& sample, bool watched, const monitor_description& about,
                Write write) {
    const int32_t sec_end = series_push(sample, store.sec);
    if (watched) {
        write(store.sec, about.sec);
    }
    if (!minute_due(sample.time, store.min.last_roll_up)) {
        return 1;
    }
    if (!roll_up(sample, store.sec, sec_end, store.min, about)) {
        return 0;
    }
    const int32_t min_end = series_push(sample, store.min);
    if (watched) {
        write(store.min, about.min);
    }
    if (!hour_due(sample.time, store.hour.last_roll_up)) {
        return 1;
    }
    if (!roll_up(sample, store.min, min_end, store.hour, about)) {
        return 0;
    }
    series_push(sample, store.hour);
    write(store.hour, about.hour);
    return 1;
}

} // namespace dashboard

#endif
