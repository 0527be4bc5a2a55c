// The tool as its users meet it: what it prints, what it says when it can't, and its exit status.
#include <csignal>
#include <cstdio>
#include <fcntl.h>
#include <filesystem>
#include <fstream>
#include <sys/stat.h>
#include <unistd.h>

#include <gmock/gmock.h>

#include "host_fixture.h"
#include "platform/csman.h"

namespace dashboard {
namespace {

using testing::HasSubstr;
using testing::StartsWith;

class Csmanctl : public host_test {
protected:
    void expect_done(const std::vector<std::string>& given, const std::string& output) const {
        const tool_result result = tool(given);
        EXPECT_EQ(result.status, 0) << result.errors;
        EXPECT_EQ(result.output, output);
        EXPECT_EQ(result.errors, "");
    }

    void expect_failed(const std::vector<std::string>& given, const std::string& errors) const {
        const tool_result result = tool(given);
        EXPECT_EQ(result.status, 1);
        EXPECT_EQ(result.output, "");
        EXPECT_EQ(result.errors, errors);
    }

    void expect_misuse(const std::vector<std::string>& given, const std::string& error) const {
        const tool_result result = tool(given);
        EXPECT_EQ(result.status, 2);
        EXPECT_EQ(result.output, "");
        EXPECT_EQ(result.errors, "csmanctl: " + error + "\nTry 'csmanctl --help'.\n");
    }
};

TEST_F(Csmanctl, NumberIsSetAndGotByNameAndByNumber) {
    expect_done({"set", "wan.enable", "1"}, "");
    expect_done({"get", "wan.enable"}, "1\n");
    expect_done({"get", "0x150785"}, "1\n");
    expect_done({"get", "1378181"}, "1\n");
    expect_done({"set", "0x8001000C", "-2147483648"}, "");
    expect_done({"get", "0x8001000c"}, "-2147483648\n");
    expect_done({"set", "0x123", "0xffffffff"}, "");
    expect_done({"get", "0x123"}, "-1\n");
}

TEST_F(Csmanctl, DaemonReadsWhatTheToolSetsAndTheOtherWayRound) {
    expect_done({"set", "wan.binding.3", "99"}, "");
    expect_done({"set", "wan.name.99", "ppp0"}, "");
    int value = 0;
    EXPECT_EQ(read_csman_int(open_store(), 0x10602, &value), 0);
    EXPECT_EQ(value, 99);
    char name[16] = "";
    EXPECT_EQ(read_csman(open_store(), 0x8001000B, name, sizeof name, csman_type_string), 0);
    EXPECT_STREQ(name, "ppp0");
    EXPECT_EQ(write_csman_int(open_store(), 0x8015043E, 3), 0);
    expect_done({"get", "start_marker"}, "3\n");
}

TEST_F(Csmanctl, TextIsSetWhereTheItemHoldsOne) {
    expect_done({"set", "wan.name.1", "eth0"}, "");
    expect_done({"get", "wan.name.1"}, "eth0\n");
    expect_done({"set", "wan.name.1", "12"}, "");
    EXPECT_EQ(read_file(store_file("0x80010190")), "string 12\n");
    expect_done({"set-string", "0x123", "two words\n"}, "");
    expect_done({"get", "0x123"}, "two words\n\n");
    expect_done({"set-string", "bond.name_map", ""}, "");
    expect_done({"get", "bond.name_map"}, "\n");
}

TEST_F(Csmanctl, ValueThatTheItemCannotHoldIsRefused) {
    expect_misuse({"set", "wan.enable", "yes"}, "wan.enable: 'yes' is not a number from -2147483648 to 2147483647");
    expect_misuse({"set", "wan.enable", "2147483648"},
                  "wan.enable: '2147483648' is not a number from -2147483648 to 2147483647");
    expect_misuse({"set", "0x123", "eth0"}, "0x123: 'eth0' is not a number from -2147483648 to 2147483647; "
                                            "a text is set with set-string, or quoted in a file");
    expect_misuse({"set-string", "wan.enable", "1"}, "wan.enable: it holds a number, not a text");
    expect_misuse({"set-string", "0x123", std::string(1024, 'x')}, "0x123: a text has at most 1023 bytes");
    expect_misuse({"set", "wan.name.1", std::string(1024, 'x')},
                  "wan.name.1: a text has at most 1023 bytes, and no NUL");
    EXPECT_TRUE(names_in(store_dir).empty());
}

TEST_F(Csmanctl, CommandLineThatIsWrongIsExplained) {
    expect_misuse({}, "a command is missing");
    expect_misuse({"frob"}, "unknown command 'frob'");
    expect_misuse({"get"}, "get: wrong number of arguments");
    expect_misuse({"get", "wan.enable", "wan.view"}, "get: wrong number of arguments");
    expect_misuse({"set", "wan.enable"}, "set: wrong number of arguments");
    expect_misuse({"set-string", "wan.name.1", "a", "b"}, "set-string: wrong number of arguments");
    expect_misuse({"load"}, "load: wrong number of arguments");
    expect_misuse({"list", "--everything"}, "list: unknown option '--everything'");
    expect_misuse({"items", "--html"}, "items: unknown option '--html'");
    expect_misuse({"watch", "--count"}, "watch: --count takes a number above 0");
    expect_misuse({"watch", "--count", "0"}, "watch: --count takes a number above 0");
    for (const char* command : {"get", "unset", "watch"})
        expect_misuse({command, "wan.bindings.1"}, "unknown item 'wan.bindings.1'");
    expect_misuse({"set", "wan.binding.17", "1"}, "unknown item 'wan.binding.17'");
    expect_misuse({"set-string", "0x1234567890", "1"}, "unknown item '0x1234567890'");
}

TEST_F(Csmanctl, UnsetItemFails) {
    expect_failed({"get", "wan.view"}, "csmanctl: wan.view is not set\n");
    expect_failed({"unset", "wan.view"}, "csmanctl: wan.view is not set\n");
    expect_done({"set", "wan.view", "1"}, "");
    expect_done({"unset", "wan.view"}, "");
    expect_failed({"get", "wan.view"}, "csmanctl: wan.view is not set\n");
}

TEST_F(Csmanctl, FileThatHoldsNoItemIsReported) {
    open_store();
    write_file(store_file("0x00150785"), "garbage\n");
    expect_done({"set", "wan.view", "1"}, "");
    const std::string error = "csmanctl: wan.enable: its file in " + store_dir + " holds no item\n";
    expect_failed({"get", "wan.enable"}, error);
    const tool_result listed = tool({"list"});
    EXPECT_EQ(listed.status, 1);
    EXPECT_EQ(listed.output, "wan.view 1\n");
    EXPECT_EQ(listed.errors, error);
    expect_done({"set", "wan.enable", "0"}, "");
    expect_done({"get", "wan.enable"}, "0\n");
}

TEST_F(Csmanctl, ListShowsKnownItemsFirstAndThenTheOthers) {
    expect_done({"list"}, "");
    expect_done({"set", "0x1", "7"}, "");
    expect_done({"set-string", "0x2", "a \"b\"\n"}, "");
    expect_done({"set", "wan.name.16", "eth1"}, "");
    expect_done({"set", "wan.binding.1", "16"}, "");
    expect_done({"set", "dashboard.enable", "1"}, "");
    write_file(store_file("README"), "no item");
    expect_done({"list"}, "dashboard.enable 1\n"
                          "wan.binding.1 16\n"
                          "wan.name.16 \"eth1\"\n"
                          "0x00000001 7\n"
                          "0x00000002 \"a \\\"b\\\"\\n\"\n");
}

TEST_F(Csmanctl, ListOfAllNamesTheUnsetOnesInComments) {
    expect_done({"set", "dashboard.log_mode", "2"}, "");
    expect_done({"set", "0x1", "7"}, "");
    const tool_result all = tool({"list", "--all"});
    EXPECT_EQ(all.status, 0);
    EXPECT_THAT(all.output, StartsWith("# dashboard.enable\ndashboard.log_mode 2\n# cpu.enable\n"));
    EXPECT_THAT(all.output, HasSubstr("# wan.binding.15\n# wan.binding.16\n# wan.name.99\n# wan.name.1\n"));
    EXPECT_THAT(all.output, HasSubstr("# port.power\n0x00000001 7\n"));
}

TEST_F(Csmanctl, StoreThatCannotBeOpenedIsReported) {
    write_file(store_dir, "not a directory");
    expect_failed({"list"}, "csmanctl: can't open the store " + store_dir + ": Not a directory\n");
    expect_failed({"get", "wan.enable"}, "csmanctl: can't open the store " + store_dir + ": Not a directory\n");
}

TEST_F(Csmanctl, ItemThatCannotBeWrittenIsReported) {
    open_store();
    std::filesystem::create_directory(store_file("0x00150785"));
    expect_failed({"set", "wan.enable", "1"}, "csmanctl: wan.enable: Is a directory\n");
    expect_failed({"unset", "wan.enable"}, "csmanctl: wan.enable: Is a directory\n");
}

TEST_F(Csmanctl, HelpNamesEveryCommand) {
    for (const char* spelling : {"--help", "-h", "help"}) {
        const tool_result help = tool({spelling});
        EXPECT_EQ(help.status, 0);
        EXPECT_EQ(help.errors, "");
        EXPECT_THAT(help.output, StartsWith("Usage: csmanctl COMMAND [ARGUMENT...]\n"));
        for (const char* command : {"get ITEM", "set ITEM VALUE", "set-string ITEM TEXT", "unset ITEM", "list [--all]",
                                    "load FILE", "watch [--count N] [ITEM...]", "items [--markdown]", "CSMAN_DIR"})
            EXPECT_THAT(help.output, HasSubstr(command));
    }
    EXPECT_FALSE(std::filesystem::exists(store_dir)) << "help opened the store";
}

TEST_F(Csmanctl, PageOfTheDocumentsIsWhatTheToolPrints) {
    expect_done({"items", "--markdown"}, read_file(ITEMS_PAGE));
}

TEST_F(Csmanctl, TableForTheTerminalHasALineForEachRow) {
    const tool_result table = tool({"items"});
    EXPECT_EQ(table.status, 0);
    EXPECT_THAT(table.output, HasSubstr("0x00150785                wan.enable                    integer "));
    EXPECT_THAT(table.output, HasSubstr("0x00010600 to 0x0001060f  wan.binding.<n>, n = 1 to 16  integer "));
    EXPECT_THAT(table.output, HasSubstr("0x8001000b                wan.name.99                   string, 16 bytes "));
}

TEST_F(Csmanctl, OutputThatCannotBeWrittenIsAFailure) {
    open_store();
    const int full = open("/dev/full", O_WRONLY | O_CLOEXEC);
    const std::string err_path = root + "/err";
    const int err = open(err_path.c_str(), O_WRONLY | O_CREAT | O_CLOEXEC, 0600);
    ASSERT_GE(full, 0);
    ASSERT_GE(err, 0);
    EXPECT_EQ(wait_child(start_tool({"items"}, full, full, err)), 1);
    EXPECT_EQ(read_file(err_path), "csmanctl: can't write the output: No space left on device\n");
    close(full);
    close(err);
}

// The tool watching in the background, and its output line by line.
class watching {
public:
    explicit watching(const std::vector<std::string>& given) {
        int ends[2] = {-1, -1};
        EXPECT_EQ(pipe2(ends, O_CLOEXEC), 0);
        const int nothing = open("/dev/null", O_RDONLY | O_CLOEXEC);
        child_pid = start_tool(given, nothing, ends[1], ends[1]);
        close(nothing);
        close(ends[1]);
        output = fdopen(ends[0], "r");
    }

    watching(const watching&) = delete;
    watching& operator=(const watching&) = delete;

    ~watching() { fclose(output); }

    // Waits for the next line; empty at the end of the output.
    std::string line() {
        char text[256] = "";
        return fgets(text, sizeof text, output) != nullptr ? text : "";
    }

    int end() const { return wait_child(child_pid); }

    pid_t pid() const { return child_pid; }

    int interrupt() const {
        EXPECT_EQ(kill(child_pid, SIGINT), 0);
        return end();
    }

private:
    pid_t child_pid = -1;
    FILE* output = nullptr;
};

TEST_F(Csmanctl, WatchPrintsItemsAndThenTheirChanges) {
    ASSERT_EQ(write_csman_int(open_store(), 0x80150433, 1), 0);
    watching watch({"watch", "--count", "4"});
    EXPECT_EQ(watch.line(), "wan.view 1\n");
    ASSERT_EQ(write_csman_int(open_store(), 0x80150433, 0), 0);
    EXPECT_EQ(watch.line(), "wan.view 0\n");
    ASSERT_EQ(write_csman_int(open_store(), 0x80150433, 0), 0);
    ASSERT_EQ(write_csman_int(open_store(), 0x123, -5), 0);
    EXPECT_EQ(watch.line(), "0x00000123 -5\n");
    write_file(store_file("0x80010190"), "string by hand\n");
    EXPECT_EQ(watch.line(), "wan.name.1 \"by hand\"\n");
    expect_done({"unset", "wan.view"}, "");
    EXPECT_EQ(watch.line(), "# wan.view is unset\n");
    EXPECT_EQ(watch.line(), "");
    EXPECT_EQ(watch.end(), 0);
}

TEST_F(Csmanctl, WatchKeepsToTheNamedItems) {
    ASSERT_EQ(write_csman_int(open_store(), 0x80150433, 1), 0);
    ASSERT_EQ(write_csman_int(open_store(), 0x80150431, 1), 0);
    watching watch({"watch", "wan.view", "0x123"});
    EXPECT_EQ(watch.line(), "wan.view 1\n");
    ASSERT_EQ(write_csman_int(open_store(), 0x80150431, 2), 0);
    ASSERT_EQ(write_csman_int(open_store(), 0x123, 3), 0);
    EXPECT_EQ(watch.line(), "0x00000123 3\n");
    EXPECT_EQ(watch.interrupt(), 128 + SIGINT);
}

TEST_F(Csmanctl, WatchTellsOfAFileThatHoldsNoItem) {
    ASSERT_EQ(write_csman_int(open_store(), 0x80150433, 1), 0);
    watching watch({"watch", "--count", "1"});
    EXPECT_EQ(watch.line(), "wan.view 1\n");
    const std::string spoilt = "csmanctl: mem.view: its file in " + store_dir + " holds no item\n";
    write_file(store_file("0x80150432"), "by hand and wrong\n");
    EXPECT_EQ(watch.line(), spoilt);
    // It was never shown, so its end is nothing to tell.
    std::filesystem::remove(store_file("0x80150432"));
    ASSERT_EQ(write_csman_int(open_store(), 0x80150431, 2), 0);
    EXPECT_EQ(watch.line(), "cpu.view 2\n");
    EXPECT_EQ(watch.end(), 0);
}

// The kernel keeps so many events for one who does not read, and drops the others.
TEST_F(Csmanctl, WatchLooksAgainWhenItMissedEvents) {
    std::ifstream limit("/proc/sys/fs/inotify/max_queued_events");
    int most = 0;
    limit >> most;
    if (most <= 0 || most > 50000) {
        GTEST_SKIP() << "the kernel keeps more events than a test should make: " << most;
    }
    ASSERT_EQ(write_csman_int(open_store(), 0x80150433, 1), 0);
    watching watch({"watch", "--count", "1", "wan.view"});
    EXPECT_EQ(watch.line(), "wan.view 1\n");
    ASSERT_EQ(kill(watch.pid(), SIGSTOP), 0);
    // Two of a kind in a row are kept as one.
    for (int events = 0; events <= most; events += 2) {
        for (const char* name : {"one", "other"}) {
            close(open(store_file(name).c_str(), O_WRONLY | O_CREAT | O_CLOEXEC, 0600));
        }
    }
    ASSERT_EQ(write_csman_int(open_store(), 0x80150433, 7), 0);
    ASSERT_EQ(kill(watch.pid(), SIGCONT), 0);
    EXPECT_EQ(watch.line(), "wan.view 7\n");
    EXPECT_EQ(watch.end(), 0);
}

TEST_F(Csmanctl, WatchEndsWhenTheStoreIsRemoved) {
    ASSERT_EQ(write_csman_int(open_store(), 0x80150433, 1), 0);
    watching watch({"watch", "wan.view"});
    EXPECT_EQ(watch.line(), "wan.view 1\n");
    std::filesystem::rename(store_dir, store_dir + ".old");
    EXPECT_EQ(watch.line(), "csmanctl: the store was removed\n");
    EXPECT_EQ(watch.end(), 1);
}

} // namespace
} // namespace dashboard
