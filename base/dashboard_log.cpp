#include "base/dashboard_log.h"

#include "base/log_output.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <unistd.h>

namespace dashboard {

std::atomic<int32_t> log2console{0};
std::atomic<int32_t> log2syslog{0};

namespace {

constexpr size_t message_size = 256;

__attribute__((format(printf, 5, 0))) void build_line(char (&text)[longest_line], const char* level, const char* func,
                                                      int32_t line, const char* format, va_list arguments) {
    char message[message_size];
    vsnprintf(message, sizeof message, format, arguments);
    snprintf(text, sizeof text, "%s[%s:%d]: %s", level, func, line, message);
}

__attribute__((format(printf, 4, 0))) void log_line(const char* level, const char* func, int32_t line,
                                                    const char* format, va_list arguments) {
    if (log2console == 0 && log2syslog == 0) {
        return;
    }
    char text[longest_line];
    build_line(text, level, func, line, format, arguments);
    if (log2console == 1) {
        print_line(text);
    }
    if (log2syslog == 1) {
        send_line(text);
    }
}

} // namespace

void _msg(const char* func, int32_t line, const char* format, ...) {
    va_list arguments;
    va_start(arguments, format);
    log_line("log", func, line, format, arguments);
    va_end(arguments);
}

void _warn(const char* func, int32_t line, const char* format, ...) {
    va_list arguments;
    va_start(arguments, format);
    log_line("warn", func, line, format, arguments);
    va_end(arguments);
}

void _fatal(const char* func, int32_t line, const char* format, ...) {
    char text[longest_line];
    va_list arguments;
    va_start(arguments, format);
    build_line(text, "fatal", func, line, format, arguments);
    va_end(arguments);
    print_line(text);
    send_line(text);
    exit(1);
}

int format_text(char (&text)[longest_text], const char* format, va_list arguments) {
    const int length = vsnprintf(text, sizeof text, format, arguments);
    return length < static_cast<int>(sizeof text) ? length : -1;
}

int dh_printf(int fd, const char* format, ...) {
    if (fd < 0) {
        _warn("dh_printf", __LINE__, "fd error(%d)!\n", fd);
        return -1;
    }
    char text[longest_text];
    va_list arguments;
    va_start(arguments, format);
    const int length = format_text(text, format, arguments);
    va_end(arguments);
    if (length < 0) {
        return -1;
    }
    return static_cast<int>(write(fd, text, strlen(text)));
}

} // namespace dashboard
