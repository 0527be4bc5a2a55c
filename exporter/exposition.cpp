#include "exporter/exposition.h"

#include "exporter/sample_groups.h"

#include <ctime>

namespace dashboard {

const char* const refusal_words[refusal_total] = {"method", "path", "query", "origin", "address", "length"};

namespace {

constexpr int64_t nanoseconds = 1000000000;
constexpr int microsecond_digits = 6;

void add_flag(sample_lines& lines, metric_id id, bool truth) {
    lines.simple(id, truth ? 1 : 0);
}

void add_time(sample_lines& lines, metric_id id, int64_t seconds) {
    if (seconds >= 0) {
        lines.begin(id);
        lines.value_signed(seconds);
    }
}

void add_modules(sample_lines& lines, metric_id id, const bool (&flags)[module_total]) {
    for (size_t i = 0; i < module_total; ++i) {
        lines.begin(id);
        lines.label("module", module_table[i].items);
        lines.value(flags[i] ? 1 : 0);
    }
}

void add_facts(sample_lines& lines, const router_facts& facts) {
    add_flag(lines, metric_id::up, facts.daemon_runs);
    lines.begin(metric_id::exporter_info);
    lines.label_foreign("version", facts.version);
    lines.value(1);
    lines.begin(metric_id::time);
    lines.value_signed(facts.now);
    add_time(lines, metric_id::uptime, facts.uptime);
    add_time(lines, metric_id::daemon_uptime, facts.daemon_runs ? facts.daemon_uptime : -1);
    add_flag(lines, metric_id::store_readable, facts.store_readable);
    if (facts.store_readable) {
        add_flag(lines, metric_id::enabled, facts.enabled);
        add_modules(lines, metric_id::module_enabled, facts.module_enabled);
    }
    add_flag(lines, metric_id::view_renewal_enabled, facts.renewal);
    add_modules(lines, metric_id::view_renewed, facts.renewed);
    for (size_t i = 0; i < refusal_total && facts.refusals_known; ++i) {
        lines.begin(metric_id::requests_refused);
        lines.label("reason", refusal_words[i]);
        lines.value(facts.refused[i]);
    }
}

void add_duration(sample_lines& lines, int64_t started) {
    const int64_t passed = monotonic_now() - started;
    if (started > 0 && passed >= 0) {
        lines.begin(metric_id::scrape_duration);
        lines.value_decimal(static_cast<uint64_t>(passed / 1000), microsecond_digits);
    }
}

} // namespace

int64_t monotonic_now() {
    timespec now = {};
    clock_gettime(CLOCK_MONOTONIC, &now);
    return now.tv_sec * nanoseconds + now.tv_nsec;
}

void add_exposition(const router_facts& facts, const router_readings& readings, exposition_format format,
                    text_buffer& out) {
    sample_lines lines = {out, format};
    add_facts(lines, facts);
    add_document_samples(lines, readings);
    add_traffic_samples(lines, readings);
    add_gauge_samples(lines, readings);
    add_duration(lines, facts.started);
    if (format == exposition_format::openmetrics) {
        out.add("# EOF\n");
    }
}

void add_router(const router_facts& facts, const document_source& source, exposition_format format,
                router_readings& readings, text_buffer& out) {
    read_documents(source, facts.now, facts.bond_configured, readings);
    add_exposition(facts, readings, format, out);
}

} // namespace dashboard
