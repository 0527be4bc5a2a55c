// Small readers of kernel files and tool output. None keeps state; each reports its failures under its own name.
#ifndef PROBES_DASHBOARD_SYSINFO_H
#define PROBES_DASHBOARD_SYSINFO_H

#include <cstdint>

namespace dashboard {

/// Used memory, MemTotal - MemFree of /proc/meminfo: in percent with `mode` 1, else in kB. Buffers and caches count as
/// used. Returns -1 on any failure.
int32_t get_mem_usage(int32_t mode);

/// How full the connection-tracking table is, in percent: the sockets that `netstat` lists against nf_conntrack_max.
/// Returns 0 on any failure.
uint32_t get_netsession_usage();

/// The number of CPU cores in /proc/stat, 4 at most; 0 when there is none or the file cannot be opened.
int32_t get_proc_cpu_nr();

/// 1 if `path` is a directory, else 0.
int32_t folder_exists(const char* path);

/// 1 if `path` exists, else 0. Follows links: one whose target is missing does not exist.
int32_t file_exists(const char* path);

} // namespace dashboard

#endif
