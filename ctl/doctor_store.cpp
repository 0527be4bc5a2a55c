#include "ctl/command.h"
#include "ctl/ctl_text.h"
#include "ctl/doctor.h"
#include "platform/csman.h"

#include <algorithm>
#include <sys/stat.h>
#include <unistd.h>

namespace dashboard {

namespace {

constexpr uint32_t wan_binding_csid = 0x00010600; // and the fifteen after it
constexpr uint32_t wan_name_99_csid = 0x8001000b;
constexpr uint32_t wan_name_csid = 0x80010190; // of WAN 1
constexpr uint32_t bond_enable_csid = 0x00b20070;
constexpr uint32_t wifi_csids[] = {0x8000f391, 0x8000f392};
constexpr uint32_t sim_state_csid = 0x801e5020;

enum : size_t { wan = 2, bond = 3, lan = 4, wifi24 = 5, wifi5 = 6, each_ap = 7, all_aps = 8, sim = 10 };

/// The store, open for one look.
class store {
public:
    store() : handle(open_csman(0, 0)) {}
    ~store() {
        if (handle >= 0) {
            close_csman(handle);
        }
    }
    store(const store&) = delete;
    store& operator=(const store&) = delete;

    int32_t number(uint32_t csid) const {
        int32_t value = unset_item;
        read_csman_int(handle, csid, &value);
        return value;
    }
    std::string text(uint32_t csid, size_t size) const {
        char buffer[64] = "";
        read_csman(handle, csid, buffer, static_cast<int>(std::min(size, sizeof buffer - 1)), csman_type_string);
        return buffer;
    }

private:
    int handle;
};

/// What sets an item: the tool of a development machine, or the router's own means.
std::string setting(const char* name, uint32_t csid, const char* value) {
    std::string path;
    if (find_command("csmanctl", path)) {
        return text_of("csmanctl set %s %s", name, value);
    }
    return text_of("set item 0x%08x (%s) to %s in the router's configuration", csid, name, value);
}

bool has_interface(const std::string& name) {
    return access(("/sys/class/net/" + name).c_str(), F_OK) == 0;
}

std::string some_interface() {
    for (const std::string& name : names_in("/sys/class/net")) {
        if (name != "lo") {
            return name;
        }
    }
    return "INTERFACE";
}

void check_switches(const status_look& status, findings& list) {
    size_t on = 0;
    for (size_t i = 0; i < module_total; ++i) {
        const int32_t enable = status.modules[i].enable;
        on += enable == 1 ? 1U : 0U;
        if (enable != unset_item && enable != 0 && enable != 1) {
            const std::string name = text_of("%s.enable", module_table[i].items);
            list.push_back({grade::wrong,
                            text_of("%s is %d: the module starts, and then takes no samples", name.c_str(), enable),
                            setting(name.c_str(), module_table[i].enable_csid, "1")});
        }
    }
    if (status.store.enable != 1 && on > 0) {
        list.push_back(
            {grade::wrong, text_of("%zu modules are on, but dashboard.enable is not 1: none runs", on),
             setting("dashboard.enable", 0x00150780, "1") + "; then each module to 0, wait seven seconds, and to 1"});
    } else if (on == 0) {
        list.push_back({grade::note, "no module is on", setting("wan.enable", 0x00150785, "1")});
    } else {
        list.push_back({grade::good, text_of("the store can be read; %zu modules are on", on), ""});
    }
}

/// The interface of WAN n (from 1): empty when it has none; `fault` says why one that is bound has none.
std::string wan_interface(const store& items, unsigned n, std::string& fault) {
    const int32_t binding = items.number(wan_binding_csid + n - 1);
    fault.clear();
    if (binding == unset_item || binding == 0) {
        return "";
    }
    if (binding != 99 && (binding < 1 || binding > 16)) {
        fault = text_of("wan.binding.%u is %d, which names nothing (1 to 16 or 99)", n, binding);
        return "";
    }
    const uint32_t csid = binding == 99 ? wan_name_99_csid : wan_name_csid + static_cast<uint32_t>(binding) - 1;
    std::string name = items.text(csid, 16);
    if (name.empty()) {
        fault = text_of("wan.binding.%u is %d, but wan.name.%d is empty", n, binding, binding);
    } else if (!has_interface(name)) {
        fault = text_of("WAN %u follows %s, and there is no such interface", n, name.c_str());
    }
    return name;
}

void check_wan(const store& items, findings& list) {
    std::vector<std::string> names;
    const size_t before = list.size();
    for (unsigned n = 1; n <= 16; ++n) {
        std::string fault;
        const std::string name = wan_interface(items, n, fault);
        if (!fault.empty()) {
            const std::string binding = text_of("wan.name.%u", n);
            list.push_back(
                {grade::wrong, fault,
                 setting(text_of("wan.binding.%u", n).c_str(), wan_binding_csid + n - 1, text_of("%u", n).c_str()) +
                     " && " + setting(binding.c_str(), wan_name_csid + n - 1, some_interface().c_str())});
        } else if (!name.empty() && std::find(names.begin(), names.end(), name) != names.end()) {
            list.push_back({grade::note,
                            text_of("WAN %u and an earlier one both follow %s: both show the same", n, name.c_str()),
                            ""});
        }
        if (!name.empty()) {
            names.push_back(name);
        }
    }
    if (names.empty() && list.size() == before) {
        list.push_back({grade::wrong, "wan.enable is 1, but no WAN has an interface: its graph stays empty",
                        setting("wan.binding.1", wan_binding_csid, "1") + " && " +
                            setting("wan.name.1", wan_name_csid, some_interface().c_str())});
    }
}

void check_wifi(const store& items, size_t band, findings& list) {
    const uint32_t csid = wifi_csids[band == wifi24 ? 0 : 1];
    const std::string name = items.text(csid, 26);
    if (name != "ra0" && name != "rai0") {
        const std::string item = text_of("%s.interface", module_table[band].items);
        list.push_back({grade::wrong,
                        text_of("%s.enable is 1, but %s is '%s': the band records nothing unless it is ra0 or rai0",
                                module_table[band].items, item.c_str(), name.c_str()),
                        setting(item.c_str(), csid, band == wifi24 ? "ra0" : "rai0")});
    } else if (!has_interface(name)) {
        list.push_back(
            {grade::note, text_of("%s: there is no interface %s", module_table[band].label, name.c_str()), ""});
    }
}

void check_bonds(const store& items, findings& list) {
    bool any = false;
    for (unsigned n = 0; n < 3; ++n) {
        if (items.number(bond_enable_csid + n) != 1) {
            continue;
        }
        any = true;
        if (!has_interface(text_of("bond%u", n))) {
            list.push_back({grade::wrong, text_of("bond%u.enable is 1, and there is no interface bond%u", n, n),
                            setting(text_of("bond%u.enable", n).c_str(), bond_enable_csid + n, "0")});
        }
    }
    if (!any) {
        list.push_back({grade::note, "bond.enable is 1, but no bond is configured", ""});
    }
}

void check_access_points(findings& list) {
    size_t records = 0;
    for (const std::string& name : names_in("/tmp/aptraffic")) {
        struct stat about;
        const std::string path = "/tmp/aptraffic/" + name;
        if (!begins_with(name, "APTraffic_") || stat(path.c_str(), &about) != 0) {
            continue;
        }
        ++records;
        if (about.st_size == 0) {
            list.push_back({grade::wrong, path + " is empty: each look at it costs the daemon a descriptor for good",
                            "rm " + path + " && /etc/init.d/dashboard restart"});
        }
    }
    if (records == 0) {
        list.push_back({grade::note, "access points are on, but no record lies in /tmp/aptraffic", ""});
    }
}

void check_rest(const status_look& status, const store& items, findings& list) {
    if (status.modules[lan].enable == 1 && !has_interface("br0") && !has_interface("br1") && !has_interface("br2") &&
        !has_interface("br3") && !has_interface("br4")) {
        list.push_back({grade::note, "lan.enable is 1, and there is no bridge br0 to br4", ""});
    }
    if (status.modules[sim].enable == 1 && items.number(sim_state_csid) != 1 && items.number(sim_state_csid + 1) != 1) {
        list.push_back({grade::note, "sim.enable is 1, but neither slot's state is 1", ""});
    }
    if (status.modules[each_ap].enable == 1 || status.modules[all_aps].enable == 1) {
        check_access_points(list);
    }
}

} // namespace

void check_store(const status_look& status, findings& list) {
    if (!status.store.reachable) {
        list.push_back({grade::wrong, "the configuration store cannot be opened: the daemon ends itself",
                        "run this as root; on a development machine: csmanctl list"});
        return;
    }
    check_switches(status, list);
    const store items;
    if (status.modules[wan].enable == 1) {
        check_wan(items, list);
    }
    if (status.modules[bond].enable == 1) {
        check_bonds(items, list);
    }
    for (const size_t band : {static_cast<size_t>(wifi24), static_cast<size_t>(wifi5)}) {
        if (status.modules[band].enable == 1) {
            check_wifi(items, band, list);
        }
    }
    check_rest(status, items, list);
}

} // namespace dashboard
