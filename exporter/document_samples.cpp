#include "exporter/sample_groups.h"

namespace dashboard {

namespace {

void begin_document(sample_lines& lines, metric_id id, size_t place) {
    lines.begin(id);
    lines.label("document", document_label(place).view());
}

} // namespace

void add_document_samples(sample_lines& lines, const router_readings& readings) {
    const auto& documents = readings.documents;
    const auto for_listed = [&documents](auto&& add) {
        for (size_t place = 0; place < document_total; ++place) {
            if (documents[place].listed) {
                add(place, documents[place]);
            }
        }
    };
    for_listed([&lines](size_t place, const document_reading& document) {
        begin_document(lines, metric_id::document_readable, place);
        lines.value(document.fault == document_fault::none ? 1 : 0);
    });
    for_listed([&lines](size_t place, const document_reading& document) {
        if (document.has_age) {
            begin_document(lines, metric_id::document_age, place);
            lines.value_signed(document.age);
        }
    });
    for_listed([&lines](size_t place, const document_reading& document) {
        begin_document(lines, metric_id::document_stale, place);
        lines.value(document.stale ? 1 : 0);
    });
    for_listed([&lines](size_t place, const document_reading& document) {
        begin_document(lines, metric_id::document_rejected, place);
        lines.value(document.rejected);
    });
}

} // namespace dashboard
