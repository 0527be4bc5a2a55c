#include "platform/host/csman_store.h"

#include "platform/host/csman_temporary.h"
#include "platform/host/csman_text.h"

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

namespace dashboard {

namespace {

constexpr char default_path[] = "/run/csman";
constexpr mode_t directory_mode = 02770;

/// More than the names a process could find taken: a leftover of an earlier process with its pid, or a sweep that
/// caught the new file before it was locked.
constexpr int write_attempts = 100;

/// The path may lead through links (/var/run is one); nobody but the system's owner can plant those.
int open_directory(const char* path) {
    int fd;
    do {
        fd = open(path, O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    } while (fd < 0 && errno == EINTR);
    return fd < 0 ? -errno : fd;
}

int write_all(int fd, const char* text, size_t length) {
    while (length > 0) {
        const ssize_t written = write(fd, text, length);
        if (written < 0 && errno != EINTR) {
            return -errno;
        }
        if (written > 0) {
            text += written;
            length -= static_cast<size_t>(written);
        }
    }
    return 0;
}

/// Who may use the store is decided in one place, its directory: an item follows the directory's group and permissions,
/// whatever the writer's own group and umask are. The group can't always be given away; the set-group-id bit of a
/// directory made here has then already done it.
int share(int store, int fd) {
    struct stat directory;
    struct stat file;
    if (fstat(store, &directory) != 0 || fstat(fd, &file) != 0) {
        return -errno;
    }
    const bool foreign = file.st_gid != directory.st_gid;
    if (foreign && fchown(fd, static_cast<uid_t>(-1), directory.st_gid) != 0 && errno != EPERM) {
        return -errno;
    }
    return fchmod(fd, directory.st_mode & 0666) != 0 ? -errno : 0;
}

int fill(int store, int fd, const char* text, size_t length) {
    if (flock(fd, LOCK_EX | LOCK_NB) != 0) {
        return -errno;
    }
    const int shared = share(store, fd);
    return shared != 0 ? shared : write_all(fd, text, length);
}

/// One attempt. -EEXIST, -EWOULDBLOCK and -ENOENT say that the temporary name was taken, or was swept before its lock.
int write_once(int store, const char* name, const char* text, size_t length) {
    char temporary[temporary_name_size];
    temporary_name(name, temporary);
    const int fd = open_at(store, temporary, O_WRONLY | O_CREAT | O_EXCL, 0600);
    if (fd < 0) {
        return fd;
    }
    int result = fill(store, fd, text, length);
    if (result == 0 && renameat(store, temporary, store, name) != 0) {
        result = -errno;
    }
    if (result != 0) {
        unlinkat(store, temporary, 0);
    }
    close(fd);
    return result;
}

/// A store whose directory was removed answers ENOENT for ever: the attempts are bounded.
bool may_retry(int result) {
    return result == -EEXIST || result == -EWOULDBLOCK || result == -ENOENT;
}

/// Reads a whole file. Returns its length; -EBADMSG when it is not a regular file or is longer than any item.
ssize_t read_all(int fd, char (&text)[item_text_max]) {
    struct stat status;
    if (fstat(fd, &status) != 0) {
        return -errno;
    }
    if (!S_ISREG(status.st_mode)) {
        return -EBADMSG;
    }
    if (status.st_size > static_cast<off_t>(sizeof text)) {
        return -EBADMSG;
    }
    size_t length = 0;
    while (length < sizeof text) {
        const ssize_t got = read(fd, text + length, sizeof text - length);
        if (got == 0) {
            break;
        }
        if (got < 0 && errno != EINTR) {
            return -errno;
        }
        if (got > 0) {
            length += static_cast<size_t>(got);
        }
    }
    return static_cast<ssize_t>(length);
}

} // namespace

const char* store_path() {
    const char* path = getenv("CSMAN_DIR");
    return path != nullptr && path[0] != '\0' ? path : default_path;
}

int store_open(const char* path) {
    int store = open_directory(path);
    if (store == -ENOENT) {
        const bool made = mkdir(path, directory_mode & 0777) == 0;
        if (!made && errno != EEXIST) {
            return -errno;
        }
        store = open_directory(path);
        if (made && store >= 0 && fchmod(store, directory_mode) != 0) {
            const int failure = -errno;
            close(store);
            return failure;
        }
    }
    if (store >= 0) {
        remove_orphans(store);
    }
    return store;
}

int store_close(int store) {
    struct stat status;
    if (fstat(store, &status) != 0 || !S_ISDIR(status.st_mode)) {
        return -EBADF;
    }
    // An interrupted close has closed all the same on Linux.
    return close(store) != 0 && errno != EINTR ? -errno : 0;
}

int store_read(int store, uint32_t csid, store_item& item) {
    char name[store_name_size];
    store_item_name(csid, name);
    const int fd = open_at(store, name, O_RDONLY);
    if (fd < 0) {
        return fd;
    }
    char text[item_text_max];
    const ssize_t length = read_all(fd, text);
    close(fd);
    if (length < 0) {
        return static_cast<int>(length);
    }
    return parse_item(text, static_cast<size_t>(length), item) ? 0 : -EBADMSG;
}

int store_write(int store, uint32_t csid, const store_item& item) {
    char text[item_text_max];
    const size_t length = format_item(item, text);
    if (length == 0) {
        return -EINVAL;
    }
    char name[store_name_size];
    store_item_name(csid, name);
    int result = 0;
    for (int attempt = 0; attempt < write_attempts; attempt++) {
        result = write_once(store, name, text, length);
        if (!may_retry(result)) {
            return result;
        }
    }
    return result;
}

int store_remove(int store, uint32_t csid) {
    char name[store_name_size];
    store_item_name(csid, name);
    return unlinkat(store, name, 0) != 0 ? -errno : 0;
}

} // namespace dashboard
