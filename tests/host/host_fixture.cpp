#include "host_fixture.h"

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <fcntl.h>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <sys/wait.h>
#include <unistd.h>

#include "platform/csman.h"
#include "tests/support/tested_programs.h"

namespace dashboard {
namespace {

constexpr int not_started = 127;

std::vector<std::string> tool_command(const std::string& program) {
    std::vector<std::string> words = emulator_words();
    words.push_back(tested_file(program));
    return words;
}

int open_plain(const std::string& path, int flags) {
    return open(path.c_str(), flags | O_CLOEXEC, 0600);
}

} // namespace

std::string read_file(const std::string& path) {
    std::ifstream file(path, std::ios::binary);
    EXPECT_TRUE(file.is_open()) << path;
    std::stringstream content;
    content << file.rdbuf();
    return content.str();
}

void write_file(const std::string& path, const std::string& content) {
    std::ofstream file(path, std::ios::binary | std::ios::trunc);
    file << content << std::flush;
    ASSERT_TRUE(file.good()) << path;
}

std::vector<std::string> names_in(const std::string& directory) {
    std::vector<std::string> names;
    for (const auto& entry : std::filesystem::directory_iterator(directory))
        names.push_back(entry.path().filename());
    std::sort(names.begin(), names.end());
    return names;
}

pid_t start_child(const std::function<int()>& work) {
    const pid_t child = fork();
    if (child == 0)
        _exit(work());
    EXPECT_GT(child, 0);
    return child;
}

int wait_child(pid_t child) {
    int status = 0;
    while (waitpid(child, &status, 0) < 0) {
        if (errno != EINTR)
            return -1;
    }
    return WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
}

pid_t start_tool(const std::vector<std::string>& given, int in, int out, int err, const std::string& program) {
    std::vector<std::string> words = tool_command(program);
    words.insert(words.end(), given.begin(), given.end());
    std::vector<char*> pointers;
    pointers.reserve(words.size() + 1);
    for (std::string& word : words)
        pointers.push_back(word.data());
    pointers.push_back(nullptr);
    return start_child([&] {
        if (dup2(in, 0) == 0 && dup2(out, 1) == 1 && dup2(err, 2) == 2)
            execvp(pointers[0], pointers.data());
        return not_started;
    });
}

host_test::host_test() {
    char path[] = "/tmp/host_test_XXXXXX";
    EXPECT_NE(mkdtemp(path), nullptr);
    root = path;
    store_dir = root + "/store";
    EXPECT_EQ(setenv("CSMAN_DIR", store_dir.c_str(), 1), 0);
}

host_test::~host_test() {
    if (opened >= 0) {
        EXPECT_EQ(close_csman(opened), 0);
    }
    std::error_code ignored;
    std::filesystem::remove_all(root, ignored);
}

int host_test::open_store() {
    if (opened < 0)
        opened = open_csman(0, 0);
    EXPECT_GE(opened, 0);
    return opened;
}

tool_result host_test::tool(const std::vector<std::string>& given, const std::string& input) const {
    const std::string in_path = root + "/in";
    const std::string out_path = root + "/out";
    const std::string err_path = root + "/err";
    write_file(in_path, input);
    const int in = open_plain(in_path, O_RDONLY);
    const int out = open_plain(out_path, O_WRONLY | O_CREAT | O_TRUNC);
    const int err = open_plain(err_path, O_WRONLY | O_CREAT | O_TRUNC);
    const int status = wait_child(start_tool(given, in, out, err, program));
    close(in);
    close(out);
    close(err);
    return {status, read_file(out_path), read_file(err_path)};
}

std::vector<std::string> host_test::temporaries() const {
    std::vector<std::string> found;
    for (const std::string& name : names_in(store_dir)) {
        if (name.compare(0, 2, "0x") != 0)
            found.push_back(name);
    }
    return found;
}

} // namespace dashboard
