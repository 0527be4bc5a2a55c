// The callbacks of the modules whose life is the frame's: init, loop, term and the writers.
#ifndef MONITORS_METRIC_CALLBACKS_H
#define MONITORS_METRIC_CALLBACKS_H

#include "monitors/metric_store.h"
#include "monitors/monitor_cb.h"

namespace dashboard {

/// The callbacks that differ between modules by store, description and a few steps only. `store` is the module's store
/// pointer, `write_series(series, names)` writes one of its documents.
template <auto& store, const monitor_description& about, auto write_series>
struct store_callbacks {
    using sample_type = typename decltype(store->history)::sample_type;

    /// `set_up(handle)` does what the module does for itself, between the clearing of its store and its first
    /// documents.
    template <void (*set_up)(int handle)>
    static int init(int handle, int /*unused*/) {
        if (!make_store(store, about)) {
            return 0;
        }
        start_series(store->history);
        set_up(handle);
        write_sec(handle, nullptr);
        write_min(handle, nullptr);
        write_hour(handle, nullptr);
        mark_start(handle, about.start_marker);
        return 1;
    }

    /// `take_sample(sample, handle)` fills a zeroed sample, its time included, or returns false when there is nothing
    /// to be sampled.
    template <bool (*take_sample)(sample_type& sample, int handle)>
    static int loop(int handle, int32_t* viewer, const monitor_cb* /*callbacks*/) {
        sample_type sample{};
        if (store == nullptr || !take_sample(sample, handle)) {
            return 0;
        }
        return metric_feed(store->history, sample, viewer_request(viewer) > 0, about, write_series);
    }

    static int term(int /*handle*/, int /*unused*/) { return drop_store(store, about); }

    static int write_sec(int /*handle*/, const int32_t* /*index*/) {
        return store != nullptr ? write_series(store->history.sec, about.sec) : 0;
    }
    static int write_min(int /*handle*/, const int32_t* /*index*/) {
        return store != nullptr ? write_series(store->history.min, about.min) : 0;
    }
    static int write_hour(int /*handle*/, const int32_t* /*index*/) {
        return store != nullptr ? write_series(store->history.hour, about.hour) : 0;
    }

    /// The callback set of such a module.
    static constexpr monitor_cb table(decltype(monitor_cb::init) init_slot, decltype(monitor_cb::check) check_slot,
                                      decltype(monitor_cb::loop) loop_slot,
                                      decltype(monitor_cb::data_export) export_slot = nullptr) {
        monitor_cb set;
        set.init = init_slot;
        set.check = check_slot;
        set.term = term;
        set.loop = loop_slot;
        set.write_sec = write_sec;
        set.write_min = write_min;
        set.write_hour = write_hour;
        set.data_export = export_slot;
        return set;
    }
};

} // namespace dashboard

#endif
