// What the doctor says of the web server: processes of this machine, so others of it may be found, too.
#include "ctl/doctor.h"
#include "standing_process.h"
#include "tests/support/world.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <grp.h>
#include <sys/prctl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace dashboard {
namespace {

using ::testing::AllOf;
using ::testing::Contains;
using ::testing::Field;
using ::testing::HasSubstr;
using testing::test_world;

constexpr gid_t nobody = 65534;
constexpr gid_t further_group = 64321;

enum class rights { of_this_process, of_nobody };

// A process of that name until the end of the test. Only root's can give their rights away: others keep theirs.
class named_process : public standing_process {
public:
    explicit named_process(const char* name, rights whose = rights::of_nobody)
        : standing_process([name, whose] {
              const bool stays = whose == rights::of_this_process || geteuid() != 0;
              const bool changed =
                  stays || (setgroups(1, &further_group) == 0 && setgid(nobody) == 0 && setuid(nobody) == 0);
              return changed && prctl(PR_SET_NAME, name, 0, 0, 0) == 0;
          }) {}
};

class DoctorOfWebServer : public ::testing::Test {
protected:
    DoctorOfWebServer() {
        world.file(path, "");
        document_state document;
        document.name = "wan_traffic_sec_0.xml";
        document.linked = true;
        status.documents.push_back(document);
    }

    findings look() const {
        findings list;
        check_places(status, list);
        return list;
    }

    void expect_readable() const {
        EXPECT_THAT(look(), Contains(AllOf(Field(&finding::how, grade::good),
                                           Field(&finding::text, HasSubstr(") may read the documents")))));
    }

    void expect_unreadable() const {
        EXPECT_THAT(look(), Contains(AllOf(Field(&finding::how, grade::wrong),
                                           Field(&finding::text, HasSubstr(" may not read " + path + " (mode 0)")),
                                           Field(&finding::remedy, HasSubstr("chgrp ")))));
    }

    const std::string path = "/tmp/dashboard/wan_traffic_sec_0.xml";
    test_world world;
    status_look status;
};

TEST_F(DoctorOfWebServer, IsContentWithOneThatMayRead) {
    ASSERT_EQ(chmod(world.real_path(path).c_str(), 0644), 0);
    const named_process master("nginx", rights::of_this_process);
    expect_readable();
    const named_process other_applet("busybox");
    const named_process worker("nginx");
    expect_readable();
}

TEST_F(DoctorOfWebServer, NamesADocumentThatItMayNotRead) {
    ASSERT_EQ(chmod(world.real_path(path).c_str(), 0), 0);
    const named_process server("httpd");
    expect_unreadable();
}

// Whose file it is decides which of its rights count.
TEST_F(DoctorOfWebServer, GoesByItsUserAndItsGroups) {
    if (geteuid() != 0) {
        GTEST_SKIP() << "only root gives files away";
    }
    const std::string real = world.real_path(path);
    const named_process server("httpd");
    ASSERT_EQ(chown(real.c_str(), nobody, 0), 0);
    ASSERT_EQ(chmod(real.c_str(), 0), 0);
    expect_unreadable();
    for (const gid_t group : {nobody, further_group}) {
        ASSERT_EQ(chown(real.c_str(), 0, group), 0);
        ASSERT_EQ(chmod(real.c_str(), 0), 0);
        expect_unreadable();
    }
}

} // namespace
} // namespace dashboard
