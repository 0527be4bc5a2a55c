// What one caller sees of libcsman.so.
#include "platform/csman.h"

#include <cerrno>
#include <climits>
#include <csignal>
#include <cstring>
#include <fcntl.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

#include "host_fixture.h"
#include "platform/host/csman_store.h"

namespace dashboard {
namespace {

constexpr unsigned int wan_enable = 0x00150785;
constexpr unsigned int wan_name = 0x8001000B;
constexpr int untouched = 4711;

class Csman : public host_test {
protected:
    int read_int(unsigned int csid) {
        int value = untouched;
        const int result = read_csman_int(open_store(), csid, &value);
        EXPECT_EQ(result == 0, value != untouched);
        return value;
    }

    // Reads a string into a buffer of `size` bytes within a larger one that is full of '#'.
    std::string read_into(size_t size, int expected = 0) {
        std::string buffer(size + 4, '#');
        EXPECT_EQ(read_csman(open_store(), wan_name, buffer.data(), static_cast<int>(size), csman_type_string),
                  expected);
        return buffer;
    }

    void set_text(const std::string& text) {
        store_item item;
        item.is_string = true;
        item.length = text.size();
        memcpy(item.text, text.data(), text.size());
        ASSERT_EQ(store_write(open_store(), wan_name, item), 0);
    }

    mode_t mode_of(const std::string& path) {
        struct stat status;
        EXPECT_EQ(lstat(path.c_str(), &status), 0) << path;
        return status.st_mode;
    }
};

TEST_F(Csman, IntegerComesBackAsItWasWritten) {
    for (const int value : {0, 1, -1, 99, INT_MAX, INT_MIN}) {
        EXPECT_EQ(write_csman_int(open_store(), wan_enable, value), 0);
        EXPECT_EQ(read_int(wan_enable), value);
    }
}

TEST_F(Csman, ItemIsATextFileNamedByItsCsid) {
    EXPECT_EQ(write_csman_int(open_store(), 0x150785, -42), 0);
    EXPECT_EQ(read_file(store_file("0x00150785")), "int -42\n");
    set_text("eth0");
    EXPECT_EQ(read_file(store_file("0x8001000b")), "string eth0\n");
    EXPECT_EQ(names_in(store_dir), (std::vector<std::string>{"0x00150785", "0x8001000b"}));
}

TEST_F(Csman, EveryBitOfACsidCounts) {
    for (const unsigned int csid : {0u, 0x8001000Bu, 0x0001000Bu, 0xFFFFFFFFu, 0x80150433u}) {
        EXPECT_EQ(write_csman_int(open_store(), csid, static_cast<int>(csid % 1000)), 0);
    }
    for (const unsigned int csid : {0u, 0x8001000Bu, 0x0001000Bu, 0xFFFFFFFFu, 0x80150433u}) {
        EXPECT_EQ(read_int(csid), static_cast<int>(csid % 1000));
    }
}

TEST_F(Csman, UnsetItemLeavesTheValueAndTheBufferAsTheyWere) {
    int value = untouched;
    EXPECT_LT(read_csman_int(open_store(), wan_enable, &value), 0);
    EXPECT_EQ(value, untouched);
    EXPECT_EQ(read_into(16, -1), std::string(20, '#'));
}

TEST_F(Csman, StringShorterThanTheBufferIsTerminated) {
    set_text("fifteen bytes..");
    EXPECT_EQ(read_into(16), std::string("fifteen bytes..") + '\0' + "####");
    set_text("");
    EXPECT_EQ(read_into(16), '\0' + std::string(19, '#'));
}

TEST_F(Csman, StringAsLongAsTheBufferIsNotTerminated) {
    set_text("sixteen bytes...");
    EXPECT_EQ(read_into(16), "sixteen bytes...####");
}

TEST_F(Csman, LongerStringIsCut) {
    set_text("seventeen bytes..");
    EXPECT_EQ(read_into(16), "seventeen bytes.####");
    EXPECT_EQ(read_into(1), "s####");
}

TEST_F(Csman, StringKeepsBlanksNewlinesAndBytesOfOtherTongues) {
    const std::string text = " two words\n\tand \xc3\xa4\xff\n";
    set_text(text);
    EXPECT_EQ(read_into(64).substr(0, text.size() + 2), text + '\0' + '#');
}

TEST_F(Csman, LongestStringFitsAndALongerOneIsRefused) {
    set_text(std::string(store_text_max, 'x'));
    EXPECT_EQ(read_into(store_text_max + 1), std::string(store_text_max, 'x') + '\0' + "####");
    store_item item = {};
    item.is_string = true;
    item.length = store_text_max + 1;
    EXPECT_EQ(store_write(open_store(), wan_name, item), -EINVAL);
    item.length = 3; // three NULs
    EXPECT_EQ(store_write(open_store(), wan_name, item), -EINVAL);
    EXPECT_EQ(read_into(1), "x####");
}

TEST_F(Csman, IntegerAndStringAreNotTakenForEachOther) {
    set_text("99");
    int value = untouched;
    EXPECT_LT(read_csman_int(open_store(), wan_name, &value), 0);
    EXPECT_EQ(value, untouched);
    EXPECT_EQ(write_csman_int(open_store(), wan_name, 99), 0);
    EXPECT_EQ(read_into(16, -1), std::string(20, '#'));
}

TEST_F(Csman, FileThatIsNoItemFailsAndLeavesTheValue) {
    const std::string bad[] = {"",
                               "\n",
                               "1\n",
                               "int\n",
                               "int \n",
                               "int -\n",
                               "int 1",
                               "int 1 \n",
                               "int  1\n",
                               "int 1\n\n",
                               "int +1\n",
                               "int 0x1\n",
                               "int 1a\n",
                               "Int 1\n",
                               "int 2147483648\n",
                               "int -2147483649\n",
                               "int 99999999999999999999999\n",
                               std::string("int 1\0\n", 7)};
    open_store();
    for (const std::string& content : bad) {
        write_file(store_file("0x00150785"), content);
        int value = untouched;
        EXPECT_LT(read_csman_int(open_store(), wan_enable, &value), 0) << content;
        EXPECT_EQ(value, untouched) << content;
    }
    const std::string bad_strings[] = {"",
                                       "string eth0",
                                       "string\n",
                                       "eth0\n",
                                       std::string("string a\0b\n", 11),
                                       "string " + std::string(store_text_max + 1, 'x') + "\n",
                                       std::string(100000, 'x')};
    for (const std::string& content : bad_strings) {
        write_file(store_file("0x8001000b"), content);
        EXPECT_EQ(read_into(16, -1), std::string(20, '#')) << content.substr(0, 20);
    }
}

TEST_F(Csman, FileMayBeWrittenByHand) {
    open_store();
    write_file(store_file("0x00150785"), "int 007\n");
    EXPECT_EQ(read_int(wan_enable), 7);
    write_file(store_file("0x00150785"), "int -0\n");
    EXPECT_EQ(read_int(wan_enable), 0);
}

TEST_F(Csman, PlantedLinkIsNotFollowed) {
    const std::string target = root + "/target";
    write_file(target, "int 1\n");
    open_store();
    ASSERT_EQ(symlink(target.c_str(), store_file("0x00150785").c_str()), 0);
    int value = untouched;
    EXPECT_LT(read_csman_int(open_store(), wan_enable, &value), 0);
    EXPECT_EQ(value, untouched);
    EXPECT_EQ(write_csman_int(open_store(), wan_enable, 2), 0);
    EXPECT_EQ(read_file(target), "int 1\n");
    EXPECT_TRUE(S_ISREG(mode_of(store_file("0x00150785"))));
    EXPECT_EQ(read_int(wan_enable), 2);
}

TEST_F(Csman, PipeInAnItemsPlaceDoesNotBlock) {
    open_store();
    ASSERT_EQ(mkfifo(store_file("0x00150785").c_str(), 0600), 0);
    int value = untouched;
    EXPECT_LT(read_csman_int(open_store(), wan_enable, &value), 0);
    EXPECT_EQ(value, untouched);
}

TEST_F(Csman, DirectoryInAnItemsPlaceFailsAndLeavesNoFile) {
    open_store();
    ASSERT_EQ(mkdir(store_file("0x00150785").c_str(), 0700), 0);
    int value = untouched;
    EXPECT_LT(read_csman_int(open_store(), wan_enable, &value), 0);
    EXPECT_LT(write_csman_int(open_store(), wan_enable, 1), 0);
    EXPECT_EQ(value, untouched);
    EXPECT_EQ(names_in(store_dir), std::vector<std::string>{"0x00150785"});
}

TEST_F(Csman, WrongArgumentsFail) {
    EXPECT_EQ(write_csman_int(open_store(), wan_enable, 1), 0);
    set_text("eth0");
    char buffer[4] = {'#', '#', '#', '#'};
    EXPECT_LT(read_csman_int(open_store(), wan_enable, nullptr), 0);
    EXPECT_LT(read_csman(open_store(), wan_name, nullptr, 4, csman_type_string), 0);
    EXPECT_LT(read_csman(open_store(), wan_name, buffer, 0, csman_type_string), 0);
    EXPECT_LT(read_csman(open_store(), wan_name, buffer, -1, csman_type_string), 0);
    EXPECT_LT(read_csman(open_store(), wan_name, buffer, 4, csman_type_string + 1), 0);
    EXPECT_EQ(std::string(buffer, 4), "####");
}

TEST_F(Csman, HandleThatIsNoStoreFails) {
    int value = untouched;
    for (const int handle : {-1, 12345, STDERR_FILENO}) {
        EXPECT_LT(read_csman_int(handle, wan_enable, &value), 0);
        EXPECT_LT(write_csman_int(handle, wan_enable, 1), 0);
    }
    EXPECT_EQ(value, untouched);
}

TEST_F(Csman, ClosingTwiceClosesNobodyElsesFile) {
    const int handle = open_csman(0, 0);
    ASSERT_GE(handle, 0);
    EXPECT_EQ(close_csman(handle), 0);
    EXPECT_LT(close_csman(handle), 0);
    EXPECT_LT(close_csman(-1), 0);
    const int other = open("/dev/null", O_RDONLY | O_CLOEXEC);
    ASSERT_EQ(other, handle);
    EXPECT_LT(close_csman(handle), 0);
    EXPECT_EQ(close(other), 0);
}

TEST_F(Csman, HandleIsNotInheritedByTools) {
    EXPECT_EQ(fcntl(open_store(), F_GETFD) & FD_CLOEXEC, FD_CLOEXEC);
}

TEST_F(Csman, CallsLeaveErrnoAlone) {
    errno = EDOM;
    int value = 0;
    char buffer[16];
    const int handle = open_csman(0, 0);
    EXPECT_LT(read_csman_int(handle, wan_enable, &value), 0);
    EXPECT_LT(read_csman(handle, wan_name, buffer, 16, csman_type_string), 0);
    EXPECT_EQ(write_csman_int(handle, wan_enable, 1), 0);
    EXPECT_EQ(close_csman(handle), 0);
    EXPECT_LT(close_csman(handle), 0);
    EXPECT_EQ(errno, EDOM);
}

TEST_F(Csman, MissingDirectoryIsMadeAndOnlyTheLastOne) {
    open_store();
    EXPECT_EQ(mode_of(store_dir), static_cast<mode_t>(S_IFDIR | 02770));
    ASSERT_EQ(setenv("CSMAN_DIR", (root + "/a/b").c_str(), 1), 0);
    EXPECT_LT(open_csman(0, 0), 0);
    EXPECT_EQ(names_in(root), std::vector<std::string>{"store"});
}

TEST_F(Csman, FileInTheDirectorysPlaceFailsToOpen) {
    write_file(store_dir, "int 1\n");
    EXPECT_LT(open_csman(0, 0), 0);
}

TEST_F(Csman, DefaultDirectoryIsTakenWhenNoneIsNamed) {
    ASSERT_EQ(unsetenv("CSMAN_DIR"), 0);
    EXPECT_STREQ(store_path(), "/run/csman");
    ASSERT_EQ(setenv("CSMAN_DIR", "", 1), 0);
    EXPECT_STREQ(store_path(), "/run/csman");
}

TEST_F(Csman, ItemFollowsTheDirectorysPermissionsWhateverTheUmask) {
    const mode_t before = umask(0077);
    open_store();
    EXPECT_EQ(write_csman_int(open_store(), 1, 1), 0);
    EXPECT_EQ(chmod(store_dir.c_str(), 0755), 0);
    EXPECT_EQ(write_csman_int(open_store(), 2, 2), 0);
    EXPECT_EQ(chmod(store_dir.c_str(), 0700), 0);
    EXPECT_EQ(write_csman_int(open_store(), 3, 3), 0);
    umask(before);
    EXPECT_EQ(mode_of(store_dir), static_cast<mode_t>(S_IFDIR | 0700));
    EXPECT_EQ(mode_of(store_file("0x00000001")), static_cast<mode_t>(S_IFREG | 0660));
    EXPECT_EQ(mode_of(store_file("0x00000002")), static_cast<mode_t>(S_IFREG | 0644));
    EXPECT_EQ(mode_of(store_file("0x00000003")), static_cast<mode_t>(S_IFREG | 0600));
}

// Some group that a file here may be given to: any for root, else one of the user's own.
gid_t other_group() {
    gid_t groups[64];
    const int count = getgroups(64, groups);
    if (geteuid() == 0)
        return 12345;
    return count > 0 ? groups[count - 1] : getegid();
}

TEST_F(Csman, ItemFollowsTheDirectorysGroup) {
    open_store();
    ASSERT_EQ(chown(store_dir.c_str(), static_cast<uid_t>(-1), other_group()), 0);
    // Without the set-group-id bit, so that it is the writer's doing.
    ASSERT_EQ(chmod(store_dir.c_str(), 0770), 0);
    EXPECT_EQ(write_csman_int(open_store(), wan_enable, 1), 0);
    struct stat status;
    ASSERT_EQ(stat(store_file("0x00150785").c_str(), &status), 0);
    EXPECT_EQ(status.st_gid, other_group());
}

// Root may do everything, so a test as root first becomes nobody; the failures below are then the kernel's own.
bool become_unprivileged() {
    return geteuid() != 0 || (setgid(65534) == 0 && setuid(65534) == 0);
}

TEST_F(Csman, StrangerIsKeptOut) {
    ASSERT_EQ(chmod(root.c_str(), 0755), 0);
    ASSERT_EQ(mkdir(store_dir.c_str(), 0000), 0);
    const pid_t child = start_child([] {
        if (!become_unprivileged())
            return 2;
        return open_csman(0, 0) < 0 ? 0 : 1;
    });
    EXPECT_EQ(wait_child(child), 0);
}

TEST_F(Csman, WhoMayOnlyReadReads) {
    EXPECT_EQ(write_csman_int(open_store(), wan_enable, 5), 0);
    ASSERT_EQ(chmod(root.c_str(), 0755), 0);
    ASSERT_EQ(chmod(store_dir.c_str(), 0555), 0);
    ASSERT_EQ(chmod(store_file("0x00150785").c_str(), 0444), 0);
    const pid_t child = start_child([] {
        int value = 0;
        if (!become_unprivileged())
            return 2;
        const int handle = open_csman(0, 0);
        const bool reads = handle >= 0 && read_csman_int(handle, wan_enable, &value) == 0 && value == 5;
        return reads && write_csman_int(handle, wan_enable, 6) < 0 ? 0 : 1;
    });
    EXPECT_EQ(wait_child(child), 0);
    EXPECT_EQ(read_int(wan_enable), 5);
    EXPECT_EQ(names_in(store_dir), std::vector<std::string>{"0x00150785"});
    ASSERT_EQ(chmod(store_dir.c_str(), 0755), 0);
}

TEST_F(Csman, FullStoreKeepsItsItem) {
    ASSERT_EQ(write_csman_int(open_store(), wan_enable, 5), 0);
    rlimit usual = {};
    ASSERT_EQ(getrlimit(RLIMIT_FSIZE, &usual), 0);
    const rlimit full = {0, usual.rlim_max};
    const auto action = signal(SIGXFSZ, SIG_IGN);
    ASSERT_EQ(setrlimit(RLIMIT_FSIZE, &full), 0);
    const int written = write_csman_int(open_store(), wan_enable, 6);
    ASSERT_EQ(setrlimit(RLIMIT_FSIZE, &usual), 0);
    signal(SIGXFSZ, action);
    EXPECT_LT(written, 0);
    EXPECT_EQ(read_int(wan_enable), 5);
    EXPECT_TRUE(temporaries().empty());
}

TEST_F(Csman, StoreThatWasRemovedFailsAndEndsItsAttempts) {
    open_store();
    ASSERT_EQ(rmdir(store_dir.c_str()), 0);
    int value = untouched;
    EXPECT_LT(read_csman_int(open_store(), wan_enable, &value), 0);
    EXPECT_LT(write_csman_int(open_store(), wan_enable, 1), 0);
    EXPECT_EQ(value, untouched);
}

} // namespace
} // namespace dashboard
