// The monitors that live by the common frame, a row each: what a user sees of it - names, files, links, codes - and the
// model of what it publishes.
#ifndef TESTS_UNIT_FRAMED_MONITORS_H
#define TESTS_UNIT_FRAMED_MONITORS_H

#include "tests/models/router.h"
#include "tests/unit/monitor_fixture.h"

#include <memory>
#include <string>
#include <vector>

namespace dashboard::testing {

struct framed_monitor {
    const char* name;
    const monitor_cb* module;
    std::string source;
    std::string function;  // in the names of its functions: "cpu_usage" of cpu_usage_init
    std::string published; // file names, "%" for the series
    std::string temporary;
    std::string unlinked; // what term tries to unlink in both folders
    int32_t start_marker;
    int store_bytes; // the same on 32 and 64 bits: 64-bit numbers lie on multiples of 8 on both
    int span;
    int slots;
    bool has_check;
    begin_history begin;
    std::vector<std::string> reads_at_init; // calls of the configuration store before the start marker
    std::vector<std::string> says_at_init;
    std::vector<std::string> commands_at_init; // "function: command", before the links
    const char* other_warning = "open file(";  // how the sec and min writers begin their warning
};

// The rows; those of them that export their series as CSV.
const std::vector<framed_monitor>& framed_monitors();
std::vector<framed_monitor> exporting_monitors();

void PrintTo(const framed_monitor& one, std::ostream* out);
std::string name_of_monitor(const ::testing::TestParamInfo<framed_monitor>& info);

inline const std::vector<std::string> series_names = {"sec", "min", "hour"};

// A world in which the monitor has something to measure, and the model that follows it once it has begun.
class framed_monitor_fixture : public monitor_fixture, public ::testing::WithParamInterface<framed_monitor> {
protected:
    framed_monitor_fixture();

    const framed_monitor& row = GetParam();
    const monitor_cb& module = *row.module;
    std::unique_ptr<metric_history> model;
    std::vector<std::string> empty_roll_ups; // what was said of them

    // Makes the module ready, the model with it, and forgets what was said.
    void begin();
    // What the module reads, and no more, becomes that of moment `n`.
    void show_moment(uint64_t n);
    // A sample of the next moment at `second`. The loop and the model must agree on its result.
    void live_at(int64_t second, int32_t viewer = 0);
    int write(const std::string& series);

    // The paths of a series' document. All access points together keep an odd book of links: that of the minutes is
    // the one of the seconds, that of the hours leads to the temporary name.
    std::string published(const std::string& series) const;
    std::string temporary(const std::string& series) const;
    std::string link(const std::string& series) const;
    std::string link_target(const std::string& series) const;
    bool odd_links() const { return row.module == &allap_traffic_monitor; }
    // "function: command" of the runner that makes the link.
    std::string link_command(const std::string& series) const;
    // Commands of the runner since the last question, which must come from this module, as "function: command".
    std::vector<std::string> commands();

    std::string open_warning(const std::string& series, const std::string& error) const;

    void expect_empty(const std::vector<std::string>& series);
    // The document as the model has it: published by now, or after its writer has been asked.
    void expect_shown(const std::vector<std::string>& series);
    void expect_written();

    uint64_t moment = 0;
};

} // namespace dashboard::testing

#endif
