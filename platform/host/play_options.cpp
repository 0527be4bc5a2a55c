#include "platform/host/play_options.h"

#include "platform/host/csmanctl_text.h"

#include <climits>

namespace dashboard {

namespace {

constexpr unsigned long long longest_period = 86400;
constexpr size_t longest_interface = 15;

bool parse_count(const std::string& text, unsigned long long least, unsigned long long most, int& value) {
    unsigned long long number = 0;
    if (!parse_unsigned(text, most, number) || number < least) {
        return false;
    }
    value = static_cast<int>(number);
    return true;
}

/// The name becomes a part of a path.
bool is_interface_name(const std::string& name) {
    return !name.empty() && name.size() <= longest_interface && name != "." && name != ".." &&
           name.find('/') == std::string::npos;
}

enum class taken { good, bad_value, unknown };

taken verdict(bool good) {
    return good ? taken::good : taken::bad_value;
}

taken take_option(play_options& options, const std::string& name, const std::string& value) {
    play_plan& plan = options.plan;
    if (name == "--access-points") {
        return verdict(parse_count(value, 0, access_point_limit, plan.access_points));
    }
    if (name == "--sims") {
        return verdict(parse_count(value, 0, sim_slot_limit, plan.sim_slots));
    }
    if (name == "--away") {
        return verdict(parse_count(value, 3, longest_period, plan.away_period));
    }
    if (name == "--restart") {
        return verdict(parse_count(value, 1, longest_period, plan.restart_period));
    }
    if (name == "--rounds") {
        return verdict(parse_unsigned(value, ULLONG_MAX, options.rounds) && options.rounds > 0);
    }
    if (name == "--interface") {
        options.interface = value;
        return verdict(is_interface_name(value));
    }
    if (name == "--folder") {
        options.folder = value;
        return verdict(!value.empty());
    }
    return taken::unknown;
}

} // namespace

bool parse_play_options(const std::vector<std::string>& given, play_options& options, std::string& why) {
    for (size_t at = 0; at < given.size(); at += 2) {
        const bool has_value = at + 1 < given.size();
        const std::string value = has_value ? given[at + 1] : std::string();
        const taken result = take_option(options, given[at], value);
        if (result == taken::good && has_value) {
            continue;
        }
        why = result == taken::unknown ? "unknown option '" + given[at] + "'"
              : !has_value             ? given[at] + " needs a value"
                                       : given[at] + ": '" + value + "' is not what it takes";
        return false;
    }
    return true;
}

} // namespace dashboard
