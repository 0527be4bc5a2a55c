// The router's configuration store, as its own library offers it (libcsman.so).
//
// Items are named by a 32-bit id (csid) and hold an integer or a string. Every call answers 0 for success and a
// negative number for failure unless it says otherwise; a read that fails leaves the caller's buffer as it was.
// Other processes read and write the same items at the same time.
#ifndef PLATFORM_CSMAN_H
#define PLATFORM_CSMAN_H

#ifdef __cplusplus
extern "C" {
#endif

enum { csman_type_string = 4 };

/// Opens the store. The daemon passes 0 for both arguments. Returns a handle, or a negative number.
int open_csman(int, int);

/// Reads item `csid` into `buffer` of `length` bytes. `type` 4 reads a string: it is terminated when it is shorter
/// than the buffer.
int read_csman(int handle, unsigned int csid, void* buffer, int length, int type);

int read_csman_int(int handle, unsigned int csid, int* value);

int write_csman_int(int handle, unsigned int csid, int value);

int close_csman(int handle);

#ifdef __cplusplus
}
#endif

#endif
