// The samples that are made of documents, in the order of the table of metrics.
#ifndef EXPORTER_SAMPLE_GROUPS_H
#define EXPORTER_SAMPLE_GROUPS_H

#include "exporter/router_readings.h"
#include "exporter/sample_lines.h"

namespace dashboard {

/// How each document does.
void add_document_samples(sample_lines& lines, const router_readings& readings);
/// Counters, and which interfaces have any.
void add_traffic_samples(sample_lines& lines, const router_readings& readings);
/// CPU, memory, connections, SIM slots, ports.
void add_gauge_samples(sample_lines& lines, const router_readings& readings);

} // namespace dashboard

#endif
