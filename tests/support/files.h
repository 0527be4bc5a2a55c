// Whole files, as tests read them.
#ifndef TESTS_SUPPORT_FILES_H
#define TESTS_SUPPORT_FILES_H

#include <fstream>
#include <sstream>
#include <string>

namespace dashboard::testing {

// What is in a file; nothing when it cannot be read.
inline std::string read_file(const std::string& path) {
    const std::ifstream in(path, std::ios::binary);
    std::ostringstream text;
    if (in) {
        text << in.rdbuf();
    }
    return text.str();
}

} // namespace dashboard::testing

#endif
