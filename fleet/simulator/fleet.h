// The simulated fleet: its routers, what they publish, and what a scrape of one of them answers.
#ifndef FLEET_SIMULATOR_FLEET_H
#define FLEET_SIMULATOR_FLEET_H

#include "exporter/metric_table.h"
#include "fleet/simulator/life.h"
#include "fleet/simulator/recorded_document.h"
#include "fleet/simulator/simulated_router.h"

#include <cstdint>
#include <string>
#include <vector>

namespace dashboard {

class fleet {
public:
    /// `epoch` is the wall clock's second in which the fleet starts.
    fleet(int routers, const happenings& life, std::vector<recorded_document> documents, int64_t epoch);

    const std::vector<simulated_router>& routers() const { return all_routers; }
    int64_t epoch() const { return first_second; }

    /// Appends the metrics that the router would answer at `t`, by the exporter's own code. To be called only while it
    /// answers.
    void append_metrics(const simulated_router& router, int64_t t, exposition_format format, std::string& text) const;

    /// Appends the bytes that really went over the links of a router since the fleet's start, as counters.
    void append_truth(const simulated_router& router, int64_t t, std::string& text) const;

private:
    std::vector<simulated_router> all_routers;
    std::vector<recorded_document> recorded;
    int64_t first_second;
};

/// Whether a model publishes a document.
bool publishes(router_model model, const std::string& document);

/// Reads every recorded document of a folder. Returns "" or what is wrong.
std::string read_documents(const std::string& folder, std::vector<recorded_document>& documents);

} // namespace dashboard

#endif
