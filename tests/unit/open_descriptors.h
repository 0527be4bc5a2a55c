// How many descriptors this process has open: what is left open on purpose, and what must not be.
#ifndef TESTS_UNIT_OPEN_DESCRIPTORS_H
#define TESTS_UNIT_OPEN_DESCRIPTORS_H

#include <dirent.h>

namespace dashboard::testing {

inline int open_descriptors() {
    DIR* const folder = opendir("/proc/self/fd");
    int count = -3; // the folder itself, "." and ".."
    while (readdir(folder) != nullptr) {
        ++count;
    }
    closedir(folder);
    return count;
}

} // namespace dashboard::testing

#endif
