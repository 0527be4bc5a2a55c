// The player as a program: what it writes, read back by the daemon's own reader, and how it ends.
#include "platform/csman.h"
#include "probes/dashboard_aptraffic.h"

#include "host_fixture.h"

#include <chrono>
#include <csignal>
#include <cstdlib>
#include <fcntl.h>
#include <filesystem>
#include <sys/stat.h>
#include <thread>
#include <unistd.h>

#include <gmock/gmock.h>

namespace dashboard {
namespace {

using testing::ElementsAre;
using testing::StartsWith;

class PlayRouter : public host_test {
protected:
    PlayRouter() {
        program = PLAY_ROUTER_EXECUTABLE;
        folder = root + "/aptraffic";
    }

    tool_result play(std::vector<std::string> given) const {
        given.insert(given.end(), {"--folder", folder});
        return tool(given);
    }

    void expect_played(const std::vector<std::string>& given) const {
        const tool_result result = play(given);
        EXPECT_EQ(result.status, 0) << result.errors;
        EXPECT_EQ(result.output, "");
        EXPECT_EQ(result.errors, "");
    }

    ap_traffic_record record(int index) const {
        ap_traffic_record read = {};
        EXPECT_EQ(get_ap_traffic_info((folder + "/APTraffic_" + std::to_string(index)).c_str(), &read), 1) << index;
        return read;
    }

    int item(unsigned csid) {
        int value = -1;
        EXPECT_EQ(read_csman_int(open_store(), csid, &value), 0) << std::hex << csid;
        return value;
    }

    std::string folder;
};

TEST_F(PlayRouter, OneRoundWritesRecordsAndSignals) {
    expect_played({"--rounds", "1"});
    EXPECT_THAT(names_in(folder), ElementsAre("APTraffic_0", "APTraffic_1"));
    EXPECT_EQ(record(1).ap_txrx, 0u);
    EXPECT_EQ(item(0x801e5020), 1);
    EXPECT_EQ(item(0x801e5021), 1);
    EXPECT_EQ(item(0x801e5f00), 60);
    EXPECT_EQ(item(0x801e5f01), 85);
    EXPECT_EQ(item(0x801e8860), 88);
    EXPECT_EQ(item(0x801e8861), 108);
    EXPECT_EQ(item(0x801e7e20), 9);
    EXPECT_EQ(item(0x801e7e21), 14);
    EXPECT_EQ(item(0x801e2be0), 14);
    EXPECT_EQ(item(0x801e2be1), 0);
    EXPECT_EQ(item(0x801e7c20), 70);
    EXPECT_EQ(item(0x801e7c21), 97);
    EXPECT_EQ(item(0x801e5e00), 5);
    EXPECT_EQ(item(0x801e5e01), 11);
}

TEST_F(PlayRouter, AsManyAsTheRouterManages) {
    expect_played({"--rounds", "2", "--access-points", "128", "--sims", "1"});
    EXPECT_EQ(names_in(folder).size(), 128u);
    const ap_traffic_record last = record(127);
    EXPECT_GT(last.ap_first, 0u);
    EXPECT_EQ(last.ap_txrx, last.ap_first + last.ap_second);
    EXPECT_EQ(last.vap50_txrx[7], last.ap_txrx);
    EXPECT_EQ(last.vap24_txrx[7], 0u);
    int state = 0;
    EXPECT_LT(read_csman_int(open_store(), 0x801e5021, &state), 0);
}

TEST_F(PlayRouter, AwayAccessPointHasNoRecord) {
    expect_played({"--rounds", "1", "--access-points", "3"});
    ASSERT_EQ(names_in(folder).size(), 3u);
    expect_played({"--rounds", "1", "--access-points", "3", "--away", "30"});
    EXPECT_THAT(names_in(folder), ElementsAre("APTraffic_0", "APTraffic_1"));
}

TEST_F(PlayRouter, InterfaceIsCounted) {
    expect_played({"--rounds", "1", "--interface", "lo"});
    const ap_traffic_record first = record(0);
    expect_played({"--rounds", "1", "--interface", "lo"});
    EXPECT_GE(record(0).ap_first, first.ap_first);
    EXPECT_EQ(first.vap24_txrx[0], first.ap_txrx);
    std::string counted = read_file("/sys/class/net/lo/statistics/tx_bytes");
    EXPECT_LE(record(0).ap_first, std::stoull(counted));
    expect_played({"--rounds", "1", "--interface", "no_such_if"});
    EXPECT_EQ(record(0).ap_txrx, 0u);
}

TEST_F(PlayRouter, NothingToPlayTouchesNeitherFolderNorItems) {
    expect_played({"--rounds", "1", "--access-points", "0", "--sims", "0"});
    EXPECT_FALSE(std::filesystem::exists(folder));
    EXPECT_TRUE(names_in(store_dir).empty());
}

TEST_F(PlayRouter, SignalsEndItWithWholeFilesEvenWhereTheyAreIgnored) {
    for (const int number : {SIGINT, SIGTERM, SIGHUP}) {
        std::filesystem::remove_all(folder);
        signal(number, SIG_IGN);
        const int null = open("/dev/null", O_RDWR | O_CLOEXEC);
        const pid_t player = start_tool({"--folder", folder, "--access-points", "40"}, null, null, null, program);
        signal(number, SIG_DFL);
        close(null);
        // The signal is heard as soon as it plays, and it plays when its first round is to be seen.
        const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(60);
        while (access((folder + "/APTraffic_39").c_str(), F_OK) != 0 && std::chrono::steady_clock::now() < deadline) {
            std::this_thread::sleep_for(std::chrono::milliseconds(5));
        }
        kill(player, number);
        EXPECT_EQ(wait_child(player), 0) << number;
        EXPECT_EQ(names_in(folder).size(), 40u) << "and no temporary file";
        EXPECT_TRUE(temporaries().empty());
    }
}

TEST_F(PlayRouter, FailuresSayWhatAndWhere) {
    write_file(folder, "not a folder");
    tool_result result = play({"--rounds", "1"});
    EXPECT_EQ(result.status, 1);
    EXPECT_EQ(result.errors, "play_router: " + folder + "/APTraffic_tmp: Not a directory\n");
    std::filesystem::remove(folder);

    std::filesystem::create_directory(folder);
    std::filesystem::create_symlink(root + "/elsewhere", folder + "/APTraffic_tmp");
    result = play({"--rounds", "1"});
    EXPECT_EQ(result.status, 1);
    EXPECT_EQ(result.errors, "play_router: " + folder + "/APTraffic_tmp: Too many levels of symbolic links\n");
    EXPECT_FALSE(std::filesystem::exists(root + "/elsewhere")) << "a planted link is not followed";

    result = tool({"--rounds", "1", "--folder", root + "/missing/aptraffic"});
    EXPECT_EQ(result.status, 1);
    EXPECT_EQ(result.errors, "play_router: " + root + "/missing/aptraffic: No such file or directory\n");

    std::filesystem::remove_all(store_dir);
    write_file(store_dir, "not a directory");
    result = play({"--rounds", "1"});
    EXPECT_EQ(result.status, 1);
    EXPECT_EQ(result.errors, "play_router: can't open the store " + store_dir + ": Not a directory\n");
}

TEST_F(PlayRouter, ItemThatCannotBeWrittenIsNamed) {
    open_store();
    std::filesystem::create_directory(store_file("0x801e5f01"));
    const tool_result result = play({"--rounds", "1"});
    EXPECT_EQ(result.status, 1);
    EXPECT_EQ(result.errors, "play_router: " + store_dir + ": sim2.rssi: Is a directory\n");
}

TEST_F(PlayRouter, CommandLineThatIsWrongIsExplained) {
    const tool_result result = tool({"--sims", "3"});
    EXPECT_EQ(result.status, 2);
    EXPECT_EQ(result.output, "");
    EXPECT_EQ(result.errors, "play_router: --sims: '3' is not what it takes\nTry 'play_router --help'.\n");
    const tool_result help = tool({"--help"});
    EXPECT_EQ(help.status, 0);
    EXPECT_THAT(help.output, StartsWith("Usage: play_router [OPTION]...\n"));
    EXPECT_FALSE(std::filesystem::exists(store_dir)) << "help opened the store";
}

} // namespace
} // namespace dashboard
