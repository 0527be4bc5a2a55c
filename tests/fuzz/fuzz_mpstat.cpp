// What mpstat prints, through a whole measurement.
#include "core/dashboard_query.h"
#include "probes/dashboard_cpuinfo.h"
#include "probes/text_source.h"
#include "tests/fuzz/outside.h"

#include <cstdio>
#include <cstring>

namespace dashboard::fuzz {
namespace {

constexpr int32_t start = 1'700'000'000;

bool begins_with(const std::string& text, const char* prefix) {
    return text.compare(0, strlen(prefix), prefix) == 0;
}

int32_t* field_of(cpu_info& info, const std::string& name) {
    if (name == "all") {
        return &info.all;
    }
    return name.size() == 1 && name[0] >= '0' && name[0] <= '3' ? &info.cpu[name[0] - '0'] : nullptr;
}

// What the C library's scanf makes of an average line.
int32_t scanned(const char* line, cpu_line& out) {
    out = {};
    int32_t* p = out.percent;
    return sscanf(line,
                  "%*[^ ]%4s%d.%*[^ ]%d.%*[^ ]%d.%*[^ ]%d.%*[^ ]%d.%*[^ ]%d.%*[^ ]%d.%*[^ ]%d.%*[^ ]%d.%*[^ ]%d.%*[^ ]",
                  out.name, &p[0], &p[1], &p[2], &p[3], &p[4], &p[5], &p[6], &p[7], &p[8], &p[9]);
}

// Reads an average line, as scanf would.
bool read_average(const std::string& line, cpu_line& parsed) {
    cpu_line expected;
    const int32_t found = find_cpu_info(line.c_str(), &parsed);
    require(found == (scanned(line.c_str(), expected) == 11 ? 1 : 0), "a line is complete when scanf finds 11 fields");
    require(memcmp(&parsed, &expected, sizeof expected) == 0, "the fields are those that scanf finds");
    return found == 1;
}

// What a measurement with this output publishes; `valid` is 0 when it publishes nothing.
cpu_info expected_measurement(std::string_view text) {
    cpu_info info{0, -1, {-1, -1, -1, -1}};
    for (const std::string& line : lines_of(text, text_source::capacity)) {
        cpu_line parsed;
        if (!begins_with(line, "Average:") || begins_with(line, "Average:     CPU") || !read_average(line, parsed)) {
            continue;
        }
        require(strlen(parsed.name) >= 1 && strlen(parsed.name) <= 4, "a core's name has one to four letters");
        if (int32_t* field = field_of(info, parsed.name)) {
            *field = static_cast<int32_t>(100u - static_cast<uint32_t>(parsed.percent[9]));
            info.valid = 1;
        }
    }
    return info;
}

bool same(const cpu_info& a, const cpu_info& b) {
    return memcmp(&a, &b, sizeof a) == 0;
}

} // namespace
} // namespace dashboard::fuzz

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    using namespace dashboard;
    static cpu_info latest{}; // a measurement without a value leaves the last one
    const std::string_view text = fuzz::text_of(data, size);
    fuzz::set_tool_output("mpstat", text);
    fuzz::set_clock(fuzz::start);
    query_state state{fuzz::start - 4, fuzz::start - 1};
    query_step(state);
    fuzz::require(state.last == fuzz::start && state.next == fuzz::start + 3, "the measurement was made");

    const cpu_info expected = fuzz::expected_measurement(text);
    latest = expected.valid == 1 ? expected : latest;
    cpu_info published{};
    fuzz::require(query_cpu_info(&published) == latest.valid, "there is a measurement once there was a value");
    fuzz::require(fuzz::same(published, latest), "the newest measurement with a value is published");
    return 0;
}
