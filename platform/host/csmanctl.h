// csmanctl: looks at and changes the items of a development machine's configuration store. csmanctl(8) is its manual.
//
// Every command returns the tool's exit status and has reported its own failures.
#ifndef PLATFORM_HOST_CSMANCTL_H
#define PLATFORM_HOST_CSMANCTL_H

#include "platform/host/csman_store.h"

#include <string>
#include <vector>

namespace dashboard {

constexpr int exit_ok = 0;
constexpr int exit_failed = 1; // the item is unset, the file is wrong, the store can't be used
constexpr int exit_usage = 2;  // the command line can't be understood

/// A csid and what it is to be set to.
struct item_setting {
    uint32_t csid;
    store_item item;
};

/// Print "csmanctl: ..." to the error output and return exit_failed or exit_usage.
int report_failure(const char* format, ...) __attribute__((format(printf, 1, 2)));
int report_usage(const char* format, ...) __attribute__((format(printf, 1, 2)));

/// The same for an item that store_read answered `result` to.
int report_unreadable(const std::string& item, int result);

/// Prints "NAME VALUE" as `load` reads it, and sends it on at once; an unset item prints nothing. False, and reported,
/// when the item can't be read.
bool print_item(int store, uint32_t csid);

/// The csids that the store holds, ascending. Returns 0 or a negated errno value.
int list_csids(std::vector<uint32_t>& csids);

/// Prints every item that is set, the known ones first; with `all` the known ones that are not set as comments.
int list_items(int store, bool all);

/// Writes what `path` ("-": the standard input) says: all of it, or nothing when any line is wrong or can't be written.
int load_items(int store, const std::string& path);

/// Prints the named items (none named: all), then every change of them, `count` changes or, when that is 0, for ever.
int watch_items(int store, const std::vector<uint32_t>& csids, unsigned long count);

/// Prints the table of known items, for a terminal or as the page of the documents.
void print_table();
void print_markdown();

} // namespace dashboard

#endif
