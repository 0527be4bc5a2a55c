// The libraries as files: the name that programs ask for, and what they show to them.
#include <array>
#include <cstdio>
#include <set>
#include <sstream>
#include <string>

#include <gmock/gmock.h>

#include "tests/support/tested_programs.h"

namespace dashboard {
namespace {

using testing::HasSubstr;
using testing::Not;
using names = std::set<std::string>;

const std::string csman_library = tested_file(CSMAN_LIBRARY);
const std::string utils_library = tested_file(UTILS_LIBRARY);

std::string readelf(const std::string& options, const std::string& path) {
    FILE* output = popen((std::string(READELF) + " -W " + options + " '" + path + "'").c_str(), "r");
    EXPECT_NE(output, nullptr);
    std::string text;
    std::array<char, 512> line = {};
    while (fgets(line.data(), line.size(), output) != nullptr)
        text += line.data();
    EXPECT_EQ(pclose(output), 0);
    return text;
}

// Functions, or objects, that a library offers, without those that the compiler's own machinery adds.
names offered(const std::string& path, const std::string& wanted = "FUNC") {
    names found;
    std::istringstream lines(readelf("--dyn-syms", path));
    for (std::string line; std::getline(lines, line);) {
        std::istringstream columns(line);
        std::string number, value, size, type, binding, visibility, section, name;
        columns >> number >> value >> size >> type >> binding >> visibility >> section >> name;
        if (type == wanted && section != "UND" && name.compare(0, 2, "__") != 0 && name != "_init" && name != "_fini")
            found.insert(name);
    }
    return found;
}

TEST(Libraries, NamesCarryNoVersion) {
    EXPECT_THAT(readelf("-d", csman_library), HasSubstr("Library soname: [libcsman.so]"));
    EXPECT_THAT(readelf("-d", utils_library), HasSubstr("Library soname: [libutils.so]"));
}

TEST(Libraries, ShowTheInterfaceAndNothingElse) {
    EXPECT_EQ(offered(csman_library),
              (names{"close_csman", "open_csman", "read_csman", "read_csman_int", "write_csman_int"}));
    EXPECT_EQ(offered(utils_library), names{"_exec_cmd"});
    EXPECT_EQ(offered(csman_library, "OBJECT"), names{"csman_stand_in"});
    EXPECT_EQ(offered(utils_library, "OBJECT"), names());
}

TEST(Libraries, CarryNoLibraryPathAndNeedNoCxxLibrary) {
    for (const std::string& path : {csman_library, utils_library}) {
        const std::string dynamic = readelf("-d", path);
        EXPECT_THAT(dynamic, Not(HasSubstr("RUNPATH")));
        EXPECT_THAT(dynamic, Not(HasSubstr("RPATH")));
        // A sanitizer's own library brings it along.
        const bool sanitized = dynamic.find("san.so") != std::string::npos;
        EXPECT_EQ(dynamic.find("libstdc++") != std::string::npos, sanitized);
    }
}

} // namespace
} // namespace dashboard
