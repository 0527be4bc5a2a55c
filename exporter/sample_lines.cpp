#include "exporter/sample_lines.h"

#include "beside/text_view.h"

namespace dashboard {

namespace {

/// Length of the UTF-8 sequence at the beginning of `text`; 0 when there is none that is well-formed.
size_t sequence_at(std::string_view text) {
    const auto lead = static_cast<unsigned char>(text[0]);
    const size_t length = lead < 0x80 ? 1 : lead < 0xc2 ? 0 : lead < 0xe0 ? 2 : lead < 0xf0 ? 3 : lead < 0xf5 ? 4 : 0;
    if (length > text.size()) {
        return 0;
    }
    for (size_t i = 1; i < length; ++i) {
        if ((static_cast<unsigned char>(text[i]) & 0xc0) != 0x80) {
            return 0;
        }
    }
    if (length < 3) {
        return length;
    }
    // Too long a form, half of a pair, or beyond the last code point.
    const auto second = static_cast<unsigned char>(text[1]);
    const bool wrong = (lead == 0xe0 && second < 0xa0) || (lead == 0xed && second > 0x9f) ||
                       (lead == 0xf0 && second < 0x90) || (lead == 0xf4 && second > 0x8f);
    return wrong ? 0 : length;
}

/// A backslash is shown so, too: then two names never become the same text.
void add_byte(text_buffer& out, char byte) {
    constexpr char digits[] = "0123456789abcdef";
    const auto value = static_cast<unsigned char>(byte);
    out.add("\\\\x");
    out.add(digits[value >> 4]);
    out.add(digits[value & 15]);
}

void add_escaped(text_buffer& out, std::string_view text) {
    while (!text.empty()) {
        const size_t length = sequence_at(text);
        const auto first = static_cast<unsigned char>(text[0]);
        if (length == 0 || first < 0x20 || first == 0x7f || first == '\\') {
            add_byte(out, text[0]);
        } else if (first == '"') {
            out.add("\\\"");
        } else {
            out.add(head_of(text, length));
        }
        text = behind(text, length == 0 ? 1 : length);
    }
}

} // namespace

void sample_lines::begin(metric_id id) {
    const metric_row& row = metric_table[static_cast<size_t>(id)];
    if (metric != &row) {
        metric = &row;
        add_head(out, row, format);
    }
    out.add(row.name);
    labelled = false;
}

void sample_lines::open_label(std::string_view name) {
    out.add(labelled ? ',' : '{');
    labelled = true;
    out.add(name);
    out.add("=\"");
}

void sample_lines::label(std::string_view name, std::string_view value) {
    open_label(name);
    out.add(value);
    out.add('"');
}

void sample_lines::label_number(std::string_view name, std::string_view before, uint64_t number) {
    open_label(name);
    out.add(before);
    out.add_number(number);
    out.add('"');
}

void sample_lines::label_foreign(std::string_view name, std::string_view value) {
    open_label(name);
    add_escaped(out, value);
    out.add('"');
}

void sample_lines::close_labels() {
    out.add(labelled ? "} " : " ");
}

void sample_lines::value(uint64_t number) {
    close_labels();
    out.add_number(number);
    out.add('\n');
}

void sample_lines::value_signed(int64_t number) {
    close_labels();
    out.add_signed(number);
    out.add('\n');
}

void sample_lines::value_decimal(uint64_t count, int digits) {
    close_labels();
    out.add_decimal(count, digits);
    out.add('\n');
}

void sample_lines::simple(metric_id id, uint64_t number) {
    begin(id);
    value(number);
}

} // namespace dashboard
