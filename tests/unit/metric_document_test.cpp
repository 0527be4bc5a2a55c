// A published file: how it is opened, written, moved onto its name and linked.
#include "monitors/metric_document.h"
#include "monitors/metric_store.h"
#include "tests/unit/heard_messages.h"
#include "tests/unit/open_descriptors.h"

#include <gmock/gmock.h>

#include <cerrno>
#include <fcntl.h>
#include <string>
#include <sys/stat.h>
#include <unistd.h>
#include <vector>

namespace dashboard::testing {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

constexpr char temporary[] = "/tmp/dashboard/some_sec_tmp.xml";
constexpr char final_file[] = "/tmp/dashboard/some_sec_0.xml";
constexpr char link_path[] = "/usr/www/some_sec_0.xml";
constexpr document_names names = {"xml_some_sec", temporary, final_file, link_path};

class Document : public ::testing::Test {
protected:
    Document() { world.folder("/tmp/dashboard"); }

    // Writes `lines` as one document and puts it in its place.
    void write_document(const std::vector<std::string>& lines) {
        metric_document document;
        ASSERT_TRUE(open_document(document, names));
        for (const std::string& line : lines) {
            document_printf(document, "%s", line.c_str());
        }
        publish(document, names, "dashboard_some");
    }

    listening_world world;
};

class umask_for_now {
public:
    explicit umask_for_now(mode_t mask) : before(umask(mask)) {}
    ~umask_for_now() { umask(before); }
    umask_for_now(const umask_for_now&) = delete;
    umask_for_now& operator=(const umask_for_now&) = delete;

private:
    mode_t before;
};

TEST_F(Document, EmptyListIsItsHeaderAndTheTwoTags) {
    metric_document document;
    ASSERT_TRUE(open_document(document, names));
    begin_datalist(document);
    end_datalist(document);
    publish(document, names, "dashboard_some");
    EXPECT_EQ(world.read(final_file), "<?xml version=\"1.0\" ?>\n"
                                      "<datalist>\n"
                                      "</datalist>\n");
}

TEST_F(Document, StandsUnderItsTemporaryNameUntilItIsWhole) {
    world.file(final_file, "the old one\n");
    metric_document document;
    ASSERT_TRUE(open_document(document, names));
    document_text(document, "new\n");
    EXPECT_EQ(world.read(final_file), "the old one\n");
    EXPECT_TRUE(world.exists(temporary));
    publish(document, names, "dashboard_some");
    EXPECT_EQ(world.read(final_file), "new\n");
    EXPECT_THAT(world.list("/tmp/dashboard"), ElementsAre("some_sec_0.xml"));
}

TEST_F(Document, FinalFileIsRemovedBeforeTheTemporaryOneIsMovedOntoIt) {
    write_document({"x\n"});
    EXPECT_THAT(world.calls("remove"), ElementsAre(final_file));
    EXPECT_THAT(world.calls("rename"), ElementsAre(std::string(temporary) + " " + final_file));
}

TEST_F(Document, DescriptorIsClosedAndNotInheritedByTools) {
    const int before = open_descriptors();
    metric_document document;
    ASSERT_TRUE(open_document(document, names));
    EXPECT_EQ(fcntl(document.fd, F_GETFD) & FD_CLOEXEC, FD_CLOEXEC);
    EXPECT_EQ(fcntl(document.fd, F_GETFL) & O_ACCMODE, O_WRONLY);
    publish(document, names, "dashboard_some");
    EXPECT_EQ(open_descriptors(), before);
}

TEST_F(Document, ModeIs0644LessTheUmask) {
    const struct {
        mode_t mask;
        unsigned mode;
    } cases[] = {{0, 0644}, {022, 0644}, {027, 0640}, {077, 0600}, {0777, 0}};
    for (const auto& one : cases) {
        const umask_for_now mask(one.mask);
        write_document({"x\n"});
        EXPECT_EQ(world.mode(final_file), one.mode) << std::oct << one.mask;
    }
}

TEST_F(Document, StaleTemporaryFileIsOverwrittenFromItsStartAndItsTailStays) {
    world.file(temporary, "0123456789 left by an earlier run\n");
    chmod(world.real_path(temporary).c_str(), 0600);
    write_document({"new text\n"});
    EXPECT_EQ(world.read(final_file), "new text\n9 left by an earlier run\n");
    EXPECT_EQ(world.mode(final_file), 0600u);
}

TEST_F(Document, MissingFolderIsReportedUnderTheWritersName) {
    world.remove("/tmp/dashboard");
    metric_document document;
    EXPECT_FALSE(open_document(document, names));
    EXPECT_THAT(world.messages(), ElementsAre("warn[xml_some_sec]: open file(/tmp/dashboard/some_sec_tmp.xml) "
                                              "error(No such file or directory)!"));
}

TEST_F(Document, PlantedLinkIsNotFollowed) {
    world.file("/tmp/victim", "precious");
    world.link("/tmp/victim", temporary);
    metric_document document;
    EXPECT_FALSE(open_document(document, names));
    EXPECT_THAT(world.messages(), ElementsAre("warn[xml_some_sec]: open file(/tmp/dashboard/some_sec_tmp.xml) "
                                              "error(Too many levels of symbolic links)!"));
    EXPECT_EQ(world.read("/tmp/victim"), "precious");
}

TEST_F(Document, DanglingPlantedLinkMakesNoFileElsewhere) {
    world.link("/tmp/victim", temporary);
    metric_document document;
    EXPECT_FALSE(open_document(document, names));
    EXPECT_FALSE(world.exists("/tmp/victim"));
}

TEST_F(Document, PlantedHardLinkIsRefused) {
    const int before = open_descriptors();
    world.file("/tmp/victim", "precious");
    ASSERT_EQ(link(world.real_path("/tmp/victim").c_str(), world.real_path(temporary).c_str()), 0);
    metric_document document;
    EXPECT_FALSE(open_document(document, names));
    EXPECT_THAT(world.messages(), ElementsAre("warn[xml_some_sec]: open file(/tmp/dashboard/some_sec_tmp.xml) "
                                              "error(No such device or address)!"));
    EXPECT_EQ(world.read("/tmp/victim"), "precious");
    EXPECT_EQ(open_descriptors(), before);
}

TEST_F(Document, PlantedPipeDoesNotHoldUpTheWriter) {
    ASSERT_EQ(mkfifo(world.real_path(temporary).c_str(), 0600), 0);
    metric_document document;
    EXPECT_FALSE(open_document(document, names));
    EXPECT_THAT(world.messages(), ElementsAre("warn[xml_some_sec]: open file(/tmp/dashboard/some_sec_tmp.xml) "
                                              "error(No such device or address)!"));
}

TEST_F(Document, PlantedPipeThatSomebodyReadsIsRefusedLikeOneThatNobodyReads) {
    const int before = open_descriptors();
    ASSERT_EQ(mkfifo(world.real_path(temporary).c_str(), 0600), 0);
    const int reader = open(world.real_path(temporary).c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC);
    metric_document document;
    EXPECT_FALSE(open_document(document, names));
    EXPECT_THAT(world.messages(), ElementsAre("warn[xml_some_sec]: open file(/tmp/dashboard/some_sec_tmp.xml) "
                                              "error(No such device or address)!"));
    close(reader);
    EXPECT_EQ(open_descriptors(), before);
}

TEST_F(Document, PlantedFolderIsRefused) {
    world.folder(temporary);
    metric_document document;
    EXPECT_FALSE(open_document(document, names));
    EXPECT_THAT(world.messages(), ElementsAre("warn[xml_some_sec]: open file(/tmp/dashboard/some_sec_tmp.xml) "
                                              "error(Is a directory)!"));
}

TEST_F(Document, OpenFailureIsReportedInTheWordsOfItsModule) {
    world.fail("open", EACCES, temporary);
    document_names own = names;
    own.report = [](const char* writer, const char* path, const char* error) {
        _warn("own words", 1, "%s %s %s", writer, path, error);
    };
    metric_document document;
    EXPECT_FALSE(open_document(document, own));
    EXPECT_THAT(world.messages(),
                ElementsAre("warn[own words]: xml_some_sec /tmp/dashboard/some_sec_tmp.xml Permission denied"));
}

TEST_F(Document, TextOf383CharactersIsWrittenOneOf384LeftOut) {
    const std::string longest(382, 'a');
    const std::string too_long(383, 'b');
    write_document({longest + "\n", too_long + "\n", "end\n"});
    EXPECT_EQ(world.read(final_file), longest + "\nend\n");
}

TEST_F(Document, OfAnyLengthArrivesWhole) {
    for (const size_t length : {1u, 7u, 64u, 100u, 383u}) {
        std::vector<std::string> lines;
        std::string whole;
        for (int i = 0; i < 400; ++i) {
            std::string line = std::to_string(i);
            line.resize(length, 'x');
            lines.push_back(line);
            whole += line;
        }
        write_document(lines);
        EXPECT_EQ(world.read(final_file), whole) << length;
    }
}

TEST_F(Document, FixedTextMayHoldPercentSigns) {
    metric_document document;
    ASSERT_TRUE(open_document(document, names));
    document_text(document, "100%s\n");
    publish(document, names, "dashboard_some");
    EXPECT_EQ(world.read(final_file), "100%s\n");
}

TEST_F(Document, FailedRemoveOrRenameIsPassedOver) {
    world.fail("remove", EBUSY, final_file);
    world.fail("rename", EXDEV, temporary);
    write_document({"x\n"});
    EXPECT_EQ(world.read(temporary), "x\n");
    EXPECT_FALSE(world.exists(final_file));
    EXPECT_THAT(world.messages(), IsEmpty());
}

TEST_F(Document, IsLinkedThroughTheRunnerInTheCallersName) {
    write_document({"x\n"});
    const std::vector<runner_command> commands = world.commands();
    ASSERT_EQ(commands.size(), 1u);
    EXPECT_EQ(commands[0].pid, getpid());
    EXPECT_EQ(commands[0].file, "dashboard_some");
    EXPECT_EQ(commands[0].func, "xml_some_sec");
    EXPECT_GT(commands[0].line, 0);
    EXPECT_EQ(commands[0].command, "ln -sf /tmp/dashboard/some_sec_0.xml /usr/www/some_sec_0.xml");
    EXPECT_EQ(world.link_target(link_path), final_file);
}

TEST_F(Document, LinkLeadsElsewhereWhereItsRowSaysSo) {
    constexpr document_names astray = {"xml_some_sec", temporary, final_file, link_path, temporary};
    metric_document document;
    ASSERT_TRUE(open_document(document, astray));
    publish(document, astray, "dashboard_some");
    ASSERT_EQ(world.commands().size(), 1u);
    EXPECT_EQ(world.commands()[0].command, "ln -sf /tmp/dashboard/some_sec_tmp.xml /usr/www/some_sec_0.xml");
}

TEST_F(Document, IsLinkedOnce) {
    for (int i = 0; i < 3; ++i) {
        write_document({"x\n"});
    }
    EXPECT_EQ(world.commands().size(), 1u);
}

TEST_F(Document, LinkThatPointsNowhereIsMadeAgain) {
    world.link("/tmp/dashboard/gone", link_path);
    write_document({"x\n"});
    EXPECT_EQ(world.commands().size(), 1u);
    EXPECT_EQ(world.link_target(link_path), final_file);
}

TEST_F(Document, WhateverElseStandsInTheLinksPlaceIsLeftThere) {
    world.file(link_path, "somebody's own");
    write_document({"x\n"});
    EXPECT_THAT(world.commands(), IsEmpty());
    EXPECT_EQ(world.read(link_path), "somebody's own");
}

} // namespace
} // namespace dashboard::testing
