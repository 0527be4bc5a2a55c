#include "exporter/refusal_count.h"

#include <cstring>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace dashboard {

namespace {

/// Somebody else may have put a file of this name there: only a plain one of this user's own is taken.
int open_counts() {
    const int file = open(refusal_file, O_RDWR | O_CREAT | O_CLOEXEC | O_NOFOLLOW | O_NONBLOCK, 0600);
    struct stat about = {};
    if (file >= 0 &&
        (fstat(file, &about) != 0 || !S_ISREG(about.st_mode) || about.st_uid != geteuid() || about.st_nlink != 1)) {
        close(file);
        return -1;
    }
    return file;
}

void read_counts(int file, uint64_t (&counts)[refusal_total]) {
    if (pread(file, counts, sizeof counts, 0) != static_cast<ssize_t>(sizeof counts)) {
        memset(counts, 0, sizeof counts);
    }
}

} // namespace

void count_refusal(const char* word) {
    const int file = open_counts();
    if (file < 0) {
        return;
    }
    // Two that are refused at once count as two. The lock goes with the descriptor.
    struct flock lock = {};
    lock.l_type = F_WRLCK;
    lock.l_whence = SEEK_SET;
    uint64_t counts[refusal_total];
    if (fcntl(file, F_SETLKW, &lock) == 0) {
        read_counts(file, counts);
        for (size_t i = 0; i < refusal_total; ++i) {
            counts[i] += strcmp(refusal_words[i], word) == 0 ? 1 : 0;
        }
        static_cast<void>(pwrite(file, counts, sizeof counts, 0) == 0);
    }
    close(file);
}

bool read_refusals(uint64_t (&counts)[refusal_total]) {
    memset(counts, 0, sizeof counts);
    const int file = open_counts();
    if (file < 0) {
        return false;
    }
    read_counts(file, counts);
    close(file);
    return true;
}

} // namespace dashboard
