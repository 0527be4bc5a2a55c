// What the tests of the two access-point monitors share.
#ifndef TESTS_UNIT_AP_MONITOR_FIXTURE_H
#define TESTS_UNIT_AP_MONITOR_FIXTURE_H

#include "tests/models/records.h"
#include "tests/unit/monitor_fixture.h"

#include <string>
#include <vector>

namespace dashboard::testing {

class ap_monitor_fixture : public monitor_fixture {
protected:
    void report(int ap, const ap_values& values) { world.file(ap_file(ap), ap_line(values) + "\n"); }
    void fall_silent(int ap) { world.remove(ap_file(ap)); }

    static std::string sec_file(int ap) { return "/tmp/dashboard/aptraffic_sec_" + std::to_string(ap) + ".xml"; }
    static std::string min_file(int ap) { return "/tmp/dashboard/aptraffic_min_" + std::to_string(ap) + ".xml"; }
    static std::string hour_file(int ap) { return "/tmp/dashboard/aptraffic_hour_" + std::to_string(ap) + ".xml"; }

    std::vector<std::string> published_files() { return world.list("/tmp/dashboard"); }
};

} // namespace dashboard::testing

#endif
