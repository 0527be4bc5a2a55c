// Lines of samples: each metric's head once, before its first sample.
#ifndef EXPORTER_SAMPLE_LINES_H
#define EXPORTER_SAMPLE_LINES_H

#include "exporter/metric_table.h"
#include "exporter/text_buffer.h"

#include <string_view>

namespace dashboard {

/// Writes samples into a buffer. All samples of a metric must come one after the other.
struct sample_lines {
    text_buffer& out;
    exposition_format format;
    const metric_row* metric = nullptr; // whose head was written last
    bool labelled = false;              // the line has a label already

    /// Begins a sample; its labels follow, then its value.
    void begin(metric_id id);
    /// The value of a label, which must need no escaping.
    void label(std::string_view name, std::string_view value);
    void label_number(std::string_view name, std::string_view before, uint64_t number);
    /// The value of a label that comes from outside: escaped; control bytes, backslashes and what is no UTF-8
    /// show as "\xNN".
    void label_foreign(std::string_view name, std::string_view value);
    void value(uint64_t number);
    void value_signed(int64_t number);
    void value_decimal(uint64_t count, int digits);

    void simple(metric_id id, uint64_t number);

private:
    void open_label(std::string_view name);
    void close_labels();
};

} // namespace dashboard

#endif
