#include "ctl/doctor.h"

#include "tests/support/world.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace dashboard {
namespace {

using ::testing::AllOf;
using ::testing::Contains;
using ::testing::Field;
using ::testing::HasSubstr;
using ::testing::Not;
using testing::test_world;

constexpr char mpstat_line[] =
    "Average:     all    1.01    0.00    0.50    0.00    0.00    0.25    0.00    0.00    0.00   98.24\n";

auto wrong_with(const char* words, const char* remedy) {
    return Contains(AllOf(Field(&finding::how, grade::wrong), Field(&finding::text, HasSubstr(words)),
                          Field(&finding::remedy, HasSubstr(remedy))));
}

auto good_with(const char* words) {
    return Contains(AllOf(Field(&finding::how, grade::good), Field(&finding::text, HasSubstr(words))));
}

auto note_with(const char* words) {
    return Contains(AllOf(Field(&finding::how, grade::note), Field(&finding::text, HasSubstr(words))));
}

auto anything_wrong() {
    return Contains(Field(&finding::how, grade::wrong));
}

status_look running() {
    status_look status;
    status.now = 1795279691;
    status.daemon.pid = 31;
    status.daemon.noted = 31;
    status.daemon.lock = lock_state::held;
    status.daemon.process.name = "dashboard";
    status.daemon.process.threads = daemon_threads;
    status.store = {true, 1, 0};
    return status;
}

class doctor : public ::testing::Test {
protected:
    doctor() {
        world.folder("/tmp/dashboard");
        world.tool("mpstat",
                   std::string("printf '") + "Linux\\n" + std::string(mpstat_line, sizeof mpstat_line - 2) + "\\n'");
        world.tool("ifconfig", "echo 'eth0      Link encap:Ethernet'");
        world.tool("netstat", "printf 'Active Internet connections\\nProto Recv-Q\\n'");
        world.tool("ln", "exit 0");
        world.tool("mkdir", "exit 0");
    }
    findings tools() {
        findings list;
        check_tools(running(), list);
        return list;
    }
    findings places(const status_look& status = running()) {
        findings list;
        check_places(status, list);
        return list;
    }
    findings store(const status_look& status) {
        findings list;
        check_store(status, list);
        return list;
    }
    test_world world;
};

TEST(ToolVariants, AreToldByWhatTheyPrint) {
    EXPECT_EQ(fault_of_mpstat(mpstat_line), "");
    EXPECT_EQ(fault_of_mpstat(""), "prints nothing");
    EXPECT_EQ(fault_of_mpstat("Linux 6.1\n"), "prints no line of averages");
    EXPECT_EQ(fault_of_mpstat("Average:     all    1,01    0,00\n"), "does not print ten columns with a point");
    EXPECT_EQ(fault_of_ifconfig("eth0      Link encap:Ethernet"), "");
    EXPECT_EQ(fault_of_ifconfig("eth0: flags=4163<UP>  mtu 1500"), "prints no \"Link encap\"");
    EXPECT_EQ(fault_of_netstat("Active Internet connections (servers)\nProto Recv-Q\n"), "");
    EXPECT_EQ(fault_of_netstat("Netid State\n"), "does not print two lines of heading");
}

TEST_F(doctor, IsContentWithTheRightTools) {
    EXPECT_THAT(tools(), Not(anything_wrong()));
}

TEST_F(doctor, NamesAToolThatIsMissing) {
    world.no_tool("mpstat");
    EXPECT_THAT(tools(), wrong_with("mpstat is missing: the daemon ends itself", "mpstat"));
}

TEST_F(doctor, NamesAToolOfTheOtherVariant) {
    world.tool("ifconfig", "echo 'eth0: flags=4163<UP>'");
    EXPECT_THAT(tools(), wrong_with("prints no \"Link encap\": no interface counts as up", "ifconfig"));
}

TEST_F(doctor, NamesAToolThatDoesNotCount) {
    world.tool("wc", "echo none");
    EXPECT_THAT(tools(), wrong_with("does not count lines", "wc"));
}

TEST_F(doctor, FindsMissingFolders) {
    world.remove("/tmp/dashboard");
    EXPECT_THAT(places(), wrong_with("/tmp/dashboard is missing", "mkdir -p /tmp/dashboard"));
    world.file("/tmp/dashboard", "a file");
    EXPECT_THAT(places(), wrong_with("/tmp/dashboard is no folder", "rm /tmp/dashboard"));
}

TEST_F(doctor, FindsAFolderThatIsNotWritable) {
    world.fail("access", EROFS, "/tmp/dashboard");
    EXPECT_THAT(places(), wrong_with("/tmp/dashboard is not writable", "mount -t tmpfs tmpfs /tmp/dashboard"));
    world.fail("access", EACCES, "/tmp/dashboard");
    EXPECT_THAT(places(), wrong_with("/tmp/dashboard is not writable", "run this as root"));
}

TEST_F(doctor, FindsDocumentsWithoutALink) {
    status_look status = running();
    document_state document;
    document.name = "wan_traffic_sec_0.xml";
    status.documents.push_back(document);
    EXPECT_THAT(places(status), wrong_with("1 documents are not linked in /usr/www: wan_traffic_sec_0.xml", "ln -sf"));
    status.documents[0].linked = true;
    EXPECT_THAT(places(status), good_with("all 1 documents are linked"));
}

TEST_F(doctor, KnowsAStaleLockFromAHeldOne) {
    status_look status = running();
    EXPECT_THAT(places(status), Not(anything_wrong()));
    status.daemon.process.name = "vi";
    EXPECT_THAT(places(status), wrong_with("is locked by process 31 (vi), which is no daemon", "kill 31"));
    status = running();
    status.daemon.lock_lost = true;
    EXPECT_THAT(places(status), wrong_with("was removed while the daemon held it", "restart"));
    status = running();
    status.daemon.pid = 0;
    status.daemon.noted = 0x7ffffff0;
    status.daemon.lock = lock_state::stale;
    EXPECT_THAT(places(status), good_with("left from an earlier daemon and not locked"));
}

TEST_F(doctor, CannotTellOfALockThatItMayNotRead) {
    status_look status = running();
    status.daemon.lock = lock_state::unreadable;
    EXPECT_THAT(places(status), note_with("cannot be read, so its lock is not known"));
}

TEST_F(doctor, LooksAtTheClock) {
    status_look status = running();
    status.now = 86400;
    EXPECT_THAT(places(status), wrong_with("the clock shows second 86400", "date -s"));
    status = running();
    document_state document;
    document.linked = true;
    document.content.times = {static_cast<int32_t>(status.now) + 100};
    status.documents.push_back(document);
    EXPECT_THAT(places(status), Contains(Field(&finding::text, HasSubstr("samples from the future"))));
}

TEST_F(doctor, FindsAStoreThatCannotBeOpened) {
    status_look status = running();
    status.store.reachable = false;
    EXPECT_THAT(store(status), wrong_with("store cannot be opened", "root"));
}

TEST_F(doctor, FindsModulesThatAreOnWhileTheDaemonIsOff) {
    status_look status = running();
    status.store.enable = 0;
    status.modules[0].enable = 1;
    EXPECT_THAT(store(status), wrong_with("1 modules are on, but dashboard.enable is not 1", "dashboard.enable"));
    status.store.enable = 1;
    status.modules[0].enable = 3;
    EXPECT_THAT(store(status), wrong_with("cpu.enable is 3", "cpu.enable"));
}

TEST_F(doctor, FollowsTheWanItems) {
    status_look status = running();
    status.modules[2].enable = 1;
    EXPECT_THAT(store(status), wrong_with("no WAN has an interface", "wan.name.1"));
    world.csman.set(0x00010600, 1);
    EXPECT_THAT(store(status), wrong_with("wan.binding.1 is 1, but wan.name.1 is empty", "wan.name.1"));
    world.csman.set_string(0x80010190, "eth9");
    EXPECT_THAT(store(status), wrong_with("WAN 1 follows eth9, and there is no such interface", "wan.binding.1"));
    world.folder("/sys/class/net/eth9");
    EXPECT_THAT(store(status), Not(anything_wrong()));
    world.csman.set(0x00010601, 1);
    EXPECT_THAT(store(status), Contains(Field(&finding::text, HasSubstr("WAN 2 and an earlier one both follow eth9"))));
    world.csman.set(0x00010602, 50);
    EXPECT_THAT(store(status), wrong_with("wan.binding.3 is 50, which names nothing", "wan.binding.3"));
}

TEST_F(doctor, FollowsTheItemsOfOtherModules) {
    status_look status = running();
    status.modules[5].enable = 1;
    world.csman.set_string(0x8000f391, "wlan0");
    EXPECT_THAT(store(status), wrong_with("wifi24.interface is 'wlan0'", "ra0"));
    status.modules[3].enable = 1;
    world.csman.set(0x00b20071, 1);
    EXPECT_THAT(store(status), wrong_with("there is no interface bond1", "bond1.enable"));
    status.modules[7].enable = 1;
    world.file("/tmp/aptraffic/APTraffic_3", "");
    EXPECT_THAT(store(status), wrong_with("/tmp/aptraffic/APTraffic_3 is empty", "rm /tmp/aptraffic/APTraffic_3"));
}

TEST_F(doctor, NotesWhatModulesFindNothingToMeasure) {
    status_look status = running();
    for (const size_t module : {3U, 4U, 5U, 7U, 10U}) {
        status.modules[module].enable = 1;
    }
    world.csman.set_string(0x8000f391, "rai0");
    world.file("/tmp/aptraffic/APTraffic_tmp_of_another", "");
    world.file("/tmp/aptraffic/other", "");
    world.fail("stat", ENOENT, "APTraffic_"); // gone before it was looked at
    const findings list = store(status);
    EXPECT_THAT(list, note_with("bond.enable is 1, but no bond is configured"));
    EXPECT_THAT(list, note_with("lan.enable is 1, and there is no bridge br0 to br4"));
    EXPECT_THAT(list, note_with("Wi-Fi 2.4: there is no interface rai0"));
    EXPECT_THAT(list, note_with("access points are on, but no record lies in /tmp/aptraffic"));
    EXPECT_THAT(list, note_with("sim.enable is 1, but neither slot's state is 1"));
    EXPECT_THAT(list, Not(anything_wrong()));
}

TEST_F(doctor, MendsWithTheToolThatIsThere) {
    status_look status = running();
    status.modules[5].enable = 1;
    EXPECT_THAT(store(status), wrong_with("wifi24.interface is ''", "set item 0x8000f391 (wifi24.interface) to ra0"));
    world.tool("csmanctl", "exit 0");
    EXPECT_THAT(store(status), wrong_with("wifi24.interface is ''", "csmanctl set wifi24.interface ra0"));
    world.no_tool("mpstat");
    world.no_tool("netstat");
    EXPECT_THAT(tools(), wrong_with("mpstat is missing", "put busybox's or an equal mpstat into"));
    world.tool("apt-get", "exit 0");
    EXPECT_THAT(tools(), wrong_with("mpstat is missing", "apt-get install sysstat"));
    EXPECT_THAT(tools(), wrong_with("netstat is missing", "apt-get install busybox && mkdir -p "));
}

TEST_F(doctor, NotesThatTheMemoryModuleMissesItsTool) {
    status_look status = running();
    status.modules[1].enable = 1;
    findings list;
    check_tools(status, list);
    EXPECT_THAT(list, note_with("freemem is missing"));
}

TEST(FindingText, KeepsCommandsWhole) {
    const finding one = {grade::wrong, "words that are too many for it", "a command that is longer than the width"};
    EXPECT_EQ(finding_text(one, false, 26), "WRONG words that are too\n      many for it\n"
                                            "      mend: a command that is longer than the width\n");
}

} // namespace
} // namespace dashboard
