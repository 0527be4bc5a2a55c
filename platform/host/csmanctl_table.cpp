// The table of known items, for people.
#include "platform/host/csman_items.h"
#include "platform/host/csman_text.h"
#include "platform/host/csmanctl.h"

#include <cstdio>

namespace dashboard {

namespace {

std::string csid_text(uint32_t csid) {
    char text[store_name_size];
    store_item_name(csid, text);
    return text;
}

std::string type_text(const item_family& family) {
    if (family.type == item_type::integer) {
        return "integer";
    }
    return "string, " + std::to_string(family.size) + " bytes";
}

/// "wan.binding.1 to wan.binding.16" is what one types; the pattern with its range is shorter.
std::string name_text(const item_family& family) {
    if (family.count == 1) {
        return family.name;
    }
    std::string name = family.name;
    name.replace(name.find("{n}"), 3, "<n>");
    return name + ", n = " + std::to_string(family.first) + " to " + std::to_string(family.first + family.count - 1);
}

std::string csid_range(const item_family& family) {
    if (family.count == 1) {
        return csid_text(family.csid);
    }
    return csid_text(family.csid) + " to " + csid_text(family.csid + family.count - 1);
}

constexpr char page_head[] =
    "# Items of the configuration store\n"
    "\n"
    "This page is printed by `csmanctl items --markdown`; change the table in `platform/host/csman_items.cpp`.\n"
    "\n"
    "An item is a 32-bit number (csid) and holds a signed 32-bit integer or a text. `csmanctl` takes the number or the\n"
    "name; the names are for people, the router's own store knows numbers only. A string's size is the buffer that it is\n"
    "read into: a longer text is cut there. \"WAN n\" is the number that the web page shows.\n"
    "\n"
    "The daemon reads the enable and view items every six seconds. A view item is a request: the daemon takes a\n"
    "positive value, keeps the module's pages fresh for the next 60 seconds, and writes 0 back. Module settings (WAN\n"
    "bindings and names, bonds, SIM states) are read when the module starts, and every ten seconds while it runs.\n"
    "\n"
    "| csid | name | type | meaning |\n"
    "|---|---|---|---|\n";

} // namespace

void print_table() {
    for (size_t at = 0; at < item_family_count(); at++) {
        const item_family& family = item_family_at(at);
        printf("%-24s  %-28s  %-16s  %s\n", csid_range(family).c_str(), name_text(family).c_str(),
               type_text(family).c_str(), family.meaning);
    }
}

void print_markdown() {
    fputs(page_head, stdout);
    for (size_t at = 0; at < item_family_count(); at++) {
        const item_family& family = item_family_at(at);
        printf("| %s | `%s` | %s | %s |\n", csid_range(family).c_str(), name_text(family).c_str(),
               type_text(family).c_str(), family.meaning);
    }
}

} // namespace dashboard
