#include "monitors/metric_export.h"

#include <cstdio>

namespace dashboard {

export_paths::export_paths(const export_names& bases) : names{bases.exporter, temporary, published, link} {
    snprintf(temporary, sizeof temporary, "%s%s", bases.temporary, ".csv");
    snprintf(published, sizeof published, "%s%s", bases.published, ".csv");
    snprintf(link, sizeof link, "%s%s", bases.link, ".csv");
}

} // namespace dashboard
