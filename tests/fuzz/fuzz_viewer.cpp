// A request for graphs as the web server hands it over, head and body, against a plain model of what is accepted.
#include "viewer/cgi/viewer_request.h"

#include "tests/fuzz/outside.h"

#include <algorithm>
#include <map>
#include <set>

namespace dashboard::fuzz {
namespace {

constexpr size_t head_parts = 8;

std::string name_of(size_t index) {
    return std::string(module_table[index].items);
}

// Every "name=number" that is accepted, by name.
std::map<std::string, std::set<std::string>> accepted_values() {
    std::map<std::string, std::set<std::string>> values;
    for (size_t index = 0; index < module_total; ++index) {
        for (int32_t number = 1; number <= module_table[index].largest; ++number) {
            values[name_of(index)].insert(std::to_string(number));
        }
        values["enable"].insert(name_of(index));
    }
    return values;
}

// A body by the model: what it sets, by name; false when it is to be refused.
bool expected_settings(const std::string& body, std::map<std::string, std::string>& settings) {
    static const std::map<std::string, std::set<std::string>> accepted = accepted_values();
    settings.clear();
    for (size_t at = 0; !body.empty() && at <= body.size();) {
        const size_t end = std::min(body.find('&', at), body.size());
        const std::string pair = body.substr(at, end - at);
        const size_t sign = std::min(pair.find('='), pair.size());
        const auto known = accepted.find(pair.substr(0, sign));
        if (sign == pair.size() || known == accepted.end() || known->second.count(pair.substr(sign + 1)) == 0 ||
            !settings.emplace(known->first, pair.substr(sign + 1)).second) {
            return false;
        }
        at = end + 1;
    }
    return true;
}

void check_body(const std::string& body) {
    graph_request request = {};
    const refusal* const refused = parse_body(body, request);
    std::map<std::string, std::string> settings;
    require(expected_settings(body, settings) == (refused == nullptr), "exactly the good bodies are taken");
    if (refused != nullptr) {
        require(refused->status == 400, "a wrong body is a bad request");
        return;
    }
    for (size_t index = 0; index < module_total; ++index) {
        const auto set = settings.find(name_of(index));
        const std::string expected = set == settings.end() ? "0" : set->second;
        require(std::to_string(request.number[index]) == expected, "numbers are taken as given");
    }
    const auto enable = settings.find("enable");
    require(request.enable < 0 ? enable == settings.end()
                               : enable->second == name_of(static_cast<size_t>(request.enable)),
            "and so is the module to be switched on");
}

// Decimal without a zero in front, up to the limit.
bool is_good_length(const std::string& text) {
    for (size_t length = 0; length <= body_limit; ++length) {
        if (text == std::to_string(length)) {
            return true;
        }
    }
    return text.empty();
}

int expected_status(const std::vector<std::string>& part) {
    const bool tells_site = !part[2].empty();
    const std::string own = (part[5] == "on" ? "https://" : "http://") + part[4];
    if (part[0] != "POST") {
        return 405;
    }
    if (tells_site ? part[2] != "same-origin" : part[4].empty() || part[3] != own) {
        return 403;
    }
    return part[1] != "dashboard-viewer" ? 400 : !part[6].empty() ? 411 : is_good_length(part[7]) ? 200 : 413;
}

void check_head_parts(std::vector<std::string> part) {
    for (std::string& text : part) {
        text.resize(std::min(text.size(), text.find('\0')));
    }
    // A header that is empty is one that is missing, but for the length.
    const auto given = [&part](size_t at) { return part[at].empty() ? nullptr : part[at].c_str(); };
    const request_head head = {given(0), given(1), given(2), given(3), given(4), given(5), given(6), part[7].c_str()};
    size_t length = 0;
    const refusal* const refused = check_head(head, length);
    const int status = refused == nullptr ? 200 : refused->status;
    const int expected = expected_status(part);
    const bool wrong_length = expected == 413 && status == 400;
    require(status == expected || wrong_length, "the head has the status of the model");
    require(refused != nullptr || length <= body_limit, "no length above the limit");
    require(refused != nullptr || part[7].empty() || std::to_string(length) == part[7], "the length is the one given");
}

} // namespace
} // namespace dashboard::fuzz

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    using namespace dashboard;
    std::vector<std::string> parts = fuzz::parts_of(fuzz::text_of(data, size), fuzz::head_parts + 1);
    fuzz::check_body(parts.back());
    parts.pop_back();
    fuzz::check_head_parts(parts);
    return 0;
}
