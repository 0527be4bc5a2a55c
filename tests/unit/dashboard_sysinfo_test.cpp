// Memory, sessions, CPU count and the existence of paths.
#include "probes/dashboard_sysinfo.h"

#include "tests/unit/heard_messages.h"

#include <gmock/gmock.h>

#include <cerrno>
#include <climits>
#include <random>

namespace dashboard::testing {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

constexpr char no_meminfo[] = "warn[get_mem_usage]: Can not get MemTotal & MemFree";

class MemUsage : public ::testing::Test {
protected:
    int32_t kilobytes(const std::string& meminfo) {
        world.file("/proc/meminfo", meminfo);
        return get_mem_usage(0);
    }
    int32_t percent(const std::string& meminfo) {
        world.file("/proc/meminfo", meminfo);
        return get_mem_usage(1);
    }

    listening_world world;
};

TEST_F(MemUsage, IsTotalWithoutFreeAndTakesNoNoticeOfCaches) {
    world.file("/proc/meminfo", "MemTotal:         124820 kB\nMemFree:           24820 kB\nMemAvailable:      90000 "
                                "kB\nBuffers:           10000 kB\nCached:            40000 kB\n");
    EXPECT_EQ(get_mem_usage(0), 100000);
    EXPECT_EQ(get_mem_usage(1), 80);
    EXPECT_THAT(world.messages(), IsEmpty());
}

TEST_F(MemUsage, IsAPercentageOnlyInModeOne) {
    world.meminfo(1000, 400);
    EXPECT_EQ(get_mem_usage(1), 60);
    for (const int32_t mode : {0, 2, -1, 100}) {
        EXPECT_EQ(get_mem_usage(mode), 600) << mode;
    }
}

TEST_F(MemUsage, TruncatesThePercentage) {
    EXPECT_EQ(percent("MemTotal: 1000 kB\nMemFree: 1 kB\n"), 99);
    EXPECT_EQ(percent("MemTotal: 1000 kB\nMemFree: 991 kB\n"), 0);
    EXPECT_EQ(percent("MemTotal: 3 kB\nMemFree: 1 kB\n"), 66);
    EXPECT_EQ(percent("MemTotal: 500 kB\nMemFree: 500 kB\n"), 0);
}

TEST_F(MemUsage, MultipliesIn32Bits) {
    EXPECT_EQ(percent("MemTotal: 42949673 kB\nMemFree: 1 kB\n"), 99); // 42949672 * 100 still fits
    EXPECT_EQ(percent("MemTotal: 42949674 kB\nMemFree: 1 kB\n"), 0);  // 42949673 * 100 is 4 too many
    EXPECT_EQ(percent("MemTotal: 60000001 kB\nMemFree: 1 kB\n"), 28);
}

TEST_F(MemUsage, SaysWhyTheFileCannotBeOpened) {
    EXPECT_EQ(get_mem_usage(0), -1);
    world.meminfo(1000, 400);
    world.fail("open", EACCES, "/proc/meminfo");
    EXPECT_EQ(get_mem_usage(1), -1);
    EXPECT_THAT(world.messages(),
                ElementsAre("warn[get_mem_usage]: Cannot open /proc/meminfo: No such file or directory",
                            "warn[get_mem_usage]: Cannot open /proc/meminfo: Permission denied"));
}

TEST_F(MemUsage, NeedsTotalAndFreeAsTheFirstTwoLines) {
    for (const char* text :
         {"", "MemTotal: 1000 kB\n", "MemFree: 400 kB\nMemTotal: 1000 kB\n",
          "MemTotal: 1000 kB\nMemAvailable: 500 kB\nMemFree: 400 kB\n", "Memtotal: 1000 kB\nMemFree: 400 kB\n",
          "MemTotal 1000 kB\nMemFree: 400 kB\n", "MemTotal: x kB\nMemFree: 400 kB\n",
          " MemTotal: 1 kB\nMemFree: 1 kB\n", "MemTotal: 1000 MB\nMemFree: 400 MB\n",
          "MemTotal: 1000 kB\nMemFree: kB\n", "MemTotal: 10.5 kB\nMemFree: 4 kB"}) {
        EXPECT_EQ(kilobytes(text), -1) << text;
        EXPECT_THAT(world.messages(), ElementsAre(no_meminfo)) << text;
    }
}

TEST_F(MemUsage, TakesAZeroForAMissingNumber) {
    EXPECT_EQ(kilobytes("MemTotal: 0 kB\nMemFree: 400 kB\n"), -1);
    EXPECT_EQ(kilobytes("MemTotal: 1000 kB\nMemFree: 0 kB\n"), -1);
    EXPECT_THAT(world.messages(), ElementsAre(no_meminfo, no_meminfo));
}

TEST_F(MemUsage, RefusesMoreFreeThanTotal) {
    EXPECT_EQ(kilobytes("MemTotal: 100 kB\nMemFree: 300 kB\n"), -1);
    EXPECT_EQ(percent("MemTotal: 100 kB\nMemFree: 101 kB\n"), -1);
    EXPECT_THAT(world.messages(), ElementsAre("warn[get_mem_usage]: Error: mem_total(100kB),mem_remain(-200)",
                                              "warn[get_mem_usage]: Error: mem_total(100kB),mem_remain(-1)"));
}

TEST_F(MemUsage, MindsWhiteSpaceNoMoreThanScanfDoes) {
    EXPECT_EQ(kilobytes("MemTotal:1000kB\nMemFree:400kB\n"), 600);
    EXPECT_EQ(kilobytes("MemTotal:\t1000\tkB\r\n\n MemFree: 400 kB"), 600);
    EXPECT_EQ(kilobytes("MemTotal: 1000 kB MemFree: 400"), 600);
    EXPECT_EQ(kilobytes("MemTotal: 1000\nMemFree: 400"), 600);
    EXPECT_THAT(world.messages(), IsEmpty());
}

// The same two readings through the C library.
int32_t kilobytes_by_libc(std::string text) {
    FILE* file = fmemopen(text.data(), text.size(), "r");
    unsigned long total = 0;
    unsigned long free = 0;
    const bool found = fscanf(file, "MemTotal:   %lu kB\n", &total) == 1 && total != 0 &&
                       fscanf(file, "MemFree:    %lu kB\n", &free) == 1 && free != 0;
    fclose(file);
    const long used = static_cast<long>(total - free);
    return found && used >= 0 ? static_cast<int32_t>(used) : -1;
}

TEST_F(MemUsage, ReadsGeneratedTextsAsScanfDoes) {
    std::mt19937 random(815);
    const auto one_of = [&random](const std::vector<std::string>& texts) { return texts[random() % texts.size()]; };
    int accepted = 0;
    for (int i = 0; i < 3000; ++i) {
        std::string text = one_of({"MemTotal:", "MemTotal:", "MemTotal:", "MemTotal", " MemTotal:"});
        text += one_of({" ", "     ", "\t", "", "\n"}) + one_of({"1000", "900", "77777", "+1000", "5", "0x10", "-1"});
        text += one_of({" kB\n", "kB\n", " kB", "\tkB\r\n\n", " kb\n", " k\n", " ", "\n", " kBMemFree"});
        text += one_of({"MemFree:", "MemFree:", "MemFree:", " MemFree:", "MemAvailable:", ""});
        text += one_of({" ", "  ", ""}) + one_of({"1", "400", "1000", "0", "-1", "x"}) + one_of({" kB\n", "", "\n"});
        const int32_t expected = kilobytes_by_libc(text);
        accepted += expected >= 0 ? 1 : 0;
        ASSERT_EQ(kilobytes(text), expected) << text;
    }
    EXPECT_GT(accepted, 300);
}

TEST(ProcCpuNr, CountsToTheLargestCore) {
    const auto count = [](const std::string& stat) {
        listening_world world;
        world.file("/proc/stat", stat);
        const int32_t cores = get_proc_cpu_nr();
        EXPECT_THAT(world.messages(), IsEmpty());
        return cores;
    };
    EXPECT_EQ(count("cpu  1 2 3\ncpu0 1 2 3\n"), 1);
    EXPECT_EQ(count("cpu  1 2 3\ncpu0 1 2 3\ncpu1 1 2 3\nintr 5\n"), 2);
    EXPECT_EQ(count("cpu  1\ncpu0 1\ncpu1 1\ncpu2 1\ncpu3 1\n"), 4);
    EXPECT_EQ(count("cpu  1\ncpu3 1\n"), 4);               // cores 0 to 2 are offline
    EXPECT_EQ(count("intr 5\ncpu1 1\nctxt 7\ncpu0 1"), 2); // in any place and order, without a last newline
}

TEST(ProcCpuNr, IsFourAtMost) {
    test_world world;
    for (const char* last :
         {"cpu4 1", "cpu7 1", "cpu127 1", "cpu2147483647 1", "cpu4294967295 1", "cpu99999999999 1"}) {
        world.file("/proc/stat", std::string("cpu  1\ncpu0 1\n") + last + "\n");
        EXPECT_EQ(get_proc_cpu_nr(), 4) << last;
    }
}

TEST(ProcCpuNr, IsZeroWithoutALineForACore) {
    test_world world;
    for (const char* text : {"", "cpu  1 2 3\n", "cpu 0 1 2 3\n", "intr 5\ncp0 1\n cpu0 1\nxcpu0 1\n"}) {
        world.file("/proc/stat", text);
        EXPECT_EQ(get_proc_cpu_nr(), 0) << text;
    }
}

TEST(ProcCpuNr, IsZeroWithAWarningWhenTheFileCannotBeOpened) {
    listening_world world;
    EXPECT_EQ(get_proc_cpu_nr(), 0);
    EXPECT_THAT(world.messages(),
                ElementsAre("warn[get_proc_cpu_nr]: Cannot open /proc/stat: No such file or directory"));
}

TEST(FolderExists, TellsFoldersFromEverythingElse) {
    test_world world;
    const captured_output errors(2);
    world.folder("/tmp/dashboard");
    world.file("/var/run/file", "");
    world.link("/tmp/dashboard", "/var/run/link");
    EXPECT_EQ(folder_exists("/tmp/dashboard"), 1);
    EXPECT_EQ(folder_exists("/tmp/dashboard/"), 1);
    EXPECT_EQ(folder_exists("/var/run/link"), 1);
    EXPECT_EQ(folder_exists("/var/run/file"), 0);
    EXPECT_EQ(folder_exists("/var/run/nothing"), 0);
    EXPECT_EQ(errors.text(), "");
}

TEST(FolderExists, PrintsAnyOtherErrorThanAMissingOne) {
    test_world world;
    const captured_output errors(2);
    world.file("/var/run/file", "");
    EXPECT_EQ(folder_exists("/var/run/file/below"), 0);
    EXPECT_EQ(errors.text(), "stat: Not a directory\n");
}

TEST(FileExists, FollowsLinks) {
    test_world world;
    world.file("/tmp/dashboard/target", "");
    world.link("/tmp/dashboard/target", "/usr/www/link");
    world.link("/tmp/dashboard/nothing", "/usr/www/broken");
    EXPECT_EQ(file_exists("/tmp/dashboard/target"), 1);
    EXPECT_EQ(file_exists("/tmp/dashboard"), 1);
    EXPECT_EQ(file_exists("/usr/www/link"), 1);
    EXPECT_EQ(file_exists("/usr/www/broken"), 0);
    EXPECT_EQ(file_exists("/usr/www/nothing"), 0);
}

} // namespace
} // namespace dashboard::testing
