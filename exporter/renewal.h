// Viewer requests that a scrape renews, so that documents stay published for the next one.
//
// The daemon watches one bond and one access point at a time, so they take turns. Nothing is remembered between
// scrapes: whose turn it is follows from the documents themselves. The document that was written last is the one that
// was asked for last, and the next number is the next one in turn; several scrapers that come within seconds of each
// other ask for the same one. A number whose document never comes must not hold up the rest: when no document was
// written for `turn_patience`, somebody is drawn by the clock.
#ifndef EXPORTER_RENEWAL_H
#define EXPORTER_RENEWAL_H

#include "exporter/router_readings.h"

#include <cstdint>

namespace dashboard {

/// Seconds: longer than the daemon takes to take a request (6) and to publish (1), shorter than a scrape interval.
constexpr int64_t turn_patience = 40;

/// Whose turn it is among `count` numbers, of which those with `candidate` can be asked for; `documents` are theirs.
/// -1: there is no candidate.
int next_turn(const bool* candidate, const document_reading* documents, int count, int64_t now);

} // namespace dashboard

#endif
