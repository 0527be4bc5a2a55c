// Temporary files of the store: an item is written into one, which is then renamed.
#ifndef PLATFORM_HOST_CSMAN_TEMPORARY_H
#define PLATFORM_HOST_CSMAN_TEMPORARY_H

#include <cstddef>
#include <sys/types.h>

namespace dashboard {

constexpr size_t temporary_name_size = 48;

/// Opens a file of the store, never through a link and never waiting. Returns a descriptor or a negated errno value.
int open_at(int store, const char* name, int flags, mode_t mode = 0);

/// A name for a temporary file of the item that is so named: its own within this process.
void temporary_name(const char* item_name, char (&name)[temporary_name_size]);

/// Removes the temporary files of writers that have died. Reads the directory from where its descriptor stands.
void remove_orphans(int store);

} // namespace dashboard

#endif
