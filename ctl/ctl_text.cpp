#include "ctl/ctl_text.h"

#include <algorithm>
#include <cstdarg>
#include <cstdio>
#include <dirent.h>
#include <fcntl.h>
#include <unistd.h>

namespace dashboard {

std::string text_of(const char* format, ...) {
    char buffer[1024];
    va_list arguments;
    va_start(arguments, format);
    vsnprintf(buffer, sizeof buffer, format, arguments);
    va_end(arguments);
    return buffer;
}

std::string age_text(int64_t seconds) {
    const long long age = seconds < 0 ? 0 : seconds;
    if (age < 100) {
        return text_of("%lld s", age);
    }
    if (age < 6000) {
        return text_of("%lld min", age / 60);
    }
    if (age < 259200) {
        return text_of("%lld h", age / 3600);
    }
    return text_of("%lld d", age / 86400);
}

std::string size_text(int64_t bytes) {
    const long long size = bytes;
    if (size < 1000) {
        return text_of("%lld B", size);
    }
    if (size < 1000000) {
        return text_of("%lld.%lld kB", size / 1000, size / 100 % 10);
    }
    if (size < 1000000000) {
        return text_of("%lld.%lld MB", size / 1000000, size / 100000 % 10);
    }
    return text_of("%lld.%lld GB", size / 1000000000, size / 100000000 % 10);
}

std::string json_text(const std::string& text) {
    std::string quoted = "\"";
    for (const char letter : text) {
        if (letter == '"' || letter == '\\') {
            quoted += '\\';
            quoted += letter;
        } else if (static_cast<unsigned char>(letter) < 0x20) {
            quoted += text_of("\\u%04x", static_cast<unsigned>(letter));
        } else {
            quoted += letter;
        }
    }
    return quoted + '"';
}

bool read_file(const std::string& path, std::string& content, size_t limit) {
    FILE* const file = fopen(path.c_str(), "re");
    if (file == nullptr) {
        return false;
    }
    if (fseek(file, -static_cast<long>(limit), SEEK_END) != 0) {
        rewind(file); // shorter than the limit, or a file of the kernel that has no end
    }
    content.clear();
    char block[4096];
    size_t got = 0;
    while (content.size() < limit && (got = fread(block, 1, sizeof block, file)) > 0) {
        content.append(block, got);
    }
    const bool whole = ferror(file) == 0;
    fclose(file);
    return whole;
}

std::vector<std::string> names_in(const std::string& folder) {
    std::vector<std::string> names;
    const int descriptor = open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    DIR* const open_folder = descriptor < 0 ? nullptr : fdopendir(descriptor);
    if (open_folder == nullptr) {
        if (descriptor >= 0) {
            close(descriptor);
        }
        return names;
    }
    while (const dirent* entry = readdir(open_folder)) {
        const std::string name = entry->d_name;
        if (name != "." && name != "..") {
            names.push_back(name);
        }
    }
    closedir(open_folder);
    std::sort(names.begin(), names.end());
    return names;
}

bool begins_with(const std::string& text, const std::string& start) {
    return text.compare(0, start.size(), start) == 0;
}

bool ends_with(const std::string& text, const std::string& end) {
    return text.size() >= end.size() && text.compare(text.size() - end.size(), end.size(), end) == 0;
}

std::vector<std::string> lines_of(const std::string& text) {
    std::vector<std::string> lines;
    for (size_t start = 0; start < text.size();) {
        size_t end = text.find('\n', start);
        if (end == std::string::npos) {
            end = text.size();
        }
        lines.push_back(text.substr(start, end - start));
        start = end + 1;
    }
    return lines;
}

} // namespace dashboard
