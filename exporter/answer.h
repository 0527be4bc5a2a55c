// What this router says to one scrape.
#ifndef EXPORTER_ANSWER_H
#define EXPORTER_ANSWER_H

#include "exporter/metric_table.h"
#include "exporter/text_buffer.h"

namespace dashboard {

/// Reads everything of this router and adds its metrics; with `renew`, asks the daemon to publish for the next scrape.
/// Refusals are known behind a web server alone.
void add_router_here(exposition_format format, bool renew, bool served, text_buffer& out);

/// Answers the request that the web server describes in the environment, headers and all. A refusal is counted.
void add_answer(text_buffer& out);

} // namespace dashboard

#endif
