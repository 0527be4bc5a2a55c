#include "monitors/metric_document.h"

#include "base/portability.h"
#include "platform/utils.h"
#include "probes/dashboard_sysinfo.h"

#include <cerrno>
#include <charconv>
#include <cstdarg>
#include <cstdio>
#include <cstring>
#include <fcntl.h>
#include <sys/stat.h>
#include <system_error>
#include <unistd.h>

namespace dashboard {

namespace {

void flush(metric_document& document) {
    [[maybe_unused]] const ssize_t written = write(document.fd, document.buffer, document.used);
    document.used = 0;
}

/// Where the next text goes: room for what a text may take, and for as much of its format again.
char* next_place(metric_document& document) {
    if (sizeof document.buffer - document.used < 2 * longest_text) {
        flush(document);
    }
    return document.buffer + document.used;
}

// Each of these puts a piece at `at` and returns where it ends; null when it does not fit before `end`.

char* put_text(char* at, const char* end, const char* text, size_t length) {
    if (length > static_cast<size_t>(end - at)) {
        return nullptr;
    }
    memcpy(at, text, length);
    return at + length;
}

template <class Number>
char* put_number(char* at, char* end, Number number) {
    const std::to_chars_result result = std::to_chars(at, end, number);
    return result.ec == std::errc() ? result.ptr : nullptr;
}

/// A division of 64 bits is a call into the compiler's library on the router, and std::to_chars would make one for
/// every digit: here it is one for eight of them.
// NOLINTNEXTLINE(misc-no-recursion): twice at most
char* put_counter(char* at, char* end, unsigned long long number) {
    if (number <= UINT32_MAX) {
        return put_number(at, end, static_cast<uint32_t>(number));
    }
    const unsigned long long front = number / 100'000'000;
    at = put_counter(at, end, front);
    if (at == nullptr || end - at < 8) {
        return nullptr;
    }
    uint32_t rest = static_cast<uint32_t>(number - front * 100'000'000);
    for (int i = 7; i >= 0; --i, rest /= 10) {
        at[i] = static_cast<char>('0' + rest % 10);
    }
    return at + 8;
}

char* put_long(char* at, char* end, long number) {
    const auto bits = static_cast<unsigned long>(number);
    if (number >= 0) {
        return put_counter(at, end, bits);
    }
    at = put_text(at, end, "-", 1);
    return at != nullptr ? put_counter(at, end, 0 - bits) : nullptr;
}

// NOLINTBEGIN(clang-analyzer-valist.Uninitialized): document_printf has started the list

/// Puts what the conversion at `format`, behind its percent sign, makes of the next argument, and moves `format` behind
/// it. The list goes by reference: passed by value, it would stand still for the caller on some machines.
char* put_conversion(char* at, char* end, const char*& format, va_list& arguments) {
    switch (*format++) {
    case 'd':
        return put_number(at, end, va_arg(arguments, int));
    case 'u':
        return put_counter(at, end, va_arg(arguments, unsigned));
    case 's': {
        const char* const text = va_arg(arguments, const char*);
        return put_text(at, end, text, strlen(text));
    }
    case 'l':
        if (*format == 'd') {
            format += 1;
            return put_long(at, end, va_arg(arguments, long));
        }
        if (strncmp(format, "lu", 2) == 0) {
            format += 2;
            return put_counter(at, end, va_arg(arguments, unsigned long long));
        }
        return nullptr;
    case '.':
        if (strncmp(format, "64s", 3) == 0) {
            format += 3;
            const char* const text = va_arg(arguments, const char*);
            return put_text(at, end, text, strnlen(text, 64));
        }
        return nullptr;
    default:
        return nullptr;
    }
}

// NOLINTEND(clang-analyzer-valist.Uninitialized)

/// The format itself is shorter than its share of the room: only what the arguments take is watched.
char* put_formatted(char* at, char* end, const char* format, va_list& arguments) {
    while (at != nullptr && *format != '\0') {
        size_t length = 0;
        for (; format[length] != '%' && format[length] != '\0'; ++length) {
            at[length] = format[length];
        }
        at += length;
        format += length;
        if (at > end) {
            return nullptr;
        }
        if (*format == '%') {
            at = put_conversion(at, end, ++format, arguments);
        }
    }
    return at;
}

void report_open_failure(const document_names& names, const char* error) {
    if (names.report != nullptr) {
        names.report(names.writer, names.temporary, error);
        return;
    }
    _warn(names.writer, __LINE__, "open file(%s) error(%s)!", names.temporary, error);
}

void put_index(char (&path)[64], const char* pattern, int32_t index) {
    const char* place = strstr(pattern, "%d");
    snprintf(path, sizeof path, "%.*s%d%s", static_cast<int>(place - pattern), pattern, index, place + 2);
}

/// Returns -1 with errno for anything but a regular file of one name. The folder may be writable for others, who may
/// have planted a link of either kind, a pipe or a device there: a pipe without a reader fails by itself, one with a
/// reader, which might stop reading, must look the same.
int open_regular(const char* path) {
    const int fd = open(path, O_WRONLY | O_CREAT | O_CLOEXEC | O_NOFOLLOW | O_NONBLOCK, 0644);
    struct stat about {};
    if (fd < 0 || (fstat(fd, &about) == 0 && S_ISREG(about.st_mode) && about.st_nlink <= 1)) {
        return fd;
    }
    close(fd);
    errno = ENXIO;
    return -1;
}

} // namespace

indexed_names::indexed_names(const document_names& patterns, int32_t index)
    : document_names{patterns.writer, temporary_path, published_path, link_path, nullptr, patterns.report} {
    put_index(temporary_path, patterns.temporary, index);
    put_index(published_path, patterns.published, index);
    put_index(link_path, patterns.link, index);
}

bool open_document(metric_document& document, const document_names& names) {
    document.fd = open_regular(names.temporary);
    if (document.fd < 0) {
        report_open_failure(names, error_text(errno).words);
        return false;
    }
    return true;
}

void document_text(metric_document& document, const char* text) {
    const size_t length = strlen(text);
    memcpy(next_place(document), text, length);
    document.used += length;
}

void document_printf(metric_document& document, const char* format, ...) {
    // The C library's printf would take three quarters of a busy cycle's instructions.
    char* const place = next_place(document);
    va_list arguments;
    va_start(arguments, format);
    const char* const end = put_formatted(place, place + longest_text - 1, format, arguments);
    va_end(arguments);
    if (end != nullptr) {
        document.used += static_cast<size_t>(end - place);
    }
}

void begin_datalist(metric_document& document) {
    document_text(document, "<?xml version=\"1.0\" ?>\n");
    document_text(document, "<datalist>\n");
}

void end_datalist(metric_document& document) {
    document_text(document, "</datalist>\n");
}

void publish(metric_document& document, const document_names& names, const char* source) {
    flush(document);
    close(document.fd);
    remove(names.published);
    [[maybe_unused]] const int moved = rename(names.temporary, names.published);
    if (file_exists(names.link) == 1) {
        return;
    }
    const char* const target = names.link_target != nullptr ? names.link_target : names.published;
    _exec_cmd(getpid(), source, names.writer, __LINE__, "ln -sf %s %s", target, names.link);
}

} // namespace dashboard
