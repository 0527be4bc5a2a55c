#include "fleet/simulator/fleet.h"

#include "exporter/exposition.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <dirent.h>
#include <fstream>
#include <iterator>
#include <memory>
#include <utility>

namespace dashboard {

namespace {

constexpr char version[] = "simulated";

/// A router is on for this long before the fleet starts.
constexpr int64_t uptime_before = 86400;

/// Bonds and access points are watched one at a time, each for so many seconds.
constexpr int64_t turn_length = 15;

bool starts_with(const std::string& text, const char* start) {
    return text.compare(0, strlen(start), start) == 0;
}

// ---- What a router's folder of documents shows

/// One router at one moment, as a source of documents.
struct published_folder_view {
    const std::vector<recorded_document>* documents;
    const simulated_router* router;
    int64_t t;
    int64_t epoch;
    std::string text;
};

/// "bond_traffic_sec_1.xml", "bond_traffic_sec_": 1. -1 when the name begins otherwise.
int turn_of(const std::string& name, const char* stem) {
    return starts_with(name, stem) ? std::stoi(name.substr(strlen(stem))) : -1;
}

/// The moment a document was written last, at `t` or before it: current traffic every third second, documents of turns
/// while they are watched.
int64_t written_at(const std::string& name, int64_t t) {
    if (starts_with(name, "current_")) {
        return t - t % 3;
    }
    for (const char* stem : {"bond_traffic_sec_", "aptraffic_sec_"}) {
        const int turn = turn_of(name, stem);
        if (turn < 0) {
            continue;
        }
        const int64_t turns = 2;
        const int64_t slot = t / turn_length;
        const int64_t back = (slot - turn % turns + turns) % turns;
        return back == 0 ? t : std::max<int64_t>((slot - back + 1) * turn_length - 1, 0);
    }
    return t;
}

const recorded_document* find_document(const published_folder_view& folder, const std::string& name) {
    const auto found = std::find_if(folder.documents->begin(), folder.documents->end(),
                                    [&](const recorded_document& document) { return document.name() == name; });
    const bool there = found != folder.documents->end() && publishes(folder.router->identity().model, name);
    return there ? &*found : nullptr;
}

void list_documents(void* context, document_list& there) {
    const auto& folder = *static_cast<const published_folder_view*>(context);
    for (const recorded_document& document : *folder.documents) {
        const std::string& name = document.name();
        const int bond = turn_of(name, "bond_traffic_sec_");
        const int point = turn_of(name, "aptraffic_sec_");
        if (find_document(folder, name) == nullptr) {
            continue;
        }
        if (bond >= 0) {
            there.bond[bond] = true;
        }
        if (point >= 0) {
            there.ap[point] = true;
        }
    }
}

document_fault read_piece(void* context, const char* name, size_t longest, document_piece& piece) {
    auto& folder = *static_cast<published_folder_view*>(context);
    const recorded_document* const document = find_document(folder, name);
    if (document == nullptr) {
        return document_fault::missing;
    }
    int64_t t = std::min(written_at(name, folder.t), folder.router->published_at(folder.t));
    t = document->sampled_at(*folder.router, t);
    document->advance(*folder.router, t, folder.epoch, folder.text);
    const std::string& text = folder.text;
    piece.head_length = std::min(text.size(), sizeof piece.head);
    memcpy(piece.head, text.data(), piece.head_length);
    piece.end_length = std::min({text.size(), longest, sizeof piece.end});
    memcpy(piece.end, text.data() + text.size() - piece.end_length, piece.end_length);
    piece.size = text.size();
    piece.written = folder.epoch + t + folder.router->clock_error(t);
    return document_fault::none;
}

// ---- What else a scrape finds

bool has_module(router_model model, size_t module) {
    // Bonds, access points and SIM slots are not on every model; the names are those of the items.
    const std::string name = module_table[module].items;
    if (name == "bond" || name == "ap" || name == "allap") {
        return model == router_model::large;
    }
    return name != "sim" || model == router_model::cellular;
}

router_facts facts_of(const simulated_router& router, int64_t t, int64_t epoch) {
    router_facts facts{};
    const int64_t started = router.started_at(t);
    facts.version = version;
    facts.now = epoch + t + router.clock_error(t);
    facts.uptime = t - started + (started == 0 ? uptime_before : 20);
    facts.daemon_runs = router.daemon_lives(t);
    const int64_t daemon_started = router.daemon_started_at(t);
    facts.daemon_uptime = facts.daemon_runs ? t - daemon_started + (daemon_started == 0 ? uptime_before : 0) : -1;
    facts.store_readable = true;
    facts.enabled = true;
    facts.renewal = true;
    facts.refusals_known = true;
    for (size_t module = 0; module < module_total; ++module) {
        facts.module_enabled[module] = has_module(router.identity().model, module);
        facts.renewed[module] = facts.module_enabled[module];
    }
    facts.started = monotonic_now();
    return facts;
}

// ---- The truth

struct link_name {
    const char* link;
    const char* kind;
    const char* interface;
};

/// Where the truth begins to count. rate() takes a counter near 0 for one that has just begun, and extrapolates less.
constexpr uint64_t truth_before = 1000000000000;

/// The recorded router's links, as its metrics call them.
constexpr link_name link_names[] = {
    {"eth0", "wan", "wan1"},     {"usbnet0", "wan", "wan2"},
    {"br0", "lan", "br0"},       {"br1", "lan", "br1"},
    {"ra0", "wifi_24", "vap1"},  {"ra1", "wifi_24", "vap2"},
    {"rai0", "wifi_50", "vap1"}, {"rai1", "wifi_50", "vap2"},
    {"eth0", "current", "eth0"}, {"usbnet0", "current", "usbnet0"},
    {"br0", "current", "br0"},
};

void append_sent(const simulated_router& router, const link_name& name, direction way, int64_t t, std::string& text) {
    text += "fleet_truth_bytes_total{kind=\"";
    text += name.kind;
    text += "\",interface=\"";
    text += name.interface;
    text += way == direction::transmit ? R"(",direction="transmit"} )" : R"(",direction="receive"} )";
    text += std::to_string(truth_before + router.sent(name.link, way, {0, t}));
    text += '\n';
}

} // namespace

fleet::fleet(int routers, const happenings& life, std::vector<recorded_document> documents, int64_t epoch)
    : recorded(std::move(documents)), first_second(epoch) {
    for (int index = 0; index < routers; ++index) {
        all_routers.emplace_back(index, life);
    }
}

void fleet::append_metrics(const simulated_router& router, int64_t t, exposition_format format,
                           std::string& text) const {
    static const auto readings = std::make_unique<router_readings>();
    published_folder_view folder{&recorded, &router, t, first_second, ""};
    const document_source source = {list_documents, read_piece, &folder};
    text_buffer out;
    add_router(facts_of(router, t, first_second), source, format, *readings, out);
    text += out.view();
}

void fleet::append_truth(const simulated_router& router, int64_t t, std::string& text) const {
    for (const link_name& name : link_names) {
        if (!router.has_link(name.link)) {
            continue;
        }
        append_sent(router, name, direction::transmit, t, text);
        append_sent(router, name, direction::receive, t, text);
    }
}

bool publishes(router_model model, const std::string& document) {
    if (starts_with(document, "bond_") || starts_with(document, "aptraffic_")) {
        return model == router_model::large;
    }
    return !starts_with(document, "sim_") || model == router_model::cellular;
}

std::string read_documents(const std::string& folder, std::vector<recorded_document>& documents) {
    DIR* const entries = opendir(folder.c_str());
    if (entries == nullptr) {
        return folder + ": " + strerror(errno);
    }
    while (const dirent* const entry = readdir(entries)) {
        const std::string name = entry->d_name;
        if (name.size() < 4 || name.compare(name.size() - 4, 4, ".xml") != 0) {
            continue;
        }
        std::string path = folder;
        path.append("/").append(name);
        std::ifstream in(path);
        documents.emplace_back(name,
                               std::string((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>()));
    }
    closedir(entries);
    return documents.empty() ? folder + ": no documents" : "";
}

} // namespace dashboard
