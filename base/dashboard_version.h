// The version, as every program of the project carries it.
#ifndef BASE_DASHBOARD_VERSION_H
#define BASE_DASHBOARD_VERSION_H

/// "@(#)dashboard 1.0.0": stands in every program that ships, for `what`, `strings` and dashboardctl. The daemon takes
/// no option that would say it.
extern "C" const char dashboard_version_mark[];

namespace dashboard {

/// "1.0.0".
const char* version_of_dashboard();

} // namespace dashboard

#endif
