#include "base/dashboard_version.h"

#define dashboard_version_start "@(#)dashboard "

const char dashboard_version_mark[] = dashboard_version_start DASHBOARD_VERSION;

namespace dashboard {

const char* version_of_dashboard() {
    return dashboard_version_mark + sizeof dashboard_version_start - 1;
}

} // namespace dashboard
