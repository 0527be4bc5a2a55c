// /proc/meminfo, against fscanf.
#include "probes/dashboard_sysinfo.h"
#include "tests/fuzz/outside.h"

namespace dashboard::fuzz {
namespace {

int32_t expected_usage(int32_t mode) {
    FILE* const file = open_file("/proc/meminfo");
    unsigned long total = 0;
    unsigned long free = 0;
    const bool found = fscanf(file, "MemTotal:   %lu kB\n", &total) == 1 && total != 0 &&
                       fscanf(file, "MemFree:    %lu kB\n", &free) == 1 && free != 0;
    fclose(file);
    const uint32_t divisor = static_cast<uint32_t>(total);
    const long used = static_cast<long>(total - free);
    if (!found || divisor == 0 || used < 0) {
        return -1;
    }
    return static_cast<int32_t>(mode == 1 ? static_cast<uint32_t>(used) * 100u / divisor : static_cast<uint32_t>(used));
}

} // namespace
} // namespace dashboard::fuzz

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    using namespace dashboard;
    fuzz::set_file("/proc/meminfo", fuzz::text_of(data, size));
    fuzz::require(get_mem_usage(0) == fuzz::expected_usage(0), "used kilobytes");
    fuzz::require(get_mem_usage(1) == fuzz::expected_usage(1), "used percent");
    return 0;
}
