// A document that a daemon once published, and what it would read on a simulated router at another moment: every line
// stays as it was recorded, with the number in it advanced.
#ifndef FLEET_SIMULATOR_RECORDED_DOCUMENT_H
#define FLEET_SIMULATOR_RECORDED_DOCUMENT_H

#include "fleet/simulator/simulated_router.h"

#include <cstdint>
#include <string>
#include <vector>

namespace dashboard {

/// What a number in a document is made of.
enum class number_source {
    /// As recorded.
    kept,
    /// Milliseconds of the router's own clock.
    time,
    /// A link's counter.
    bytes,
    /// Twice what a link sent: the band total at 5 GHz is counted so.
    band_bytes,
    /// Bytes per second of a link.
    rate,
    cpu,
    memory_kilobytes,
    /// "CPU|memory|connections" in percent.
    usage,
    rsrp,
    /// Another measure of a SIM slot: as recorded, or 0 while it is dead.
    sim_measure,
    /// 1 while a link is up, else 0.
    port
};

struct document_line {
    std::string before;
    std::string recorded;
    std::string after;
    number_source source;
    /// For bytes, rates and ports.
    std::string link;
    direction way;
    /// The SIM slot.
    int slot;
    /// Belongs to an interface of the current traffic, which lists only those that are up.
    bool of_device;
};

class recorded_document {
public:
    /// Takes a whole document apart. `name` is the file's name. Of a series only the newest sample is kept.
    recorded_document(std::string name, const std::string& text);

    const std::string& name() const { return file_name; }

    /// The moment of the newest sample at `t`: an earlier one while the document has nothing to show, since all of its
    /// links are down or no SIM is alive.
    int64_t sampled_at(const simulated_router& router, int64_t t) const;

    /// Replaces `text` by the document as the router published it at `t`. `router_epoch` is the wall clock's second in
    /// which the fleet started.
    void advance(const simulated_router& router, int64_t t, int64_t fleet_epoch, std::string& text) const;

private:
    std::string file_name;
    std::vector<document_line> head_lines;
    std::vector<document_line> sample_lines;
};

} // namespace dashboard

#endif
