// A process whose standard input is closed gets descriptor 0 for the next file that it opens: one like any other.
#include "monitors/metric_document.h"
#include "monitors/metric_export.h"
#include "probes/dashboard_aptraffic.h"
#include "probes/dashboard_netdev.h"
#include "probes/dashboard_sysinfo.h"
#include "tests/models/records.h"
#include "tests/unit/bond_fixture.h"

#include <fcntl.h>

namespace dashboard::testing {
namespace {

using ::testing::IsEmpty;

// The lowest descriptor is free for as long as it lives.
class no_standard_input {
public:
    no_standard_input() { close(0); }
    ~no_standard_input() {
        dup2(before, 0);
        close(before);
    }
    no_standard_input(const no_standard_input&) = delete;
    no_standard_input& operator=(const no_standard_input&) = delete;

    static bool is_free() { return fcntl(0, F_GETFD) < 0; }

private:
    int before = dup(0);
};

class DescriptorZero : public bond_fixture {};

TEST_F(DescriptorZero, IsReadFrom) {
    world.netdev({{"eth7", 1, 2}});
    world.meminfo(1000, 300);
    world.file("/proc/stat", "cpu0 1\ncpu1 1\n");
    world.file("/proc/sys/net/netfilter/nf_conntrack_max", "100\n");
    world.tool("netstat", "printf '1\\n2\\n3\\n4\\n5\\n'");
    world.file(ap_file(5), ap_line(counted_from(1)));
    ap_traffic_record record{};
    const netdev_entry* entry = nullptr;

    const no_standard_input closed;
    ASSERT_TRUE(no_standard_input::is_free());
    main_netdev_info();
    EXPECT_EQ(netdev_found(0, "eth7", &entry), 0);
    EXPECT_EQ(get_mem_usage(0), 700);
    EXPECT_EQ(get_proc_cpu_nr(), 2);
    EXPECT_EQ(get_netsession_usage(), 3u);
    EXPECT_EQ(get_ap_traffic_info(ap_file(5).c_str(), &record), 1);
    EXPECT_TRUE(no_standard_input::is_free()) << "each was closed";
    EXPECT_THAT(world.messages(), IsEmpty());
}

TEST_F(DescriptorZero, IsAlsoASlaveList) {
    enable(0);
    slaves(0, "0:eth0\n");
    ASSERT_EQ(init(module), 1);
    {
        const no_standard_input closed;
        ASSERT_EQ(check(module), 1);
        EXPECT_TRUE(no_standard_input::is_free());
    }
    expect_state(0, slave_list(0), {"WAN-1(slave1)"});
}

TEST_F(DescriptorZero, IsWrittenTo) {
    world.csman.set(sim_state, 1);
    ASSERT_EQ(init(sim_strquality_monitor), 1);
    const int32_t seconds = 0;
    {
        const no_standard_input closed;
        EXPECT_EQ(loop(sim_strquality_monitor, 1), 1);
        EXPECT_EQ(sim_strquality_monitor.data_export(csman_handle_of_tests, &seconds), 1);
        EXPECT_TRUE(no_standard_input::is_free());
    }
    expect_document("sim_strquality_sec", sim_document({sim_at(t0, {}, {})}));
    expect_file("/tmp/dashboard/sim_strquality_sec_0.csv", sim_csv({sim_at(t0, {}, {})}));
}

} // namespace
} // namespace dashboard::testing
