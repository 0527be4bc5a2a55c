// The modules as people, the configuration store, the page and the documents name them.
#ifndef BESIDE_MODULE_NAMES_H
#define BESIDE_MODULE_NAMES_H

#include <cstddef>
#include <cstdint>

namespace dashboard {

/// One module. Its place in the table is its index in the daemon.
struct module_names {
    const char* label;
    const char* items; // "wan" of wan.enable and wan.view; the page calls it so, too
    uint32_t enable_csid;
    uint32_t view_csid;
    const char* stem; // "wan_traffic" of wan_traffic_sec_0.xml
    bool numbered;    // the documents of a series carry a number
    bool only_sec;    // there are no minutes and hours
    int32_t largest;  // number that may be asked for in its view item; the least is 1
};

constexpr size_t module_total = 11;
extern const module_names module_table[module_total];

/// Places in the table.
constexpr size_t bond_module = 3;
constexpr size_t ap_module = 7;
constexpr size_t current_module = 9;

/// The item that lets modules run at all.
constexpr uint32_t daemon_enable_csid = 0x00150780;

} // namespace dashboard

#endif
