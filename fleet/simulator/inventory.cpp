#include "fleet/simulator/inventory.h"

namespace dashboard {

namespace {

void append_member(std::string& json, const char* name, const std::string& value) {
    json += ", \"";
    json += name;
    json += "\": \"";
    json += value;
    json += '"';
}

} // namespace

std::string metrics_path(const simulated_router& router) {
    return "/" + std::to_string(router.index()) + "/cgi-bin/metrics";
}

std::string inventory(const fleet& routers, int64_t t, const std::string& address) {
    std::string json = "[";
    for (const simulated_router& router : routers.routers()) {
        if (!router.in_inventory(t)) {
            continue;
        }
        const router_identity& identity = router.identity();
        json += json.size() == 1 ? "\n" : ",\n";
        json += R"({"targets": [")" + address + R"("], "labels": {"__metrics_path__": ")" + metrics_path(router) + '"';
        append_member(json, "__meta_router", identity.name);
        append_member(json, "__meta_site", identity.site);
        append_member(json, "__meta_model", model_name(identity.model));
        append_member(json, "__meta_firmware", identity.firmware);
        json += "}}";
    }
    return json + "\n]\n";
}

} // namespace dashboard
