#include "monitors/metric_document.h"

#include "base/portability.h"
#include "platform/utils.h"
#include "probes/dashboard_sysinfo.h"

#include <cerrno>
#include <cstdarg>
#include <cstdio>
#include <cstring>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace dashboard {

namespace {

void hand_over(metric_document& document) {
    [[maybe_unused]] const ssize_t written = write(document.fd, document.buffer, document.used);
    document.used = 0;
}

/// Room for the longest text there is.
char (&room(metric_document& document))[longest_text] {
    if (sizeof document.buffer - document.used < longest_text) {
        hand_over(document);
    }
    return *reinterpret_cast<char(*)[longest_text]>(document.buffer + document.used);
}

/// Puts a number below 100 down in two digits before `end`. Returns where they begin.
char* put_pair(char* end, size_t number) {
    static constexpr char pairs[] = "00010203040506070809101112131415161718192021222324"
                                    "25262728293031323334353637383940414243444546474849"
                                    "50515253545556575859606162636465666768697071727374"
                                    "75767778798081828384858687888990919293949596979899";
    memcpy(end - 2, pairs + number * 2, 2);
    return end - 2;
}

/// Puts a text together in a room of fixed size. Once a piece does not fit, nothing more is added.
struct text_writer {
    char* at;
    char* const end;
    bool fits = true;

    void put(const char* text, size_t length) {
        fits = fits && length <= static_cast<size_t>(end - at);
        if (fits) {
            memcpy(at, text, length);
            at += length;
        }
    }
    void put_unsigned(unsigned long long value) {
        char digits[20];
        char* first = digits + sizeof digits;
        // A division of 64 bits is a call into the compiler's library on the router: one for eight digits.
        while (value > UINT32_MAX) {
            const unsigned long long front = value / 100'000'000;
            uint32_t eight = static_cast<uint32_t>(value - front * 100'000'000);
            for (int i = 0; i < 4; ++i, eight /= 100) {
                first = put_pair(first, eight % 100);
            }
            value = front;
        }
        uint32_t rest = static_cast<uint32_t>(value);
        for (; rest >= 100; rest /= 100) {
            first = put_pair(first, rest % 100);
        }
        first = put_pair(first, rest);
        first += rest < 10 ? 1 : 0;
        put(first, static_cast<size_t>(digits + sizeof digits - first));
    }
    void put_signed(long long value) {
        const auto bits = static_cast<unsigned long long>(value);
        if (value < 0) {
            put("-", 1);
        }
        put_unsigned(value < 0 ? 0 - bits : bits);
    }
};

/// Adds what the conversion at `at`, behind its percent sign, makes of the next argument. Returns what follows it.
/// By reference: passed by value, the list would stand still for the caller on some machines.
const char* put_conversion(text_writer& out, const char* at, va_list& arguments) {
    const auto is = [at](const char* conversion) { return strncmp(at, conversion, strlen(conversion)) == 0; };
    if (is("d")) {
        out.put_signed(va_arg(arguments, int));
        return at + 1;
    }
    if (is("llu")) {
        out.put_unsigned(va_arg(arguments, unsigned long long));
        return at + 3;
    }
    if (is("ld")) {
        out.put_signed(va_arg(arguments, long));
        return at + 2;
    }
    if (is("u")) {
        out.put_unsigned(va_arg(arguments, unsigned));
        return at + 1;
    }
    if (is("s")) {
        const char* text = va_arg(arguments, const char*);
        out.put(text, strlen(text));
        return at + 1;
    }
    if (is(".64s")) {
        const char* text = va_arg(arguments, const char*);
        out.put(text, strnlen(text, 64));
        return at + 4;
    }
    out.fits = false;
    return at;
}

void put_formatted(text_writer& out, const char* format, va_list& arguments) {
    while (*format != '\0' && out.fits) {
        const char* percent = strchr(format, '%');
        const size_t length = percent != nullptr ? static_cast<size_t>(percent - format) : strlen(format);
        out.put(format, length);
        format += length;
        if (*format == '%') {
            format = put_conversion(out, format + 1, arguments);
        }
    }
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

/// Returns -1 with errno for anything but a regular file. The folder is writable for others, who may have planted a
/// link, a pipe or a device there: a pipe without a reader fails by itself, one with a reader, which might stop
/// reading, must look the same.
int open_regular(const char* path) {
    const int fd = open(path, O_WRONLY | O_CREAT | O_CLOEXEC | O_NOFOLLOW | O_NONBLOCK, 0644);
    struct stat about {};
    if (fd < 0 || (fstat(fd, &about) == 0 && S_ISREG(about.st_mode))) {
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
    memcpy(room(document), text, length);
    document.used += length;
}

void document_printf(metric_document& document, const char* format, ...) {
    // The C library's printf would take three quarters of a busy cycle's instructions.
    char(&place)[longest_text] = room(document);
    text_writer out{place, place + longest_text - 1};
    va_list arguments;
    va_start(arguments, format);
    put_formatted(out, format, arguments);
    va_end(arguments);
    if (out.fits) {
        document.used += static_cast<size_t>(out.at - place);
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
    hand_over(document);
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
