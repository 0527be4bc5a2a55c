// Which programs a test starts: those of its own build, or those of another one whose place the environment names. So
// one build's tests can be run on programs that stand on another C library than the tests themselves.
#ifndef TESTS_SUPPORT_TESTED_PROGRAMS_H
#define TESTS_SUPPORT_TESTED_PROGRAMS_H

#include <cstdlib>
#include <sstream>
#include <string>
#include <vector>

namespace dashboard {

// The file that was built as `path`, in the build under test: DASHBOARD_TESTED_BUILD, or the tests' own.
inline std::string tested_file(const std::string& path) {
    const std::string own_build = DASHBOARD_OWN_BUILD;
    const char* const build = getenv("DASHBOARD_TESTED_BUILD");
    const bool elsewhere = build != nullptr && path.compare(0, own_build.size(), own_build) == 0;
    return elsewhere ? build + path.substr(own_build.size()) : path;
}

// The words that start a program of the build under test; none when it runs by itself. The last of an emulator's words
// is the folder of the C library, in whose place DASHBOARD_TESTED_SYSROOT stands.
inline std::vector<std::string> emulator_words() {
    std::vector<std::string> words;
    std::istringstream in(DASHBOARD_EMULATOR);
    for (std::string word; in >> word;) {
        words.push_back(word);
    }
    const char* const sysroot = getenv("DASHBOARD_TESTED_SYSROOT");
    if (!words.empty() && sysroot != nullptr) {
        words.back() = sysroot;
    }
    return words;
}

} // namespace dashboard

#endif
