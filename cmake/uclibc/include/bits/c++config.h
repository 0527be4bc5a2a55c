// libstdc++'s configuration is that of the GNU C library: without what uClibc lacks, its headers suit uClibc, too.
#ifndef DASHBOARD_UCLIBC_CXXCONFIG_H
#define DASHBOARD_UCLIBC_CXXCONFIG_H

#pragma GCC system_header

#include_next <bits/c++config.h>

#undef _GLIBCXX_HAVE_AT_QUICK_EXIT
#undef _GLIBCXX_HAVE_QUICK_EXIT
#undef _GLIBCXX_HAVE_TIMESPEC_GET

#endif
