// The limit of the connection table and the line count of netstat, against fscanf. Input: "limit~lines".
#include "probes/dashboard_sysinfo.h"
#include "tests/fuzz/outside.h"

#include <algorithm>

namespace dashboard::fuzz {
namespace {

constexpr char limit_path[] = "/proc/sys/net/netfilter/nf_conntrack_max";

// The number at the beginning of a text; false when there is none.
bool scan(FILE* file, unsigned long& value) {
    const bool found = fscanf(file, "%lu", &value) == 1;
    fclose(file);
    return found;
}

uint32_t expected_usage() {
    unsigned long limit = 0;
    unsigned long lines = 0;
    if (!scan(open_file(limit_path), limit) || limit == 0 || !scan(open_tool_output("netstat"), lines)) {
        return 0;
    }
    const uint32_t divisor = static_cast<uint32_t>(limit);
    const uint32_t sessions = static_cast<uint32_t>(lines >= 2 ? lines - 2 : lines);
    return divisor != 0 ? std::min(100u, sessions * 100u / divisor) : 0;
}

} // namespace
} // namespace dashboard::fuzz

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    using namespace dashboard;
    const std::vector<std::string> parts = fuzz::parts_of(fuzz::text_of(data, size), 2);
    fuzz::set_file(fuzz::limit_path, parts[0]);
    fuzz::set_tool_output("netstat", parts[1]);
    fuzz::require(get_netsession_usage() == fuzz::expected_usage(), "the connection table's usage");
    return 0;
}
