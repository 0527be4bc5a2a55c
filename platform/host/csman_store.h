// The configuration store of a development machine: one small text file per item, in one directory.
//
// An item's file is named by its csid ("0x00150785") and holds one line, which says what it is:
//
//     int 42
//     string eth0
//
// A string's text is everything between the blank and the file's last newline, so it may hold newlines itself. A file
// is written under a temporary name and renamed, so a reader sees the old item or the new one and never a mixture.
//
// Everything here works on the stack with plain system calls: no heap, no stdio, no lock that is waited for. It may be
// called from a signal handler and from any number of threads and processes at once. A thread that is cancelled in the
// middle would leave a descriptor or a temporary file behind, so csman.cpp calls it with cancellation switched off.
//
// Results are 0 (or a descriptor) for success and a negated errno value for failure.
#ifndef PLATFORM_HOST_CSMAN_STORE_H
#define PLATFORM_HOST_CSMAN_STORE_H

#include <cstddef>
#include <cstdint>

namespace dashboard {

/// Longest text of a string item, in bytes.
constexpr size_t store_text_max = 1023;

struct store_item {
    bool is_string;
    int32_t number;            // an integer item's value
    size_t length;             // a string item's length in bytes
    char text[store_text_max]; // its bytes, not terminated
};

/// The directory of the store: CSMAN_DIR, or /run/csman when that is unset or empty.
const char* store_path();

/// Opens the store at `path`, making its last directory (mode 02770) when it is missing, and removes the temporary
/// files of writers that have died. Returns a descriptor, which is the handle of the calls below.
int store_open(const char* path);

/// Gives the handle back. -EBADF when it is not an open directory, so that a stale number closes nobody else's file.
int store_close(int store);

/// Reads an item; `item` is left as it was on failure: -ENOENT when it is unset, -EBADMSG when the file holds something
/// else than an item, -ELOOP when it is a symbolic link.
int store_read(int store, uint32_t csid, store_item& item);

/// Writes an item. Its file gets the directory's group and the directory's read and write permissions. -EINVAL when the
/// text is too long or holds a NUL.
int store_write(int store, uint32_t csid, const store_item& item);

/// Makes an item unset. -ENOENT when it was.
int store_remove(int store, uint32_t csid);

} // namespace dashboard

#endif
