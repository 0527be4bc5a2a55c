#include "monitors/metric_export.h"

#include <cstdio>

namespace dashboard {

csv_names::csv_names(const document_names& bases)
    : document_names{bases.writer, temporary_path, published_path, link_path} {
    snprintf(temporary_path, sizeof temporary_path, "%s%s", bases.temporary, ".csv");
    snprintf(published_path, sizeof published_path, "%s%s", bases.published, ".csv");
    snprintf(link_path, sizeof link_path, "%s%s", bases.link, ".csv");
}

} // namespace dashboard
