// /proc/net/dev, against sscanf with the format of its lines.
#include "probes/dashboard_netdev.h"
#include "probes/text_source.h"
#include "tests/fuzz/outside.h"

#include <cstring>

namespace dashboard::fuzz {
namespace {

struct expected_entry {
    char name[24];
    unsigned long long counter[16];
};

bool scan(const std::string& line, expected_entry& e) {
    unsigned long long* c = e.counter;
    const int found = sscanf(line.c_str(), "%16s%llu%llu%llu%llu%llu%llu%llu%llu%llu%llu%llu%llu%llu%llu%llu%llu",
                             e.name, &c[0], &c[1], &c[2], &c[3], &c[4], &c[5], &c[6], &c[7], &c[8], &c[9], &c[10],
                             &c[11], &c[12], &c[13], &c[14], &c[15]);
    char* const colon = strchr(e.name, ':');
    if (found != 17 || colon == nullptr) {
        return false;
    }
    *colon = '\0';
    return true;
}

std::vector<expected_entry> expected_table(std::string_view text) {
    std::vector<expected_entry> table;
    const std::vector<std::string> lines = lines_of(text, text_source::capacity);
    for (size_t i = 2; i < lines.size() && table.size() < netdev_limit; ++i) {
        expected_entry entry{};
        if (scan(lines[i], entry)) {
            table.push_back(entry);
        }
    }
    return table;
}

void compare(int32_t i, const expected_entry& expected) {
    const netdev_entry* entry = nullptr;
    require(netdev_found(static_cast<uint32_t>(i), "*", &entry) == i, "the table has this entry");
    require(strcmp(entry->name, expected.name) == 0, "its name");
    unsigned long long counters[16];
    memcpy(counters, &entry->rx_bytes, sizeof counters);
    require(memcmp(counters, expected.counter, sizeof counters) == 0, "its sixteen counters");
}

} // namespace
} // namespace dashboard::fuzz

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    using namespace dashboard;
    const std::string_view text = fuzz::text_of(data, size);
    fuzz::set_file("/proc/net/dev", text);
    main_netdev_info();
    netdev_found_list();

    // An entry without a name is where a reader of the table stops.
    int32_t i = 0;
    for (const fuzz::expected_entry& expected : fuzz::expected_table(text)) {
        if (expected.name[0] == '\0') {
            break;
        }
        fuzz::compare(i++, expected);
    }
    const netdev_entry* entry = nullptr;
    fuzz::require(netdev_found(static_cast<uint32_t>(i), "*", &entry) == -1 && entry == nullptr, "and no more");
    return 0;
}
