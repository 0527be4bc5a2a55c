// Requests for graphs, as they are written into the configuration store: by the page's program for whoever looks at the
// page, by the exporter for whoever scrapes.
#ifndef BESIDE_VIEW_REQUEST_H
#define BESIDE_VIEW_REQUEST_H

#include "beside/module_names.h"

#include <cstdint>

namespace dashboard {

/// Seconds for which the daemon keeps on publishing after it took a request.
constexpr int request_lasts = 60;

/// What is asked for.
struct graph_request {
    int32_t number[module_total]; // by module; 0: not asked for
    int32_t enable;               // the module to be switched on; -1: none
};

/// Writes the numbers, and then the module that is to be switched on. Ends with false at the first that the store does
/// not take.
bool write_request(int store, const graph_request& request);

/// Whether an item of the store is an integer and exactly 1.
bool reads_one(int store, uint32_t csid);

} // namespace dashboard

#endif
