// The callback set of a metric module: what the server thread knows of it.
#ifndef MONITORS_MONITOR_CB_H
#define MONITORS_MONITOR_CB_H

#include <cstdint>

namespace dashboard {

/// Twelve slots in a fixed order. The server thread calls init, check, term and loop and skips a slot that is empty;
/// the writers and the export are registered for outside callers, nothing in the daemon calls them here.
///
/// `handle` is the csman handle throughout. `viewer` points to the row's viewer request value: positive while the web
/// interface watches the module; a callback may read and write it, and treats an empty pointer as 0.
struct monitor_cb {
    /// Makes the module ready; the second argument is ignored. Returns 1 when it is.
    int (*init)(int handle, int unused) = nullptr;
    /// Looks at the module's configuration again, every tenth cycle, before the loop of the same cycle. 0: failed.
    int (*check)(int handle, int32_t* viewer, const monitor_cb* callbacks) = nullptr;
    /// Gives the module's store back. Returns 1 when it did.
    int (*term)(int handle, int unused) = nullptr;
    /// One cycle: sample, roll up, publish. 0: nothing could be sampled or a roll-up came out empty.
    int (*loop)(int handle, int32_t* viewer, const monitor_cb* callbacks) = nullptr;
    /// Write one snapshot. `index` picks one of several documents where a module has them and may be empty.
    int (*write_sec)(int handle, const int32_t* index) = nullptr;
    int (*write_min)(int handle, const int32_t* index) = nullptr;
    int (*write_hour)(int handle, const int32_t* index) = nullptr;
    void (*unused_7)() = nullptr;
    void (*unused_8)() = nullptr;
    /// Writes one series as CSV: `selector` 0 sec, 1 min, 2 hour. Returns 1 when written.
    int (*data_export)(int handle, const int32_t* selector) = nullptr;
    void (*unused_10)() = nullptr;
    void (*unused_11)() = nullptr;
};

static_assert(sizeof(monitor_cb) == 12 * sizeof(void (*)()), "a callback set is twelve slots");

} // namespace dashboard

#endif
