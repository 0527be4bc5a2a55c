#include "exporter/document_folder.h"

#include "exporter/number_text.h"

#include <cerrno>
#include <cstdio>
#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace dashboard {

namespace {

constexpr useconds_t between_tries = 1000;

document_folder& folder_of(void* context) {
    return *static_cast<document_folder*>(context);
}

/// Calls `take` with every name in a folder.
template <class taker>
void for_names(const char* path, const taker& take) {
    const int descriptor = open(path, O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    DIR* const folder = descriptor < 0 ? nullptr : fdopendir(descriptor);
    if (folder == nullptr) {
        if (descriptor >= 0) {
            close(descriptor);
        }
        return;
    }
    while (const dirent* entry = readdir(folder)) {
        take(std::string_view(entry->d_name));
    }
    closedir(folder);
}

void mark(bool* found, size_t count, std::string_view name, const char* pattern) {
    uint32_t number = 0;
    if (matches_pattern(name, pattern, 0, static_cast<uint32_t>(count) - 1, number)) {
        found[number] = true;
    }
}

/// The temporary name counts, too: the document may be between its two names at this moment.
void list_folder(void* context, document_list& there) {
    for_names(folder_of(context).path, [&there](std::string_view name) {
        mark(there.ap, ap_total, name, "aptraffic_sec_#.xml");
        mark(there.ap, ap_total, name, "aptraffic_sec_#_tmp.xml");
        mark(there.bond, bond_total, name, "bond_traffic_sec_#.xml");
        mark(there.bond, bond_total, name, "bond_traffic_sec_#_tmp.xml");
    });
}

/// Only regular files are opened: a pipe of that name would hang.
int open_document(document_folder& folder, const char* name) {
    char path[256];
    if (snprintf(path, sizeof path, "%s/%s", folder.path, name) >= static_cast<int>(sizeof path)) {
        errno = ENAMETOOLONG;
        return -1;
    }
    int file = open(path, O_RDONLY | O_CLOEXEC | O_NONBLOCK | O_NOCTTY);
    while (file < 0 && errno == ENOENT && folder.tries_left > 0) {
        --folder.tries_left;
        usleep(between_tries);
        file = open(path, O_RDONLY | O_CLOEXEC | O_NONBLOCK | O_NOCTTY);
    }
    return file;
}

/// Reads up to `room` bytes from `start` on; what is missing was cut off meanwhile.
size_t read_part(int file, char* text, size_t room, off_t start) {
    const ssize_t got = pread(file, text, room, start);
    return got > 0 ? static_cast<size_t>(got) : 0;
}

document_fault read_pieces(int file, size_t longest, document_piece& piece) {
    struct stat about = {};
    if (fstat(file, &about) != 0 || !S_ISREG(about.st_mode)) {
        return document_fault::denied;
    }
    const auto size = static_cast<uint64_t>(about.st_size);
    const auto end = static_cast<size_t>(size < longest ? size : longest);
    piece.size = size;
    piece.written = static_cast<int64_t>(about.st_mtime);
    piece.end_length = read_part(file, piece.end, end, static_cast<off_t>(size - end));
    if (end == size) {
        piece.head_length = piece.end_length < sizeof piece.head ? piece.end_length : sizeof piece.head;
        for (size_t i = 0; i < piece.head_length; ++i) {
            piece.head[i] = piece.end[i];
        }
    } else {
        piece.head_length = read_part(file, piece.head, sizeof piece.head, 0);
    }
    return document_fault::none;
}

document_fault read_from_folder(void* context, const char* name, size_t longest, document_piece& piece) {
    const int file = open_document(folder_of(context), name);
    if (file < 0) {
        return errno == ENOENT || errno == ENOTDIR ? document_fault::missing : document_fault::denied;
    }
    const document_fault fault = read_pieces(file, longest, piece);
    close(file);
    return fault;
}

} // namespace

document_source source_of(document_folder& folder) {
    return {list_folder, read_from_folder, &folder};
}

void find_numbers(const char* path, const char* pattern, bool* found, size_t count) {
    for_names(path, [&](std::string_view name) { mark(found, count, name, pattern); });
}

} // namespace dashboard
