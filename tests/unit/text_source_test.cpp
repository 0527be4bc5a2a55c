// Lines and characters from a descriptor through one fixed buffer.
#include "probes/text_source.h"

#include "probes/text_scan.h"
#include "tests/support/world.h"
#include "tests/unit/repeated.h"

#include <gmock/gmock.h>

#include <cerrno>
#include <climits>
#include <fcntl.h>
#include <random>
#include <sstream>
#include <sys/socket.h>
#include <sys/stat.h>
#include <unistd.h>

namespace dashboard::testing {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

constexpr size_t capacity = text_source::capacity;

// A text as a reader meets it that gets one of `pieces` with every read. A piece must find room in the reader's buffer:
// of a larger one the socket drops what is left.
class pieces_source {
public:
    explicit pieces_source(const std::vector<std::string>& pieces) {
        int ends[2];
        if (socketpair(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC, 0, ends) != 0) {
            ADD_FAILURE() << "no socket pair";
            return;
        }
        for (const std::string& piece : pieces) {
            EXPECT_EQ(send(ends[1], piece.data(), piece.size(), MSG_DONTWAIT), static_cast<ssize_t>(piece.size()));
        }
        close(ends[1]);
        source.fd = ends[0];
    }
    ~pieces_source() { close(source.fd); }

    text_source source;
};

std::vector<std::string> lines_of(text_source& source) {
    std::vector<std::string> lines;
    while (const char* line = next_line(source)) {
        lines.emplace_back(line);
    }
    return lines;
}

std::vector<std::string> lines_of(const std::vector<std::string>& pieces) {
    pieces_source reader(pieces);
    return lines_of(reader.source);
}

std::vector<std::string> lines_of_file(const std::string& text) {
    test_world world;
    world.file("/proc/stat", text);
    text_source source(open_for_reading("/proc/stat"));
    std::vector<std::string> lines = lines_of(source);
    close(source.fd);
    return lines;
}

TEST(NextLine, GivesLinesWithoutTheirNewlines) {
    EXPECT_THAT(lines_of_file("one\n\ntwo words\n"), ElementsAre("one", "", "two words"));
}

TEST(NextLine, CountsALastLineWithoutANewline) {
    EXPECT_THAT(lines_of_file("one\nlast"), ElementsAre("one", "last"));
}

TEST(NextLine, FindsNothingInAnEmptyText) {
    EXPECT_THAT(lines_of_file(""), IsEmpty());
    EXPECT_THAT(lines_of_file("\n"), ElementsAre(""));
}

TEST(NextLine, KeepsOtherWhiteSpace) {
    EXPECT_THAT(lines_of_file(" a\t\r\nb\r\n"), ElementsAre(" a\t\r", "b\r"));
}

TEST(NextLine, ShowsALineUpToItsFirstNulAndGoesOnBehindItsNewline) {
    EXPECT_THAT(lines_of_file(std::string("a\0b\nc\n\0\nd", 9)), ElementsAre("a", "c", "", "d"));
}

TEST(NextLine, PutsLinesTogetherFromPieces) {
    EXPECT_THAT(lines_of({"o", "n", "e\ntw", "o", "\n", "\n", "last"}), ElementsAre("one", "two", "", "last"));
}

TEST(NextLine, GivesALineWholeUpToTheCapacityAndTheFrontOfALongerOne) {
    for (const size_t length : {capacity - 1, capacity, capacity + 1, capacity + 2, 3 * capacity}) {
        const std::string text = repeated('x', length) + "\nnext\n";
        const std::string front = repeated('x', std::min(length, capacity));
        EXPECT_THAT(lines_of_file(text), ElementsAre(front, "next")) << length;
    }
}

TEST(NextLine, CutsALongLastLineToo) {
    for (const size_t length : {capacity - 1, capacity, capacity + 1, 2 * capacity + 5}) {
        const std::string front = repeated('x', std::min(length, capacity));
        EXPECT_THAT(lines_of_file(repeated('x', length)), ElementsAre(front)) << length;
    }
}

TEST(NextLine, DropsTheRestOfALongLineAlsoWhenItComesInPieces) {
    EXPECT_THAT(lines_of({repeated('x', capacity), "y", "y\n", "next\n"}),
                ElementsAre(repeated('x', capacity), "next"));
    EXPECT_THAT(lines_of({"a\n", repeated('x', capacity), "\nb"}), ElementsAre("a", repeated('x', capacity), "b"));
}

TEST(NextLine, MovesWhatIsLeftToTheFrontWhenItNeedsRoom) {
    const std::string half = repeated('h', capacity / 2);
    const std::string long_one = repeated('l', capacity - 10);
    EXPECT_THAT(lines_of_file(half + "\n" + long_one + "\n" + half + "\nend"),
                ElementsAre(half, long_one, half, "end"));
}

std::string random_piece(std::mt19937& random, size_t longest) {
    std::string piece(1 + random() % longest, 'p');
    piece[random() % piece.size()] = '\n';
    return piece;
}

std::vector<std::string> expected_lines(const std::string& text) {
    std::vector<std::string> lines;
    std::istringstream in(text);
    for (std::string line; std::getline(in, line);) {
        lines.push_back(line.substr(0, capacity));
    }
    return lines;
}

TEST(NextLine, GivesTheLinesOfGeneratedFiles) {
    std::mt19937 random(99);
    for (int i = 0; i < 60; ++i) {
        std::string text;
        for (int n = 0; n < 8; ++n) {
            text += random_piece(random, n == 5 ? 3 * capacity : 6000);
        }
        EXPECT_TRUE(lines_of_file(text) == expected_lines(text)) << "text " << i;
    }
}

TEST(NextLine, GivesTheLinesOfGeneratedPieces) {
    std::mt19937 random(98);
    for (int i = 0; i < 200; ++i) {
        std::vector<std::string> pieces;
        std::string text;
        for (int n = 0; n < 16; ++n) { // together no more than the reader holds: a piece is never divided
            pieces.push_back(random_piece(random, capacity / 16));
            text += pieces.back();
        }
        EXPECT_TRUE(lines_of(pieces) == expected_lines(text)) << "text " << i;
    }
}

TEST(TextSource, TakesUpAReadThatASignalInterrupted) {
    test_world world;
    pieces_source reader({"one\n", "two\n"});
    world.fail("read", EINTR, "", 5);
    EXPECT_THAT(lines_of(reader.source), ElementsAre("one", "two"));
    world.fail("read", EINTR, "", 3, 1);
    pieces_source other({"on", "e\n"});
    EXPECT_THAT(lines_of(other.source), ElementsAre("one"));
}

TEST(TextSource, TakesAReadErrorForTheEnd) {
    test_world world;
    pieces_source reader({"one\ntw", "o\n"});
    world.fail("read", EIO, "", 1, 1);
    EXPECT_STREQ(next_line(reader.source), "one");
    EXPECT_STREQ(next_line(reader.source), "tw");
    text_source nowhere(-1);
    EXPECT_EQ(next_line(nowhere), nullptr);
    EXPECT_EQ(nowhere.peek(), -1);
}

TEST(TextSource, IsReadCharacterByCharacterAcrossPieces) {
    pieces_source reader({"a", "\xff", std::string(1, '\0'), "b"});
    for (const int expected : {'a' + 0, 0xff, 0, 'b' + 0}) {
        EXPECT_EQ(reader.source.peek(), expected);
        EXPECT_EQ(reader.source.peek(), expected);
        reader.source.skip();
    }
    EXPECT_EQ(reader.source.peek(), -1);
}

TEST(TextSource, ScansMoreThanItHoldsAtOnce) {
    pieces_source reader({repeated(' ', 3 * capacity / 2), "  12", "34 kB"});
    unsigned long value = 0;
    EXPECT_TRUE(scan_unsigned(reader.source, value));
    EXPECT_EQ(value, 1234u);
    EXPECT_TRUE(scan_literal(reader.source, " kB"));
}

// Where a piece ends, stale text of an earlier, longer piece stands behind it in memory.
TEST(TextSource, ScansANumberThatComesInPieces) {
    const std::string digits = "18446744073709551615";
    for (size_t cut = 1; cut < digits.size(); ++cut) {
        pieces_source reader({std::string(100, '9') + " ", digits.substr(0, cut), digits.substr(cut) + " 7"});
        unsigned long long value = 0;
        EXPECT_TRUE(scan_unsigned(reader.source, value));
        EXPECT_TRUE(scan_unsigned(reader.source, value));
        EXPECT_EQ(value, 18446744073709551615ull) << "cut behind " << cut;
        EXPECT_TRUE(scan_unsigned(reader.source, value));
        EXPECT_EQ(value, 7u);
        EXPECT_FALSE(scan_unsigned(reader.source, value));
    }
}

TEST(TextSource, NoticesAnOverflowAlsoBehindTheEndOfAPiece) {
    for (const char* pieces :
         {"1844674407370955161|6", "18446744073709551616|", "1|8446744073709551616", "99|9999999999999999999"}) {
        const std::string text = pieces;
        const size_t cut = text.find('|');
        std::vector<std::string> parts = {text.substr(0, cut)};
        if (cut + 1 < text.size()) {
            parts.push_back(text.substr(cut + 1));
        }
        pieces_source reader(parts);
        unsigned long long value = 0;
        EXPECT_TRUE(scan_unsigned(reader.source, value));
        EXPECT_EQ(value, ULLONG_MAX) << pieces;
    }
}

TEST(TextSource, EndsBehindANumberThatFillsItToTheLastByte) {
    pieces_source reader({repeated(' ', capacity - 3) + "123"});
    unsigned long value = 0;
    EXPECT_TRUE(scan_unsigned(reader.source, value));
    EXPECT_EQ(value, 123u);
    ASSERT_EQ(reader.source.peek(), -1);
    EXPECT_EQ(next_line(reader.source), nullptr);
}

TEST(TextSource, ScansAndReadsLinesInTurn) {
    pieces_source reader({"12 rest\nnext\n"});
    unsigned long value = 0;
    EXPECT_TRUE(scan_unsigned(reader.source, value));
    EXPECT_STREQ(next_line(reader.source), " rest");
    EXPECT_STREQ(next_line(reader.source), "next");
}

TEST(TextSource, EndsAtItsNewlineOrAtANulWhenALineIsWanted) {
    for (const char letter : {'\n', '\0'}) {
        pieces_source reader({std::string("1") + letter + "2"});
        reader.source.in_line = true;
        unsigned long value = 0;
        EXPECT_TRUE(scan_unsigned(reader.source, value));
        EXPECT_EQ(value, 1u);
        EXPECT_FALSE(scan_unsigned(reader.source, value));
        EXPECT_EQ(reader.source.peek(), -1);
    }
}

TEST(TextSource, EndsAtItsNewlineAlsoWhereAPieceBeginsWithIt) {
    for (const char letter : {'\n', '\0'}) {
        pieces_source reader({"1 ", std::string(1, letter) + "2"});
        reader.source.in_line = true;
        unsigned long value = 0;
        EXPECT_TRUE(scan_unsigned(reader.source, value));
        EXPECT_FALSE(scan_unsigned(reader.source, value));
        EXPECT_EQ(reader.source.peek(), -1);
    }
}

TEST(TextSource, ScansANumberLongerThanItHolds) {
    for (const size_t length : {capacity - 1, capacity, capacity + 1, 2 * capacity + 1}) {
        pieces_source reader({repeated('0', capacity / 2), repeated('0', capacity - 5), "12", "34 5"});
        unsigned long long value = 0;
        EXPECT_TRUE(scan_unsigned(reader.source, value));
        EXPECT_EQ(value, 1234u);
        EXPECT_TRUE(scan_unsigned(reader.source, value));
        EXPECT_EQ(value, 5u);
        pieces_source large({"x", repeated('7', length / 2), repeated('7', length - length / 2), " ", "5"});
        EXPECT_EQ(large.source.peek(), 'x');
        large.source.skip();
        EXPECT_TRUE(scan_unsigned(large.source, value));
        EXPECT_EQ(value, ULLONG_MAX) << length;
        EXPECT_TRUE(scan_unsigned(large.source, value));
        EXPECT_EQ(value, 5u) << length;
    }
}

TEST(OpenForReading, ClosesOnExecAndTellsWhyItFailed) {
    test_world world;
    EXPECT_EQ(open_for_reading("/proc/stat"), -1);
    EXPECT_EQ(errno, ENOENT);
    world.file("/proc/stat", "text");
    const int fd = open_for_reading("/proc/stat");
    EXPECT_EQ(fcntl(fd, F_GETFD) & FD_CLOEXEC, FD_CLOEXEC);
    EXPECT_EQ(fcntl(fd, F_GETFL) & O_ACCMODE, O_RDONLY);
    close(fd);
}

TEST(OpenWithoutWaiting, ReadsFilesAndIsNotHeldUpByAPipe) {
    test_world world;
    world.file("/tmp/aptraffic/file", "text\n");
    text_source source(open_without_waiting("/tmp/aptraffic/file"));
    EXPECT_EQ(fcntl(source.fd, F_GETFD) & FD_CLOEXEC, FD_CLOEXEC);
    EXPECT_FALSE(is_pipe(source.fd));
    EXPECT_THAT(lines_of(source), ElementsAre("text"));
    close(source.fd);
    ASSERT_EQ(mkfifo(world.real_path("/tmp/aptraffic/pipe").c_str(), 0600), 0);
    text_source pipe(open_without_waiting("/tmp/aptraffic/pipe"));
    EXPECT_TRUE(is_pipe(pipe.fd));
    EXPECT_THAT(lines_of(pipe), IsEmpty());
    close(pipe.fd);
    EXPECT_EQ(open_without_waiting("/tmp/aptraffic/nothing"), -1);
    EXPECT_FALSE(is_pipe(-1));
}

} // namespace
} // namespace dashboard::testing
