// The configuration items that the dashboard uses: the one table behind csmanctl's readable names and the documents.
#ifndef PLATFORM_HOST_CSMAN_ITEMS_H
#define PLATFORM_HOST_CSMAN_ITEMS_H

#include <cstddef>
#include <cstdint>
#include <string>

namespace dashboard {

enum class item_type { integer, string };

/// One item, or a row of `count` items with consecutive csids. A row's name has "{n}" where the item's own number goes;
/// the first item's number is `first`.
struct item_family {
    uint32_t csid;
    unsigned count;
    unsigned first;
    const char* name;
    item_type type;
    unsigned size; // bytes that the daemon reads of a string; 0 for an integer
    const char* meaning;
};

/// The table, in the order of the documents.
size_t item_family_count();
const item_family& item_family_at(size_t index);

/// The family that a csid belongs to, or nullptr when the dashboard does not know it.
const item_family* find_family(uint32_t csid);

/// The csid of a readable name ("wan.binding.3"). False when there is none.
bool find_csid(const std::string& name, uint32_t& csid);

/// The readable name of item `index` (from 0) of a family.
std::string item_name(const item_family& family, unsigned index);

/// The readable name of a csid; the number itself ("0x00150700") when the dashboard does not know it.
std::string item_name(uint32_t csid);

} // namespace dashboard

#endif
