// Writes what the exporter says in several states of a router, as files STATE.prom and STATE.om in a folder: for the
// parsers of others. check-exposition runs it. With a clock: the documents of a router at its limits, for
// bench/scrapes.
#include "router_documents.h"

#include <cstdio>
#include <cstdlib>
#include <fstream>

namespace dashboard::testing {
namespace {

void write_state(const std::string& path, router_documents& documents, const router_facts& facts) {
    std::ofstream(path + ".prom", std::ios::binary) << exposed(documents, facts);
    std::ofstream(path + ".om", std::ios::binary) << exposed(documents, facts, exposition_format::openmetrics);
}

router_facts dead_router() {
    router_facts facts = {};
    facts.version = "1.0.0";
    facts.now = router_now;
    facts.uptime = -1;
    return facts;
}

void put_hostile_names(router_documents& documents) {
    std::string lines;
    unsigned k = 0;
    for (const std::string name : {"a\"b", "a\\b", "a\nb", "</item>", "\xff\xfe", "\x01", "}", "{a=\"b\"} 1", "#", " ",
                                   "\xe2\x80\xa8", "\xc2\x85", "\r", "eth0", "eth0"}) {
        const std::string place = std::to_string(k++) + "\">";
        lines += " <item name=\"device_" + place + name + "</item>\n <item name=\"tx_" + place + "1</item>\n";
    }
    documents.files["current_traffic_sec_0.xml"].text = document_of(lines);
}

void write_all(const std::string& folder) {
    router_documents none;
    write_state(folder + "/nothing", none, dead_router());
    write_state(folder + "/no_documents", none, good_facts());

    router_documents limits;
    limits.put_limits(UINT64_MAX - 8000);
    router_facts facts = good_facts();
    facts.renewal = true;
    facts.started = monotonic_now();
    write_state(folder + "/limits", limits, facts);
    facts.now += 3600;
    write_state(folder + "/stale", limits, facts);

    router_documents hostile;
    hostile.put_limits(1);
    for (auto& [name, document] : hostile.files) {
        document.text.resize(document.text.size() / 2);
    }
    put_hostile_names(hostile);
    facts = good_facts();
    facts.version = "1.0\"\n\\\xff";
    write_state(folder + "/hostile", hostile, facts);
}

// The documents of a router at its limits, with samples of this clock. Of the access points all are fresh ("all"), or
// one
// ("turns"), or there are none ("none").
void write_limits(const std::string& folder, int64_t clock, const std::string& access_points) {
    router_documents documents;
    documents.newest = clock;
    documents.older = 59;
    documents.put_limits(222222222121);
    router_documents old;
    old.newest = clock - 600;
    old.older = 59;
    old.put_limits(222222222121);
    for (unsigned ap = 0; ap < ap_total; ++ap) {
        const std::string name = "aptraffic_sec_" + std::to_string(ap) + ".xml";
        if (access_points == "none") {
            documents.files.erase(name);
        } else if (access_points == "turns" && ap != 0) {
            documents.files[name] = old.files[name];
        }
    }
    documents.write_to(folder);
}

} // namespace
} // namespace dashboard::testing

int main(int count, char** words) {
    if (count == 4) {
        dashboard::testing::write_limits(words[1], strtoll(words[2], nullptr, 10), words[3]);
        return 0;
    }
    if (count != 2) {
        fputs("Usage: write_states FOLDER [CLOCK none|turns|all]\n", stderr);
        return 2;
    }
    dashboard::testing::write_all(words[1]);
    return 0;
}
