// What libstdc++'s headers need of a C library that knows one locale, "C", and no handles for others.
#ifndef _GLIBCXX_CXX_LOCALE_H
#define _GLIBCXX_CXX_LOCALE_H 1

#pragma GCC system_header

#include <clocale>

#define _GLIBCXX_NUM_CATEGORIES 0

namespace std {

typedef int* __c_locale;

inline int __convert_from_v(const __c_locale&, char* out, const int size, const char* format, ...) {
    __builtin_va_list arguments;
    __builtin_va_start(arguments, format);
    const int length = __builtin_vsnprintf(out, static_cast<size_t>(size), format, arguments);
    __builtin_va_end(arguments);
    return length;
}

} // namespace std

#endif
