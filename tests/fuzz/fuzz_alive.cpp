// The names that ifconfig shows, one a line.
#include "probes/dashboard_netdev.h"
#include "probes/text_source.h"
#include "tests/fuzz/outside.h"

#include <algorithm>

namespace dashboard::fuzz {
namespace {

constexpr size_t longest_name = 15;

std::vector<std::string> expected_names(std::string_view text) {
    std::vector<std::string> names;
    for (const std::string& line : lines_of(text, text_source::capacity)) {
        if (line.find(':') == std::string::npos && names.size() < netdev_limit) {
            names.push_back(line.substr(0, longest_name));
        }
    }
    // A line without a name is where a reader of the list stops.
    names.erase(std::find(names.begin(), names.end(), std::string()), names.end());
    return names;
}

bool is_expected(const std::vector<std::string>& names, const std::string& name) {
    return name != "lo" && std::find(names.begin(), names.end(), name) != names.end();
}

} // namespace
} // namespace dashboard::fuzz

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    using namespace dashboard;
    const std::string_view text = fuzz::text_of(data, size);
    fuzz::set_tool_output("ifconfig", text);
    main_netdev_alive();
    netdev_alive_list();

    const std::vector<std::string> names = fuzz::expected_names(text);
    for (const std::string& line : fuzz::lines_of(text, text_source::capacity)) {
        for (const size_t length : {line.size(), fuzz::longest_name, fuzz::longest_name + 1, size_t{0}}) {
            const std::string name = line.substr(0, length);
            const int32_t expected = fuzz::is_expected(names, name) ? 1 : 0;
            fuzz::require(netdev_alive(name.c_str()) == expected, "alive are the listed names and no others");
        }
    }
    return 0;
}
