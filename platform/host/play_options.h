// The command line of play_router.
#ifndef PLATFORM_HOST_PLAY_OPTIONS_H
#define PLATFORM_HOST_PLAY_OPTIONS_H

#include "platform/host/router_play.h"

#include <string>
#include <vector>

namespace dashboard {

struct play_options {
    play_plan plan;
    std::string folder = "/tmp/aptraffic"; // of the records
    std::string interface;                 // whose traffic the access points count; empty: made up
    unsigned long long rounds = 0;         // 0: until a signal
};

/// Reads options and their values. On failure `why` says in words what is wrong.
bool parse_play_options(const std::vector<std::string>& given, play_options& options, std::string& why);

} // namespace dashboard

#endif
