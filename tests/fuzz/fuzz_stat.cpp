// /proc/stat: how many cores there are.
#include "probes/dashboard_sysinfo.h"
#include "probes/text_source.h"
#include "tests/fuzz/outside.h"

#include <algorithm>
#include <cstdlib>

namespace dashboard::fuzz {
namespace {

constexpr unsigned long most_cores = 4;

int32_t expected_cores(std::string_view text) {
    unsigned long cores = 0;
    for (const std::string& line : lines_of(text, text_source::capacity)) {
        if (line.size() > 3 && line.compare(0, 3, "cpu") == 0 && line[3] >= '0' && line[3] <= '9') {
            const unsigned long core = std::min(strtoul(line.c_str() + 3, nullptr, 10), most_cores);
            cores = std::max(cores, core + 1);
        }
    }
    return static_cast<int32_t>(std::min(cores, most_cores));
}

} // namespace
} // namespace dashboard::fuzz

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    using namespace dashboard;
    const std::string_view text = fuzz::text_of(data, size);
    fuzz::set_file("/proc/stat", text);
    fuzz::require(get_proc_cpu_nr() == fuzz::expected_cores(text), "the number of cores");
    return 0;
}
