// One line of /proc/net/dev.
#include "probes/dashboard_netdev.h"

#include "tests/unit/heard_messages.h"

#include <gmock/gmock.h>

#include <climits>
#include <cstring>
#include <random>

namespace dashboard::testing {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

constexpr char headers[] = "Inter-|   Receive  |  Transmit\n face |bytes |bytes\n";
constexpr char sixteen[] = " 1 2 3 4 5 6 7 8 9 10 11 12 13 14 15 16";

class NetdevLine : public ::testing::Test {
protected:
    // Null when the table stays empty.
    const netdev_entry* parse(const std::string& line) {
        world.file("/proc/net/dev", headers + line);
        main_netdev_info();
        const netdev_entry* entry = nullptr;
        netdev_found(0, "*", &entry);
        return entry;
    }
    std::vector<std::string> complaint(const std::string& line) {
        EXPECT_EQ(parse(line), nullptr) << line;
        std::vector<std::string> messages = world.messages();
        EXPECT_EQ(messages.back(), "warn[main_netdev_info]: SOMETHING ERROR") << line;
        messages.pop_back();
        return messages;
    }

    listening_world world;
};

TEST_F(NetdevLine, GivesTheSixteenCountersInTheirOrder) {
    const netdev_entry* e = parse("  eth0:" + std::string(sixteen) + "\n");
    ASSERT_NE(e, nullptr);
    EXPECT_STREQ(e->name, "eth0");
    const unsigned long long counters[] = {e->rx_bytes, e->rx_packets, e->rx_errs,       e->rx_drop,
                                           e->rx_fifo,  e->rx_frame,   e->rx_compressed, e->rx_multicast,
                                           e->tx_bytes, e->tx_packets, e->tx_errs,       e->tx_drop,
                                           e->tx_fifo,  e->tx_colls,   e->tx_carrier,    e->tx_compressed};
    EXPECT_THAT(counters, ElementsAre(1u, 2u, 3u, 4u, 5u, 6u, 7u, 8u, 9u, 10u, 11u, 12u, 13u, 14u, 15u, 16u));
    EXPECT_THAT(world.messages(), IsEmpty());
}

TEST_F(NetdevLine, NeedsNoNewlineAtTheEndOfTheFile) {
    const netdev_entry* e = parse("eth0:" + std::string(sixteen));
    ASSERT_NE(e, nullptr);
    EXPECT_EQ(e->tx_compressed, 16u);
}

TEST_F(NetdevLine, MayEndWithACarriageReturnOrMoreColumns) {
    for (const char* end : {"\r\n", " \n", " 17 18\n", "x\n"}) {
        const netdev_entry* e = parse("eth0:" + std::string(sixteen) + end);
        ASSERT_NE(e, nullptr) << end;
        EXPECT_EQ(e->tx_compressed, 16u) << end;
    }
}

TEST_F(NetdevLine, CountsIn64Bits) {
    const netdev_entry* e = parse("eth0: 18446744073709551615 18446744073709551616 99999999999999999999999 -1 -5 +7 "
                                  "4294967296 0 9223372036854775808 10 11 12 13 14 15 16\n");
    ASSERT_NE(e, nullptr);
    EXPECT_EQ(e->rx_bytes, ULLONG_MAX);
    EXPECT_EQ(e->rx_packets, ULLONG_MAX);
    EXPECT_EQ(e->rx_errs, ULLONG_MAX);
    EXPECT_EQ(e->rx_drop, ULLONG_MAX);
    EXPECT_EQ(e->rx_fifo, ULLONG_MAX - 4);
    EXPECT_EQ(e->rx_frame, 7u);
    EXPECT_EQ(e->rx_compressed, 4294967296u);
    EXPECT_EQ(e->rx_multicast, 0u);
    EXPECT_EQ(e->tx_bytes, 9223372036854775808u);
}

TEST_F(NetdevLine, WithTooFewNumbersIsSkippedWithAWarning) {
    for (const char* line :
         {"eth0: 1 2 3 4 5 6 7 8 9 10 11 12 13 14 15", "eth0:", "", "   ",
          "eth0: 1 2 x 4 5 6 7 8 9 10 11 12 13 14 15 16", "eth0: 1 2 3 4 5 6 7 8 9 10 11 12 13 14 15 -"}) {
        EXPECT_THAT(complaint(std::string(line) + "\n"),
                    ElementsAre("warn[find_dev_info]: sscanf (" + std::string(line) + ")error(res!=17)"));
    }
}

TEST_F(NetdevLine, WithItsColonGluedToTheFirstNumberIsSkipped) {
    EXPECT_THAT(
        complaint("eth0:123 2 3 4 5 6 7 8 9 10 11 12 13 14 15 16\n"),
        ElementsAre("warn[find_dev_info]: sscanf (eth0:123 2 3 4 5 6 7 8 9 10 11 12 13 14 15 16)error(res!=17)"));
}

TEST_F(NetdevLine, GluedToAFirstNumberOfSeventeenLosesTheNumber) {
    const netdev_entry* e = parse("eth0:123" + std::string(sixteen) + "\n");
    ASSERT_NE(e, nullptr);
    EXPECT_STREQ(e->name, "eth0");
    EXPECT_EQ(e->rx_bytes, 1u);
}

TEST_F(NetdevLine, WithoutAColonIsSkippedWithAWarning) {
    const std::string line = "eth0" + std::string(sixteen);
    EXPECT_THAT(complaint(line + "\n"),
                ElementsAre("warn[find_dev_info]: sscanf interface name error(" + line + ")(eth0)"));
}

TEST_F(NetdevLine, HasANameOfUpToFifteenCharactersAndItsColon) {
    const netdev_entry* e = parse("fifteen_letters:" + std::string(sixteen) + "\n");
    ASSERT_NE(e, nullptr);
    EXPECT_STREQ(e->name, "fifteen_letters");
    EXPECT_EQ(e->rx_bytes, 1u);
}

TEST_F(NetdevLine, DividesATokenOfSeventeenCharactersAfterTheSixteenth) {
    // The colon is left over, where a number should be.
    const std::string colon_behind = "sixteen_letters_:" + std::string(sixteen);
    EXPECT_THAT(complaint(colon_behind + "\n"),
                ElementsAre("warn[find_dev_info]: sscanf (" + colon_behind + ")error(res!=17)"));
    // Digits are left over, which read as the first number.
    const netdev_entry* e = parse("fifteen_letters:77 2 3 4 5 6 7 8 9 10 11 12 13 14 15 16\n");
    ASSERT_NE(e, nullptr);
    EXPECT_STREQ(e->name, "fifteen_letters");
    EXPECT_EQ(e->rx_bytes, 77u);
    // Digits after sixteen characters without a colon.
    const std::string no_colon = "sixteen_letters_7 2 3 4 5 6 7 8 9 10 11 12 13 14 15 16";
    EXPECT_THAT(complaint(no_colon + "\n"),
                ElementsAre("warn[find_dev_info]: sscanf interface name error(" + no_colon + ")(sixteen_letters_)"));
}

TEST_F(NetdevLine, IsCutAtItsFirstColon) {
    const netdev_entry* e = parse("eth0:1:" + std::string(sixteen) + "\n");
    ASSERT_NE(e, nullptr);
    EXPECT_STREQ(e->name, "eth0");
}

TEST_F(NetdevLine, WithAnEmptyNameEndsTheTableWithoutAWord) {
    world.file("/proc/net/dev",
               headers + ("eth0:" + std::string(sixteen)) + "\n:" + sixteen + "\neth1:" + sixteen + "\n");
    main_netdev_info();
    const netdev_entry* entry = nullptr;
    EXPECT_EQ(netdev_found(0, "eth0", &entry), 0);
    EXPECT_EQ(netdev_found(0, "eth1", &entry), -1);
    EXPECT_EQ(netdev_found(2, "eth1", &entry), 2);
    EXPECT_THAT(world.messages(), IsEmpty());
}

TEST_F(NetdevLine, EndsAtANulCharacter) {
    std::string line = "eth0:" + std::string(sixteen);
    line[10] = '\0';
    EXPECT_THAT(complaint(line + "\n"), ElementsAre("warn[find_dev_info]: sscanf (eth0: 1 2 )error(res!=17)"));
    const netdev_entry* e = parse("eth0:" + std::string(sixteen) + '\0' + "7\n");
    ASSERT_NE(e, nullptr);
    EXPECT_EQ(e->tx_compressed, 16u);
}

TEST_F(NetdevLine, ThatIsBadLeavesTheOthersInTheirPlaces) {
    world.file("/proc/net/dev", headers + ("eth0:" + std::string(sixteen)) + "\nbad\neth1:" + sixteen + "\n");
    main_netdev_info();
    const netdev_entry* entry = nullptr;
    EXPECT_EQ(netdev_found(0, "eth1", &entry), 1);
    EXPECT_THAT(world.messages(), ElementsAre("warn[find_dev_info]: sscanf (bad)error(res!=17)"));
}

// What the C library makes of a line; an empty name with `count` 17 means that the colon is missing.
struct reference {
    int count = 0;
    netdev_entry entry{};
};

reference parsed_by_libc(const std::string& line) {
    reference r;
    netdev_entry& e = r.entry;
    char name[24] = "";
    r.count = sscanf(line.c_str(), "%16s%llu%llu%llu%llu%llu%llu%llu%llu%llu%llu%llu%llu%llu%llu%llu%llu", name,
                     &e.rx_bytes, &e.rx_packets, &e.rx_errs, &e.rx_drop, &e.rx_fifo, &e.rx_frame, &e.rx_compressed,
                     &e.rx_multicast, &e.tx_bytes, &e.tx_packets, &e.tx_errs, &e.tx_drop, &e.tx_fifo, &e.tx_colls,
                     &e.tx_carrier, &e.tx_compressed);
    if (const char* colon = strchr(name, ':'); colon != nullptr) {
        memcpy(e.name, name, static_cast<size_t>(colon - name));
    }
    return r;
}

std::string random_word(std::mt19937& random, const std::string& alphabet, size_t shortest, size_t longest) {
    std::string word(shortest + random() % (longest - shortest + 1), ' ');
    for (char& letter : word) {
        letter = alphabet[random() % alphabet.size()];
    }
    return word;
}

std::string random_line(std::mt19937& random) {
    std::string line = random_word(random, " \t", 0, 2) + "e" + random_word(random, "eth0129.", 0, 14);
    line += random() % 8 == 0 ? "" : ":";
    const size_t numbers = random() % 8 == 0 ? random() % 20 : 16;
    for (size_t i = 0; i < numbers; ++i) {
        line += random_word(random, " \t\r", random() % 40 == 0 ? 0 : 1, 3);
        line += random() % 20 == 0 ? random_word(random, "0123456789+-x", 1, 4)
                                   : random_word(random, "0123456789", 1, random() % 6 == 0 ? 24 : 10);
    }
    return line;
}

TEST_F(NetdevLine, ReadsAsTheCLibraryReadsIt) {
    std::mt19937 random(4711);
    int accepted = 0;
    for (int i = 0; i < 3000; ++i) {
        const std::string line = random_line(random);
        const reference expected = parsed_by_libc(line);
        const netdev_entry* entry = parse(line + "\n");
        const bool good = expected.count == 17 && expected.entry.name[0] != '\0';
        ASSERT_EQ(entry != nullptr, good) << line;
        if (good) {
            ++accepted;
            EXPECT_EQ(memcmp(entry, &expected.entry, sizeof *entry), 0) << line;
        }
    }
    EXPECT_GT(accepted, 1000);
    EXPECT_LT(accepted, 2500);
}

} // namespace
} // namespace dashboard::testing
