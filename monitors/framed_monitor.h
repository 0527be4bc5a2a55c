// The callback set of a module whose life is the frame's: a store, a description and a few steps of its own.
#ifndef MONITORS_FRAMED_MONITOR_H
#define MONITORS_FRAMED_MONITOR_H

#include "base/wall_clock.h"
#include "monitors/metric_store.h"
#include "monitors/monitor_cb.h"

#include <cstdint>

namespace dashboard {

/// The set-up of a module that has nothing to set up.
inline void no_set_up(int /*handle*/) {}

/// The callbacks that differ between modules by their parameters only; see `framed_monitor`.
template <auto& store, const monitor_description& about, auto set_up, auto take_sample, auto elements>
struct framed_callbacks {
    static int write(series_id id) {
        return write_snapshot(store->history.series[id], about, about.documents[id], elements);
    }

    template <series_id id>
    static int write_registered(int /*handle*/, const int32_t* /*index*/) {
        return store != nullptr ? write(id) : 0;
    }

    static int init(int handle, int /*unused*/) {
        if (!make_store(store, about)) {
            return 0;
        }
        start_series(store->history, wall_seconds());
        set_up(handle);
        write(sec);
        write(min);
        write(hour);
        mark_start(handle, about.marker);
        return 1;
    }

    static int loop(int handle, int32_t* viewer, const monitor_cb* /*callbacks*/) {
        typename decltype(store->history)::sample_type sample{};
        if (store == nullptr || !take_sample(sample, handle)) {
            return 0;
        }
        return metric_feed(store->history, sample, viewer_request(viewer) > 0, about, write);
    }

    static int term(int /*handle*/, int /*unused*/) { return drop_store(store, about); }
};

/// A module in one statement. `store` is its store pointer, and its own steps are
///
///   set_up(handle)                init, between the clearing of the store and the first documents
///   take_sample(sample, handle)   fills a zeroed sample, its time included; false when there is nothing to be sampled
///   elements(document, sample)    the lines of one sample
///
/// and, where the module has them, its check and data export.
template <auto& store, const monitor_description& about, auto set_up, auto take_sample, auto elements>
constexpr monitor_cb framed_monitor(decltype(monitor_cb::check) check = nullptr,
                                    decltype(monitor_cb::data_export) data_export = nullptr) {
    using callbacks = framed_callbacks<store, about, set_up, take_sample, elements>;
    monitor_cb set;
    set.init = callbacks::init;
    set.check = check;
    set.term = callbacks::term;
    set.loop = callbacks::loop;
    set.write_sec = callbacks::template write_registered<sec>;
    set.write_min = callbacks::template write_registered<min>;
    set.write_hour = callbacks::template write_registered<hour>;
    set.data_export = data_export;
    return set;
}

} // namespace dashboard

#endif
