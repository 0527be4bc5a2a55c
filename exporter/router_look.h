// The router that this program runs on: what is known of it beside its documents.
#ifndef EXPORTER_ROUTER_LOOK_H
#define EXPORTER_ROUTER_LOOK_H

#include "exporter/exposition.h"

namespace dashboard {

/// Looks at clock, process, lock and configuration store. Returns the store's handle, which the caller closes; negative
/// when it cannot be opened.
int look_at_router(router_facts& facts);

/// Renews the viewer requests of the modules that run, and notes which were. `readings` say whose turn it is.
void renew_requests(int store, const router_readings& readings, router_facts& facts);

} // namespace dashboard

#endif
