#include "monitors/metric_document.h"

#include "platform/utils.h"
#include "probes/dashboard_sysinfo.h"

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <fcntl.h>
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

void put_index(char (&path)[64], const char* pattern, int32_t index) {
    const char* place = strstr(pattern, "%d");
    snprintf(path, sizeof path, "%.*s%d%s", static_cast<int>(place - pattern), pattern, index, place + 2);
}

} // namespace

indexed_names::indexed_names(const document_names& patterns, int32_t index)
    : names{patterns.writer, temporary, published, link, patterns.report} {
    put_index(temporary, patterns.temporary, index);
    put_index(published, patterns.published, index);
    put_index(link, patterns.link, index);
}

void warn_open_failure(const char* writer, const char* path, const char* error) {
    _warn(writer, __LINE__, "open file(%s) error(%s)!", path, error);
}

bool open_document(metric_document& document, const document_names& names) {
    // Not blocking: a pipe that somebody planted there must not hold us up. A regular file does not care.
    document.fd = open(names.temporary, O_WRONLY | O_CREAT | O_CLOEXEC | O_NOFOLLOW | O_NONBLOCK, 0644);
    if (document.fd < 0) {
        names.report(names.writer, names.temporary, strerror(errno));
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
    va_list arguments;
    va_start(arguments, format);
    const int length = format_text(room(document), format, arguments);
    va_end(arguments);
    if (length > 0) {
        document.used += static_cast<size_t>(length);
    }
}

void begin_datalist(metric_document& document) {
    document_text(document, "<?xml version=\"1.0\" ?>\n");
    document_text(document, "<datalist>\n");
}

void end_datalist(metric_document& document) {
    document_text(document, "</datalist>\n");
}

void replace_published(metric_document& document, const document_names& names) {
    hand_over(document);
    close(document.fd);
    remove(names.published);
    [[maybe_unused]] const int moved = rename(names.temporary, names.published);
}

void link_published(const char* source, const char* writer, const char* target, const char* link) {
    if (file_exists(link) == 1) {
        return;
    }
    _exec_cmd(getpid(), source, writer, __LINE__, "ln -sf %s %s", target, link);
}

} // namespace dashboard
