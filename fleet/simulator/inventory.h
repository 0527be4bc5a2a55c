// Who is in the fleet, as Prometheus discovers it over HTTP.
#ifndef FLEET_SIMULATOR_INVENTORY_H
#define FLEET_SIMULATOR_INVENTORY_H

#include "fleet/simulator/fleet.h"

#include <string>

namespace dashboard {

/// The JSON of HTTP service discovery: a target group a router, all at `address`, told apart by their paths, with name,
/// site, model and firmware as labels that the scrape configuration relabels. Those that are silent at `t` are left
/// out.
std::string inventory(const fleet& routers, int64_t t, const std::string& address);

/// The path under which a router's metrics are served.
std::string metrics_path(const simulated_router& router);

} // namespace dashboard

#endif
